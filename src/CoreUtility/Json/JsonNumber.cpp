#include "CoreUtility/Json/JsonNumber.h"

#include <limits>

#include "CoreUtility/ReadReal.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

namespace {

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

}  // namespace

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
    const ReadReal real = hexadecimal ? readHexadecimalReal(digits) : readReal(digits);
    return {real.end, true, integer, negative ? -real.value : real.value};
}

}  // namespace ZKHAL
