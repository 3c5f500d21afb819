// The commands as they go over the air: what each is called, which component it is of, and which robots obey it. Where
// its fields lie is Simulator/CommandFields.h's, how they are made the encoder's.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "HAL/RobotMessages/CommandBytes.h"
#include "HAL/RobotMessages/Components.h"

namespace HAL {

constexpr int kNoSubCode = -1;

struct WireCommand {
    uint8_t code;
    int16_t subCode;  // second byte; kNoSubCode where that is a field
    const char* words;
    ZKComponentId component;
    RobotSet robots;  // that have what it is for
};

namespace detail {

constexpr WireCommand of(ZKComponentId id, uint8_t code, const char* words = nullptr)
{
    const Component& component = kComponents[componentIndex(id)];
    return {code, kNoSubCode, words != nullptr ? words : component.words, id, component.has};
}

constexpr WireCommand setting(SettingByte subCode, const char* words, RobotSet robots = kCommandedRobots)
{
    return {kCmdUserSettings, subCode, words, ZK_COMPONENT_USER_SETTINGS, robots};
}

// Components that no other robot has anything to do with, although commands to them are accepted on all with wheels.
constexpr WireCommand onQuill(ZKComponentId id, uint8_t code)
{
    return {code, kNoSubCode, kComponents[componentIndex(id)].words, id, kQuill};
}

}  // namespace detail

inline constexpr WireCommand kWireCommands[] = {
    detail::of(ZK_COMPONENT_BODY_WHEELS, kCmdWheels, "wheel speeds"),
    detail::of(ZK_COMPONENT_BODY_LINEAR_ANGULAR, kCmdBodyMotion),
    detail::of(ZK_COMPONENT_RGB_104, kCmdRgb104),
    detail::of(ZK_COMPONENT_LED_105, kCmdLed105),
    detail::of(ZK_COMPONENT_HEAD_PAN, kCmdHeadPan),
    detail::of(ZK_COMPONENT_HEAD_TILT, kCmdHeadTilt),
    detail::of(ZK_COMPONENT_EYE_RING, kCmdEyeBrightness, "eye brightness"),
    detail::of(ZK_COMPONENT_EYE_RING, kCmdEyeBitmap, "eye lights"),
    detail::of(ZK_COMPONENT_EYE_RING, kCmdEyeAnimation, "eye animation"),
    detail::of(ZK_COMPONENT_RGB_102, kCmdRgb102),
    detail::of(ZK_COMPONENT_RGB_103, kCmdRgb103),
    detail::of(ZK_COMPONENT_LED_106, kCmdLed106),
    detail::of(ZK_COMPONENT_SPEAKER, kCmdVolume, "volume"),
    detail::of(ZK_COMPONENT_NO_PARAMS_210, kCmdNoParams210, "command 210"),
    detail::of(ZK_COMPONENT_PAN_207, kCmdPan207),
    detail::of(ZK_COMPONENT_TILT_206, kCmdTilt206),
    detail::of(ZK_COMPONENT_PAN_209, kCmdPan209),
    detail::of(ZK_COMPONENT_TILT_208, kCmdTilt208),
    detail::of(ZK_COMPONENT_BODY_POSE, kCmdBodyPoseMode3, "body pose, mode 3"),
    detail::of(ZK_COMPONENT_SPEAKER, kCmdSound, "sound"),
    detail::of(ZK_COMPONENT_SPEAKER, kCmdStopSound, "stop sound"),
    detail::setting(kSettingName, "robot name"),
    detail::setting(kSettingColor, "personality colour"),
    detail::setting(kSettingAnim, "personality animation"),
    detail::setting(kSettingVolume, "personality volume"),
    detail::setting(kSettingEyeBrightness, "personality eye brightness"),
    detail::setting(kSettingAvatar, "avatar", kQuill),
    detail::setting(kSettingColorAnim, "personality"),
    {kCmdClock, kClockSet, "clock", ZK_COMPONENT_6001, kCommandedRobots},
    detail::of(ZK_COMPONENT_AUDIO_SYNTH, kCmdSynth),
    detail::of(ZK_COMPONENT_BODY_POSE, kCmdBodyPose),
    detail::of(ZK_COMPONENT_BODY_LINEAR_ANGULAR, kCmdBodyMotionWithAcceleration),
    detail::of(ZK_COMPONENT_ON_ROBOT_ANIM, kCmdAnimByName),
    detail::of(ZK_COMPONENT_NO_PARAMS_212, kCmdNoParams212, "command 212"),
    detail::of(ZK_COMPONENT_AUDIO_SYNTH, kCmdSynthUpdate, "synthesizer update"),
    detail::of(ZK_COMPONENT_BODY_POSE, kCmdBodyPoseMode4, "body pose, mode 4"),
    detail::of(ZK_COMPONENT_BODY_LINEAR_ANGULAR, kCmdBodyMotionPose, "body motion as a pose"),
    detail::of(ZK_COMPONENT_ON_ROBOT_ANIM, kCmdAnimWithoutName, "on-robot animation without a name"),
    detail::of(ZK_COMPONENT_RGB_107, kCmdRgb107),
    detail::of(ZK_COMPONENT_LED3_108, kCmdLed3),
    detail::of(ZK_COMPONENT_EYE_RING, kCmdEyeBrightnessQuad, "eye brightness"),
    detail::of(ZK_COMPONENT_LED_109, kCmdLed109),
    detail::of(ZK_COMPONENT_LED_110, kCmdLed110),
    detail::of(ZK_COMPONENT_LED_111, kCmdLed111),
    detail::onQuill(ZK_COMPONENT_PAMPLEMOUSSE_START, kCmdBehaviourStart),
    detail::onQuill(ZK_COMPONENT_PAMPLEMOUSSE_STOP, kCmdBehaviourStop),
    detail::of(ZK_COMPONENT_PAN_207, kCmdPan207Hold, "timed head pan, then hold"),
    detail::of(ZK_COMPONENT_TILT_206, kCmdTilt206Hold, "timed head tilt, then hold"),
    detail::of(ZK_COMPONENT_LAUNCHER_400, kCmdLauncher400),
    detail::of(ZK_COMPONENT_LAUNCHER_401, kCmdLauncher401),
    detail::of(ZK_COMPONENT_SCALAR_213, kCmdScalar213),
    detail::of(ZK_COMPONENT_SCALAR_214, kCmdScalar214),
    // Of several components: each robot obeys the parts that it has.
    {kCmdCombined, kNoSubCode, "combined state", ZK_COMPONENT_BODY_WHEELS, kCommandedRobots},
    detail::of(ZK_COMPONENT_LED_MESSAGE, kCmdLedMessage),
    detail::of(ZK_COMPONENT_POWER, kCmdPower),
    detail::of(ZK_COMPONENT_PING, kCmdPing),
};
constexpr size_t kWireCommandCount = sizeof kWireCommands / sizeof kWireCommands[0];

namespace detail {

// The first row of each command byte.
constexpr std::array<int8_t, 256> firstRowOfCode()
{
    std::array<int8_t, 256> rows{};
    for (int8_t& row : rows) {
        row = -1;
    }
    for (size_t i = kWireCommandCount; i-- > 0;) {
        rows[kWireCommands[i].code] = static_cast<int8_t>(i);
    }
    return rows;
}
inline constexpr std::array<int8_t, 256> kFirstRowOfCode = firstRowOfCode();

}  // namespace detail

/** The row of a command byte and, where the command has one, its sub-command; -1 if there is none. */
constexpr int wireCommandIndex(uint8_t code, int subCode = kNoSubCode)
{
    const int first = detail::kFirstRowOfCode[code];
    for (auto i = static_cast<size_t>(first); first >= 0 && i < kWireCommandCount && kWireCommands[i].code == code;
         ++i) {
        if (kWireCommands[i].subCode == kNoSubCode || kWireCommands[i].subCode == subCode) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

/** For commands that there are. */
constexpr const WireCommand& wireCommand(uint8_t code, int subCode = kNoSubCode)
{
    return kWireCommands[wireCommandIndex(code, subCode)];
}

}  // namespace HAL
