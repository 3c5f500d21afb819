// The message container, the parser on its own, and how long packets stay readable.
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "HAL/RobotHardware/CommandBits.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"
#include "HAL/RobotHardware/WorkingRecordPool.h"
#include "support/Support.h"

namespace {

using HAL::Ctlr2BotMsg;
using HAL::RobotHW;

std::unique_ptr<RobotHW> robotOf(uint32_t type)
{
    auto robot = std::make_unique<RobotHW>();
    robot->_setRobotType(type);
    return robot;
}

TEST(CommandMessageTest, ARobotTypeDecidesWhichRecordsExist)
{
    const auto pell = robotOf(ZK_ROBOT_PELL);
    Ctlr2BotMsg message;
    EXPECT_EQ(message.getLEDStorage(106), nullptr);
    EXPECT_EQ(message.GetHwData(), nullptr);
    pell->initComponentsForCtlr2BotMsg(&message);
    EXPECT_EQ(message.getMotorWheelStorage(200), nullptr);
    EXPECT_EQ(message.getLEDStorage(105), nullptr);
    EXPECT_EQ(message.getRGBStorage(101), nullptr);
    ASSERT_NE(message.getRGBStorage(104), nullptr);
    EXPECT_EQ(message.getRGBStorage(100), message.getRGBStorage(104));
    message.getRGBStorage(100)->red = 9;
    EXPECT_EQ(message.getRGBStorage(104)->red, 9);
    EXPECT_EQ(message.getRGBStorage(100)->componentId, ZK_COMPONENT_RGB_104);
    EXPECT_EQ(message.getEyeRingStorage(100)->componentId, ZK_COMPONENT_EYE_RING);
    EXPECT_EQ(message.getEyeRingStorage(104), nullptr);

    const auto quill = robotOf(ZK_ROBOT_QUILL);
    quill->initComponentsForCtlr2BotMsg(&message);
    EXPECT_EQ(message.getPamplemousseStorage(451)->componentId, ZK_COMPONENT_PAMPLEMOUSSE_STOP);
    EXPECT_EQ(message.getMotorServoStorage(209)->componentId, ZK_COMPONENT_PAN_209);
    const auto orvik = robotOf(ZK_ROBOT_ORVIK);
    orvik->initComponentsForCtlr2BotMsg(&message);
    EXPECT_EQ(message.getPamplemousseStorage(450), nullptr);
    EXPECT_EQ(message.getScalarStorage(214)->componentId, ZK_COMPONENT_SCALAR_214);
}

TEST(CommandMessageTest, CommandsPrintInTheOrderOfTheMaps)
{
    support::Printed printed;
    const auto robot = robotOf(ZK_ROBOT_ORVIK);
    APICore::BotMessengerBuffer parser(robot.get());
    Ctlr2BotMsg message;
    robot->initComponentsForCtlr2BotMsg(&message);
    message.getSpeakerStorage(300)->fileName[0] = 'S';
    message.getBodyPoseStorage(205)->theta = 3.141592653589793;
    message.getMotorServoStorage(203)->angle = -1.5707963267948966;
    message.getRGBStorage(104)->green = 7;
    for (const unsigned id : {304u, 300u, 205u, 203u, 104u, 211u, 106u, 1u, 9000u, 100u}) {
        robot->setCommand(message.GetHwData(), id);
    }
    message.printCommands();
    EXPECT_EQ(printed.take(),
              "Speaker Cmd: Index = S\n"
              "Body Pose Cmd: X = 0.000000 Y = 0.000000 Degrees = 180.000000 Time = 0.000000 Mode = 0 Dir = 0 "
              "WrapTheta = 0MotorWheel Cmd: Speed = 0.000000\nMotorWheel Cmd: Speed = 0.000000\n"
              "MotorServo Cmd: Degrees = -90.000000\nLed Cmd: Brightness = 0\n"
              "Rgb Cmd: r = 0, g = 7, b = 0\nRgb Cmd: r = 0, g = 7, b = 0\n"  // under 100 and under 104
              "Eye Cmd: animationId = 0, bitmap = 0000, brightness: 0\nPower Cmd: state = 0, \n"
              "AudioSynth Cmd: type = 0\n");

    HALEyeRing_t& eye = *message.getEyeRingStorage(100);
    eye.brightnessMode = 2;
    robot->setCommand(message.GetHwData(), 100);
    EXPECT_EQ(printed.take(), "error: unsupported brightnessMode: 2\n");
    robot->setCommand(nullptr, 100);
}

TEST(CommandMessageTest, DataThatNoMessageMadeTakesCommands)
{
    const auto robot = robotOf(ZK_ROBOT_ORVIK);
    const auto data = std::make_unique<HAL::robot_hw0_cmd_data>();  // all zero
    data->rgb102.red = 9;
    for (const unsigned id : {102u, 205u, 9000u}) {
        robot->setCommand(data.get(), id);
    }
    EXPECT_TRUE(data->rgb102.isSet && data->bodyPose.isSet && data->ping.isSet);
    EXPECT_FALSE(data->rgb103.isSet);
    EXPECT_EQ(data->rgb102.red, 9);
    EXPECT_EQ(data->commandMask, HAL::kBitRgb102 | HAL::kBitBodyPose | HAL::kBitPing);
}

TEST(CommandMessageTest, TheParserKeepsToItsRecord)
{
    support::Printed printed;
    const auto robot = robotOf(1234);
    APICore::BotMessengerBuffer parser(robot.get());
    ZKHAL::JsonDocument document;
    const auto parse = [&document](const std::string& json) { return document.parse(json.c_str(), json.size()); };

    HALMotorServo_t servo = {};
    parser.parseMotorHeadPanServo(parse(R"({"degree":-500,"hold":2})"), &servo);
    EXPECT_DOUBLE_EQ(servo.angle, -120 * 2 * 3.141592653589793 / 360);
    EXPECT_EQ(servo.hold, 1);
    EXPECT_EQ(printed.take(), "unhandled robot type (1234) for head servo value, defaulting to orvik\n");
    HALButton_t button = {};
    parser.parseButton(parse(R"({"s":0})"), &button);
    EXPECT_EQ(button.pressed, 1);
    HALDistance_t distance = {};
    parser.parseDistance(parse(R"({"cm":2.5,"refl":7})"), &distance);
    EXPECT_EQ(distance.distance, 2.5);
    EXPECT_EQ(distance.reflectance, 7);
    HALBodyMotionLinearAngular_t motion = {};
    motion.linearVelocity = 3;
    parser.parseBodyMotionLinearAngular(parse("{}"), &motion);
    EXPECT_EQ(motion.linearVelocity, 3);
    EXPECT_TRUE(std::isnan(motion.linearAcceleration) && std::isnan(motion.angularAcceleration));
    parser.parsePing(parse("{}"), nullptr);
    parser.parsePower(nullptr, nullptr);
}

TEST(CommandMessageTest, OneDescriptionAcceptsItsComponentsOnly)
{
    support::Printed printed;
    struct {
        uint32_t type;
        std::vector<unsigned> yes, no;
    } const cases[] = {
        {ZK_ROBOT_QUILL, {1, 104, 106, 107, 111, 200, 451, 9000, 4711}, {105}},
        {ZK_ROBOT_ORVIK, {1, 105, 106, 112, 214, 450, 6001}, {107, 108, 109, 110, 111}},
        {ZK_ROBOT_PELL, {1, 100, 101, 105, 106, 300, 304, 305, 5000, 6001, 9000}, {107, 200, 301, 410, 450, 2}},
        {ZK_ROBOT_RUSK, {}, {1, 106, 200, 9000}},
    };
    for (const auto& c : cases) {
        const auto robot = robotOf(c.type);
        for (const unsigned id : c.yes) {
            EXPECT_TRUE(robot->validCommandComponentIndex(static_cast<ZKComponentId>(id))) << c.type << " " << id;
        }
        for (const unsigned id : c.no) {
            EXPECT_FALSE(robot->validCommandComponentIndex(static_cast<ZKComponentId>(id))) << c.type << " " << id;
        }
    }
    EXPECT_EQ(printed.take(), "");
    EXPECT_FALSE(robotOf(2001)->validCommandComponentIndex(ZK_COMPONENT_POWER));
    EXPECT_EQ(printed.take(),
              "error: unhandled robot type: 2001 at "
              "bool HAL::RobotHW::validCommandComponentIndex(ZKComponentId)\n");
}

TEST(CommandMessageTest, PacketsOutliveTheirMessageFor63Conversions)
{
    const auto robot = robotOf(ZK_ROBOT_ORVIK);
    APICore::BotMessengerBuffer parser(robot.get());
    std::vector<HALPacket_t*> first;
    {
        APICore::BotMessengerBuffer other(robot.get());
        first = other.convertCtlrMessageToPackets(R"({"9000":{"pingID":1}})", 100);
    }
    ASSERT_EQ(first.size(), 1u);
    for (uint64_t i = 0; i < HAL::kReadableConversions; ++i) {
        ASSERT_EQ(parser.convertCtlrMessageToPackets(R"({"106":{"brightness":1}})", 100).size(), 1u);
        ASSERT_EQ(support::hex(first[0]->data, first[0]->length), "FF 01 00");
    }
    EXPECT_LE(robot->workingRecords()->size(), HAL::kReadableConversions + 1);
}

TEST(CommandMessageTest, LiveMessagesMakeThePoolGrowAndItShrinksAgain)
{
    const auto robot = robotOf(ZK_ROBOT_ORVIK);
    const auto pool = robot->workingRecords();
    std::vector<std::unique_ptr<Ctlr2BotMsg>> messages;
    for (int i = 0; i < 1000; ++i) {
        messages.push_back(std::make_unique<Ctlr2BotMsg>());
        robot->initComponentsForCtlr2BotMsg(messages.back().get());
        messages.back()->getPingStorage(9000)->pingId = static_cast<uint16_t>(i);
    }
    EXPECT_EQ(pool->size(), 1000u);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(messages[static_cast<size_t>(i)]->getPingStorage(9000)->pingId, i);
    }
    messages.clear();
    Ctlr2BotMsg message;
    for (int i = 0; i < 200; ++i) {
        robot->initComponentsForCtlr2BotMsg(&message);
        EXPECT_EQ(message.getPingStorage(9000)->pingId, 0);
    }
    EXPECT_LE(pool->size(), HAL::kReadableConversions + 2);
}

