// Sine and cosine of sums and products alone. Those of the C library differ in the last bit between processors, and a
// robot must drive the same way on all of them.
#pragma once

#include <cmath>

#include "CoreUtility/Numbers.h"

namespace Simulator {

namespace trigonometry {

// Taylor's series up to an eighth of a turn, good to 15 digits.
inline double sineNearZero(double x)
{
    const double square = x * x;
    double sum = 0, term = x;
    for (int n = 1; n <= 17; n += 2) {
        sum += term;
        term *= -square / ((n + 1) * (n + 2));
    }
    return sum;
}

inline double cosineNearZero(double x)
{
    const double square = x * x;
    double sum = 0, term = 1;
    for (int n = 0; n <= 16; n += 2) {
        sum += term;
        term *= -square / ((n + 1) * (n + 2));
    }
    return sum;
}

}  // namespace trigonometry

// radians within some millions.
inline double sine(double radians)
{
    constexpr double kQuarterTurn = ZKHAL::kPi / 2;
    const double quarters = std::floor(radians / kQuarterTurn + 0.5);
    const double rest = radians - quarters * kQuarterTurn;
    switch (static_cast<long long>(quarters) & 3) {
        case 0:
            return trigonometry::sineNearZero(rest);
        case 1:
            return trigonometry::cosineNearZero(rest);
        case 2:
            return -trigonometry::sineNearZero(rest);
        default:
            return -trigonometry::cosineNearZero(rest);
    }
}

inline double cosine(double radians)
{
    return sine(radians + ZKHAL::kPi / 2);
}

// sine(x) / x
inline double sineRatio(double x)
{
    return x == 0 ? 1 : sine(x) / x;
}

}  // namespace Simulator
