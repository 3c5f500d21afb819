// The vocabulary of the sensor document: every member, its values, and their units. The decoder writes these rows, and
// ZKHAL/Vocabulary.h tells them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "HAL/RobotMessages/RobotTypes.h"

namespace HAL {

enum SensorId : uint32_t {
    kButton0Id = 1000,
    kHeadPanId = 2000,
    kHeadTiltId = 2001,
    kPoseId = 2002,
    kAccelerometerId = 2003,
    kGyroId = 2004,
    kDistanceRightId = 3000,
    kDistanceLeftId = 3001,
    kDistanceRearId = 3002,
    kWheelLeftId = 3003,
    kWheelRightId = 3004,
    kMicrophoneId = 3005,
    kBatteryId = 3006,
    kBeaconId = 3007,
    kBeaconV2Id = 3009,
    kAttitudeId = 3010,
    kKidnapId = 4001,
    kStallId = 4002,
    kSoundId = 4003,
    kAnimationId = 4006,
    kRaw0Id = 5101,
    kRaw1Id = 5102,
    kPingId = 9000
};

enum class SensorKind : uint8_t { Whole, Flag, Real, Bytes };

/** A key as the document has it, behind a comma. */
class KeyText {
public:
    static constexpr size_t kSize = 24;  // copied whole

    constexpr KeyText(const char* key) : mText()
    {
        append(",\"");
        append(key);
        append("\":");
    }
    constexpr const char* text() const
    {
        return mText;
    }
    constexpr size_t length() const
    {
        return mLength;
    }

private:
    constexpr void append(const char* text)
    {
        for (; *text != '\0'; ++text) {
            mText[mLength++] = *text;
        }
    }

    char mText[kSize];
    size_t mLength = 0;
};

struct SensorValueRow {
    KeyText keyText;
    const char* key;
    SensorKind kind;
    const char* unit;   // "" for plain numbers
    double low, high;   // of bytes each; both 0: it grows without a bound
    const char* words;  // for people
    bool isOptional = false;

