// The working record of the revision-0 encoder: one per command message. Reach its records through the message: what
// no document touched is left over from an earlier conversion.
#pragma once

#include <cstddef>
#include <cstdint>

#include "HAL/RobotMessages/CommandRecords.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"
#include "ZKHAL/HALPacket.h"

namespace HAL {

constexpr size_t kPacketCount = 3;

// The packets handed out by the last packetize call, in sending order.
struct PacketList {
    HALPacket_t* packets[kPacketCount];
    size_t count;
};

struct robot_hw0_cmd_data {
    WorkingRecordHeader header;
    uint64_t commandMask;  // one bit for each pending command
    HALPacket_t packets[kPacketCount];

    alignas(kRecordStep) HALEyeRing_t eyeRing;
    alignas(kRecordStep) HALRGB_t rgb102;
    alignas(kRecordStep) HALRGB_t rgb103;
    alignas(kRecordStep) HALRGB_t rgb104;
    alignas(kRecordStep) HALRGB_t rgb107;
    alignas(kRecordStep) HALLED_t led105;
    alignas(kRecordStep) HALLED_t led106;
    alignas(kRecordStep) HALLED_t led109;
    alignas(kRecordStep) HALLED_t led110;
    alignas(kRecordStep) HALLED_t led111;
    alignas(kRecordStep) HALLED3_t led108;
    alignas(kRecordStep) HALLedMsg_t ledMsg;
    alignas(kRecordStep) HALSpeaker_t speaker;
    alignas(kRecordStep) HALAnim_t anim;
    alignas(kRecordStep) HALUserSetting_t userSettings;
    alignas(kRecordStep) HALPower_t power;
    alignas(kRecordStep) HALPing_t ping;
    alignas(kRecordStep) HALAudioSynth_t audioSynth;
    alignas(kRecordStep) HALPamplemousse_t pamplemousseStart;
    alignas(kRecordStep) HALPamplemousse_t pamplemousseStop;
    alignas(kRecordStep) HALMotorWheel_t wheelLeft;
    alignas(kRecordStep) HALMotorWheel_t wheelRight;
    alignas(kRecordStep) HALMotorServo_t headTilt;
    alignas(kRecordStep) HALMotorServo_t headPan;
    alignas(kRecordStep) HALMotorServo_t tilt206;
    alignas(kRecordStep) HALMotorServo_t pan207;
    alignas(kRecordStep) HALMotorServo_t tilt208;
    alignas(kRecordStep) HALMotorServo_t pan209;
    alignas(kRecordStep) HALComponentScalar_t scalar213;
    alignas(kRecordStep) HALComponentScalar_t scalar214;
    alignas(kRecordStep) HALNoParams_t noParams210;
    alignas(kRecordStep) HALNoParams_t noParams212;
    alignas(kRecordStep) HALLauncher_t launcher400;
    alignas(kRecordStep) HALLauncher_t launcher401;
    alignas(kRecordStep) HALBodyMotionLinearAngular_t bodyMotion;
    alignas(kRecordStep) HALBodyPose_t bodyPose;

    alignas(kRecordStep) PacketList result;  // no record: aligned to keep off the room of the last one
};

}  // namespace HAL
