// A host with one robot, as an app has it, over a link to a virtual robot. The robot is reached through the link alone,
// and the host is made of the public C functions.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Simulator/Link.h"
#include "Simulator/VirtualRobot.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

class Session {
public:
    // A line of what happens: when, on which side, what.
    using Teller = std::function<void(double seconds, const char* side, const std::string& words)>;
    // A decoded sensor report.
    using Listener = std::function<void(double seconds, const std::string& json)>;

    Session(uint32_t robotType, uint64_t seed, const Simulator::Faults& faults, Teller tell);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Scans, connects, checks services and characteristics. False when the robot is not what the host wants.
    bool connect();
    void disconnect();
    // A command document to the robot. A refused one is told.
    void send(const std::string& json);
    // A shell command; runs until it has ended, or the time is over. Whether it was answered, and how.
    bool ask(const std::string& command, double timeout, std::string& answer);
    // Lets time pass, in the ticks of a host's loop. A broken connection is made again after a second.
    void run(double seconds);

    double seconds() const
    {
        return static_cast<double>(mNow_us) / 1e6;
    }
    Simulator::VirtualRobot& robot()
    {
        return *mRobot;
    }
    const Simulator::Link& link() const
    {
        return mLink;
    }
    uint32_t reportCount() const
    {
        return mReports;
    }

    Listener onReport;
    bool showsBytes = false;  // tell each packet of the shell
    bool showsRobot = true;   // tell what the robot does

private:
    void tick();
    void tellRobot();
    void receive(const Simulator::Notification& notification);
    void takeSensorPacket(bool isFirst, const HALPacket_t& packet);
    void report(const HALPacket_t* packets, size_t count);
    void lose(const char* words);

    static void transmit(void* user, const char* robotId, const char* channel, const HALPacket_t** packets,
                         size_t count);
    static void completed(void* user, const char* robotId, const char* command, const char* answer);
    static void failed(void* user, const char* robotId, const char* command, ZKErrorCode code, const char* message);
    static void logged(void* user, ZKLogSeverity severity, const char* text);

    std::unique_ptr<Simulator::VirtualRobot> mRobot;
    Simulator::Link mLink;
    Teller mTell;
    std::unique_ptr<ZKTranslator, decltype(&ZKTranslatorDestroy)> mTranslator;
    int64_t mNow_us = 0;
    bool mIsConnected = false;
    int64_t mRetryAt_us = 0;
    HALPacket_t mFirst = {};  // of a report whose second packet is still to come
    uint32_t mReports = 0;
    bool mHasEnded = true, mIsAnswered = false;  // the last shell command
    std::string mAnswer;
};

}  // namespace zkhal
