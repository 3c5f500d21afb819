#include "Simulator/SensorReport.h"

#include <cstring>

#include "CoreUtility/Numbers.h"
#include "HAL/MessagePacketizers/SensorLayout.h"

namespace Simulator {

namespace {

using namespace HAL;

void put12(uint8_t* packet, Split12 at, int value)
{
    packet[at.low] = ZKHAL::low8(value);
    packet[at.high] = static_cast<uint8_t>(packet[at.high] | ((value >> 8 & 0x0F) << at.shift));
}

void putLittle16(uint8_t* packet, size_t at, int value)
{
    packet[at] = ZKHAL::low8(value);
    packet[at + 1] = ZKHAL::low8(value >> 8);
}

uint8_t bitIf(bool isSet, int bit)
{
    return static_cast<uint8_t>(isSet ? 1 << bit : 0);
}

}  // namespace

void writeReport(const SensorReport& report, HALPacket_t (&packets)[2])
{
    uint8_t* const first = packets[0].data;
    uint8_t* const second = packets[1].data;
    for (HALPacket_t& packet : packets) {
        packet.length = HAL_PACKET_SIZE;
        std::memset(packet.data, 0, HAL_PACKET_SIZE);
        packet.data[0] = static_cast<uint8_t>((report.sequence & 0x0F) << 4);
    }

    put12(first, kTimestamp, static_cast<int>(report.timestamp & 0x0FFF));
    put12(first, kAccelX, report.acceleration[0]);
    put12(first, kAccelY, report.acceleration[1]);
    put12(first, kAccelZ, report.acceleration[2]);
    first[kMicAmplitude] = report.amplitude;
    for (int i = 0; i < kButtonCount; ++i) {
        first[kButtons] = static_cast<uint8_t>(first[kButtons] | bitIf(report.buttons[i], 4 + i));
    }
    first[kFlags] = static_cast<uint8_t>(bitIf(report.hasClap, kClapBit) | bitIf(report.isSounding, kSoundBit) |
                                         bitIf(report.isLifted, kKidnapBit) | bitIf(report.isStalled, kStallBit) |
                                         bitIf(report.isAnimating, kAnimationBit));
    if (report.longEvent != 0) {
        std::memcpy(first + kEvent2Data, report.longData, sizeof report.longData);
        first[kEvent1Type] = report.longEvent;
    } else {
        std::memcpy(first + kEvent1Data, report.events[0].data, sizeof report.events[0].data);
        first[kEvent1Type] = report.events[0].type;
        std::memcpy(first + kEvent2Data, report.events[1].data, sizeof report.events[1].data);
        first[kEvent2Type] = report.events[1].type;
    }

    put12(second, kGyroYaw, report.yaw);
    put12(second, kGyroPitch, report.pitch);
    put12(second, kGyroRoll, report.roll);
    second[kReflectanceLeft] = report.left;
    second[kReflectanceRight] = report.right;
    second[kReflectanceRear] = report.rear;
    put12(second, kPoseX, report.x_mm);
    put12(second, kPoseY, report.y_mm);
    putLittle16(second, kPoseHeading, report.heading_mrad);
    putLittle16(second, kEncoderLeft, report.leftTicks);
    putLittle16(second, kEncoderRight, report.rightTicks);
    second[kHeadPanLow] = ZKHAL::low8(report.pan_crad);
    second[kHeadHigh] = static_cast<uint8_t>((report.pan_crad >> 8 & 1) | (report.tilt_crad & 0x7F) << 1);
}

}  // namespace Simulator
