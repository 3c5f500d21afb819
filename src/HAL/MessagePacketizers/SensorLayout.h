// Where the fields of the sensor packets lie: the decoder reads them here, the virtual robot writes them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace HAL {

// A 12-bit value: a low byte, and its high nibble in a byte that it shares.
struct Split12 {
    uint8_t low, high, shift;
};

constexpr int unsigned12(const uint8_t* packet, Split12 at)
{
    return packet[at.low] | (packet[at.high] >> at.shift & 0x0F) << 8;
}

constexpr int signed12(const uint8_t* packet, Split12 at)
{
    return (unsigned12(packet, at) ^ 0x800) - 0x800;  // sign is bit 11
}

constexpr uint16_t little16(const uint8_t* bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

// First packet of a report.
constexpr Split12 kTimestamp = {1, 0, 0};
constexpr Split12 kAccelX = {2, 4, 4}, kAccelY = {3, 4, 0}, kAccelZ = {6, 5, 4};
constexpr size_t kMicAmplitude = 7;
constexpr size_t kButtons = 8;  // bits 4 to 7
constexpr size_t kFlags = 11;
constexpr int kClapBit = 0, kSoundBit = 1, kKidnapBit = 2, kStallBit = 3, kAnimationBit = 6;
constexpr size_t kEvent2Data = 12, kEvent2Type = 15, kEvent1Data = 16, kEvent1Type = 19;
constexpr uint8_t kLongEvent = 0x80;  // in the type of event 1: bytes 12 to 18 are its data

// Second packet.
constexpr Split12 kGyroYaw = {2, 0, 0}, kGyroPitch = {3, 4, 4}, kGyroRoll = {5, 4, 0};
constexpr size_t kReflectanceLeft = 6, kReflectanceRight = 7, kReflectanceRear = 8;
constexpr Split12 kPoseX = {10, 9, 4}, kPoseY = {11, 9, 0};
constexpr size_t kPoseHeading = 12, kEncoderLeft = 14, kEncoderRight = 16;
constexpr size_t kHeadHigh = 18, kHeadPanLow = 19;

constexpr int headPan(const uint8_t* packet)
{
    return ((packet[kHeadPanLow] | (packet[kHeadHigh] & 1) << 8) ^ 0x100) - 0x100;  // sign is bit 8
}

constexpr int headTilt(const uint8_t* packet)
{
    return ((packet[kHeadHigh] >> 1) ^ 0x40) - 0x40;  // seven bits, sign is bit 6
}

enum ShortEvent : uint8_t {
    kNoEvent = 0,
    kWatermark = 1,
    kBattery = 2,
    kNoEvent4 = 4,
    kBeacon = 5,
    kSparseClap = 6,
    kSoundDirection = 8
};
enum LongEventType : uint8_t { kBeaconV2 = 129, kPingResponse = 255 };

constexpr int kButtonCount = 4;

}  // namespace HAL
