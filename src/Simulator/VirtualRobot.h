// A robot without hardware: what ZKHAL/Simulator.h offers, for C++ programs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Simulator/Chassis.h"
#include "Simulator/CommandReader.h"
#include "Simulator/PacketBytes.h"
#include "Simulator/RobotModel.h"
#include "Simulator/RobotShell.h"
#include "Simulator/SeededRandom.h"
#include "Simulator/SensorReport.h"
#include "Simulator/Servo.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/Simulator.h"

namespace Simulator {

struct Notification {
    const char* channel;  // lives as long as the program
    PacketBytes data;
};

/** As a host hands it to the decoder: at most 20 bytes of it. */
HALPacket_t packetOf(const Notification& notification);

/** What happened on the robot, in words. */
struct RobotEvent {
    double seconds;  // its own time
    std::string words;
};

/** The functions of ZKHAL/Simulator.h, which say more about each. */
class VirtualRobot {
public:
    /** Null for a type other than 1001 to 1004. */
    static std::unique_ptr<VirtualRobot> create(uint32_t robotType, uint64_t seed);
    VirtualRobot(const VirtualRobot&) = delete;
    VirtualRobot& operator=(const VirtualRobot&) = delete;

    uint32_t type() const
    {
        return mModel.type;
    }
    std::vector<uint8_t> manufacturerData() const;
    /** What of its name stands in the advertisement itself; the rest is in the manufacturer data. */
    std::string localName() const;
    static const char* service();
    std::vector<const char*> characteristics() const;
    /** Whether a write to a characteristic does something. */
    bool takesWrites(const char* channel) const;

    bool write(const char* channel, const uint8_t* data, size_t length);
    void advance(double seconds);
    /** False when there is none; notification is then left alone. */
    bool nextNotification(Notification& notification);
    const ZKVirtualRobotState& state() const
    {
        return mState;
    }
    /** The last 1000 events at most, which are then forgotten. */
    std::vector<RobotEvent> takeEvents();
    void handleDisconnect();
    /** A null answer: none at all. */
    void setAnswer(const char* command, const char* answer);

    void moveByHand(double x_cm, double y_cm, double headingDegrees);
    void turnHead(double panDegrees, double tiltDegrees);
    void lift(bool isLifted);
    void tilt(double rollDegrees, double pitchDegrees);
    void clap(double directionDegrees);
    void press(int button, bool isPressed);
    void setBattery(unsigned indicator, bool isCharging);

    const Room& room() const
    {
        return mRoom;
    }

private:
    struct CommandRow;
    friend struct CommandRow;
    static const CommandRow kCommands[];

    VirtualRobot(const RobotModel& model, uint64_t seed);

    enum class Written { Never, Command, Shell, File };
    struct Channel;
    static const Channel kChannels[];
    Written writtenAt(const char* uuid) const;

    // One for each command, or for several that differ in little. False when there are too many to keep.
    bool onWheels(const RobotCommand& command);
    bool onBodyMotion(const RobotCommand& command);
    bool onBodyPose(const RobotCommand& command);
    bool onGlobalPose(const RobotCommand& command);
    bool onHoldPose(const RobotCommand& command);
    bool onHeadAngle(const RobotCommand& command);
    bool onHeadMove(const RobotCommand& command);
    bool onHeadSpeed(const RobotCommand& command);
    bool onColorLight(const RobotCommand& command);
    bool onLight(const RobotCommand& command);
    bool onThreeLights(const RobotCommand& command);
    bool onEyeLights(const RobotCommand& command);
    bool onEyeAnimation(const RobotCommand& command);
    bool onEyeBrightness(const RobotCommand& command);
    bool onLightMessage(const RobotCommand& command);
    bool onSound(const RobotCommand& command);
    bool onStopSound(const RobotCommand& command);
    bool onVolume(const RobotCommand& command);
    bool onSynth(const RobotCommand& command);
    bool onSynthUpdate(const RobotCommand& command);
    bool onAnimation(const RobotCommand& command);
    bool onLauncher(const RobotCommand& command);
    bool onPercentage(const RobotCommand& command);
    bool onSignal(const RobotCommand& command);
    bool onBehaviourStart(const RobotCommand& command);
    bool onBehaviourStop(const RobotCommand& command);
    bool onSetting(const RobotCommand& command);
    bool onPower(const RobotCommand& command);
    bool onClock(const RobotCommand& command);
    bool onPing(const RobotCommand& command);
    bool onCombined(const RobotCommand& command);

    void obey(const RobotCommand& command);
    void hearShell(const uint8_t* data, size_t length);
    using ShellText = std::optional<std::string>;  // none: the robot stays silent
    struct ShellVerb;
    static const ShellVerb kShellVerbs[];
    static std::string shellVerbNames();
    ShellText answerTo(const std::string& line) const;
    void step();
    void sense();
    void addEvents(SensorReport& report);
    void notify(const char* channel, const PacketBytes& data);
    void tell(std::string words);
    void complain(uint32_t& counter, std::string words);
    void updateState();
    uint8_t reflectance(int model, double directionDegrees) const;

    const RobotModel& mModel;
    Room mRoom;
    Chassis mChassis;
    Servo mPan, mTilt;
    RobotShell mShell;
    SeededRandom mRandom;
    ZKVirtualRobotState mState = {};

    int64_t mNow_ns = 0;
    double mRest_ns = 0;  // of a nanosecond
    int64_t mSteps = 0;
    double mRoll = 0, mPitch = 0, mRollTarget = 0, mPitchTarget = 0;  // degrees
    double mRollRate = 0, mPitchRate = 0;                             // degrees/s
    bool mButtons[4] = {};
    unsigned mBattery;
    bool mIsCharging = false;
    uint8_t mUniqueId[3];
    uint8_t mSerial[3];
    double mSoundLeft = 0, mAnimationLeft = 0;  // seconds
    std::deque<double> mClaps;                  // directions, degrees
    unsigned mClapCount = 0;
    bool mHasReported = false;  // so that a change of the clap count is seen
    bool mBatteryIsDue = false, mLastWasLong = false;
    std::deque<uint16_t> mPings;
    uint32_t mPingCount = 0;

    struct Answer {
        int64_t due_ns;
        std::vector<std::string> packets;
    };
    std::deque<Answer> mAnswers;
    Ring<Notification> mNotifications;
    std::deque<RobotEvent> mEvents;
};

}  // namespace Simulator
