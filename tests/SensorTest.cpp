// Sensor packets to documents: each field and event once, and the state that lasts from report to report.
#include <array>
#include <cmath>
#include <cstring>
#include <sstream>

#include <gtest/gtest.h>

#include "CoreUtility/PayloadText.h"
#include "HAL/MessagePacketizers/PacketizerInteraction.h"
#include "HAL/MessagePacketizers/PacketizerShell.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "support/Support.h"

namespace {

using Bytes = std::array<uint8_t, HAL_PACKET_SIZE>;

struct Change {
    int byte, value;
};

Bytes packetWith(const std::vector<Change>& changes)
{
    Bytes bytes{};
    for (const Change& change : changes) {
        bytes[static_cast<size_t>(change.byte)] = static_cast<uint8_t>(change.value);
    }
    return bytes;
}

// A robot whose time stands still unless a test moves it.
class SensorTest : public ::testing::Test {
protected:
    SensorTest()
    {
        const ZKClock clock = {this,
                               [](void* user, int64_t* seconds, int32_t* microseconds) {
                                   const int64_t now = static_cast<SensorTest*>(user)->nowMicroseconds;
                                   *seconds = 1000 + now / 1000000;
                                   *microseconds = static_cast<int32_t>(now % 1000000);
                               },
                               nullptr};
        ZKSetClock(&clock);
    }
    ~SensorTest() override
    {
        ZKTranslatorDestroy(translator);
        ZKSetClock(nullptr);
    }

    void useRobot(uint32_t type)
    {
        ZKTranslatorDestroy(translator);
        translator = ZKTranslatorCreate(type);
    }
    std::string decode(const Bytes& first)
    {
        return decode(std::vector<Bytes>{first});
    }
    std::string decode(const std::vector<Bytes>& report)
    {
        HALPacket_t packets[3] = {};
        for (size_t i = 0; i < report.size(); ++i) {
            packets[i].length = HAL_PACKET_SIZE;
            std::memcpy(packets[i].data, report[i].data(), HAL_PACKET_SIZE);
        }
        char json[ZK_MAX_REPORT_SIZE] = "";
        const size_t needed = ZKTranslatorDecode(translator, packets, report.size(), json, sizeof json);
        EXPECT_EQ(needed, report.empty() ? 0 : std::strlen(json) + 1);
        return json;
    }
    // One member of a document, "" if it has none.
    static std::string member(const std::string& json, const std::string& id)
    {
        const size_t begin = json.find(",\"" + id + "\":");
        if (begin == std::string::npos) {
            return "";
        }
        const size_t value = begin + id.size() + 4;
        return json.substr(value, json.find('}', value) + 1 - value);
    }

