#include "CoreUtility/PayloadText.h"

#include <array>
#include <charconv>
#include <cmath>

namespace ZKHAL {

namespace {

constexpr uint64_t bitsOf(double value)
{
    return __builtin_bit_cast(uint64_t, value);
}

constexpr int kMantissaBits = 52;
constexpr double kTens[] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};

// How many digits stand before the point of a value, 0 and below: how many zeros behind it. Found from its binary
// exponent, since between two powers of two there is one power of ten at the most.
struct Decade {
    int whole;      // at the lower power of two
    uint64_t next;  // bits of the value from which on it is one more
};
constexpr uint64_t kLeastExponent = bitsOf(1e-4) >> kMantissaBits, kMostExponent = bitsOf(1e6) >> kMantissaBits;
constexpr auto kDecades = [] {
    std::array<Decade, kMostExponent - kLeastExponent + 1> decades{};
    size_t next = 0;
    for (uint64_t i = 0; i < decades.size(); ++i) {
        const uint64_t low = (kLeastExponent + i) << kMantissaBits;
        while (bitsOf(kTens[next]) <= low) {
            ++next;
        }
        decades[i] = {static_cast<int>(next) - 4, bitsOf(kTens[next])};
    }
    return decades;
}();

// Six digits before the point and 20 bits behind it.
constexpr int kFractionBits = 20;
constexpr auto kScales = [] {
    std::array<double, 10> scales{};
    double scale = uint64_t{1} << kFractionBits;
    for (double& each : scales) {
        each = scale;  // exact: 10^9 has 21 bits
        scale *= 10;
    }
    return scales;
}();

// Positive values from 0.0001 up to a million, which %g writes without an exponent. Null when the sixth digit is too
// close to a tie to be rounded in double precision.
char* writePlain(char* out, double value)
{
    const uint64_t bits = bitsOf(value);
    const Decade& decade = kDecades[(bits >> kMantissaBits) - kLeastExponent];
    int whole = decade.whole + (bits >= decade.next ? 1 : 0);
    constexpr uint64_t kOne = uint64_t{1} << kFractionBits;
    const auto scaled = static_cast<uint64_t>(static_cast<int64_t>(value * kScales[static_cast<size_t>(6 - whole)]));
    const uint64_t rounded = scaled + kOne / 2;
    constexpr uint64_t kDoubt = 2;  // more than the product and its last bit can be wrong by
    if (((rounded + kDoubt) & (kOne - 1)) < 2 * kDoubt) {
        return nullptr;
    }
    auto digits = static_cast<uint32_t>(rounded >> kFractionBits);
    if (digits >= 1000000) {  // 9.999999 becomes 10
        digits = 100000;
        ++whole;
        if (whole > 6) {
            return nullptr;
        }
    }
    // Put together in a word and stored at once: a store in pieces would have to be waited for.
    constexpr uint64_t kZeros = 0x303030303030;
    const uint64_t six = kThreeDigits[digits / 1000] | uint64_t{kThreeDigits[digits % 1000]} << 24;
    const int length = (71 - __builtin_clzll(six ^ kZeros)) >> 3;  // without the zeros at the end
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
    const uint64_t behind = six >> 8 * whole << 8 * whole;
    const uint64_t pointed = (six ^ behind) | uint64_t{'.'} << 8 * whole | behind << 8;
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
    // Of positive values the bits are in the same order; what is no number is beyond them all.
    constexpr uint64_t kLeast = bitsOf(0.0001), kBeyond = bitsOf(999999);
    char* end = nullptr;
    if (bitsOf(value) - kLeast < kBeyond - kLeast) {
        end = writePlain(out, value);
    } else if (value == 0) {
        *out = '0';
        end = out + 1;
    }
    return end != nullptr ? end : std::to_chars(out, begin + kMostOfNumber, value, std::chars_format::general, 6).ptr;
}

}  // namespace ZKHAL