    constexpr SensorValueRow(const char* key_, SensorKind kind_, const char* unit_, double low_, double high_,
                             const char* words_, bool isOptional_ = false)
        : keyText(key_),
          key(key_),
          kind(kind_),
          unit(unit_),
          low(low_),
          high(high_),
          words(words_),
          isOptional(isOptional_)
    {
    }
};

// In which reports a member stands.
enum class SensorPart : uint8_t {
    Every,   // report
    Second,  // only where there is a second packet
    Event,   // when the robot tells of it
};

struct SensorRow {
    uint32_t id;
    const char* name;   // for programs: short, unique, and never changed
    const char* words;  // for people
    RobotSet robots;    // for which it means something
    SensorPart part;
    const SensorValueRow* values;  // in the order of the document
    size_t valueCount;
};

namespace detail {

constexpr SensorValueRow flagValue(const char* key, const char* words)
{
    return {key, SensorKind::Flag, "", 0, 1, words};
}
constexpr SensorValueRow real(const char* key, const char* unit, double low, double high, const char* words)
{
    return {key, SensorKind::Real, unit, low, high, words};
}
constexpr SensorValueRow whole(const char* key, double low, double high, const char* words)
{
    return {key, SensorKind::Whole, "", low, high, words};
}
template <size_t kCount>
constexpr SensorRow sensor(uint32_t id, const char* name, const char* words, SensorPart part,
                           const SensorValueRow (&values)[kCount], RobotSet robots = kCommandedRobots)
{
    return {id, name, words, robots, part, values, kCount};
}

}  // namespace detail

inline constexpr SensorValueRow kTimestampValue = detail::whole("tm", 0, 4095, "time stamp of the robot");

inline constexpr SensorValueRow kButtonValues[] = {detail::flagValue("s", "pressed")};
inline constexpr SensorValueRow kHeadPanValues[] = {
    detail::real("degree", "degrees", -146.7, 146.2, "angle to the left")};
inline constexpr SensorValueRow kHeadTiltValues[] = {detail::real("degree", "degrees", -36.1, 36.7, "angle upward")};
inline constexpr SensorValueRow kPoseValues[] = {
    detail::real("x", "cm", -204.8, 204.7, "forward from where it was switched on"),
    detail::real("y", "cm", -204.8, 204.7, "to the left"),
    detail::real("degree", "degrees", -1877.5, 1877.5, "heading, to the left"),
    {"watermark", SensorKind::Whole, "", 0, 255, "how many poses it has reached", true},
};
inline constexpr SensorValueRow kAccelerometerValues[] = {
    detail::real("x", "g", -2.001, 2, "forward"),
    detail::real("y", "g", -2.001, 2, "to the left"),
    detail::real("z", "g", -2.001, 2, "upward"),
};
inline constexpr SensorValueRow kGyroValues[] = {
    detail::real("r", "rad/s", -8.732, 8.727, "rolling"),
    detail::real("p", "rad/s", -8.732, 8.727, "pitching"),
    detail::real("y", "rad/s", -8.732, 8.727, "turning"),
};
inline constexpr SensorValueRow kDistanceValues[] = {
    // A host may add samples to the tables, hence the room above 50.
    detail::real("cm", "cm", 0, 100, "to the nearest obstacle; 2.5, rear 5, to 50 unless a host sets other tables"),
    detail::whole("refl", 0, 255, "reflected light, as measured"),
};
inline constexpr SensorValueRow kWheelValues[] = {
    detail::real("cm", "cm", 0, 0, "travelled, from what the robot's counter showed at first")};
inline constexpr SensorValueRow kMicrophoneValues[] = {
    detail::real("amp", "", 0, 1, "loudness"),
    {"mictconf", SensorKind::Whole, "", 11, 255, "how sure the direction is", true},
    {"mictdir", SensorKind::Real, "rad", -3.1416, 3.1416, "where the sound came from", true},
    detail::flagValue("clap", "a clap was heard"),
};
inline constexpr SensorValueRow kBatteryValues[] = {
    detail::flagValue("chg", "charging"),
    detail::whole("level", 0, 9999, "0, 1, 2, 10 or 20, which is full; 9999 when it is not known"),
    detail::whole("volt", 0, 8191, "voltage reading"),
};
inline constexpr SensorValueRow kBeaconValues[] = {
    detail::whole("dataL", 0, 4095, "what the left receiver got"),
    detail::whole("dataR", 0, 4095, "what the right receiver got"),
};
inline constexpr SensorValueRow kBeaconV2Values[] = {
    detail::whole("rbtType", 1000, 1003, "type of the robot that sends"),
    detail::whole("rbtID", 0, 127, "number of the robot that sends"),
    detail::whole("dataType", 0, 3, "kind of data"),
    detail::whole("dataLnBits", 4, 30, "length of the data in bits"),
    detail::whole("data", 0, 16777215, "the data"),
    {"rcvrs", SensorKind::Bytes, "", 0, 7, "what each of five receivers got"},
};
inline constexpr SensorValueRow kAttitudeValues[] = {
    detail::real("attitudeRoll", "degrees", -180, 180, "leaning to a side"),
    detail::real("attitudePitch", "degrees", -180, 180, "leaning forward or back"),
    detail::real("attitudeSlope", "degrees", 0, 180, "of the floor"),
    detail::whole("rollType", 0, 2, "0 level, 1 beyond 15 degrees, 2 beyond -15"),
    detail::whole("pitchType", 0, 2, "the same"),
    detail::whole("slopeType", 0, 1, "0 level, 1 beyond 15 degrees"),
};
inline constexpr SensorValueRow kFlagValues[] = {detail::flagValue("flag", "whether it is so")};
inline constexpr SensorValueRow kRawValues[] = {{"data", SensorKind::Bytes, "", 0, 255, "the 20 bytes of the packet"}};
inline constexpr SensorValueRow kPingValues[] = {
    detail::whole("pingID", 0, 65535, "as it was sent to the robot"),
    detail::whole("pingCount", 0, 4294967295.0, "how many pings it has answered"),
};

/** By ascending id. */
inline constexpr SensorRow kSensors[] = {
    detail::sensor(kButton0Id, "button_0", "button 0", SensorPart::Every, kButtonValues),
    detail::sensor(kButton0Id + 1, "button_1", "button 1", SensorPart::Every, kButtonValues),
    detail::sensor(kButton0Id + 2, "button_2", "button 2", SensorPart::Every, kButtonValues),
    detail::sensor(kButton0Id + 3, "button_3", "button 3", SensorPart::Every, kButtonValues),
    detail::sensor(kHeadPanId, "head_pan", "head pan", SensorPart::Second, kHeadPanValues, kWheeledRobots),
    detail::sensor(kHeadTiltId, "head_tilt", "head tilt", SensorPart::Second, kHeadTiltValues, kWheeledRobots),
    detail::sensor(kPoseId, "body_pose", "pose", SensorPart::Second, kPoseValues, kWheeledRobots),
    detail::sensor(kAccelerometerId, "accelerometer", "acceleration", SensorPart::Every, kAccelerometerValues),
    detail::sensor(kGyroId, "gyro", "turning speeds", SensorPart::Second, kGyroValues),
    detail::sensor(kDistanceRightId, "distance_right", "distance right", SensorPart::Second, kDistanceValues),
    detail::sensor(kDistanceLeftId, "distance_left", "distance left", SensorPart::Second, kDistanceValues),
    detail::sensor(kDistanceRearId, "distance_rear", "distance rear", SensorPart::Second, kDistanceValues),
    detail::sensor(kWheelLeftId, "wheel_left", "left wheel", SensorPart::Second, kWheelValues, kWheeledRobots),
    detail::sensor(kWheelRightId, "wheel_right", "right wheel", SensorPart::Second, kWheelValues, kWheeledRobots),
    detail::sensor(kMicrophoneId, "microphone", "microphone", SensorPart::Every, kMicrophoneValues),
    detail::sensor(kBatteryId, "battery", "battery", SensorPart::Event, kBatteryValues),
    detail::sensor(kBeaconId, "beacon", "beacon", SensorPart::Event, kBeaconValues),
    detail::sensor(kBeaconV2Id, "beacon_2", "beacon, second form", SensorPart::Event, kBeaconV2Values),
    detail::sensor(kAttitudeId, "attitude", "attitude", SensorPart::Second, kAttitudeValues),
    detail::sensor(kKidnapId, "lifted", "lifted", SensorPart::Every, kFlagValues),
    detail::sensor(kStallId, "stalled", "stalled or bumped", SensorPart::Every, kFlagValues),
    detail::sensor(kSoundId, "sounding", "sound in progress", SensorPart::Every, kFlagValues),
    detail::sensor(kAnimationId, "animating", "animation in progress", SensorPart::Every, kFlagValues),
    detail::sensor(kRaw0Id, "raw_0", "first packet", SensorPart::Every, kRawValues),
    detail::sensor(kRaw1Id, "raw_1", "second packet", SensorPart::Second, kRawValues),
    detail::sensor(kPingId, "ping", "answer to a ping", SensorPart::Event, kPingValues),
};
inline constexpr size_t kSensorCount = sizeof kSensors / sizeof kSensors[0];

}  // namespace HAL
