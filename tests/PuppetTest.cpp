// Recordings to sequences to animation files, and back to a robot that moves.
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>

#include <gtest/gtest.h>

#include "CoreUtility/Puppet/PuppetRecord.h"
#include "CoreUtility/Puppet/PuppetSequence.h"
#include "CoreUtility/Puppet/ZKAnimConvert.h"
#include "CppEngine/Robot.h"
#include "Simulator/AnimationReader.h"
#include "Simulator/VirtualRobot.h"
#include "support/DeathTests.h"
#include "support/Support.h"

namespace {

using support::hex;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

class PuppetTest : public ::testing::Test {
protected:
    ~PuppetTest() override
    {
        ZKPuppetCore_clearAll();
        ZKPuppetCore_setLogFolder(nullptr);
    }
    static std::string sequence(float from = 0, float to = kInfinity)
    {
        std::string text(ZKPuppetCore_subsequenceByteCount("p", from, to), '\0');
        EXPECT_TRUE(ZKPuppetCore_subsequence("p", text.data(), text.size(), from, to));
        text.pop_back();
        return text;
    }
    // Poses a tenth of a second apart.
    void record(int count)
    {
        ZKPuppetCore_init("p");
        for (int i = 0; i < count; ++i) {
            ZKPuppetCore_addFrame("p", static_cast<float>(i) * 0.1f, static_cast<float>(i), 0, 0, 0, 0);
        }
        printed.take();
    }
    static std::string read(const std::string& path)
    {
        std::stringstream text;
        text << std::ifstream(path).rdbuf();
        return text.str();
    }

