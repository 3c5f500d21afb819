// The working record of the revision-0 encoder: one per command message.
#pragma once

#include <cstddef>
#include <cstdint>

#include "HAL/RobotMessages/CommandRecords.h"
#include "ZKHAL/HALPacket.h"

namespace HAL {

constexpr size_t kPacketCount = 3;

// The packets handed out by the last packetize call, in sending order.
struct PacketList {
    HALPacket_t* packets[kPacketCount];
    size_t count;
};

struct robot_hw0_cmd_data {
    uint64_t commandMask;  // one bit for each pending command
    HALPacket_t packets[kPacketCount];

    HALEyeRing_t eyeRing;
    HALRGB_t rgb102, rgb103, rgb104, rgb107;
    HALLED_t led105, led106, led109, led110, led111;
    HALLED3_t led108;
    HALLedMsg_t ledMsg;
    HALSpeaker_t speaker;
    HALAnim_t anim;
    HALUserSetting_t userSettings;
    HALPower_t power;
    HALPing_t ping;
    HALAudioSynth_t audioSynth;
    HALPamplemousse_t pamplemousseStart, pamplemousseStop;
    HALMotorWheel_t wheelLeft, wheelRight;
    HALMotorServo_t headTilt, headPan, tilt206, pan207, tilt208, pan209;
    HALComponentScalar_t scalar213, scalar214;
    HALNoParams_t noParams210, noParams212;
    HALLauncher_t launcher400, launcher401;
    HALBodyMotionLinearAngular_t bodyMotion;
    HALBodyPose_t bodyPose;

    PacketList result;
};

}  // namespace HAL
