// The command mask: one bit for each command that a message can hold pending.
#pragma once

#include <cstdint>

namespace HAL {

constexpr uint64_t commandBit(int number)
{
    return uint64_t{1} << number;
}

constexpr uint64_t kBitWheelLeft = commandBit(0);
constexpr uint64_t kBitWheelRight = commandBit(1);
constexpr uint64_t kBitBodyMotion = commandBit(2);
constexpr uint64_t kBitRgb104 = commandBit(3);
constexpr uint64_t kBitLed105 = commandBit(4);
constexpr uint64_t kBitHeadPan = commandBit(6);
constexpr uint64_t kBitHeadTilt = commandBit(7);
constexpr uint64_t kBitEyeBrightness = commandBit(8);
constexpr uint64_t kBitEyeBitmap = commandBit(9);
constexpr uint64_t kBitEyeAnimation = commandBit(10);
constexpr uint64_t kBitRgb102 = commandBit(11);
constexpr uint64_t kBitRgb103 = commandBit(12);
constexpr uint64_t kBitLed106 = commandBit(13);
constexpr uint64_t kBitVolume = commandBit(14);
constexpr uint64_t kBitPower = commandBit(15);
constexpr uint64_t kBitBodyPose = commandBit(17);
constexpr uint64_t kBitTilt206 = commandBit(18);
constexpr uint64_t kBitTilt208 = commandBit(19);
constexpr uint64_t kBitPan207 = commandBit(20);
constexpr uint64_t kBitPan209 = commandBit(21);
constexpr uint64_t kBitNoParams210 = commandBit(22);
constexpr uint64_t kBitSound = commandBit(23);
constexpr uint64_t kBitNoParams1A = commandBit(24);  // packed when set, but no component sets it
constexpr uint64_t kBitSettingName = commandBit(25);
constexpr uint64_t kBitSettingColor = commandBit(26);
constexpr uint64_t kBitSettingAnim = commandBit(27);
constexpr uint64_t kBitSettingColorAnim = commandBit(28);
constexpr uint64_t kBitClock = commandBit(29);
constexpr uint64_t kBitNoParams212 = commandBit(31);
constexpr uint64_t kBitSettingVolume = commandBit(32);
constexpr uint64_t kBitSynth = commandBit(33);
constexpr uint64_t kBitSettingEyeBrightness = commandBit(34);
constexpr uint64_t kBitLauncher400 = commandBit(35);
constexpr uint64_t kBitLauncher401 = commandBit(36);
constexpr uint64_t kBitAnimByName = commandBit(37);
constexpr uint64_t kBitAnimWithoutName = commandBit(38);
constexpr uint64_t kBitPing = commandBit(39);
constexpr uint64_t kBitBehaviourStart = commandBit(40);
constexpr uint64_t kBitBehaviourStop = commandBit(41);
constexpr uint64_t kBitRgb107 = commandBit(42);
constexpr uint64_t kBitEyeBrightnessQuad = commandBit(43);
constexpr uint64_t kBitLed3 = commandBit(44);
constexpr uint64_t kBitLed109 = commandBit(45);
constexpr uint64_t kBitLed110 = commandBit(46);
constexpr uint64_t kBitLed111 = commandBit(47);
constexpr uint64_t kBitSettingAvatar = commandBit(48);
constexpr uint64_t kBitScalar213 = commandBit(49);
constexpr uint64_t kBitScalar214 = commandBit(50);
constexpr uint64_t kBitLedMessage = commandBit(51);

constexpr uint64_t kWheelBits = kBitWheelLeft | kBitWheelRight;
constexpr uint64_t kCombinedBits =
    kWheelBits | kBitRgb104 | kBitHeadPan | kBitHeadTilt | kBitEyeBitmap | kBitRgb102 | kBitRgb103;
// What the combined packet drops without sending it.
constexpr uint64_t kSwallowedBits = kBitLed105 | kBitEyeBrightness | kBitEyeBrightnessQuad;
constexpr uint64_t kBehaviourBits = kBitBehaviourStart | kBitBehaviourStop;
constexpr uint64_t kSettingBits = kBitSettingName | kBitSettingColor | kBitSettingAnim | kBitSettingColorAnim |
                                  kBitSettingAvatar | kBitSettingVolume | kBitSettingEyeBrightness;

}  // namespace HAL
