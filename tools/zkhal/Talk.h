// A conversation with one robot that is told line by line: what demo and shell show.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "Host/Hub.h"
#include "RobotChoice.h"

namespace zkhal {

class Talk final : private Host::SessionListener {
public:
    // A line of what happens: when, on which side, what.
    using Teller = std::function<void(double seconds, const char* side, const std::string& words)>;
    // A decoded sensor report.
    using Listener = std::function<void(double seconds, const std::string& json)>;

    // Throws InputError when there is no radio.
    Talk(const RobotChoice& choice, Teller tell);
    ~Talk() override;

    // Finds the robot and connects. False, and told, when it cannot.
    bool connect();
    void disconnect();
    // A command document to the robot. A refused one is told.
    void send(const std::string& json);
    // A shell command; runs until it has ended. Whether it was answered, and how.
    bool ask(const std::string& command, double timeout, std::string& answer);
    // Lets time pass.
    void run(double seconds);
    // Lets time pass with a real robot until there is something to read from stdin.
    void runUntilInput();
    // Wheels and sound stop, before anything that waits.
    void stop();

    double seconds()
    {
        return mRadio.hub().now();
    }
    std::string name() const
    {
        return mSession.info().name;
    }
    uint32_t type() const
    {
        return mSession.info().type;
    }
    uint64_t reportCount() const
    {
        return mSession.reportCount();
    }
    // Whether the robot is lost for good.
    bool isLost() const
    {
        return mSession.state() == Host::SessionState::Ended;
    }
    // Null where the robot is real.
    Simulator::VirtualRobot* robot();
    const Simulator::Link* link();

    Listener listener;
    bool showsBytes = false;  // tell each packet of the shell
    bool showsRobot = true;   // tell what a virtual robot does

private:
    void onState(Host::RobotSession& session, Host::SessionState state, const Host::Error& error) override;
    void onReport(Host::RobotSession& session, double seconds, const char* json, size_t length) override;
    void onAnswer(Host::RobotSession& session, Host::AskId id, const std::string& command, const char* answer,
                  const Host::Error& error) override;
    void onPacket(Host::RobotSession& session, bool isSent, const char* channel, const uint8_t* data,
                  size_t length) override;
    void tell(const char* side, const std::string& words);
    void poll();
    void tellRobot();

    Teller mTell;
    Radio mRadio;
    Host::RobotSession& mSession;
    bool mHasEnded = true, mIsAnswered = false;  // the last shell command
    std::string mAnswer;
};

}  // namespace zkhal
