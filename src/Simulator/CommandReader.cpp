#include "Simulator/CommandReader.h"

#include <algorithm>
#include <cstring>

#include "CoreUtility/FormatText.h"
#include "HAL/RobotMessages/WireCommands.h"

namespace Simulator {

namespace {

using namespace HAL;

using namespace Field;

constexpr FieldLayout kWheelFields[] = {kLeft, kRight};
constexpr FieldLayout kRgbFields[] = {kRed, kGreen, kBlue};
constexpr FieldLayout kMoveFields[] = {kMoveAngle, kMoveTime};
constexpr FieldLayout kHoldMoveFields[] = {kMoveAngle, kHoldTime};
constexpr FieldLayout kMotionFields[] = {kLinear, kAngular, kLinearAcceleration, kAngularAcceleration};
constexpr size_t kMotionWithoutAcceleration = 2;
constexpr FieldLayout kWidePoseFields[] = {kWideX, kWideY, kWideHeading, kWideTime};
constexpr FieldLayout kPoseFields[] = {kX, kY, kHeading, kPoseTime, kMode, kEase, kWrap, kDirection};
constexpr FieldLayout kCombinedFields[] = {
    kLeft,           kRight,          kCombinedPan,    kCombinedTilt,     kCombined104[0],
    kCombined104[1], kCombined104[2], kCombined102[0], kCombined102[1],   kCombined102[2],
    kCombined103[0], kCombined103[1], kCombined103[2], kCombinedEyeLights};
constexpr FieldLayout kColorAnimFields[] = {kSettingColor, kSettingAnimation};
constexpr FieldLayout kSynthFields[] = {
    kDuration,           kPercentage1,    kPercentage2,        kTones[0].type,      kTones[0].frequency,
    kTones[0].phase,     kTones[1].type,  kTones[1].frequency, kTones[1].phase,     kTones[2].type,
    kTones[2].frequency, kTones[2].phase, kTones[3].type,      kTones[3].frequency, kTones[3].phase};
constexpr FieldLayout kBehaviourFields[] = {kBehaviourId,       kWeight,
                                            kBehaviourBytes[0], kBehaviourBytes[1],
                                            kBehaviourBytes[2], kBehaviourBytes[3],
                                            kBehaviourBytes[4], kBehaviourBytes[5]};
constexpr FieldLayout kMessageFields[] = {kMessage, kMessageFlags, kMessageLights};

template <size_t kCount>
constexpr CommandLayout row(uint8_t code, size_t size, const FieldLayout (&fields)[kCount], size_t count = kCount)
{
    return {&wireCommand(code), size, fields, count};
}

constexpr CommandLayout row(uint8_t code, size_t size, const FieldLayout& field)
{
    return {&wireCommand(code), size, &field, 1};
}

constexpr CommandLayout plain(uint8_t code)
{
    return {&wireCommand(code), 1, nullptr, 0};
}

constexpr CommandLayout named(uint8_t code)
{
    return {&wireCommand(code), 15, nullptr, 0, 1, 14};
}

constexpr CommandLayout setting(SettingByte subCode, const FieldLayout* fields, size_t count = 1)
{
    return {&wireCommand(kCmdUserSettings, subCode), HAL_PACKET_SIZE, fields, count};
}

// Beside kWireCommands.
constexpr CommandLayout kLayouts[] = {
    row(kCmdWheels, 5, kWheelFields),
    row(kCmdBodyMotion, 4, kMotionFields, kMotionWithoutAcceleration),
    row(kCmdRgb104, 4, kRgbFields),
    row(kCmdLed105, 2, kBrightness),
    row(kCmdHeadPan, 3, kHeadAngle),
    row(kCmdHeadTilt, 3, kHeadAngle),
    row(kCmdEyeBrightness, 2, kBrightness),
    row(kCmdEyeBitmap, 3, kEyeLights),
    row(kCmdEyeAnimation, 4, kPattern),
    row(kCmdRgb102, 4, kRgbFields),
    row(kCmdRgb103, 4, kRgbFields),
    row(kCmdLed106, 2, kBrightness),
    row(kCmdVolume, 2, kVolume),
    plain(kCmdNoParams210),
    row(kCmdPan207, 5, kMoveFields),
    row(kCmdTilt206, 5, kMoveFields),
    row(kCmdPan209, 3, kHeadSpeed),
    row(kCmdTilt208, 3, kHeadSpeed),
    row(kCmdBodyPoseMode3, 9, kWidePoseFields),
    named(kCmdSound),
    plain(kCmdStopSound),
    {&wireCommand(kCmdUserSettings, kSettingName), HAL_PACKET_SIZE, nullptr, 0, 2, 18},
    setting(HAL::kSettingColor, &kSetting),
    setting(kSettingAnim, &kSetting),
    setting(kSettingVolume, &kSettingPercent),
    setting(kSettingEyeBrightness, &kSettingLevel),
    setting(kSettingAvatar, &kSetting),
    setting(kSettingColorAnim, kColorAnimFields, 2),
    {&wireCommand(kCmdClock, kClockSet), HAL_PACKET_SIZE, &kSeconds, 1},
    row(kCmdSynth, HAL_PACKET_SIZE, kSynthFields),
    row(kCmdBodyPose, 9, kPoseFields),
    row(kCmdBodyMotionWithAcceleration, 7, kMotionFields),
    named(kCmdAnimByName),
    plain(kCmdNoParams212),
    row(kCmdSynthUpdate, HAL_PACKET_SIZE, kUpdatedTones),
    row(kCmdBodyPoseMode4, 9, kWidePoseFields),
    row(kCmdBodyMotionPose, 4, kMotionFields, kMotionWithoutAcceleration),
    plain(kCmdAnimWithoutName),
    row(kCmdRgb107, 4, kRgbFields),
    row(kCmdLed3, 4, kThreeLights),
    row(kCmdEyeBrightnessQuad, 5, kQuarters),
    row(kCmdLed109, 2, kBrightness),
    row(kCmdLed110, 2, kBrightness),
    row(kCmdLed111, 2, kBrightness),
    row(kCmdBehaviourStart, 10, kBehaviourFields),
    row(kCmdBehaviourStop, 3, kBehaviourId),
    row(kCmdPan207Hold, 5, kHoldMoveFields),
    row(kCmdTilt206Hold, 5, kHoldMoveFields),
    row(kCmdLauncher400, 2, kLauncher),
    row(kCmdLauncher401, 2, kLauncher),
    row(kCmdScalar213, 2, kPercent),
    row(kCmdScalar214, 2, kPercent),
    row(kCmdCombined, HAL_PACKET_SIZE, kCombinedFields),
    row(kCmdLedMessage, 3, kMessageFields),
    row(kCmdPower, 2, kState),
    row(kCmdPing, 3, kPingId),
};

constexpr bool runsBesideWireCommands()
{
    if (sizeof kLayouts / sizeof kLayouts[0] != kWireCommandCount) {
        return false;
    }
    for (size_t i = 0; i < kWireCommandCount; ++i) {
        if (kLayouts[i].command != &kWireCommands[i]) {
            return false;
        }
    }
    return true;
}
static_assert(runsBesideWireCommands(), "kLayouts is found by wireCommandIndex()");

constexpr bool piecesLieInside()
{
    for (const CommandLayout& layout : kLayouts) {
        for (size_t i = 0; i < layout.fieldCount; ++i) {
            for (const Piece& piece : layout.fields[i].pieces) {
                if (piece.byte >= layout.size || piece.shift + piece.bits > 8) {
                    return false;
                }
            }
        }
        if (layout.textAt + layout.textSize > static_cast<int>(layout.size)) {
            return false;
        }
    }
    return true;
}
static_assert(piecesLieInside(), "a field lies outside its command");

const CommandLayout* findLayout(const uint8_t* data, size_t length)
{
    const int index = wireCommandIndex(data[0], length > 1 ? data[1] : kNoSubCode);
    return index >= 0 ? &kLayouts[index] : nullptr;
}

int64_t rawOf(const FieldLayout& field, const uint8_t* bytes)
{
    uint64_t raw = 0;
    int bits = 0;
    for (const Piece& piece : field.pieces) {
        const uint64_t part = bytes[piece.byte] >> piece.shift & ((1u << piece.bits) - 1);
        raw |= part << bits;
        bits += piece.bits;
    }
    if (field.isSigned && (raw >> (bits - 1) & 1) != 0) {
        raw |= ~uint64_t{0} << bits;
    }
    if (field.show == Show::AnimationOrSeven && (raw & 8) != 0) {
        return 7;  // animation 7 comes as 1 with a flag of its own
    }
    return static_cast<int64_t>(raw);
}

void appendListed(std::string& text, const std::string& item)
{
    text += text.empty() ? item : " " + item;
}

std::string eyeLights(int64_t bitmap)
{
    std::string lights;
    constexpr int kLights = 12;
    for (int light = 1; light <= kLights; ++light) {
        if ((bitmap >> (light % kLights) & 1) != 0) {  // light 12 is bit 0
            appendListed(lights, std::to_string(light));
        }
    }
    for (int bit = kLights; bit < 16; ++bit) {
        if ((bitmap >> bit & 1) != 0) {
            appendListed(lights, "(bit " + std::to_string(bit) + ")");
        }
    }
    return lights.empty() ? "none" : lights;
}

std::string messageLights(int64_t mask)
{
    constexpr const char* kNames[] = {"102", "103", "101/104", "106/107"};
    std::string lights;
    for (int bit = 0; bit < 4; ++bit) {
        if ((mask >> bit & 1) != 0) {
            appendListed(lights, kNames[bit]);
        }
    }
    return lights.empty() ? "none" : lights;
}

std::string fieldInWords(const FieldLayout& field, const uint8_t* bytes)
{
    const int64_t raw = rawOf(field, bytes);
    if (field.show == Show::EyeLights) {
        return eyeLights(raw);
    }
    if (field.show == Show::Lights) {
        return messageLights(raw);
    }
    std::string words = field.scale == 1 ? std::to_string(raw)
                                         : ZKHAL::plainNumber(raw == 0 ? 0 : static_cast<double>(raw) * field.scale);
    if (field.unit[0] != '\0') {
        const bool attached = field.unit[0] == '/' || field.unit[0] == '%';
        words += (attached ? "" : " ") + std::string(field.unit);
    }
    return words;
}

}  // namespace

RobotCommand::RobotCommand(const CommandLayout& layout, const uint8_t* bytes) : mLayout(&layout), mBytes{}
{
    std::memcpy(mBytes, bytes, layout.size);
}

int64_t RobotCommand::raw(const FieldLayout& field) const
{
    return rawOf(field, mBytes);
}

double RobotCommand::value(const FieldLayout& field) const
{
    return static_cast<double>(rawOf(field, mBytes)) * field.scale;
}

std::string RobotCommand::text() const
{
    std::string text;
    for (size_t i = 0; i < mLayout->textSize && mBytes[mLayout->textAt + i] != 0; ++i) {
        text += static_cast<char>(mBytes[mLayout->textAt + i]);
    }
    return text;
}

std::string RobotCommand::inWords() const
{
    std::string words = mLayout->command->words;
    if (mLayout->textSize > 0) {
        words += ": \"" + ZKHAL::printable(text()) + '"';
    }
    for (size_t i = 0; i < mLayout->fieldCount; ++i) {
        const FieldLayout& field = mLayout->fields[i];
        words += i == 0 ? ": " : ", ";
        words += field.name[0] != '\0' ? std::string(field.name) + ' ' : std::string();
        words += fieldInWords(field, mBytes);
    }
    return words;
}

PacketReading readCommands(const uint8_t* data, size_t length)
{
    PacketReading reading;
    const size_t end = std::min<size_t>(length, HAL_PACKET_SIZE);
    size_t at = 0;
    while (at < end) {
        const CommandLayout* layout = findLayout(data + at, end - at);
        if (layout == nullptr) {
            const bool lacksSubCode = end - at == 1 && (data[at] == kCmdUserSettings || data[at] == kCmdClock);
            reading.problem = lacksSubCode ? "the command is cut off" : "no command begins with this byte";
            break;
        }
        if (layout->size > end - at) {
            reading.problem = std::string(layout->command->words) + " is cut off";
            break;
        }
        reading.commands.emplace_back(*layout, data + at);
        at += layout->size;
    }
    if (reading.problem.empty() && length > HAL_PACKET_SIZE) {
        reading.problem = "a packet has at most 20 bytes";
    }
    reading.problemAt = at;
    return reading;
}

}  // namespace Simulator
