// The air between a host and a robot: what is written and notified may be lost, doubled, late, reordered or damaged,
// and the connection may break.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

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
    // In the air: by the time of arrival in nanoseconds; of equal times, the one that was sent first.
    template <class Data>
    struct Packet {
        Data data;
        typename Data::Channel channel;
        int64_t due_ns = 0;
        uint64_t order = 0;

        bool operator>(const Packet& other) const
        {
            return due_ns != other.due_ns ? due_ns > other.due_ns : order > other.order;
        }
    };
    struct Written : std::string {  // of any length, to any characteristic
        using Channel = std::string;
        using std::string::string;
    };
    struct Notified : PacketBytes {
        using Channel = const char*;
        explicit Notified(const PacketBytes& bytes) : PacketBytes(bytes) {}
    };
    // A heap, the first to arrive on top: its storage is used again.
    template <class Data>
    using Way = std::vector<Packet<Data>>;

    bool happens(double chance);
    template <class Data>
    void send(Way<Data>& way, int64_t& lastDue_ns, Packet<Data> packet);
    template <class Data>
    static bool isDue(const Way<Data>& way, int64_t now_ns);
    template <class Data>
    static Packet<Data> take(Way<Data>& way);

    VirtualRobot& mRobot;
    Faults mFaults;
    SeededRandom mRandom;
    bool mIsConnected = false;
    int64_t mNow_ns = 0;
    double mRest = 0;         // seconds that are still to pass
    int64_t mNextCut_ns = 0;  // when a second is over
    uint64_t mSent = 0;
    Way<Written> mToRobot;
    Way<Notified> mToHost;
    int64_t mLastToRobot_ns = 0, mLastToHost_ns = 0;
    uint32_t mFaultCount = 0;
};

}  // namespace Simulator
