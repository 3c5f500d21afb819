// What every radio offers, be it real, simulated or recorded.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Host/Error.h"

struct pollfd;

namespace Host {

/** A robot as a transport knows it, from its first sight on and for the life of the transport. */
using RobotRef = uint32_t;

struct Advertisement {
    RobotRef robot;
    std::string id;             // the same robot has the same id again: an address, "virtual:orvik:1"
    std::string name;           // as advertised; "" when it is not
    std::vector<uint8_t> data;  // manufacturer data: the robots' 26 bytes, or what is there
    bool hasService = false;    // one of the robots' services is advertised
    bool hasRssi = false;
    int rssi = 0;  // dBm
};

struct Characteristic {
    std::string service;  // UUIDs
    std::string uuid;
};

/** What comes of a transport's calls, told inside poll() on the caller's thread. All may call the transport. */
class TransportListener {
public:
    virtual void onAdvertisement(const Advertisement& advertisement) = 0;
    virtual void onConnected(RobotRef robot) = 0;
    virtual void onDiscovered(RobotRef robot, const std::vector<Characteristic>& characteristics) = 0;
    virtual void onSubscribed(RobotRef robot, const char* channel) = 0;
    virtual void onNotification(RobotRef robot, const char* channel, const uint8_t* data, size_t length) = 0;
    /** One for each write() that was taken, in their order. */
    virtual void onWritten(RobotRef robot) = 0;
    /**
     * A connection, or the attempt to make one, is over; writes that are not told yet will not be. The error has no
     * code after disconnect().
     */
    virtual void onLost(RobotRef robot, const Error& error) = 0;
    /** Something else went wrong, with the adapter or with a robot; connections stay. */
    virtual void onFailed(const Error& error) = 0;

protected:
    ~TransportListener() = default;
};

/**
 * A radio. Calls return at once; what comes of them is told from poll(). One thread at a time; no threads inside.
 * A channel is the UUID of a characteristic in any case; those that are handed out are upper case.
 */
class Transport {
public:
    Transport() = default;
    virtual ~Transport() = default;
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;

    /** Looks for robots, or stops: each is told again and again while it is in reach. */
    virtual void scan(bool isOn) = 0;

    /** onConnected(), or onLost() when it fails or takes too long. Again while it is connected: nothing. */
    virtual void connect(RobotRef robot) = 0;
    /** Of a connected robot: onDiscovered(), or onLost(). */
    virtual void discover(RobotRef robot) = 0;
    /** Of a discovered robot: onSubscribed(), or onLost(). */
    virtual void subscribe(RobotRef robot, const char* channel) = 0;
    /**
     * Writes to a characteristic, by default without a response. False when it is not taken: the robot is not
     * connected, or writeWindow() writes of it are under way.
     */
    virtual bool write(RobotRef robot, const char* channel, const uint8_t* data, size_t length,
                       bool withResponse = false) = 0;
    /** How many writes of a robot may be under way. */
    virtual size_t writeWindow() const = 0;
    /** onLost() without an error, unless it was not connected. */
    virtual void disconnect(RobotRef robot) = 0;

    /**
     * Tells what has come, and waits for it up to so many seconds, 0 to look only. A transport with a time of its own
     * lets that pass instead, all of it.
     */
    virtual void poll(double timeoutSeconds, TransportListener& listener) = 0;
    /** For a program's own loop: when one of these is ready, or nextPoll() seconds are over, poll(0) is due. */
    virtual std::vector<pollfd> descriptors() const = 0;
    virtual double nextPoll() const = 0;

    /** Seconds of the transport's time. */
    virtual double seconds() const = 0;
    /** Whether that is the time of the world. Otherwise it passes in poll() only, as fast as it goes. */
    virtual bool isRealTime() const = 0;

    /** For people: "BlueZ, adapter hci0". */
    virtual std::string description() const = 0;
};

/** A UUID in upper case, as the library spells the characteristics of robots. */
std::string canonicalUuid(const std::string& uuid);
/** Of names too; ASCII letters. */
bool isSameTextIgnoringCase(const std::string& a, const std::string& b);

}  // namespace Host
