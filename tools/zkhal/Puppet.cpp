// zkhal record, puppet, animate and replay: from a robot that is moved by hand to one that moves by itself.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "CoreUtility/FormatText.h"
#include "CoreUtility/Json/nx_json.h"
#include "HexText.h"
#include "Host/RobotChannels.h"
#include "Input.h"
#include "OutputFile.h"
#include "Picture.h"
#include "Recording.h"
#include "RobotOption.h"
#include "Simulator/AnimationReader.h"
#include "Simulator/VirtualRobot.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

using Internal::puppetPose_t;

constexpr char kRecord[] = "recording";
constexpr double kPi = 3.141592653589793;
constexpr double kStep = 1.0 / 30;

std::unique_ptr<Simulator::VirtualRobot> wheeledRobot(uint32_t robotType)
{
    auto robot = Simulator::VirtualRobot::create(robotType, 1);
    if (robot == nullptr || !Simulator::findModel(robotType)->hasWheels) {
        throw InputError{robotName(robotType) + " does not drive: orvik or quill"};
    }
    return robot;
}

// Results go to a file, or to stdout where there is none.
void deliver(const std::string& path, const std::string& content)
{
    if (path.empty()) {
        std::cout << content;
    } else {
        writeFile(path, content);
    }
}

// What an app sees of a robot: the poses in its sensor reports.
class Observer {
public:
    explicit Observer(uint32_t robotType) : mTranslator(ZKTranslatorCreate(robotType), ZKTranslatorDestroy) {}

    // The pose of the robot's last report, which may have come before; t is left to the caller.
    puppetPose_t observe(Simulator::VirtualRobot& robot)
    {
        HALPacket_t packets[2] = {};
        for (Simulator::Notification each; robot.nextNotification(each);) {
            const std::string channel = each.channel;
            if (channel == Host::kSensorPacket1 || channel == Host::kSensorPacket2) {
                packets[channel == Host::kSensorPacket1 ? 0 : 1] = Simulator::packetOf(each);
            }
        }
        char json[ZK_MAX_REPORT_SIZE];
        if (ZKTranslatorDecode(mTranslator.get(), packets, 2, json, sizeof json) == 0) {
            return mLast;
        }
        const nx_json* root = nx_json_parse_utf8(json);
        const auto value = [root](const char* component, const char* key) {
            return nx_json_get(nx_json_get(root, component), key)->dbl_value;
        };
        const double heading = value("2002", "degree") * kPi / 180;
        mHeading += std::remainder(heading - mHeading, 2 * kPi);  // on over the half turn
        mLast = {0,
                 static_cast<float>(value("2002", "x")),
                 static_cast<float>(value("2002", "y")),
                 static_cast<float>(mHeading),
                 static_cast<float>(value("2000", "degree") * kPi / 180),
                 static_cast<float>(value("2001", "degree") * kPi / 180)};
        nx_json_free(root);
        return mLast;
    }

private:
    std::unique_ptr<ZKTranslator, decltype(&ZKTranslatorDestroy)> mTranslator;
    double mHeading = 0;
    puppetPose_t mLast = {};
};

// ---- record ----------------------------------------------------------------------------------------------------

struct RecordOptions {
    uint32_t robotType = ZK_ROBOT_ORVIK;
    double seconds = 12;
    std::string output;
};

// A hand leads the robot along a figure of eight, nose ahead, while another one moves its head.
void leadByHand(Simulator::VirtualRobot& robot, double part)
{
    const double a = 2 * kPi * part;
    const double x = 50 * std::sin(a), y = 25 * std::sin(2 * a);
    const double heading = std::atan2(50 * std::cos(2 * a), 50 * std::cos(a));
    const double start = std::atan2(50.0, 50.0);
    // Turned so that it starts along x, as a robot does.
    const double c = std::cos(-start), s = std::sin(-start);
    robot.moveByHand(x * c - y * s, x * s + y * c, (heading - start) * 180 / kPi);
    robot.turnHead(40 * std::sin(2 * a), -8 * (1 - std::cos(a)));
}

