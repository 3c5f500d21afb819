// A head servo: it moves towards an angle, in a given time or at its top speed, or on at a speed, within its limits.
#pragma once

#include <cstdint>

namespace Simulator {

class Servo {
public:
    /** Degrees, and degrees per second. */
    Servo(double lowest, double highest, double topSpeed);

    /** Over that many seconds, or longer where its top speed is too low for that. */
    void moveTo(double degrees, double seconds = 0);
    void moveOn(double degreesPerSecond);
    /** By hand: at once. */
    void turnTo(double degrees);
    void stop();
    void advance(double seconds);

    double degrees() const;
    int64_t microradians() const
    {
        return mAngle;
    }

private:
    int64_t limited(double degrees) const;

    double mLowest, mHighest, mTopSpeed;
    // Whole microradians: each step is rounded, so that it is the same on every machine.
    int64_t mAngle = 0;
    int64_t mTarget = 0;
    double mSpeed = 0;  // microradians per second, with its sign
};

}  // namespace Simulator
