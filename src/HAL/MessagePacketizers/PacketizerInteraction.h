// Sensor packets to the sensor JSON document.
#pragma once

#include <cstddef>
#include <cstdint>

#include "HAL/MessagePacketizers/AbstractPacketizer.h"
#include "HAL/RobotHardware/Attitude.h"

namespace HAL {

/** Counts of one stream of sensor packets. */
struct packetQualityInfo {
    double startTime;        // wall-clock seconds
    int32_t packetCount;     // all packets
    int32_t lastSequence;    // 0 to 15; -1: none yet
    int32_t seriesCount;     // wrap-arounds of the sequence number
    int32_t missCount;       // packets that never came
    int32_t duplicateCount;  // packets that came again
};

/** Wall-clock seconds in whole milliseconds. */
ZK_API double wallSeconds();

/**
 * Decodes the reports of one robot. It keeps state from report to report: the wraps of the wheel encoders, the last
 * clap, the attitude.
 */
class ZK_API PacketizerInteraction : public AbstractPacketizer {
public:
    /** Not offered: prints a line and fails. */
    bool _serialize(const RobotHW& robot, std::vector<HALPacket_t>& packets, const nx_json* request) override;
    /**
     * One report of one or two packets as one document; a third packet is not looked at. False, and nothing written,
     * without a packet. Any 20 bytes are a valid packet; bytes that a shorter one lacks count as zero.
     */
    bool _deserializeToText(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                            ZKHAL::PayloadText& out) override;
    /** The same into reusable storage: what all other forms are made of. */
    bool decode(uint32_t robotType, const HALPacket_t* packets, size_t count, ZKHAL::PayloadText& out);

    static void initPacketQualityInfo(packetQualityInfo* info);
    /**
     * Counts one packet by the sequence number in the upper half of its first byte, and formats a line about the
     * stream so far. Nothing happens for length 0. line may be null; it is cut to lineSize as snprintf cuts.
     */
    static void analyzeQuality(packetQualityInfo* info, const unsigned char* data, size_t length, char* line,
                               size_t lineSize);

    // One member of the document each, with the comma before it. Raw sensor units are in, units of people are out.
    using Text = ZKHAL::PayloadText;
    static void addAccelerometerToPayload(Text& out, double x_g, double y_g, double z_g);
    static void addRawSensorDataToPayload(Text& out, uint32_t componentId, const uint8_t* bytes, size_t count);
    static void addButtonToPayload(Text& out, uint32_t componentId, bool isPressed);
    static void addPingResponseToPayload(Text& out, uint16_t pingId, uint32_t count);
    static void addBeaconToPayload(Text& out, uint16_t left, uint16_t right);
    static void addBeaconV2ToPayload(Text& out, uint32_t robotType, uint16_t robotId, uint8_t dataType,
                                     uint8_t dataBits, uint32_t data, const uint8_t (&receivers)[5]);
    static void addBatteryToPayload(Text& out, bool isCharging, uint32_t level, uint16_t volts);
    static void addMicrophoneToPayload(Text& out, uint8_t amplitude, uint8_t confidence, int directionDegrees,
                                       bool isClap);
    static void addFlagToPayload(Text& out, uint32_t componentId, bool flag);
    static void addGyroToPayload(Text& out, double roll_rad_s, double pitch_rad_s, double yaw_rad_s);
    static void addAttitudeToPayload(Text& out, const AttitudeEstimate& attitude);
    /** componentId 3000 to 3002; any other stops the process. */
    static void addDistanceSensorToPayload(Text& out, uint32_t componentId, uint8_t reflectance);
    static void addWheelInfoToPayload(Text& out, uint32_t componentId, double distance_cm);
    static void addHeadAngleToPayload(Text& out, uint32_t componentId, double angleDegrees);
    /** watermark is -1 in a report without one. */
    static void addBodyPoseToPayload(Text& out, double x_cm, double y_cm, double angleDegrees, int watermark);

    // The same on a stream.
#define ZK_STREAM_FORM(writer)                                               \
    template <class... Values>                                               \
    static void writer(std::ostream& out, const Values&... values)           \
    {                                                                        \
        Text text;                                                           \
        writer(text, values...);                                             \
        out.write(text.data(), static_cast<std::streamsize>(text.length())); \
    }
    ZK_STREAM_FORM(addAccelerometerToPayload)
    ZK_STREAM_FORM(addRawSensorDataToPayload)
    ZK_STREAM_FORM(addButtonToPayload)
    ZK_STREAM_FORM(addPingResponseToPayload)
    ZK_STREAM_FORM(addBeaconToPayload)
    ZK_STREAM_FORM(addBeaconV2ToPayload)
    ZK_STREAM_FORM(addBatteryToPayload)
    ZK_STREAM_FORM(addMicrophoneToPayload)
    ZK_STREAM_FORM(addFlagToPayload)
    ZK_STREAM_FORM(addGyroToPayload)
    ZK_STREAM_FORM(addAttitudeToPayload)
    ZK_STREAM_FORM(addDistanceSensorToPayload)
    ZK_STREAM_FORM(addWheelInfoToPayload)
    ZK_STREAM_FORM(addHeadAngleToPayload)
    ZK_STREAM_FORM(addBodyPoseToPayload)
#undef ZK_STREAM_FORM

private:
    struct Report;
    struct Wheel {
        int32_t wraps = 0x7FFFFFFF;  // not started
        int16_t lastRaw = 0;

        double distance_cm(int16_t raw);
    };
    void decodeShortEvent(uint8_t type, const uint8_t* data, Report& report, Text& out);
    void decodeLongEvent(uint8_t type, const uint8_t* data, Text& out);
    void decodeSecondPacket(const uint8_t* first, const HALPacket_t& packet, const Report& report, Text& out);
    static void reportClap(bool flag, const Report& report);

    Wheel mLeft;
    Wheel mRight;
    int8_t mLastClapCount = -1;  // none yet
    AttitudeEstimate mAttitude;
};

}  // namespace HAL
