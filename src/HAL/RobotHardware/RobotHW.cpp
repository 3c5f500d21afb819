#include "HAL/RobotHardware/RobotHW.h"

#include <cstring>

#include "CoreUtility/Messages.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"
#include "HAL/RobotHardware/WorkingRecordPool.h"

namespace HAL {

RobotHW::RobotHW()
    : mAdvertisement(std::make_unique<Kestrel::AdvertisementData>()),
      mWorkingRecords(std::make_shared<WorkingRecordPool>())
{
}

RobotHW::~RobotHW() = default;

void RobotHW::_setRobotType(uint32_t code)
{
    mAdvertisement->robotType = code;
}

uint32_t RobotHW::getRobotType() const
{
    return mAdvertisement->robotType;
}

uint32_t RobotHW::getRobotPersonalityColorId() const
{
    return mAdvertisement->version[Kestrel::kPersonalityColor];
}

uint32_t RobotHW::getRobotPersonalityAnimId() const
{
    return mAdvertisement->version[Kestrel::kPersonalityAnimation];
}

bool RobotHW::validCommandComponentIndex(ZKComponentId componentId) const
{
    switch (getRobotType()) {
        case ZK_ROBOT_QUILL:
            return componentId != ZK_COMPONENT_LED_105;
        case ZK_ROBOT_ORVIK:
            return componentId < ZK_COMPONENT_RGB_107 || componentId > ZK_COMPONENT_LED_111;
        case ZK_ROBOT_PELL:
            switch (componentId) {
                case ZK_COMPONENT_POWER:
                case ZK_COMPONENT_EYE_RING:
                case ZK_COMPONENT_RGB_101:
                case ZK_COMPONENT_RGB_102:
                case ZK_COMPONENT_RGB_103:
                case ZK_COMPONENT_RGB_104:
                case ZK_COMPONENT_LED_105:
                case ZK_COMPONENT_LED_106:
                case ZK_COMPONENT_SPEAKER:
                case ZK_COMPONENT_AUDIO_SYNTH:
                case ZK_COMPONENT_305:
                case ZK_COMPONENT_USER_SETTINGS:
                case ZK_COMPONENT_6001:
                case ZK_COMPONENT_PING:
                    return true;
                default:
                    return false;
            }
        case ZK_ROBOT_RUSK:
            return false;
        default:
            ZKHAL::printOut("error: unhandled robot type: %d at %s\n", static_cast<int>(getRobotType()),
                            "bool HAL::RobotHW::validCommandComponentIndex(ZKComponentId)");
            return false;
    }
}

void RobotHW::initComponentsForCtlr2BotMsg(Ctlr2BotMsg* message)
{
    RobotHW_rev0::initComponentsForCtlr2BotMsg(message, this);
}

void RobotHW::setCommand(void* data, unsigned componentId)
{
    RobotHW_rev0::setCommand(data, componentId);
}

std::vector<HALPacket_t*> RobotHW::packetizeCtlr2BotMsg(Ctlr2BotMsg* message)
{
    return RobotHW_rev0::packetizeCtlr2BotMsg(message, this);
}

bool RobotHW::setSynthStateAndCheckForChange(uint8_t type, uint16_t duration, const uint8_t (&toneTypes)[kSynthTones],
                                             const uint16_t (&)[kSynthTones], const uint16_t (&phases)[kSynthTones],
                                             uint16_t percentage1, uint16_t percentage2)
{
    SynthCache state = {};
    state.type = type;
    state.duration = duration;
    std::memcpy(state.toneTypes, toneTypes, sizeof state.toneTypes);
    std::memcpy(state.phases, phases, sizeof state.phases);
    state.percentage1 = percentage1;
    state.percentage2 = percentage2;
    const bool unchanged = duration == 0 && mSynthCacheValid && std::memcmp(&state, &mSynthCache, sizeof state) == 0;
    mSynthCache = state;
    mSynthCacheValid = true;
    return !unchanged;
}

void RobotHW::invalidateCachedSynthSettings()
{
    mSynthCache = {};
    mSynthCacheValid = false;
}

void RobotHW::handleRobotDisconnect()
{
    invalidateCachedSynthSettings();
}

}  // namespace HAL
