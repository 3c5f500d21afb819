// Any bytes as what is done to a virtual robot: writes, hands and time. It stays in its room, and what it notifies is
// decoded.
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "Simulator/VirtualRobot.h"
#include "ZKHAL/ZKHAL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    if (size == 0) {
        return 0;
    }
    const uint32_t type = ZK_ROBOT_ORVIK + data[0] % 4u;
    const auto robot = Simulator::VirtualRobot::create(type, data[0]);
    ZKTranslator* translator = ZKTranslatorCreate(type);
    const std::vector<const char*> channels = robot->characteristics();
    for (size_t at = 1; at + 1 < size;) {
        const uint8_t choice = data[at++];
        const size_t wanted = choice >> 3;
        const size_t length = wanted < size - at ? wanted : size - at;
        double numbers[3] = {};
        std::memcpy(numbers, data + at, length < sizeof numbers ? length : sizeof numbers);
        switch (choice & 7) {
            case 0:
                robot->moveByHand(numbers[0], numbers[1], numbers[2]);
                break;
            case 1:
                robot->lift(length % 2 != 0);
                robot->tilt(numbers[0], numbers[1]);
                robot->clap(numbers[2]);
                robot->press(static_cast<int>(length), length % 3 != 0);
                robot->setBattery(static_cast<unsigned>(length), length % 2 != 0);
                break;
            case 2:
                robot->turnHead(numbers[0], numbers[1]);
                robot->handleDisconnect();
                break;
            case 3:
                robot->advance(static_cast<double>(length) * 0.1);
                break;
            default:
                robot->write(channels[choice % channels.size()], data + at, length);
                break;
        }
        at += length;
    }
    robot->advance(1);
    const ZKVirtualRobotState& state = robot->state();
    if (!(std::abs(state.x) <= 92.001 && std::abs(state.y) <= 67.001 && std::abs(state.heading) <= 180.001)) {
        std::abort();
    }
    for (Simulator::Notification each; robot->nextNotification(each);) {
        const HALPacket_t packet = Simulator::packetOf(each);
        char json[ZK_MAX_REPORT_SIZE];
        if (ZKTranslatorDecode(translator, &packet, 1, json, sizeof json) > sizeof json) {
            std::abort();
        }
    }
    ZKTranslatorDestroy(translator);
    return 0;
}
