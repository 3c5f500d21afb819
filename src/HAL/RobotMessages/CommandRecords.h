// Command records: what the parser writes and the encoder reads, one plain structure per kind of command.
//
// Each begins with its component id and a flag; the rest is zero when a message hands it out for the first time. Angles
// are radians (documents give degrees), distances centimetres, times seconds, levels 0 to 255.
#pragma once

#include <cstdint>

#include "ZKHAL/ZKComponentId.h"

constexpr int _ZK_EYE_LED_COUNT = 12;

constexpr uint32_t kNoEyeAnimation = 65535;     // HALEyeRing_t: show ledBitmap instead
constexpr uint32_t kSettingNotGiven = 255;      // HALUserSetting_t: colour, animation, avatar
constexpr uint16_t kBehaviourNotGiven = 65535;  // HALPamplemousse_t: commandId
constexpr int kMediaNameLength = 14;            // characters of a sound or on-robot animation name
constexpr int kRobotNameLength = 18;            // characters of a robot name in the settings
constexpr int kBehaviourParams = 6;
constexpr int kSynthTones = 4;

struct HALNoParams_t {
    ZKComponentId componentId;
    uint8_t isSet;
};

struct HALPower_t {
    ZKComponentId componentId;
    uint8_t isSet;
    int32_t state;  // power command code, as in the document
};

struct HALPing_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint16_t pingId;  // the robot echoes it
};

struct HALLED_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint8_t brightness;
};

struct HALLED3_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint8_t brightness1, brightness2, brightness3;
};

struct HALRGB_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint8_t red, green, blue;
};

struct HALEyeRing_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint32_t animationId;       // built-in pattern; kNoEyeAnimation: show ledBitmap
    uint8_t brightness;         // of the whole ring, in mode 0
    uint8_t reserved[11];       // never written
    uint16_t ledBitmap;         // bit n: light n is on, 0 to 11; light 12 of a document is bit 0
    uint8_t brightnessQuad[4];  // of the four quarters, in mode 1
    uint32_t brightnessMode;    // 0: one level; 1: four levels
};

struct HALMotorWheel_t {
    ZKComponentId componentId;
    uint8_t isSet;
    double speed;  // wheel surface, cm/s, signed
};

struct HALMotorServo_t {
    ZKComponentId componentId;
    uint8_t isSet;
    double time;          // seconds allowed for the move
    double angularSpeed;  // rad/s, or the document's value as it stands ("angular_cm_s")
    double angle;         // rad, already limited to the head's range
    uint8_t hold;         // stay powered at the target
};

struct HALComponentScalar_t {
    ZKComponentId componentId;
    uint8_t isSet;
    double percent;  // -100.0 to 100.0
};

struct HALBodyMotionLinearAngular_t {
    ZKComponentId componentId;
    uint8_t isSet;
    double linearVelocity;       // cm/s
    double angularVelocity;      // rad/s, or the document's value as it stands ("angular_cm_s")
    double linearAcceleration;   // cm/s^2; NaN: not given
    double angularAcceleration;  // rad/s^2; NaN: not given
    uint8_t isPose;
};

struct HALBodyPose_t {
    ZKComponentId componentId;
    uint8_t isSet;
    double x, y;   // target, cm
    double theta;  // target heading, rad
    double time;   // s
    uint32_t mode;
    uint32_t dir;
    uint32_t wrapTheta;
    uint8_t ease;
};

struct HALSpeaker_t {
    ZKComponentId componentId;
    uint8_t isSet;
    char fileName[kMediaNameLength + 1];
    uint16_t volume;  // percent
};

struct HALAnim_t {
    ZKComponentId componentId;
    uint8_t isSet;
    char fileName[kMediaNameLength + 1];
};

struct HALSynthTone_t {
    uint64_t reserved;  // never written; nobody may read it
    uint32_t type;      // waveform
    double frequency;   // Hz
    double phase;
};

struct HALAudioSynth_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint32_t type;
    uint16_t duration;
    uint16_t perc1, perc2;
    HALSynthTone_t tones[kSynthTones];
};

struct HALLauncher_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint8_t value;  // power level 0 to 255, or direction code 1 or 2
};

struct HALLedMsg_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint8_t ledMask;       // bit 0: light 102, bit 1: 103, bit 2: 101 or 104, bit 3: 106 or 107
    uint8_t flag1, flag2;  // reserved, never written
    uint8_t message;
};

struct HALUserSetting_t {
    ZKComponentId componentId;
    uint8_t isSet;
    char name[kRobotNameLength + 1];
    uint32_t colorId, animId, avatarId;  // kSettingNotGiven: not given
    double pvolume;                      // personality volume, level
    double peyebright;                   // personality eye brightness, level
};

struct HALPamplemousse_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint8_t isStart;     // 1 for component 450, 0 for 451
    uint16_t commandId;  // kBehaviourNotGiven: not given
    uint8_t weight;
    uint8_t params[kBehaviourParams];
};

// Read by two parser operations that no document reaches.
struct HALButton_t {
    ZKComponentId componentId;
    uint8_t isSet;
    uint8_t pressed;
};

struct HALDistance_t {
    ZKComponentId componentId;
    uint8_t isSet;
    double reflectance;
    double distance;  // cm
};
