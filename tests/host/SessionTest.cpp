// Sessions with robots: over virtual ones behind bad links, and over captures.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Host/CaptureTransport.h"
#include "Host/Hub.h"
#include "Host/VirtualTransport.h"
#include "Simulator/CommandReader.h"
#include "support/Support.h"

namespace {

using namespace Host;
using support::hex;

constexpr char kCommandControl[] = "AF230002-879D-6186-1F49-DECA0E85D9C1";

// What a session tells, kept.
struct Log : SessionListener {
    void onState(RobotSession&, SessionState state, const Error& error) override
    {
        states.push_back(state);
        errors.push_back(error.code);
    }
    void onReport(RobotSession&, double seconds, const char* json, size_t length) override
    {
        EXPECT_EQ(std::string(json).size(), length);
        reports.emplace_back(json);
        lastReport = seconds;
    }
    void onAnswer(RobotSession& session, AskId id, const std::string& command, const char* answer,
                  const Error& error) override
    {
        EXPECT_TRUE(ended.insert(id).second) << command << " ends twice";
        answers.push_back(command + (answer != nullptr ? " > " + std::string(answer) : " ! " + error.words));
        if (onEnd != nullptr) {
            onEnd(session);
        }
    }
    void onPacket(RobotSession&, bool isSent, const char* channel, const uint8_t* data, size_t length) override
    {
        if (isSent && std::string(channel) == kCommandControl) {
            sent.push_back(hex(data, length));
        }
        if (isSent && onSent != nullptr) {
            onSent();
        }
    }

    std::vector<SessionState> states;
    std::vector<ErrorCode> errors;
    std::vector<std::string> reports, answers, sent;
    std::set<AskId> ended;
    std::function<void(RobotSession&)> onEnd;
    std::function<void()> onSent;
    double lastReport = 0;
};

class SessionTest : public testing::Test {
protected:
    RobotSession& start(uint32_t type = ZK_ROBOT_ORVIK, const Simulator::Faults& faults = {}, uint64_t seed = 1,
                        const SessionOptions& options = {})
    {
        EXPECT_TRUE(transport.add({type, seed, faults}));
        RobotSession& session =
            hub.open(transport.robot(static_cast<RobotRef>(transport.count() - 1)).state().name, options, &log);
        hub.runUntil([&] { return session.isReady(); }, 5);
        return session;
    }