void record(const RecordOptions& options)
{
    const auto robot = wheeledRobot(options.robotType);
    Observer observer(options.robotType);
    const double interval = static_cast<double>(ZKPuppetCore_recommendedInterval());
    const int steps = static_cast<int>(options.seconds * 30 + 0.5);
    std::vector<puppetPose_t> poses;
    for (int step = 0; step <= steps; ++step) {
        leadByHand(*robot, static_cast<double>(step) / steps);
        robot->advance(kStep);
        const puppetPose_t pose = observer.observe(*robot);
        const double t = step * kStep;
        if (t >= static_cast<double>(poses.size()) * interval - 1e-6) {
            poses.push_back(pose);
            poses.back().t = static_cast<float>(t);
        }
    }
    deliver(options.output, recordingText(poses));
}

// ---- puppet ----------------------------------------------------------------------------------------------------

struct PuppetOptions {
    std::string input;
    float from = 0;
    float to = std::numeric_limits<float>::infinity();
    std::string output;
};

void makeSequence(const PuppetOptions& options)
{
    const std::vector<puppetPose_t> poses = readRecording(options.input, readInput(options.input));
    const QuietLibrary quiet;  // of the one recording that it has
    ZKPuppetCore_clearAll();
    ZKPuppetCore_init(kRecord);
    for (const puppetPose_t& pose : poses) {
        ZKPuppetCore_addFrame(kRecord, pose.t, pose.x, pose.y, pose.theta, pose.pan, pose.tilt);
    }
    std::string sequence(ZKPuppetCore_subsequenceByteCount(kRecord, options.from, options.to), '\0');
    ZKPuppetCore_subsequence(kRecord, sequence.data(), sequence.size(), options.from, options.to);
    sequence.back() = '\n';
    deliver(options.output, sequence);
}

// ---- animate ---------------------------------------------------------------------------------------------------

struct AnimateOptions {
    uint32_t robotType = ZK_ROBOT_ORVIK;
    std::string input;
    std::string list;
    std::string output;
    unsigned slot = 0;
    bool hasSlot = false;
};

int listFrames(const std::string& name, const std::string& bytes)
{
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    const Simulator::AnimationReading reading = Simulator::readAnimation(data, bytes.size());
    double at = 0;
    size_t number = 0;
    for (const Simulator::AnimationFrame& frame : reading.frames) {
        std::printf("frame %zu, at %.3f s, then a wait of %u ms\n", ++number, at / 1000, frame.wait_ms);
        for (const HALPacket_t& packet : frame.packets) {
            bool isComplete = true;
            std::printf("  %s\n%s", hexText(packet.data, packet.length).c_str(),
                        packetInWords(packet.data, packet.length, isComplete).c_str());
        }
        at += frame.wait_ms;
    }
    std::printf("%s, %s, %.3f s\n", counted(reading.frames.size(), "frame").c_str(),
                counted(bytes.size(), "byte").c_str(), at / 1000);
    if (!reading.problem.empty()) {
        std::fflush(stdout);
        std::cerr << name << ": byte " << reading.problemAt << ": " << reading.problem << '\n';
        return kBadInput;
    }
    return kSuccess;
}

// What is the same in many frames is told of the first one.
void tellFindings(const std::string& name, const std::string& lines)
{
    struct Finding {
        std::string words, line;
        size_t count;
    };
    std::vector<Finding> findings;
    const bool isCut = lines.find("\n... and more") != std::string::npos;
    for (size_t at = 0, end; at < lines.size(); at = end + 1) {
        end = std::min(lines.find('\n', at), lines.size());
        const std::string line = lines.substr(at, end - at);
        const size_t frame = line.find(": frame ");
        const size_t behind = frame != std::string::npos ? line.find(": ", frame + 2) : frame;
        const std::string words = behind != std::string::npos ? line.substr(behind) : line;
        const auto same =
            std::find_if(findings.begin(), findings.end(), [&](const Finding& each) { return each.words == words; });
        if (same != findings.end()) {
            ++same->count;
        } else {
            findings.push_back({words, line, 1});
        }
    }
    for (const Finding& each : findings) {
        std::cerr << name << ':' << each.line;
        if (each.count > 1) {
            std::cerr << " (and " << (isCut ? "at least " : "") << counted(each.count - 1, "more time") << ')';
        }
        std::cerr << '\n';
    }
}

