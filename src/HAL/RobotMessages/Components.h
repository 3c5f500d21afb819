// The components of a command document: what each is called, what holds its parameters, and which robots have it. A
// dense index leads to tables that run beside: CoreUtility/Command says what a component's parameters are, the encoder
// how it is sent.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "HAL/RobotMessages/RobotTypes.h"
#include "ZKHAL/ZKComponentId.h"

namespace HAL {

// The kinds of record, in the order of a message's maps.
enum class RecordKind : uint8_t {
    NoParams,
    Launcher,
    LedMsg,
    Speaker,
    Anim,
    UserSetting,
    MotorWheel,
    MotorServo,
    LED,
    LED3,
    RGB,
    EyeRing,
    Power,
    Ping,
    BodyMotionLinearAngular,
    BodyPose,
    AudioSynth,
    Pamplemousse,
    Scalar,
    Count
};
constexpr RecordKind kNoRecordKind = RecordKind::Count;  // the parser reports it as unknown

struct Component {
    ZKComponentId id;
    const char* name;   // for programs: short, unique, and never changed
    const char* words;  // for people
    RecordKind kind;    // of its record, or of those that it stands for
    RobotSet has;       // robots that have it: commands to it are accepted
    RobotSet reads;     // robots whose documents' parameters of it are read: on others zeros are sent, or nothing
};

inline constexpr Component kComponents[] = {
    {ZK_COMPONENT_POWER, "power", "power", RecordKind::Power, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_EYE_RING, "eye_ring", "eye ring", RecordKind::EyeRing, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_RGB_101, "light_101", "colour light 101", RecordKind::RGB, kCommandedRobots, kNoRobot},
    {ZK_COMPONENT_RGB_102, "light_102", "colour light 102", RecordKind::RGB, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_RGB_103, "light_103", "colour light 103", RecordKind::RGB, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_RGB_104, "light_104", "colour light 104", RecordKind::RGB, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_LED_105, "light_105", "light 105", RecordKind::LED, kOrvik | kPell, kWheeledRobots},
    {ZK_COMPONENT_LED_106, "light_106", "light 106", RecordKind::LED, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_RGB_107, "light_107", "colour light 107", RecordKind::RGB, kQuill, kEveryRobot},
    {ZK_COMPONENT_LED3_108, "light_108", "three-light group 108", RecordKind::LED3, kQuill, kEveryRobot},
    {ZK_COMPONENT_LED_109, "light_109", "light 109", RecordKind::LED, kQuill, kEveryRobot},
    {ZK_COMPONENT_LED_110, "light_110", "light 110", RecordKind::LED, kQuill, kEveryRobot},
    {ZK_COMPONENT_LED_111, "light_111", "light 111", RecordKind::LED, kQuill, kEveryRobot},
    {ZK_COMPONENT_WHEEL_LEFT, "wheel_left", "left wheel", RecordKind::MotorWheel, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_WHEEL_RIGHT, "wheel_right", "right wheel", RecordKind::MotorWheel, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_HEAD_TILT, "head_tilt", "head tilt", RecordKind::MotorServo, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_HEAD_PAN, "head_pan", "head pan", RecordKind::MotorServo, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_BODY_LINEAR_ANGULAR, "body_motion", "body motion", RecordKind::BodyMotionLinearAngular,
     kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_BODY_POSE, "body_pose", "body pose", RecordKind::BodyPose, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_TILT_206, "timed_head_tilt", "timed head tilt", RecordKind::MotorServo, kWheeledRobots,
     kWheeledRobots},
    {ZK_COMPONENT_PAN_207, "timed_head_pan", "timed head pan", RecordKind::MotorServo, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_TILT_208, "head_tilt_speed", "head tilt speed", RecordKind::MotorServo, kWheeledRobots,
     kWheeledRobots},
    {ZK_COMPONENT_PAN_209, "head_pan_speed", "head pan speed", RecordKind::MotorServo, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_NO_PARAMS_210, "signal_210", "component 210", RecordKind::NoParams, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_BODY_WHEELS, "wheels", "both wheels", RecordKind::MotorWheel, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_NO_PARAMS_212, "signal_212", "component 212", RecordKind::NoParams, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_SCALAR_213, "percentage_213", "percentage 213", RecordKind::Scalar, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_SCALAR_214, "percentage_214", "percentage 214", RecordKind::Scalar, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_SPEAKER, "speaker", "speaker", RecordKind::Speaker, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_ON_ROBOT_ANIM, "animation", "on-robot animation", RecordKind::Anim, kWheeledRobots, kEveryRobot},
    {ZK_COMPONENT_AUDIO_SYNTH, "synthesizer", "synthesizer", RecordKind::AudioSynth, kCommandedRobots, kEveryRobot},
    {ZK_COMPONENT_305, "component_305", "component 305", kNoRecordKind, kCommandedRobots, kNoRobot},
    {ZK_COMPONENT_LAUNCHER_400, "launcher_400", "launcher 400", RecordKind::Launcher, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_LAUNCHER_401, "launcher_401", "launcher 401", RecordKind::Launcher, kWheeledRobots, kWheeledRobots},
    {ZK_COMPONENT_LED_MESSAGE, "light_message", "light message", RecordKind::LedMsg, kWheeledRobots, kEveryRobot},
    {ZK_COMPONENT_PAMPLEMOUSSE_START, "behaviour_start", "behaviour start", RecordKind::Pamplemousse, kWheeledRobots,
     kQuill},
    {ZK_COMPONENT_PAMPLEMOUSSE_STOP, "behaviour_stop", "behaviour stop", RecordKind::Pamplemousse, kWheeledRobots,
     kQuill},
    {ZK_COMPONENT_USER_SETTINGS, "user_settings", "user settings", RecordKind::UserSetting, kCommandedRobots,
     kEveryRobot},
    {ZK_COMPONENT_6001, "clock", "clock", kNoRecordKind, kCommandedRobots, kNoRobot},
    {ZK_COMPONENT_PING, "ping", "ping", RecordKind::Ping, kCommandedRobots, kEveryRobot},
};

constexpr size_t kComponentCount = sizeof kComponents / sizeof kComponents[0];

namespace detail {

constexpr uint32_t kDenseIds = 512;  // the few ids beyond are compared one by one

constexpr std::array<int8_t, kDenseIds> denseIndex()
{
    std::array<int8_t, kDenseIds> index{};
    for (int8_t& entry : index) {
        entry = -1;
    }
    for (size_t i = 0; i < kComponentCount; ++i) {
        if (kComponents[i].id < kDenseIds) {
            index[kComponents[i].id] = static_cast<int8_t>(i);
        }
    }
    return index;
}

inline constexpr std::array<int8_t, kDenseIds> kDenseIndex = denseIndex();

}  // namespace detail

// Row of an id in kComponents and in every table beside it; -1 for an id that is no component.
constexpr int componentIndex(uint32_t id)
{
    if (id < detail::kDenseIds) {
        return detail::kDenseIndex[id];
    }
    for (size_t i = kComponentCount; i > 0 && kComponents[i - 1].id >= detail::kDenseIds; --i) {
        if (kComponents[i - 1].id == id) {
            return static_cast<int>(i - 1);
        }
    }
    return -1;
}

// For static_assert: a table with a member `id` in every row runs beside kComponents.
template <class Row, size_t kCount>
constexpr bool runsBesideComponents(const Row (&rows)[kCount])
{
    if (kCount != kComponentCount) {
        return false;
    }
    for (size_t i = 0; i < kCount; ++i) {
        if (rows[i].id != kComponents[i].id) {
            return false;
        }
    }
    return true;
}

}  // namespace HAL
