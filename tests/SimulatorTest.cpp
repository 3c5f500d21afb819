// The virtual robot: its motion against closed forms, its bytes against literal ones, and its patience.
#include <cmath>

#include <gtest/gtest.h>

#include "CppEngine/Robot.h"
#include "Simulator/Link.h"
#include "Simulator/Trigonometry.h"
#include "Simulator/VirtualRobot.h"
#include "support/Host.h"

namespace {

using Simulator::Notification;
using Simulator::VirtualRobot;
using support::hex;

class SimulatorTest : public ::testing::Test {
protected:
    explicit SimulatorTest(uint32_t type = ZK_ROBOT_QUILL, uint64_t seed = 1) : robot(VirtualRobot::create(type, seed))
    {
    }
    void command(const std::string& json)
    {
        send(*robot, json, robot->type());
    }
    // To a robot itself, or to its end of a link.
    template <class Peer>
    static void send(Peer& to, const std::string& json, uint32_t type)
    {
        ZKTranslator* translator = ZKTranslatorCreate(type);
        HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
        size_t count = 0;
        ZKTranslatorTranslate(translator, json.c_str(), packets, &count, nullptr, 0);
        for (size_t i = 0; i < count; ++i) {
            EXPECT_TRUE(to.write(Kestrel::gChannelCommandControl.c_str(), packets[i].data, packets[i].length));
        }
        ZKTranslatorDestroy(translator);
    }
    // All notifications of a channel since the last call, as hex.
    static std::vector<std::string> take(VirtualRobot& from, const std::string& channel)
    {
        std::vector<std::string> all;
        for (Notification each; from.nextNotification(each);) {
            if (each.channel == channel) {
                all.push_back(hex(reinterpret_cast<const uint8_t*>(each.data.data()), each.data.size()));
            }
        }
        return all;
    }
    // The last report, decoded by a handle of its own.
    static std::string report(VirtualRobot& from)
    {
        HALPacket_t packets[2] = {};
        for (Notification each; from.nextNotification(each);) {
            const bool isFirst = each.channel == Kestrel::gChannelSensorPacket1;
            if (isFirst || each.channel == Kestrel::gChannelSensorPacket2) {
                packets[isFirst ? 0 : 1] = Simulator::packetOf(each);
            }
        }
        ZKTranslator* translator = ZKTranslatorCreate(from.type());
        char json[ZK_MAX_REPORT_SIZE] = "";
        ZKTranslatorDecode(translator, packets, 2, json, sizeof json);
        ZKTranslatorDestroy(translator);
        return json;
    }
    void expectPose(double x, double y, double heading, double slack = 0.02)
    {
        EXPECT_NEAR(robot->state().x, x, slack);
        EXPECT_NEAR(robot->state().y, y, slack);
        EXPECT_NEAR(std::remainder(robot->state().heading - heading, 360), 0, slack * 10);
    }

    support::Host host;
    std::unique_ptr<VirtualRobot> robot;
};

// What each family obeys is what it has: a Pell shows the lights of a combined state, and lets light messages be.
TEST_F(SimulatorTest, RobotsObeyWhatTheyHave)
{
    const std::string combined = R"({"211":{"left_cm_s":10,"right_cm_s":10},"104":{"r":1},"102":{"g":1},"103":{"b":1},
        "202":{"degree":5},"203":{"degree":5},"100":{"index":[1]}})";
    const auto pell = VirtualRobot::create(ZK_ROBOT_PELL, 1);
    send(*pell, combined, ZK_ROBOT_ORVIK);
    send(*pell, R"({"410":{"message":5}})", ZK_ROBOT_ORVIK);
    EXPECT_EQ(pell->state().light104.red, 255);
    EXPECT_EQ(pell->state().eyeLights, 1);
    EXPECT_EQ(pell->state().lightMessage, 0);
    EXPECT_FALSE(pell->state().isDriving);
    EXPECT_EQ(pell->state().commandsDone, 1u);
    EXPECT_EQ(pell->state().commandsIgnored, 2u);
    command(combined);
    command(R"({"410":{"message":5}})");
    EXPECT_TRUE(robot->state().isDriving);
    EXPECT_EQ(robot->state().lightMessage, 5);
    EXPECT_EQ(robot->state().commandsIgnored, 0u);
    const auto orvik = VirtualRobot::create(ZK_ROBOT_ORVIK, 1);
    send(*orvik, R"({"450":{"id":20},"107":{"r":1}})", ZK_ROBOT_QUILL);  // a Quill's
    send(*orvik, R"({"5000":{"avatar":1}})", ZK_ROBOT_QUILL);
    EXPECT_EQ(orvik->state().commandsIgnored, 3u);
}

