// One-shot timers that fire in the host's ticks.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "ZKHAL/ZKExport.h"

namespace Kestrel {

/** 0 is no timer. */
using TimerID = uint64_t;

/** Who is told that a timer has gone off. It must cancel its pending timers before it goes. */
class ZK_API TimerTarget {
public:
    /** Called inside a tick. It may arm and cancel any timers, and tick. */
    virtual void onTimer(TimerID id) = 0;

protected:
    ~TimerTarget() = default;
};

/**
 * Owns no thread: time moves in tick() only, which the host calls. Between ticks the current second stands still, and
 * durations count from it. All calls come from one thread.
 *
 * Arming and cancelling take logarithmic time in the number of pending timers, a tick takes time for what it fires.
 */
class ZK_API TimerManager {
public:
    class Timer {
    public:
        Timer(TimerID timerId, TimerTarget& timerTarget, double dueSecond);

        TimerTarget& target;  // not owned
        TimerID id;
        double due;  // seconds on the manager's clock
    };

    /** The longest gap between ticks that is tolerated, in spite of its name. */
    static constexpr double sMinimumTickSeconds = 2.0;
    /** How often hosts should tick. Nothing in the library reads it. */
    static constexpr double sRecommendedTickSeconds = 0.015;
    static constexpr TimerID sInvalidTimerID = 0;

    /** Starts the clock at second 0. */
    TimerManager();
    /** Not inside its own tick. Pending timers are dropped. */
    ~TimerManager();
    TimerManager(const TimerManager&) = delete;
    TimerManager& operator=(const TimerManager&) = delete;

    /**
     * Arms a timer that goes off at the first tick whose second is at least the current second plus the duration; of
     * equal ones, in the order in which they were armed. Duration 0 (with a warning) means the next tick, or inside
     * onTimer() the same one.
     * Returns its id; 0, with an error line and without using up an id, for a duration that is negative or not a
     * number. An infinite one never goes off.
     */
    TimerID newTimer(TimerTarget& target, double durationSeconds);

    /** The target hears nothing more of the timer. A warning when it is not pending; id 0 is silent. */
    void cancelTimer(TimerID id);

    /** The same without the lines about tick rate and unknown ids. */
    void forgetTimer(TimerID id) noexcept;

    /** Moves time on to the wall clock and fires what is due. */
    void tick();
    /**
     * The same, with the current second given. Inside onTimer() time moves on at once, and the pass that is under way
     * fires what has become due.
     */
    void tick(double currentSecond);

    /** As of the last tick. */
    double getCurrentSecond() const;

    /** Whether a pass is under way: inside onTimer(), and what it calls. */
    bool isFiring() const
    {
        return mIsFiring;
    }

    /** False, with an error line, when the last tick is more than sMinimumTickSeconds of wall-clock time ago. */
    bool verifyTickRate();

    /** "{id @ second}" for each pending timer in firing order. Those of a pass stay until it ends. */
    std::string toString() const;

    /** Expires with this object: for those who hold ids of it. */
    std::weak_ptr<TimerManager*> lifetime() const;

protected:
    TimerID mNextID = 1;

private:
    // Where a timer stands: by due time, and by arming order among equals.
    struct Place {
        double due;
        uint64_t order;
        bool operator<(const Place& other) const
        {
            return due < other.due || (due == other.due && order < other.order);
        }
    };

    void processTimers();
    bool remove(TimerID id) noexcept;
    void removeAt(const Place& place) noexcept;

    std::map<Place, Timer> mTimers;
    std::unordered_multimap<TimerID, Place> mPlaces;  // where each timer stands
    double mStartEpoch;                               // wall-clock seconds
    double mCurrentSecond = 0;
    double mLastTickEpoch = 0;  // wall-clock seconds
    uint64_t mArmed = 0;        // how many timers so far
    bool mIsFiring = false;
    std::shared_ptr<TimerManager*> mLifetime;
};

}  // namespace Kestrel
