#include "CoreUtility/PayloadText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "CoreUtility/BigNumber.h"
#include "CoreUtility/Compiler.h"
#include "CoreUtility/ReadReal.h"

namespace ZKHAL {

namespace {

constexpr int kMantissaBits = 52;
constexpr uint64_t kMantissaMask = (uint64_t{1} << kMantissaBits) - 1;

// The bits of a positive value that is neither tiny nor huge, for the tables that the compiler makes.
constexpr uint64_t constantBits(double value)
{
    uint64_t exponent = 1023;
    for (; value >= 2; value /= 2) {
        ++exponent;
    }
    for (; value < 1; value *= 2) {
        --exponent;
    }
    return exponent << kMantissaBits | (static_cast<uint64_t>(value * (kMantissaMask + 1)) & kMantissaMask);
}

constexpr double kTens[] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};

// How many digits stand before the point of a value, 0 and below: how many zeros behind it. Found from its binary
// exponent, since between two powers of two there is one power of ten at the most.
struct Decade {
    int whole;      // at the lower power of two
    uint64_t next;  // bits of the value from which on it is one more
};
constexpr uint64_t kLeastExponent = constantBits(1e-4) >> kMantissaBits,
                   kMostExponent = constantBits(1e6) >> kMantissaBits;
constexpr auto kDecades = [] {
    std::array<Decade, kMostExponent - kLeastExponent + 1> decades{};
    size_t next = 0;
    for (size_t i = 0; i < decades.size(); ++i) {
        const uint64_t low = (kLeastExponent + i) << kMantissaBits;
        while (constantBits(kTens[next]) <= low) {
            ++next;
        }
        decades[i] = {static_cast<int>(next) - 4, constantBits(kTens[next])};
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
    const Decade& decade = kDecades[static_cast<size_t>((bits >> kMantissaBits) - kLeastExponent)];
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
    const int length = (71 - countLeadingZeros(six ^ kZeros)) >> 3;  // without the zeros at the end
    if (whole <= 0) {
        std::memcpy(out, "0.000", 5);
        out += 2 - whole;
        storeLittle<8>(out, six);
        return out + length;
    }
    if (length <= whole) {
        storeLittle<8>(out, six);
        return out + whole;
    }
    const uint64_t behind = six >> 8 * whole << 8 * whole;
    const uint64_t pointed = (six ^ behind) | uint64_t{'.'} << 8 * whole | behind << 8;
    storeLittle<8>(out, pointed);
    return out + length + 1;
}

constexpr uint32_t kSixDigits = 1000000;

// value / 10^(decade - 5), rounded.
uint32_t roundToDecade(double value, int decade)
{
    constexpr int kLeastBit = 1074;
    const uint64_t bits = bitsOf(value);
    const auto stored = static_cast<int>(bits >> kMantissaBits);
    const uint64_t mantissa = bits & kMantissaMask;
    BigNumber numerator(stored > 0 ? mantissa | (kMantissaMask + 1) : mantissa);
    BigNumber denominator(1);
    const int exponent = std::max(stored, 1) - 1 - kLeastBit;
    (exponent < 0 ? denominator : numerator).shiftLeft(std::abs(exponent));
    const int places = 5 - decade;
    (places < 0 ? denominator : numerator).multiplyByTenTo(std::abs(places));
    constexpr int kBits = 24;  // of the quotient, for a decade that is guessed one too low
    denominator.shiftLeft(kBits - 1);
    return static_cast<uint32_t>(roundedQuotient(numerator, denominator, kBits));
}

// The same in double precision, one rounding, or nothing where that leaves a doubt.
std::optional<uint32_t> roundToNearDecade(double value, int decade)
{
    const int places = 5 - decade;
    if (std::abs(places) > kMaxExactTenTo) {
        return std::nullopt;
    }
    constexpr double kOne = uint64_t{1} << kFractionBits;
    const double power = kExactTenTo[std::abs(places)];
    const double scaled = (places < 0 ? value / power : value * power) * kOne;
    const auto rounded = static_cast<uint64_t>(static_cast<int64_t>(scaled + kOne / 2));
    constexpr uint64_t kDoubt = 2;
    if (((rounded + kDoubt) & ((uint64_t{1} << kFractionBits) - 1)) < 2 * kDoubt) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(rounded >> kFractionBits);
}

// Any positive value that is a number.
ZK_RARE char* writeAny(char* out, double value)
{
    // From the binary exponent, where it decides; of two decades the higher one is found by what comes out.
    const auto exponent = static_cast<int>(bitsOf(value) >> kMantissaBits) - 1023;
    int decade = exponent < -1022 ? -324 : (exponent * 78913) >> 18;  // log10(2) in 18 bits
    uint32_t digits;
    for (;; ++decade) {
        const std::optional<uint32_t> near = roundToNearDecade(value, decade);
        digits = near ? *near : roundToDecade(value, decade);
        if (digits < kSixDigits) {
            break;
        }
    }
    char text[8];
    storeLittle<8>(text, kThreeDigits[digits / 1000] | uint64_t{kThreeDigits[digits % 1000]} << 24);
    int length = 6;
    while (length > 1 && text[length - 1] == '0') {
        --length;
    }
    const bool isPlain = decade >= -4 && decade < 6;
    const int whole = isPlain ? decade + 1 : 1;  // digits before the point
    if (whole <= 0) {
        *out++ = '0';
        *out++ = '.';
        out = std::fill_n(out, -whole, '0');
    }
    for (int i = 0; i < std::max(length, whole); ++i) {
        if (i == whole && i > 0) {
            *out++ = '.';
        }
        *out++ = text[i];
    }
    if (isPlain) {
        return out;
    }
    *out++ = 'e';
    *out++ = decade < 0 ? '-' : '+';
    const auto power = static_cast<unsigned>(std::abs(decade));
    if (power < 10) {
        *out++ = '0';
    }
    return PayloadText::writeUnsigned(out, power);
}

char* writeWord(char* out, bool isNaN)
{
    std::memcpy(out, isNaN ? "nan" : "inf", 3);
    return out + 3;
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
    constexpr uint64_t kLeast = constantBits(0.0001), kBeyond = constantBits(999999);
    if (bitsOf(value) - kLeast < kBeyond - kLeast) {
        if (char* const end = writePlain(out, value)) {
            return end;
        }
    } else if (value == 0) {
        *out = '0';
        return out + 1;
    }
    return std::isfinite(value) ? writeAny(out, value) : writeWord(out, std::isnan(value));
}

char* PayloadText::writeFixed(char* out, float value)
{
    constexpr int kStoredBits = 23, kLeastBit = 149;
    constexpr uint32_t kTenThousand = 10000;
    const uint32_t bits = bitsOf(value);
    if (bits >> 31 != 0) {
        *out++ = '-';
    }
    if (!std::isfinite(value)) {
        return writeWord(out, std::isnan(value));
    }
    const auto stored = static_cast<int>(bits >> kStoredBits & 0xFF);
    const uint32_t mantissa = bits & ((uint32_t{1} << kStoredBits) - 1);
    const uint64_t number = stored > 0 ? mantissa | uint32_t{1} << kStoredBits : mantissa;
    const int exponent = std::max(stored, 1) - 1 - kLeastBit;
    uint32_t fraction = 0;
    if (exponent > 40) {
        BigNumber whole(number);
        whole.shiftLeft(exponent);
        char digits[kMostOfFixed];
        char* first = digits + sizeof digits;
        for (; !whole.isZero(); *--first = static_cast<char>('0' + whole.divide(10))) {
        }
        const auto length = static_cast<size_t>(digits + sizeof digits - first);
        std::memcpy(out, first, length);
        out += length;
    } else if (exponent >= 0) {
        out = writeUnsigned(out, number << exponent);
    } else {
        // Of 38 bits; from the 63rd on they are less than half of the last place.
        const uint64_t scaled = number * kTenThousand;
        const int shift = std::min(-exponent, 63);
        const uint64_t half = uint64_t{1} << (shift - 1);
        const uint64_t rest = scaled & (2 * half - 1);
        uint64_t rounded = scaled >> shift;
        if (rest > half || (rest == half && rounded % 2 != 0)) {
            ++rounded;
        }
        fraction = static_cast<uint32_t>(rounded % kTenThousand);
        out = writeUnsigned(out, rounded / kTenThousand);
    }
    *out++ = '.';
    *out++ = static_cast<char>('0' + fraction / 1000);
    storeLittle<3>(out, kThreeDigits[fraction % 1000]);
    return out + 3;
}

}  // namespace ZKHAL
