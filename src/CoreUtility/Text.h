// Text helpers that never read or write past an end and know no locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ZKHAL {

constexpr bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// 0 to 9, and more for any other character.
constexpr unsigned decimalDigitValue(char c)
{
    return static_cast<unsigned>(static_cast<unsigned char>(c)) - '0';
}

// Of a decimal or hexadecimal digit; -1 for any other character.
constexpr int hexDigitValue(char c)
{
    if (isDigit(c)) {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

inline const char* orEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

// Fills the whole field: at most size - 1 bytes of text, then zeros to the end.
inline void copyToField(char* field, size_t size, const char* text, size_t length)
{
    const size_t kept = length < size - 1 ? length : size - 1;
    std::memcpy(field, text, kept);
    std::memset(field + kept, 0, size - kept);
}

// Copies into a caller's buffer of any size, null and 0 included; cuts at a UTF-8 character; always terminates.
inline void copyToBuffer(char* buffer, size_t size, const char* text, size_t length)
{
    if (buffer == nullptr || size == 0) {
        return;
    }
    size_t kept = length;
    if (kept > size - 1) {
        kept = size - 1;
        while (kept > 0 && (static_cast<unsigned char>(text[kept]) & 0xC0) == 0x80) {
            --kept;  // the first byte left out continues a character
        }
    }
    std::memcpy(buffer, text, kept);
    buffer[kept] = '\0';
}

// How many bytes the UTF-8 character has that begins here, within size bytes; 0 if none does.
inline size_t utf8Size(const char* text, size_t size)
{
    const auto byteAt = [=](size_t i) { return static_cast<unsigned char>(i < size ? text[i] : 0); };
    const unsigned char first = byteAt(0), second = byteAt(1);
    if (first < 0x80) {
        return size > 0 ? 1 : 0;
    }
    // Overlong forms, surrogates and what lies beyond the last character are told by the second byte.
    const bool isOdd = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
                       (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
    const size_t count = isOdd || first < 0xC2 || first > 0xF4 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    for (size_t i = 1; i < count; ++i) {
        if ((byteAt(i) & 0xC0) != 0x80) {
            return 0;
        }
    }
    return count;
}

// std::strcmp() == 0, and without a call for what differs early or is very short, as most keys are.
inline bool isSameText(const char* a, const char* b)
{
    if (a[0] != b[0]) {
        return false;
    }
    if (a[0] == '\0') {
        return true;
    }
    if (a[1] != b[1]) {
        return false;
    }
    return a[1] == '\0' || std::strcmp(a + 2, b + 2) == 0;
}

// A constant text to compare others with: their first 16 bytes at once.
class ComparedText {
public:
    static constexpr size_t kReadable = 16;

    // text lives as long as this.
    explicit constexpr ComparedText(const char* text) : mText(text), mFirst(), mCompared(0)
    {
        size_t i = 0;
        for (; i < kReadable && !mHasEnd; ++i) {
            mFirst[i] = text[i];
            mCompared |= 1 << i;
            mHasEnd = text[i] == '\0';
        }
    }

    bool isSameAs(const char* text) const
    {
        return isSameText(mText, text);
    }

    // The same for a text of which kReadable bytes can be read, wherever its end is.
    bool isSameAsReadable(const char* text) const
    {
#if defined(__SSE2__)
        const __m128i equal = _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(text)),
                                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(mFirst)));
        if ((_mm_movemask_epi8(equal) & mCompared) != mCompared) {
            return false;
        }
        return mHasEnd || std::strcmp(text + kReadable, mText + kReadable) == 0;
#else
        return isSameText(mText, text);
#endif
    }

private:
    const char* mText;
    char mFirst[kReadable];
    int mCompared;  // a bit for each byte of mFirst that belongs to the text, its end included
    bool mHasEnd = false;
};

// Of the ASCII letters only.
inline bool isSameTextIgnoringCase(const char* a, const char* b)
{
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; };
    for (; lower(*a) == lower(*b); ++a, ++b) {
        if (*a == '\0') {
            return true;
        }
    }
    return false;
}

// The C library's atoi, where it is defined, and a saturated long cut to int where it is not.
inline int decimalPrefix(const char* text)
{
    const char* p = orEmpty(text);
    unsigned brief = decimalDigitValue(*p);
    if (brief <= 9) {  // as nearly all keys are written
        for (int i = 1; i < 9; ++i) {
            const unsigned digit = decimalDigitValue(p[i]);
            if (digit > 9) {
                return static_cast<int>(brief);
            }
            brief = brief * 10 + digit;
        }
    }
    while (*p == ' ' || (*p >= '\t' && *p <= '\r')) {
        ++p;
    }
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+') {
        ++p;
    }
    uint64_t value = 0;
    const uint64_t limit = negative ? uint64_t{1} << 63 : (uint64_t{1} << 63) - 1;
    constexpr uint64_t kAlwaysRoom = uint64_t{1} << 59;
    for (; isDigit(*p); ++p) {
        const uint64_t digit = static_cast<uint64_t>(*p - '0');
        const bool fits = value < kAlwaysRoom || value <= (limit - digit) / 10;
        value = fits ? value * 10 + digit : limit;
    }
    const uint64_t bits = negative ? uint64_t{0} - value : value;
    return static_cast<int>(static_cast<uint32_t>(bits & 0xFFFFFFFF));
}

}  // namespace ZKHAL