TEST_F(SimulatorTest, SineAndCosine)
{
    for (int i = -100000; i <= 100000; ++i) {
        const double x = i * 0.00123;
        ASSERT_NEAR(Simulator::sine(x), std::sin(x), 1e-13) << x;
        ASSERT_NEAR(Simulator::cosine(x), std::cos(x), 1e-13) << x;
    }
}

TEST_F(SimulatorTest, DrivesAsTheFormulasSay)
{
    const double kPi = 3.14159265358979;
    // A circle of 20 cm at 1 rad/s: the wheels are 10 cm apart.
    command(R"({"211":{"left_cm_s":15,"right_cm_s":25}})");
    const double t = 24.0 / 30;  // whole steps
    robot->advance(t);
    expectPose(20 * std::sin(t), 20 - 20 * std::cos(t), t * 180 / kPi);
    EXPECT_NEAR(robot->state().leftTravel, 15 * t, 0.01);
    EXPECT_NEAR(robot->state().rightTravel, 25 * t, 0.01);

    robot = VirtualRobot::create(ZK_ROBOT_ORVIK, 1);
    command(R"({"204":{"linear_cm_s":10,"angular_deg_s":0}})");
    robot->advance(3);
    expectPose(30, 0, 0);
    command(R"({"204":{"linear_cm_s":0,"angular_deg_s":-90}})");
    robot->advance(2);
    expectPose(30, 0, -180, 0.1);
    command(R"({"204":{"linear_cm_s":20,"linear_acc_cm_s_s":10,"angular_deg_s":0,"angular_acc_deg_s_s":90}})");
    robot->advance(3);  // the last turn ends in 1 s: 90 / 90
    EXPECT_FALSE(robot->state().isStalled);
    EXPECT_NEAR(robot->state().rightTravel + robot->state().leftTravel, 2 * (30 + 0.5 * 10 * 4 + 20), 0.5);

    // Poses: relative ones add up, the last two are global.
    robot = VirtualRobot::create(ZK_ROBOT_ORVIK, 1);
    for (int side = 0; side < 4; ++side) {
        command(R"({"205":{"x":30,"y":0,"degree":0,"time":1,"mode":1}})");
        robot->advance(0.5);
        EXPECT_TRUE(robot->state().isDriving);
        robot->advance(0.6);
        command(R"({"205":{"x":0,"y":0,"degree":90,"time":1,"mode":1}})");
        robot->advance(1.1);
    }
    expectPose(0, 0, 0, 0.2);
    EXPECT_NEAR(robot->state().rightTravel - robot->state().leftTravel, 10 * 2 * kPi, 0.05);
    EXPECT_EQ(robot->state().posesReached, 8);
    command(R"({"205":{"x":-20,"y":10,"degree":45,"time":2,"mode":4}})");
    robot->advance(1);
    expectPose(-10, 5, 22.5, 0.2);
    robot->advance(1.1);
    expectPose(-20, 10, 45, 0.05);  // to 0.01 rad
    command(R"({"205":{"x":0,"y":0,"degree":0,"time":2,"mode":5,"ease":1}})");
    robot->advance(0.5);
    expectPose(-20 + 20 * 0.15625, 10 - 10 * 0.15625, 45 * (1 - 0.15625), 0.1);
    for (const char* hold : {"0", "2", "3"}) {
        command(std::string(R"({"205":{"x":9,"time":1,"mode":)") + hold + "}}");
        EXPECT_FALSE(robot->state().isDriving);
    }
}

