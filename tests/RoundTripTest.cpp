// Commands read back as the robot reads them. That every parameter survives it is VocabularyTest's.
#include <gtest/gtest.h>

#include "Simulator/CommandReader.h"
#include "support/Support.h"

namespace {

using support::Random;

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
