// The connection engine over its C functions: one command at a time, to its answer, its time-out or a disconnect.
#include <cmath>
#include <cstddef>
#include <cstring>
#include <deque>
#include <map>

#include <gtest/gtest.h>

#include "CppEngine/Robot.h"
#include "Simulator/Link.h"
#include "support/Host.h"

namespace {

using support::Host;
using support::Told;

class EngineTest : public ::testing::Test {
protected:
    Host host;
};

std::string bytes(const char* hexText)
{
    std::string text;
    for (const char* p = hexText; *p != '\0'; ++p) {
        if (*p != ' ') {
            text += static_cast<char>(std::stoi(std::string(p, 2), nullptr, 16));
            ++p;
        }
    }
    return text;
}

TEST_F(EngineTest, CommandsGoOutInPackets)
{
    host.withBytes = true;
    const struct {
        char family;
        std::string command;
        const char* packets;
    } cases[] = {
        {1, "poke", "C8 41 20 70 6F 6B 65 0A"},
        {3, "line\n", "C8 41 20 6C 69 6E 65 0A"},
        {9, "x", "C8 41 20 78 0A"},
        {4, "poke", "70 6F 6B 65 0A"},
        {4, "\n", "0A"},
        {2, std::string(40, '@'),
         "C8 41 20 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 | "
         "C8 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 | C8 40 40 40 40 0A"},
        {4, std::string(20, '@'), "40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 | 0A"},
    };
    for (const auto& c : cases) {
        host.scan("r", c.family);
        host.take();
        host.enqueue("r", c.command.c_str(), 60);
        EXPECT_EQ(host.take(), "r < " + std::string(c.packets) + " \n") << c.command;
    }
}

TEST_F(EngineTest, AnswersComeBackAsText)
{
    const struct {
        char family;
        const char *command, *notifications, *answer;  // in hex, with bars between notifications
    } cases[] = {
        {1, "poke", "C8 78 4F 4B | C8 21 03", "OK!"},
        {1, "a lone terminator takes nothing from the packets before", "C8 78 4F 4B | 03", "OK"},
        {1, "only the first two bytes", "C8 03", ""},
        {1, "one byte", "03", ""},
        {1, "a line end goes, one only", "C8 78 4F 0A 0A 03", "O\n"},
        {1, "what stands behind the terminator belongs to it but for the last byte", "C8 78 4F 03 4B 58", "O\x03K"},
        {1, "a newline does not end it", "C8 78 4F 0A | C8 4B 03", "O\nK"},
        {1, "more than 20 bytes", "C8 78 30 31 32 33 34 35 36 37 38 39 30 31 32 33 34 35 36 37 38 39 30 31 03",
         "0123456789012345678901"},
        {4, "poke", "31 2E 32 0A", "1.2"},
        {4, "in pieces", "31 | 2E | 03 32 0A",
         "1.\x03"
         "2"},
        {4, "empty", "0A", ""},
        {1, "DUMP SND VER.EP1", "C8 78 76 33 5F 31 32 5F 37 20 34 5F 35 5F 36 03", "3.12.7"},
        {1, "DUMP SND VER.EP1", "C8 78 31 5F 32 5F 78 33 5F 34 5F 35 5F 03", "3.4.5"},
        {1, "DUMP SND VER.EP1", "C8 78 31 32 33 5F 5F 34 5F 35 03", "1.0.0"},
        {4, "DUMP SND VER.EP1", "32 5F 30 5F 31 0A", "2.0.1"},
        {1, "dump snd ver.ep1", "C8 78 33 5F 31 5F 37 03", "3_1_7"},
    };
    for (const auto& c : cases) {
        host.scan("r", c.family);
        host.enqueue("r", c.command);
        host.take();
        const std::string all = c.notifications;
        for (size_t at = 0, bar; at < all.size(); at = bar + 1) {
            EXPECT_EQ(host.take(), "") << c.command;
            bar = std::min(all.find('|', at), all.size());
            host.receive("r", bytes(all.substr(at, bar - at).c_str()));
        }
        EXPECT_EQ(host.take(), "r > " + std::string(c.command) + ": " + c.answer + "\n") << c.command;
        EXPECT_EQ(ZKPendingShellCommandCount("r"), 0) << c.command;
    }
}

TEST_F(EngineTest, TheLifeOfTwoCommandsLineByLine)
{
    host.withDebug = true;
    host.scan("r");
    host.wait(0.5);
    host.enqueue("r", "poke", 0.25);
    host.enqueue("r", "nap", 0);
    EXPECT_EQ(ZKPendingShellCommandCount("r"), 2);
    EXPECT_EQ(host.take(), "D: Robbie sending shell command A poke\n\nr <A poke\n");
    host.wait(0.125);
    host.answer("r", "ouch");
    std::string lines = host.take();
    EXPECT_EQ(lines.substr(0, lines.find("W: ")),
              "D: ZKDidCompleteShellCommand. dt = 0.125, calling from receive data for poke\nr > poke: ouch\n"
              "D: Robbie sending shell command A nap\n\n");
    EXPECT_NE(lines.find("timer will go off next tick.\nr <A nap\n"), std::string::npos);
    host.enqueue("r", "wake", 2.0);
    host.wait(0.125);
    EXPECT_EQ(host.take(),
              "W: Timing out command. Cmd:\"nap\" dT:0.125s Timeout:0.000s\nr ! nap: 4 timeout\n"
              "D: Robbie sending shell command A wake\n\nr <A wake\n");
    host.wait(2.125);  // too long a gap, which the next command's end tells
    EXPECT_EQ(ZKPendingShellCommandCount("r"), 0);
    EXPECT_EQ(host.take(), "W: Timing out command. Cmd:\"wake\" dT:2.125s Timeout:2.000s\nr ! wake: 4 timeout\n");
    host.answer("r", "too late");
    EXPECT_EQ(host.take(), "");
}

TEST_F(EngineTest, NothingAnswersACommandThatHasNotGoneOut)
{
    host.scan("r");
    host.on = [](Told told, const std::string&) {
        if (told == Told::Debug || told == Told::Warning) {  // before it is sent, and about its time-out of 0
            Host::answer("r", "early");
        }
    };
    host.enqueue("r", "poke", 0);
    EXPECT_EQ(host.take().substr(0, 3), "W: ");
    EXPECT_EQ(ZKPendingShellCommandCount("r"), 1);
    ZKTick();  // and the line that tells its time-out is late enough to answer
    const std::string lines = host.take();
    EXPECT_EQ(lines.substr(lines.find('\n') + 1), "r > poke: early\n");
}

TEST_F(EngineTest, ATimeOutThatIsNoneWaitsForTheAnswer)
{
    host.scan("r");
    for (double timeout : {-1.0, std::nan(""), static_cast<double>(INFINITY)}) {
        host.enqueue("r", "poke", timeout);
        EXPECT_EQ(host.take().find("E: ") == 0, !(timeout > 0));
        host.wait(1e9);
        EXPECT_EQ(ZKPendingShellCommandCount("r"), 1);
        host.answer("r", "ok");
        EXPECT_EQ(host.take(), "r > poke: ok\n");
    }
}

TEST_F(EngineTest, ARescanReplacesTheQueue)
{
    host.scan("r");
    host.enqueue("r", "armed");
    host.enqueue("r", "second");
    host.enqueue("r", "third", -1);
    host.enqueue("r", "fourth");
    host.scan("r");
    EXPECT_EQ(ZKPendingShellCommandCount("r"), 0);
    host.take();
    host.answer("r", "lost");
    host.enqueue("r", "fresh", 10);
    EXPECT_EQ(host.take(), "r <A fresh\n");
    host.wait(1);
    EXPECT_EQ(host.take(),
              "W: Timing out command. Cmd:\"armed\" dT:1.000s Timeout:1.000s\nr ! armed: 4 timeout\nr <A second\n");
    host.wait(1);
    const std::string lines = host.take();
    EXPECT_NE(lines.find("r ! second: 4 timeout\n"), std::string::npos);
    EXPECT_EQ(lines.substr(lines.size() - 11), "r <A third\n") << "nothing will end it: its queue is gone";
    host.wait(5);
    EXPECT_EQ(host.take(), "");

    host.scan("r");
    host.enqueue("r", "later");
    host.scan("r");
    host.take();
    ZKHandleDisconnect("r");
    host.wait(20);
    EXPECT_EQ(host.take(), "") << "a disconnect silences replaced queues too";
}

TEST_F(EngineTest, ReadingBack)
{
    EXPECT_FALSE(ZKIsKnownRobot("b") || ZKIsKnownRobot("") || ZKIsKnownRobot(nullptr));
    host.scan("");
    host.scan(nullptr);
    EXPECT_EQ(ZKListKnownRobots(nullptr, 0), 0u);
    EXPECT_EQ(Kestrel::robotById("b"), nullptr);
    EXPECT_EQ(ZKListKnownRobots(nullptr, 0), 0u);

    ZKProcessScan("b", "x", 27, nullptr, 0);
    ZKProcessScan("b", nullptr, 0, "x", 1);
    EXPECT_EQ(host.take(), "E: Unexpected dataLength of 27\nE: dataBytes is NULL\n");
    char text[8];
    EXPECT_EQ(ZKGetParseError("b", text, sizeof text), 18u);
    EXPECT_STREQ(text, "dataByt");
    ZKRobotInfo info = {};
    info.size = sizeof info;
    EXPECT_TRUE(ZKGetRobotInfo("b", &info));
    EXPECT_TRUE(info.known && !info.hasReport && info.type == 0 && info.name[0] == '\0');
    host.enqueue("b", "x");
    EXPECT_EQ(host.take(), "b <A x\n") << "framed before anything could be read";

    host.scan("a", 3);
    const Kestrel::Robot* robot = Kestrel::robotById("a");
    const char quill[] = "\x43\x03\x02\x01\x01\x02\x03\x0C\x0A\x02\x00\x00\xAB\xCD\xEF\x00\x09 and co";
    ZKProcessScan("a", quill, sizeof quill - 1, "Quilly", 6);
    EXPECT_EQ(Kestrel::robotById("a"), robot);
    EXPECT_STREQ(robot->uuId(), "a");
    ZKGetRobotInfo("a", &info);
    EXPECT_STREQ(info.name, "Quilly and co");
    EXPECT_STREQ(info.uniqueId, "ABCDEF");
    EXPECT_EQ(info.type, 1003u);
    EXPECT_EQ(info.mode, 3u);
    EXPECT_EQ(info.shellColor, 2u);
    EXPECT_EQ(info.avatarId, 1u);
    EXPECT_EQ(info.firmwareVersion[0], 3);
    EXPECT_EQ(info.firmwareVersion[2], 1);
    EXPECT_EQ(info.resourceVersion, 9);
    EXPECT_EQ(info.personalityColor, 2);
    EXPECT_EQ(info.personalityAnimation, 7);
    EXPECT_EQ(info.localeId, 2);
    // An older host's shorter struct.
    std::memset(&info, 0x55, sizeof info);
    info.size = offsetof(ZKRobotInfo, mode);
    ZKGetRobotInfo("a", &info);
    EXPECT_EQ(info.type, 1003u);
    EXPECT_EQ(info.mode, 0x55555555u);

    const char* ids[2] = {};
    EXPECT_EQ(ZKListKnownRobots(ids, 1), 2u);
    EXPECT_STREQ(ids[0], "a");
    EXPECT_EQ(ids[1], nullptr);
    EXPECT_TRUE(ZKForgetRobot("a"));
    EXPECT_FALSE(ZKForgetRobot("a"));
    EXPECT_FALSE(ZKGetRobotInfo("a", &info));
    EXPECT_EQ(ZKListKnownRobots(nullptr, 0), 1u);
}

#define UUID(n, m) "AF23" n "-879D-6186-1F49-" m

TEST_F(EngineTest, WhichCharacteristicsBelong)
{
    const char control[] = UUID("0000", "DECA0E85D9C1"), shell[] = UUID("0001", "deca0e85d9c1"),
               command[] = UUID("0002", "DECA0E85D9C1"), sensor[] = UUID("0003", "DECA0E85D9C1"),
               file[] = UUID("0004", "DECA0E85D9C1"), filePacket[] = "af230005-879d-6186-1f49-deca0e85d9c1",
               sensor2[] = UUID("0006", "DECA0E85D9C1"), unknown[] = UUID("0007", "DECA0E85D9C1");
    const struct {
        char mode;
        std::vector<const char*> channels;
        bool valid;
    } cases[] = {
        {3, {command, sensor, shell}, true},
        {3, {command, sensor, shell, file, filePacket, sensor2, control, control}, true},
        {3, {command, unknown}, false},
        {3, {command, nullptr}, false},
        {1, {file, filePacket}, true},
        {1, {file, filePacket, control}, false},
        {2, {control}, false},
        {2, {}, true},
    };
    for (const auto& c : cases) {
        const char data[] = {c.mode, 1};
        ZKProcessScan("r", data, sizeof data, "", 0);
        std::vector<const char*> channels = c.channels;
        EXPECT_EQ(ZKValidateChannels("r", channels.data(), channels.size()), c.valid) << int{c.mode};
    }
    EXPECT_TRUE(ZKValidateChannels("r", nullptr, 3));
    const char* services[] = {unknown, "af237778-879d-6186-1f49-deca0e85d9c1"};
    EXPECT_TRUE(ZKValidateEndPoints("r", services, 2));
    EXPECT_FALSE(ZKValidateEndPoints("r", services, 1));
    EXPECT_FALSE(ZKValidateEndPoints("r", services, 0));

    host.scan("r");
    host.enqueue("r", "poke");
    host.take();
    for (const char* channel : {sensor, sensor2, filePacket}) {
        EXPECT_TRUE(ZKAcceptsChannel(channel));
        ZKReceivedData("r", channel, "\xC8x\x03", 3);
    }
    EXPECT_FALSE(ZKAcceptsChannel(unknown) || ZKAcceptsChannel(control) || ZKAcceptsChannel(nullptr));
    ZKReceivedData("r", shell, nullptr, 9);
    ZKReceivedData("r", shell, "\x03", 0);
    EXPECT_EQ(host.take(), "");
    ZKReceivedData("r", shell, "\x03", 1);
    EXPECT_EQ(host.take(), "r > poke: \n");
}

TEST_F(EngineTest, AnEndlessAnswerIsCut)
{
    host.scan("r");
    for (const char* end : {"\xC8\x03", "time-out"}) {
        host.enqueue("r", "poke", 100);
        host.take();
        size_t length = 0;
        host.on = [&](Told told, const std::string& what) {
            if (told == Told::Done) {
                length = what.size() - std::string("r > poke: ").size();
            }
        };
        const std::string notification = "\xC8" + std::string(19, '.');
        for (int i = 0; i < 100000; ++i) {
            host.receive("r", notification);
        }
        EXPECT_EQ(host.take(), "W: answer to \"poke\" is longer than 1048576 bytes, the rest is dropped.\n");
        if (*end == 't') {
            host.wait(100);
            EXPECT_NE(host.take().find("r ! poke: 4 timeout"), std::string::npos);
        } else {
            host.receive("r", end);
            EXPECT_EQ(length, 1048576u - 52429u - 1u) << "without 52429 headers and the first one's second byte";
            host.take();
        }
        host.enqueue("r", "again");
        host.answer("r", "fine");
        EXPECT_EQ(host.take(), "r <A again\nr > again: fine\n");
    }
}

// Virtual robots behind a link that loses, doubles, delays, reorders, damages and breaks.
TEST_F(EngineTest, OverABadLinkEveryCommandEndsOnceAndInOrder)
{
    struct Peer {
        std::unique_ptr<Simulator::VirtualRobot> robot;
        std::unique_ptr<Simulator::Link> link;
        std::deque<int> open;  // command numbers without an end
    };
    int done = 0, failed = 0, dropped = 0;
    for (uint64_t seed = 0; seed < 100; ++seed) {
        support::Random random(seed);
        std::map<std::string, Peer> peers;
        for (const char* id : {"a", "b", "c"}) {
            Peer& peer = peers[id];
            const int family = 1 + random.below(4);
            Simulator::Faults faults;
            faults.drop = random.real(0, 0.2);
            faults.duplicate = random.real(0, 0.2);
            faults.delay = random.real(0, 0.3);
            faults.reorder = random.real(0, 0.3);
            faults.corrupt = random.real(0, 0.2);
            faults.truncate = random.real(0, 0.2);
            faults.cut = random.real(0, 0.5);
            peer.robot = Simulator::VirtualRobot::create(1000 + static_cast<uint32_t>(family), seed);
            peer.link = std::make_unique<Simulator::Link>(*peer.robot, faults, seed);
            peer.link->connect();
            Host::scan(id, static_cast<char>(family));
        }
        host.on = [&](Told told, const std::string& what) {
            if (told == Told::Done || told == Told::Failed) {
                std::deque<int>& open = peers[what.substr(0, 1)].open;
                ASSERT_FALSE(open.empty());
                EXPECT_EQ(std::stoi(what.substr(std::string("a > ECHO ").size())), open.front());
                open.pop_front();
                ++(told == Told::Done ? done : failed);
            }
        };
        host.onPacket = [&](const char* id, const char* channel, const HALPacket_t& packet) {
            peers[id].link->write(channel, packet.data, packet.length);
        };
        for (int step = 0, next = 0; step < 500; ++step) {
            for (auto& [id, peer] : peers) {
                if (step < 400 && random.below(8) == 0) {
                    peer.open.push_back(next);
                    const std::string command = "ECHO " + std::to_string(next++) + " and some more words";
                    Host::enqueue(id.c_str(), command.c_str(), random.below(20) * 0.03);
                }
                peer.link->advance(0.015);
                for (Simulator::Notification each; peer.link->nextNotification(each);) {
                    ZKReceivedData(id.c_str(), each.channel, each.data.data(), each.data.size());
                }
                if (!peer.link->isConnected()) {
                    dropped += static_cast<int>(peer.open.size());
                    peer.open.clear();
                    ZKHandleDisconnect(id.c_str());
                    peer.link->connect();
                }
                ASSERT_EQ(ZKPendingShellCommandCount(id.c_str()), static_cast<int>(peer.open.size()));
            }
            Host::wait(0.015);
        }
        for (int i = 0; i < 100; ++i) {
            Host::wait(0.6);  // all that is left runs into its time-out
        }
        for (const auto& [id, peer] : peers) {
            EXPECT_TRUE(peer.open.empty());
        }
        host.on = nullptr;
        host.onPacket = nullptr;
        Host::forgetAll();
        host.take();
    }
    EXPECT_GT(done, 1000);
    EXPECT_GT(failed, 1000);
    EXPECT_GT(dropped, 100);
}

TEST_F(EngineTest, AnotherTimerManagerDoesNotMeddle)
{
    host.scan("a");
    host.scan("b");
    host.enqueue("a", "one");  // timer 1 of the host's manager
    {
        Kestrel::TimerManager other;
        ZKSetTimerManager(&other);
        host.enqueue("b", "two");  // timer 1 of the other
        host.answer("a", "ok");
        EXPECT_EQ(other.toString(), "{1 @ 1}");
        EXPECT_EQ(host.timers->toString(), "");
        host.take();
        host.wait(1);
        EXPECT_NE(host.take().find("b ! two: 4 timeout"), std::string::npos);
        host.enqueue("b", "three");
        ZKSetTimerManager(host.timers.get());
    }
    ZKTick();
    host.take();
    host.answer("b", "its time-out went with its manager");
    EXPECT_EQ(host.take(), "b > three: its time-out went with its manager\n");
}

// Browsers give a page no advertisement: the type alone decides the shell's frame, the characteristics and the mode.
TEST_F(EngineTest, ARobotIsAddedWithoutAScan)
{
    struct AddCase {
        uint32_t type;
        char data[2];  // what such a robot advertises, at least
    };
    constexpr AddCase kCases[] = {{1001, {3, 1}}, {1002, {3, 2}}, {1003, {3, 3}}, {1004, {1, 4}},
                                  {2001, {1, 1}}, {2002, {1, 2}}, {2003, {1, 3}}, {2004, {0, 4}}};
    for (const AddCase& c : kCases) {
        ASSERT_TRUE(ZKAddRobot("added", c.type)) << c.type;
        ZKProcessScan("scanned", c.data, sizeof c.data, nullptr, 0);
        ZKRobotInfo added = {}, scanned = {};
        added.size = scanned.size = sizeof added;
        ASSERT_TRUE(ZKGetRobotInfo("added", &added) && ZKGetRobotInfo("scanned", &scanned));
        EXPECT_EQ(added.type, c.type);
        EXPECT_FALSE(added.hasReport);
        added.hasReport = true;
        EXPECT_EQ(std::memcmp(&added, &scanned, sizeof added), 0) << c.type;
        EXPECT_EQ(ZKPendingShellCommandCount("added"), 0);
        Host::forgetAll();
    }
    for (const uint32_t type : {0u, 1000u, 1005u, 2005u}) {
        EXPECT_FALSE(ZKAddRobot("added", type));
        EXPECT_FALSE(ZKIsKnownRobot("added"));
    }
    EXPECT_FALSE(ZKAddRobot("", 1001));
    EXPECT_FALSE(ZKAddRobot(nullptr, 1001));
    // A known one keeps what it is and what it has queued.
    Host::scan("known", 4);
    Host::enqueue("known", "poke");
    EXPECT_TRUE(ZKAddRobot("known", 1001));
    EXPECT_EQ(ZKPendingShellCommandCount("known"), 1);
    ZKRobotInfo info = {};
    info.size = sizeof info;
    ZKGetRobotInfo("known", &info);
    EXPECT_TRUE(info.type == 1004 && info.hasReport);
    // And an added one is told by its first scan.
    ZKAddRobot("added", 1004);
    Host::scan("added", 3);
    ZKGetRobotInfo("added", &info);
    EXPECT_TRUE(info.type == 1003 && info.hasReport);
}

}  // namespace
