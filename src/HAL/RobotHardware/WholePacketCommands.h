// The commands that take a packet of their own: settings, the clock, the synthesizer.
#pragma once

#include <cstdint>

#include "HAL/RobotHardware/CommandPacking.h"
#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotMessages/WireCommands.h"

namespace HAL {

class RobotHW;

// The value of each setting, behind the sub-command.
void writeName(const HALUserSetting_t& settings, uint8_t* bytes);
void writeColor(const HALUserSetting_t& settings, uint8_t* bytes);
void writeAnim(const HALUserSetting_t& settings, uint8_t* bytes);
void writeColorAnim(const HALUserSetting_t& settings, uint8_t* bytes);
void writeAvatar(const HALUserSetting_t& settings, uint8_t* bytes);
void writeVolume(const HALUserSetting_t& settings, uint8_t* bytes);
void writeEyeBrightness(const HALUserSetting_t& settings, uint8_t* bytes);

template <uint64_t kMask, uint8_t kSubCommand, void (*kWrite)(const HALUserSetting_t&, uint8_t*)>
Placement encodeSetting(robot_hw0_cmd_data* data, RobotHW*)
{
    testAndClearCommandMaskBit(data, kMask);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet != nullptr) {
        bytes[0] = kCmdUserSettings;
        bytes[1] = kSubCommand;
        kWrite(data->userSettings, bytes + 2);
    }
    return room.placement;
}

Placement encodeClock(robot_hw0_cmd_data* data, RobotHW* robot);
Placement encodeSynth(robot_hw0_cmd_data* data, RobotHW* robot);

}  // namespace HAL
