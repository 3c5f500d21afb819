// The queue of text commands to a robot's shell: one at a time, each with its answer or its time-out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "CppEngine/RobotActionManagerAbstract.h"
#include "CppEngine/TimerManager.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/HostCallbacks.h"
#include "ZKHAL/ZKExport.h"

namespace Kestrel {

/** An answer is kept up to this many bytes, the bytes of the frame included. */
constexpr size_t kMaxAnswerBytes = 1 << 20;

/**
 * Idle, or waiting for the answer to the head of its queue. Ends with the host's callbacks; all of them may call the
 * manager again. A disconnect inside any of them drops everything, the command that is being told about included.
 */
class ZK_API RobotActionManagerShell final : public RobotActionManagerAbstract, public TimerTarget {
public:
    struct Command_t {
        std::string command;  // as the host enqueued it
        double timeout;       // seconds
        double sent;          // the timer manager's second at sending; NaN before
        bool framed;          // fixed when it is enqueued
    };

    explicit RobotActionManagerShell(ActionHost* robot);
    /** Silent: the time-out goes with it. */
    ~RobotActionManagerShell();
    RobotActionManagerShell(const RobotActionManagerShell&) = delete;
    RobotActionManagerShell& operator=(const RobotActionManagerShell&) = delete;

    /**
     * Appends a command, which is copied, and sends it at once when idle. Null or empty: a warning, nothing queued.
     * A time-out that is negative or not a number is refused by the timers: the command waits without one.
     */
    void enqueueCommand(const std::string* command, double timeoutSeconds, const AdvertisementData& advertisement);

    /** Including the one that is in flight. */
    unsigned pendingCommandCount() const;

    /** Ignored when no command is in flight, and without data. */
    void receivedData(const std::string* channel, const char* data, size_t length,
                      const AdvertisementData& advertisement) override;

    /** The command in flight fails, whatever the id: its own time-out, if that is still to come, never comes. */
    void onTimer(TimerID id) override;

    /** Drops everything without a callback. */
    void reset() override;

    /** Whether a call of it is on the stack or a time-out is to come: without either it never acts by itself. */
    bool canStillAct() const;

    /** reset() without the timers' lines. For a manager that its robot has replaced. */
    void dropEverything();
    /** The robot goes first: everything is dropped, and the robot is not touched any more. */
    void leaveRobot();

private:
    class Call;

    std::string _getNormalizedQueuedCommand() const;
    void _attemptToSendNextCommand();
    void _sendHead();
    std::vector<HALPacket_t> _createPacketsFromCurrentOutstandingCommand(bool framed) const;
    void _keepReceived(const char* data, size_t length);
    static bool _isLastResponsePacket(const char* data, size_t length, char terminator);
    void _completeOutstandingCommand(bool framed);
    std::string _createResponseFromReceivedPackets(bool framed) const;
    static void _normalizeResponse(const std::string& command, std::string& answer);
    bool _hasGoneOff(TimerID id) const;
    void _failOutstandingCommand(ZKErrorCode code, const char* message);
    template <class Tell>
    void _end(Tell tell);
    void _cleanupOutstandingCommandAndSendNext();
    void _clearReceived();
    void _dropCommands();
    void _cancelTimeout();
    void _forgetTimeout();
    TimerID _takeTimeout();

    // The answer so far: its notifications end to end, and where each one ends.
    std::string mReceivedBytes;
    std::vector<uint32_t> mReceivedEnds;
    bool mAnswerIsCut = false;
    std::string mCurrentOutstandingCommand;  // as sent; empty when nothing is in flight
    std::deque<Command_t> mQueuedCommands;   // the host's strings stay in place when it enqueues more
    TimerID mTimeoutTimerID = TimerManager::sInvalidTimerID;

    std::weak_ptr<TimerManager*> mTimeoutManager;  // where the time-out was armed
    bool mTimeoutWillCome = false;
    // Counts sent and ended commands and resets. Who has called the host compares it afterwards: when it has moved on,
    // the command at hand is gone.
    uint64_t mTicket = 0;
    uint64_t mSentTicket = 0;    // the command that has gone out
    uint64_t mEndingTicket = 0;  // the command whose end is being told
    bool mIsSending = false;
    int mCalls = 0;  // on the stack
};

}  // namespace Kestrel