std::string converted(const std::string& text, uint32_t robotType)
{
    const QuietLibrary quiet;  // what it would say is shown frame by frame
    std::string bytes(ZKPuppetCore_convertANByteCount(text.c_str(), robotType), '\0');
    ZKPuppetCore_convertAN(text.c_str(), robotType, reinterpret_cast<uint8_t*>(bytes.data()), bytes.size());
    return bytes;
}

int animate(const AnimateOptions& options)
{
    if (!options.list.empty()) {
        return listFrames(options.list, readBytes(options.list));
    }
    const std::string text = readInput(options.input);
    if (text.find('\0') != std::string::npos) {
        throw InputError{options.input + ": a zero byte is no text"};
    }
    std::vector<char> findings(1 << 17);
    const int verdict = ZKCheckAnimationDocument(text.c_str(), options.robotType, findings.data(), findings.size());
    tellFindings(options.input, findings.data());
    if (verdict == ZK_CHECK_REFUSED) {
        return kBadInput;
    }
    const std::string bytes = converted(text, options.robotType);
    if (options.output == "-") {
        writeFile("-", bytes);
        return kSuccess;
    }
    const int status = listFrames(options.input, bytes);
    std::string output = options.output;
    if (output.empty() && options.hasSlot) {
        char name[32];
        ZKPuppetCore_fullPathForSlot(name, sizeof name, options.slot, true);
        output = name;
    }
    if (!output.empty()) {
        writeFile(output, bytes);
        std::printf("the animation file is %s\n", output.c_str());
    }
    return status;
}

// ---- replay ----------------------------------------------------------------------------------------------------

struct ReplayOptions {
    uint32_t robotType = ZK_ROBOT_ORVIK;
    std::string input;
    std::string over;
    std::string svg;
};

struct Played {
    double t;
    puppetPose_t pose;
};

std::vector<Played> play(const ReplayOptions& options, const Simulator::AnimationReading& reading)
{
    const auto robot = wheeledRobot(options.robotType);
    Observer observer(options.robotType);
    std::vector<Played> played;
    double t = 0;
    const auto wait = [&](double seconds) {
        for (double left = seconds; left > 0; left -= kStep) {
            const double slice = std::min(left, kStep);
            const int64_t before = static_cast<int64_t>(t * 30 + 1e-6);
            robot->advance(slice);
            t += slice;
            if (static_cast<int64_t>(t * 30 + 1e-6) > before) {
                played.push_back({t, observer.observe(*robot)});
            }
        }
    };
    constexpr double kLongest = 3600;
    for (const Simulator::AnimationFrame& frame : reading.frames) {
        for (const HALPacket_t& packet : frame.packets) {
            robot->write(Host::kCommandControl, packet.data, packet.length);
        }
        wait(frame.wait_ms / 1000.0);
        if (t > kLongest) {
            std::cerr << "only the first hour is played\n";
            break;
        }
    }
    // The last pose may be still to come.
    for (int i = 0; i < 30 && robot->state().isDriving; ++i) {
        wait(kStep);
    }
    const ZKVirtualRobotState& state = robot->state();
    if (state.packetsUnreadable + state.commandsIgnored > 0) {
        std::cerr << "packets or commands that the robot could not use: "
                  << state.packetsUnreadable + state.commandsIgnored << ": " << state.problem << '\n';
    }
    return played;
}