    support::Printed printed;
};

std::string convert(const std::string& json, unsigned robotType = ZK_ROBOT_ORVIK)
{
    std::vector<uint8_t> bytes(ZKPuppetCore_convertANByteCount(json.c_str(), robotType));
    EXPECT_TRUE(ZKPuppetCore_convertAN(json.c_str(), robotType, bytes.data(), bytes.size()));
    return hex(bytes.data(), bytes.size());
}

TEST_F(PuppetTest, MembersOnAStream)
{
    std::ostringstream out;
    Internal::setupOSS(out);
    Internal::appendKVPairNum(out, "", "frame", 1234567);
    Internal::appendKVPairNum(out, ",", "duration", 0.033f);
    Internal::appendKVPairObj(out, ",", "commands", "{}");
    out << ' ' << 1.0;
    EXPECT_EQ(out.str(), R"("frame":1234567,"duration":0.0330,"commands":{} 1.0000)");
}

TEST_F(PuppetTest, WhatFitsIntoWhichBuffer)
{
    record(0);
    const std::string text = "{\"data\": []}";
    const struct {
        size_t size;
        bool fits;
        const char *buffer, *message;
    } copies[] = {
        {13, true, "{\"data\": []}", ""},
        {14, true, "{\"data\": []}", ""},
        {12, false, "", "Insufficient storage for sequence.\n"},
        {1, false, "", "Insufficient storage for sequence.\n"},
        {0, false, "#", "Insufficient storage for sequence.\nInsufficient storage for even a null character.\n"},
    };
    EXPECT_EQ(ZKPuppetCore_sequenceByteCount("p"), text.size() + 1);
    for (const auto& c : copies) {
        char buffer[20] = "#";
        EXPECT_EQ(ZKPuppetCore_sequence("p", buffer, c.size), c.fits) << c.size;
        EXPECT_STREQ(buffer, c.buffer) << c.size;
        EXPECT_EQ(printed.take(), c.message) << c.size;
    }
    const struct {
        size_t size;
        bool fits;
        const char *path, *bare, *name, *directory;
    } names[] = {
        {14, true, "SYSTPUPPET3AN", "SYSTPUPPET3", "PUPPET3", "SYST"},
        {13, true, "SYSTPUPPET3A", "SYSTPUPPET3", "PUPPET3", "SYST"},  // the last character is cut, on purpose
        {12, false, "", "SYSTPUPPET3", "PUPPET3", "SYST"},
        {11, false, "", "SYSTPUPPET", "PUPPET3", "SYST"},
        {4, false, "", "", "", "SYS"},
        {1, false, "", "", "", ""},
    };
    for (const auto& c : names) {
        char buffer[20] = "#";
        EXPECT_EQ(ZKPuppetCore_fullPathForSlot(buffer, c.size, 3, true), c.fits) << c.size;
        EXPECT_STREQ(buffer, c.path);
        ZKPuppetCore_fullPathForSlot(buffer, c.size, 3, false);
        EXPECT_STREQ(buffer, c.bare);
        ZKPuppetCore_justNameForSlot(buffer, c.size, 3);
        EXPECT_STREQ(buffer, c.name);
        ZKPuppetCore_justDirForSlot(buffer, c.size, 3);
        EXPECT_STREQ(buffer, c.directory);
    }
    printed.take();
    char buffer[20];
    EXPECT_FALSE(ZKPuppetCore_justNameForSlot(buffer, 0, 4294967295u));
    EXPECT_FALSE(ZKPuppetCore_justDirForSlot(nullptr, 9, 1));
    EXPECT_EQ(printed.take(),
              "insufficient buffer size. need at least 17, got only 0\nInsufficient storage for even a null "
              "character.\ninsufficient buffer size. need at least 5, got only 9\nInsufficient storage for even a null "
              "character.\n");

    const char kOnePacket[] = R"({"data":[{"duration":0.1,"commands":{"9000":{"pingID":1}}}]})";
    uint8_t bytes[8];
    std::memset(bytes, 0x55, sizeof bytes);
    EXPECT_TRUE(ZKPuppetCore_convertAN(kOnePacket, ZK_ROBOT_PELL, bytes, 7));
    EXPECT_EQ(hex(bytes, 8), "43 FF 01 00 81 64 00 55") << "the rest is zeros";
    printed.take();
    EXPECT_FALSE(ZKPuppetCore_convertAN(kOnePacket, ZK_ROBOT_PELL, bytes, 5));
    EXPECT_EQ(hex(bytes, 8), "43 FF 01 00 81 64 00 55") << "left alone";
    EXPECT_EQ(printed.take(), "converted 1 frames. bytecount = 6\nInsufficient storage for AN.\n");
    EXPECT_TRUE(ZKPuppetCore_convertAN("[]", ZK_ROBOT_PELL, bytes, 2));
    EXPECT_EQ(hex(bytes, 3), "00 00 01") << "nothing to copy fits anywhere";
    EXPECT_TRUE(ZKPuppetCore_convertAN("[]", ZK_ROBOT_PELL, nullptr, 0));
}

TEST_F(PuppetTest, UnknownRecordings)
{
    char buffer[10];
    EXPECT_TRUE(std::isnan(ZKPuppetCore_duration("q")));
    EXPECT_EQ(ZKPuppetCore_sequenceByteCount("q"), 0u);
    EXPECT_FALSE(ZKPuppetCore_sequence("q", buffer, sizeof buffer));
    ZKPuppetCore_addFrame("q", 0, 0, 0, 0, 0, 0);
    ZKPuppetCore_addFrame(nullptr, 0, 0, 0, 0, 0, 0);
    const std::string line = "no such record: q\n";
    EXPECT_EQ(printed.take(), line + line + line + line + "no such record: \n");
    ZKPuppetCore_init("q");
    ZKPuppetCore_init("q");
    EXPECT_EQ(printed.take(), "creating new puppet record: q\n");
    for (float t : {0.0f, 0.5f, 0.3f}) {
        ZKPuppetCore_addFrame("q", t, 0, 0, 0, 0, 0);
    }
    EXPECT_EQ(ZKPuppetCore_duration("q"), 0.3f);
    ZKPuppetCore_init("q");
    EXPECT_EQ(ZKPuppetCore_duration("q"), 0);
    ZKPuppetCore_clearAll();
    EXPECT_TRUE(std::isnan(ZKPuppetCore_duration("q")));
    EXPECT_EQ(ZKPuppetCore_recommendedInterval(), 0.1f);
}

TEST_F(PuppetTest, SequencesOfHandMadeRecordings)
{
    const std::string set =
        R"("duration":0.0330,"commands":{"205":{"mode":4,"x":10.0000,"y":0.0000,"degree":0.0000,"time":0.0000}}})";
    ZKPuppetCore_init("p");
    ZKPuppetCore_addFrame("p", 0, 10, 0, 0, 0, 0);
    EXPECT_EQ(sequence(), R"({"data": [{"frame":1,)" + set + R"(,{"frame":2,)" + set + "]}");
    const float kPi = 3.14159265f;
    ZKPuppetCore_addFrame("p", 0.5f, 20, -1.5f, kPi, -kPi / 4, kPi / 18);
    EXPECT_EQ(sequence(),
              R"({"data": [{"frame":1,)" + set + R"(,{"frame":2,)" + set +
                  R"(,{"frame":3,"duration":0.0330,"commands":{"205":{"mode":5,"dir":2,"wrap_theta":0,"x":20.0000,)"
                  R"("y":-1.5000,"degree":180.0000,"time":0.4340},"203":{"degree":-45.0000,"time":0.4340},)"
                  R"("206":{"degree":10.0000,"time":0.4340}}}]})");

    // Eleven poses: which frames, how long each, and the time that its command has.
    record(11);
    const auto outline = [](const std::string& text) {
        std::string frames;
        for (size_t at = 0; (at = text.find("\"frame\":", at)) != std::string::npos; ++at) {
            const size_t x = text.find("\"x\":", at), duration = text.find("\"duration\":", at),
                         time = text.find("\"time\":", at);
            frames += text.substr(x + 4, text.find('.', x) - x - 4) + "/" + text.substr(duration + 11, 6) + "/" +
                      text.substr(time + 7, 6) + " ";
        }
        return frames;
    };
    const std::string whole =
        "0/0.0330/0.0000 0/0.0330/0.0000 1/0.0330/0.0340 2/0.0330/0.1010 3/0.0330/0.1680 4/0.1000/0.2350 "
        "5/0.1000/0.2350 6/0.1000/0.2350 7/0.1000/0.2350 8/0.1000/0.2350 9/0.1000/0.2350 10/0.2000/0.2350 ";
    EXPECT_EQ(outline(sequence()), whole);
    EXPECT_EQ(outline(sequence(0, -1)), whole);
    EXPECT_EQ(outline(sequence(0.25f, 0.65f)),
              "2/0.0330/0.0000 2/0.0330/0.0000 3/0.0330/0.2340 4/0.0330/0.3010 5/0.0330/0.3680 6/0.2000/0.4350 ");
    EXPECT_EQ(outline(sequence(99, kInfinity)), "10/0.0330/0.0000 10/0.0330/0.0000 ");
    EXPECT_EQ(sequence(0, -0.5f), "{\"data\": []}");
    EXPECT_EQ(sequence(0.5f, 0.2f), "{\"data\": []}");
    EXPECT_EQ(outline(sequence(kNaN, kNaN)), whole) << "no comparison holds";
    record(4);
    EXPECT_EQ(outline(sequence()), "0/0.0330/0.0000 0/0.0330/0.0000 1/0.0330/0.0340 2/0.0330/0.1010 3/0.0330/0.1680 ")
        << "the last one comes early enough to be short";

    // Times that run backwards, are huge or no numbers.
    ZKPuppetCore_init("p");
    for (float t : {5.0f, -1.0f, 3e38f, -3e38f, kNaN, kInfinity, 0.0f}) {
        ZKPuppetCore_addFrame("p", t, 0, 0, 3e38f, 0, -kInfinity);
    }
    EXPECT_NE(sequence(-kInfinity).find("\"degree\":inf,"), std::string::npos) << "beyond single precision";
}

TEST_F(PuppetTest, NumbersFollowTheFormatOfTheirStream)
{
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override
        {
            return ',';
        }
    };
    const struct {
        void (*format)(std::ostream& out);
        const char* text;
    } cases[] = {
        {[](std::ostream&) {}, R"("a":7,"b":0.0330,"c":-1.5000)"},
        {[](std::ostream& out) { out.precision(2); }, R"("a":7,"b":0.03,"c":-1.50)"},
        {[](std::ostream& out) { out << std::scientific; }, R"("a":7,"b":3.3000e-02,"c":-1.5000e+00)"},
        {[](std::ostream& out) { out << std::showpos; }, R"("a":+7,"b":+0.0330,"c":-1.5000)"},
        {[](std::ostream& out) { out << std::defaultfloat; }, R"("a":7,"b":0.033,"c":-1.5)"},
        {[](std::ostream& out) { out.imbue(std::locale(out.getloc(), new Comma)); }, R"("a":7,"b":0,0330,"c":-1,5000)"},
    };
    for (const auto& c : cases) {
        std::ostringstream out;
        Internal::setupOSS(out);
        c.format(out);
        Internal::appendKVPairNum(out, "", "a", 7);
        Internal::appendKVPairNum(out, ",", "b", 0.033f);
        Internal::appendKVPairNum(out, ",", "c", -1.5f);
        EXPECT_EQ(out.str(), c.text);
    }
}