TEST(CommandMessageTest, AMessageMayOutliveItsDescription)
{
    Ctlr2BotMsg message;
    robotOf(ZK_ROBOT_ORVIK)->initComponentsForCtlr2BotMsg(&message);
    message.getPingStorage(9000)->pingId = 5;
    EXPECT_EQ(message.getPingStorage(9000)->pingId, 5);
}

TEST(CommandMessageTest, ASecondPackingAddsToTheSamePackets)
{
    const auto robot = robotOf(ZK_ROBOT_ORVIK);
    Ctlr2BotMsg message;
    EXPECT_TRUE(robot->packetizeCtlr2BotMsg(&message).empty());
    robot->initComponentsForCtlr2BotMsg(&message);
    robot->setCommand(message.GetHwData(), 106);
    EXPECT_EQ(robot->packetizeCtlr2BotMsg(&message).size(), 1u);
    robot->setCommand(message.GetHwData(), 9000);
    const auto packets = robot->packetizeCtlr2BotMsg(&message);
    ASSERT_EQ(packets.size(), 1u);
    EXPECT_EQ(support::hex(packets[0]->data, packets[0]->length), "0D 00 FF 00 00");
}

// A text of its own the parser reads a few bytes at a time, a tree from elsewhere byte by byte.
TEST(CommandMessageTest, TextsAndTreesAreReadTheSame)
{
    const char* const kDocuments[] = {
        R"({"204":{"angular_acc_deg_s_s":90,"linear_acc_cm_s_s":100,"linear_cm_s":-20.5,"angular_deg_s":45,"pose":1}})",
        R"({"204":{"angular_acc_deg_s_":90,"linear_acc_cm_s_sx":100,"":1,"linear_cm":20,"angular_deg_s2":45}})",
        R"({"304":{"tone2":{"phase":3,"freq":440.25,"type":2,"freq":1},"tone1":{"type":1,"phase":2},"tone3":[1]}})",
        R"({"206":{"hold":1,"time":0.75,"degree":5.5,"time":1.5},"205":{"x":[1],"ease":true,"y":-3}})",
        R"({"211":{"right_cm_s":2,"left_cm_s":1},"102":[1,2],"103":{"b":1,"b":0.5,"r":1}})",
    };
    for (const char* text : kDocuments) {
        const auto ofText = robotOf(ZK_ROBOT_ORVIK), ofTree = robotOf(ZK_ROBOT_ORVIK);
        APICore::BotMessengerBuffer textParser(ofText.get()), treeParser(ofTree.get());
        std::string copy = text;
        const nx_json* tree = nx_json_parse_utf8(copy.data());
        const auto expected = treeParser.convertCtlrMessageToPackets(tree);
        const auto packets = textParser.convertCtlrMessageToPackets(text, std::strlen(text));
        ASSERT_EQ(packets.size(), expected.size()) << text;
        for (size_t i = 0; i < packets.size(); ++i) {
            EXPECT_EQ(support::hex(packets[i]->data, packets[i]->length),
                      support::hex(expected[i]->data, expected[i]->length))
                << text;
        }
        nx_json_free(tree);
    }
}