// How far the robot was from where the recording had it at that time, in cm.
std::array<double, 2> deviation(const std::vector<Played>& played, const std::vector<puppetPose_t>& poses)
{
    double sum = 0, most = 0;
    size_t count = 0;
    auto next = poses.begin();
    for (const Played& each : played) {
        while (next != poses.end() && static_cast<double>(next->t) < each.t) {
            ++next;
        }
        if (next == poses.begin() || next == poses.end()) {
            continue;
        }
        const puppetPose_t &a = *(next - 1), &b = *next;
        const double gap = static_cast<double>(b.t - a.t);
        const double part = gap > 0 ? (each.t - static_cast<double>(a.t)) / gap : 0;
        const double x = static_cast<double>(a.x) + static_cast<double>(b.x - a.x) * part;
        const double y = static_cast<double>(a.y) + static_cast<double>(b.y - a.y) * part;
        const double distance = std::hypot(static_cast<double>(each.pose.x) - x, static_cast<double>(each.pose.y) - y);
        sum += distance;
        most = std::max(most, distance);
        ++count;
    }
    return {count > 0 ? sum / static_cast<double>(count) : 0, most};
}

void drawReplay(const ReplayOptions& options, const std::vector<Played>& played, const std::vector<puppetPose_t>& poses)
{
    constexpr const char *kBlue = "#1f6fb4", *kOrange = "#d9661f";
    Curve recorded{"recorded", kOrange, {}, true}, replayed{"replayed", kBlue, {}};
    Curve recordedPan{"pan recorded", kOrange, {}}, replayedPan{"pan replayed", kBlue, {}};
    for (const puppetPose_t& pose : poses) {
        recorded.points.push_back({static_cast<double>(pose.x), static_cast<double>(pose.y)});
        recordedPan.points.push_back({static_cast<double>(pose.t), static_cast<double>(pose.pan) * 180 / kPi});
    }
    for (const Played& each : played) {
        replayed.points.push_back({static_cast<double>(each.pose.x), static_cast<double>(each.pose.y)});
        replayedPan.points.push_back({each.t, static_cast<double>(each.pose.pan) * 180 / kPi});
    }
    std::vector<Curve> path = {replayed}, pan = {replayedPan};
    if (!poses.empty()) {
        path.insert(path.begin(), recorded);
        pan.insert(pan.begin(), recordedPan);
    }
    writeFile(options.svg,
              drawPicture("An animation replayed by " + robotName(options.robotType),
                          {{"Path", "x (cm)", "y (cm)", path, true}, {"Head", "time (s)", "angle (degrees)", pan}}));
    std::printf("the picture is %s\n", options.svg.c_str());
}

