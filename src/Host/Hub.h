// All sessions of a program over one radio.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "Host/Error.h"
#include "Host/RobotSession.h"
#include "Host/Transport.h"

namespace Host {

/** A robot that was seen while scanning. */
struct Sighting {
    RobotRef robot;
    std::string id;  // the transport's
    std::string advertisedName;
    ZKRobotInfo info;
    bool hasRssi;
    int rssi;         // dBm
    double lastSeen;  // seconds of the transport's time
    uint64_t count;
};

/**
 * Drives the engine, the transport and the sessions: poll() is the loop of a host. One at a time in a process, since
 * the engine is one: it installs the engine's callbacks, and with a transport that has a time of its own the library's
 * clock too. At most 1000 robots are remembered; the one that was not seen for longest is forgotten.
 */
class Hub final : private TransportListener {
public:
    /** transport must outlive the hub. */
    explicit Hub(Transport& transport);
    ~Hub();
    Hub(const Hub&) = delete;
    Hub& operator=(const Hub&) = delete;

    /**
     * A session with the robot of this name, address or id. It begins to look for it in the next poll(). listener may
     * be null and must outlive the session. The session belongs to the hub until close().
     */
    RobotSession& open(const std::string& who, const SessionOptions& options = {}, SessionListener* listener = nullptr);
    /** Not from inside a callback of this session. What its shell still has to answer fails. */
    void close(RobotSession& session);

    /** Looks for robots, also without a session that does. */
    void scan(bool isOn);
    /** In the order in which they were seen first. */
    const std::vector<Sighting>& sightings() const
    {
        return mSightings;
    }

    /** One round: waits for events up to so many seconds (in a time of its own: lets that pass), and tells them. */
    void poll(double timeoutSeconds);
    /** Rounds for so long. */
    void run(double seconds);
    /** Rounds until it is true, or the time is over; whether it is. */
    template <class Predicate>
    bool runUntil(Predicate isDone, double seconds)
    {
        for (const double end = now() + seconds; !isDone(); poll(kTick)) {
            if (now() >= end) {
                return false;
            }
        }
        return true;
    }

    double now() const
    {
        return mTransport.seconds();
    }
    Transport& transport()
    {
        return mTransport;
    }
    /** Failures that belong to no session, the last one; and a listener for them. */
    const Error& lastFailure() const
    {
        return mLastFailure;
    }

    static constexpr double kTick = 0.015;  // what the engine wants

private:
    friend class RobotSession;
    void onAdvertisement(const Advertisement& advertisement) override;
    void onConnected(RobotRef robot) override;
    void onDiscovered(RobotRef robot, const std::vector<Characteristic>& characteristics) override;
    void onSubscribed(RobotRef robot, const char* channel) override;
    void onNotification(RobotRef robot, const char* channel, const uint8_t* data, size_t length) override;
    void onWritten(RobotRef robot) override;
    void onLost(RobotRef robot, const Error& error) override;
    void onFailed(const Error& error) override;

    static void transmit(void* user, const char* robotId, const char* channel, const HALPacket_t** packets,
                         size_t count);
    static void completed(void* user, const char* robotId, const char* command, const char* answer);
    static void failed(void* user, const char* robotId, const char* command, ZKErrorCode code, const char* message);
    static void logged(void* user, ZKLogSeverity severity, const char* text);

    RobotSession* sessionOf(RobotRef robot);
    RobotSession* sessionOf(const char* robotId);
    void bind(RobotSession& session);
    void unbind(RobotSession& session);
    void updateScan();
    void forgetOldest();
    static bool looksLikeARobot(const Advertisement& advertisement);

    Transport& mTransport;
    std::vector<std::unique_ptr<RobotSession>> mSessions;
    std::vector<RobotSession*> mByRef;
    std::unordered_map<std::string, RobotSession*> mById;
    std::vector<Sighting> mSightings;
    std::unordered_map<RobotRef, size_t> mSightingOf;
    Error mLastFailure;
    bool mWantsScan = false, mIsScanning = false;
    AskId mLastAsk = 0;
};

}  // namespace Host
