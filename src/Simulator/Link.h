// The air between a host and a robot: what is written and notified may be lost, doubled, late, reordered or damaged,
// and the connection may break.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "Simulator/SeededRandom.h"
#include "Simulator/VirtualRobot.h"

namespace Simulator {

/** Chances of each fault, 0 to 1: of a packet, and for `cut` of each second in which it is connected. */
struct Faults {
    double drop = 0;
    double duplicate = 0;
    double delay = 0;    // by up to half a second; what comes behind it waits too
    double reorder = 0;  // late by up to a tenth of a second, so that others overtake it
    double corrupt = 0;  // one bit
    double truncate = 0;
    double cut = 0;
};

/** "drop=0.05,cut=0.01": the members of Faults with a value each. problem says what is wrong where it fails. */
std::optional<Faults> parseFaults(const std::string& text, std::string& problem);

/** A robot at the other end of a bad link. Does what the seed says, and nothing else. */
class Link {
public:
    Link(VirtualRobot& robot, const Faults& faults, uint64_t seed);

    bool isConnected() const
    {
        return mIsConnected;
    }
    void connect();
    /** The robot hears of it, and what is in the air is lost. */
    void disconnect();

    /** From the host to the robot. False when it is not connected. */
    bool write(const char* channel, const uint8_t* data, size_t length);
    /** Lets time pass on the robot and in the air. */
    void advance(double seconds);
    /** What has come to the host, in its order. */
    bool nextNotification(Notification& notification);

    /** Faults so far; a packet may meet several. */
    uint32_t faultCount() const
    {
        return mFaultCount;
    }

private:
    struct Packet {
        std::string channel;
        std::string data;
        const char* notified;  // null on the way to the robot
    };
    // By the time of arrival in nanoseconds; of equal times, the one that was sent first.
    using Way = std::map<std::pair<int64_t, uint64_t>, Packet>;

    bool happens(double chance);
    void send(Way& way, int64_t& lastDue_ns, Packet packet);
    static std::optional<Packet> takeDue(Way& way, int64_t now_ns);

    VirtualRobot& mRobot;
    Faults mFaults;
    SeededRandom mRandom;
    bool mIsConnected = false;
    int64_t mNow_ns = 0;
    double mRest = 0;         // seconds that are still to pass
    int64_t mNextCut_ns = 0;  // when a second is over
    uint64_t mSent = 0;
    Way mToRobot, mToHost;
    int64_t mLastToRobot_ns = 0, mLastToHost_ns = 0;
    uint32_t mFaultCount = 0;
};

}  // namespace Simulator