int replay(const ReplayOptions& options)
{
    const std::string bytes = readBytes(options.input);
    const Simulator::AnimationReading reading =
        Simulator::readAnimation(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    std::vector<puppetPose_t> poses;
    if (!options.over.empty()) {
        poses = readRecording(options.over, readInput(options.over));
    }
    const std::vector<Played> played = play(options, reading);
    double seconds = 0;
    for (const Simulator::AnimationFrame& frame : reading.frames) {
        seconds += frame.wait_ms / 1000.0;
    }
    std::printf("%s in %.3f s", counted(reading.frames.size(), "frame").c_str(), seconds);
    if (!played.empty()) {
        const puppetPose_t& end = played.back().pose;
        std::printf("; it comes to rest at x %.1f cm, y %.1f cm, heading %.1f degrees", static_cast<double>(end.x),
                    static_cast<double>(end.y), static_cast<double>(end.theta) * 180 / kPi);
    }
    std::printf("\n");
    if (!poses.empty() && !played.empty()) {
        const auto [mean, most] = deviation(played, poses);
        std::printf("from the recording it is %.2f cm away in the mean, %.2f cm at most\n", mean, most);
    }
    if (!options.svg.empty()) {
        drawReplay(options, played, poses);
    }
    if (!reading.problem.empty()) {
        std::cerr << options.input << ": byte " << reading.problemAt << ": " << reading.problem << '\n';
        return kBadInput;
    }
    return kSuccess;
}

// What can be wrong with a file is told with its name.
template <class Options, class Run>
void whenRun(CLI::App* command, const std::shared_ptr<Options>& options, int& status, Run run)
{
    command->callback([command, options, &status, run] {
        try {
            status = run(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal " << command->get_name() << ": " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace

void addPuppet(CLI::App& app, int& status)
{
    auto recording = std::make_shared<RecordOptions>();
    CLI::App* command = app.add_subcommand("record", "Move a virtual robot by hand, and record what it reports");
    addRobotOption(*command, recording->robotType);
    command->add_option("--seconds", recording->seconds, "How long the figure of eight takes (default 12)")
        ->check(finiteRange(1, 3600));
    command->add_option("-o,--output", recording->output, "The recording; without it, stdout")->type_name("FILE");
    command->footer("Example:\n  zkhal record -o eight.csv");
    whenRun(command, recording, status, [](const RecordOptions& options) {
        record(options);
        return kSuccess;
    });

    auto puppet = std::make_shared<PuppetOptions>();
    command = app.add_subcommand("puppet", "Turn a recording into an animation sequence");
    const CLI::Validator time = finiteRange(-1e9, 1e9).description("");
    command->add_option("--from", puppet->from, "From the last pose at or before this time in seconds (default 0)")
        ->check(time);
    command->add_option("--to", puppet->to, "Up to the last pose at or before this time; -1 is the end (default)")
        ->check(time);
    command->add_option("-o,--output", puppet->output, "The sequence; without it, stdout")->type_name("FILE");
    command->add_option("recording", puppet->input, "The recording, - for standard input")
        ->type_name("RECORDING.csv")
        ->required();
    command->footer(
        "A recording is a CSV with the header t,x,y,theta,pan,tilt (seconds, cm, radians), or the library's own\n"
        "measured.csv.\n\n"
        "Example:\n  zkhal puppet eight.csv -o eight.json");
    whenRun(command, puppet, status, [](const PuppetOptions& options) {
        makeSequence(options);
        return kSuccess;
    });

    auto animation = std::make_shared<AnimateOptions>();
    command = app.add_subcommand("animate", "Turn a sequence into a robot's animation file, or list such a file");
    addRobotOption(*command, animation->robotType);
    command->add_option("--list", animation->list, "Show an animation file frame by frame")->type_name("FILE");
    auto* slot = command->add_option("--slot", animation->slot, "Name the file as the robot does, by its slot");
    command->add_option("-o,--output", animation->output, "The animation file")->type_name("FILE")->excludes(slot);
    auto* input = command->add_option("sequence", animation->input, "The sequence, - for standard input")
                      ->type_name("SEQUENCE.json");
    command->footer(
        "Prints frames, packets and waits. Remarks, on stderr, tell what the file cannot hold; a sequence that is\n"
        "refused writes nothing (exit status 1).\n\n"
        "Examples:\n  zkhal animate eight.json --slot 3\n  zkhal animate --list SYSTPUPPET3AN");
    command->callback([=, &status] {
        animation->hasSlot = slot->count() > 0;
        if ((input->count() > 0) == !animation->list.empty()) {
            throw CLI::ValidationError("animate", "wants a sequence, or --list FILE");
        }
        try {
            status = animate(*animation);
        } catch (const InputError& problem) {
            std::cerr << "zkhal animate: " << problem.message << '\n';
            status = kBadInput;
        }
    });

    auto replayed = std::make_shared<ReplayOptions>();
    command = app.add_subcommand("replay", "Let a virtual robot play an animation file");
    addRobotOption(*command, replayed->robotType);
    command->add_option("--over", replayed->over, "The recording that it was made of, to compare")
        ->type_name("RECORDING.csv");
    command->add_option("--svg", replayed->svg, "Draw its path into a picture")->type_name("FILE");
    command->add_option("file", replayed->input, "The animation file, - for standard input")
        ->type_name("FILE")
        ->required();
    command->footer("Example:\n  zkhal replay --over eight.csv --svg eight.svg SYSTPUPPET3AN");
    whenRun(command, replayed, status, replay);
}

}  // namespace zkhal