TEST_F(SimulatorTest, WallsStopItAndItsSensorsSeeThem)
{
    robot->moveByHand(80, 0, 0);
    robot->advance(0.1);
    std::string json = report(*robot);
    // 20 cm to the wall straight ahead; 25 degrees aside, from its edge: 20 / cos 25 - 8 = 14.07.
    EXPECT_NE(json.find("\"3001\":{\"cm\":14.1"), std::string::npos) << json;
    EXPECT_NE(json.find("\"3000\":{\"cm\":14.1"), std::string::npos) << json;
    EXPECT_NE(json.find("\"3002\":{\"cm\":50"), std::string::npos) << json;
    EXPECT_NE(json.find("\"3003\":{\"cm\":80.0"), std::string::npos) << "its wheels turned along: " << json;
    command(R"({"211":{"left_cm_s":30,"right_cm_s":30}})");
    robot->advance(1);
    expectPose(92, 0, 0);
    EXPECT_TRUE(robot->state().isStalled);
    EXPECT_NEAR(robot->state().leftTravel, 92, 0.02);
    json = report(*robot);
    EXPECT_NE(json.find("\"4002\":{\"flag\":1}"), std::string::npos) << json;
    command(R"({"211":{"left_cm_s":-30,"right_cm_s":-30}})");
    robot->advance(1);
    expectPose(62, 0, 0);

    // Through the air its wheels stand still, and it believes to be where it was.
    robot->lift(true);
    robot->moveByHand(0, -50, 90);
    robot->lift(false);
    EXPECT_NEAR(robot->state().odometryX, 62, 0.02);
    expectPose(0, -50, 90);
    command(R"({"205":{"x":10,"y":0,"degree":0,"time":1,"mode":1}})");
    robot->advance(1.1);
    expectPose(0, -40, 90);
    EXPECT_NEAR(robot->state().odometryX, 72, 0.02);
    EXPECT_NEAR(robot->state().odometryHeading, 0, 0.02);
    robot->lift(true);
    command(R"({"211":{"left_cm_s":10,"right_cm_s":10}})");
    robot->advance(1);
    expectPose(0, -40, 90);
    EXPECT_NEAR(robot->state().odometryX, 82, 0.02) << "in the air its wheels turn all the same";

    // Turned by hand the shorter way, over the half turn.
    robot = VirtualRobot::create(ZK_ROBOT_ORVIK, 1);
    robot->moveByHand(0, 0, 179);
    const double before = robot->state().rightTravel;
    robot->moveByHand(0, 0, -179);
    EXPECT_NEAR(robot->state().rightTravel - before, 5 * 2 * 3.14159265 / 180, 0.01);
    robot->moveByHand(NAN, NAN, 0);
    expectPose(0, 0, 0);
    // A pose behind a wall is not reached.
    command(R"({"205":{"x":300,"y":0,"degree":0,"time":1,"mode":1}})");
    robot->advance(4);
    expectPose(92, 0, 0);
    EXPECT_EQ(robot->state().posesReached, 0);
    const auto pell = VirtualRobot::create(ZK_ROBOT_PELL, 1);
    pell->moveByHand(50, 0, 90);
    EXPECT_EQ(pell->state().x, 50);
    EXPECT_EQ(pell->state().leftTravel, 0) << "it has no wheels";
}

TEST_F(SimulatorTest, ReportsAndEventsInTurn)
{
    for (int i = 0; i < 300; ++i) {
        robot->advance(1.0 / 30);
        ASSERT_EQ(take(*robot, Kestrel::gChannelSensorPacket1).size(), 1u) << i;
    }
    // Under a ping for every report the battery and the claps still come through.
    int pings = 0, batteries = 0, claps = 0;
    for (int i = 0; i < 300; ++i) {
        command(R"({"9000":{"pingID":5}})");
        if (i % 100 == 0) {
            robot->clap(0);
        }
        robot->advance(1.0 / 30);
        for (const std::string& packet : take(*robot, Kestrel::gChannelSensorPacket1)) {
            const std::string event1 = packet.substr(57);
            pings += event1 == "FF";
            batteries += event1 == "02";
            claps += event1 == "08";
        }
    }
    EXPECT_GT(pings, 280);
    EXPECT_EQ(batteries, 10);
    EXPECT_EQ(claps, 3);
    for (int i = 0; i < 100; ++i) {
        command(R"({"9000":{"pingID":5}})");
    }
    EXPECT_GT(robot->state().commandsIgnored, 0u) << "what is too much is told";
    robot->handleDisconnect();
    robot->advance(0.1);
    for (const std::string& packet : take(*robot, Kestrel::gChannelSensorPacket1)) {
        EXPECT_NE(packet.substr(57), "FF");
    }
}

