#include "CppEngine/Robot.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Text.h"
#include "CppEngine/EngineCall.h"
#include "CppEngine/RobotActionManagerShell.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "ZKHAL/HostCallbacks.h"
#include "ZKHAL/ZKRobotType.h"

namespace Kestrel {

namespace {

enum class Incoming { Never, Ignored, ShellAnswer };

struct ChannelRow {
    const std::string* uuid;
    uint32_t mode;  // in which the robot has it
    Incoming incoming;
};
constexpr ChannelRow kChannels[] = {
    {&gChannelSensorPacket1, kModeApplication, Incoming::Ignored},
    {&gChannelSensorPacket2, kModeApplication, Incoming::Ignored},
    {&gChannelShellPacket, kModeApplication, Incoming::ShellAnswer},
    {&gChannelFileTransferPacket, kModeApplication, Incoming::Ignored},
    {&gChannelDfuPacket, kModeBootloader, Incoming::Ignored},
    {&gChannelCommandControl, kModeApplication, Incoming::Never},
    {&gChannelShellControl, kModeApplication, Incoming::Never},
    {&gChannelFileTransferControl, kModeApplication, Incoming::Never},
    {&gChannelDfuControl, kModeBootloader, Incoming::Never},
};

// A null one is no UUID.
bool isSameUuid(const char* a, const char* b)
{
    return a != nullptr && ZKHAL::isSameTextIgnoringCase(a, b);
}

Incoming incomingOf(const char* channel)
{
    for (const ChannelRow& row : kChannels) {
        if (isSameUuid(channel, row.uuid->c_str())) {
            return row.incoming;
        }
    }
    return Incoming::Never;
}

}  // namespace

Robot::Robot(const char* id) : mId(ZKHAL::orEmpty(id)) {}

Robot::~Robot()
{
    const EngineCall call;
    if (mShellManager == nullptr) {
        ZKLogE("shell manager is null");
        return;
    }
    mReplacedManagers.emplace(mShellManager.get(), mShellManager);
    for (const auto& [address, manager] : mReplacedManagers) {
        manager->leaveRobot();
        EngineCall::keepUntilIdle(manager);  // one of them may be calling
    }
}

void Robot::transmitPackets(const std::string* channel, const std::vector<HALPacket_t>* packets)
{
    ZK_ASSERT(channel);
    ZK_ASSERT(packets && (packets->size() > 0));
    std::vector<const HALPacket_t*> pointers;
    pointers.reserve(packets->size());
    for (const HALPacket_t& packet : *packets) {
        pointers.push_back(&packet);
    }
    ZKTransmitPackets(uuId(), channel->c_str(), pointers.data(), pointers.size());
}

void Robot::initialize()
{
    const EngineCall call;
    auto fresh = std::make_shared<RobotActionManagerShell>(this);
    if (mShellManager != nullptr) {
        mReplacedManagers.emplace(mShellManager.get(), mShellManager);
    }
    const auto replaced = std::exchange(mShellManager, std::move(fresh));
    releaseIfReplaced(replaced.get());
    if (mReplacedManagers.size() > mLookThroughAt) {
        _releaseReplacedManagers();
        mLookThroughAt = 2 * mReplacedManagers.size() + 16;
    }
}

void Robot::releaseIfReplaced(const RobotActionManagerAbstract* manager)
{
    const auto found = mReplacedManagers.find(manager);
    if (found != mReplacedManagers.end() && !found->second->canStillAct()) {
        EngineCall::keepUntilIdle(found->second);
        mReplacedManagers.erase(found);
    }
}

void Robot::_releaseReplacedManagers()
{
    for (auto it = mReplacedManagers.begin(); it != mReplacedManagers.end();) {
        const RobotActionManagerAbstract* manager = it->first;
        ++it;
        releaseIfReplaced(manager);
    }
}

void Robot::processScan(const char* data, size_t dataLength, const char* name, size_t nameLength)
{
    const EngineCall call;
    if (mAdvertisement.parse(data, dataLength, name, nameLength)) {
        mHasReport = true;
    } else {
        const std::string message = mAdvertisement.parseErrorMessage();
        ZKLogE("%s", message.c_str());
    }
    initialize();
}

void Robot::assume(const HAL::RobotTypeRow& type)
{
    const EngineCall call;
    const bool isRusk = type.type == ZK_ROBOT_RUSK || type.type == ZK_ROBOT_RUSK_BOOTLOADER;
    const uint32_t mode = isRusk              ? (type.isBootloader ? 0u : 1u)
                          : type.isBootloader ? kModeBootloader
                                              : kModeApplication;
    const char data[] = {static_cast<char>(mode), static_cast<char>(type.family)};
    mAdvertisement.parse(data, sizeof data, nullptr, 0);
    initialize();
}

bool Robot::validateChannels(const std::set<const char*>& channels) const
{
    return std::all_of(channels.begin(), channels.end(), [&](const char* channel) {
        return std::any_of(std::begin(kChannels), std::end(kChannels), [&](const ChannelRow& row) {
            return row.mode == mAdvertisement.robotMode && isSameUuid(channel, row.uuid->c_str());
        });
    });
}

bool Robot::validateEndPoints(const std::set<const char*>& endPoints) const
{
    return std::any_of(endPoints.begin(), endPoints.end(), [](const char* endPoint) {
        const char* const* ids = HAL::RobotHW::serviceIds;
        return std::any_of(ids, ids + HAL::RobotHW::serviceIdCount,
                           [&](const char* id) { return isSameUuid(endPoint, id); });
    });
}

bool Robot::acceptsChannel(const char* channel)
{
    return incomingOf(channel) != Incoming::Never;
}

void Robot::receivedData(const char* channel, const char* data, size_t length)
{
    switch (incomingOf(channel)) {
        case Incoming::Ignored:
            return;
        case Incoming::ShellAnswer:
            if (mShellManager != nullptr) {
                mShellManager->receivedData(&gChannelShellPacket, data, length, mAdvertisement);
            }
            return;
        case Incoming::Never:
            ZK_ASSERT(false);
    }
}

void Robot::enqueueShellCommand(const char* command, double timeoutSeconds)
{
    if (mShellManager != nullptr && command != nullptr && command[0] != '\0') {
        const std::string copy = command;
        mShellManager->enqueueCommand(&copy, timeoutSeconds, mAdvertisement);
    }
}

int Robot::pendingShellCommandCount() const
{
    if (mShellManager == nullptr) {
        ZKLogE("No Shell Manager!");
        return -1;
    }
    return static_cast<int>(mShellManager->pendingCommandCount());
}

void Robot::handleDisconnect()
{
    const EngineCall call;
    for (const auto& [address, manager] : mReplacedManagers) {
        manager->dropEverything();
    }
    _releaseReplacedManagers();
    if (mShellManager != nullptr) {
        mShellManager->reset();
    }
}

const char* Robot::uuId() const
{
    return mId.c_str();
}

const char* Robot::name() const
{
    return mAdvertisement.name.c_str();
}

const AdvertisementData& Robot::advertisement() const
{
    return mAdvertisement;
}

}  // namespace Kestrel