// Records are made fresh in steps: none may reach into what lies behind the last.
TEST(CommandMessageTest, FreshRecordsLeaveThePacketListAlone)
{
    const auto robot = robotOf(ZK_ROBOT_ORVIK);
    Ctlr2BotMsg message;
    robot->initComponentsForCtlr2BotMsg(&message);
    robot->setCommand(message.GetHwData(), ZK_COMPONENT_LED_106);
    const HAL::PacketList& list = HAL::RobotHW_rev0::pack(&message, robot.get());
    ASSERT_EQ(list.count, 1u);
    const HALPacket_t* packet = list.packets[0];
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    message.printCommands();  // touches every record
    ZKSetMessageSink(nullptr, nullptr);
    ASSERT_NE(message.getBodyPoseStorage(ZK_COMPONENT_BODY_POSE), nullptr);
    EXPECT_EQ(list.count, 1u);
    EXPECT_EQ(list.packets[0], packet);
}

TEST(CommandMessageTest, ABufferWithoutARobotIsEmpty)
{
    APICore::BotMessengerBuffer none(nullptr);
    EXPECT_TRUE(none.convertCtlrMessageToPackets("[]", 2).empty());
    const auto robot = robotOf(ZK_ROBOT_ORVIK);
    APICore::BotMessengerBuffer parser(robot.get());
    EXPECT_TRUE(parser.convertCtlrMessageToPackets("[]", 0).empty());
    EXPECT_EQ(parser.convertCtlrMessageToPackets("{\"106\":{}}tail", 10).size(), 1u);  // reads no further
    parser.sentControllerMessage();
    parser.sentControllerMessage();
}

}  // namespace
