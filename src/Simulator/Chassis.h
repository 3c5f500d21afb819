// How a two-wheeled robot moves over the floor of its room.
#pragma once

#include <cstdint>

#include "Simulator/Room.h"

namespace Simulator {

constexpr double kTrack_cm = 10;      // between the wheels
constexpr double kBodyRadius_cm = 8;  // it is round

/** Whole micrometres and microradians: each step is rounded to them, so that it is the same on every machine. */
struct Pose {
    int64_t x = 0, y = 0;
    int64_t heading = 0;  // counter-clockwise, not wrapped
};

Pose poseOf(double x_cm, double y_cm, double headingRad);

/**
 * A simple kinematic model: wheels grip, and a pose is approached in a straight line while the heading turns evenly,
 * even sideways. Walls stop what goes against them, and its wheels with it: along a wall it slides on.
 */
class Chassis {
public:
    explicit Chassis(const Room& room) : mRoom(room) {}

    void stop();
    void driveWheels(double left_cm_s, double right_cm_s);
    /** Accelerations of 0 mean at once. */
    void driveBody(double linear_cm_s, double angular_rad_s, double acceleration_cm_s2 = 0,
                   double acceleration_rad_s2 = 0);
    /**
     * To a pose in its own odometry, over that many seconds, or longer at its top speed; eased at both ends if so. It
     * turns the shorter way.
     */
    void approach(Pose target, double seconds, bool isEased);
    /** The same, relative to where the last pose ended, or to where it is when it has been driven otherwise. */
    void approachRelative(double x_cm, double y_cm, double headingRad, double seconds, bool isEased);

    /** By hand: at once, and turned the shorter way. Over the floor its wheels turn along, through the air they do not.
     */
    void moveTo(Pose place, bool isOnFloor);

    /** Off the floor its wheels turn, and it stays where it is. */
    void advance(double seconds, bool isOnFloor);

    /** In the room, and as its wheels tell. */
    const Pose& place() const
    {
        return mPlace;
    }
    const Pose& odometry() const
    {
        return mOdometry;
    }
    /** Micrometres. */
    int64_t leftTravel() const
    {
        return mLeftTravel;
    }
    int64_t rightTravel() const
    {
        return mRightTravel;
    }
    /** Of the last step, rad/s. */
    double turnRate() const
    {
        return mTurnRate;
    }
    bool isStalled() const
    {
        return mIsStalled;
    }
    bool isDriving() const
    {
        return mDrive != Drive::Stopped;
    }
    /** How many poses it has come to. One behind a wall is not. */
    uint32_t posesReached() const
    {
        return mPosesReached;
    }

private:
    enum class Drive { Stopped, Speeds, Approach };
    struct Move {
        double x, y;  // micrometres, along the axes of the odometry
        int64_t heading;
    };

    void begin(const Pose& target, double seconds, bool isEased);
    Move stepOfSpeeds(double seconds);
    Move stepOfApproach(double seconds);
    Move withinWalls(const Move& move);
    void roll(const Move& move);

    Room mRoom;
    Pose mPlace, mOdometry;
    int64_t mLeftTravel = 0, mRightTravel = 0;
    double mTurnRate = 0;
    bool mIsStalled = false;
    uint32_t mPosesReached = 0;

    Drive mDrive = Drive::Stopped;
    double mLinear = 0, mAngular = 0;  // now, cm/s and rad/s
    double mLinearTarget = 0, mAngularTarget = 0;
    double mLinearAcceleration = 0, mAngularAcceleration = 0;
    Pose mFrom, mTarget;
    bool mTargetIsValid = false;  // a relative pose counts from it
    bool mIsEased = false;
    double mElapsed = 0, mDuration = 0;
};

}  // namespace Simulator
