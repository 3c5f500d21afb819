// Every command there and back: random values through the translator, read again as the robot reads them.
#include <cmath>

#include <gtest/gtest.h>

#include "Simulator/CommandReader.h"
#include "support/Support.h"

namespace {

using support::Random;

struct FieldCase {
    const char* key;    // in the document; "" for a constant
    double low, high;   // of the document's value
    const char* field;  // in the command
    double factor;      // field value = document value * factor
    double tolerance;   // one unit of the field, or half of it
};

struct RoundTripCase {
    const char* component;
    uint32_t robot;
    const char* before;  // constant members, before the random ones
    int code;
    std::vector<FieldCase> fields;
};

constexpr double kRad = 3.141592653589793 / 180;

const RoundTripCase kTrips[] = {
    {"211", 1003, "", 0x01, {{"left_cm_s", -200, 200, "left", 1, 0.034}, {"right_cm_s", -200, 200, "right", 1, 0.034}}},
    {"104", 1002, "", 0x03, {{"r", 0, 1, "red", 255, 1}, {"g", 0, 1, "green", 255, 1}, {"b", 0, 1, "blue", 255, 1}}},
    {"102", 1001, "", 0x0B, {{"r", 0, 1, "red", 255, 1}}},
    {"103", 1001, "", 0x0C, {{"g", 0, 1, "green", 255, 1}}},
    {"107", 1003, "", 0x30, {{"b", 0, 1, "blue", 255, 1}}},
    {"105", 1001, "", 0x04, {{"brightness", 0, 1, "brightness", 255, 1}}},
    {"106", 1002, "", 0x0D, {{"brightness", 0, 1, "brightness", 255, 1}}},
    {"108", 1003, "", 0x31, {{"1", 0, 1, "light 1", 255, 1}, {"3", 0, 1, "light 3", 255, 1}}},
    {"109", 1003, "", 0x33, {{"brightness", 0, 1, "brightness", 255, 1}}},
    {"110", 1003, "", 0x34, {{"brightness", 0, 1, "brightness", 255, 1}}},
    {"111", 1003, "", 0x35, {{"brightness", 0, 1, "brightness", 255, 1}}},
    {"203", 1001, "", 0x06, {{"degree", -120, 120, "", 1, 0.0051}}},
    {"202", 1001, "", 0x07, {{"degree", -24, 7, "", 1, 0.0051}}},
    {"207", 1001, "", 0x11, {{"degree", -120, 120, "angle", 1, 0.0051}, {"time", 0, 32, "time", 1, 0.00051}}},
    {"206", 1003, R"("hold":1,)", 0x71, {{"degree", -24, 13, "angle", 1, 0.0051}, {"time", 0, 160, "time", 1, 0.0051}}},
    {"209", 1001, "", 0x13, {{"angular_deg_s", -9000, 9000, "", kRad, 0.008}}},
    {"208", 1001, "", 0x14, {{"angular_cm_s", -200, 200, "", 1, 0.008}}},
    {"204",
     1001,
     "",
     0x02,
     {{"linear_cm_s", -150, 150, "linear", 1, 0.2}, {"angular_deg_s", -450, 450, "angular", kRad, 0.008}}},
    {"204",
     1003,
     "",
     0x25,
     {{"linear_cm_s", -150, 150, "linear", 1, 0.2},
      {"angular_cm_s", -8, 8, "angular", 1, 0.008},
      {"linear_acc_cm_s_s", 0, 1023, "linear acceleration", 1, 1},
      {"angular_acc_deg_s_s", 0, 3700, "angular acceleration", kRad, 0.064}}},
    {"205",
     1001,
     R"("mode":1,)",
     0x23,
     {{"x", -800, 800, "x", 1, 0.051},
      {"y", -800, 800, "y", 1, 0.051},
      {"degree", -1100, 1100, "heading", kRad, 0.0051},
      {"time", 0, 65, "time", 1, 0.001}}},
    {"205",
     1001,
     R"("mode":4,)",
     0x29,
     {{"x", -3000, 3000, "x", 1, 0.051},
      {"y", -3000, 3000, "y", 1, 0.051},
      {"degree", -18000, 18000, "heading", kRad, 0.0051},
      {"time", 0, 65, "time", 1, 0.00051}}},
    {"213", 1001, "", 0x75, {{"prcnt", -100, 100, "", 1, 0.51}}},
    {"214", 1003, "", 0x76, {{"prcnt", -100, 100, "", 1, 0.51}}},
    {"400", 1001, "", 0x72, {{"cm_s", 0, 1, "", 255, 1}}},
    {"300", 1002, "", 0x0E, {{"volume", 0, 1, "", 100, 1}}},
    {"5000", 1002, "", 0x1C, {{"pvolume", 0, 1, "", 100, 1}}},
    {"304",
     1002,
     R"("duration":3000,)",
     0x21,
     {{"perc1", 0, 4095, "percentage 1", 1, 1}, {"perc2", 0, 4095, "percentage 2", 1, 1}}},
    {"9000", 1002, "", 0xFF, {{"pingID", 0, 65535, "id", 1, 1}}},
    {"1", 1002, "", 0xC8, {{"pwr", 0, 255, "state", 1, 1}}},
};

Simulator::RobotCommand lastCommand(const std::string& json, uint32_t robotType)
{
    HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
    size_t count = 0;
    ZKTranslator* translator = ZKTranslatorCreate(robotType);
    EXPECT_EQ(ZKTranslatorTranslate(translator, json.c_str(), packets, &count, nullptr, 0), 1) << json;
    ZKTranslatorDestroy(translator);
    EXPECT_EQ(count, 1u) << json;
    const Simulator::PacketReading reading = Simulator::readCommands(packets[0].data, packets[0].length);
    EXPECT_EQ(reading.problem, "") << json;
    return reading.commands.back();
}

TEST(RoundTripTest, ValuesComeBackWithinOneUnit)
{
    Random random(5);
    for (const RoundTripCase& c : kTrips) {
        for (int i = 0; i < 200; ++i) {
            std::string json = "{\"" + std::string(c.component) + "\":{" + c.before;
            std::vector<double> values;
            for (const FieldCase& field : c.fields) {
                char text[64];
                values.push_back(random.real(field.low, field.high));
                std::snprintf(text, sizeof text, "\"%s\":%.17g,", field.key, values.back());
                json += text;
            }
            json += "}}";
            const Simulator::RobotCommand command = lastCommand(json, c.robot);
            ASSERT_EQ(command.code(), c.code) << json;
            for (size_t f = 0; f < c.fields.size(); ++f) {
                ASSERT_NEAR(command.value(c.fields[f].field), values[f] * c.fields[f].factor, c.fields[f].tolerance)
                    << json << " " << c.fields[f].field;
            }
        }
    }
}

struct WordsCase {
    const char* json;
    const char* words;
    uint32_t robot = ZK_ROBOT_ORVIK;
};

const WordsCase kWords[] = {
    {R"({"211":{"left_cm_s":10,"right_cm_s":-10}})", "wheel speeds: left 10 cm/s, right -10 cm/s"},
    {R"({"100":{"brightness":[0,0.5,1,1],"index":[1,0,0,1]}})", "eye lights: 3 12"},
    {R"({"100":{"brightness":0.5,"animation":9}})", "eye animation: pattern 9"},
    {R"({"300":{"file":"SYSTHELLO","volume":2}})", "sound: \"SYSTHELLO\""},
    {R"({"300":{"file":"STOPSOUND","volume":2}})", "stop sound"},
    {R"({"300":{"file":"a\nb","volume":2}})", "sound: \"a?b\""},
    {R"({"100":{"brightness":0.5,"index":[1,0,0,0,0,0,0,0,0,0,0,0,1]}})", "eye lights: 12 (bit 12)"},
    {R"({"6001":0})", "clock: 1234567890 s since 1970"},
    {R"({"301":{"file":"DANCE"}})", "on-robot animation: \"DANCE\""},
    {R"({"301":{}})", "on-robot animation without a name"},
    {R"({"210":0})", "command 210"},
    {R"({"212":0})", "command 212"},
    {R"({"410":{"message":5,"LEDs":[103,106]}})", "light message: message 5, flags 0, lights 103 106/107"},
    {R"({"5000":{"name":"Bo"}})", "robot name: \"Bo\""},
    {R"({"5000":{"color":3,"anim":7}})", "personality: colour 3, animation 7"},
    {R"({"5000":{"color":3,"anim":1}})", "personality: colour 3, animation 1"},
    {R"({"5000":{"avatar":4}})", "avatar: 4"},
    {R"({"5000":{"pvolume":2,"peyebright":1}})", "personality eye brightness: 255/255"},
    {R"({"5000":{"color":2,"anim":300}})", "personality colour: 2"},
    {R"({"5000":{"color":300,"anim":2}})", "personality animation: 2"},
    {R"({"204":{"linear_cm_s":-10,"pose":1}})", "body motion as a pose: linear -10 cm/s, angular 0 rad/s"},
    {R"({"205":{"mode":3,"x":1}})", "body pose, mode 3: x 1 cm, y 0 cm, heading 0 rad, time 0 s"},
    {R"({"205":{"mode":5,"dir":2,"ease":1}})",
     "body pose: x 0 cm, y 0 cm, heading 0 rad, time 0 s, mode 3, ease 1, wrap 0, direction 2"},
    {R"({"304":{"perc1":3000,"duration":4000,"tone1":{"type":7},"tone2":{"type":6,"freq":440,"phase":9},
        "tone3":{"type":5},"tone4":{"type":3}}})",
     "synthesizer: duration 4000, percentage 1 3000, percentage 2 0, tone 1 type 7, tone 1 0 Hz, phase 1 0, "
     "tone 2 type 6, tone 2 440 Hz, phase 2 9, tone 3 type 5, tone 3 0 Hz, phase 3 0, tone 4 type 3, tone 4 0 Hz, "
     "phase 4 0"},
    {R"({"401":{"dir":1}})", "launcher 401: 1"},
    {R"({"207":{"degree":1,"time":2,"hold":1}})", "timed head pan, then hold: angle 1 degrees, time 2 s"},
    {R"({"206":{"degree":1,"time":2}})", "timed head tilt: angle 1 degrees, time 2 s"},
    {R"({"450":{"id":20,"weight":1,"params":[1,2,3,4,5,6]}})",
     "behaviour start: id 20, weight 255/255, p0 1, p1 2, p2 3, p3 4, p4 5, p5 6", ZK_ROBOT_QUILL},
    {R"({"451":{"id":513}})", "behaviour stop: id 513", ZK_ROBOT_QUILL},
};

