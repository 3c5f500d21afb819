#include "CoreUtility/Clock.h"

#include <chrono>

#include "ZKHAL/Diagnostics.h"
#include "ZKHAL/Utilities.h"

namespace {

ZKClock gClock = {nullptr, nullptr, nullptr};

}  // namespace

void ZKSetClock(const ZKClock* clock)
{
    gClock = clock != nullptr ? *clock : ZKClock{nullptr, nullptr, nullptr};
}

ZKHAL::WallTime ZKHAL::wallTime()
{
    WallTime now{0, 0};
    if (gClock.wallTime != nullptr) {
        gClock.wallTime(gClock.user, &now.seconds, &now.microseconds);
        return now;
    }
    using namespace std::chrono;
    const auto sinceEpoch = floor<microseconds>(system_clock::now().time_since_epoch());
    now.seconds = floor<seconds>(sinceEpoch).count();
    now.microseconds = static_cast<int32_t>((sinceEpoch - seconds(now.seconds)).count());
    return now;
}

uint64_t ZKHAL::monotonicNanoseconds()
{
    if (gClock.monotonicNanoseconds != nullptr) {
        return gClock.monotonicNanoseconds(gClock.user);
    }
    using namespace std::chrono;
    return static_cast<uint64_t>(duration_cast<nanoseconds>(steady_clock::now().time_since_epoch()).count());
}

double BREpoch(void)
{
    const ZKHAL::WallTime now = ZKHAL::wallTime();
    // Unsigned, so that no clock that a host installs can overflow the product.
    const uint64_t milliseconds =
        static_cast<uint64_t>(now.seconds) * 1000u + static_cast<uint64_t>(int64_t{now.microseconds / 1000});
    return static_cast<double>(static_cast<int64_t>(milliseconds)) / 1000.0;
}

double BRSystemTime(void)
{
    return static_cast<double>(ZKHAL::monotonicNanoseconds()) / 1e9;
}
