#include "preview/Utf8Validator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace Utf8Validator {

namespace {

constexpr uint64_t kHighBits = 0x8080808080808080ULL;

inline bool isContinuation(unsigned char c)
{
    return (c & 0xC0) == 0x80;
}

// The length of the character starting with lead byte `c` (0: never a lead byte),
// and the range its second byte must lie in (excludes overlong forms, surrogates and
// code points past U+10FFFF).
struct Lead {
    unsigned char length;
    unsigned char low;
    unsigned char high;
};

inline Lead lead(unsigned char c)
{
    if (c < 0xC2)
        return {0, 0, 0};
    if (c < 0xE0)
        return {2, 0x80, 0xBF};
    if (c < 0xF0)
        return {3, c == 0xE0 ? uint8_t(0xA0) : uint8_t(0x80),
                c == 0xED ? uint8_t(0x9F) : uint8_t(0xBF)};
    if (c < 0xF5)
        return {4, c == 0xF0 ? uint8_t(0x90) : uint8_t(0x80),
                c == 0xF4 ? uint8_t(0x8F) : uint8_t(0xBF)};
    return {0, 0, 0};
}

} // namespace

Status check(std::string_view bytes, size_t* tail)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const auto* const end = p + bytes.size();
    if (tail)
        *tail = bytes.size();
    while (p < end) {
        // ASCII runs 16 bytes at a time.
        while (end - p >= 16) {
            uint64_t a, b;
            std::memcpy(&a, p, 8);
            std::memcpy(&b, p + 8, 8);
            if ((a | b) & kHighBits)
                break;
            p += 16;
        }
        if (p == end)
            break;
        const unsigned char c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        const Lead l = lead(c);
        if (l.length == 0)
            return Status::invalid;
        const auto available = size_t(end - p);
        const size_t present = std::min<size_t>(l.length, available);
        if (present > 1 && (p[1] < l.low || p[1] > l.high))
            return Status::invalid;
        for (size_t k = 2; k < present; ++k) {
            if (!isContinuation(p[k]))
                return Status::invalid;
        }
        if (present < l.length) {
            if (tail)
                *tail = size_t(p - reinterpret_cast<const unsigned char*>(bytes.data()));
            return Status::incomplete;
        }
        p += l.length;
    }
    return Status::valid;
}

bool Stream::feed(std::string_view piece)
{
    if (!m_valid)
        return false;
    // Completes a character left over from the last piece first.
    while (m_carry > 0 && !piece.empty()) {
        m_pending[m_carry++] = piece.front();
        piece.remove_prefix(1);
        const Status status = check({m_pending, m_carry});
        if (status == Status::invalid)
            return m_valid = false;
        if (status == Status::valid)
            m_carry = 0;
    }
    size_t tail = 0;
    const Status status = check(piece, &tail);
    if (status == Status::invalid)
        return m_valid = false;
    if (status == Status::incomplete) {
        m_carry = piece.size() - tail;
        std::memcpy(m_pending, piece.data() + tail, m_carry);
    }
    return true;
}

} // namespace Utf8Validator
