// How each command is made, and in which order they take their places in the packets.
#pragma once

#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"

namespace HAL {

class RobotHW;

// Encodes what the command mask holds, first fit into the packets of the working record. trace may be null.
void packPending(robot_hw0_cmd_data* data, RobotHW* robot, PackTrace* trace);

}  // namespace HAL