    VirtualTransport transport{Pace::Fast};
    Hub hub{transport};
    Log log;
};

TEST_F(SessionTest, FromTheScanToTheGoodbye)
{
    RobotSession& session = start();
    ASSERT_TRUE(session.isReady());
    EXPECT_EQ(session.info().type, static_cast<uint32_t>(ZK_ROBOT_ORVIK));
    EXPECT_STREQ(session.info().name, "Virtual Orvik");
    EXPECT_EQ(session.robotId(), "virtual:orvik:1");
    EXPECT_FALSE(session.send(R"({"211":{"left_cm_s":10,"right_cm_s":10}})"));
    AskId id = 0;
    EXPECT_FALSE(session.ask("ECHO good morning", 1, id));
    hub.run(2);
    EXPECT_EQ(log.sent, std::vector<std::string>{"01 01 2C 01 2C"});
    EXPECT_EQ(log.answers, std::vector<std::string>{"ECHO good morning > good morning"});
    EXPECT_NEAR(transport.robot(0).state().x, 19, 1.5);
    EXPECT_NEAR(static_cast<double>(log.reports.size()), 60, 2);
    session.stop();
    hub.run(0.5);
    EXPECT_FALSE(transport.robot(0).state().isDriving);
    EXPECT_EQ(transport.robot(0).state().volume, 50);  // as it was
    session.disconnect();
    hub.run(0.1);
    EXPECT_EQ(log.states,
              (std::vector<SessionState>{SessionState::Connecting, SessionState::Ready, SessionState::Ended}));
    EXPECT_EQ(log.errors.back(), ErrorCode::None);
    EXPECT_EQ(session.send("{}").code, ErrorCode::NotConnected);
}

TEST_F(SessionTest, WhatIsAskedForWrongly)
{
    transport.add({ZK_ROBOT_PELL, 7, {}});
    SessionOptions options;
    options.lookSeconds = 2;
    RobotSession& nobody = hub.open("Nobody", options, &log);
    hub.run(3);
    EXPECT_EQ(nobody.state(), SessionState::Ended);
    EXPECT_EQ(nobody.lastError().code, ErrorCode::OutOfReach);
    EXPECT_EQ(nobody.lastError().words, "no robot in reach is called \"Nobody\"");
    EXPECT_EQ(nobody.lastError().hint, "in reach: Virtual Pell");

    RobotSession& pell = hub.open("VIRTUAL:pell:7", {}, &log);
    ASSERT_TRUE(hub.runUntil([&] { return pell.isReady(); }, 5));
    const Error error = pell.send("{\"100\":\n{\"index\":{\"13\":1}}}");
    EXPECT_EQ(error.code, ErrorCode::BadDocument);
    EXPECT_EQ(error.words, "2:11: refused: \"13\": the eye ring has lights 1 to 12");
    EXPECT_EQ(pell.steer("[").code, ErrorCode::BadDocument);
    AskId id = 0;
    EXPECT_EQ(pell.ask("", 1, id).code, ErrorCode::BadDocument);
    for (const double timeout : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
        EXPECT_EQ(pell.ask("NAME", timeout, id).code, ErrorCode::BadDocument);
    }
    for (int i = 0; i < 5000 && !pell.send(R"({"106":{"brightness":1},"304":{"duration":1},"5000":{"name":"x"}})");
         ++i) {
    }
    EXPECT_EQ(pell.send("{}").code, ErrorCode::TooMuch);
}

// Over a bad link: commands keep their order, and each shell command ends exactly once, whatever is lost between.
TEST_F(SessionTest, EveryCommandEndsOnceOverABadLink)
{
    Simulator::Faults faults;
    std::string problem;
    faults = *Simulator::parseFaults("drop=0.1,duplicate=0.1,delay=0.1,reorder=0.1,corrupt=0.02,cut=0.15", problem);
    SessionOptions options;
    options.retries = 1000;
    options.longestPause = 1;
    RobotSession& session = start(ZK_ROBOT_QUILL, faults, 5, options);
    std::set<AskId> asked;
    for (int i = 0; i < 3000; ++i) {
        AskId id = 0;
        if (i % 3 == 0 && !session.ask("ECHO " + std::to_string(i), 0.3, id)) {
            EXPECT_TRUE(asked.insert(id).second);
        }
        session.send(("{\"9000\":{\"pingID\":" + std::to_string(i) + "}}").c_str());
        hub.run(0.05);
    }
    ASSERT_TRUE(hub.runUntil([&] { return session.isIdle() || !session.isReady(); }, 10));
    session.disconnect();
    hub.run(0.2);
    EXPECT_EQ(log.ended, asked);
    EXPECT_GT(session.lossCount(), 5u);
    EXPECT_GT(asked.size(), 500u);
    EXPECT_GT(log.sent.size(), 1500u);
    const auto pingOf = [](const std::string& packet) {
        return std::stoi(packet.substr(6, 2) + packet.substr(3, 2), nullptr, 16);
    };
    EXPECT_TRUE(std::is_sorted(log.sent.begin(), log.sent.end(),
                               [&](const std::string& a, const std::string& b) { return pingOf(a) < pingOf(b); }));
    // What was lost ends with the connection, and says so.
    EXPECT_TRUE(std::any_of(log.answers.begin(), log.answers.end(), [](const std::string& line) {
        return line.find("! the connection is lost") != std::string::npos;
    }));
}

TEST_F(SessionTest, PausesGrowUntilItGivesUp)
{
    Simulator::Faults faults;
    faults.cut = 1;  // in every second
    SessionOptions options;
    options.retries = 4;
    RobotSession& session = start(ZK_ROBOT_PELL, faults, 1, options);
    std::vector<double> losses;
    size_t seen = 0;
    while (session.state() != SessionState::Ended && hub.now() < 60) {
        hub.poll(Hub::kTick);
        for (; seen < log.states.size(); ++seen) {
            if (log.states[seen] == SessionState::Pausing || log.states[seen] == SessionState::Ended) {
                losses.push_back(hub.now());
            }
        }
    }
    EXPECT_EQ(session.lastError().code, ErrorCode::Lost);
    ASSERT_EQ(losses.size(), 5u);
    double pause = 0.5;
    for (size_t i = 1; i < losses.size(); ++i, pause *= 2) {
        EXPECT_NEAR(losses[i] - losses[i - 1], pause + 1, 0.1) << i;
    }
}

// A slow link: of a hundred positions of the stick only the latest goes out, and what waits in order goes first.
TEST_F(SessionTest, SteeringNeverPlaysOldPositions)
{
    RobotSession& session = start();
    for (int i = 1; i <= 100; ++i) {
        session.send(R"({"106":{"brightness":1}})");
        session.steer(("{\"211\":{\"left_cm_s\":" + std::to_string(i) + ",\"right_cm_s\":0}}").c_str());
    }
    hub.run(0.5);
    ASSERT_EQ(log.sent.size(), 101u);
    EXPECT_EQ(log.sent[99], "0D FF");
    EXPECT_EQ(log.sent[100], "01 0B B8 00 00");  // 100 cm/s
}

TEST_F(SessionTest, CallsFromInsideAnEnd)
{
    RobotSession& session = start();
    int left = 50;
    log.onEnd = [&](RobotSession& from) {
        AskId id = 0;
        if (--left > 0) {
            EXPECT_FALSE(from.ask(left % 2 == 0 ? "NAME" : "SLEEP", 0.1, id));
        } else {
            from.disconnect();
        }
    };
    AskId id = 0;
    session.ask("NAME", 1, id);
    hub.run(20);
    EXPECT_EQ(log.ended.size(), 50u);
    EXPECT_EQ(session.state(), SessionState::Ended);
    hub.close(session);
}

TEST_F(SessionTest, CallsFromInsideAPacket)
{
    RobotSession& session = start();
    log.onSent = [&] {
        if (log.sent.size() < 40) {
            const double level = static_cast<double>(log.sent.size()) / 255 + 0.001;
            session.send(("{\"106\":{\"brightness\":" + std::to_string(level) + "}}").c_str());
        } else if (log.sent.size() == 40) {
            session.stop();
        } else {
            session.disconnect();
        }
    };
    session.send(R"({"106":{"brightness":0}})");
    hub.run(2);
    ASSERT_GE(log.sent.size(), 41u);
    std::set<std::string> different(log.sent.begin(), log.sent.end());
    EXPECT_EQ(different.size(), log.sent.size());  // none twice
    EXPECT_EQ(log.sent[1], "0D 01");
    EXPECT_EQ(session.state(), SessionState::Ended);
    EXPECT_FALSE(session.lastError());
}

// What a closed session has asked ends with it, and not in the next session with that robot.
TEST_F(SessionTest, AnEndMeetsItsOwnSession)
{
    RobotSession& first = start();
    AskId id = 0;
    first.ask("SLEEP", 1, id);
    hub.run(0.2);
    hub.close(first);
    EXPECT_EQ(log.answers, std::vector<std::string>{"SLEEP ! the session is closed"});
    Log next;
    RobotSession& second = hub.open("virtual orvik", {}, &next);
    ASSERT_TRUE(hub.runUntil([&] { return second.isReady(); }, 5));
    second.ask("SLEEP", 3, id);
    hub.run(2);
    EXPECT_TRUE(next.answers.empty());

    // Meanwhile nobody else has it.
    SessionOptions options;
    options.lookSeconds = 1;
    RobotSession& third = hub.open("Virtual Orv", options, nullptr);
    hub.run(1.5);
    EXPECT_EQ(third.lastError().words, "another session has \"Virtual Orv\" already");
    EXPECT_EQ(next.answers, std::vector<std::string>{"SLEEP ! timeout"});
}

TEST_F(SessionTest, AGoodbyeIsNoLoss)
{
    Simulator::Faults faults;
    faults.cut = 0.5;
    RobotSession& session = start(ZK_ROBOT_RUSK, faults);
    ASSERT_TRUE(hub.runUntil([&] { return session.lossCount() > 0 && session.isReady(); }, 60));
    EXPECT_EQ(session.send(R"({"106":{"brightness":1}})").code, ErrorCode::NotSupported);  // it has a shell only
    EXPECT_FALSE(session.lastError());
    session.disconnect();
    AskId id = 0;
    EXPECT_EQ(session.ask("NAME", 1, id).code, ErrorCode::NotConnected);
    hub.run(0.1);
    EXPECT_EQ(session.state(), SessionState::Ended);
    EXPECT_EQ(log.errors.back(), ErrorCode::None);
}

TEST_F(SessionTest, ThirtyRobots)
{
    struct Seat {
        Log log;
        RobotSession* session = nullptr;
    };
    std::vector<std::unique_ptr<Seat>> seats;
    constexpr uint32_t kTypes[] = {ZK_ROBOT_ORVIK, ZK_ROBOT_PELL, ZK_ROBOT_QUILL};
    for (uint32_t i = 0; i < 30; ++i) {
        transport.add({kTypes[i % 3], i + 1, {}});
        seats.push_back(std::make_unique<Seat>());
        const char* const families[] = {"orvik", "pell", "quill"};
        seats[i]->session =
            &hub.open(std::string("virtual:") + families[i % 3] + ":" + std::to_string(i + 1), {}, &seats[i]->log);
    }
    ASSERT_TRUE(hub.runUntil(
        [&] {
            return std::all_of(seats.begin(), seats.end(), [](const auto& seat) { return seat->session->isReady(); });
        },
        5));
    for (uint32_t i = 0; i < 30; ++i) {
        AskId id = 0;
        seats[i]->session->send(("{\"102\":{\"r\":" + std::to_string(i / 255.0 + 0.001) + "}}").c_str());
        seats[i]->session->ask("ECHO " + std::to_string(i), 1, id);
    }
    hub.run(1);
    for (uint32_t i = 0; i < 30; ++i) {
        EXPECT_EQ(transport.robot(i).state().light102.red, i);
        EXPECT_EQ(seats[i]->log.answers,
                  std::vector<std::string>{"ECHO " + std::to_string(i) + " > " + std::to_string(i)});
        EXPECT_NEAR(static_cast<double>(seats[i]->session->reportCount()), 30, 4);
    }
}

// What was recorded comes out again, document for document: attitude builds on the times.
TEST_F(SessionTest, ACaptureGivesTheDocumentsThatWereRecorded)
{
    Simulator::Faults faults;
    faults.drop = 0.05;
    EXPECT_TRUE(transport.add({ZK_ROBOT_QUILL, 3, faults}));
    std::string capture = "# a lesson\n";
    RobotSession& session = hub.open("Virtual Quill", {}, &log);
    session.record = [&](const std::string& line) { capture += line; };
    hub.runUntil([&] { return session.isReady(); }, 5);
    session.send(R"({"211":{"left_cm_s":20,"right_cm_s":10}})");
    transport.robot(0).tilt(10, 20);
    hub.run(1);
    transport.robot(0).clap(90);
    hub.run(2);
    session.disconnect();
    hub.run(0.1);

    std::string error;
    const std::vector<CaptureEvent> events = readCapture(capture, error);
    ASSERT_EQ(error, "");
    for (const Pace pace : {Pace::Fast, Pace::Real}) {
        CaptureTransport replay(events, pace, ZK_ROBOT_ORVIK);
        Log second;
        Hub player(replay);
        RobotSession& played = player.open("virtual quill", {}, &second);
        EXPECT_EQ(played.state(), SessionState::Looking);
        player.runUntil([&] { return second.errors.size() > 2; }, pace == Pace::Fast ? 20 : 0.3);
        if (pace == Pace::Fast) {
            EXPECT_EQ(second.reports, log.reports);
            EXPECT_EQ(played.lastError().words, "the capture ends here");
        } else {
            EXPECT_LT(second.reports.size(), log.reports.size());  // in its own time
        }
    }
}

// Which packets a document was made of: "2" the first one of report 2, "2+2" both.
std::string packetsOf(const std::string& json)
{
    std::string numbers;
    for (const char* key : {"\"5101\":{\"data\":[", "\"5102\":{\"data\":["}) {
        const size_t place = json.find(key);
        if (place != std::string::npos) {
            numbers +=
                (numbers.empty() ? "" : "+") + std::to_string(std::stoi(json.substr(place + std::strlen(key))) >> 4);
        }
    }
    return numbers;
}

TEST(CaptureTest, PacketsOfAReportMeetByTheirNumber)
{
    // Seconds, the characteristic's digit, the number.
    const struct {
        double seconds;
        char channel;
        char number;
    } kPackets[] = {{0.1, '3', '0'},  {0.11, '6', '0'}, {0.2, '3', '1'},  {0.3, '3', '2'},  {0.31, '6', '2'},
                    {0.32, '6', '2'}, {0.4, '6', '3'},  {0.41, '3', '3'}, {0.5, '6', '5'},  {0.51, '3', '4'},
                    {0.6, '6', '6'},  {0.7, '3', '7'},  {0.71, '6', '8'}, {0.72, '3', '8'}, {0.73, '3', '9'}};
    std::string text = "0 * connected\n";
    for (const auto& each : kPackets) {
        text += std::to_string(each.seconds) + " < AF23000" + each.channel + ' ' + each.number + std::string(39, '0') +
                '\n';
    }
    std::string error;
    CaptureTransport replay(readCapture(text, error), Pace::Fast, ZK_ROBOT_ORVIK);
    ASSERT_EQ(error, "");
    Log log;
    Hub hub(replay);
    hub.open("capture", {}, &log);
    hub.run(2);
    std::vector<std::string> packets;
    std::transform(log.reports.begin(), log.reports.end(), std::back_inserter(packets), packetsOf);
    EXPECT_EQ(packets, (std::vector<std::string>{"0+0", "1", "2+2", "3+3", "4", "7", "8+8", "9"}));
}

TEST(CaptureTest, LinesAreReadWithTheirFaults)
{
    struct LineCase {
        const char* text;
        const char* error;
        size_t events;
    };
    const std::string report(40, '0'), both(80, 'a');
    const std::string early = "2.0 " + report + "\n1.0 " + report;
    const LineCase kCases[] = {
        {"\xEF\xBB\xBF# comment\r\n\n0.000001 * connected\r\n", "", 1},
        {"0.5 < AF230003 00\n0.500000 > AF230002 01012CFED4\n9 * lost gone \x1b[2J", "", 3},
        {"0 * advertisement 0301 \"A \"quoted\" name\"", "", 1},
        {report.c_str(), "", 1},
        {both.c_str(), "", 2},
        {early.c_str(), "2: time runs backwards", 1},
        {"1 < AF23000 00", "1: the eight digits are missing that the characteristic begins with", 0},
        {"1 < AF230003 0", "1: its bytes are no pairs of hex digits", 0},
        {"x < AF230003 00", "1: a line begins with its time in seconds", 0},
        {"1 * advertisement 0301", "1: it is no advertisement, \"connected\" or \"lost\"", 0},
        {"\n1e3 0102", "2: it is no report of 40 or 80 hex digits, and no line of a capture", 0},
    };
    for (const LineCase& c : kCases) {
        std::string error;
        const auto events = readCapture(c.text, error);
        EXPECT_EQ(error, c.error) << c.text;
        EXPECT_EQ(events.size(), c.events) << c.text;
        for (const CaptureEvent& event : events) {
            EXPECT_EQ(event.text.find('\x1b'), std::string::npos);
        }
    }
}

}  // namespace
