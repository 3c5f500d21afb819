// One robot as the library knows it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "CppEngine/AdvertisementData.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKComponentId.h"
#include "ZKHAL/ZKExport.h"
#include "ZKHAL/ZKRobotType.h"

namespace HAL {

class PacketizerInteraction;
class PacketizerShell;
class WorkingRecordPool;

/** Index of a language in the library's table; 255 stands for no language. */
using language_t = uint8_t;
constexpr language_t kNoLanguage = 255;

/** What a characteristic is for; the numbers are the interface. */
enum _ZKCharacteristicTypes : int {
    ZK_CHARACTERISTIC_SHELL_CONTROL = 1,
    ZK_CHARACTERISTIC_SHELL_PACKET = 2,
    ZK_CHARACTERISTIC_DFU_CONTROL = 3,
    ZK_CHARACTERISTIC_DFU_PACKET = 4,
    ZK_CHARACTERISTIC_FILE_TRANSFER_CONTROL = 5,
    ZK_CHARACTERISTIC_FILE_TRANSFER_PACKET = 6,
    ZK_CHARACTERISTIC_COMMAND_CONTROL = 7,
    ZK_CHARACTERISTIC_SENSOR_PACKET1 = 8,
    ZK_CHARACTERISTIC_SENSOR_PACKET2 = 9
};

/**
 * Description of one robot: what it advertised, and what the command encoder keeps about it between messages.
 * Used by one thread at a time; two descriptions share nothing.
 */
class ZK_API RobotHW {
public:
    /** The service UUIDs by which a robot is known, and how many there are. */
    static const char* const serviceIds[];
    static const size_t serviceIdCount;

    /** Of type 0, nothing advertised, no packetizers, no language, synthesizer cache invalid, pose remainder 0. */
    RobotHW();
    ~RobotHW();
    RobotHW(const RobotHW&) = delete;
    RobotHW& operator=(const RobotHW&) = delete;

    /**
     * Reads an advertisement: manufacturer data of at most 26 bytes and the advertised name (see AdvertisementData).
     * What cannot be read (a negative length is too long) is reported on stdout, and the fields stay as they were. In
     * application mode the language is set from the advertised locale. Packetizers exist afterwards.
     */
    void ParseAdvertisementData(const void* advData, int advLength, const void* scanResponse, int scanLength);

    /** Creates the packetizers that are missing or of another class. */
    void initializePacketizers();
    /** Null before initializePacketizers(). Owned by this object. */
    PacketizerInteraction* getPacketizerInteraction() const;

    /** Payload to packets and packets to payload, of the shell and of the interaction packetizer; false without one. */
    bool getDataPacketsShellCommand(const std::string& text, std::vector<HALPacket_t>& packets);
    bool getMetaPayloadShellResponse(const std::vector<HALPacket_t>& packets, std::string& text);
    bool getDataPacketsInteractionCommand(const std::string& text, std::vector<HALPacket_t>& packets);
    bool getMetaPayloadInteractionState(const std::vector<HALPacket_t>& packets, std::string& text);

    /** Codes of ZKHAL/ZKRobotType.h; any other is taken as a robot with the common components only. */
    void _setRobotType(uint32_t code);
    uint32_t getRobotType() const;
    void _setShellColor(uint8_t color);
    uint8_t getShellColor() const;
    const std::string& getUniqueId() const;
    void setUniqueId(const std::string& id);
    const std::string& getLocalName() const;
    const std::string& getRobotSerialNumber() const;

    // As advertised; see AdvertisementData.
    uint32_t getRobotAvatarId() const;
    uint32_t getBatteryChargeMode() const;
    uint8_t getRobotFirmwareVersionMajor() const;
    uint8_t getRobotFirmwareVersionMinor() const;
    uint8_t getRobotFirmwareVersionSubMinor() const;
    uint8_t getRobotFirmwareResourceVersion() const;
    uint32_t getRobotPersonalityAnimId() const;
    uint32_t getRobotPersonalityColorId() const;
    uint32_t getRobotAdvBatteryLevel() const;
    bool getRobotHasCrashDumps() const;
    bool getRobotAdvIsUSBConnected() const;
    bool getRobotAdvIsButtonPressed() const;
    bool getRobotHasBackupFWImage() const;
    uint32_t getRobotWifiStatus() const;
    uint32_t getRobotUpdateStatus() const;
    uint8_t getRobotBatteryVoltage() const;
    language_t getRobotLocaleID() const;
    /** An Orvik whose hardware code is 16 to 31. */
    bool getRobotIsOrvikPro() const;

    /** Stores the table's text for an id; "unknown" for an id that the table does not have. */
    void setLanguageId(language_t id);
    /** "unknown" before setLanguageId(). */
    const char* getRobotLang() const;
    /** kNoLanguage, with a line on stdout, for a text that is not in the table. */
    static language_t langIDFromString(const char* text);
    static const char* langStringFromID(language_t id);

    /**
     * UUID of a characteristic in the advertised mode, null where the robot has none. A mode other than 0, 1 and 3
     * stops the process: ask only about a robot whose mode the host has seen.
     */
    const char* getSupportedCharacteristic(_ZKCharacteristicTypes type) const;

    /**
     * Whether a name fits the two parts of 11 and 9 bytes in which it is advertised (16 bytes of UTF-8 in all).
     * excess   how many bytes to cut from its end so that it fits and ends at a character; may be null
     */
    static bool validateNewName(const char* name, size_t length, size_t* excess);

    /**
     * Whether the robot accepts commands to a component. Nothing is filtered by it: what a document commands is
     * sent all the same. Robot types that it does not know are reported on stdout.
     */
    bool validCommandComponentIndex(ZKComponentId componentId) const;

    /** Binds a fresh working record to the message; see RobotHW_rev0. */
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
    const char* mLanguage;  // of the language table
    std::unique_ptr<PacketizerShell> mShell;
    std::unique_ptr<PacketizerInteraction> mInteraction;
    std::shared_ptr<WorkingRecordPool> mWorkingRecords;
};

}  // namespace HAL
