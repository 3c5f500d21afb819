// Numbers as the JSON reader takes them: the C library's conversions, without its locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ZKHAL {

struct JsonNumber {
    const char* end;  // after the number; null when there is none
    bool isReal;      // a point, "e" or "E" followed the integer
    int64_t integer;  // as strtoll with base 0 reads it, saturated
    double real;      // as strtod reads it; an integer converted
};

// text begins with a minus sign or a digit and is NUL-terminated.
JsonNumber readJsonNumber(const char* text);

// significand / 10^places, correctly rounded; significand is not 0, places is 0 to 19.
double divideByTenTo(uint64_t significand, int places);

// Powers of ten that a double holds exactly.
inline constexpr double kExactTenTo[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kMaxExactTenTo = 22;
constexpr uint64_t kMaxExactInteger = uint64_t{1} << 53;

inline double decimalFraction(uint64_t significand, int places)
{
    if (significand <= kMaxExactInteger) {
        return static_cast<double>(significand) / kExactTenTo[places];  // two exact numbers: one rounding
    }
    return divideByTenTo(significand, places);
}

// Up to eight digits at once, in the bytes of a word: 8 bytes are read whatever they hold.
struct DigitRun {
    uint64_t value;
    unsigned count;
};

inline DigitRun readDigits(const char* text)
{
    uint64_t x;
    std::memcpy(&x, text, sizeof x);
    x ^= 0x3030303030303030u;
    const uint64_t others = ((x + 0x0606060606060606u) | x) & 0xF0F0F0F0F0F0F0F0u;  // above the first: undefined
    const unsigned count = others != 0 ? static_cast<unsigned>(__builtin_ctzll(others)) / 8 : 8;
    if (count == 0) {
        return {0, 0};
    }
    x <<= 64 - 8 * count;  // the last digit to the top, zeros before the first
    x = (x * 10 + (x >> 8)) & 0x00FF00FF00FF00FFu;
    x = (x * 100 + (x >> 16)) & 0x0000FFFF0000FFFFu;
    return {(x * 10000 + (x >> 32)) & 0xFFFFFFFFu, count};
}

constexpr uint64_t kTenToUpToEight[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

// The same as readJsonNumber() for what documents mostly hold, in one pass: decimals of up to 18 digits without an
// exponent. Null when the number is of another kind, which readJsonNumber() then reads.
// Eight bytes behind the end of the text are readable; the machine is little-endian.
inline const char* readPlainDecimal(const char* text, int64_t& integer, double& real, bool& isReal)
{
    constexpr size_t kMaxDigits = 18;
    const auto digitAt = [](const char* at) { return static_cast<unsigned>(static_cast<unsigned char>(*at)) - '0'; };
    const bool negative = *text == '-';
    const char* const first = text + (negative ? 1 : 0);
    const char* p = first;
    uint64_t significand = 0;
    for (unsigned digit; (digit = digitAt(p)) <= 9; ++p) {
        significand = significand * 10 + digit;
    }
    const auto digits = static_cast<size_t>(p - first);
    if (digits - 1 >= kMaxDigits || (*first == '0' && digits > 1)) {
        return nullptr;
    }
    const auto whole = static_cast<int64_t>(significand);
    integer = negative ? -whole : whole;
    isReal = *p == '.';
    if (isReal) {
        ++p;
        size_t places = 0;
        DigitRun run;
        do {
            run = readDigits(p);
            significand = significand * kTenToUpToEight[run.count] + run.value;
            places += run.count;
            p += run.count;
        } while (run.count == 8 && digits + places <= kMaxDigits);
        if (digits + places > kMaxDigits) {
            return nullptr;
        }
        const double value = decimalFraction(significand, static_cast<int>(places));
        real = negative ? -value : value;
    } else {
        real = static_cast<double>(integer);
    }
    const char behind = static_cast<char>(*p | 0x20);
    return behind != 'e' && behind != 'x' ? p : nullptr;
}

}  // namespace ZKHAL
