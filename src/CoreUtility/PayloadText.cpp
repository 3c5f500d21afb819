#include "CoreUtility/PayloadText.h"

#include <array>
#include <charconv>
#include <cmath>

namespace ZKHAL {

namespace {

constexpr double kTenTo[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

// How many digits stand before the point of a value, 0 and below: how many zeros behind it. Found from its binary
// exponent, since between two powers of two there is one power of ten at the most.
struct Decade {
    int whole;    // at the lower power of two
    double next;  // from here on one more
};
constexpr int kLeastExponent = -14, kMostExponent = 19;  // of 0.0001 and a million
constexpr auto kDecades = [] {
    std::array<Decade, kMostExponent - kLeastExponent + 1> decades{};
    constexpr double kTens[] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};
    double low = 1.0 / (1 << -kLeastExponent);
    size_t next = 0;
    for (Decade& decade : decades) {
        while (kTens[next] <= low) {
            ++next;
        }
        decade = {static_cast<int>(next) - 4, kTens[next]};
        low *= 2;
    }
    return decades;
}();

// value, below a million, as six digits in the bytes of a word, the first in the lowest.
uint64_t sixDigits(uint32_t value)
{
    const auto pair = [](uint32_t number) {
        uint16_t digits;
        std::memcpy(&digits, kDigitPairs.text + 2 * number, sizeof digits);
        return uint64_t{digits};
    };
    return pair(value / 10000) | pair(value / 100 % 100) << 16 | pair(value % 100) << 32;
}

// Positive values from 0.0001 up to a million, which %g writes without an exponent. Null when the sixth digit is too
// close to a tie to be rounded in double precision.
char* writePlain(char* out, double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const int exponent = static_cast<int>(bits >> 52) - 1023;  // value is positive
    const Decade& decade = kDecades[static_cast<size_t>(exponent - kLeastExponent)];
    int whole = decade.whole + (value >= decade.next);
    const double scaled = value * kTenTo[6 - whole];
    auto digits = static_cast<uint32_t>(scaled);
    const double rest = scaled - digits;
    constexpr double kDoubt = 1e-6;  // far more than the product can be wrong by
    if (rest > 0.5 - kDoubt && rest < 0.5 + kDoubt) {
        return nullptr;
    }
    digits += rest > 0.5 ? 1 : 0;
    if (digits >= 1000000) {  // 9.999999 becomes 10
        digits = 100000;
        ++whole;
        if (whole > 6) {
            return nullptr;
        }
    }
    // Put together in a word and stored at once: a store in pieces would have to be waited for.
    constexpr uint64_t kZeros = 0x303030303030;
    const uint64_t six = sixDigits(digits);
    const int length = 8 - __builtin_clzll(six ^ kZeros) / 8;  // without the zeros at the end
    if (whole <= 0) {
        std::memcpy(out, "0.000", 5);
        out += 2 - whole;
        std::memcpy(out, &six, sizeof six);
        return out + length;
    }
    if (length <= whole) {
        std::memcpy(out, &six, sizeof six);
        return out + whole;
    }
    const uint64_t before = (uint64_t{1} << 8 * whole) - 1;
    const uint64_t pointed = (six & before) | uint64_t{'.'} << 8 * whole | (six & ~before) << 8;
    std::memcpy(out, &pointed, sizeof pointed);
    return out + length + 1;
}

}  // namespace

void PayloadText::enlarge(size_t size)
{
    mText.resize((mLength + size) * 2);
}

char* PayloadText::writeLong(char* out, uint64_t value)
{
    return std::to_chars(out, out + kMostOfNumber, value).ptr;
}

char* PayloadText::writeReal(char* const begin, double value)
{
    char* out = begin;
    if (std::signbit(value)) {
        *out++ = '-';
        value = -value;
    }
    char* end = nullptr;
    if (value == 0) {
        *out = '0';
        end = out + 1;
    } else if (value >= 0.0001 && value < 999999) {
        end = writePlain(out, value);
    }
    return end != nullptr ? end : std::to_chars(out, begin + kMostOfNumber, value, std::chars_format::general, 6).ptr;
}

}  // namespace ZKHAL
