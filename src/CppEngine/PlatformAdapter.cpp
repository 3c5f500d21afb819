#include "CppEngine/PlatformAdapter.h"

#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Boundary.h"
#include "CoreUtility/Text.h"
#include "CppEngine/EngineCall.h"
#include "CppEngine/Robot.h"
#include "CppEngine/TimerManager.h"
#include "HAL/RobotMessages/RobotTypes.h"

namespace {

using Kestrel::Robot;
using KnownRobots = std::map<std::string, std::shared_ptr<Robot>, std::less<>>;

// Created on first use; lives until the process ends, so that a host's own clean-up may still call.
KnownRobots& gKnownRobots()
{
    static auto* const robots = new KnownRobots;
    return *robots;
}

// For the functions for known robots only. A call keeps its robot until it returns, whatever its callbacks forget.
template <class Body>
void withRobot(const char* function, const char* robotId, Body body)
{
    const Kestrel::EngineCall call;
    Robot* const robot = Kestrel::robotById(robotId);
    if (robot == nullptr) {
        ZKHAL::assertionFailed("robot != NULL", function, __FILE__, __LINE__);  // in the name of the host's call
    }
    ZKHAL::guarded(function, [&] { body(*robot); });
}

std::set<const char*> setOf(const char** texts, size_t count)
{
    return texts != nullptr ? std::set<const char*>(texts, texts + count) : std::set<const char*>();
}

ZKRobotInfo infoOf(const Robot& robot)
{
    using namespace Kestrel;
    const AdvertisementData& advertised = robot.advertisement();
    ZKRobotInfo info = {};
    info.known = true;
    info.hasReport = robot.hasReport();
    info.hasCrashDumps = advertised.flagA;
    info.isButtonPressed = advertised.flagB;
    info.isCharging = advertised.isCharging;
    info.hasBackupImage = advertised.hasBackupImage;
    info.type = advertised.robotType;
    info.mode = advertised.robotMode;
    info.batteryLevel = advertised.batteryLevel;
    info.chargeMode = advertised.chargeMode;
    info.avatarId = advertised.avatarId;
    info.shellColor = advertised.shellColor;
    info.wifiStatus = advertised.wifiStatus;
    info.updateStatus = advertised.updateStatus;
    std::memcpy(info.firmwareVersion, advertised.version + kFirmwareMajor, sizeof info.firmwareVersion);
    info.resourceVersion = advertised.version[kResourceVersion];
    info.personalityColor = advertised.version[kPersonalityColor];
    info.personalityAnimation = advertised.version[kPersonalityAnimation];
    info.localeId = advertised.localeId;
    info.hardwareMinorVersion = advertised.hardwareMinorVersion;
    info.batteryVoltage = advertised.batteryVoltage;
    const auto copy = [](auto& field, const std::string& text) {
        ZKHAL::copyToField(field, sizeof field, text.data(), text.size());
    };
    copy(info.name, advertised.name);
    copy(info.uniqueId, advertised.uniqueId);
    copy(info.serialNumber, advertised.serialNumber);
    return info;
}

// Made when it is new. Without an id nothing can ever ask for it: it goes with the end of the call.
Robot* knownRobot(const char* robotId)
{
    Robot* robot = Kestrel::robotById(robotId);
    if (robot == nullptr) {
        auto fresh = std::make_shared<Robot>(robotId);
        robot = fresh.get();
        if (robot->uuId()[0] != '\0') {
            gKnownRobots().emplace(robot->uuId(), fresh);
        }
        Kestrel::EngineCall::keepUntilIdle(std::move(fresh));
    }
    return robot;
}

}  // namespace

Robot* Kestrel::robotById(const char* id)
{
    const std::string_view key = ZKHAL::orEmpty(id);
    const auto entry = gKnownRobots().find(key);
    return entry != gKnownRobots().end() ? entry->second.get() : nullptr;
}

void ZKProcessScan(const char* robotId, const char* data, size_t dataLength, const char* name, size_t nameLength)
{
    ZKHAL::guarded(__func__, [&] {
        const Kestrel::EngineCall call;
        knownRobot(robotId)->processScan(data, dataLength, name, nameLength);
    });
}