TEST_F(SimulatorTest, HeadServosHaveSpeedsAndLimits)
{
    command(R"({"203":{"degree":90},"207":{"degree":90,"time":0.1}})");
    robot->advance(0.2);
    EXPECT_NEAR(robot->state().pan, 36, 0.1) << "180 degrees/s, whatever the time";
    command(R"({"207":{"degree":0,"time":2},"202":{"degree":90}})");
    robot->advance(1);
    EXPECT_NEAR(robot->state().pan, 18, 0.1);
    EXPECT_NEAR(robot->state().tilt, 13, 0.01) << "as far as it goes";
    command(R"({"209":{"angular_deg_s":-45}})");
    robot->advance(2);
    EXPECT_NEAR(robot->state().pan, 18 - 90, 0.5);
    robot->advance(9);
    EXPECT_NEAR(robot->state().pan, -133, 0.01);
    robot->advance(0.1);
    const std::string json = report(*robot);
    EXPECT_NE(json.find("\"2000\":{\"degree\":-132.9"), std::string::npos) << json;
    EXPECT_NE(json.find("\"2001\":{\"degree\":13.1"), std::string::npos) << json;
}

TEST_F(SimulatorTest, CommandsLeaveTheirTrace)
{
    const support::Printed printed;
    command(R"({"102":{"r":1,"g":0.5,"b":0},"107":{"b":1},"108":{"1":1,"3":0.5},"110":{"brightness":1},
                "100":{"brightness":[1,0.5,0,1],"index":{"1":1,"12":1}},"300":{"file":"SYSTHELLO","volume":0.4}})");
    command(R"({"304":{"duration":500,"perc1":7,"tone2":{"type":5,"freq":440.5,"phase":3}}})");
    command(R"({"400":{"cm_s":1},"450":{"id":30,"sidelen_cm":20},"5000":{"color":3,"anim":7},"6001":0})");
    command(R"({"450":{"id":10},"1":{"pwr":2},"214":{"prcnt":-50},"410":{"message":33,"LEDs":[102,106]}})");
    command(R"({"451":{"id":30},"5000":{"name":"Robbie the Great"},"301":{"file":"DANCE"}})");
    const ZKVirtualRobotState& state = robot->state();
    EXPECT_EQ(state.light102.green, 127);
    EXPECT_EQ(state.light107.blue, 255);
    EXPECT_EQ(state.light108[2], 127);
    EXPECT_EQ(state.light110, 255);
    EXPECT_EQ(state.eyeLights, 3);
    EXPECT_EQ(state.eyeBrightness[1], 127);
    EXPECT_STREQ(state.sound, "SYSTHELLO");
    EXPECT_TRUE(state.isSounding && state.isAnimating);
    EXPECT_EQ(state.volume, 40);
    EXPECT_EQ(state.synthDuration, 500);
    EXPECT_EQ(state.synthType[1], 5);
    EXPECT_NEAR(state.synthFrequency[1], 440.5, 1e-9);
    EXPECT_EQ(state.launches[0], 1u);
    EXPECT_EQ(state.behaviourCount, 1u);
    EXPECT_EQ(state.behaviours[0], 10);
    EXPECT_EQ(state.percentage[1], -50);
    EXPECT_EQ(state.lightMessage, 33);
    EXPECT_EQ(state.power, 2);
    EXPECT_EQ(state.clock, 1000u) << "the host's clock";
    EXPECT_EQ(state.packetsUnreadable + state.commandsIgnored, 0u) << state.problem;

    const std::vector<uint8_t> data = robot->manufacturerData();
    const std::string name = robot->localName();
    ZKProcessScan("r", reinterpret_cast<const char*>(data.data()), data.size(), name.data(), name.size());
    ZKRobotInfo info = {};
    info.size = sizeof info;
    ZKGetRobotInfo("r", &info);
    EXPECT_STREQ(info.name, "Robbie the Great");
    EXPECT_EQ(info.personalityColor, 3);
    EXPECT_EQ(info.personalityAnimation, 7);
    EXPECT_EQ(info.type, 1003u);

    // The combined packet: head angles come in radians.
    command(R"({"211":{"left_cm_s":1,"right_cm_s":1},"104":{"r":1},"102":{"g":1},"103":{"b":1},"203":{"degree":20},
                "202":{"degree":-10},"100":{"index":[1]}})");
    robot->advance(1);
    EXPECT_NEAR(state.pan, 20, 0.3);
    EXPECT_NEAR(state.tilt, -10, 0.3);
    EXPECT_EQ(state.light103.blue, 255);
    EXPECT_NEAR(state.x, 1, 0.02);
}

