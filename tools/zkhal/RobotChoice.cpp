#include "RobotChoice.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <set>

#include <unistd.h>

#include "CoreUtility/FormatText.h"
#include "Host/Capture.h"
#include "Host/CaptureTransport.h"
#include "Input.h"
#include "ZKHAL/Vocabulary.h"

#if ZKHAL_HAS_BLUETOOTH
#include "Host/BluezTransport.h"
#endif

namespace zkhal {

namespace {

constexpr char kVirtual[] = "virtual:", kCapture[] = "capture:";

bool beginsWith(const std::string& text, const char* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

// "virtual:orvik", "virtual:quill:7". What is wrong with it; "" if nothing.
std::string readVirtualRobot(const std::string& who, Host::VirtualRobotOptions& options)
{
    const size_t begin = sizeof kVirtual - 1;
    const size_t colon = std::min(who.find(':', begin), who.size());
    ZKRobotTypeInfo type = {};
    type.size = sizeof type;
    if (!ZKFindRobotType(who.substr(begin, colon - begin).c_str(), &type) || type.isBootloader) {
        return "there is no virtual robot '" + shown(who) + "'; there are virtual:orvik, pell, quill and rusk";
    }
    options.type = type.type;
    options.seed = 1;
    if (colon < who.size() && !CLI::detail::lexical_cast(who.substr(colon + 1), options.seed)) {
        return "'" + shown(who) + "': what follows the second colon is a number, for another robot of its kind";
    }
    return "";
}

Host::Pace paceOf(const RobotChoice& choice)
{
    if (choice.pace.empty()) {
        return isatty(STDOUT_FILENO) != 0 ? Host::Pace::Real : Host::Pace::Fast;
    }
    return choice.pace == "fast" ? Host::Pace::Fast : Host::Pace::Real;
}

volatile std::sig_atomic_t gInterrupts = 0;

}  // namespace

void addRobotChoice(CLI::App& app, RobotChoice& choice, bool many)
{
    auto* robot =
        app.add_option("--robot", choice.who,
                       many ? "A robot's name or address, virtual:FAMILY[:SEED] or capture:FILE; may be given "
                              "several times (default virtual:orvik)"
                            : "The robot's name or address, virtual:FAMILY[:SEED] or capture:FILE (default "
                              "virtual:orvik)");
    robot->type_name("WHO")->check([](const std::string& who) {
        Host::VirtualRobotOptions options = {};
        return beginsWith(who, kVirtual) ? readVirtualRobot(who, options) : std::string();
    });
    if (many) {
        robot->allow_extra_args(false);
    } else {
        robot->expected(1);
    }
    app.add_option("--adapter", choice.adapter, "The Bluetooth adapter (default: the first that is on)")
        ->type_name("HCI");
    app.add_option("--pace", choice.pace,
                   "real or fast: virtual robots and captures take their time on a terminal, and none in a pipe; real "
                   "robots always do")
        ->check(CLI::IsMember({"real", "fast"}))
        ->type_name("PACE");
    app.add_option("--faults", choice.faults, "Chances of faults on virtual robots' links (default none)")
        ->type_name("FAULT=CHANCE,...")
        ->check([](const std::string& text) {
            std::string problem;
            return Simulator::parseFaults(text, problem) ? std::string() : problem;
        });
    app.add_option("--retries", choice.retries, "How often to connect again to a robot that is lost (default 5)");
}

void preferVirtual(RobotChoice& choice, uint64_t seed)
{
    if (choice.who.empty()) {
        choice.who = {"virtual:orvik"};
    }
    for (std::string& who : choice.who) {
        const std::string lower = CLI::detail::to_lower(who);
        for (const char* family : {"orvik", "pell", "quill", "rusk"}) {
            who = lower == family ? kVirtual + lower : who;
        }
        const bool hasSeed = who.find(':', sizeof kVirtual) != std::string::npos;
        who += beginsWith(who, kVirtual) && !hasSeed ? ':' + std::to_string(seed) : "";
    }
}

std::unique_ptr<Host::Transport> bluetooth(const std::string& adapter)
{
#if ZKHAL_HAS_BLUETOOTH
    Host::BluezOptions options;
    options.adapter = adapter;
    Host::Error error;
    std::unique_ptr<Host::Transport> transport = Host::makeBluezTransport(options, error);
    if (transport == nullptr) {
        throw InputError{inWords(error)};
    }
    return transport;
#else
    static_cast<void>(adapter);
    throw InputError{
        "this zkhal was built without Bluetooth (libsystemd was missing, or -DZKHAL_BLUETOOTH=OFF); "
        "virtual robots are there: virtual:orvik"};
#endif
}

std::unique_ptr<Host::Transport> virtualClass(unsigned count, Host::Pace pace)
{
    auto robots = std::make_unique<Host::VirtualTransport>(pace);
    constexpr uint32_t kTypes[] = {ZK_ROBOT_ORVIK, ZK_ROBOT_PELL, ZK_ROBOT_QUILL, ZK_ROBOT_RUSK};
    for (unsigned i = 0; i < count; ++i) {
        robots->add({kTypes[i % 4], i / 4 + uint64_t{1}, {}});
    }
    return robots;
}

Radio::Radio(const RobotChoice& choice)
{
    const std::vector<std::string> who = choice.who.empty() ? std::vector<std::string>{"virtual:orvik"} : choice.who;
    size_t virtualRobots = 0, captures = 0;
    std::set<std::string> different;
    for (const std::string& each : who) {
        virtualRobots += beginsWith(each, kVirtual) ? 1u : 0u;
        captures += beginsWith(each, kCapture) ? 1u : 0u;
    }
    if ((virtualRobots != 0 && virtualRobots != who.size()) || captures > 1 || (captures == 1 && who.size() > 1)) {
        throw InputError{"robots of one kind at a time: virtual ones, real ones, or one capture"};
    }
    for (const std::string& each : who) {
        if (!different.insert(CLI::detail::to_lower(fullName(each))).second) {
            throw InputError{"--robot " + shown(each) + " is given twice"};
        }
    }
    if (virtualRobots != 0) {
        auto transport = std::make_unique<Host::VirtualTransport>(paceOf(choice));
        std::string ignored;  // checked where it was given
        const auto faults = Simulator::parseFaults(choice.faults, ignored);
        for (const std::string& each : who) {
            Host::VirtualRobotOptions options = {};
            readVirtualRobot(each, options);
            options.faults = faults.value_or(Simulator::Faults());
            transport->add(options);
            mNames.push_back(fullName(each));
        }
        mVirtual = transport.get();
        mTransport = std::move(transport);
    } else if (captures != 0) {
        const std::string path = who[0].substr(sizeof kCapture - 1);
        std::string problem;
        std::vector<Host::CaptureEvent> events = Host::readCapture(readInput(path), problem);
        if (!problem.empty()) {
            throw InputError{path + ':' + problem};
        }
        mTransport = std::make_unique<Host::CaptureTransport>(std::move(events), paceOf(choice), ZK_ROBOT_ORVIK);
        mNames = {"capture"};
        mIsCapture = true;
    } else {
        mTransport = bluetooth(choice.adapter);
        mNames = who;
    }
    mHub = std::make_unique<Host::Hub>(*mTransport);
}

Radio::~Radio()
{
    mHub.reset();  // it uses the radio
}

void catchInterrupts()
{
    struct sigaction action = {};
    action.sa_handler = [](int signal) {
        if (gInterrupts != 0) {
            _exit(128 + signal);
        }
        gInterrupts = 1;
    };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(signal, &action, nullptr);
    }
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
}

bool isInterrupted()
{
    return gInterrupts != 0 || std::ferror(stdout) != 0 || !std::cout;
}

std::string fullName(const std::string& who)
{
    Host::VirtualRobotOptions options = {};
    if (!beginsWith(who, kVirtual) || !readVirtualRobot(who, options).empty()) {
        return who;
    }
    ZKRobotTypeInfo type = {};
    type.size = sizeof type;
    ZKFindRobotType(std::to_string(options.type).c_str(), &type);
    return kVirtual + std::string(type.name) + ':' + std::to_string(options.seed);
}

bool isSameRobot(const Host::RobotSession& robot, const std::string& who)
{
    return robot.isCalled(who) || robot.isCalled(fullName(who));
}

std::string shown(const std::string& text)
{
    return ZKHAL::printable(text);
}

}  // namespace zkhal
