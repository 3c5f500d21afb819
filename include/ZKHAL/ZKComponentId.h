/* Component ids: the keys of a command document. Their parameters: docs/command-packets.md. */
#ifndef ZKHAL_ZKCOMPONENTID_H
#define ZKHAL_ZKCOMPONENTID_H

#include <stdint.h>

#ifdef __cplusplus
enum ZKComponentId : uint32_t {
#else
typedef uint32_t ZKComponentId;
enum {
#endif
    ZK_COMPONENT_POWER = 1,
    ZK_COMPONENT_EYE_RING = 100,
    ZK_COMPONENT_RGB_101 = 101, /* has no record of its own: commanding it sends the colour of 104 */
    ZK_COMPONENT_RGB_102 = 102,
    ZK_COMPONENT_RGB_103 = 103,
    ZK_COMPONENT_RGB_104 = 104,
    ZK_COMPONENT_LED_105 = 105,
    ZK_COMPONENT_LED_106 = 106,
    ZK_COMPONENT_RGB_107 = 107,
    ZK_COMPONENT_LED3_108 = 108,
    ZK_COMPONENT_LED_109 = 109,
    ZK_COMPONENT_LED_110 = 110,
    ZK_COMPONENT_LED_111 = 111,
    ZK_COMPONENT_WHEEL_LEFT = 200,
    ZK_COMPONENT_WHEEL_RIGHT = 201,
    ZK_COMPONENT_HEAD_TILT = 202,
    ZK_COMPONENT_HEAD_PAN = 203,
    ZK_COMPONENT_BODY_LINEAR_ANGULAR = 204,
    ZK_COMPONENT_BODY_POSE = 205,
    ZK_COMPONENT_TILT_206 = 206,
    ZK_COMPONENT_PAN_207 = 207,
    ZK_COMPONENT_TILT_208 = 208,
    ZK_COMPONENT_PAN_209 = 209,
    ZK_COMPONENT_NO_PARAMS_210 = 210,
    ZK_COMPONENT_BODY_WHEELS = 211, /* both wheels; fills the records of 200 and 201 */
    ZK_COMPONENT_NO_PARAMS_212 = 212,
    ZK_COMPONENT_SCALAR_213 = 213,
    ZK_COMPONENT_SCALAR_214 = 214,
    ZK_COMPONENT_SPEAKER = 300,
    ZK_COMPONENT_ON_ROBOT_ANIM = 301,
    ZK_COMPONENT_AUDIO_SYNTH = 304,
    ZK_COMPONENT_305 = 305, /* known to robots, but no document can fill it: reported as unknown */
    ZK_COMPONENT_LAUNCHER_400 = 400,
    ZK_COMPONENT_LAUNCHER_401 = 401,
    ZK_COMPONENT_LED_MESSAGE = 410,
    ZK_COMPONENT_PAMPLEMOUSSE_START = 450, /* behaviours */
    ZK_COMPONENT_PAMPLEMOUSSE_STOP = 451,
    ZK_COMPONENT_USER_SETTINGS = 5000,
    ZK_COMPONENT_6001 = 6001, /* reported as unknown by the parser, and yet sends the clock to the robot */
    ZK_COMPONENT_PING = 9000
};

#endif
