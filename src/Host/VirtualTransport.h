// Virtual robots as a radio: each behind a link with faults, in the world's time or as fast as it goes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Host/Transport.h"
#include "Simulator/Link.h"
#include "Simulator/VirtualRobot.h"

namespace Host {

struct VirtualRobotOptions {
    uint32_t type;  // 1001 to 1004
    uint64_t seed = 1;
    Simulator::Faults faults = {};
};

enum class Pace { Real, Fast };

class VirtualTransport final : public Transport {
public:
    explicit VirtualTransport(Pace pace);
    ~VirtualTransport() override;

    /** Its id is "virtual:FAMILY:SEED". Of a type that there is no virtual robot of: false, and nothing is added. */
    bool add(const VirtualRobotOptions& options);

    size_t count() const
    {
        return mRobots.size();
    }
    /** robot is less than count(): the first that was added is 0. */
    Simulator::VirtualRobot& robot(RobotRef robot);
    const Simulator::Link& link(RobotRef robot) const;

    void scan(bool isOn) override;
    void connect(RobotRef robot) override;
    void discover(RobotRef robot) override;
    void subscribe(RobotRef robot, const char* channel) override;
    bool write(RobotRef robot, const char* channel, const uint8_t* data, size_t length,
               bool withResponse = false) override;
    size_t writeWindow() const override;
    void disconnect(RobotRef robot) override;
    void poll(double timeoutSeconds, TransportListener& listener) override;
    std::vector<pollfd> descriptors() const override;
    double nextPoll() const override;
    double seconds() const override;
    bool isRealTime() const override;
    std::string description() const override;

private:
    enum class Pending : uint8_t { Connected, Discovered, Subscribed, Written, Disconnected };
    struct Event {
        Pending kind;
        RobotRef robot;
        const char* channel;  // Subscribed
    };
    struct Peer;

    void advance(double seconds, TransportListener& listener);
    void tell(TransportListener& listener);
    void advertise(TransportListener& listener);
    static const char* channelOf(const Peer& peer, const char* channel);

    Pace mPace;
    std::vector<std::unique_ptr<Peer>> mRobots;
    std::vector<Event> mPending, mTelling;
    bool mIsScanning = false;
    double mSeconds = 0;
    double mAdvertiseAt = 0;
    double mStart;  // of the world's time
};

}  // namespace Host
