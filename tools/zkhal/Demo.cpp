// zkhal demo: a lesson with a virtual robot, told in words and drawn.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "CoreUtility/Json/nx_json.h"
#include "Input.h"
#include "OutputFile.h"
#include "Picture.h"
#include "RobotChoice.h"
#include "Talk.h"

namespace zkhal {

namespace {

struct DemoOptions {
    RobotChoice robot;
    uint64_t seed = 1;
    std::string svg;
};

// A step of a lesson: what the host sends, and how long it then waits.
struct Step {
    const char* title;
    const char* document;
    double seconds;
};

// A square of 60 cm, each corner in another colour.
constexpr Step kDriving[] = {
    {"lights and a sound",
     R"({"102":{"r":1,"g":0.4,"b":0},"103":{"r":0,"g":0.4,"b":1},"300":{"file":"SYSTHELLO","volume":0.6}})", 1.2},
    {"looks up and about", R"({"207":{"degree":40,"time":0.5},"206":{"degree":5,"time":0.5}})", 0.8},
    {"looks ahead", R"({"203":{"degree":0},"202":{"degree":0}})", 0.6},
    {"first side", R"({"104":{"r":1,"g":0,"b":0},"205":{"x":60,"y":0,"degree":0,"time":2,"mode":1}})", 2.2},
    {"first corner", R"({"205":{"x":0,"y":0,"degree":90,"time":1,"mode":1}})", 1.1},
    {"second side", R"({"104":{"r":0,"g":1,"b":0},"205":{"x":60,"y":0,"degree":0,"time":2,"mode":1}})", 2.2},
    {"second corner", R"({"205":{"x":0,"y":0,"degree":90,"time":1,"mode":1}})", 1.1},
    {"third side", R"({"104":{"r":0,"g":0,"b":1},"205":{"x":60,"y":0,"degree":0,"time":2,"mode":1}})", 2.2},
    {"third corner", R"({"205":{"x":0,"y":0,"degree":90,"time":1,"mode":1}})", 1.1},
    {"fourth side", R"({"104":{"r":1,"g":1,"b":0},"205":{"x":60,"y":0,"degree":0,"time":2,"mode":1}})", 2.2},
    {"fourth corner", R"({"205":{"x":0,"y":0,"degree":90,"time":1,"mode":1}})", 1.1},
};
constexpr Step kStanding[] = {
    {"lights", R"({"102":{"r":1,"g":0,"b":0},"103":{"r":0,"g":0,"b":1},"104":{"r":0,"g":1,"b":0}})", 0.8},
    {"eye ring", R"({"100":{"brightness":1,"index":[1,0,0,1,0,0,1,0,0,1,0,0]}})", 0.8},
    {"a sound", R"({"300":{"file":"SYSTHELLO","volume":0.6}})", 1.4},
    {"a chord", R"({"304":{"duration":1000,"tone1":{"type":1,"freq":440},"tone2":{"type":1,"freq":550}}})", 0.8},
};
constexpr char kGoodbye[] = R"({"102":{"r":0},"103":{"r":0},"104":{"r":0},"300":{"file":"SYSTBYE","volume":0.6}})";
constexpr char kVersion[] = "DUMP SND VER.EP1";

class Lesson {
public:
    explicit Lesson(const DemoOptions& options)
        : mOptions(options), mSession(options.robot, [](double seconds, const char* side, const std::string& words) {
              std::printf("%7.3f  %-5s  %s\n", seconds, side, words.c_str());
          })
    {
        mSession.listener = [this](double seconds, const std::string& json) { take(seconds, json); };
    }

    int run()
    {
        say("somebody switches the robot on");
        if (!mSession.connect()) {
            return isInterrupted() ? kStopped : kLostRobot;
        }
        mType = mSession.type();
        const bool drives = mType == ZK_ROBOT_ORVIK || mType == ZK_ROBOT_QUILL;
        ask(kVersion);
        if (mType == ZK_ROBOT_RUSK) {
            for (const char* command : {"NAME", "BATT", "ECHO good morning", "DANCE", "SLEEP", "UP"}) {
                ask(command);
            }
        } else {
            drives ? play(kDriving) : play(kStanding);
            if (Simulator::VirtualRobot* robot = mSession.robot(); robot != nullptr && !isInterrupted()) {
                useHands(*robot, drives);
            }
            if (!isInterrupted()) {
                say("goodbye");
                mSession.send(kGoodbye);
                mSession.run(1.2);
                ask("POSE");
            }
        }
        const bool isLost = mSession.isLost();
        if (isInterrupted()) {
            mSession.stop();
        }
        mSession.disconnect();
        finish(drives);
        return isInterrupted() ? kStopped : isLost ? kLostRobot : kSuccess;
    }

private:
    void say(const std::string& words)
    {
        std::printf("%7.3f  ----   %s\n", mSession.seconds(), words.c_str());
    }

