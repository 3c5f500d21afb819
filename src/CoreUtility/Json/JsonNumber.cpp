#include "CoreUtility/Json/JsonNumber.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include <locale.h>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/PlainLocale.h"
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

struct Magnitude {
    const char* end;
    uint64_t value;  // saturated at limit
};

template <uint64_t kBase>
Magnitude readMagnitude(const char* p, uint64_t limit)
{
    constexpr uint64_t kAlwaysRoom = uint64_t{1} << 58;
    uint64_t value = 0;
    for (;; ++p) {
        const auto digit = static_cast<uint64_t>(hexDigitValue(*p));  // -1 is beyond every base
        if (digit >= kBase) {
            return {p, value};
        }
        const bool fits = value < kAlwaysRoom || value <= (limit - digit) / kBase;
        value = fits ? value * kBase + digit : limit;
    }
}

struct Real {
    const char* end;
    double value;
};

// Everything that strtod takes: hexadecimal reals, more than 19 digits, exponents up to the ends of the range.
Real readAnyReal(const char* text)
{
    char* end = nullptr;
    const locale_t locale = plainLocale();
    ZK_ASSERT(locale);  // null only without memory
    const double value = strtod_l(text, &end, locale);
    return {end, value};
}

// text begins with a digit.
Real readDecimalReal(const char* text)
{
    uint64_t significand = 0;
    int64_t exponent = 0;
    bool exact = true;  // all digits are in significand
    const char* p = text;
    const auto readDigits = [&](int exponentPerDigit) {
        for (; isDigit(*p); ++p) {
            if (significand < kTenTo[kMaxTenTo - 1]) {
                significand = significand * 10 + static_cast<uint64_t>(*p - '0');
                exponent -= exponentPerDigit;
            } else {
                exact = false;
            }
        }
    };
    readDigits(0);
    if (*p == '.') {
        ++p;
        readDigits(1);
    }
    if ((*p | 0x20) == 'e') {
        const char* q = p + 1;
        const bool negative = *q == '-';
        if (*q == '-' || *q == '+') {
            ++q;
        }
        if (isDigit(*q)) {
            int written = 0;
            for (; isDigit(*q); ++q) {
                written = written < 10000 ? written * 10 + (*q - '0') : written;
            }
            exact = exact && written < 10000;  // beyond that, as many zeros may stand before or behind the point
            exponent += negative ? -written : written;
            p = q;
        }
    }
    if (exact && significand == 0) {
        return {p, 0.0};
    }
    if (exact && significand <= kMaxExactInteger && exponent >= -kMaxExactTenTo && exponent <= kMaxExactTenTo) {
        const double value = static_cast<double>(significand);  // one rounding only, in the line below
        return {p, exponent < 0 ? value / kExactTenTo[-exponent] : value * kExactTenTo[exponent]};
    }
    if (exact && exponent < 0 && exponent >= -kMaxTenTo) {
        return {p, divideByTenTo(significand, static_cast<int>(-exponent))};
    }
    return readAnyReal(text);
}

}  // namespace

__extension__ using Uint128 = unsigned __int128;

// A 128-bit division leaves at least 63 bits of quotient, and whether the remainder is zero decides the ties. Most
// decimals that a script prints with 16 or 17 digits come through here.
double divideByTenTo(uint64_t significand, int places)
{
    const int shiftN = __builtin_clzll(significand);
    const int shiftD = __builtin_clzll(kTenTo[places]);
    const uint64_t n = significand << shiftN;
    const uint64_t d = kTenTo[places] << shiftD;
    const Uint128 dividend = static_cast<Uint128>(n) << 63;
    uint64_t quotient = static_cast<uint64_t>(dividend / d);
    const bool inexact = static_cast<uint64_t>(dividend) != quotient * d;

    const int dropped = (quotient >> 63) != 0 ? 11 : 10;  // bits beyond the 53 of a double
    const uint64_t rest = quotient & ((uint64_t{1} << dropped) - 1);
    const uint64_t half = uint64_t{1} << (dropped - 1);
    quotient >>= dropped;
    if (rest > half || (rest == half && (inexact || (quotient & 1) != 0))) {
        ++quotient;
    }
    const int exponent = shiftD - shiftN - 63 + dropped;  // -116 to 11: neither end of a double's range is near
    const uint64_t powerBits = static_cast<uint64_t>(1023 + exponent) << 52;
    double power;
    std::memcpy(&power, &powerBits, sizeof power);
    return static_cast<double>(quotient) * power;
}

JsonNumber readJsonNumber(const char* text)
{
    const bool negative = *text == '-';
    const char* digits = text + (negative ? 1 : 0);
    if (!isDigit(*digits)) {
        return {nullptr, false, 0, 0.0};
    }
    const uint64_t limit = static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) + (negative ? 1 : 0);
    const bool leadingZero = digits[0] == '0';
    const bool hexadecimal = leadingZero && (digits[1] | 0x20) == 'x' && hexDigitValue(digits[2]) >= 0;
    const Magnitude magnitude = hexadecimal   ? readMagnitude<16>(digits + 2, limit)
                                : leadingZero ? readMagnitude<8>(digits, limit)
                                              : readMagnitude<10>(digits, limit);
    const int64_t integer = static_cast<int64_t>(negative ? uint64_t{0} - magnitude.value : magnitude.value);
    const char next = *magnitude.end;
    if (next != '.' && next != 'e' && next != 'E') {
        return {magnitude.end, false, integer, static_cast<double>(integer)};
    }
    const Real real = hexadecimal ? readAnyReal(digits) : readDecimalReal(digits);
    return {real.end, true, integer, negative ? -real.value : real.value};
}

}  // namespace ZKHAL
