// zkhal on-air: a virtual robot that real hosts find over Bluetooth.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <poll.h>

#include "Commands.h"
#include "CoreUtility/FormatText.h"
#include "Hands.h"
#include "Host/BluezPeripheral.h"
#include "Input.h"
#include "OutputFile.h"
#include "RobotDiary.h"
#include "RobotOption.h"
#include "Simulator/VirtualRobot.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

using Advertising = Host::PeripheralOptions::Advertising;

struct OnAirOptions {
    uint32_t robotType = ZK_ROBOT_ORVIK;
    uint64_t seed = 1;
    std::string adapter;
    Advertising advertising = Advertising::Best;
    double seconds = 0;
    std::string svg;
};

volatile std::sig_atomic_t gIsStopped = 0;

// A signal, or an output that is closed, ends the loop, whose end takes the robot off the air and sets the terminal
// back.
class StopSignals {
public:
    StopSignals()
    {
        struct sigaction stop = {};
        stop.sa_handler = [](int) { gIsStopped = 1; };
        for (size_t i = 0; i < std::size(kSignals); ++i) {
            stop.sa_handler = kSignals[i] == SIGPIPE ? SIG_IGN : stop.sa_handler;
            sigaction(kSignals[i], &stop, &mBefore[i]);
        }
    }
    ~StopSignals()
    {
        for (size_t i = 0; i < std::size(kSignals); ++i) {
            sigaction(kSignals[i], &mBefore[i], nullptr);
        }
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};
    struct sigaction mBefore[std::size(kSignals)];
};

const char* channelName(const std::string& channel)
{
    struct Row {
        const char* begin;
        const char* name;
    };
    static constexpr Row kNames[] = {
        {"AF230001", "shell answers"},
        {"AF230003", "sensor packets 1"},
        {"AF230006", "sensor packets 2"},
        {"AF230005", "file transfers"},
    };
    for (const Row& row : kNames) {
        if (channel.compare(0, 8, row.begin) == 0) {
            return row.name;
        }
    }
    return "a characteristic";
}

class OnAir final : public Host::PeripheralListener {
public:
    OnAir(const OnAirOptions& options, std::unique_ptr<Simulator::VirtualRobot> robot)
        : mOptions(options), mRobot(std::move(robot)), mHands(*mRobot)
    {
    }

    int run()
    {
        Host::PeripheralOptions options;
        options.adapter = mOptions.adapter;
        options.advertising = mOptions.advertising;
        options.service = Simulator::VirtualRobot::service();
        for (const char* uuid : mRobot->characteristics()) {
            options.channels.push_back({uuid, mRobot->takesWrites(uuid), ZKAcceptsChannel(uuid)});
        }
        Host::Error error;
        const StopSignals stopSignals;
        mPeripheral = Host::BluezPeripheral::create(options, error);
        if (!mPeripheral) {
            std::cerr << "zkhal on-air: " << Host::inWords(error) << '\n';
            return kBadInput;
        }
        {
            HandInput input;
            if (input.isTerminal()) {
                std::printf("%s\n", Hands::keyHelp());
            }
            loop(input);
        }
        const std::string link = mIsConnected ? ", and its host is sent away" : "";
        say("off the air" + link);
        mPeripheral.reset();
        finish();
        return mStatus;
    }

private:
    void onConnected(const std::string& address) override
    {
        mIsConnected = true;
        say("connected: " + address);
    }

    void onDisconnected(const std::string& address) override
    {
        mIsConnected = false;
        tellRobot();
        mRobot->handleDisconnect();
        say("disconnected: " + address);
    }

    void onSubscribed(const std::string& channel, bool isSubscribed) override
    {
        if (isSubscribed || mIsConnected) {  // who leaves listens to nothing, which needs no words
            say(std::string(isSubscribed ? "its host listens to " : "its host no longer listens to ") +
                channelName(channel));
        }
    }

    void onWritten(const std::string& channel, const uint8_t* data, size_t length) override
    {
        mRobot->write(channel.c_str(), data, length);
        tellRobot();
    }

    void onAdvertised(const Host::Error& whyWithoutService) override
    {
        say("on the air: " + ZKHAL::printable(mRobot->state().name) + ", " + robotName(mRobot->type()) + ", at " +
            mPeripheral->address() + " (" + mPeripheral->adapter() + ")");
        if (whyWithoutService) {
            say("its service is not advertised: " + Host::inWords(whyWithoutService));
        }
    }

    void onFailed(const Host::Error& error) override
    {
        std::cerr << "zkhal on-air: " << Host::inWords(error) << '\n';
        mStatus = kBadInput;
        mIsOver = true;
    }

    void loop(HandInput& input)
    {
        using Clock = std::chrono::steady_clock;
        constexpr double kStep = 1.0 / 30, kLongestStep = 1;
        const Clock::time_point start = Clock::now();
        double passed = 0;
        while (!mIsOver && gIsStopped == 0) {
            const double now = std::chrono::duration<double>(Clock::now() - start).count();
            // A machine that slept does not drive its robot into a wall.
            mRobot->advance(std::min(now - passed, kLongestStep));
            passed = now;
            mHands.letGo(mRobot->state().seconds);
            mPeripheral->process(*this);
            sendNotifications();
            tellRobot();
            mDiary.note(*mRobot);
            advertiseWhatIsNew();
            mIsOver = mIsOver || (mOptions.seconds > 0 && now >= mOptions.seconds);
            mIsOver = std::fflush(stdout) != 0 || mIsOver;  // nobody reads it any more
            wait(input, mIsOver ? 0 : std::min(kStep, mPeripheral->nextProcess()));
        }
    }