TEST_F(PuppetTest, SequencesAreBuiltOnceForATimeRange)
{
    const std::string folder = ::testing::TempDir() + "puppet_log";
    std::filesystem::create_directories(folder);
    ZKPuppetCore_setLogFolder(folder.c_str());
    ZKPuppetCore_init("p");
    ZKPuppetCore_addFrame("p", 0, 1, 2, 3, 4, 5);
    ZKPuppetCore_addFrame("p", 0.1f, -1, 0, 0, 0, 1e10f);
    const std::string header = "operation, tAnim, tPose, x, y, theta, pan, tilt\n";
    EXPECT_EQ(read(folder + "/measured.csv"),
              header +
                  "MEAS, 0.000000, 0.000000, 1.000000, 2.000000, 3.000000, 4.000000, 5.000000\n"
                  "MEAS, 0.000000, 0.100000, -1.000000, 0.000000, 0.000000, 0.000000, 10000000000.000000\n");
    const std::string built =
        "SET_TEMP, 0.033000, 0.000000, 1.000000, 2.000000, 3.000000, 4.000000, 5.000000\n"
        "SET_TEMP, 0.066000, 0.000000, 1.000000, 2.000000, 3.000000, 4.000000, 5.000000\n"
        "TEMP, 0.099000, 0.034000, -1.000000, 0.000000, 0.000000, 0.000000, 10000000000.000000\n";
    std::string expected = header;
    const struct {
        float from, to;
        bool isBuilt;
    } cases[] = {{0, -1, true},   {0, kInfinity, false}, {0, -1, false},  {-0.0f, -1, false},
                 {0, 1, true},    {0, 1, false},         {kNaN, 1, true}, {kNaN, 1, true},
                 {0, kNaN, true}, {0, kNaN, true},       {0, -1, true}};
    for (const auto& c : cases) {
        ZKPuppetCore_subsequenceByteCount("p", c.from, c.to);
        expected += c.isBuilt ? built : "";
        EXPECT_EQ(read(folder + "/commanded.csv"), expected) << c.from << " to " << c.to;
    }
    ZKPuppetCore_init("other");
    EXPECT_EQ(read(folder + "/measured.csv"), header);
    ZKPuppetCore_setLogFolder("/nowhere/at/all");
    ZKPuppetCore_init("p");
    ZKPuppetCore_setLogFolder("");
    ZKPuppetCore_addFrame("p", 0, 1, 2, 3, 4, 5);
    EXPECT_EQ(read(folder + "/measured.csv"), header);
    std::filesystem::remove_all(folder);
}

