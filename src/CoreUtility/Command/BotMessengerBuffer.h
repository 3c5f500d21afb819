// JSON command documents to robot packets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "CoreUtility/Json/nx_json.h"
#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKExport.h"

namespace ZKHAL {
class JsonDocument;
}

namespace APICore {

/**
 * Translates command documents for one robot. Keeps its working memory for the next document, up to 64 KiB of text
 * and 960 nodes; what a larger document needed is given back.
 */
class ZK_API BotMessengerBuffer {
public:
    /** robot is not owned and must outlive this object; null makes every conversion empty. */
    explicit BotMessengerBuffer(HAL::RobotHW* robot);
    ~BotMessengerBuffer();
    BotMessengerBuffer(const BotMessengerBuffer&) = delete;
    BotMessengerBuffer& operator=(const BotMessengerBuffer&) = delete;

    /**
     * Converts at most length characters of a text, which is not changed. No robot or length 0: no packets.
     * A text that is no JSON object stops the process. The packets belong to the robot description and stay
     * readable until this object has converted another document and the robot 63 further ones.
     */
    std::vector<HALPacket_t*> convertCtlrMessageToPackets(const char* text, size_t length);
    /** The same for a parsed document, which must be an object. */
    std::vector<HALPacket_t*> convertCtlrMessageToPackets(const nx_json* document);

    /** The same into the message's own storage; the list is valid as long as the packets. */
    const HAL::PacketList& convert(const char* text, size_t length);
    const HAL::PacketList& convert(const nx_json* document);

    /** Moves the pending message into the last-sent slot. */
    void sentControllerMessage();

    // One routine per record type. Each does nothing when handed no record or no parameters.
    void parsePower(const nx_json* params, HALPower_t* record);
    void parsePing(const nx_json* params, HALPing_t* record);
    void parseLightLED(const nx_json* params, HALLED_t* record);
    void parseLightLED3(const nx_json* params, HALLED3_t* record);
    void parseLightRGB(const nx_json* params, HALRGB_t* record);
    void parseEyeRing(const nx_json* params, HALEyeRing_t* record);
    void parseMotorWheel(const nx_json* params, HALMotorWheel_t* record);
    void parseBodyWheels(const nx_json* params, HALMotorWheel_t* left, HALMotorWheel_t* right);
    void parseMotorServo(const nx_json* params, HALMotorServo_t* record, bool isPan);
    void parseMotorHeadPanServo(const nx_json* params, HALMotorServo_t* record);
    void parseMotorHeadTiltServo(const nx_json* params, HALMotorServo_t* record);
    void parseBodyMotionLinearAngular(const nx_json* params, HALBodyMotionLinearAngular_t* record);
    void parseBodyPose(const nx_json* params, HALBodyPose_t* record);
    void parseNoParams(const nx_json* params, HALNoParams_t* record);
    void parseScalarPercentage(const nx_json* params, HALComponentScalar_t* record);
    void parseSpeaker(const nx_json* params, HALSpeaker_t* record);
    void parseOnRobotAnim(const nx_json* params, HALAnim_t* record);
    void parseAudioSynth(const nx_json* params, HALAudioSynth_t* record);
    void parseLauncher(const nx_json* params, HALLauncher_t* record);
    void parseLedMsg(const nx_json* params, HALLedMsg_t* record);
    void parseUserSettings(const nx_json* params, HALUserSetting_t* record);
    void parsePamplemousseStart(const nx_json* params, HALPamplemousse_t* record);
    void parsePamplemousseStop(const nx_json* params, HALPamplemousse_t* record);
    // Sensor-style parameters; no document reaches these two.
    void parseButton(const nx_json* params, HALButton_t* record);
    void parseDistance(const nx_json* params, HALDistance_t* record);

    /** The robot description, null if there is none. */
    HAL::RobotHW* robot() const
    {
        return mRobot;
    }

private:
    const HAL::PacketList& convertDocument(const nx_json* document, bool hasPaddedText);
    void fill(ZKComponentId component, const nx_json* params, void* record);

    std::shared_ptr<HAL::Ctlr2BotMsg> mLastSentMessage;
    std::shared_ptr<HAL::Ctlr2BotMsg> mPendingMessage;
    HAL::RobotHW* mRobot;
    // Used again by the next conversion. Taken out while one runs, so that a message sink may start another.
    std::shared_ptr<HAL::Ctlr2BotMsg> mSpareMessage;
    std::unique_ptr<ZKHAL::JsonDocument> mSpareDocument;
};

// Free helpers.

/** Shared by behaviour start and stop. Without "id" it stops the process. */
ZK_API void parsePamplemousse(const nx_json* params, HALPamplemousse_t* record, bool isStart);

/** 0.5 gives 127, 1 gives 255, and above 1.0 the integer view is taken as it is: 2 gives 2. */
ZK_API uint8_t parseBrightnessValue(const nx_json* value);

/** Clears the 15-byte field; takes the first 14 characters, drops every "/" among them and copies the rest. */
ZK_API void _parseMediaCommand(const nx_json* value, char* fileName);

// Each prints "error: message" when the value is unset (-1, -1, not-a-number), and "unset param." for a null message.
ZK_API void validateBoolParamIsSet(int flag, const char* message);
ZK_API void validateIntParamIsSet(int value, const char* message);
ZK_API void validateFloatParamIsSet(float value, const char* message);

/** 9 bits of mean, 9 bits of amplitude and 14 bits of period in ms, in params[0] to [3]. */
ZK_API void encodePeriodic(HALPamplemousse_t* record, float mean, float amplitude, float period, float meanMin,
                           float meanMax, float ampMin, float ampMax);

/** 9 bits of amplitude and 14 bits of period in ms, in params[0] to [2]. */
ZK_API void encodePeriodicZeroMean(HALPamplemousse_t* record, float amplitude, float period, float ampMin,
                                   float ampMax);

}  // namespace APICore