    // What children do to a robot; a real one has them itself.
    void useHands(Simulator::VirtualRobot& robot, bool drives)
    {
        say("a clap from the left");
        robot.clap(90);
        mSession.run(0.3);
        if (drives && mClapDirection != 0) {
            say("so it looks there");
            mSession.send(R"({"203":{"degree":)" + std::to_string(mClapDirection) + "}}");
            mSession.run(0.8);
        }
        say("a button, and a ping");
        robot.press(1, true);
        mSession.send(R"({"9000":{"pingID":4660}})");
        mSession.run(0.3);
        robot.press(1, false);
    }

    template <size_t kCount>
    void play(const Step (&steps)[kCount])
    {
        for (const Step& step : steps) {
            if (isInterrupted()) {
                return;
            }
            say(step.title);
            mSession.send(step.document);
            mSession.run(step.seconds);
        }
    }

    // Again when it fails: over a bad link packets are lost.
    void ask(const std::string& command)
    {
        constexpr int kAttempts = 3;
        std::string answer;
        bool isAnswered = false;
        Bar bar = {command.substr(0, command.find(' ')), {}};
        for (int i = 0; i < kAttempts && !isAnswered && !isInterrupted(); ++i) {
            const double start = mSession.seconds();
            isAnswered = mSession.ask(command, 0.5, answer);
            bar.stretches.push_back({start, mSession.seconds(), isAnswered ? kGreen : kOrange});
            mSession.run(0.1);
        }
        mAsked.push_back(bar);
    }

    void take(double t, const std::string& json)
    {
        std::string text = json;
        const nx_json* root = nx_json_parse_utf8(text.data());
        const auto value = [root](const char* component, const char* key) {
            const nx_json* member = nx_json_get(nx_json_get(root, component), key);
            return member->type == NX_JSON_NULL ? NAN : member->dbl_value;
        };
        if (const Simulator::VirtualRobot* robot = mSession.robot()) {
            const ZKVirtualRobotState& state = robot->state();
            mDriven.points.push_back({state.x, state.y});
            light(mLight102, t, state.light102);
            light(mLight103, t, state.light103);
            light(mLight104, t, state.light104);
            const uint8_t eye = state.eyeLights != 0 ? state.eyeBrightness[0] : uint8_t{0};
            light(mEye, t, {eye, eye, eye});
        }
        if (std::isfinite(value("2002", "x"))) {
            mReported.points.push_back({value("2002", "x"), value("2002", "y")});
        }
        mLeft.points.push_back({t, value("3001", "cm")});
        mRight.points.push_back({t, value("3000", "cm")});
        mRear.points.push_back({t, value("3002", "cm")});
        mPan.points.push_back({t, value("2000", "degree")});
        mTilt.points.push_back({t, value("2001", "degree")});
        const double heading = value("2002", "degree");
        if (!mHeading.points.empty() && std::abs(heading - mHeading.points.back().y) > 180) {
            mHeading.points.push_back({t, NAN});  // over the half turn
        }
        mHeading.points.push_back({t, heading});
        mLoudness.points.push_back({t, value("3005", "amp")});
        mButton.points.push_back({t, value("1001", "s")});
        mClap.points.push_back({t, value("3005", "clap")});
        if (value("3005", "clap") == 1) {
            mClapDirection = static_cast<int>(std::lround(value("3005", "mictdir") * 180 / 3.141592653589793));
            tellAsHost("hears a clap from " + std::to_string(mClapDirection) + " degrees");
        }
        if (std::isfinite(value("9000", "pingID"))) {
            tellAsHost("has ping " + std::to_string(static_cast<int>(value("9000", "pingID"))) + " back");
        }
        if (value("1001", "s") == 1 && !mButtonWasDown) {
            tellAsHost("sees button 1 pressed");
        }
        mButtonWasDown = value("1001", "s") == 1;
        nx_json_free(root);
    }

    void tellAsHost(const std::string& words)
    {
        std::printf("%7.3f  host   %s\n", mSession.seconds(), words.c_str());
    }

    static void light(Bar& bar, double t, const ZKVirtualColor& color)
    {
        char text[8];
        std::snprintf(text, sizeof text, "#%02x%02x%02x", static_cast<unsigned>(color.red),
                      static_cast<unsigned>(color.green), static_cast<unsigned>(color.blue));
        if (!bar.stretches.empty()) {
            bar.stretches.back().to = t;
        }
        if (bar.stretches.empty() || bar.stretches.back().color != text) {
            bar.stretches.push_back({t, t, text});
        }
    }