TEST(RoundTripTest, CommandsInWords)
{
    support::Printed printed;
    const ZKClock clock = {nullptr, [](void*, int64_t* seconds, int32_t*) { *seconds = 1234567890; }, nullptr};
    ZKSetClock(&clock);
    for (const WordsCase& c : kWords) {
        EXPECT_EQ(lastCommand(c.json, c.robot).inWords(), c.words);
    }
    ZKSetClock(nullptr);
}

TEST(RoundTripTest, AnyBytesCanBeRead)
{
    Random random(9);
    uint8_t bytes[40];
    for (int i = 0; i < 100000; ++i) {
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random.below(i % 2 == 0 ? 256 : 60));
        }
        const auto length = static_cast<size_t>(random.below(sizeof bytes + 1));
        const Simulator::PacketReading reading = Simulator::readCommands(bytes, length);
        size_t read = 0;
        for (const Simulator::RobotCommand& command : reading.commands) {
            read += command.size();
            ASSERT_FALSE(command.inWords().empty());
        }
        ASSERT_EQ(read, reading.problemAt);
        ASSERT_EQ(reading.problem.empty(), read == length);
    }
    const uint8_t cutOff[] = {0x0D, 0xFF, 0x01, 0x00};
    EXPECT_EQ(Simulator::readCommands(cutOff, 4).problem, "wheel speeds is cut off");
    const uint8_t lacksSubCommand[] = {0x1C};
    EXPECT_EQ(Simulator::readCommands(lacksSubCommand, 1).problem, "the command is cut off");
    const uint8_t unknown[] = {0xEE};
    EXPECT_EQ(Simulator::readCommands(unknown, 1).problem, "no command begins with this byte");
}

}  // namespace