    void wait(HandInput& input, double seconds)
    {
        std::vector<pollfd> waited = mPeripheral->descriptors();
        if (input.isOpen()) {
            waited.push_back({STDIN_FILENO, POLLIN, 0});
        }
        poll(waited.data(), waited.size(), static_cast<int>(std::ceil(std::max(0.0, seconds) * 1000)));
        if (input.isOpen() && waited.back().revents != 0) {
            input.read(
                mHands, [](void* self, const HandsSaid& said) { static_cast<OnAir*>(self)->takeHands(said); }, this);
        }
    }

    void takeHands(const HandsSaid& said)
    {
        mIsOver = mIsOver || said.quits;
        if (said.isProblem) {
            std::cerr << "zkhal on-air: " << said.words << '\n';
        } else if (!said.words.empty()) {
            say(said.words);
        }
    }

    void sendNotifications()
    {
        Simulator::Notification notification;
        while (mRobot->nextNotification(notification)) {
            const HALPacket_t packet = Simulator::packetOf(notification);
            mPeripheral->notify(notification.channel, packet.data, packet.length);
        }
    }

    void advertiseWhatIsNew()
    {
        std::vector<uint8_t> data = mRobot->manufacturerData();
        std::string name = mRobot->localName();
        if (data != mData || name != mName) {
            mData = std::move(data);
            mName = std::move(name);
            mPeripheral->advertise(mData, mName);
        }
    }

    void tellRobot()
    {
        for (const Simulator::RobotEvent& event : mRobot->takeEvents()) {
            std::printf("%9.3f  %s\n", event.seconds, event.words.c_str());
        }
    }

    void say(const std::string& words)
    {
        std::printf("%9.3f  %s\n", mRobot->state().seconds, words.c_str());
    }

    void finish()
    {
        const ZKVirtualRobotState& state = mRobot->state();
        const uint32_t refused =
            state.commandsIgnored + state.packetsUnreadable + state.wrongWrites + state.shellTextLost;
        std::printf("%u commands done, %u shell commands heard, %u things it could not use\n", state.commandsDone,
                    state.shellLines, refused);
        if (!mOptions.svg.empty()) {
            writeFile(mOptions.svg, mDiary.picture(*mRobot, robotName(mRobot->type()) + " on the air, seed " +
                                                                std::to_string(mOptions.seed)));
            std::printf("the picture is %s\n", mOptions.svg.c_str());
        }
    }

    const OnAirOptions& mOptions;
    const std::unique_ptr<Simulator::VirtualRobot> mRobot;
    Hands mHands;
    RobotDiary mDiary;
    std::unique_ptr<Host::BluezPeripheral> mPeripheral;
    std::vector<uint8_t> mData;
    std::string mName;
    bool mIsConnected = false, mIsOver = false;
    int mStatus = kSuccess;
};

}  // namespace

void addOnAir(CLI::App& app, int& status)
{
    auto options = std::make_shared<OnAirOptions>();
    CLI::App* command = app.add_subcommand("on-air", "A virtual robot that real hosts find over Bluetooth");
    addRobotOption(*command, options->robotType);
    command->add_option("--seed", options->seed, "Another robot (default 1)");
    command
        ->add_option("--adapter", options->adapter, "Bluetooth adapter, such as hci0 (default: the first that is on)")
        ->type_name("ADAPTER");
    command
        ->add_option_function<std::string>(
            "--advertise-by",
            [options](const std::string& way) {
                options->advertising = way == "kernel"   ? Advertising::Kernel
                                       : way == "daemon" ? Advertising::Daemon
                                                         : Advertising::Best;
            },
            "Who advertises: the kernel, BlueZ's daemon (without the service), or the best that is allowed (default)")
        ->type_name("WAY")
        ->check(CLI::IsMember({"best", "kernel", "daemon"}));
    command->add_option("--seconds", options->seconds, "End after so many seconds")->check(finiteRange(0, 1e9));
    command->add_option("--svg", options->svg, "Draw its path and its lights into a picture, at the end")
        ->type_name("FILE");
    command->footer(
        std::string(
            "Tells what the robot is told. On a terminal, keys are hands on it; in a pipe, lines of text:\n  ") +
        Hands::lineHelp() +
        "\nAdvertising all that a robot does takes an administrator. Exit status 1 when Bluetooth fails.\n\n"
        "Examples:\n"
        "  sudo zkhal on-air --robot orvik\n"
        "  zkhal on-air --robot quill --adapter hci1 --seed 7 --svg day.svg\n"
        "  (sleep 20; echo clap 90; sleep 20) | zkhal on-air --seconds 60");
    command->callback([options, &status] {
        std::unique_ptr<Simulator::VirtualRobot> robot =
            Simulator::VirtualRobot::create(options->robotType, options->seed);
        if (!robot) {
            std::cerr << "zkhal on-air: there is no virtual robot of this type\n";
            status = kWrongUse;
            return;
        }
        try {
            status = OnAir(*options, std::move(robot)).run();
        } catch (const InputError& error) {
            std::cerr << "zkhal on-air: " << error.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
