// Words as bits and as bytes. Where the compiler offers the processor's own way it is taken; the plain way beside it
// gives the same, is all that other machines need, and is always compiled, so that the two can be compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ZKHAL {

#if defined(__BYTE_ORDER__)
inline constexpr bool kIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
#elif defined(_WIN32)
inline constexpr bool kIsLittleEndian = true;
#else
inline constexpr bool kIsLittleEndian = false;  // not known: bytes one by one, which is right everywhere
#endif

struct WideQuotient {
    uint64_t quotient;
    bool isExact;
};

namespace Plain {

// word is not 0.
constexpr int countTrailingZeros(uint64_t word)
{
    int count = 0;
    for (int step = 32; step != 0; step /= 2) {
        if ((word & ((uint64_t{1} << step) - 1)) == 0) {
            word >>= step;
            count += step;
        }
    }
    return count;
}

constexpr int countLeadingZeros(uint64_t word)
{
    int count = 0;
    for (int step = 32; step != 0; step /= 2) {
        if (word >> (64 - step) == 0) {
            word <<= step;
            count += step;
        }
    }
    return count;
}

template <size_t kBytes>
inline uint64_t loadLittle(const char* bytes)
{
    uint64_t word = 0;
    for (size_t i = 0; i < kBytes; ++i) {
        word |= uint64_t{static_cast<unsigned char>(bytes[i])} << 8 * i;
    }
    return word;
}

template <size_t kBytes>
inline void storeLittle(char* bytes, uint64_t word)
{
    for (size_t i = 0; i < kBytes; ++i) {
        bytes[i] = static_cast<char>(static_cast<unsigned char>(word >> 8 * i & 0xFF));
    }
}

// 32 bits of quotient at a time, each guessed by the upper half of the divisor and then corrected.
inline WideQuotient divideWide(uint64_t high, uint64_t low, uint64_t divisor)
{
    const uint64_t upper = divisor >> 32, lower = divisor & 0xFFFFFFFF;
    uint64_t rest = high;
    const auto nextDigit = [&](uint64_t half) {
        uint64_t digit = rest / upper;
        uint64_t left = rest % upper;
        while (digit >> 32 != 0 || digit * lower > (left << 32 | half)) {
            --digit;
            left += upper;
            if (left >> 32 != 0) {
                break;
            }
        }
        rest = (rest << 32 | half) - digit * divisor;
        return digit;
    };
    const uint64_t first = nextDigit(low >> 32);
    const uint64_t second = nextDigit(low & 0xFFFFFFFF);
    return {first << 32 | second, rest == 0};
}

}  // namespace Plain

// How many zero bits there are below the lowest one; word is not 0.
constexpr int countTrailingZeros(uint64_t word)
{
#if defined(__GNUC__)
    return __builtin_ctzll(word);
#else
    return Plain::countTrailingZeros(word);
#endif
}

// How many there are above the highest one; word is not 0.
constexpr int countLeadingZeros(uint64_t word)
{
#if defined(__GNUC__)
    return __builtin_clzll(word);
#else
    return Plain::countLeadingZeros(word);
#endif
}

// The first byte in the lowest bits.
template <size_t kBytes>
inline uint64_t loadLittle(const char* bytes)
{
    if constexpr (kIsLittleEndian) {
        uint64_t word = 0;
        std::memcpy(&word, bytes, kBytes);
        return word;
    }
    return Plain::loadLittle<kBytes>(bytes);
}

template <size_t kBytes>
inline void storeLittle(char* bytes, uint64_t word)
{
    if constexpr (kIsLittleEndian) {
        std::memcpy(bytes, &word, kBytes);
    } else {
        Plain::storeLittle<kBytes>(bytes, word);
    }
}

// 128 bits by 64; the divisor has its highest bit and is more than `high`.
inline WideQuotient divideWide(uint64_t high, uint64_t low, uint64_t divisor)
{
#if defined(__SIZEOF_INT128__)
    __extension__ using Wide = unsigned __int128;
    const Wide dividend = static_cast<Wide>(high) << 64 | low;
    const auto quotient = static_cast<uint64_t>(dividend / divisor);
    return {quotient, low == quotient * divisor};
#else
    return Plain::divideWide(high, low, divisor);
#endif
}

inline uint64_t bitsOf(double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline uint32_t bitsOf(float value)
{
    uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline double realOfBits(uint64_t bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

}  // namespace ZKHAL
