// Where the fields of the commands lie, as they go over the air: the robot's side of what the encoder writes.
#pragma once

#include <cstdint>

namespace Simulator {

// Some bits of a byte of the command, byte 0 being the command byte.
struct Piece {
    uint8_t byte, shift, bits;
};

enum class Show : uint8_t { Number, EyeLights, Lights, AnimationOrSeven };

// A field of a command, its pieces from the lowest bits up.
struct FieldLayout {
    const char* name;  // "" where the command's own name says it
    const char* unit;  // "" for plain numbers
    double scale;      // value = raw number * scale
    bool isSigned;
    Piece pieces[4];
    Show show = Show::Number;
};

// The fields themselves. What several commands have at the same place stands once.
namespace Field {

constexpr Piece kNone = {0, 0, 0};

constexpr FieldLayout byteAt(const char* name, const char* unit, uint8_t at, double scale = 1, bool isSigned = false)
{
    return {name, unit, scale, isSigned, {{at, 0, 8}, kNone, kNone, kNone}};
}

constexpr FieldLayout bigAt(const char* name, const char* unit, uint8_t at, double scale, bool isSigned = true)
{
    return {name, unit, scale, isSigned, {{static_cast<uint8_t>(at + 1), 0, 8}, {at, 0, 8}, kNone, kNone}};
}

constexpr FieldLayout bitsAt(const char* name, Piece low, Piece high = kNone, Show show = Show::Number)
{
    return {name, "", 1, false, {low, high, kNone, kNone}, show};
}

constexpr char kLevel[] = "/255";
constexpr double kWheelScale = 1.0 / 30;

inline constexpr FieldLayout kLeft = bigAt("left", "cm/s", 1, kWheelScale);
inline constexpr FieldLayout kRight = bigAt("right", "cm/s", 3, kWheelScale);

inline constexpr FieldLayout kRed = byteAt("red", kLevel, 1);
inline constexpr FieldLayout kGreen = byteAt("green", kLevel, 2);
inline constexpr FieldLayout kBlue = byteAt("blue", kLevel, 3);
inline constexpr FieldLayout kBrightness = byteAt("brightness", kLevel, 1);
inline constexpr FieldLayout kThreeLights[] = {byteAt("light 1", kLevel, 1), byteAt("light 2", kLevel, 2),
                                               byteAt("light 3", kLevel, 3)};
inline constexpr FieldLayout kQuarters[] = {byteAt("quarter 1", kLevel, 1), byteAt("quarter 2", kLevel, 2),
                                            byteAt("quarter 3", kLevel, 3), byteAt("quarter 4", kLevel, 4)};
inline constexpr FieldLayout kEyeLights = bitsAt("", {2, 0, 8}, {1, 0, 8}, Show::EyeLights);
inline constexpr FieldLayout kPattern = byteAt("pattern", "", 1);
inline constexpr FieldLayout kMessage = bitsAt("message", {1, 0, 6});
inline constexpr FieldLayout kMessageFlags = bitsAt("flags", {1, 6, 2});
inline constexpr FieldLayout kMessageLights = bitsAt("lights", {2, 0, 8}, kNone, Show::Lights);

inline constexpr FieldLayout kVolume = byteAt("", "%", 1);
inline constexpr FieldLayout kLauncher = byteAt("", "", 1);
inline constexpr FieldLayout kPercent = byteAt("", "%", 1, 1, true);
inline constexpr FieldLayout kState = byteAt("state", "", 1);
inline constexpr FieldLayout kPingId = bitsAt("id", {1, 0, 8}, {2, 0, 8});  // low byte first, on purpose
inline constexpr FieldLayout kSeconds = {"", "s since 1970", 1, false, {{5, 0, 8}, {4, 0, 8}, {3, 0, 8}, {2, 0, 8}}};

inline constexpr FieldLayout kHeadAngle = bigAt("", "degrees", 1, -0.01);
inline constexpr FieldLayout kMoveAngle = bigAt("angle", "degrees", 1, -0.01);
inline constexpr FieldLayout kMoveTime = bigAt("time", "s", 3, 0.001);
inline constexpr FieldLayout kHoldTime = {"time", "s", 0.01, false, {{4, 0, 8}, {3, 0, 6}, kNone, kNone}};
inline constexpr FieldLayout kHeadSpeed = bigAt("", "rad/s", 1, 0.008);

inline constexpr FieldLayout kLinear = {"linear", "cm/s", 0.2, true, {{1, 0, 8}, {3, 0, 3}, kNone, kNone}};
inline constexpr FieldLayout kAngular = {"angular", "rad/s", 0.008, true, {{2, 0, 8}, {3, 3, 3}, kNone, kNone}};
inline constexpr FieldLayout kLinearAcceleration = {
    "linear acceleration", "cm/s^2", 1, false, {{4, 0, 8}, {6, 0, 2}, kNone, kNone}};
inline constexpr FieldLayout kAngularAcceleration = {
    "angular acceleration", "rad/s^2", 0.064, false, {{5, 0, 8}, {6, 2, 2}, kNone, kNone}};

// Modes 3 and 4.
inline constexpr FieldLayout kWideX = bigAt("x", "cm", 1, 0.1);
inline constexpr FieldLayout kWideY = bigAt("y", "cm", 3, 0.1);
inline constexpr FieldLayout kWideHeading = bigAt("heading", "rad", 5, 0.01);
inline constexpr FieldLayout kWideTime = bigAt("time", "s", 7, 0.001, false);
// All other modes.
inline constexpr FieldLayout kX = {"x", "cm", 0.1, true, {{1, 0, 8}, {6, 0, 6}, kNone, kNone}};
inline constexpr FieldLayout kY = {"y", "cm", 0.1, true, {{2, 0, 8}, {7, 0, 6}, kNone, kNone}};
inline constexpr FieldLayout kHeading = {"heading", "rad", 0.01, true, {{3, 0, 8}, {6, 6, 2}, {7, 6, 2}, kNone}};
inline constexpr FieldLayout kPoseTime = bigAt("time", "s", 4, 0.001, false);
inline constexpr FieldLayout kMode = bitsAt("mode", {8, 6, 2});
inline constexpr FieldLayout kEase = bitsAt("ease", {8, 5, 1});
inline constexpr FieldLayout kWrap = bitsAt("wrap", {8, 4, 1});
inline constexpr FieldLayout kDirection = bitsAt("direction", {8, 0, 4});

// Of the combined state, beside kLeft and kRight.
inline constexpr FieldLayout kCombinedPan = bigAt("head pan", "rad", 5, 0.01);
inline constexpr FieldLayout kCombinedTilt = bigAt("head tilt", "rad", 7, 0.01);
inline constexpr FieldLayout kCombined104[] = {byteAt("104 red", kLevel, 9), byteAt("104 green", kLevel, 10),
                                               byteAt("104 blue", kLevel, 11)};
inline constexpr FieldLayout kCombined102[] = {byteAt("102 red", kLevel, 12), byteAt("102 green", kLevel, 13),
                                               byteAt("102 blue", kLevel, 14)};
inline constexpr FieldLayout kCombined103[] = {byteAt("103 red", kLevel, 15), byteAt("103 green", kLevel, 16),
                                               byteAt("103 blue", kLevel, 17)};
inline constexpr FieldLayout kCombinedEyeLights = bitsAt("eye lights", {19, 0, 8}, {18, 0, 8}, Show::EyeLights);

// Of the user settings: sub-commands have one byte, in the unit of the setting.
inline constexpr FieldLayout kSetting = byteAt("", "", 2);
inline constexpr FieldLayout kSettingPercent = byteAt("", "%", 2);
inline constexpr FieldLayout kSettingLevel = byteAt("", kLevel, 2);
inline constexpr FieldLayout kSettingColor = bitsAt("colour", {2, 0, 3});
inline constexpr FieldLayout kSettingAnimation = bitsAt("animation", {2, 3, 3}, {2, 6, 1}, Show::AnimationOrSeven);

inline constexpr FieldLayout kDuration = bitsAt("duration", {3, 0, 8}, {2, 0, 4});
inline constexpr FieldLayout kPercentage1 = bitsAt("percentage 1", {18, 0, 8}, {17, 4, 4});
inline constexpr FieldLayout kPercentage2 = bitsAt("percentage 2", {19, 0, 8}, {17, 0, 4});
struct Tone {
    FieldLayout type, frequency, phase;
};
inline constexpr Tone kTones[] = {
    {bitsAt("tone 1 type", {2, 5, 3}), bigAt("tone 1", "Hz", 5, 0.1, false), byteAt("phase 1", "", 7)},
    {bitsAt("tone 2 type", {4, 6, 2}, {2, 4, 1}), bigAt("tone 2", "Hz", 8, 0.1, false), byteAt("phase 2", "", 10)},
    {bitsAt("tone 3 type", {4, 3, 3}), bigAt("tone 3", "Hz", 11, 0.1, false), byteAt("phase 3", "", 13)},
    {bitsAt("tone 4 type", {4, 0, 3}), bigAt("tone 4", "Hz", 14, 0.1, false), byteAt("phase 4", "", 16)},
};

// Little-endian, on purpose. Of the 24 kHz oscillator: an increment of 2^25 is a whole turn a sample.
constexpr FieldLayout incrementAt(const char* name, uint8_t at)
{
    const auto next = [at](int i) { return static_cast<uint8_t>(at + i); };
    return {
        name, "Hz", 2.0 * 24000 / (1 << 26), false, {{at, 0, 8}, {next(1), 0, 8}, {next(2), 0, 8}, {next(3), 0, 8}}};
}
inline constexpr FieldLayout kUpdatedTones[] = {incrementAt("tone 1", 4), incrementAt("tone 2", 8),
                                                incrementAt("tone 3", 12), incrementAt("tone 4", 16)};

inline constexpr FieldLayout kBehaviourId = bigAt("id", "", 1, 1, false);
inline constexpr FieldLayout kWeight = byteAt("weight", kLevel, 3);
inline constexpr FieldLayout kBehaviourBytes[] = {byteAt("p0", "", 4), byteAt("p1", "", 5), byteAt("p2", "", 6),
                                                  byteAt("p3", "", 7), byteAt("p4", "", 8), byteAt("p5", "", 9)};

}  // namespace Field

}  // namespace Simulator