    support::Printed printed;
    int64_t nowMicroseconds = 0;
    ZKTranslator* translator = ZKTranslatorCreate(ZK_ROBOT_ORVIK);
};

TEST_F(SensorTest, AReportOfOnePacketByteForByte)
{
    EXPECT_EQ(decode(packetWith({{0, 0xAF}, {1, 0xFE}})),
              "{\"tm\":4094,\"2003\":{\"x\":0,\"y\":0,\"z\":0},"
              "\"5101\":{\"data\":[175,254,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]},"
              "\"1000\":{\"s\":0},\"1001\":{\"s\":0},\"1002\":{\"s\":0},\"1003\":{\"s\":0},"
              "\"3005\":{\"amp\":0,\"clap\":0},"
              "\"4001\":{\"flag\":0},\"4002\":{\"flag\":0},\"4003\":{\"flag\":0},\"4006\":{\"flag\":0}}");
    EXPECT_EQ(decode(std::vector<Bytes>{}), "");
}

TEST_F(SensorTest, AReportOfTwoPacketsByteForByte)
{
    const std::string json = decode({packetWith({}), packetWith({})});
    EXPECT_EQ(json.substr(json.find(",\"5102\"")),
              ",\"5102\":{\"data\":[0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]},\"2004\":{\"r\":0,\"p\":0,\"y\":0},"
              "\"3010\":{\"attitudeRoll\":0,\"attitudePitch\":0,\"attitudeSlope\":0,\"rollType\":0,\"pitchType\":0,"
              "\"slopeType\":0},\"3000\":{\"cm\":50,\"refl\":0},\"3001\":{\"cm\":50,\"refl\":0},"
              "\"3002\":{\"cm\":50,\"refl\":0},\"3003\":{\"cm\":0},\"3004\":{\"cm\":0},\"2000\":{\"degree\":0},"
              "\"2001\":{\"degree\":-0},\"2002\":{\"x\":0,\"y\":0,\"degree\":0}}");
}

struct FieldCase {
    const char* shows;
    int packet;
    std::vector<Change> changes;
    const char* id;
    const char* value;
};

const FieldCase kFields[] = {
    {"accelerations are signed 12-bit values",
     0,
     {{2, 0xFF}, {3, 0x00}, {4, 0x78}, {5, 0xF0}, {6, 0xFF}},
     "2003",
     R"({"x":2,"y":-2.00098,"z":-0.00097704})"},
    {"button 0", 0, {{8, 0x10}}, "1000", R"({"s":1})"},
    {"button 3", 0, {{8, 0x80}}, "1003", R"({"s":1})"},
    {"kidnap", 0, {{11, 0x04}}, "4001", R"({"flag":1})"},
    {"stall", 0, {{11, 0x08}}, "4002", R"({"flag":1})"},
    {"sound in progress", 0, {{11, 0x02}}, "4003", R"({"flag":1})"},
    {"animation in progress", 0, {{11, 0x40}}, "4006", R"({"flag":1})"},
    {"loudness", 0, {{7, 51}}, "3005", R"({"amp":0.2,"clap":0})"},
    {"rates of yaw, pitch and roll",
     1,
     {{0, 0x08}, {2, 0x00}, {3, 0xFF}, {4, 0x70}, {5, 0x01}},
     "2004",
     R"({"r":0.00426314,"p":8.72665,"y":-8.73091})"},
    {"distances have their own tables", 1, {{6, 255}, {7, 33}, {8, 138}}, "3002", R"({"cm":8.75,"refl":138})"},
    {"left is 3001", 1, {{6, 255}, {7, 33}}, "3001", R"({"cm":2.5,"refl":255})"},
    {"right is 3000", 1, {{6, 255}, {7, 33}}, "3000", R"({"cm":15,"refl":33})"},
    {"position in tenths, heading in milliradians",
     1,
     {{9, 0x7F}, {10, 0xFF}, {11, 0x9C}, {12, 0xB8}, {13, 0xF3}},
     "2002",
     R"({"x":204.7,"y":-10,"degree":-180.138})"},
    {"pan has nine bits", 1, {{18, 0x01}, {19, 0x00}}, "2000", R"({"degree":-146.677})"},
    {"tilt has seven bits and is negated", 1, {{18, 0xFE}}, "2001", R"({"degree":0.572958})"},
    {"the left wheel counts 1200 a turn", 1, {{14, 0xB0}, {15, 0x04}}, "3003", R"({"cm":24.6615})"},
    {"the left encoder is signed after all", 1, {{14, 0x50}, {15, 0xFB}}, "3003", R"({"cm":-24.6615})"},
};

TEST_F(SensorTest, FieldsInUnitsOfPeople)
{
    for (const FieldCase& c : kFields) {
        const Bytes changed = packetWith(c.changes);
        const Bytes none{};
        useRobot(ZK_ROBOT_ORVIK);
        EXPECT_EQ(member(decode({c.packet == 0 ? changed : none, c.packet == 1 ? changed : none}), c.id), c.value)
            << c.shows;
    }
}

struct EventCase {
    const char* shows;
    uint32_t robot;
    std::vector<Change> changes;
    const char* id;
    const char* value;
    const char* printed;
};

const EventCase kEvents[] = {
    {"battery of an Orvik",
     ZK_ROBOT_ORVIK,
     {{19, 2}, {16, 0x99}, {17, 0x34}, {18, 0xFF}},
     "3006",
     R"({"chg":1,"level":20,"volt":7988})",
     ""},
    {"battery of a Pell, full earlier",
     ZK_ROBOT_PELL,
     {{15, 2}, {12, 0x17}},
     "3006",
     R"({"chg":0,"level":20,"volt":0})",
     ""},
    {"battery of a Quill", ZK_ROBOT_QUILL, {{15, 2}, {12, 0x0A}}, "3006", R"({"chg":1,"level":10,"volt":0})", ""},
    {"an unknown battery level",
     ZK_ROBOT_QUILL,
     {{15, 2}, {12, 0x03}},
     "3006",
     R"({"chg":0,"level":9999,"volt":0})",
     ""},
    {"beacon",
     ZK_ROBOT_ORVIK,
     {{19, 5}, {16, 0xA5}, {17, 0x11}, {18, 0x22}},
     "3007",
     R"({"dataL":1314,"dataR":2577})",
     ""},
    {"sound direction of a Pell",
     ZK_ROBOT_PELL,
     {{7, 1}, {19, 8}, {16, 0x56}, {17, 0x00}, {18, 0x10}},
     "3005",
     R"({"amp":0.00392157,"mictconf":255,"mictdir":3.14159,"clap":0})",
     ""},
    {"an Orvik trusts it by its share",
     ZK_ROBOT_ORVIK,
     {{7, 1}, {19, 8}, {16, 0x56}, {17, 0x05}, {18, 0x18}},
     "3005",
     R"({"amp":0.00392157,"mictconf":85,"mictdir":-1.5708,"clap":0})",
     ""},
    {"no direction in silence", ZK_ROBOT_PELL, {{19, 8}, {16, 0x56}}, "3005", R"({"amp":0,"clap":0})", ""},
    {"no direction with the veto bit",
     ZK_ROBOT_PELL,
     {{7, 1}, {19, 8}, {16, 0x56}, {18, 0x20}},
     "3005",
     R"({"amp":0.00392157,"clap":0})",
     ""},
    {"confidence must be above 10",
     ZK_ROBOT_ORVIK,
     {{7, 1}, {19, 8}, {16, 0x14}, {17, 0x09}},
     "3005",
     R"({"amp":0.00392157,"clap":0})",
     ""},
    {"ping answer",
     ZK_ROBOT_ORVIK,
     {{19, 255}, {12, 0x34}, {13, 0x12}, {14, 0xFF}, {15, 0xFF}, {16, 0xFF}, {17, 0xFF}},
     "9000",
     R"({"pingID":4660,"pingCount":4294967295})",
     ""},
    {"second beacon",
     ZK_ROBOT_ORVIK,
     {{19, 129}, {12, 0xFA}, {13, 0xF7}, {14, 0xFF}, {15, 0x00}, {16, 0xF1}, {17, 0xBE}, {18, 0xB6}},
     "3009",
     R"({"rbtType":1003,"rbtID":127,"dataType":1,"dataLnBits":12,"data":1052671,"rcvrs":[7,3,5,5,5]})",
     ""},
    {"second beacon of strangers",
     ZK_ROBOT_ORVIK,
     {{19, 129}, {12, 7}, {13, 0x08}},
     "3009",
     R"({"rbtType":1000,"rbtID":0,"dataType":2,"dataLnBits":30,"data":0,"rcvrs":[0,0,0,0,0]})",
     "ERROR: beacon: unhandled robot type: 7\nERROR: beacon: unhandled data-type: 2\n"},
    {"unknown events",
     ZK_ROBOT_ORVIK,
     {{19, 3}, {15, 200}},
     "3006",
     "",
     "Short sensor event - unrecognized event 3\nShort sensor event - unrecognized event 200\n"},
    {"no second event inside a long one",
     ZK_ROBOT_ORVIK,
     {{19, 130}, {15, 2}},
     "3006",
     "",
     "Long sensor event - unrecognized event 130\n"},
    {"no events", ZK_ROBOT_ORVIK, {{19, 4}, {15, 0}}, "3006", "", ""},
    {"a clap flag alone",
     ZK_ROBOT_ORVIK,
     {{11, 1}},
     "3005",
     R"({"amp":0,"clap":1})",
     "unexpected: clap flag set but no sparse clap event.\n"},
};

TEST_F(SensorTest, Events)
{
    for (const EventCase& c : kEvents) {
        useRobot(c.robot);
        EXPECT_EQ(member(decode(packetWith(c.changes)), c.id), c.value) << c.shows;
        EXPECT_EQ(printed.take(), c.printed) << c.shows;
    }
}

TEST_F(SensorTest, WatermarksComeFromTheFirstEventFirst)
{
    const auto watermark = [this](const std::vector<Change>& changes) {
        const std::string pose = member(decode({packetWith(changes), Bytes{}}), "2002");
        const size_t at = pose.find("watermark");
        return at == std::string::npos ? "" : pose.substr(at);
    };
    EXPECT_EQ(watermark({{19, 1}, {16, 200}, {15, 1}, {12, 7}}), "watermark\":200}");
    EXPECT_EQ(watermark({{15, 1}, {12, 7}}), "watermark\":7}");
    EXPECT_EQ(watermark({{19, 255}, {15, 1}, {12, 7}}), "");
}

TEST_F(SensorTest, ClapsAreChangesOfACount)
{
    const auto clap = [this](int count, int flag) {
        const std::string mic = member(decode(packetWith({{19, 6}, {16, count}, {11, flag}})), "3005");
        return mic.substr(mic.find("clap")) + printed.take();
    };
    EXPECT_EQ(clap(5, 0), "clap\":0}");  // the first is nothing new
    EXPECT_EQ(clap(6, 1), "clap\":1}");
    EXPECT_EQ(clap(6, 1), "clap\":0}clap flag set but sparse clap unchanged: likely packet missed.\n");
    EXPECT_EQ(clap(7, 0), "clap\":1}clap flag not set and sparse clap changed: packet(s) missed!\n");
}

TEST_F(SensorTest, WheelsGoOnOverTheEndOfTheirCounters)
{
    const auto turn = [this](int left, int right) {
        const std::string json =
            decode({Bytes{}, packetWith({{14, left & 0xFF}, {15, left >> 8}, {16, right & 0xFF}, {17, right >> 8}})});
        return member(json, "3003") + member(json, "3004");
    };
    EXPECT_EQ(turn(32000, 0x10000 - 32000), R"({"cm":657.64}{"cm":-657.64})");
    EXPECT_EQ(turn(0x10000 - 32000, 32000), R"({"cm":689.166}{"cm":-689.166})");  // one wrap each
    EXPECT_EQ(turn(32000, 0x10000 - 32000), R"({"cm":657.64}{"cm":-657.64})");
}

TEST_F(SensorTest, TheFlatFormIsTheSameDecoder)
{
    ZKPacketBlock_t slots = {};
    EXPECT_STREQ(packets2Json(slots), "");
    const Bytes first = packetWith({{1, 9}});
    slots.bytes[ZK_SLOT_SIZE] = HAL_PACKET_SIZE;  // an empty first slot: the second packet is the report's first
    std::memcpy(slots.bytes + ZK_SLOT_SIZE + 1, first.data(), HAL_PACKET_SIZE);
    EXPECT_EQ(std::string(packets2Json(slots)), decode(first));
    slots.bytes[0] = 19;
    EXPECT_STREQ(packets2Json(slots), "{}");
    EXPECT_EQ(printed.take(), "err:error: incorrect packetSize: 19\n");
}

TEST_F(SensorTest, TooSmallABufferStaysEmpty)
{
    HALPacket_t packet = {99, {}};
    char small[10] = "x";
    const size_t needed = ZKTranslatorDecode(translator, &packet, 1, small, sizeof small);
    EXPECT_GT(needed, sizeof small);
    EXPECT_STREQ(small, "");
    packet.length = 0;
    EXPECT_EQ(ZKTranslatorDecode(translator, &packet, 1, small, sizeof small), 0u);
    packet = {1, {0, 77}};  // a byte behind its length is not read
    char json[ZK_MAX_REPORT_SIZE];
    ZKTranslatorDecode(translator, &packet, 1, json, sizeof json);
    EXPECT_EQ(std::string(json).substr(0, 8), "{\"tm\":0,");
    EXPECT_EQ(ZKTranslatorDecode(translator, nullptr, 1, small, sizeof small), 0u);
    EXPECT_EQ(ZKTranslatorDecode(nullptr, &packet, 1, nullptr, 0), 0u);
}

TEST_F(SensorTest, TheLongestReportFits)
{
    Bytes longest;
    longest.fill(0xFF);
    longest[19] = 129;
    const Bytes second = packetWith({{0, 0xF8},
                                     {4, 0x88},
                                     {6, 201},
                                     {7, 201},
                                     {8, 201},
                                     {9, 0x88},
                                     {12, 1},
                                     {13, 0x80},
                                     {15, 0x80},
                                     {17, 0x80},
                                     {18, 0x81}});
    EXPECT_LT(decode({longest, second}).size(), size_t{ZK_MAX_REPORT_SIZE} / 2);
}

TEST_F(SensorTest, PairsOnAStream)
{
    std::ostringstream out;
    using HAL::AbstractPacketizer;
    AbstractPacketizer::addKeyValuePairToPayload(out, "a", uint8_t{200}, true);
    AbstractPacketizer::addKeyValuePairToPayload(out, "b", int16_t{-5});
    AbstractPacketizer::addKeyValuePairToPayload(out, "c", 1.5);
    AbstractPacketizer::addKeyValuePairToPayload(out, "d", true);
    AbstractPacketizer::addKeyValuePairToPayload(out, "d", static_cast<char>(-1));
    HAL::PacketizerInteraction::addWheelInfoToPayload(out, 3003u, 2.5);
    const uint8_t bytes[] = {1, 255};
    AbstractPacketizer::addKeyValuePairToPayload(out, "e", bytes, 2);
    uint8_t received[] = {7, 8, 9};
    uint8_t* const begin = received;
    AbstractPacketizer::addKeyValuePairToPayload(out, "f", received, 3);
    AbstractPacketizer::addKeyValuePairToPayload(out, "g", begin, 1);
    EXPECT_EQ(out.str(), R"("a":200,"b":-5,"c":1.5,"d":1,"d":255,"3003":{"cm":2.5},"e":[1,255],"f":[7,8,9],"g":[7])");
}

// A host's packetizer may write onto a stream, and a host may want the library's on a stream.
TEST_F(SensorTest, PacketizersWriteToTextsAndStreams)
{
    class Counter : public HAL::AbstractPacketizer {
    public:
        bool _serialize(const HAL::RobotHW&, std::vector<HALPacket_t>&, const nx_json*) override
        {
            return false;
        }
        bool _deserialize(const HAL::RobotHW&, const std::vector<HALPacket_t>& packets,
                          std::ostringstream& out) override
        {
            out << "{\"packets\":" << packets.size() << "}";
            return !packets.empty();
        }
    };
    const HAL::RobotHW robot;
    const std::vector<HALPacket_t> packets = {{6, {0xC8, '>', 'h', 'i', '!', 3}}};
    std::string payload = "before";
    EXPECT_TRUE(Counter().deserializePacketsToPayload(robot, packets, payload));
    EXPECT_EQ(payload, "{\"packets\":1}");
    EXPECT_FALSE(Counter().deserializePacketsToPayload(robot, {}, payload));

    std::ostringstream out;
    out << "answer: ";
    HAL::PacketizerShell shell;
    EXPECT_TRUE(shell._deserialize(robot, packets, out));
    EXPECT_EQ(out.str(), "answer: {\"res\":\"hi!\"}");
    HAL::PacketizerInteraction sensors;
    EXPECT_FALSE(sensors._deserialize(robot, {}, out));
    EXPECT_EQ(out.str(), "answer: {\"res\":\"hi!\"}");
}

TEST_F(SensorTest, PacketQuality)
{
    HAL::packetQualityInfo info;
    HAL::PacketizerInteraction::initPacketQualityInfo(&info);
    char line[300];
    const auto receive = [&](int sequence) {
        const uint8_t data[] = {static_cast<uint8_t>(sequence << 4 | 0xA), 0x0B};
        HAL::PacketizerInteraction::analyzeQuality(&info, data, sizeof data, line, sizeof line);
        return std::to_string(info.missCount) + ' ' + std::to_string(info.duplicateCount) + ' ' +
               std::to_string(info.seriesCount);
    };
    EXPECT_EQ(receive(3), "0 0 0");
    EXPECT_EQ(receive(3), "0 1 0");
    EXPECT_EQ(receive(6), "2 1 0");
    EXPECT_EQ(receive(14), "9 1 0");
    nowMicroseconds = 1234567;
    EXPECT_EQ(receive(1), "11 1 1");  // 14 to 1 loses two
    EXPECT_STREQ(line,
                 "t:1.234 seqNum: 1 seriesCount:   1 packetCount:     5 packetMissCount:  11 missRate:68.75% "
                 "dupeCount:   1 dupeRate:6.25% wrongRate:75.00% data: 1a,0b\n");
    char cut[6];
    const uint8_t data[] = {0};
    HAL::PacketizerInteraction::analyzeQuality(&info, data, 1, cut, sizeof cut);
    EXPECT_STREQ(cut, "t:1.2");
    HAL::PacketizerInteraction::analyzeQuality(&info, data, 0, cut, sizeof cut);
}

}  // namespace
