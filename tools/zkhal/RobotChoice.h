// --robot: which robots a command speaks to, and the radio that reaches them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Host/Hub.h"
#include "Host/VirtualTransport.h"

namespace zkhal {

constexpr int kLostRobot = 3, kStopped = 130;  // exit statuses

struct RobotChoice {
    std::vector<std::string> who;  // names, addresses, virtual:FAMILY[:SEED], capture:FILE
    std::string adapter;
    std::string pace;  // "real", "fast", or by what stdout is
    unsigned retries = 5;
    std::string faults;  // of virtual robots' links
};

/** Adds --robot, --adapter, --pace, --faults and --retries. many: --robot may be given several times. */
void addRobotChoice(CLI::App& app, RobotChoice& choice, bool many);

/** Family names stand for virtual robots (of this seed, where none is given); nothing for virtual:orvik. */
void preferVirtual(RobotChoice& choice, uint64_t seed);

/** A radio, and the hub over it. Throws InputError when there is none. */
class Radio {
public:
    explicit Radio(const RobotChoice& choice);
    ~Radio();

    Host::Hub& hub()
    {
        return *mHub;
    }
    /** As the robots are called there: virtual ones by their ids. */
    const std::vector<std::string>& names() const
    {
        return mNames;
    }
    /** Whether it is a recording, which ends. */
    bool isCapture() const
    {
        return mIsCapture;
    }
    /** Null where robots are real. */
    Host::VirtualTransport* virtualRobots()
    {
        return mVirtual;
    }

private:
    std::unique_ptr<Host::Transport> mTransport;
    Host::VirtualTransport* mVirtual = nullptr;
    std::unique_ptr<Host::Hub> mHub;
    std::vector<std::string> mNames;
    bool mIsCapture = false;
};

/** The robots in sight, sessions not needed: what zkhal scan shows. count: of virtual robots of all families. */
std::unique_ptr<Host::Transport> virtualClass(unsigned count, Host::Pace pace);
/** Throws InputError with the reason and a hint. */
std::unique_ptr<Host::Transport> bluetooth(const std::string& adapter);

/**
 * From now on Ctrl-C and a hang-up only set a flag, which tells whether one has come, or whether nobody reads stdout
 * any more. The second Ctrl-C ends the process.
 */
void catchInterrupts();
bool isInterrupted();

/** "virtual:orvik" as "virtual:orvik:1"; all else as it is. */
std::string fullName(const std::string& who);

/** Whether the robot is meant: by any of its names, or as --robot takes it. */
bool isSameRobot(const Host::RobotSession& robot, const std::string& who);

/** Whatever a robot or a file says, for a terminal. */
std::string shown(const std::string& text);

}  // namespace zkhal
