#include "CppEngine/TimerManager.h"

#include <cmath>
#include <limits>
#include <vector>

#include "CoreUtility/Compiler.h"
#include "CoreUtility/PayloadText.h"
#include "CppEngine/EngineCall.h"
#include "ZKHAL/HostCallbacks.h"
#include "ZKHAL/Utilities.h"

namespace Kestrel {

TimerManager::Timer::Timer(TimerID timerId, TimerTarget& timerTarget, double dueSecond)
    : target(timerTarget), id(timerId), due(dueSecond)
{
}

TimerManager::TimerManager() : mStartEpoch(BREpoch()), mLifetime(std::make_shared<TimerManager*>(this))
{
    tick(0.0);
}

TimerManager::~TimerManager() = default;

TimerID TimerManager::newTimer(TimerTarget& target, double durationSeconds)
{
    // All lines before the first change: what a log callback does meets a manager in order.
    verifyTickRate();
    if (durationSeconds < 0 || std::isnan(durationSeconds)) {
        ZKLogE("%s - duration is negative: %.3fs - rejecting new timer.", ZK_SIGNATURE, durationSeconds);
        return sInvalidTimerID;
    }
    if (durationSeconds == 0) {
        ZKLogW("%s - duration is zero: timer will go off next tick.", ZK_SIGNATURE);
    }
    if (mNextID == std::numeric_limits<TimerID>::max()) {
        ZKLogW("wrapping timer IDs.");
    }
    const TimerID id = mNextID;
    mNextID = id == std::numeric_limits<TimerID>::max() ? 1 : id + 1;
    double due = mCurrentSecond + durationSeconds;
    if (std::isnan(due)) {
        due = std::numeric_limits<double>::infinity();  // the clock is no number: never
    }
    const Place place = {due, mArmed++};
    mPlaces.emplace(id, place);
    mTimers.emplace(place, Timer(id, target, due));
    return id;
}

void TimerManager::cancelTimer(TimerID id)
{
    // Gone before any line is logged: a callback that ticks does not fire it any more.
    const bool wasPending = remove(id);
    verifyTickRate();
    if (id != sInvalidTimerID && !wasPending) {
        ZKLogW("attempted to cancel unknown timer: %d", static_cast<int>(static_cast<uint32_t>(id & 0xFFFFFFFF)));
    }
}

void TimerManager::forgetTimer(TimerID id) noexcept
{
    remove(id);
}

// Of several with one id, which only a counter that has wrapped brings about, the first to fire.
bool TimerManager::remove(TimerID id) noexcept
{
    const auto [begin, end] = mPlaces.equal_range(id);
    auto first = begin;
    for (auto it = begin; it != end; ++it) {
        if (it->second < first->second) {
            first = it;
        }
    }
    if (first == end) {
        return false;
    }
    mTimers.erase(first->second);
    mPlaces.erase(first);
    return true;
}

void TimerManager::removeAt(const Place& place) noexcept
{
    const auto timer = mTimers.find(place);
    if (timer == mTimers.end()) {
        return;
    }
    const auto [begin, end] = mPlaces.equal_range(timer->second.id);
    for (auto it = begin; it != end; ++it) {
        if (it->second.order == place.order) {
            mPlaces.erase(it);
            break;
        }
    }
    mTimers.erase(timer);
}

void TimerManager::tick()
{
    tick(BREpoch() - mStartEpoch);
}

void TimerManager::tick(double currentSecond)
{
    mLastTickEpoch = BREpoch();
    mCurrentSecond = currentSecond;
    processTimers();
}

void TimerManager::processTimers()
{
    if (mIsFiring) {
        return;  // the pass further down the stack sees the new time
    }
    // Fired timers leave after the pass, since onTimer() may arm and cancel any: each step looks its place up afresh.
    struct Pass {
        explicit Pass(TimerManager& manager) : timers(manager)
        {
            timers.mIsFiring = true;
        }
        ~Pass()
        {
            timers.mIsFiring = false;
            for (const Place& place : fired) {
                timers.removeAt(place);
            }
        }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;

        TimerManager& timers;
        std::vector<Place> fired;
    };
    const EngineCall call;
    Pass pass(*this);
    // In order of due time: behind the first that is not due, nothing is.
    for (auto timer = mTimers.begin(); timer != mTimers.end() && timer->second.due <= mCurrentSecond;) {
        pass.fired.push_back(timer->first);
        timer->second.target.onTimer(timer->second.id);
        timer = mTimers.upper_bound(pass.fired.back());
    }
}

double TimerManager::getCurrentSecond() const
{
    return mCurrentSecond;
}

bool TimerManager::verifyTickRate()
{
    const double gap = BREpoch() - mLastTickEpoch;
    if (gap > sMinimumTickSeconds) {
        ZKLogE("TIMERMANAGER IS NOT BEING TICKED OFTEN ENOUGH. current tick delay is %0.4fs, minimum is %0.4fs", gap,
               sMinimumTickSeconds);
        return false;
    }
    return true;
}

std::string TimerManager::toString() const
{
    ZKHAL::PayloadText text;
    for (const auto& [place, timer] : mTimers) {
        text.append('{');
        text.appendUnsigned(timer.id);
        text.append(" @ ");
        text.appendReal(timer.due);
        text.append('}');
    }
    return std::string(text.data(), text.length());
}

std::weak_ptr<TimerManager*> TimerManager::lifetime() const
{
    return mLifetime;
}

}  // namespace Kestrel
