// One robot as the library knows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "CppEngine/AdvertisementData.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKComponentId.h"
#include "ZKHAL/ZKExport.h"
#include "ZKHAL/ZKRobotType.h"

namespace HAL {

class WorkingRecordPool;

/**
 * Description of one robot: what it advertised, and what the command encoder keeps about it between messages.
 * Used by one thread at a time; two descriptions share nothing.
 */
class ZK_API RobotHW {
public:
    /** Of type 0, nothing advertised, synthesizer cache invalid, pose remainder 0. */
    RobotHW();
    ~RobotHW();
    RobotHW(const RobotHW&) = delete;
    RobotHW& operator=(const RobotHW&) = delete;

    /** Codes of ZKHAL/ZKRobotType.h; any other is taken as a robot with the common components only. */
    void _setRobotType(uint32_t code);
    uint32_t getRobotType() const;
    uint32_t getRobotPersonalityColorId() const;
    uint32_t getRobotPersonalityAnimId() const;

    /**
     * Whether the robot accepts commands to a component. Nothing is filtered by it: what a document commands is
     * sent all the same.
     */
    bool validCommandComponentIndex(ZKComponentId componentId) const;

    /** Binds a zeroed working record to the message; see RobotHW_rev0. */
    void initComponentsForCtlr2BotMsg(Ctlr2BotMsg* message);
    /** Marks a component of the message's hardware data as commanded; null data is allowed. */
    void setCommand(void* data, unsigned componentId);
    /**
     * Packs all pending commands. The packets belong to this description and stay readable until the message is
     * gone and 63 later conversions have been made.
     */
    std::vector<HALPacket_t*> packetizeCtlr2BotMsg(Ctlr2BotMsg* message);

    /**
     * Remembers a synthesizer state and says whether it must be sent in full: when duration is not 0, when no state
     * is remembered, or when anything but the four frequencies (units of 0.1 Hz) differs.
     */
    bool setSynthStateAndCheckForChange(uint8_t type, uint16_t duration, const uint8_t (&toneTypes)[kSynthTones],
                                        const uint16_t (&frequencies)[kSynthTones],
                                        const uint16_t (&phases)[kSynthTones], uint16_t percentage1,
                                        uint16_t percentage2);
    void invalidateCachedSynthSettings();
    /** The robot forgets its synthesizer state with the connection. */
    void handleRobotDisconnect();

    /** Rounding remainder of relative body-pose angles, in hundredths of a radian. */
    double poseAngleRemainder() const
    {
        return mPoseAngleRemainder;
    }
    void setPoseAngleRemainder(double remainder)
    {
        mPoseAngleRemainder = remainder;
    }

    /** Where this description's working records come from. */
    const std::shared_ptr<WorkingRecordPool>& workingRecords() const
    {
        return mWorkingRecords;
    }

private:
    // The last synthesizer state sent. No padding is left to chance: it is compared byte by byte.
    struct SynthCache {
        uint8_t type;
        uint8_t padding;
        uint16_t duration;
        uint8_t toneTypes[kSynthTones];
        uint16_t phases[kSynthTones];
        uint16_t percentage1;
        uint16_t percentage2;
    };
    static_assert(sizeof(SynthCache) == 20, "the cache record has 20 bytes");

    double mPoseAngleRemainder = 0;
    std::unique_ptr<Kestrel::AdvertisementData> mAdvertisement;
    bool mSynthCacheValid = false;
    SynthCache mSynthCache = {};
    std::shared_ptr<WorkingRecordPool> mWorkingRecords;
};

}  // namespace HAL
