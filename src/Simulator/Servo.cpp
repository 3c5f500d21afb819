#include "Simulator/Servo.h"

#include <algorithm>
#include <cmath>

#include "CoreUtility/Numbers.h"

namespace Simulator {

namespace {

constexpr double kMicroradiansPerDegree = ZKHAL::kPi / 180 * 1e6;

}  // namespace

Servo::Servo(double lowest, double highest, double topSpeed) : mLowest(lowest), mHighest(highest), mTopSpeed(topSpeed)
{
}

int64_t Servo::limited(double degrees) const
{
    return ZKHAL::roundHalfAway(std::clamp(degrees, mLowest, mHighest) * kMicroradiansPerDegree);
}

void Servo::moveTo(double degrees, double seconds)
{
    mTarget = limited(degrees);
    const double distance = static_cast<double>(mTarget - mAngle);
    const double top = mTopSpeed * kMicroradiansPerDegree;
    const double wanted = seconds > 0 ? std::abs(distance) / seconds : top;
    mSpeed = std::copysign(std::min(wanted, top), distance);
}

void Servo::moveOn(double degreesPerSecond)
{
    const double speed = std::clamp(degreesPerSecond, -mTopSpeed, mTopSpeed);
    mSpeed = speed * kMicroradiansPerDegree;
    mTarget = limited(speed > 0 ? mHighest : mLowest);
}

void Servo::turnTo(double degrees)
{
    mAngle = limited(degrees);
    stop();
}

void Servo::stop()
{
    mTarget = mAngle;
    mSpeed = 0;
}

void Servo::advance(double seconds)
{
    const int64_t next = mAngle + ZKHAL::roundHalfAway(mSpeed * seconds);
    const bool arrives = mSpeed >= 0 ? next >= mTarget : next <= mTarget;
    if (mSpeed == 0 || arrives) {
        mAngle = mSpeed == 0 ? mAngle : mTarget;
        mSpeed = 0;
    } else {
        mAngle = next;
    }
}

double Servo::degrees() const
{
    return static_cast<double>(mAngle) / kMicroradiansPerDegree;
}

}  // namespace Simulator
