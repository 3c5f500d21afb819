#include "Simulator/CommandReader.h"

#include <algorithm>
#include <cstring>

#include "CoreUtility/FormatText.h"
#include "HAL/RobotMessages/CommandBytes.h"

namespace Simulator {

namespace {

using namespace HAL;

constexpr Piece kNone = {0, 0, 0};

constexpr FieldLayout byteField(const char* name, const char* unit, uint8_t at, double scale = 1, bool isSigned = false)
{
    return {name, unit, scale, isSigned, {{at, 0, 8}, kNone, kNone, kNone}};
}

constexpr FieldLayout bigField(const char* name, const char* unit, uint8_t at, double scale, bool isSigned = true)
{
    return {name, unit, scale, isSigned, {{static_cast<uint8_t>(at + 1), 0, 8}, {at, 0, 8}, kNone, kNone}};
}

constexpr FieldLayout littleField32(const char* name, const char* unit, uint8_t at, double scale)
{
    const auto next = [at](int i) { return static_cast<uint8_t>(at + i); };
    return {name, unit, scale, false, {{at, 0, 8}, {next(1), 0, 8}, {next(2), 0, 8}, {next(3), 0, 8}}};
}

constexpr char kLevel[] = "/255";
constexpr double kWheelScale = 1.0 / 30;
// Of the 24 kHz oscillator: an increment of 2^25 is a whole turn a sample.
constexpr double kIncrementScale = 2.0 * 24000 / (1 << 26);

constexpr FieldLayout kWheelFields[] = {bigField("left", "cm/s", 1, kWheelScale),
                                        bigField("right", "cm/s", 3, kWheelScale)};
constexpr FieldLayout kRgbFields[] = {byteField("red", kLevel, 1), byteField("green", kLevel, 2),
                                      byteField("blue", kLevel, 3)};
constexpr FieldLayout kLevelFields[] = {byteField("brightness", kLevel, 1)};
constexpr FieldLayout kThreeLevelFields[] = {byteField("light 1", kLevel, 1), byteField("light 2", kLevel, 2),
                                             byteField("light 3", kLevel, 3)};
constexpr FieldLayout kAngleFields[] = {bigField("", "degrees", 1, -0.01)};
constexpr FieldLayout kQuadFields[] = {byteField("quarter 1", kLevel, 1), byteField("quarter 2", kLevel, 2),
                                       byteField("quarter 3", kLevel, 3), byteField("quarter 4", kLevel, 4)};
constexpr FieldLayout kBitmapFields[] = {{"", "", 1, false, {{2, 0, 8}, {1, 0, 8}, kNone, kNone}, Show::EyeLights}};
constexpr FieldLayout kEyeAnimationFields[] = {byteField("pattern", "", 1)};
constexpr FieldLayout kVolumeFields[] = {byteField("", "%", 1)};
constexpr FieldLayout kLauncherFields[] = {byteField("", "", 1)};
constexpr FieldLayout kPercentFields[] = {byteField("", "%", 1, 1, true)};
constexpr FieldLayout kStateFields[] = {byteField("state", "", 1)};
constexpr FieldLayout kPingFields[] = {{"id", "", 1, false, {{1, 0, 8}, {2, 0, 8}, kNone, kNone}}};
constexpr FieldLayout kMoveFields[] = {bigField("angle", "degrees", 1, -0.01), bigField("time", "s", 3, 0.001)};
constexpr FieldLayout kHoldMoveFields[] = {bigField("angle", "degrees", 1, -0.01),
                                           {"time", "s", 0.01, false, {{4, 0, 8}, {3, 0, 6}, kNone, kNone}}};
constexpr FieldLayout kSpeedFields[] = {bigField("", "rad/s", 1, 0.008)};
constexpr FieldLayout kMotionFields[] = {
    {"linear", "cm/s", 0.2, true, {{1, 0, 8}, {3, 0, 3}, kNone, kNone}},
    {"angular", "rad/s", 0.008, true, {{2, 0, 8}, {3, 3, 3}, kNone, kNone}},
    {"linear acceleration", "cm/s^2", 1, false, {{4, 0, 8}, {6, 0, 2}, kNone, kNone}},
    {"angular acceleration", "rad/s^2", 0.064, false, {{5, 0, 8}, {6, 2, 2}, kNone, kNone}},
};
constexpr size_t kMotionWithoutAcceleration = 2;
constexpr FieldLayout kGlobalPoseFields[] = {bigField("x", "cm", 1, 0.1), bigField("y", "cm", 3, 0.1),
                                             bigField("heading", "rad", 5, 0.01),
                                             bigField("time", "s", 7, 0.001, false)};
constexpr FieldLayout kPoseFields[] = {
    {"x", "cm", 0.1, true, {{1, 0, 8}, {6, 0, 6}, kNone, kNone}},
    {"y", "cm", 0.1, true, {{2, 0, 8}, {7, 0, 6}, kNone, kNone}},
    {"heading", "rad", 0.01, true, {{3, 0, 8}, {6, 6, 2}, {7, 6, 2}, kNone}},
    bigField("time", "s", 4, 0.001, false),
    {"mode", "", 1, false, {{8, 6, 2}, kNone, kNone, kNone}},
    {"ease", "", 1, false, {{8, 5, 1}, kNone, kNone, kNone}},
    {"wrap", "", 1, false, {{8, 4, 1}, kNone, kNone, kNone}},
    {"direction", "", 1, false, {{8, 0, 4}, kNone, kNone, kNone}},
};
constexpr FieldLayout kCombinedFields[] = {
    bigField("left", "cm/s", 1, kWheelScale),
    bigField("right", "cm/s", 3, kWheelScale),
    bigField("head pan", "rad", 5, 0.01),
    bigField("head tilt", "rad", 7, 0.01),
    byteField("104 red", kLevel, 9),
    byteField("104 green", kLevel, 10),
    byteField("104 blue", kLevel, 11),
    byteField("102 red", kLevel, 12),
    byteField("102 green", kLevel, 13),
    byteField("102 blue", kLevel, 14),
    byteField("103 red", kLevel, 15),
    byteField("103 green", kLevel, 16),
    byteField("103 blue", kLevel, 17),
    {"eye lights", "", 1, false, {{19, 0, 8}, {18, 0, 8}, kNone, kNone}, Show::EyeLights},
};
constexpr FieldLayout kSettingByteFields[] = {byteField("", "", 2)};
constexpr FieldLayout kSettingPercentFields[] = {byteField("", "%", 2)};
constexpr FieldLayout kSettingLevelFields[] = {byteField("", kLevel, 2)};
constexpr FieldLayout kColorAnimFields[] = {
    {"colour", "", 1, false, {{2, 0, 3}, kNone, kNone, kNone}},
    {"animation", "", 1, false, {{2, 3, 3}, {2, 6, 1}, kNone, kNone}, Show::AnimationOrSeven},
};
constexpr FieldLayout kClockFields[] = {{"", "s since 1970", 1, false, {{5, 0, 8}, {4, 0, 8}, {3, 0, 8}, {2, 0, 8}}}};
constexpr FieldLayout kSynthFields[] = {
    {"duration", "", 1, false, {{3, 0, 8}, {2, 0, 4}, kNone, kNone}},
    {"percentage 1", "", 1, false, {{18, 0, 8}, {17, 4, 4}, kNone, kNone}},
    {"percentage 2", "", 1, false, {{19, 0, 8}, {17, 0, 4}, kNone, kNone}},
    {"tone 1 type", "", 1, false, {{2, 5, 3}, kNone, kNone, kNone}},
    bigField("tone 1", "Hz", 5, 0.1, false),
    byteField("phase 1", "", 7),
    {"tone 2 type", "", 1, false, {{4, 6, 2}, {2, 4, 1}, kNone, kNone}},
    bigField("tone 2", "Hz", 8, 0.1, false),
    byteField("phase 2", "", 10),
    {"tone 3 type", "", 1, false, {{4, 3, 3}, kNone, kNone, kNone}},
    bigField("tone 3", "Hz", 11, 0.1, false),
    byteField("phase 3", "", 13),
    {"tone 4 type", "", 1, false, {{4, 0, 3}, kNone, kNone, kNone}},
    bigField("tone 4", "Hz", 14, 0.1, false),
    byteField("phase 4", "", 16),
};
constexpr FieldLayout kSynthUpdateFields[] = {
    littleField32("tone 1", "Hz", 4, kIncrementScale), littleField32("tone 2", "Hz", 8, kIncrementScale),
    littleField32("tone 3", "Hz", 12, kIncrementScale), littleField32("tone 4", "Hz", 16, kIncrementScale)};
constexpr FieldLayout kBehaviourFields[] = {
    bigField("id", "", 1, 1, false), byteField("weight", kLevel, 3), byteField("p0", "", 4), byteField("p1", "", 5),
    byteField("p2", "", 6),          byteField("p3", "", 7),         byteField("p4", "", 8), byteField("p5", "", 9)};
constexpr FieldLayout kBehaviourStopFields[] = {bigField("id", "", 1, 1, false)};
constexpr FieldLayout kLedMessageFields[] = {
    {"message", "", 1, false, {{1, 0, 6}, kNone, kNone, kNone}},
    {"flags", "", 1, false, {{1, 6, 2}, kNone, kNone, kNone}},
    {"lights", "", 1, false, {{2, 0, 8}, kNone, kNone, kNone}, Show::Lights},
};

template <size_t kCount>
constexpr CommandLayout row(int code, size_t size, const char* name, const FieldLayout (&fields)[kCount],
                            size_t count = kCount)
{
    return {code, -1, size, name, fields, count};
}

constexpr CommandLayout plain(int code, const char* name)
{
    return {code, -1, 1, name, nullptr, 0};
}

constexpr CommandLayout named(int code, const char* name)
{
    return {code, -1, 15, name, nullptr, 0, 1, 14};
}

template <size_t kCount>
constexpr CommandLayout setting(int subCode, const char* name, const FieldLayout (&fields)[kCount])
{
    return {kCmdUserSettings, subCode, HAL_PACKET_SIZE, name, fields, kCount};
}

constexpr CommandLayout kLayouts[] = {
    row(kCmdWheels, 5, "wheel speeds", kWheelFields),
    row(kCmdBodyMotion, 4, "body motion", kMotionFields, kMotionWithoutAcceleration),
    row(kCmdRgb104, 4, "colour light 104", kRgbFields),
    row(kCmdLed105, 2, "light 105", kLevelFields),
    row(kCmdHeadPan, 3, "head pan", kAngleFields),
    row(kCmdHeadTilt, 3, "head tilt", kAngleFields),
    row(kCmdEyeBrightness, 2, "eye brightness", kLevelFields),
    row(kCmdEyeBitmap, 3, "eye lights", kBitmapFields),
    row(kCmdEyeAnimation, 4, "eye animation", kEyeAnimationFields),
    row(kCmdRgb102, 4, "colour light 102", kRgbFields),
    row(kCmdRgb103, 4, "colour light 103", kRgbFields),
    row(kCmdLed106, 2, "light 106", kLevelFields),
    row(kCmdVolume, 2, "volume", kVolumeFields),
    plain(kCmdNoParams210, "command 210"),
    row(kCmdPan207, 5, "timed head pan", kMoveFields),
    row(kCmdTilt206, 5, "timed head tilt", kMoveFields),
    row(kCmdPan209, 3, "head pan speed", kSpeedFields),
    row(kCmdTilt208, 3, "head tilt speed", kSpeedFields),
    row(kCmdBodyPoseMode3, 9, "body pose, mode 3", kGlobalPoseFields),
    named(kCmdSound, "sound"),
    plain(kCmdStopSound, "stop sound"),
    {kCmdUserSettings, kSettingName, HAL_PACKET_SIZE, "robot name", nullptr, 0, 2, 18},
    setting(kSettingColor, "personality colour", kSettingByteFields),
    setting(kSettingAnim, "personality animation", kSettingByteFields),
    setting(kSettingVolume, "personality volume", kSettingPercentFields),
    setting(kSettingEyeBrightness, "personality eye brightness", kSettingLevelFields),
    setting(kSettingAvatar, "avatar", kSettingByteFields),
    setting(kSettingColorAnim, "personality", kColorAnimFields),
    {kCmdClock, kClockSet, HAL_PACKET_SIZE, "clock", kClockFields, 1},
    row(kCmdSynth, HAL_PACKET_SIZE, "synthesizer", kSynthFields),
    row(kCmdBodyPose, 9, "body pose", kPoseFields),
    row(kCmdBodyMotionWithAcceleration, 7, "body motion", kMotionFields),
    named(kCmdAnimByName, "on-robot animation"),
    plain(kCmdNoParams212, "command 212"),
    row(kCmdSynthUpdate, HAL_PACKET_SIZE, "synthesizer update", kSynthUpdateFields),
    row(kCmdBodyPoseMode4, 9, "body pose, mode 4", kGlobalPoseFields),
    row(kCmdBodyMotionPose, 4, "body motion as a pose", kMotionFields, kMotionWithoutAcceleration),
    plain(kCmdAnimWithoutName, "on-robot animation without a name"),
    row(kCmdRgb107, 4, "colour light 107", kRgbFields),
    row(kCmdLed3, 4, "three-light group 108", kThreeLevelFields),
    row(kCmdEyeBrightnessQuad, 5, "eye brightness", kQuadFields),
    row(kCmdLed109, 2, "light 109", kLevelFields),
    row(kCmdLed110, 2, "light 110", kLevelFields),
    row(kCmdLed111, 2, "light 111", kLevelFields),
    row(kCmdBehaviourStart, 10, "behaviour start", kBehaviourFields),
    row(kCmdBehaviourStop, 3, "behaviour stop", kBehaviourStopFields),
    row(kCmdPan207Hold, 5, "timed head pan, then hold", kHoldMoveFields),
    row(kCmdTilt206Hold, 5, "timed head tilt, then hold", kHoldMoveFields),
    row(kCmdLauncher400, 2, "launcher 400", kLauncherFields),
    row(kCmdLauncher401, 2, "launcher 401", kLauncherFields),
    row(kCmdScalar213, 2, "percentage 213", kPercentFields),
    row(kCmdScalar214, 2, "percentage 214", kPercentFields),
    row(kCmdCombined, HAL_PACKET_SIZE, "combined state", kCombinedFields),
    row(kCmdLedMessage, 3, "light message", kLedMessageFields),
    row(kCmdPower, 2, "power", kStateFields),
    row(kCmdPing, 3, "ping", kPingFields),
};

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
    for (const CommandLayout& layout : kLayouts) {
        if (layout.code == data[0] && (layout.subCode < 0 || (length > 1 && layout.subCode == data[1]))) {
            return &layout;
        }
    }
    return nullptr;
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

int64_t RobotCommand::raw(const char* field) const
{
    for (size_t i = 0; i < mLayout->fieldCount; ++i) {
        if (std::strcmp(mLayout->fields[i].name, field) == 0) {
            return rawOf(mLayout->fields[i], mBytes);
        }
    }
    return 0;
}

double RobotCommand::value(const char* field) const
{
    for (size_t i = 0; i < mLayout->fieldCount; ++i) {
        if (std::strcmp(mLayout->fields[i].name, field) == 0) {
            return static_cast<double>(rawOf(mLayout->fields[i], mBytes)) * mLayout->fields[i].scale;
        }
    }
    return 0;
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
    std::string words = mLayout->name;
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
            reading.problem = std::string(layout->name) + " is cut off";
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
