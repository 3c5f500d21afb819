// The components of a command document: their names for people, and a dense index for tables that run beside.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "ZKHAL/ZKComponentId.h"

namespace HAL {

struct ComponentName {
    ZKComponentId id;
    const char* name;
};

constexpr ComponentName kComponentNames[] = {
    {ZK_COMPONENT_POWER, "power"},
    {ZK_COMPONENT_EYE_RING, "eye ring"},
    {ZK_COMPONENT_RGB_101, "colour light 101"},
    {ZK_COMPONENT_RGB_102, "colour light 102"},
    {ZK_COMPONENT_RGB_103, "colour light 103"},
    {ZK_COMPONENT_RGB_104, "colour light 104"},
    {ZK_COMPONENT_LED_105, "light 105"},
    {ZK_COMPONENT_LED_106, "light 106"},
    {ZK_COMPONENT_RGB_107, "colour light 107"},
    {ZK_COMPONENT_LED3_108, "three-light group 108"},
    {ZK_COMPONENT_LED_109, "light 109"},
    {ZK_COMPONENT_LED_110, "light 110"},
    {ZK_COMPONENT_LED_111, "light 111"},
    {ZK_COMPONENT_WHEEL_LEFT, "left wheel"},
    {ZK_COMPONENT_WHEEL_RIGHT, "right wheel"},
    {ZK_COMPONENT_HEAD_TILT, "head tilt"},
    {ZK_COMPONENT_HEAD_PAN, "head pan"},
    {ZK_COMPONENT_BODY_LINEAR_ANGULAR, "body motion"},
    {ZK_COMPONENT_BODY_POSE, "body pose"},
    {ZK_COMPONENT_TILT_206, "timed head tilt"},
    {ZK_COMPONENT_PAN_207, "timed head pan"},
    {ZK_COMPONENT_TILT_208, "head tilt speed"},
    {ZK_COMPONENT_PAN_209, "head pan speed"},
    {ZK_COMPONENT_NO_PARAMS_210, "component 210"},
    {ZK_COMPONENT_BODY_WHEELS, "both wheels"},
    {ZK_COMPONENT_NO_PARAMS_212, "component 212"},
    {ZK_COMPONENT_SCALAR_213, "percentage 213"},
    {ZK_COMPONENT_SCALAR_214, "percentage 214"},
    {ZK_COMPONENT_SPEAKER, "speaker"},
    {ZK_COMPONENT_ON_ROBOT_ANIM, "on-robot animation"},
    {ZK_COMPONENT_AUDIO_SYNTH, "synthesizer"},
    {ZK_COMPONENT_305, "component 305"},
    {ZK_COMPONENT_LAUNCHER_400, "launcher 400"},
    {ZK_COMPONENT_LAUNCHER_401, "launcher 401"},
    {ZK_COMPONENT_LED_MESSAGE, "light message"},
    {ZK_COMPONENT_PAMPLEMOUSSE_START, "behaviour start"},
    {ZK_COMPONENT_PAMPLEMOUSSE_STOP, "behaviour stop"},
    {ZK_COMPONENT_USER_SETTINGS, "user settings"},
    {ZK_COMPONENT_6001, "clock"},
    {ZK_COMPONENT_PING, "ping"},
};

constexpr size_t kComponentCount = sizeof kComponentNames / sizeof kComponentNames[0];

namespace detail {

constexpr uint32_t kDenseIds = 512;  // the few ids beyond are compared one by one

constexpr std::array<int8_t, kDenseIds> denseIndex()
{
    std::array<int8_t, kDenseIds> index{};
    for (int8_t& entry : index) {
        entry = -1;
    }
    for (size_t i = 0; i < kComponentCount; ++i) {
        if (kComponentNames[i].id < kDenseIds) {
            index[kComponentNames[i].id] = static_cast<int8_t>(i);
        }
    }
    return index;
}

inline constexpr std::array<int8_t, kDenseIds> kDenseIndex = denseIndex();

}  // namespace detail

// Row of an id in kComponentNames and in every table beside it; -1 for an id that is no component.
constexpr int componentIndex(uint32_t id)
{
    if (id < detail::kDenseIds) {
        return detail::kDenseIndex[id];
    }
    for (size_t i = kComponentCount; i > 0 && kComponentNames[i - 1].id >= detail::kDenseIds; --i) {
        if (kComponentNames[i - 1].id == id) {
            return static_cast<int>(i - 1);
        }
    }
    return -1;
}

// For static_assert: a table with a member `id` in every row runs beside kComponentNames.
template <class Row, size_t kCount>
constexpr bool runsBesideComponents(const Row (&rows)[kCount])
{
    if (kCount != kComponentCount) {
        return false;
    }
    for (size_t i = 0; i < kCount; ++i) {
        if (rows[i].id != kComponentNames[i].id) {
            return false;
        }
    }
    return true;
}

}  // namespace HAL
