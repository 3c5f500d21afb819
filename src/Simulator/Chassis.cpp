#include "Simulator/Chassis.h"

#include <algorithm>
#include <cmath>

#include "CoreUtility/Numbers.h"
#include "Simulator/Trigonometry.h"

namespace Simulator {

namespace {

constexpr double kMicro = 1e6;
constexpr double kTurn = ZKHAL::kTwoPi * kMicro;
constexpr double kMicrometresPerCm = 1e4;
constexpr double kTopSpeed_cm_s = 100;
constexpr double kTopTurn_rad_s = 6;

double radians(int64_t microradians)
{
    return static_cast<double>(microradians) / kMicro;
}

int64_t rounded(double value)
{
    return ZKHAL::roundHalfAway(value);
}

// The same direction, at most half a turn away.
int64_t nearestTurn(int64_t heading, int64_t from)
{
    return heading + rounded(std::round(static_cast<double>(from - heading) / kTurn) * kTurn);
}

double towards(double now, double target, double acceleration, double seconds)
{
    const double step = acceleration * seconds;
    return acceleration > 0 ? now + std::clamp(target - now, -step, step) : target;
}

}  // namespace

Pose poseOf(double x_cm, double y_cm, double headingRad)
{
    return {rounded(x_cm * kMicrometresPerCm), rounded(y_cm * kMicrometresPerCm), rounded(headingRad * kMicro)};
}

void Chassis::stop()
{
    mDrive = Drive::Stopped;
    mLinear = mAngular = 0;
    mTargetIsValid = false;
}

void Chassis::driveWheels(double left_cm_s, double right_cm_s)
{
    driveBody((left_cm_s + right_cm_s) / 2, (right_cm_s - left_cm_s) / kTrack_cm);
}

void Chassis::driveBody(double linear_cm_s, double angular_rad_s, double acceleration_cm_s2, double acceleration_rad_s2)
{
    mDrive = Drive::Speeds;
    mTargetIsValid = false;
    mLinearTarget = linear_cm_s;
    mAngularTarget = angular_rad_s;
    mLinearAcceleration = acceleration_cm_s2;
    mAngularAcceleration = acceleration_rad_s2;
    const bool comesToRest = acceleration_cm_s2 > 0 || acceleration_rad_s2 > 0;
    if (linear_cm_s == 0 && angular_rad_s == 0 && !comesToRest) {
        stop();
    }
}

void Chassis::approach(Pose target, double seconds, bool isEased)
{
    target.heading = nearestTurn(target.heading, mOdometry.heading);
    begin(target, seconds, isEased);
}

void Chassis::begin(const Pose& target, double seconds, bool isEased)
{
    mDrive = Drive::Approach;
    mLinear = mAngular = 0;
    mFrom = mOdometry;
    mTarget = target;
    mTargetIsValid = true;
    mIsEased = isEased;
    mElapsed = 0;
    const double x = static_cast<double>(target.x - mFrom.x), y = static_cast<double>(target.y - mFrom.y);
    const double distance_cm = std::sqrt(x * x + y * y) / kMicrometresPerCm;
    const double turn = std::abs(radians(target.heading - mFrom.heading));
    mDuration = std::max({seconds, distance_cm / kTopSpeed_cm_s, turn / kTopTurn_rad_s});
}

void Chassis::approachRelative(double x_cm, double y_cm, double headingRad, double seconds, bool isEased)
{
    const Pose from = mTargetIsValid ? mTarget : mOdometry;
    const double c = cosine(radians(from.heading)), s = sine(radians(from.heading));
    Pose target = poseOf(x_cm * c - y_cm * s, x_cm * s + y_cm * c, headingRad);
    target.x += from.x;
    target.y += from.y;
    target.heading += from.heading;
    begin(target, seconds, isEased);
}

void Chassis::moveTo(Pose place, bool isOnFloor)
{
    stop();
    const auto inside = [](double clamped_cm) { return rounded(clamped_cm * kMicrometresPerCm); };
    place.x = inside(mRoom.clampX(static_cast<double>(place.x) / kMicrometresPerCm, kBodyRadius_cm));
    place.y = inside(mRoom.clampY(static_cast<double>(place.y) / kMicrometresPerCm, kBodyRadius_cm));
    place.heading = nearestTurn(place.heading, mPlace.heading);
    if (isOnFloor) {
        // Its odometry is turned against the room when it has been carried.
        const double turned = radians(mOdometry.heading - mPlace.heading);
        const double c = cosine(turned), s = sine(turned);
        const double x = static_cast<double>(place.x - mPlace.x), y = static_cast<double>(place.y - mPlace.y);
        roll({x * c - y * s, x * s + y * c, place.heading - mPlace.heading});
    }
    mPlace = place;
}

void Chassis::advance(double seconds, bool isOnFloor)
{
    mTurnRate = 0;
    mIsStalled = false;
    if (mDrive == Drive::Stopped) {
        return;
    }
    const int64_t before = mOdometry.heading;
    const Move wanted = mDrive == Drive::Speeds ? stepOfSpeeds(seconds) : stepOfApproach(seconds);
    roll(isOnFloor ? withinWalls(wanted) : wanted);
    mTurnRate = isOnFloor ? radians(mOdometry.heading - before) / seconds : 0;
    if (mDrive == Drive::Approach && mElapsed >= mDuration) {
        mDrive = Drive::Stopped;
        // Not behind a wall: the next relative pose then counts from where it stands.
        mTargetIsValid = mOdometry.x == mTarget.x && mOdometry.y == mTarget.y;
        mPosesReached += mTargetIsValid ? 1 : 0;
    }
}

Chassis::Move Chassis::stepOfSpeeds(double seconds)
{
    const double linear = towards(mLinear, mLinearTarget, mLinearAcceleration, seconds);
    const double angular = towards(mAngular, mAngularTarget, mAngularAcceleration, seconds);
    // The mean of both ends while it accelerates.
    const double meanLinear = mLinearAcceleration > 0 ? (mLinear + linear) / 2 : linear;
    const double meanAngular = mAngularAcceleration > 0 ? (mAngular + angular) / 2 : angular;
    mLinear = linear;
    mAngular = angular;
    if (linear == 0 && angular == 0 && mLinearTarget == 0 && mAngularTarget == 0 && meanLinear == 0 &&
        meanAngular == 0) {
        stop();
    }
    // The chord of an arc.
    const double turn = meanAngular * seconds;
    const double chord = meanLinear * seconds * kMicrometresPerCm * sineRatio(turn / 2);
    const double direction = radians(mOdometry.heading) + turn / 2;
    return {chord * cosine(direction), chord * sine(direction), rounded(turn * kMicro)};
}

Chassis::Move Chassis::stepOfApproach(double seconds)
{
    mElapsed = std::min(mElapsed + seconds, mDuration);
    constexpr double kSlack = 1e-9;  // sums of thirtieths of a second
    mElapsed = mDuration - mElapsed < kSlack ? mDuration : mElapsed;
    double part = mDuration > 0 ? mElapsed / mDuration : 1;
    if (mIsEased) {
        part = part * part * (3 - 2 * part);
    }
    const auto between = [part](int64_t from, int64_t to) {
        return static_cast<double>(from) + static_cast<double>(to - from) * part;
    };
    return {between(mFrom.x, mTarget.x) - static_cast<double>(mOdometry.x),
            between(mFrom.y, mTarget.y) - static_cast<double>(mOdometry.y),
            rounded(between(mFrom.heading, mTarget.heading)) - mOdometry.heading};
}

// Moves the robot in the room as far as the walls allow. What it has done, along the axes of its odometry.
Chassis::Move Chassis::withinWalls(const Move& move)
{
    const double turned = radians(mPlace.heading - mOdometry.heading);
    const double c = cosine(turned), s = sine(turned);
    const double wantedX = static_cast<double>(mPlace.x) + move.x * c - move.y * s;
    const double wantedY = static_cast<double>(mPlace.y) + move.x * s + move.y * c;
    const double x = mRoom.clampX(wantedX / kMicrometresPerCm, kBodyRadius_cm) * kMicrometresPerCm;
    const double y = mRoom.clampY(wantedY / kMicrometresPerCm, kBodyRadius_cm) * kMicrometresPerCm;
    const double doneX = x - static_cast<double>(mPlace.x), doneY = y - static_cast<double>(mPlace.y);
    mIsStalled = std::abs(x - wantedX) > 1 || std::abs(y - wantedY) > 1;
    mPlace.x = rounded(x);
    mPlace.y = rounded(y);
    mPlace.heading += move.heading;
    return mIsStalled ? Move{doneX * c + doneY * s, doneY * c - doneX * s, move.heading} : move;
}

// What its wheels tell of a move.
void Chassis::roll(const Move& move)
{
    const double turn = radians(move.heading);
    const double middle = radians(mOdometry.heading) + turn / 2;
    // Along the arc, of which the move is the chord.
    const double chord = move.x * cosine(middle) + move.y * sine(middle);
    const double ratio = sineRatio(turn / 2);
    constexpr double kNearlyATurn = 0.1;
    const double forward = std::abs(ratio) > kNearlyATurn ? chord / ratio : chord;
    const double sideways = turn * kTrack_cm / 2 * kMicrometresPerCm;
    mLeftTravel += rounded(forward - sideways);
    mRightTravel += rounded(forward + sideways);
    mOdometry.x = rounded(static_cast<double>(mOdometry.x) + move.x);
    mOdometry.y = rounded(static_cast<double>(mOdometry.y) + move.y);
    mOdometry.heading += move.heading;
}

}  // namespace Simulator
