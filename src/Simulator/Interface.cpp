// The C functions of the virtual robot.
#include "ZKHAL/Simulator.h"

#include <algorithm>
#include <cstring>

#include "CoreUtility/Text.h"
#include "CppEngine/AdvertisementData.h"
#include "Simulator/VirtualRobot.h"

struct ZKVirtualRobot {
    std::unique_ptr<Simulator::VirtualRobot> robot;
    Simulator::Notification fetched = {"", {}};
};

namespace {

static_assert(ZK_ADVERTISED_SIZE == Kestrel::kManufacturerBytes);

// Nothing throws through a C function. What can be thrown inside is the lack of memory.
template <class Result, class Body>
Result guarded(Result fallback, Body body) noexcept
{
    try {
        return body();
    } catch (...) {
        return fallback;
    }
}

// A call on no robot does nothing.
template <class Body>
void with(ZKVirtualRobot* handle, Body body)
{
    guarded(false, [&] {
        if (handle != nullptr) {
            body(*handle->robot);
        }
        return true;
    });
}

}  // namespace

ZKVirtualRobot* ZKVirtualRobotCreate(uint32_t robotType, uint64_t seed)
{
    return guarded(static_cast<ZKVirtualRobot*>(nullptr), [&]() -> ZKVirtualRobot* {
        auto robot = Simulator::VirtualRobot::create(robotType, seed);
        return robot != nullptr ? new ZKVirtualRobot{std::move(robot)} : nullptr;
    });
}

void ZKVirtualRobotDestroy(ZKVirtualRobot* robot)
{
    delete robot;
}

size_t ZKVirtualRobotAdvertise(const ZKVirtualRobot* robot, uint8_t data[ZK_ADVERTISED_SIZE],
                               char name[ZK_ADVERTISED_NAME_SIZE])
{
    return guarded(size_t{0}, [&]() -> size_t {
        if (robot == nullptr) {
            return 0;
        }
        const std::vector<uint8_t> advertised = robot->robot->manufacturerData();
        const std::string localName = robot->robot->localName();
        if (data != nullptr) {
            std::memcpy(data, advertised.data(), advertised.size());
        }
        if (name != nullptr) {
            ZKHAL::copyToField(name, ZK_ADVERTISED_NAME_SIZE, localName.data(), localName.size());
        }
        return advertised.size();
    });
}

const char* ZKVirtualRobotService(const ZKVirtualRobot*)
{
    return Simulator::VirtualRobot::service();
}

size_t ZKVirtualRobotCharacteristics(const ZKVirtualRobot* robot, const char** channels, size_t capacity)
{
    return guarded(size_t{0}, [&]() -> size_t {
        if (robot == nullptr) {
            return 0;
        }
        const std::vector<const char*> all = robot->robot->characteristics();
        if (channels != nullptr) {
            std::copy_n(all.begin(), std::min(capacity, all.size()), channels);
        }
        return all.size();
    });
}

bool ZKVirtualRobotWrite(ZKVirtualRobot* robot, const char* channel, const uint8_t* data, size_t length)
{
    bool isTaken = false;
    with(robot, [&](Simulator::VirtualRobot& self) { isTaken = self.write(channel, data, length); });
    return isTaken;
}

void ZKVirtualRobotAdvance(ZKVirtualRobot* robot, double seconds)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.advance(seconds); });
}

bool ZKVirtualRobotNextNotification(ZKVirtualRobot* robot, const char** channel, const uint8_t** data, size_t* length)
{
    if (robot == nullptr || !robot->robot->nextNotification(robot->fetched)) {
        return false;
    }
    if (channel != nullptr) {
        *channel = robot->fetched.channel;
    }
    if (data != nullptr) {
        *data = reinterpret_cast<const uint8_t*>(robot->fetched.data.data());
    }
    if (length != nullptr) {
        *length = robot->fetched.data.size();
    }
    return true;
}

const ZKVirtualRobotState* ZKVirtualRobotGetState(const ZKVirtualRobot* robot)
{
    return robot != nullptr ? &robot->robot->state() : nullptr;
}

void ZKVirtualRobotHandleDisconnect(ZKVirtualRobot* robot)
{
    with(robot, [](Simulator::VirtualRobot& self) { self.handleDisconnect(); });
}

void ZKVirtualRobotSetAnswer(ZKVirtualRobot* robot, const char* command, const char* answer)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.setAnswer(command, answer); });
}

void ZKVirtualRobotMoveByHand(ZKVirtualRobot* robot, double x, double y, double heading)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.moveByHand(x, y, heading); });
}

void ZKVirtualRobotTurnHead(ZKVirtualRobot* robot, double pan, double tilt)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.turnHead(pan, tilt); });
}

void ZKVirtualRobotLift(ZKVirtualRobot* robot, bool isLifted)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.lift(isLifted); });
}

void ZKVirtualRobotTilt(ZKVirtualRobot* robot, double roll, double pitch)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.tilt(roll, pitch); });
}

void ZKVirtualRobotClap(ZKVirtualRobot* robot, double direction)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.clap(direction); });
}

void ZKVirtualRobotPress(ZKVirtualRobot* robot, int button, bool isPressed)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.press(button, isPressed); });
}

void ZKVirtualRobotSetBattery(ZKVirtualRobot* robot, unsigned indicator, bool isCharging)
{
    with(robot, [&](Simulator::VirtualRobot& self) { self.setBattery(indicator, isCharging); });
}
