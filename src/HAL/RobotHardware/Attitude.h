// How a robot stands, from its accelerometer and gyroscope.
#pragma once

#include <cstdint>

#include "CoreUtility/WallTime.h"
#include "ZKHAL/ZKExport.h"

namespace HAL {

enum AttitudeType : uint32_t { kAttitudeLevel = 0, kAttitudeBeyondPositive = 1, kAttitudeBeyondNegative = 2 };

/**
 * A debounced three-way classification of an angle. Leaving level takes more than the high threshold, coming back less
 * than the low one, each for longer than the debounce time and in at least two updates.
 */
class ZK_API AttitudeTypeSM {
public:
    /** value in radians; the time is the library's wall clock. */
    void update(double value);
    uint32_t getAttitudeType() const
    {
        return mAttitudeType;
    }
    void setHighThresh(double radians)
    {
        mHighThreshold = radians;
    }
    void setLowThresh(double radians)
    {
        mLowThreshold = radians;
    }
    void setDebounceTime(double seconds)
    {
        mDebounceSeconds = seconds;
    }

private:
    friend class AttitudeEstimate;
    void update(double value, const ZKHAL::WallTime& now);
    void debounceTowards(uint32_t type, const ZKHAL::WallTime& now);

    ZKHAL::WallTime mDebounceStart{0, 0};
    uint32_t mDebouncing = 0;
    uint32_t mAttitudeType = kAttitudeLevel;
    double mHighThreshold = 0.2617993877991494;  // 15 degrees
    double mLowThreshold = 0.20943951023931953;  // 12 degrees
    double mDebounceSeconds = 0.1;
};

/** A complementary filter over both sensors. The first update only starts the clock. */
class ZK_API AttitudeEstimate {
public:
    /** Accelerations in g; angular rates in rad/s: gx about the roll, gy about the pitch, gz about the yaw axis. */
    void update(double ax, double ay, double az, double gx, double gy, double gz);

    /** Radians. */
    double getPitch() const
    {
        return mPitch;
    }
    double getRoll() const
    {
        return mRoll;
    }
    double getSlope() const
    {
        return mSlope;
    }

    uint32_t getPitchType() const
    {
        return mPitchType.getAttitudeType();
    }
    uint32_t getRollType() const
    {
        return mRollType.getAttitudeType();
    }
    uint32_t getSlopeType() const
    {
        return mSlopeType.getAttitudeType();
    }

    /** For all three angles. */
    void setAttitudeTypeHighThresh(double radians);
    void setAttitudeTypeLowThresh(double radians);
    void setAttitudeTypeDebounceTime(double seconds);

private:
    bool mStarted = false;
    ZKHAL::WallTime mLastUpdate{0, 0};
    double mPitch = 0;
    double mRoll = 0;
    double mCosPitch = 1;  // of the angles above: computed once for an update, its slope and the next update
    double mCosRoll = 1;
    double mSlope = 0;
    AttitudeTypeSM mRollType;
    AttitudeTypeSM mPitchType;
    AttitudeTypeSM mSlopeType;
};

}  // namespace HAL
