#include "HAL/RobotHardware/Battery.h"

#include <cstddef>

#include "ZKHAL/ZKRobotType.h"

namespace Kestrel {

namespace {

struct Threshold {
    unsigned char atLeast;
    unsigned level;
};

// From full down. The two families call themselves full at different indicators, on purpose.
constexpr Threshold kOrvikLevels[] = {{25, 20}, {21, 10}, {20, 2}, {12, 1}, {0, 0}};
constexpr Threshold kPellLevels[] = {{23, 20}, {21, 10}, {20, 2}, {12, 1}, {0, 0}};

template <size_t kCount>
unsigned levelOf(const Threshold (&levels)[kCount], unsigned char indicator)
{
    for (const Threshold& threshold : levels) {
        if (indicator >= threshold.atLeast) {
            return threshold.level;
        }
    }
    return kUnknownLevel;
}

// Indicators that stand for themselves, from `first` on.
unsigned stepOf(unsigned char indicator, unsigned char first)
{
    constexpr unsigned kSteps[] = {1, 10, 20};
    return indicator >= first && indicator - first < 3 ? kSteps[indicator - first] : kUnknownLevel;
}

}  // namespace

unsigned batteryLevelForChargeIndicator(unsigned robotType, unsigned char indicator)
{
    switch (robotType) {
        case ZK_ROBOT_ORVIK:
            return levelOf(kOrvikLevels, indicator);
        case ZK_ROBOT_PELL:
            return levelOf(kPellLevels, indicator);
        case ZK_ROBOT_QUILL:
            return stepOf(indicator, 1);
        case ZK_ROBOT_RUSK:
            return stepOf(indicator, 0);
        default:
            return kUnknownLevel;
    }
}

}  // namespace Kestrel
