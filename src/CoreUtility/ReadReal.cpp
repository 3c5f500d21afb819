#include "CoreUtility/ReadReal.h"

#include <algorithm>

#include "CoreUtility/BigNumber.h"
#include "CoreUtility/Bits.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

namespace {

constexpr uint64_t kTenTo[] = {1ull,
                               10ull,
                               100ull,
                               1000ull,
                               10000ull,
                               100000ull,
                               1000000ull,
                               10000000ull,
                               100000000ull,
                               1000000000ull,
                               10000000000ull,
                               100000000000ull,
                               1000000000000ull,
                               10000000000000ull,
                               100000000000000ull,
                               1000000000000000ull,
                               10000000000000000ull,
                               100000000000000000ull,
                               1000000000000000000ull,
                               10000000000000000000ull};
constexpr int kMaxTenTo = 19;

constexpr int kMantissaBits = 52;
constexpr int kLeastExponent = -1022, kMostExponent = 1023;  // of numbers with all their bits
constexpr uint64_t kInfinityBits = uint64_t{0x7FF} << kMantissaBits;

// numerator / denominator * 2^exponent, of which neither is 0.
double rounded(BigNumber numerator, BigNumber denominator, int64_t exponent)
{
    const int shift = denominator.bitLength() - numerator.bitLength();
    numerator.shiftLeft(std::max(shift, 0));
    denominator.shiftLeft(std::max(-shift, 0));
    exponent -= shift;
    if (numerator.compare(denominator) < 0) {
        numerator.shiftLeft(1);
        --exponent;
    }
    if (exponent > kMostExponent) {
        return realOfBits(kInfinityBits);
    }
    if (exponent >= kLeastExponent) {
        // The first bit of the quotient, which a double does not store, adds one to the exponent, and so does a carry.
        const uint64_t quotient = roundedQuotient(numerator, denominator, kMantissaBits + 1);
        return realOfBits((static_cast<uint64_t>(exponent - kLeastExponent) << kMantissaBits) + quotient);
    }
    const int64_t bits = exponent - kLeastExponent + kMantissaBits + 1;
    return bits < 0 ? 0.0 : realOfBits(roundedQuotient(numerator, denominator, static_cast<int>(bits)));
}

// Saturated far beyond every text's length, which can make up for as many zeros.
int64_t readExponent(const char*& p)
{
    constexpr int64_t kMost = int64_t{1} << 58;
    const char* q = p + 1;
    const bool isNegative = *q == '-';
    if (*q == '-' || *q == '+') {
        ++q;
    }
    if (!isDigit(*q)) {
        return 0;  // the letter belongs to what follows
    }
    int64_t exponent = 0;
    for (; isDigit(*q); ++q) {
        exponent = exponent < kMost ? exponent * 10 + (*q - '0') : exponent;
    }
    p = q;
    return isNegative ? -exponent : exponent;
}

// The digits from text to end, with a point among them or not, times 10^exponent. What comes behind the first 780
// can no longer change which of two doubles is nearer, but it can show that neither is as near.
double readExactly(const char* text, const char* end, int64_t exponent)
{
    constexpr int kMostDigits = 780;
    constexpr int64_t kBeyond = 310, kBelow = -330;  // the powers of ten that are out of range
    BigNumber numerator(0);
    int digits = 0;
    bool hasMore = false;
    for (const char* p = text; p != end; ++p) {
        if (*p == '.' || (digits == 0 && *p == '0')) {
            continue;
        }
        if (digits < kMostDigits) {
            numerator.multiplyAndAdd(10, static_cast<uint32_t>(*p - '0'));
            ++digits;
        } else {
            hasMore = hasMore || *p != '0';
            ++exponent;
        }
    }
    if (numerator.isZero() || digits + exponent < kBelow) {
        return 0.0;
    }
    if (digits + exponent > kBeyond) {
        return realOfBits(kInfinityBits);
    }
    if (hasMore) {
        numerator.multiplyAndAdd(10, 1);
        --exponent;
    }
    BigNumber denominator(1);
    (exponent < 0 ? denominator : numerator).multiplyByTenTo(static_cast<int>(exponent < 0 ? -exponent : exponent));
    return rounded(numerator, denominator, 0);
}

// text begins with a digit, or with a point and a digit.
ReadReal readDecimal(const char* text)
{
    uint64_t significand = 0;
    int64_t places = 0;
    bool hasAllDigits = true;
    const char* p = text;
    const auto readDigits = [&](int placesPerDigit) {
        for (; isDigit(*p); ++p) {
            places += placesPerDigit;
            if (significand < kTenTo[kMaxTenTo - 1]) {
                significand = significand * 10 + static_cast<uint64_t>(*p - '0');
            } else {
                hasAllDigits = false;
            }
        }
    };
    readDigits(0);
    if (*p == '.') {
        ++p;
        readDigits(1);
    }
    const char* const digitsEnd = p;
    const int64_t exponent = ((*p | 0x20) == 'e' ? readExponent(p) : 0) - places;
    if (significand == 0) {
        return {p, 0.0};
    }
    if (hasAllDigits && significand <= kMaxExactInteger && exponent >= -kMaxExactTenTo && exponent <= kMaxExactTenTo) {
        const double value = static_cast<double>(significand);  // one rounding only, in the line below
        return {p, exponent < 0 ? value / kExactTenTo[-exponent] : value * kExactTenTo[exponent]};
    }
    if (hasAllDigits && exponent < 0 && exponent >= -kMaxTenTo) {
        return {p, divideByTenTo(significand, static_cast<int>(-exponent))};
    }
    return {p, readExactly(text, digitsEnd, exponent)};
}

}  // namespace

