#include <cstdio>
#include <cstring>

#include <ZKHAL/ZKHAL.h>
#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"

int main()
{
    HAL::RobotHW robot;
    robot._setRobotType(ZK_ROBOT_QUILL);
    APICore::BotMessengerBuffer translator(&robot);
    const char json[] = R"({"211":{"left_cm_s":10,"right_cm_s":-10}})";
    for (const HALPacket_t* packet : translator.convertCtlrMessageToPackets(json, std::strlen(json))) {
        for (uint32_t i = 0; i < packet->length; ++i) {
            std::printf("%s%02X", i > 0 ? " " : "", packet->data[i]);
        }
    }
    std::printf("\n");
}
