// What a robot's charge indicator says about its battery.
#pragma once

#include "ZKHAL/ZKExport.h"

namespace Kestrel {

constexpr unsigned kUnknownLevel = 9999;  // battery level or charge mode that is not known

/**
 * One of the levels 0, 1, 2, 10 and 20, or kUnknownLevel.
 * robotType   an application-mode code of ZKHAL/ZKRobotType.h; any other gives kUnknownLevel
 * indicator   as the robot sends it, in advertisements and sensor packets alike
 */
ZK_API unsigned batteryLevelForChargeIndicator(unsigned robotType, unsigned char indicator);

}  // namespace Kestrel
