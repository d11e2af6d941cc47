#pragma once

#include <cstddef>
#include <string_view>

// Checks that bytes are UTF-8 at close to memory speed, so that a huge file's
// encoding can be decided without decoding it.
namespace Utf8Validator {

enum class Status { valid, invalid, incomplete };

// `incomplete`: valid, except that the last bytes begin a character that goes on past
// the end (a piece of a file read in pieces); `*tail` is where that character starts.
// For the other results `*tail` is the size.
Status check(std::string_view bytes, size_t* tail = nullptr);

// The length of `bytes` without a character cut off at its end (bytes read up to a
// limit), so that the cut does not show as a replacement character. Looks at the
// last few bytes only; invalid bytes before them are left for the decoder.
size_t wholeCharacters(std::string_view bytes);

// Checks a file piece by piece: a character split between pieces is carried over.
class Stream {
public:
    // False as soon as the bytes so far cannot be UTF-8.
    bool feed(std::string_view piece);
    // After the last piece: false when it ended inside a character.
    bool finish() const { return m_valid && m_carry == 0; }

private:
    bool m_valid = true;
    char m_pending[4] = {};
    size_t m_carry = 0;
};

} // namespace Utf8Validator
