// What a virtual robot is made with, beside what all tables say of its type.
#pragma once

#include <cstddef>
#include <cstdint>

#include "HAL/RobotMessages/RobotTypes.h"

namespace Simulator {

struct RobotModel {
    uint32_t type;
    uint8_t family;    // as advertised
    const char* name;  // as it leaves the factory
    bool hasWheels;    // and a head
    bool hasCommands;  // and sensors; a Rusk has its shell only
    HAL::HeadRange head;
    uint8_t fullBattery;  // indicator
};

constexpr RobotModel modelOf(const HAL::RobotTypeRow& row, const char* name, uint8_t fullBattery)
{
    return {row.type, row.family, name, (row.set & HAL::kWheeledRobots) != 0, (row.set & HAL::kCommandedRobots) != 0,
            row.head, fullBattery};
}

inline constexpr RobotModel kModels[] = {
    modelOf(*HAL::findRobotType(ZK_ROBOT_ORVIK), "Virtual Orvik", 28),
    modelOf(*HAL::findRobotType(ZK_ROBOT_PELL), "Virtual Pell", 28),
    modelOf(*HAL::findRobotType(ZK_ROBOT_QUILL), "Virtual Quill", 3),
    modelOf(*HAL::findRobotType(ZK_ROBOT_RUSK), "Virtual Rusk", 2),
};

constexpr bool everyRobotHasAModel()
{
    size_t models = 0;
    for (const HAL::RobotTypeRow& row : HAL::kRobotTypes) {
        for (const RobotModel& model : kModels) {
            models += !row.isBootloader && model.type == row.type ? 1u : 0u;
        }
        models += row.isBootloader ? 1u : 0u;
    }
    return models == sizeof HAL::kRobotTypes / sizeof HAL::kRobotTypes[0];
}
static_assert(everyRobotHasAModel(), "a new robot type wants a virtual robot");

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
