// Texts to reals, correctly rounded, the same in every locale.
#pragma once

#include <cstdint>

#include "ZKHAL/ZKExport.h"

namespace ZKHAL {

struct ReadReal {
    const char* end;  // after the number; the begin of the text when there is none
    double value;
};

// What std::strtod() reads of a decimal: digits with a point among them, an exponent; a minus sign before. No blanks,
// no plus sign, no words. Beyond the range the infinities and 0.
ZK_API ReadReal readReal(const char* text);  // for the simulator, a library of its own

// The same of a hexadecimal without a sign; text begins with "0x" and a digit.
ReadReal readHexadecimalReal(const char* text);

// significand / 10^places, correctly rounded; significand is not 0, places is 0 to 19.
double divideByTenTo(uint64_t significand, int places);

// Powers of ten that a double holds exactly.
inline constexpr double kExactTenTo[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                         1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kMaxExactTenTo = 22;
constexpr uint64_t kMaxExactInteger = uint64_t{1} << 53;
constexpr int kMaxExactDigits = 15;  // any so many make such an integer

inline double decimalFraction(uint64_t significand, int places)
{
    if (significand <= kMaxExactInteger) {
        return static_cast<double>(significand) / kExactTenTo[places];  // two exact numbers: one rounding
    }
    return divideByTenTo(significand, places);
}

}  // namespace ZKHAL
