#include "HAL/MessagePacketizers/PacketizerInteraction.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "HAL/MessagePacketizers/RobotTypeOf.h"
#include "HAL/MessagePacketizers/SensorLayout.h"
#include "HAL/MessagePacketizers/SensorMember.h"
#include "HAL/RobotHardware/Battery.h"
#include "HAL/RobotHardware/Reflectance.h"
#include "ZKHAL/ZKRobotType.h"

namespace HAL {

namespace {

using ZKHAL::kPi;
using ZKHAL::kTwoPi;
using ZKHAL::low16;
using ZKHAL::printOut;
using Text = ZKHAL::PayloadText;

// ---- Units -----------------------------------------------------------------------------------------------------

constexpr double gOf(int raw)
{
    return raw / 2047.0 * 2;
}

constexpr double rateOf(int raw)
{
    return raw / 2047.0 * 500 * kPi / 180;
}

constexpr double headDegrees(int raw)
{
    return raw / 100.0 * 360 / kTwoPi;
}

// What a packet does not have counts as zero.
void readPacket(const HALPacket_t& packet, uint8_t (&bytes)[HAL_PACKET_SIZE])
{
    const size_t length = packetBytes(packet);
    std::memcpy(bytes, packet.data, HAL_PACKET_SIZE);
    std::memset(bytes + length, 0, HAL_PACKET_SIZE - length);
}

bool bit(uint8_t byte, int number)
{
    return (byte >> number & 1) != 0;
}

}  // namespace

// What the events of one report add up to.
struct PacketizerInteraction::Report {
    uint32_t robotType;
    uint8_t amplitude;
    int watermark = -1;  // none
    int directionDegrees = 0;
    uint8_t confidence = 0;
    bool hasSparseClap = false;
    bool clapChanged = false;
};

bool PacketizerInteraction::_serialize(const RobotHW&, std::vector<HALPacket_t>&, const nx_json*)
{
    printOut("PacketizerInteraction::_serialize() not implemented.");
    return false;
}

bool PacketizerInteraction::_deserializeToText(const RobotHW& robot, const std::vector<HALPacket_t>& packets, Text& out)
{
    return decode(robotTypeOf(robot), packets.data(), packets.size(), out);
}

bool PacketizerInteraction::decode(uint32_t robotType, const HALPacket_t* packets, size_t count, Text& out)
{
    if (packets == nullptr || count == 0) {
        return false;
    }
    uint8_t first[HAL_PACKET_SIZE];
    readPacket(packets[0], first);
    Report report = {robotType, first[kMicAmplitude]};

    out.append('{');
    addKeyValuePairToPayload(out, kTimestampValue.key, static_cast<uint32_t>(unsigned12(first, kTimestamp)), true);
    addAccelerometerToPayload(out, gOf(signed12(first, kAccelX)), gOf(signed12(first, kAccelY)),
                              gOf(signed12(first, kAccelZ)));
    addRawSensorDataToPayload(out, kRaw0Id, first, HAL_PACKET_SIZE);
    const uint8_t type1 = first[kEvent1Type];
    const bool isLong = (type1 & kLongEvent) != 0;
    if (type1 == kWatermark) {
        report.watermark = first[kEvent1Data];
    } else if (!isLong && first[kEvent2Type] == kWatermark) {
        report.watermark = first[kEvent2Data];
    }
    for (int i = 0; i < kButtonCount; ++i) {
        addButtonToPayload(out, kButton0Id + static_cast<uint32_t>(i), bit(first[kButtons], 4 + i));
    }
    if (isLong) {
        decodeLongEvent(type1, first + kEvent2Data, out);
    } else {
        decodeShortEvent(type1, first + kEvent1Data, report, out);
        decodeShortEvent(first[kEvent2Type], first + kEvent2Data, report, out);
    }
    const uint8_t flags = first[kFlags];
    const bool clapFlag = bit(flags, kClapBit);
    reportClap(clapFlag, report);
    addMicrophoneToPayload(out, report.amplitude, report.confidence, report.directionDegrees,
                           report.hasSparseClap ? report.clapChanged : clapFlag);
    addFlagToPayload(out, kKidnapId, bit(flags, kKidnapBit));
    addFlagToPayload(out, kStallId, bit(flags, kStallBit));
    addFlagToPayload(out, kSoundId, bit(flags, kSoundBit));
    addFlagToPayload(out, kAnimationId, bit(flags, kAnimationBit));
    if (count > 1) {
        decodeSecondPacket(first, packets[1], report, out);
    }
    out.append('}');
    return true;
}

void PacketizerInteraction::reportClap(bool flag, const Report& report)
{
    if (flag && !report.hasSparseClap) {
        printOut("unexpected: clap flag set but no sparse clap event.\n");
    } else if (flag && !report.clapChanged) {
        printOut("clap flag set but sparse clap unchanged: likely packet missed.\n");
    } else if (!flag && report.clapChanged) {
        printOut("clap flag not set and sparse clap changed: packet(s) missed!\n");
    }
}

void PacketizerInteraction::decodeShortEvent(uint8_t type, const uint8_t* d, Report& report, Text& out)
{
    switch (type) {
        case kNoEvent:
        case kNoEvent4:
        case kWatermark:  // taken before
            return;
        case kBattery: {
            const bool isQuill = report.robotType == ZK_ROBOT_QUILL;
            const int chargeState = d[0] & 3;
            const bool isCharging = isQuill ? chargeState == 1 || chargeState == 2 : bit(d[0], 7);
            const auto indicator = static_cast<uint8_t>(isQuill ? d[0] >> 2 & 7 : d[0] & 0x1F);
            addBatteryToPayload(out, isCharging, Kestrel::batteryLevelForChargeIndicator(report.robotType, indicator),
                                static_cast<uint16_t>(d[1] | (d[2] & 0x1F) << 8));
            return;
        }
        case kBeacon:
            addBeaconToPayload(out, static_cast<uint16_t>(d[2] | (d[0] & 0x0F) << 8),
                               static_cast<uint16_t>(d[1] | (d[0] >> 4) << 8));
            return;
        case kSparseClap: {
            const auto count = static_cast<int8_t>(d[0] & 0x0F);
            report.hasSparseClap = true;
            // The first count after construction is no change: nothing is known to compare it with.
            report.clapChanged = mLastClapCount != -1 && (report.clapChanged || count != mLastClapCount);
            mLastClapCount = count;
            return;
        }
        case kSoundDirection: {
            if (report.amplitude == 0) {
                return;
            }
            int direction = ((d[2] & 0x1F) * 16 + (d[1] >> 4)) * 360 / 512;
            direction -= direction > 180 ? 360 : 0;
            float quality = static_cast<float>(std::min(std::max((d[0] & 0x0F) - 3, 0), 3)) / 3.0f;
            if (report.robotType == ZK_ROBOT_ORVIK) {
                const float share = static_cast<float>(std::min(d[1] & 0x0F, 15)) / 15.0f;
                quality = quality * share;
            }
            const float reliability = static_cast<float>(std::min(d[0] >> 4, 5)) / 5.0f;
            const float product = quality * reliability;
            const float level = product * 255.0f;
            const auto confidence = static_cast<uint8_t>(level);  // 0 to 255
            if (confidence > 10 && !bit(d[2], 5)) {
                report.directionDegrees = direction;
                report.confidence = confidence;
            }
            return;
        }
        default:
            printOut("Short sensor event - unrecognized event %d\n", type);
    }
}

void PacketizerInteraction::decodeLongEvent(uint8_t type, const uint8_t* e, Text& out)
{
    if (type == kPingResponse) {
        const uint32_t count = uint32_t{little16(e + 2)} | uint32_t{little16(e + 4)} << 16;
        addPingResponseToPayload(out, little16(e), count);
        return;
    }
    if (type != kBeaconV2) {
        printOut("Long sensor event - unrecognized event %d\n", type);
        return;
    }
    constexpr uint32_t kTypes[] = {ZK_ROBOT_ORVIK, ZK_ROBOT_PELL, ZK_ROBOT_QUILL};
    const int typeCode = e[0] & 7;
    uint32_t robotType = ZK_ROBOT_UNRECOGNISED;
    if (typeCode < 3) {
        robotType = kTypes[typeCode];
    } else {
        printOut("ERROR: beacon: unhandled robot type: %d\n", typeCode);
    }
    const auto robotId = static_cast<uint16_t>(e[0] >> 3 | (e[1] & 3) << 5);
    const auto dataType = static_cast<uint8_t>(e[1] >> 2 & 3);
    uint8_t dataBits = 30;
    if (dataType == 0) {
        dataBits = 4;
    } else if (dataType == 1) {
        dataBits = 12;
    } else {
        printOut("ERROR: beacon: unhandled data-type: %d\n", dataType);
    }
    const uint32_t data =
        uint32_t{e[1]} >> 4 | uint32_t{e[2]} << 4 | uint32_t{e[3]} << 12 | static_cast<uint32_t>(e[4] & 0x0F) << 20;
    const uint8_t receivers[5] = {static_cast<uint8_t>(e[5] >> 1 & 7), static_cast<uint8_t>(e[5] >> 4 & 7),
                                  static_cast<uint8_t>(e[5] >> 7 | (e[6] & 3) << 1),
                                  static_cast<uint8_t>(e[6] >> 2 & 7), static_cast<uint8_t>(e[6] >> 5 & 7)};
    addBeaconV2ToPayload(out, robotType, robotId, dataType, dataBits, data, receivers);
}

void PacketizerInteraction::decodeSecondPacket(const uint8_t* first, const HALPacket_t& packet, const Report& report,
                                               Text& out)
{
    uint8_t second[HAL_PACKET_SIZE];
    readPacket(packet, second);
    addRawSensorDataToPayload(out, kRaw1Id, second, HAL_PACKET_SIZE);
    const double roll = rateOf(signed12(second, kGyroRoll));
    const double pitch = rateOf(signed12(second, kGyroPitch));
    const double yaw = rateOf(signed12(second, kGyroYaw));
    addGyroToPayload(out, roll, pitch, yaw);
    mAttitude.update(gOf(signed12(first, kAccelX)), gOf(signed12(first, kAccelY)), gOf(signed12(first, kAccelZ)), roll,
                     pitch, yaw);
    addAttitudeToPayload(out, mAttitude);
    addDistanceSensorToPayload(out, kDistanceRightId, second[kReflectanceRight]);
    addDistanceSensorToPayload(out, kDistanceLeftId, second[kReflectanceLeft]);
    addDistanceSensorToPayload(out, kDistanceRearId, second[kReflectanceRear]);
    addWheelInfoToPayload(out, kWheelLeftId, mLeft.distance_cm(static_cast<int16_t>(little16(second + kEncoderLeft))));
    addWheelInfoToPayload(out, kWheelRightId,
                          mRight.distance_cm(static_cast<int16_t>(little16(second + kEncoderRight))));
    addHeadAngleToPayload(out, kHeadPanId, headDegrees(headPan(second)));
    addHeadAngleToPayload(out, kHeadTiltId, -headDegrees(headTilt(second)));
    const auto heading = static_cast<int16_t>(little16(second + kPoseHeading));
    addBodyPoseToPayload(out, signed12(second, kPoseX) / 10.0, signed12(second, kPoseY) / 10.0,
                         heading / 1000.0 / kTwoPi * 360, report.watermark);
}

double PacketizerInteraction::Wheel::distance_cm(int16_t raw)
{
    constexpr int32_t kNotStarted = 0x7FFFFFFF;
    constexpr int kHalf = 32767;
    constexpr double kTicksPerTurn = 1200, kDiameter_cm = 7.85;
    if (wraps == kNotStarted) {
        wraps = 0;
    } else {
        const int step = raw - lastRaw;
        wraps += step < -kHalf ? 1 : step > kHalf ? -1 : 0;
    }
    lastRaw = raw;
    const int64_t ticks = int64_t{wraps} * 2 * kHalf + raw;
    return static_cast<double>(ticks) / kTicksPerTurn * kPi * kDiameter_cm;
}

void PacketizerInteraction::addAccelerometerToPayload(Text& out, double x_g, double y_g, double z_g)
{
    SensorMember member(out, kAccelerometerId, kAccelerometerValues);
    member.add(x_g);
    member.add(y_g);
    member.add(z_g);
}

void PacketizerInteraction::addRawSensorDataToPayload(Text& out, uint32_t componentId, const uint8_t* bytes,
                                                      size_t count)
{
    SensorMember member(out, componentId, kRawValues, Text::kMostOfByte * count + 64);
    member.add(bytes, count);
}

void PacketizerInteraction::addButtonToPayload(Text& out, uint32_t componentId, bool isPressed)
{
    SensorMember member(out, componentId, kButtonValues);
    member.add(isPressed);
}

void PacketizerInteraction::addPingResponseToPayload(Text& out, uint16_t pingId, uint32_t count)
{
    SensorMember member(out, kPingId, kPingValues);
    member.add(pingId);
    member.add(count);
}

void PacketizerInteraction::addBeaconToPayload(Text& out, uint16_t left, uint16_t right)
{
    SensorMember member(out, kBeaconId, kBeaconValues);
    member.add(left);
    member.add(right);
}

void PacketizerInteraction::addBeaconV2ToPayload(Text& out, uint32_t robotType, uint16_t robotId, uint8_t dataType,
                                                 uint8_t dataBits, uint32_t data, const uint8_t (&receivers)[5])
{
    SensorMember member(out, kBeaconV2Id, kBeaconV2Values);
    member.add(robotType);
    member.add(robotId);
    member.add(dataType);
    member.add(dataBits);
    member.add(data);
    member.add(receivers, sizeof receivers);
}

void PacketizerInteraction::addBatteryToPayload(Text& out, bool isCharging, uint32_t level, uint16_t volts)
{
    SensorMember member(out, kBatteryId, kBatteryValues);
    member.add(isCharging);
    member.add(level);
    member.add(volts);
}

void PacketizerInteraction::addMicrophoneToPayload(Text& out, uint8_t amplitude, uint8_t confidence,
                                                   int directionDegrees, bool isClap)
{
    constexpr uint8_t kShownConfidence = 10;
    SensorMember member(out, kMicrophoneId, kMicrophoneValues);
    member.add(amplitude / 255.0);
    if (confidence >= kShownConfidence) {
        member.add(confidence);
        member.add(directionDegrees / 180.0 * kPi);
    } else {
        member.leaveOut();
        member.leaveOut();
    }
    member.add(isClap);
}

void PacketizerInteraction::addFlagToPayload(Text& out, uint32_t componentId, bool flag)
{
    SensorMember member(out, componentId, kFlagValues);
    member.add(flag);
}

void PacketizerInteraction::addGyroToPayload(Text& out, double roll_rad_s, double pitch_rad_s, double yaw_rad_s)
{
    SensorMember member(out, kGyroId, kGyroValues);
    member.add(roll_rad_s);
    member.add(pitch_rad_s);
    member.add(yaw_rad_s);
}

void PacketizerInteraction::addAttitudeToPayload(Text& out, const AttitudeEstimate& attitude)
{
    SensorMember member(out, kAttitudeId, kAttitudeValues);
    member.add(180 * attitude.getRoll() / kPi);
    member.add(180 * attitude.getPitch() / kPi);
    member.add(180 * attitude.getSlope() / kPi);
    member.add(attitude.getRollType());
    member.add(attitude.getPitchType());
    member.add(attitude.getSlopeType());
}

void PacketizerInteraction::addDistanceSensorToPayload(Text& out, uint32_t componentId, uint8_t reflectance)
{
    const bool isKnown = componentId >= kDistanceRightId && componentId <= kDistanceRearId;
    if (!isKnown) {
        printOut("error: unknown distance sensor: %d", static_cast<int>(componentId));
        ZK_ASSERT(isKnown);
    }
    constexpr BRReflectanceModel kModels[] = {BRReflectanceRight, BRReflectanceLeft, BRReflectanceRear};
    const BRReflectanceModel model = kModels[componentId - kDistanceRightId];
    SensorMember member(out, componentId, kDistanceValues);
    member.add(BRReflectance::instance().distanceForReflectance(model, reflectance));
    member.add(reflectance);
}

void PacketizerInteraction::addWheelInfoToPayload(Text& out, uint32_t componentId, double distance_cm)
{
    SensorMember member(out, componentId, kWheelValues);
    member.add(distance_cm);
}

void PacketizerInteraction::addHeadAngleToPayload(Text& out, uint32_t componentId, double angleDegrees)
{
    SensorMember member(out, componentId, kHeadPanValues);  // a tilt has the same key
    member.add(angleDegrees);
}

void PacketizerInteraction::addBodyPoseToPayload(Text& out, double x_cm, double y_cm, double angleDegrees,
                                                 int watermark)
{
    SensorMember member(out, kPoseId, kPoseValues);
    member.add(x_cm);
    member.add(y_cm);
    member.add(angleDegrees);
    if (watermark >= 0) {
        member.add(watermark);
    }
}

}  // namespace HAL