// A 128-bit division leaves at least 63 bits of quotient, and whether the remainder is zero decides the ties. Most
// decimals that a script prints with 16 or 17 digits come through here.
double divideByTenTo(uint64_t significand, int places)
{
    const int shiftN = countLeadingZeros(significand);
    const int shiftD = countLeadingZeros(kTenTo[places]);
    const uint64_t n = significand << shiftN;
    const uint64_t d = kTenTo[places] << shiftD;
    const WideQuotient division = divideWide(n >> 1, n << 63, d);
    uint64_t quotient = division.quotient;

    const int dropped = (quotient >> 63) != 0 ? 11 : 10;  // bits beyond the 53 of a double
    const uint64_t rest = quotient & ((uint64_t{1} << dropped) - 1);
    const uint64_t half = uint64_t{1} << (dropped - 1);
    quotient >>= dropped;
    if (rest > half || (rest == half && (!division.isExact || (quotient & 1) != 0))) {
        ++quotient;
    }
    const int exponent = shiftD - shiftN - 63 + dropped;  // -116 to 11: neither end of a double's range is near
    return static_cast<double>(quotient) * realOfBits(static_cast<uint64_t>(1023 + exponent) << kMantissaBits);
}

ReadReal readReal(const char* text)
{
    const bool isNegative = *text == '-';
    const char* digits = text + (isNegative ? 1 : 0);
    if (!isDigit(digits[*digits == '.' ? 1 : 0])) {
        return {text, 0.0};
    }
    const ReadReal real = readDecimal(digits);
    return {real.end, isNegative ? -real.value : real.value};
}

ReadReal readHexadecimalReal(const char* text)
{
    constexpr uint64_t kRoom = uint64_t{1} << 60;
    uint64_t significand = 0;
    int64_t exponent = 0;
    const char* p = text + 2;
    const auto readDigits = [&](int bitsPerDigit) {
        for (int digit; (digit = hexDigitValue(*p)) >= 0; ++p) {
            exponent -= bitsPerDigit;
            if (significand < kRoom) {
                significand = significand * 16 + static_cast<uint64_t>(digit);
            } else {
                significand |= static_cast<uint64_t>(digit != 0);  // far below what is rounded, but not nothing
                exponent += 4;
            }
        }
    };
    readDigits(0);
    if (*p == '.') {
        ++p;
        readDigits(4);
    }
    exponent += (*p | 0x20) == 'p' ? readExponent(p) : 0;
    return {p, significand == 0 ? 0.0 : rounded(BigNumber(significand), BigNumber(1), exponent)};
}

}  // namespace ZKHAL