bool ZKAddRobot(const char* robotId, uint32_t robotType)
{
    bool isKnown = false;
    ZKHAL::guarded(__func__, [&] {
        const Kestrel::EngineCall call;
        isKnown = Kestrel::robotById(robotId) != nullptr;
        const HAL::RobotTypeRow* type = HAL::findRobotType(robotType);
        if (!isKnown && type != nullptr && ZKHAL::orEmpty(robotId)[0] != '\0') {
            knownRobot(robotId)->assume(*type);
            isKnown = true;
        }
    });
    return isKnown;
}

bool ZKValidateChannels(const char* robotId, const char** channels, size_t count)
{
    bool valid = false;
    withRobot(__func__, robotId, [&](Robot& robot) { valid = robot.validateChannels(setOf(channels, count)); });
    return valid;
}

bool ZKValidateEndPoints(const char* robotId, const char** services, size_t count)
{
    bool valid = false;
    withRobot(__func__, robotId, [&](Robot& robot) { valid = robot.validateEndPoints(setOf(services, count)); });
    return valid;
}

void ZKEnqueueShellCommand(const char* robotId, const char* command, double timeoutSeconds)
{
    withRobot(__func__, robotId, [&](Robot& robot) { robot.enqueueShellCommand(command, timeoutSeconds); });
}

int ZKPendingShellCommandCount(const char* robotId)
{
    int count = -1;
    withRobot(__func__, robotId, [&](Robot& robot) { count = robot.pendingShellCommandCount(); });
    return count;
}

void ZKHandleDisconnect(const char* robotId)
{
    withRobot(__func__, robotId, [](Robot& robot) { robot.handleDisconnect(); });
}

void ZKReceivedData(const char* robotId, const char* channel, const char* data, size_t length)
{
    withRobot(__func__, robotId, [&](Robot& robot) { robot.receivedData(channel, data, length); });
}

void ZKTick(void)
{
    ZKHAL::guarded(__func__, [] { ZKGetTimerManager()->tick(); });
}

bool ZKIsKnownRobot(const char* robotId)
{
    return Kestrel::robotById(robotId) != nullptr;
}

bool ZKAcceptsChannel(const char* channel)
{
    return Robot::acceptsChannel(channel);
}

size_t ZKListKnownRobots(const char** ids, size_t capacity)
{
    size_t count = 0;
    for (const auto& entry : gKnownRobots()) {
        if (ids != nullptr && count < capacity) {
            ids[count] = entry.first.c_str();
        }
        ++count;
    }
    return count;
}

bool ZKGetRobotInfo(const char* robotId, ZKRobotInfo* info)
{
    const Robot* const robot = Kestrel::robotById(robotId);
    if (info != nullptr && info->size > sizeof info->size) {
        ZKRobotInfo full = robot != nullptr ? infoOf(*robot) : ZKRobotInfo{};
        full.size = info->size < sizeof full ? info->size : sizeof full;
        std::memcpy(info, &full, full.size);
    }
    return robot != nullptr;
}

size_t ZKGetParseError(const char* robotId, char* buffer, size_t bufferSize)
{
    const Robot* const robot = Kestrel::robotById(robotId);
    const char* text = robot != nullptr ? robot->advertisement().parseErrorMessage().c_str() : "";
    const size_t length = std::strlen(text);
    ZKHAL::copyToBuffer(buffer, bufferSize, text, length);
    return length + 1;
}

bool ZKForgetRobot(const char* robotId)
{
    bool wasKnown = false;
    ZKHAL::guarded(__func__, [&] {
        const Kestrel::EngineCall call;
        const auto entry = gKnownRobots().find(std::string_view(ZKHAL::orEmpty(robotId)));
        wasKnown = entry != gKnownRobots().end();
        if (wasKnown) {
            const std::shared_ptr<Robot> robot = entry->second;
            Kestrel::EngineCall::keepUntilIdle(robot);
            gKnownRobots().erase(entry);
            robot->handleDisconnect();
        }
    });
    return wasKnown;
}
