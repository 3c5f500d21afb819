// What tells the four families apart, from the robot's side.
#pragma once

#include <cstdint>

#include "ZKHAL/ZKRobotType.h"

namespace Simulator {

struct RobotModel {
    uint32_t type;
    uint8_t family;                                         // as advertised
    const char* name;                                       // as it leaves the factory
    bool hasWheels;                                         // and a head
    bool hasCommands;                                       // and sensors; a Rusk has its shell only
    double lowestPan, highestPan, lowestTilt, highestTilt;  // degrees
    uint8_t fullBattery;                                    // indicator
};

constexpr RobotModel kModels[] = {
    {ZK_ROBOT_ORVIK, 1, "Virtual Orvik", true, true, -120, 120, -24, 7, 28},
    {ZK_ROBOT_PELL, 2, "Virtual Pell", false, true, 0, 0, 0, 0, 28},
    {ZK_ROBOT_QUILL, 3, "Virtual Quill", true, true, -133, 133, -24, 13, 3},
    {ZK_ROBOT_RUSK, 4, "Virtual Rusk", false, false, 0, 0, 0, 0, 2},
};

constexpr const RobotModel* findModel(uint32_t type)
{
    for (const RobotModel& model : kModels) {
        if (model.type == type) {
            return &model;
        }
    }
    return nullptr;
}

}  // namespace Simulator
