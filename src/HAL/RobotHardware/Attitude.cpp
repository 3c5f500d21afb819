#include "HAL/RobotHardware/Attitude.h"

#include <cmath>
#include <initializer_list>

#include "CoreUtility/Clock.h"

namespace HAL {

namespace {

// Seconds and microseconds are subtracted each by itself. Across a second boundary 100 ms come out as 0.0999..., which
// is not more than 0.1: that counts, and stays.
double secondsBetween(const ZKHAL::WallTime& from, const ZKHAL::WallTime& to)
{
    // Unsigned, so that no clock that a host installs can overflow the difference.
    const auto seconds = static_cast<int64_t>(static_cast<uint64_t>(to.seconds) - static_cast<uint64_t>(from.seconds));
    const int64_t microseconds = int64_t{to.microseconds} - from.microseconds;
    return static_cast<double>(seconds) + static_cast<double>(microseconds) / 1e6;
}

// How much the accelerometer corrects the gyroscope's angle at each update.
constexpr double kBlend = 0.05;
constexpr double kBlendAtRest = 0.5;
constexpr double kRestTolerance = 0.05;  // of 1 g
constexpr double kFreeFall = 0.01;       // g
constexpr double kMaxSine = 0.99;        // only the upper side is limited, on purpose

}  // namespace

void AttitudeTypeSM::debounceTowards(uint32_t type, const ZKHAL::WallTime& now)
{
    if (mDebouncing == 0) {
        mDebouncing = 1;
        mDebounceStart = now;
    } else if (secondsBetween(mDebounceStart, now) > mDebounceSeconds) {
        mAttitudeType = type;
        mDebouncing = 0;
    }
}

void AttitudeTypeSM::update(double value)
{
    update(value, ZKHAL::wallTime());
}

void AttitudeTypeSM::update(double value, const ZKHAL::WallTime& now)
{
    switch (mAttitudeType) {
        case kAttitudeLevel:
            // Both directions share one debounce: a jump from one side to the other keeps it running, on purpose.
            if (value > mHighThreshold) {
                return debounceTowards(kAttitudeBeyondPositive, now);
            }
            if (value < -mHighThreshold) {
                return debounceTowards(kAttitudeBeyondNegative, now);
            }
            break;
        case kAttitudeBeyondPositive:
            if (value < mLowThreshold) {
                return debounceTowards(kAttitudeLevel, now);
            }
            break;
        default:
            if (value > -mLowThreshold) {
                return debounceTowards(kAttitudeLevel, now);
            }
            break;
    }
    mDebouncing = 0;
}

void AttitudeEstimate::update(double ax, double ay, double az, double gx, double gy, double gz)
{
    const ZKHAL::WallTime now = ZKHAL::wallTime();
    if (!mStarted) {
        mStarted = true;
        mLastUpdate = now;
        return;
    }
    const double dt = secondsBetween(mLastUpdate, now);
    double g = std::sqrt(ax * ax + ay * ay + az * az);
    double blend = kBlend;
    if (std::fabs(g - 1.0) < kRestTolerance) {
        blend = kBlendAtRest;
    } else if (std::fabs(g) < kFreeFall) {
        blend = 0;
        g = 1.0;
    }
    const double sine = ax / g;
    const double accelPitch = std::asin(sine < kMaxSine ? sine : kMaxSine);
    const double accelRoll = std::atan2(ay / g, az / g);

    const double sinRoll = std::sin(mRoll);
    const double tanPitch = std::tan(mPitch);
    const double pitchRate = -gy * mCosRoll - gz * sinRoll;
    const double rollRate = gx - gy * sinRoll * tanPitch + gz * mCosRoll * tanPitch;
    const double pitch = mPitch + pitchRate * dt;
    const double roll = mRoll + rollRate * dt;
    mPitch = pitch + blend * (accelPitch - pitch);
    mRoll = roll + blend * (accelRoll - roll);
    mCosPitch = std::cos(mPitch);
    mCosRoll = std::cos(mRoll);
    mSlope = std::acos(mCosPitch * mCosRoll);
    mLastUpdate = now;

    mRollType.update(mRoll, now);
    mPitchType.update(mPitch, now);
    mSlopeType.update(mSlope, now);
}

void AttitudeEstimate::setAttitudeTypeHighThresh(double radians)
{
    for (AttitudeTypeSM* machine : {&mRollType, &mPitchType, &mSlopeType}) {
        machine->setHighThresh(radians);
    }
}

void AttitudeEstimate::setAttitudeTypeLowThresh(double radians)
{
    for (AttitudeTypeSM* machine : {&mRollType, &mPitchType, &mSlopeType}) {
        machine->setLowThresh(radians);
    }
}

void AttitudeEstimate::setAttitudeTypeDebounceTime(double seconds)
{
    for (AttitudeTypeSM* machine : {&mRollType, &mPitchType, &mSlopeType}) {
        machine->setDebounceTime(seconds);
    }
}

}  // namespace HAL
