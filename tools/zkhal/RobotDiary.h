// What a virtual robot did, for a picture: its path and its lights.
#pragma once

#include <string>

#include "Picture.h"
#include "Simulator/VirtualRobot.h"

namespace zkhal {

class RobotDiary {
public:
    // Notes the state, unless it was noted a moment ago. Of a long day there are fewer notes, not more.
    void note(const Simulator::VirtualRobot& robot);
    std::string picture(const Simulator::VirtualRobot& robot, const std::string& title) const;

private:
    void thinOut();

    double mInterval = 0.1, mNext = 0;  // seconds
    Curve mPath{"driven", "#1f6fb4", {}};
    Bar mLights[4] = {{"102", {}}, {"103", {}}, {"104", {}}, {"eye ring", {}}};
};

}  // namespace zkhal
