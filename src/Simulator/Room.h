// Four walls around a robot.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

namespace Simulator {

/** Lengths in cm; the origin is in the middle. */
struct Room {
    double length = 200;  // along x
    double width = 150;   // along y

    double clampX(double x, double margin) const
    {
        return std::clamp(x, -(length / 2 - margin), length / 2 - margin);
    }
    double clampY(double y, double margin) const
    {
        return std::clamp(y, -(width / 2 - margin), width / 2 - margin);
    }
    // From a place inside along a direction of length 1.
    double distanceToWall(double x, double y, double directionX, double directionY) const
    {
        const auto along = [](double at, double half, double direction) {
            return direction > 0   ? (half - at) / direction
                   : direction < 0 ? (-half - at) / direction
                                   : std::numeric_limits<double>::infinity();
        };
        return std::min(along(x, length / 2, directionX), along(y, width / 2, directionY));
    }
};

}  // namespace Simulator