    void finish(bool drives)
    {
        std::printf("\n%llu sensor reports decoded", static_cast<unsigned long long>(mSession.reportCount()));
        if (const Simulator::VirtualRobot* robot = mSession.robot()) {
            const ZKVirtualRobotState& state = robot->state();
            const uint32_t refused =
                state.commandsIgnored + state.packetsUnreadable + state.wrongWrites + state.shellTextLost;
            std::printf(
                ", %u commands done, %u shell commands heard, %u things the robot could not use, %u faults of the link",
                state.commandsDone, state.shellLines, refused, mSession.link()->faultCount());
            if (drives) {
                std::printf("\nit stands at x %.1f cm, y %.1f cm, heading %.1f degrees", state.x, state.y,
                            state.heading);
            }
        }
        std::printf("\n");
        if (mOptions.svg.empty()) {
            return;
        }
        std::vector<Chart> charts;
        if (mType == ZK_ROBOT_RUSK) {
            charts.push_back({"Shell: answered (green) or not (orange)", kTime, "", {}, false, mAsked});
        } else {
            drawSenses(drives, charts);
        }
        writeFile(mOptions.svg, drawPicture("A lesson with " + shown(mSession.name()), charts));
        std::printf("the picture is %s\n", mOptions.svg.c_str());
    }

    void drawSenses(bool drives, std::vector<Chart>& charts)
    {
        if (drives) {
            std::vector<Curve> curves;
            if (const Simulator::VirtualRobot* robot = mSession.robot()) {
                const double x = robot->room().length / 2, y = robot->room().width / 2;
                curves.push_back({"walls", "#888888", {{-x, -y}, {x, -y}, {x, y}, {-x, y}, {-x, -y}}, true});
                curves.push_back(mDriven);
            }
            mReported.isBackdrop = !curves.empty();
            curves.insert(curves.begin() + (curves.empty() ? 0 : 1), mReported);
            charts.push_back({"Path in the room", "x (cm)", "y (cm)", curves, true});
        }
        if (mSession.robot() != nullptr) {
            charts.push_back({"Lights", kTime, "", {}, false, {mLight102, mLight103, mLight104, mEye}});
        }
        if (drives) {
            charts.push_back({"Distances", kTime, "to the nearest wall (cm)", {mLeft, mRight, mRear}});
            charts.push_back({"Head", kTime, "angle (degrees)", {mPan, mTilt}});
            charts.push_back({"Heading", kTime, "angle (degrees)", {mHeading}});
        }
        charts.push_back({"Microphone and button", kTime, "", {mLoudness, mClap, mButton}});
    }

    static constexpr char kTime[] = "time (s)";
    static constexpr const char *kBlue = "#1f6fb4", *kOrange = "#d9661f", *kGreen = "#3a8f3a";
    const DemoOptions& mOptions;
    Talk mSession;
    uint32_t mType = 0;
    int mClapDirection = 0;
    bool mButtonWasDown = false;
    Curve mDriven{"driven", kBlue, {}}, mReported{"reported", kOrange, {}};
    Curve mLeft{"left", kBlue, {}}, mRight{"right", kOrange, {}}, mRear{"rear", kGreen, {}};
    Curve mPan{"pan", kBlue, {}}, mTilt{"tilt", kOrange, {}}, mHeading{"heading", kBlue, {}};
    Curve mLoudness{"loudness", kBlue, {}}, mClap{"clap", kOrange, {}}, mButton{"button 1", kGreen, {}};
    std::vector<Bar> mAsked;
    Bar mLight102{"102", {}}, mLight103{"103", {}}, mLight104{"104", {}}, mEye{"eye ring", {}};
};

}  // namespace

void addDemo(CLI::App& app, int& status)
{
    auto options = std::make_shared<DemoOptions>();
    CLI::App* command = app.add_subcommand("demo", "A lesson with a robot, from the scan to the goodbye");
    addRobotChoice(*command, options->robot, false);
    command->add_option("--seed", options->seed, "Another virtual robot, other noise, other faults (default 1)");
    command->add_option("--svg", options->svg, "Draw what happened into a picture")->type_name("FILE");
    command->footer(
        "Orvik and Quill drive a square, Pell shows lights and sounds, Rusk answers its shell. The faults are drop,\n"
        "duplicate, delay, reorder, corrupt and truncate, of each packet, and cut, of the connection in each second.\n"
        "The same seed and faults give the same lesson.\n\n"
        "Examples:\n"
        "  zkhal demo --svg lesson.svg\n"
        "  zkhal demo --robot rusk\n"
        "  zkhal demo --seed 7 --faults drop=0.05,delay=0.1,cut=0.02");
    command->callback([options, &status] {
        try {
            preferVirtual(options->robot, options->seed);
            catchInterrupts();
            const QuietLibrary quiet;
            status = Lesson(*options).run();
        } catch (const InputError& error) {
            std::cerr << "zkhal demo: " << error.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
