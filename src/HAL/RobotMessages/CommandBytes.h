// The first byte of every robot command of protocol revision 0.
#pragma once

#include <cstdint>

namespace HAL {

enum CommandByte : uint8_t {
    kCmdWheels = 0x01,
    kCmdBodyMotion = 0x02,
    kCmdRgb104 = 0x03,
    kCmdLed105 = 0x04,
    kCmdHeadPan = 0x06,
    kCmdHeadTilt = 0x07,
    kCmdEyeBrightness = 0x08,
    kCmdEyeBitmap = 0x09,
    kCmdEyeAnimation = 0x0A,
    kCmdRgb102 = 0x0B,
    kCmdRgb103 = 0x0C,
    kCmdLed106 = 0x0D,
    kCmdVolume = 0x0E,
    kCmdNoParams210 = 0x10,
    kCmdPan207 = 0x11,
    kCmdTilt206 = 0x12,
    kCmdPan209 = 0x13,
    kCmdTilt208 = 0x14,
    kCmdBodyPoseMode3 = 0x17,
    kCmdSound = 0x18,
    kCmdStopSound = 0x1A,  // also the no-parameter command of bit 24
    kCmdUserSettings = 0x1C,
    kCmdClock = 0x1F,
    kCmdSynth = 0x21,
    kCmdBodyPose = 0x23,
    kCmdBodyMotionWithAcceleration = 0x25,
    kCmdAnimByName = 0x26,
    kCmdNoParams212 = 0x27,
    kCmdSynthUpdate = 0x28,
    kCmdBodyPoseMode4 = 0x29,
    kCmdBodyMotionPose = 0x2A,
    kCmdAnimWithoutName = 0x2B,
    kCmdRgb107 = 0x30,
    kCmdLed3 = 0x31,
    kCmdEyeBrightnessQuad = 0x32,
    kCmdLed109 = 0x33,
    kCmdLed110 = 0x34,
    kCmdLed111 = 0x35,
    kCmdBehaviourStart = 0x40,
    kCmdBehaviourStop = 0x41,
    kCmdPan207Hold = 0x70,
    kCmdTilt206Hold = 0x71,
    kCmdLauncher400 = 0x72,
    kCmdLauncher401 = 0x73,
    kCmdScalar213 = 0x75,
    kCmdScalar214 = 0x76,
    kCmdCombined = 0xAA,
    kCmdLedMessage = 0xB2,
    kCmdPower = 0xC8,
    kCmdPing = 0xFF
};

// Sub-commands of kCmdUserSettings.
enum SettingByte : uint8_t {
    kSettingName = 0x01,
    kSettingColor = 0x03,
    kSettingAnim = 0x04,
    kSettingVolume = 0x06,
    kSettingEyeBrightness = 0x07,
    kSettingAvatar = 0x08,
    kSettingColorAnim = 0x0A
};

constexpr uint8_t kClockSet = 0x01;  // sub-command of kCmdClock

}  // namespace HAL
