#include "CoreUtility/Puppet/WaitClock.h"

#include <limits>

#include "CoreUtility/Numbers.h"
#include "CoreUtility/Puppet/ZKAnimConvert.h"

namespace ZKAnimConvert {

bool WaitClock::add(float seconds, int64_t& wait)
{
    mAccumulatedMs += 1000 * seconds;
    const float exact = mAccumulatedMs - static_cast<float>(mEmittedMs);
    if (exact >= static_cast<float>(kLongestLongWait + 1)) {
        return false;
    }
    wait = ZKHAL::truncate(static_cast<double>(exact));
    // Far below zero the sum stays where it is, so that it cannot overflow.
    constexpr int64_t kLowest = std::numeric_limits<int64_t>::min() / 2;
    mEmittedMs = wait < kLowest - mEmittedMs ? kLowest : mEmittedMs + wait;
    return true;
}

}  // namespace ZKAnimConvert
