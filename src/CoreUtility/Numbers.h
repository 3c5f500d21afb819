// Real numbers to the integers of a packet, with a defined result for every input.
//
// A real goes through 64 bits, and a field then keeps its low bits. Not-a-number and the infinities give 0;
// finite reals beyond 64 bits saturate first.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace ZKHAL {

constexpr double kPi = 3.141592653589793;
constexpr double kTwoPi = 6.283185307179586;

inline int64_t truncate(double value)
{
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (value > -kTwoTo63 && value < kTwoTo63) {
        return static_cast<int64_t>(value);
    }
    if (!std::isfinite(value)) {
        return 0;
    }
    return value > 0 ? std::numeric_limits<int64_t>::max() : std::numeric_limits<int64_t>::min();
}

// What truncate(std::round(value)) gives, without the call.
inline int64_t roundHalfAway(double value)
{
    constexpr double kTwoTo52 = 4503599627370496.0;  // from here on there are whole numbers only
    if (!(value > -kTwoTo52 && value < kTwoTo52)) {
        return truncate(value);
    }
    const auto whole = static_cast<int64_t>(value);
    const double rest = value - static_cast<double>(whole);  // exact
    return whole + (rest >= 0.5 ? 1 : 0) - (rest <= -0.5 ? 1 : 0);
}

constexpr uint8_t low8(int64_t value)
{
    return static_cast<uint8_t>(value & 0xFF);
}

constexpr uint16_t low16(int64_t value)
{
    return static_cast<uint16_t>(value & 0xFFFF);
}

constexpr uint32_t low32(int64_t value)
{
    return static_cast<uint32_t>(value & 0xFFFFFFFF);
}

// Not-a-number stays not-a-number, whatever the limits.
template <class Real>
constexpr Real clampReal(Real value, Real low, Real high)
{
    return value < low ? low : (value > high ? high : value);
}

// The order of the steps decides the last bit.
constexpr double radiansFromDegrees(double degrees)
{
    return degrees * 2 * kPi / 360;
}

// Single precision; beyond its range the infinities.
inline float narrowed(double value)
{
    constexpr double kMost = std::numeric_limits<float>::max();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    return value > kMost ? kInfinity : value < -kMost ? -kInfinity : static_cast<float>(value);
}

// A level of a document, 0.0 to 1.0, as a byte. Not clamped: 1.5 gives 382, of which the low byte 126 remains.
inline uint8_t levelByte(double level)
{
    return low8(truncate(level * 255.0));
}

}  // namespace ZKHAL