TEST_F(PuppetTest, WaitsAtEveryBoundary)
{
    const struct {
        const char *durations, *bytes;
    } cases[] = {
        {"0.1", "81 64"},
        {"0.0", "81 00"},
        {"0.255", "81 FF"},
        {"0.3", "81 2C"},    // 300 in one byte, on purpose
        {"0.511", "81 FE"},  // 510.99997 in single precision
        {"0.5119", "81 FF"},
        {"0.512", "82 02 00"},
        {"0.6", "82 02 58"},
        {"65.535", "82 FF FF"},
        {"65.536", "82 00 00"},  // bit 16 is lost, on purpose
        {"131.071", "82 FF FF"},
        {"-0.1", "81 9C"},
        {"-0.1 0.3", "81 9C 81 2C"},
        {"0.0004 0.0004 0.0004", "81 00 81 00 81 01"},
        {"0.033 0.033 0.033 0.033 0.033 0.033 0.033 0.033 0.033 0.033",
         "81 21 81 21 81 21 81 21 81 21 81 21 81 21 81 21 81 21 81 21"},
        {"1. 1e0 010.5", "82 03 E8 82 03 E8 82 29 04"},
        {"-1e300 -1e300 1e30", "81 00 81 00 81 00"},
        {"131.072", ""},
        {"1e300", ""},
        {"100.0 1e999", ""},
    };
    for (const auto& c : cases) {
        std::string json;
        std::istringstream durations(c.durations);
        for (std::string each; durations >> each;) {
            json += "{\"duration\":" + each + ",\"commands\":{}},";
        }
        EXPECT_EQ(convert("{\"data\":[" + json + "]}"), c.bytes) << c.durations;
        EXPECT_EQ(printed.take().find("error: duration greater than 2^16-1 ms\n") == 0, c.bytes[0] == '\0')
            << c.durations;
    }
}

