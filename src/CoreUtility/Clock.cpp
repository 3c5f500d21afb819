#include "CoreUtility/Clock.h"

#include <ctime>

#include <sys/time.h>

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
    timeval system{};
    gettimeofday(&system, nullptr);
    now.seconds = system.tv_sec;
    now.microseconds = static_cast<int32_t>(system.tv_usec);
    return now;
}

uint64_t ZKHAL::monotonicNanoseconds()
{
    if (gClock.monotonicNanoseconds != nullptr) {
        return gClock.monotonicNanoseconds(gClock.user);
    }
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000u + static_cast<uint64_t>(now.tv_nsec);
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
