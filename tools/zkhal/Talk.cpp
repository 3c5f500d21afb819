#include "Talk.h"

#include <cstring>
#include <iostream>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "HexText.h"
#include "Host/RobotChannels.h"

namespace zkhal {

namespace {

constexpr double kPatience = 3600;  // the session has its own

Host::SessionOptions optionsOf(const RobotChoice& choice)
{
    Host::SessionOptions options;
    options.retries = choice.retries;
    options.firstPause = 1;
    options.longestPause = 8;
    return options;
}

}  // namespace

Talk::Talk(const RobotChoice& choice, Teller tell)
    : mTell(std::move(tell)), mRadio(choice), mSession(mRadio.hub().open(mRadio.names()[0], optionsOf(choice), this))
{
}

Talk::~Talk()
{
    mRadio.hub().close(mSession);
}

Simulator::VirtualRobot* Talk::robot()
{
    return mRadio.virtualRobots() != nullptr ? &mRadio.virtualRobots()->robot(0) : nullptr;
}

const Simulator::Link* Talk::link()
{
    return mRadio.virtualRobots() != nullptr ? &mRadio.virtualRobots()->link(0) : nullptr;
}

void Talk::tell(const char* side, const std::string& words)
{
    tellRobot();  // what it did comes before what the host makes of it
    mTell(seconds(), side, shown(words));
}

void Talk::poll()
{
    mRadio.hub().poll(Host::Hub::kTick);
    tellRobot();
}

void Talk::tellRobot()
{
    for (const Simulator::RobotEvent& event :
         robot() != nullptr ? robot()->takeEvents() : std::vector<Simulator::RobotEvent>()) {
        if (showsRobot) {
            mTell(event.seconds, "robot", shown(event.words));
        }
    }
}

void Talk::run(double seconds)
{
    for (const double end = this->seconds() + seconds - 1e-9; this->seconds() < end && !isInterrupted();) {
        poll();
    }
}

void Talk::runUntilInput()
{
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    while (mRadio.hub().transport().isRealTime() && !isLost() && !isInterrupted() &&
           std::cin.rdbuf()->in_avail() <= 0 && ::poll(&input, 1, 0) == 0) {
        poll();
    }
}

void Talk::stop()
{
    mSession.stop();
    mRadio.hub().runUntil([this] { return mSession.isIdle() || !mSession.isReady(); }, 2);
    mRadio.hub().run(0.1);
}

bool Talk::connect()
{
    while (!mSession.isReady() && !isLost() && !isInterrupted()) {
        poll();
    }
    return mSession.isReady();
}

void Talk::disconnect()
{
    mSession.disconnect();
    for (const double end = seconds() + 5; !isLost() && seconds() < end;) {
        poll();
    }
}

void Talk::onState(Host::RobotSession&, Host::SessionState state, const Host::Error& error)
{
    using State = Host::SessionState;
    if (state == State::Connecting) {
        const ZKRobotInfo& info = mSession.info();
        const uint8_t* version = info.firmwareVersion;
        tell("host", "finds \"" + std::string(info.name) + "\" (" + info.uniqueId + "), type " +
                         std::to_string(info.type) + ", firmware " + std::to_string(version[0]) + "." +
                         std::to_string(version[1]) + "." + std::to_string(version[2]) + ", battery level " +
                         std::to_string(info.batteryLevel));
    } else if (state == State::Ready) {
        tell("host", "is connected: its service and its characteristics are valid");
    } else if (state == State::Pausing) {
        tell("host", "loses it: " + inWords(error));
    } else if (state == State::Ended) {
        tell("host", error ? "gives up: " + inWords(error) : "disconnects");
    }
}

void Talk::onReport(Host::RobotSession&, double seconds, const char* json, size_t)
{
    tellRobot();
    if (listener != nullptr) {
        listener(seconds, json);
    }
}

void Talk::onAnswer(Host::RobotSession&, Host::AskId, const std::string& command, const char* answer,
                    const Host::Error& error)
{
    mHasEnded = true;
    mIsAnswered = answer != nullptr;
    mAnswer = answer != nullptr ? answer : "";
    tell("host", "\"" + command + "\" " +
                     (answer != nullptr ? "is answered: \"" + mAnswer + "\"" : "has failed: " + error.words));
}

void Talk::onPacket(Host::RobotSession&, bool isSent, const char* channel, const uint8_t* data, size_t length)
{
    if (showsBytes && std::strcmp(channel, isSent ? Host::kShellControl : Host::kShellPacket) == 0) {
        tell(isSent ? "out" : "in", hexText(data, length));
    }
}

void Talk::send(const std::string& json)
{
    connect();  // after a loss
    if (isInterrupted()) {
        return;
    }
    if (const Host::Error error = mSession.send(json.c_str())) {
        tell("host", inWords(error));
    }
}

bool Talk::ask(const std::string& command, double timeout, std::string& answer)
{
    connect();
    mHasEnded = mIsAnswered = false;
    Host::AskId id = 0;
    if (const Host::Error error = mSession.ask(command, timeout, id)) {
        tell("host", inWords(error));
        return false;
    }
    for (const double end = seconds() + kPatience; !mHasEnded && seconds() < end && !isInterrupted();) {
        poll();
    }
    answer = mAnswer;
    return mIsAnswered;
}

}  // namespace zkhal