TEST_F(SimulatorTest, BytesOfAllFamilies)
{
    const struct {
        uint32_t type;
        const char *advertised, *name, *answer;
        size_t characteristics;
    } cases[] = {
        {ZK_ROBOT_ORVIK, "03 01 00 00 02 04 01 1C 00 00 00 00", "Virtual Orv", "C8 3E 31 20 32 20 33 03", 7},
        {ZK_ROBOT_PELL, "03 02 00 00 02 04 01 1C 00 00 00 00", "Virtual Pel", "C8 3E 31 20 32 20 33 03", 7},
        {ZK_ROBOT_QUILL, "03 03 01 00 02 04 01 0C 00 00 00 00", "Virtual Qui", "C8 3E 31 20 32 20 33 03", 7},
        {ZK_ROBOT_RUSK, "01 04 00 00 02 04 01 08 00", "Virtual Rus", "31 20 32 20 33 0A", 2},
    };
    for (const auto& c : cases) {
        const auto each = VirtualRobot::create(c.type, 5);
        EXPECT_EQ(hex(each->manufacturerData().data(), 26).substr(0, std::string(c.advertised).size()), c.advertised);
        EXPECT_EQ(each->localName(), c.name);
        EXPECT_EQ(each->characteristics().size(), c.characteristics);
        const std::string line = c.type == ZK_ROBOT_RUSK ? "ECHO 1 2 3\n"
                                                         : "\xC8"
                                                           "A ECHO 1 2 3\n";
        each->write(Kestrel::gChannelShellControl.c_str(), reinterpret_cast<const uint8_t*>(line.data()), line.size());
        each->advance(0.2);
        EXPECT_EQ(take(*each, Kestrel::gChannelShellPacket), std::vector<std::string>{c.answer});
    }
    EXPECT_EQ(VirtualRobot::create(2001, 1), nullptr);

    // The second report of a robot at rest, but for the noise: the first one tells the clap count.
    robot->moveByHand(12.3, -4.5, 90);
    robot->press(3, true);
    robot->clap(-90);
    robot->advance(1.0 / 30);
    report(*robot);
    robot->advance(1.0 / 30);
    std::vector<std::string> first, second;
    for (Notification each; robot->nextNotification(each);) {
        (each.channel == Kestrel::gChannelSensorPacket1 ? first : second)
            .push_back(hex(reinterpret_cast<const uint8_t*>(each.data.data()), each.data.size()));
    }
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].substr(0, 5), "20 06");
    EXPECT_EQ(first[0].substr(21), "FF 80 00 00 01 01 00 00 06 56 0F 18 08")
        << "loud, button 3, clap 1 from 384 of 512";
    // x 123 mm, y -45 mm, heading 1571 mrad; ticks of the wheels; head straight.
    EXPECT_EQ(second[0].substr(0, 17), "20 00 00 00 00 00");
    EXPECT_EQ(second[0].substr(27, 14), "0F 7B D3 23 06");
}