TEST_F(PuppetTest, MalformedAnimations)
{
    const char kTop[] = "error: could not parse top-level json doc\n";
    const auto element = [](const std::string& name) { return "error: json malformed \"" + name + "\" element\n"; };
    const struct {
        const char* json;
        std::string message, finding;
    } cases[] = {
        {"", kTop, "1:1: refused: not JSON"},
        {"[]", kTop, "1:1: refused: an animation is an object"},
        {"{\"data\":}", kTop, "1:9: refused: not JSON"},
        {"{}", element("data"), "1:1: refused: \"data\" is missing"},
        {"{\"data\":{}}", element("data"), "1:2: refused: \"data\" is a list"},
        {"{\"data\":[7]}", element("array_element"), "1:2: refused: frame 1: a frame is an object"},
        {"{\"data\":[{\"commands\":{}}]}", element("duration"), "1:11: refused: frame 1: \"duration\" is missing"},
        {"{\"data\":[{\"duration\":1,\"commands\":{}}]}", element("duration"),
         "1:11: refused: frame 1: \"duration\" is written with a point: 1.0"},
        {"{\"data\":[{\"duration\":0x10,\"commands\":{}}]}", element("duration"), "16.0"},
        {"{\"data\":[{\"duration\":\"1\",\"commands\":7}]}", element("duration"), "a number of seconds"},
        {"{\"data\":[{\"duration\":1.5}]}", element("commands"), "\"commands\" is missing"},
        {"{\"data\":[{\"duration\":1.5,\n\"commands\":[]}]}", element("commands"),
         "2:1: refused: frame 1: \"commands\" is"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(convert(c.json), "") << c.json;
        EXPECT_NE(printed.take().find(c.message), std::string::npos) << c.json;
        char message[400];
        EXPECT_EQ(ZKCheckAnimationDocument(c.json, ZK_ROBOT_ORVIK, message, sizeof message), ZK_CHECK_REFUSED);
        EXPECT_NE(std::string(message).find(c.finding), std::string::npos) << message;
        EXPECT_EQ(printed.take(), "") << "a check prints nothing";
    }
    // What was converted before the fault stays in the caller's bytes, behind what they held.
    std::vector<uint8_t> bytes = {0x77};
    EXPECT_FALSE(ZKAnimConvert::Json2Robot(R"({"data":[{"duration":0.1,"commands":{}},8]})", bytes, ZK_ROBOT_ORVIK));
    EXPECT_EQ(hex(bytes.data(), bytes.size()), "77 81 64");
    EXPECT_EQ(printed.take(), element("array_element"));

    const auto frameOf = [](const char* text, std::string copy) {
        copy = text;
        const nx_json* frame = nx_json_parse_utf8(copy.data());
        const bool isGood = ZKAnimConvert::Internal::preprocessFrame(frame);
        nx_json_free(frame);
        return isGood;
    };
    EXPECT_TRUE(frameOf(R"({"commands":{"106":{}}})", ""));
    EXPECT_FALSE(frameOf(R"({"commands":{"106":{},"105":1}})", ""));
    EXPECT_FALSE(frameOf("{}", ""));
    EXPECT_FALSE(frameOf("7", ""));
    EXPECT_EQ(printed.take(), element("105") + element("commands") + element("array_element"));
}

TEST_F(PuppetTest, TheCheckSaysWhichFrameAndWhy)
{
    char message[1000];
    const char kRemarks[] = R"({"data":[{"duration":0.3,"commands":{}},
{"duration":70.0,"commands":{"106":{"bright":1}}},{"duration":0.1,"commands":{"200":{"cm_s":1}}}]})";
    EXPECT_EQ(ZKCheckAnimationDocument(kRemarks, ZK_ROBOT_ORVIK, message, sizeof message), ZK_CHECK_REMARKS);
    EXPECT_STREQ(message,
                 "1:11: remark: frame 1: wait 300 ms is stored as 44 ms\n"
                 "2:2: remark: frame 2: wait 70000 ms is stored as 4464 ms\n"
                 "2:37: remark: frame 2: \"bright\" is no parameter of light 106: ignored\n"
                 "2:79: remark: frame 3: one wheel without the other: nothing is sent to the wheels");
    const char kFatal[] = R"({"data":[{"duration":0.1,"commands":{"100":{"index":{"13":1}}}}]})";
    EXPECT_EQ(ZKCheckAnimationDocument(kFatal, ZK_ROBOT_ORVIK, message, sizeof message), ZK_CHECK_REFUSED);
    EXPECT_STREQ(message, "1:54: refused: frame 1: \"13\": the eye ring has lights 1 to 12");
    support::useSafeDeathTests();
    EXPECT_DEATH(ZKPuppetCore_convertANByteCount(kFatal, ZK_ROBOT_ORVIK), "ledNum <= _ZK_EYE_LED_COUNT");
    EXPECT_DEATH(ZKMath_RotatePoint(nullptr, nullptr, 0, 0, 0), "Assertion failed");
    double x = 0, y = 0;
    ZKMath_RotatePoint(&x, &y, 2, 1, 3.141592653589793 / 2);
    EXPECT_NEAR(x, -1, 1e-15);
    EXPECT_NEAR(y, 2, 1e-15);
    record(20);
    EXPECT_EQ(ZKCheckAnimationDocument(sequence().c_str(), ZK_ROBOT_QUILL, message, sizeof message), ZK_CHECK_ACCEPTED)
        << message;
    EXPECT_EQ(ZKCheckAnimationDocument(nullptr, ZK_ROBOT_QUILL, nullptr, 0), ZK_CHECK_REFUSED);
}

