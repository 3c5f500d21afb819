// The records of the working record: which a robot registers, and what commanding a component marks in them.
#pragma once

#include <cstddef>

#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"

namespace HAL {

// For Ctlr2BotMsg::bindStorage().
const StorageMaps& storageMapsOfRecords();

// Zero but for the ids of the registered records: what records are made fresh from. Lives as long as the process.
const robot_hw0_cmd_data& freshData(RobotSet robot);

// RobotHW_rev0::setCommand() for a row of kComponents: marks it as commanded in a message's hardware data.
void setComponent(void* data, size_t component);

}  // namespace HAL