TEST_F(SimulatorTest, NothingItIsSentIsFatal)
{
    const auto pell = VirtualRobot::create(ZK_ROBOT_PELL, 1);
    const auto rusk = VirtualRobot::create(ZK_ROBOT_RUSK, 1);
    send(*pell, R"({"106":{"brightness":1}})", pell->type());
    const uint8_t wheels[] = {0x01, 0x01, 0x2C, 0x01, 0x2C};
    const uint8_t lightOfQuill[] = {0x30, 0xFF, 0xFF, 0xFF};
    pell->write(Kestrel::gChannelCommandControl.c_str(), wheels, sizeof wheels);
    pell->write(Kestrel::gChannelCommandControl.c_str(), lightOfQuill, sizeof lightOfQuill);
    EXPECT_TRUE(pell->write(Kestrel::gChannelFileTransferControl.c_str(), wheels, 1));
    EXPECT_EQ(pell->state().fileWrites, 1u);
    pell->write(Kestrel::gChannelCommandControl.c_str(), wheels, 3);
    pell->write(Kestrel::gChannelCommandControl.c_str(), nullptr, 9);
    EXPECT_FALSE(pell->write(Kestrel::gChannelSensorPacket1.c_str(), wheels, 5));
    EXPECT_FALSE(pell->write(nullptr, wheels, 5));
    EXPECT_FALSE(rusk->write(Kestrel::gChannelCommandControl.c_str(), wheels, 5));
    pell->write(Kestrel::gChannelShellControl.c_str(), wheels, 5);
    EXPECT_EQ(pell->state().commandsDone, 1u);
    EXPECT_EQ(pell->state().commandsIgnored, 2u);
    EXPECT_EQ(pell->state().packetsUnreadable, 2u);
    EXPECT_EQ(pell->state().wrongWrites, 2u);
    EXPECT_EQ(pell->state().shellTextLost, 1u);
    EXPECT_STREQ(rusk->state().problem,
                 "a write to a characteristic that takes none: AF230002-879D-6186-1F49-DECA0E85D9C1");
    pell->advance(2);
    EXPECT_EQ(pell->state().x, 0);

    support::Random random(3);
    for (int i = 0; i < 20000; ++i) {
        uint8_t bytes[32];
        for (uint8_t& byte : bytes) {
            byte = static_cast<uint8_t>(random.next());
        }
        const std::vector<const char*> channels = robot->characteristics();
        robot->write(channels[static_cast<size_t>(random.below(7))], bytes, static_cast<size_t>(random.below(33)));
        robot->moveByHand(random.real(-1e9, 1e9), NAN, INFINITY);
        robot->advance(0.01);
    }
    robot->advance(1e300);
    robot->advance(NAN);
    EXPECT_GT(robot->state().notificationsLost, 0u);
    EXPECT_LE(std::abs(robot->state().x), 92);
    EXPECT_LE(std::abs(robot->state().y), 67);
}

TEST_F(SimulatorTest, ABadLinkDoesWhatItsChancesSay)
{
    std::string problem;
    EXPECT_FALSE(Simulator::parseFaults("drop=0.1,lose=1", problem));
    EXPECT_NE(problem.find("there are drop duplicate"), std::string::npos);
    for (const char* bad : {"drop", "drop=", "drop=2", "drop=-1", "drop=nan", "drop=1x", ",drop=1"}) {
        EXPECT_FALSE(Simulator::parseFaults(bad, problem)) << bad;
    }
    const struct {
        const char* faults;
        double arrived, whole;  // of what was notified, with 10 % slack
    } cases[] = {
        {"", 1, 1},
        {"drop=0.3", 0.7, 0.7},
        {"duplicate=0.5", 1.5, 1.5},
        {"corrupt=0.25", 1, 0.75},
        {"truncate=0.25", 1, 0.75},
        {"delay=0.2", 1, 1},
        {"reorder=0.5", 1, 1},
    };
    for (const auto& c : cases) {
        const auto sender = VirtualRobot::create(ZK_ROBOT_RUSK, 1);
        Simulator::Link link(*sender, *Simulator::parseFaults(c.faults, problem), 9);
        link.connect();
        double arrived = 0, whole = 0;
        bool isInOrder = true;
        int last = 0;
        constexpr int kCount = 2000;
        const auto fetch = [&] {
            for (Notification each; link.nextNotification(each); ++arrived) {
                const std::string text(each.data.data(), each.data.size());
                const bool isWhole = text.size() == 5 && text.back() == '\n' &&
                                     text.find_first_not_of("0123456789\n") == std::string::npos;
                whole += isWhole;
                isInOrder = isInOrder && (!isWhole || std::stoi(text) >= last);
                last = isWhole ? std::stoi(text) : last;
            }
        };
        for (int i = 0; i < kCount; ++i) {
            // Written to the robot itself, so that only the way back is bad.
            const std::string line = "ECHO " + std::to_string(1000 + i) + "\n";
            sender->write(Kestrel::gChannelShellControl.c_str(), reinterpret_cast<const uint8_t*>(line.data()),
                          line.size());
            link.advance(0.02);
            fetch();
        }
        link.advance(2);
        fetch();
        EXPECT_NEAR(arrived / kCount, c.arrived, 0.1 * c.arrived) << c.faults;
        EXPECT_NEAR(whole / kCount, c.whole, 0.1 * c.whole) << c.faults;
        if (std::string(c.faults) != "corrupt=0.25") {  // which may make another number of one
            EXPECT_EQ(isInOrder, std::string(c.faults) != "reorder=0.5") << c.faults;
        }
    }
    Simulator::Link link(*robot, *Simulator::parseFaults("cut=0.5", problem), 1);
    link.connect();
    link.advance(20);
    EXPECT_FALSE(link.isConnected());
    EXPECT_FALSE(link.write(Kestrel::gChannelShellControl.c_str(), nullptr, 0));
}

