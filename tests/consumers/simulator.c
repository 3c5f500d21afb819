/* Virtual robots of a C program: they advertise, answer and drive. */
#include <stdio.h>

#include <ZKHAL/Simulator.h>
#include <ZKHAL/ZKHAL.h>

int main(void)
{
    ZKVirtualRobot* robot = ZKVirtualRobotCreate(ZK_ROBOT_PELL, 1);
    uint8_t data[ZK_ADVERTISED_SIZE];
    char name[ZK_ADVERTISED_NAME_SIZE];
    const size_t length = ZKVirtualRobotAdvertise(robot, data, name);
    printf("%u bytes, %s, %u characteristics\n", (unsigned)length, name,
           (unsigned)ZKVirtualRobotCharacteristics(robot, NULL, 0));
    ZKVirtualRobotDestroy(robot);

    robot = ZKVirtualRobotCreate(ZK_ROBOT_RUSK, 1);
    ZKVirtualRobotSetAnswer(robot, "HOW ARE YOU", "FINE");
    const char* channels[2];
    ZKVirtualRobotCharacteristics(robot, channels, 2);
    ZKVirtualRobotWrite(robot, channels[0], (const uint8_t*)"HOW ARE YOU\n", 12);
    ZKVirtualRobotAdvance(robot, 0.1);
    const uint8_t* bytes;
    size_t count;
    while (ZKVirtualRobotNextNotification(robot, NULL, &bytes, &count)) {
        printf("%.*s", (int)count, (const char*)bytes);
    }
    ZKVirtualRobotDestroy(robot);

    robot = ZKVirtualRobotCreate(ZK_ROBOT_ORVIK, 1);
    const uint8_t wheels[] = {0x01, 0x01, 0x2C, 0x01, 0x2C};
    ZKVirtualRobotWrite(robot, "af230002-879d-6186-1f49-deca0e85d9c1", wheels, sizeof wheels);
    ZKVirtualRobotAdvance(robot, 1);
    printf("%.2f cm\n", ZKVirtualRobotGetState(robot)->x);
    ZKVirtualRobotDestroy(robot);
    return ZKVirtualRobotCreate(7, 1) != NULL;
}
