// What the parts of the virtual robot share.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"

namespace Simulator {

constexpr int kStepsPerSecond = 30;  // and reports
constexpr double kDegree = ZKHAL::kPi / 180;

template <size_t kSize>
void setText(char (&field)[kSize], const std::string& text)
{
    ZKHAL::copyToField(field, kSize, text.data(), text.size());
}

// Microradians. A turn is no whole number of them: the rest is carried along, not added up.
inline int64_t withinHalfATurn(int64_t heading)
{
    constexpr double kTurn = ZKHAL::kTwoPi * 1e6;
    const double turns = std::round(static_cast<double>(heading) / kTurn);
    return heading - ZKHAL::roundHalfAway(turns * kTurn);
}

}  // namespace Simulator