// Record, build, convert and replay: within 1 cm in the mean and 3 cm anywhere, at up to 40 cm/s.
TEST_F(PuppetTest, AReplayFollowsTheRecording)
{
    for (uint32_t type : {ZK_ROBOT_ORVIK, ZK_ROBOT_QUILL}) {
        const auto pose = [](double t) {
            const double a = 2 * 3.14159265 * t / 8;
            return std::array<double, 3>{40 * std::sin(a), 15 * (1 - std::cos(a)), std::sin(a)};
        };
        ZKPuppetCore_init("p");
        for (int i = 0; i <= 80; ++i) {
            const auto [x, y, heading] = pose(i * 0.1);
            ZKPuppetCore_addFrame("p", static_cast<float>(i * 0.1), static_cast<float>(x), static_cast<float>(y),
                                  static_cast<float>(heading), static_cast<float>(heading / 2), 0);
        }
        const std::string json = sequence();
        std::vector<uint8_t> bytes(ZKPuppetCore_convertANByteCount(json.c_str(), type));
        ZKPuppetCore_convertAN(json.c_str(), type, bytes.data(), bytes.size());
        const auto reading = Simulator::readAnimation(bytes.data(), bytes.size());
        EXPECT_EQ(reading.problem, "");
        ASSERT_EQ(reading.frames.size(), 82u);
        const auto robot = Simulator::VirtualRobot::create(type, 1);
        double sum = 0, most = 0, t = 0;
        for (const Simulator::AnimationFrame& frame : reading.frames) {
            for (const HALPacket_t& packet : frame.packets) {
                robot->write(Kestrel::gChannelCommandControl.c_str(), packet.data, packet.length);
            }
            robot->advance(frame.wait_ms / 1000.0);
            t += frame.wait_ms / 1000.0;
            const auto [x, y, heading] = pose(std::min(t, 8.0));
            const double distance = std::hypot(robot->state().x - x, robot->state().y - y);
            sum += distance;
            most = std::max(most, distance);
            EXPECT_NEAR(robot->state().heading * 3.14159265 / 180, heading, 0.1) << t;
        }
        EXPECT_LT(sum / 82, 1);
        EXPECT_LT(most, 3);
        robot->advance(0.3);
        EXPECT_NEAR(robot->state().x, 0, 0.1);
        EXPECT_EQ(robot->state().packetsUnreadable + robot->state().commandsIgnored, 0u) << robot->state().problem;
    }
}

TEST_F(PuppetTest, AnimationFilesOfAnyBytes)
{
    const struct {
        std::vector<uint8_t> bytes;
        size_t frames;
        const char* problem;
        size_t at;
    } cases[] = {
        {{}, 0, "", 0},
        {{0x43, 1, 2, 3, 0x81, 5, 0x82, 1, 0}, 2, "", 9},
        {{0x43, 1, 2, 3}, 1, "", 4},
        {{0x81, 5, 0x40}, 1, "no record begins with this byte", 2},
        {{0x55}, 0, "no record begins with this byte", 0},
        {{0x54, 1}, 0, "the record is cut off", 0},
        {{0x82, 1}, 0, "the record is cut off", 0},
    };
    for (const auto& c : cases) {
        const auto reading = Simulator::readAnimation(c.bytes.data(), c.bytes.size());
        EXPECT_EQ(reading.frames.size(), c.frames);
        EXPECT_EQ(reading.problem, c.problem);
        EXPECT_EQ(reading.problemAt, c.at);
    }
}

}  // namespace
