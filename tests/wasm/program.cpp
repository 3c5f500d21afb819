// What a page would do with the module: a document to packets, and a virtual robot that takes them.
#include <cstdio>
#include <cstdlib>

#include "ZKHAL/Simulator.h"
#include "ZKHAL/Translation.h"
#include "ZKHAL/ZKRobotType.h"

#if defined(__wasm__)
// Without an unwinder, what is thrown ends the program.
extern "C" {
void* __cxa_allocate_exception(size_t)
{
    std::abort();
}
void __cxa_throw(void*, void*, void (*)(void*))
{
    std::abort();
}
}
#endif

int main()
{
    uint8_t out[ZK_BLOCK_SIZE];
    json2Packets(R"({"211":{"left_cm_s":10,"right_cm_s":10},"203":{"degree":12.5}})", out);
    ZKVirtualRobot* robot = ZKVirtualRobotCreate(ZK_ROBOT_ORVIK, 1);
    ZKVirtualRobotWrite(robot, "af230002-879d-6186-1f49-deca0e85d9c1", out + 1, out[0]);
    ZKVirtualRobotAdvance(robot, 1);
    for (int i = 1; i <= out[0]; ++i) {
        std::printf("%02X ", out[i]);
    }
    std::printf("drives %.2f cm, looks at %.2f\n", ZKVirtualRobotGetState(robot)->x,
                ZKVirtualRobotGetState(robot)->pan);
    ZKVirtualRobotDestroy(robot);
    ZKPacketBlock_t slots = {{20, 0x01, 0x17, 0x05, 0xF3, 0x3A, 0x81, 0x40}};
    std::printf("%s\n", packets2Json(slots));
    return 0;
}
