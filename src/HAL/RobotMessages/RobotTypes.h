// The robots: their codes and names, and sets of them for tables that differ by robot.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZKHAL/ZKRobotType.h"

namespace HAL {

using RobotSet = uint8_t;
constexpr RobotSet kOrvik = 1, kPell = 2, kQuill = 4;
constexpr RobotSet kOtherRobot = 8;  // that takes no command packets, or is of no known type
constexpr RobotSet kNoRobot = 0, kWheeledRobots = kOrvik | kQuill, kCommandedRobots = kWheeledRobots | kPell;
constexpr RobotSet kEveryRobot = kCommandedRobots | kOtherRobot;

// How far a head turns, in whole degrees.
struct HeadRange {
    int16_t panLow, panHigh, tiltLow, tiltHigh;
};

struct RobotTypeRow {
    uint32_t type;
    const char* name;   // for programs: short and stable
    const char* words;  // for people
    RobotSet set;       // kOtherRobot: without command packets
    uint8_t family;     // as it is advertised
    bool isBootloader;
    HeadRange head;  // all 0: the robot has none
};

inline constexpr RobotTypeRow kRobotTypes[] = {
    {ZK_ROBOT_ORVIK, "orvik", "Orvik", kOrvik, 1, false, {-120, 120, -24, 7}},
    {ZK_ROBOT_PELL, "pell", "Pell", kPell, 2, false, {}},
    {ZK_ROBOT_QUILL, "quill", "Quill", kQuill, 3, false, {-133, 133, -24, 13}},
    {ZK_ROBOT_RUSK, "rusk", "Rusk", kOtherRobot, 4, false, {}},
    {ZK_ROBOT_ORVIK_BOOTLOADER, "orvik_bootloader", "Orvik, bootloader", kOtherRobot, 1, true, {}},
    {ZK_ROBOT_PELL_BOOTLOADER, "pell_bootloader", "Pell, bootloader", kOtherRobot, 2, true, {}},
    {ZK_ROBOT_QUILL_BOOTLOADER, "quill_bootloader", "Quill, bootloader", kOtherRobot, 3, true, {}},
    {ZK_ROBOT_RUSK_BOOTLOADER, "rusk_bootloader", "Rusk, bootloader", kOtherRobot, 4, true, {}},
};
inline constexpr const RobotTypeRow& kOrvikRow = kRobotTypes[0];

/** Null for a type that is none of the robots'. */
constexpr const RobotTypeRow* findRobotType(uint32_t robotType)
{
    for (const RobotTypeRow& row : kRobotTypes) {
        if (row.type == robotType) {
            return &row;
        }
    }
    return nullptr;
}

constexpr RobotSet robotSet(uint32_t robotType)
{
    switch (robotType) {  // asked for every document
        case ZK_ROBOT_ORVIK:
            return kOrvik;
        case ZK_ROBOT_PELL:
            return kPell;
        case ZK_ROBOT_QUILL:
            return kQuill;
        default:
            return kOtherRobot;
    }
}
static_assert(robotSet(kRobotTypes[0].type) == kRobotTypes[0].set &&
                  robotSet(kRobotTypes[1].type) == kRobotTypes[1].set &&
                  robotSet(kRobotTypes[2].type) == kRobotTypes[2].set &&
                  robotSet(kRobotTypes[3].type) == kRobotTypes[3].set,
              "");

// Robots without a head of their own are measured by an Orvik's.
constexpr const HeadRange& headRange(uint32_t robotType)
{
    return robotSet(robotType) == kQuill ? kRobotTypes[2].head : kOrvikRow.head;
}

}  // namespace HAL
