// The connection to one robot over BlueZ.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "Host/BluezCalls.h"
#include "Host/BluezDevice.h"

namespace Host::Bluez {

class Link {
public:
    static constexpr size_t kWriteWindow = 32;

    Link(Air& air, Device& device) : mAir(air), mDevice(device) {}
    /** Leaves the robot, without waiting for it. */
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    // As of Transport.
    void connect();
    void discover();
    void subscribe(const char* channel);
    bool write(const char* channel, const uint8_t* data, size_t length, bool withResponse);
    void disconnect();

    // What comes from BlueZ, the device being up to date.
    void onSeen();
    void onForgotten();
    void onConnectedChanged();
    void onResolvedChanged();
    void onValue(const std::string& characteristic, const Bytes& value);
    /** The adapter or the daemon has gone. */
    void breakOff(const Error& error);

    void tick();
    /** Seconds of the transport. Infinite when nothing is due. */
    double due() const;

    /** It wants to be seen before it can be connected. */
    bool isSeeking() const
    {
        return mState == State::Seeking;
    }
    bool isIdle() const
    {
        return mState == State::Idle;
    }

private:
    enum class State { Idle, Seeking, Connecting, Connected, Disconnecting };
    enum class Subscription { Asked, Made };
    struct Write {
        BusMessage call;
        bool withResponse;
        bool isOpen = false, isDone = false;
    };

    void become(State state);
    void call(const char* method);
    void onConnectReply(const BusMessage& reply);
    void onNowConnected();
    void askResolved();
    void tellDiscovered();
    void sendWrites();
    size_t openWrites() const;
    void onWriteReply(uint64_t id, const BusMessage& reply);
    /** The end of a connection or of an attempt. */
    void end(const Error& error);
    /** The same, from this side. */
    void giveUp(const Error& error);
    void tell(std::function<void(TransportListener&)> event);

    Air& mAir;
    Device& mDevice;
    State mState = State::Idle;
    CallOwner mAttempt;  // what is called for, while it matters
    double mDeadline = 0;
    double mRetryAt = 0;
    unsigned mFailures = 0;
    bool mWaitsForServices = false, mIsDiscovered = false;
    std::map<std::string, Subscription> mSubscriptions;  // by path
    std::deque<Write> mWrites;
    uint64_t mFirstWrite = 0;  // number of the first of them
};

}  // namespace Host::Bluez
