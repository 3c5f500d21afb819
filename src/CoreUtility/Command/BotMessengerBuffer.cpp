#include "CoreUtility/Command/BotMessengerBuffer.h"

#include <cstring>
#include <utility>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/CommandStorage.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"
#include "HAL/RobotMessages/Components.h"

namespace APICore {

using HAL::Ctlr2BotMsg;
using ZKHAL::decimalPrefix;
using ZKHAL::levelByte;
using ZKHAL::low8;
using ZKHAL::orEmpty;
using ZKHAL::printOut;

BotMessengerBuffer::BotMessengerBuffer(HAL::RobotHW* robot) : mRobot(robot) {}

BotMessengerBuffer::~BotMessengerBuffer() = default;

std::vector<HALPacket_t*> BotMessengerBuffer::convertCtlrMessageToPackets(const char* text, size_t length)
{
    const HAL::PacketList& list = convert(text, length);
    return {list.packets, list.packets + list.count};
}

std::vector<HALPacket_t*> BotMessengerBuffer::convertCtlrMessageToPackets(const nx_json* document)
{
    const HAL::PacketList& list = convert(document);
    return {list.packets, list.packets + list.count};
}

const HAL::PacketList& BotMessengerBuffer::convert(const char* text, size_t length)
{
    static const HAL::PacketList kNoPackets = {};
    if (mRobot == nullptr || text == nullptr || length == 0) {
        return kNoPackets;
    }
    const ZKHAL::JsonDocumentLoan document(mSpareDocument);
    const nx_json* root = document->parse(text, strnlen(text, length));
    if (root == nullptr) {
        document->error().print();
    }
    return convertDocument(root, true);
}

const HAL::PacketList& BotMessengerBuffer::convert(const nx_json* document)
{
    return convertDocument(document, false);
}

const HAL::PacketList& BotMessengerBuffer::convertDocument(const nx_json* jsCommand, bool hasPaddedText)
{
    static const HAL::PacketList kNoPackets = {};
    if (mRobot == nullptr) {
        return kNoPackets;
    }
    ZK_ASSERT(jsCommand && (jsCommand->type == NX_JSON_OBJECT));
    std::shared_ptr<Ctlr2BotMsg> message = std::move(mSpareMessage);
    if (message == nullptr) {
        message = std::make_shared<Ctlr2BotMsg>();
    }
    mRobot->initComponentsForCtlr2BotMsg(message.get());
    const ParseContext context = {mRobot, hasPaddedText};
    for (const nx_json* member = jsCommand->child; member != nullptr; member = member->next) {
        const auto id = static_cast<uint32_t>(decimalPrefix(member->key));
        const int index = HAL::componentIndex(id);
        if (index < 0 || !fillComponent(*message, static_cast<size_t>(index), member, context)) {
            printOut("unknown component id: %d\n", static_cast<int>(id));
        }
        // Known or not, and with or without a record: unmentioned fields are zero, and zeros are sent.
        if (index >= 0) {
            HAL::setComponent(message->GetHwData(), static_cast<size_t>(index));
        }
    }
    const HAL::PacketList& list = HAL::RobotHW_rev0::pack(message.get(), mRobot);
    message.swap(mPendingMessage);
    if (message != nullptr && message.use_count() == 1) {
        message->clear();
        mSpareMessage = std::move(message);
    }
    return list;
}

void BotMessengerBuffer::sentControllerMessage()
{
    mLastSentMessage = std::move(mPendingMessage);
    mPendingMessage.reset();
}

// Each routine parses what the vocabulary says of a component with this kind of record.
void BotMessengerBuffer::fill(ZKComponentId component, const nx_json* params, void* record)
{
    if (record != nullptr && params != nullptr) {
        fillRecord(*findComponent(component), record, params, {mRobot});
    }
}

void BotMessengerBuffer::parsePower(const nx_json* params, HALPower_t* record)
{
    fill(ZK_COMPONENT_POWER, params, record);
}

void BotMessengerBuffer::parsePing(const nx_json* params, HALPing_t* record)
{
    fill(ZK_COMPONENT_PING, params, record);
}

void BotMessengerBuffer::parseLightLED(const nx_json* params, HALLED_t* record)
{
    fill(ZK_COMPONENT_LED_106, params, record);
}

void BotMessengerBuffer::parseLightLED3(const nx_json* params, HALLED3_t* record)
{
    fill(ZK_COMPONENT_LED3_108, params, record);
}

void BotMessengerBuffer::parseLightRGB(const nx_json* params, HALRGB_t* record)
{
    fill(ZK_COMPONENT_RGB_104, params, record);
}

void BotMessengerBuffer::parseEyeRing(const nx_json* params, HALEyeRing_t* record)
{
    fill(ZK_COMPONENT_EYE_RING, params, record);
}

void BotMessengerBuffer::parseMotorWheel(const nx_json* params, HALMotorWheel_t* record)
{
    fill(ZK_COMPONENT_WHEEL_LEFT, params, record);
}

void BotMessengerBuffer::parseBodyWheels(const nx_json* params, HALMotorWheel_t* left, HALMotorWheel_t* right)
{
    BothWheels wheels = {left, right};
    fill(ZK_COMPONENT_BODY_WHEELS, params, left != nullptr && right != nullptr ? &wheels : nullptr);
}

void BotMessengerBuffer::parseMotorServo(const nx_json* params, HALMotorServo_t* record, bool isPan)
{
    fill(isPan ? ZK_COMPONENT_HEAD_PAN : ZK_COMPONENT_HEAD_TILT, params, record);
}

void BotMessengerBuffer::parseMotorHeadPanServo(const nx_json* params, HALMotorServo_t* record)
{
    parseMotorServo(params, record, true);
}

void BotMessengerBuffer::parseMotorHeadTiltServo(const nx_json* params, HALMotorServo_t* record)
{
    parseMotorServo(params, record, false);
}

void BotMessengerBuffer::parseBodyMotionLinearAngular(const nx_json* params, HALBodyMotionLinearAngular_t* record)
{
    fill(ZK_COMPONENT_BODY_LINEAR_ANGULAR, params, record);
}

void BotMessengerBuffer::parseBodyPose(const nx_json* params, HALBodyPose_t* record)
{
    fill(ZK_COMPONENT_BODY_POSE, params, record);
}

void BotMessengerBuffer::parseNoParams(const nx_json*, HALNoParams_t*)
{
    // Naming the component is the command.
}

void BotMessengerBuffer::parseScalarPercentage(const nx_json* params, HALComponentScalar_t* record)
{
    fill(ZK_COMPONENT_SCALAR_213, params, record);
}

void BotMessengerBuffer::parseSpeaker(const nx_json* params, HALSpeaker_t* record)
{
    fill(ZK_COMPONENT_SPEAKER, params, record);
}

void BotMessengerBuffer::parseOnRobotAnim(const nx_json* params, HALAnim_t* record)
{
    fill(ZK_COMPONENT_ON_ROBOT_ANIM, params, record);
}

void BotMessengerBuffer::parseAudioSynth(const nx_json* params, HALAudioSynth_t* record)
{
    fill(ZK_COMPONENT_AUDIO_SYNTH, params, record);
}

void BotMessengerBuffer::parseLauncher(const nx_json* params, HALLauncher_t* record)
{
    fill(ZK_COMPONENT_LAUNCHER_400, params, record);
}

void BotMessengerBuffer::parseLedMsg(const nx_json* params, HALLedMsg_t* record)
{
    fill(ZK_COMPONENT_LED_MESSAGE, params, record);
}

void BotMessengerBuffer::parseUserSettings(const nx_json* params, HALUserSetting_t* record)
{
    fill(ZK_COMPONENT_USER_SETTINGS, params, record);
}

void BotMessengerBuffer::parsePamplemousseStart(const nx_json* params, HALPamplemousse_t* record)
{
    fill(ZK_COMPONENT_PAMPLEMOUSSE_START, params, record);
}

void BotMessengerBuffer::parsePamplemousseStop(const nx_json* params, HALPamplemousse_t* record)
{
    fill(ZK_COMPONENT_PAMPLEMOUSSE_STOP, params, record);
}

void BotMessengerBuffer::parseButton(const nx_json* params, HALButton_t* record)
{
    const nx_json* state = nx_json_get(params, "s");
    if (record != nullptr && state != nx_json_get(nullptr, nullptr)) {
        record->pressed = state->int_value == 0 ? 1 : 0;
    }
}

void BotMessengerBuffer::parseDistance(const nx_json* params, HALDistance_t* record)
{
    if (record == nullptr || params == nullptr) {
        return;
    }
    record->distance = nx_json_get(params, "cm")->dbl_value;
    record->reflectance = nx_json_get(params, "refl")->dbl_value;
}

uint8_t parseBrightnessValue(const nx_json* value)
{
    if (value == nullptr) {
        return 0;
    }
    return value->dbl_value > 1.0 ? low8(value->int_value) : levelByte(value->dbl_value);
}

void _parseMediaCommand(const nx_json* value, char* fileName)
{
    std::memset(fileName, 0, kMediaNameLength + 1);
    const char* text = orEmpty(value != nullptr ? value->text_value : nullptr);
    for (int i = 0; i < kMediaNameLength && text[i] != '\0'; ++i) {
        if (text[i] != '/') {
            *fileName++ = text[i];
        }
    }
}

}  // namespace APICore
