// What the packetizers ask of the robot description, which in turn owns packetizers.
#pragma once

#include <cstdint>

namespace HAL {

class RobotHW;

uint32_t robotTypeOf(const RobotHW& robot);

}  // namespace HAL