// A classroom: thirty robots, each driven by its own host over its own link, with the same bytes each time.
TEST_F(SimulatorTest, ThirtyRobotsInOneProcess)
{
    const auto lesson = [](std::string& bytes) {
        struct Seat {
            std::string id;
            std::unique_ptr<VirtualRobot> robot;
            std::unique_ptr<Simulator::Link> link;
            ZKTranslator* translator;
            int reports = 0;
        };
        std::vector<Seat> seats;
        for (int i = 0; i < 30; ++i) {
            Seat seat = {"robot " + std::to_string(i),
                         VirtualRobot::create(1001 + static_cast<uint32_t>(i) % 3, static_cast<uint64_t>(i)), nullptr,
                         ZKTranslatorCreate(1001 + static_cast<uint32_t>(i) % 3)};
            seat.link = std::make_unique<Simulator::Link>(*seat.robot, Simulator::Faults{}, static_cast<uint64_t>(i));
            seat.link->connect();
            const std::vector<uint8_t> data = seat.robot->manufacturerData();
            ZKProcessScan(seat.id.c_str(), reinterpret_cast<const char*>(data.data()), data.size(), nullptr, 0);
            seats.push_back(std::move(seat));
        }
        const auto seatOf = [&](const std::string& id) { return std::stoul(id.substr(6)); };
        ZKHostCallbacks callbacks = {};
        struct Room {
            std::function<void(const char*, const char*, const HALPacket_t**, size_t)> transmit;
            int answered = 0;
        } room;
        room.transmit = [&](const char* id, const char* channel, const HALPacket_t** packets, size_t count) {
            for (size_t i = 0; i < count; ++i) {
                seats[seatOf(id)].link->write(channel, packets[i]->data, packets[i]->length);
            }
        };
        callbacks.size = sizeof callbacks;
        callbacks.user = &room;
        callbacks.log = [](void*, ZKLogSeverity, const char*) {};
        callbacks.transmit = [](void* user, const char* id, const char* channel, const HALPacket_t** packets,
                                size_t count) { static_cast<Room*>(user)->transmit(id, channel, packets, count); };
        callbacks.completed = [](void* user, const char* id, const char*, const char* answer) {
            static_cast<Room*>(user)->answered += std::string(answer) == id;
        };
        ZKSetHostCallbacks(&callbacks);
        for (int tick = 0; tick < 400; ++tick) {
            for (Seat& seat : seats) {
                if (tick % 100 == 0) {
                    ZKEnqueueShellCommand(seat.id.c_str(), ("ECHO " + seat.id).c_str(), 1);
                    const auto seatNumber = static_cast<double>(seatOf(seat.id));
                    const std::string own = std::to_string((seatNumber + 0.5) / 255);  // tells them apart
                    send(*seat.link, R"({"211":{"left_cm_s":5,"right_cm_s":7},"102":{"r":)" + own + "}}",
                         seat.robot->type());
                }
                seat.link->advance(0.015);
                HALPacket_t packets[2] = {};
                for (Notification each; seat.link->nextNotification(each);) {
                    ZKReceivedData(seat.id.c_str(), each.channel, each.data.data(), each.data.size());
                    if (each.channel == Kestrel::gChannelSensorPacket1) {
                        packets[0] = Simulator::packetOf(each);
                    } else if (each.channel == Kestrel::gChannelSensorPacket2) {
                        packets[1] = Simulator::packetOf(each);
                        char json[ZK_MAX_REPORT_SIZE];
                        ZKTranslatorDecode(seat.translator, packets, 2, json, sizeof json);
                        bytes += json;
                        ++seat.reports;
                    }
                }
            }
            support::Host::wait(0.015);
        }
        EXPECT_EQ(room.answered, 120);
        for (Seat& seat : seats) {
            EXPECT_EQ(seat.reports, 180);
            EXPECT_EQ(seat.robot->state().light102.red, seatOf(seat.id));
            ZKTranslatorDestroy(seat.translator);
        }
    };
    std::string once, again;
    lesson(once);
    host.milliseconds() = 1000000;
    lesson(again);
    EXPECT_TRUE(once == again);
}

}  // namespace
