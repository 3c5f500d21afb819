// One robot, from its first advertisement to the goodbye.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Host/Error.h"
#include "Host/Transport.h"
#include "ZKHAL/ZKHAL.h"

namespace Host {

class Hub;
class RobotSession;

enum class SessionState : uint8_t {
    Looking,     // for its advertisement
    Connecting,  // until its characteristics are subscribed
    Ready,       // commands go out, reports come in
    Pausing,     // before the next attempt to connect
    Ended,
};

/**
 * Whether a robot of this id is called so: by its id, its name as advertised or as completed by its record, or its
 * unique id, in any case.
 */
bool isCalled(const std::string& who, const std::string& id, const std::string& advertisedName,
              const ZKRobotInfo& info);

struct SessionOptions {
    double lookSeconds = 15;     // for its first advertisement
    double connectSeconds = 30;  // for one attempt, subscriptions included
    unsigned retries = 5;        // attempts to connect again in a row, before it ends
    double firstPause = 0.5;     // seconds before the first of them; it doubles
    double longestPause = 16;
};

using AskId = uint64_t;

/**
 * What a session tells, inside Hub::poll() and inside what is called of the session. Everything may be called from it
 * but the session's destruction.
 */
class SessionListener {
public:
    virtual ~SessionListener() = default;
    /** error: why, with Pausing and Ended; none when it was wished. */
    virtual void onState(RobotSession& /*session*/, SessionState /*state*/, const Error& /*error*/) {}
    /** A sensor document, NUL-terminated; it ends with the call. seconds: of the transport's time. */
    virtual void onReport(RobotSession& /*session*/, double /*seconds*/, const char* /*json*/, size_t /*length*/) {}
    /** The end of a shell command, exactly one for each that ask() took. The answer is null where it has failed. */
    virtual void onAnswer(RobotSession& /*session*/, AskId /*id*/, const std::string& /*command*/,
                          const char* /*answer*/, const Error& /*error*/)
    {
    }
    /** Every packet that crosses the air. isSent: to the robot. */
    virtual void onPacket(RobotSession& /*session*/, bool /*isSent*/, const char* /*channel*/, const uint8_t* /*data*/,
                          size_t /*length*/)
    {
    }
};

/**
 * Made by a Hub, and used on its thread. It looks for its robot, connects, checks services and characteristics,
 * subscribes, and when it loses the robot connects again with growing pauses. Commands go out in order, as many at once
 * as the radio takes.
 */
class RobotSession {
public:
    ~RobotSession();
    RobotSession(const RobotSession&) = delete;
    RobotSession& operator=(const RobotSession&) = delete;

    /** Whether this is its name, its address or its id, in any case, or what it was asked for as. */
    bool isCalled(const std::string& name) const;
    /** As it was asked for: a name, an address. */
    const std::string& who() const
    {
        return mWho;
    }
    SessionState state() const
    {
        return mState;
    }
    bool isReady() const
    {
        return mState == SessionState::Ready;
    }
    /** Whether it has a characteristic for command documents; those of a shell only have none. False until Ready. */
    bool takesCommands() const
    {
        return mTakesCommands;
    }
    /** As advertised; type 0 before the robot was seen. */
    const ZKRobotInfo& info() const
    {
        return mInfo;
    }
    /** The transport's id; "" before the robot was seen. */
    const std::string& robotId() const
    {
        return mId;
    }
    /** Why it has ended or pauses. */
    const Error& lastError() const
    {
        return mLastError;
    }

    /**
     * A command document, whose packets go out behind all that wait. NotConnected while it is not ready, BadDocument
     * with the findings for a refused one, NotSupported for a robot that has a shell only, TooMuch when thousands of
     * packets are waiting: nothing of it is sent then. What waits when the connection is lost is dropped.
     */
    Error send(const char* json);
    /**
     * For steering by hand: goes out when nothing else waits and the link has room; until then a later one replaces it,
     * so that a slow link never plays old positions. The same errors.
     */
    Error steer(const char* json);
    /**
     * A shell command: its end is told by onAnswer() (ShellTimedOut, Lost), exactly once. timeoutSeconds: above 0.
     * Refused commands have no id and no end.
     */
    Error ask(const std::string& command, double timeoutSeconds, AskId& id);
    /** Wheels, head and sound stop, before everything that waits; that is dropped. */
    void stop();

    /** Says goodbye: what waits is dropped, commands to its shell fail, and it ends. Nothing is taken any more. */
    void disconnect();

    /** Commands that have not gone out or not ended. */
    bool isIdle() const
    {
        return mQueue.empty() && mWriting == 0 && mAsked.empty() && mSteer.empty();
    }
    uint64_t reportCount() const
    {
        return mReports;
    }
    uint64_t lossCount() const
    {
        return mLosses;
    }

    /** Receives each line of a capture of everything that crosses the air; null: none. */
    std::function<void(const std::string& line)> record;

private:
    friend class Hub;
    struct Outgoing {
        const char* channel;  // lives as long as the program
        uint8_t length;
        uint8_t bytes[HAL_PACKET_SIZE];
    };
    struct Asked {
        AskId id;
        std::string command;
    };

    RobotSession(Hub& hub, std::string who, const SessionOptions& options, SessionListener* listener);

    // What the hub tells it.
    void onAdvertisement(const Advertisement& advertisement, const ZKRobotInfo& info);
    void onConnected();
    void onDiscovered(const std::vector<Characteristic>& characteristics);
    void onSubscribed();
    void onNotification(const char* channel, const uint8_t* data, size_t length);
    void onWritten();
    void onLost(const Error& error);
    void onShellPackets(const char* channel, const HALPacket_t** packets, size_t count);
    void onShellEnd(const char* command, const char* answer, const Error& error);
    void step(double now);

    void enter(SessionState state, const Error& error);
    void connect();
    void subscribeNext();
    Error translate(const char* json, HALPacket_t* packets, size_t& count);
    void queuePackets(const char* channel, const HALPacket_t* packets, size_t count);
    void pump();
    void tellPacket(bool isSent, const char* channel, const uint8_t* data, size_t length);
    Error whyNotSent(bool hasChannel) const;
    Error whyNotFound() const;
    void dropEverything(const Error& error);
    void takeSensorPacket(bool isFirst, const uint8_t* data, size_t length);
    void report(const HALPacket_t* packets, size_t count);
    void endWith(const Error& error);

    Hub& mHub;
    std::string mWho;
    SessionOptions mOptions;
    SessionListener* mListener;
    SessionState mState = SessionState::Looking;
    Error mLastError;
    Error mRefusal;  // why it is no robot
    ZKRobotInfo mInfo = {};
    std::string mId, mAdvertisedName;
    bool mHasRobot = false;
    RobotRef mRobot = 0;
    std::unique_ptr<ZKTranslator, decltype(&ZKTranslatorDestroy)> mTranslator;

    double mDeadline = 0;  // of the state
    double mReadySince = 0;
    double mPause = 0;
    unsigned mAttempts = 0;
    bool mIsWished = false;  // the end
    bool mTakesCommands = false, mHasShell = false;
    bool mIsPumping = false;
    std::vector<const char*> mToSubscribe;

    std::deque<Outgoing> mQueue;
    size_t mWriting = 0;
    std::string mSteer;
    std::deque<Asked> mAsked;
    HALPacket_t mFirst = {};  // of a report whose second packet is still to come
    uint64_t mReports = 0, mLosses = 0;
};

}  // namespace Host
