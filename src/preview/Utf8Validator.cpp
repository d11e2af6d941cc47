#include "preview/Utf8Validator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

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

#if defined(__x86_64__)
// Sixteen bytes at a time with byte shuffles as table lookups (the "lookup" method
// of Keiser and Lemire): each byte is checked against the one, two and three before it.
namespace simd {

constexpr char kTooShort = 1 << 0;
constexpr char kTooLong = 1 << 1;
constexpr char kOverlong3 = 1 << 2;
constexpr char kTooLarge = 1 << 3;
constexpr char kSurrogate = 1 << 4;
constexpr char kOverlong2 = 1 << 5;
constexpr char kTooLarge1000 = 1 << 6;
constexpr char kOverlong4 = 1 << 6;
constexpr char kTwoConts = char(1 << 7);
constexpr char kCarry = kTooShort | kTooLong | kTwoConts;

__attribute__((target("ssse3"))) inline __m128i highNibbles(__m128i v)
{
    return _mm_and_si128(_mm_srli_epi16(v, 4), _mm_set1_epi8(0x0F));
}

// Errors in each pair of a byte and the one before it.
__attribute__((target("ssse3"))) inline __m128i specialCases(__m128i input, __m128i prev1)
{
    const __m128i byte1High = _mm_shuffle_epi8(
        _mm_setr_epi8(kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong,
                      kTooLong, kTwoConts, kTwoConts, kTwoConts, kTwoConts, kTooShort | kOverlong2,
                      kTooShort, kTooShort | kOverlong3 | kSurrogate,
                      kTooShort | kTooLarge | kTooLarge1000 | kOverlong4),
        highNibbles(prev1));
    constexpr char kLarge = kCarry | kTooLarge | kTooLarge1000;
    const __m128i byte1Low = _mm_shuffle_epi8(
        _mm_setr_epi8(kCarry | kOverlong3 | kOverlong2 | kOverlong4, kCarry | kOverlong2, kCarry,
                      kCarry, kCarry | kTooLarge, kLarge, kLarge, kLarge, kLarge, kLarge, kLarge,
                      kLarge, kLarge, kLarge | kSurrogate, kLarge, kLarge),
        _mm_and_si128(prev1, _mm_set1_epi8(0x0F)));
    constexpr char kCont = kTooLong | kOverlong2 | kTwoConts;
    const __m128i byte2High = _mm_shuffle_epi8(
        _mm_setr_epi8(kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort, kTooShort,
                      kTooShort, kCont | kOverlong3 | kTooLarge1000 | kOverlong4,
                      kCont | kOverlong3 | kTooLarge, kCont | kSurrogate | kTooLarge,
                      kCont | kSurrogate | kTooLarge, kTooShort, kTooShort, kTooShort, kTooShort),
        highNibbles(input));
    return _mm_and_si128(_mm_and_si128(byte1High, byte1Low), byte2High);
}

// Checks the whole blocks of 16 bytes; returns where the byte-wise check must go on
// (the start of a character that may run past the blocks), or SIZE_MAX when invalid.
__attribute__((target("ssse3"))) size_t checkBlocks(const unsigned char* data, size_t size)
{
    const size_t blocks = size & ~size_t(15);
    __m128i prev = _mm_setzero_si128();
    __m128i error = _mm_setzero_si128();
    __m128i prevIncomplete = _mm_setzero_si128();
    const __m128i maxValue = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                                           char(0xF0 - 1), char(0xE0 - 1), char(0xC0 - 1));
    for (size_t i = 0; i < blocks; i += 16) {
        const __m128i input = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + i));
        if (_mm_movemask_epi8(input) == 0) {
            error = _mm_or_si128(error, prevIncomplete);
            prevIncomplete = _mm_setzero_si128();
        } else {
            const __m128i prev1 = _mm_alignr_epi8(input, prev, 15);
            const __m128i prev2 = _mm_alignr_epi8(input, prev, 14);
            const __m128i prev3 = _mm_alignr_epi8(input, prev, 13);
            const __m128i must23 =
                _mm_or_si128(_mm_subs_epu8(prev2, _mm_set1_epi8(char(0xE0 - 0x80))),
                             _mm_subs_epu8(prev3, _mm_set1_epi8(char(0xF0 - 0x80))));
            const __m128i must23With80 = _mm_and_si128(must23, _mm_set1_epi8(char(0x80)));
            error = _mm_or_si128(error, _mm_xor_si128(must23With80, specialCases(input, prev1)));
            prevIncomplete = _mm_subs_epu8(input, maxValue);
        }
        prev = input;
    }
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(error, _mm_setzero_si128())) != 0xFFFF)
        return SIZE_MAX;
    // A character starting in the last three bytes is checked again byte by byte.
    for (size_t back = 1; back <= 3 && back <= blocks; ++back) {
        const unsigned char c = data[blocks - back];
        if ((c & 0xC0) == 0x80)
            continue;
        const size_t length = c < 0xC0 ? 1 : c < 0xE0 ? 2 : c < 0xF0 ? 3 : 4;
        return length > back ? blocks - back : blocks;
    }
    return blocks;
}

} // namespace simd
#endif

} // namespace

Status check(std::string_view bytes, size_t* tail)
{
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const auto* const end = p + bytes.size();
    if (tail)
        *tail = bytes.size();
#if defined(__x86_64__)
    static const bool vectors = __builtin_cpu_supports("ssse3");
    if (vectors) {
        const size_t resume = simd::checkBlocks(p, bytes.size());
        if (resume == SIZE_MAX)
            return Status::invalid;
        p += resume;
    }
#endif
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

size_t wholeCharacters(std::string_view bytes)
{
    const size_t size = bytes.size();
    for (size_t back = 1; back <= 4 && back <= size; ++back) {
        const auto lead = static_cast<unsigned char>(bytes[size - back]);
        if ((lead & 0xC0) == 0x80)
            continue;
        const size_t length = lead < 0x80             ? 1
                              : (lead & 0xE0) == 0xC0 ? 2
                              : (lead & 0xF0) == 0xE0 ? 3
                              : (lead & 0xF8) == 0xF0 ? 4
                                                      : 0;
        return length > back ? size - back : size;
    }
    return size;
}

} // namespace Utf8Validator
