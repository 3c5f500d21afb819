// What the sensors of a virtual robot see, and the reports that it makes of it.
#include "Simulator/VirtualRobot.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "CoreUtility/Numbers.h"
#include "CppEngine/Robot.h"
#include "HAL/MessagePacketizers/SensorLayout.h"
#include "HAL/RobotHardware/Reflectance.h"
#include "Simulator/Trigonometry.h"
#include "Simulator/VirtualRobotDetails.h"

namespace Simulator {

using namespace HAL;

namespace {

constexpr int kBatteryEvery = kStepsPerSecond;  // reports
constexpr double kWheelTicksPerCm = 1200 / (ZKHAL::kPi * 7.85);
constexpr int kFrontSensorAngle = 25;  // degrees to each side

int rounded(double value)
{
    return static_cast<int>(ZKHAL::roundHalfAway(value));
}

int limitedTo12Bits(double value)
{
    return rounded(std::clamp(value, -2047.0, 2047.0));
}

}  // namespace

void VirtualRobot::sense()
{
    SensorReport report;
    report.sequence = static_cast<unsigned>(mSteps & 0x0F);
    constexpr int kTimestampsPerSecond = 100;
    report.timestamp = static_cast<unsigned>(mSteps * kTimestampsPerSecond / kStepsPerSecond & 0x0FFF);

    constexpr double kPerG = 2047 / 2.0, kPerDegree = 2047 / 500.0;
    const double roll = mRoll * kDegree, pitch = mPitch * kDegree;
    report.acceleration[0] = limitedTo12Bits(sine(pitch) * kPerG) + mRandom.noise(2);
    report.acceleration[1] = limitedTo12Bits(cosine(pitch) * sine(roll) * kPerG) + mRandom.noise(2);
    report.acceleration[2] = limitedTo12Bits(cosine(pitch) * cosine(roll) * kPerG) + mRandom.noise(2);
    // About the axes of its body, as a gyroscope measures: nose up is positive pitch and a negative rate.
    const double turn = mChassis.turnRate() / kDegree;
    report.roll = limitedTo12Bits((mRollRate - turn * sine(pitch)) * kPerDegree);
    report.pitch = limitedTo12Bits((-mPitchRate * cosine(roll) - turn * cosine(pitch) * sine(roll)) * kPerDegree);
    report.yaw = limitedTo12Bits((-mPitchRate * sine(roll) + turn * cosine(pitch) * cosine(roll)) * kPerDegree);
    const int loudness = mSoundLeft > 0 ? mState.volume * 6 / 5 : 0;
    report.amplitude = static_cast<uint8_t>(std::min(loudness, 240) + 2 + mRandom.noise(2));
    std::copy(std::begin(mButtons), std::end(mButtons), report.buttons);
    report.isSounding = mSoundLeft > 0;
    report.isAnimating = mAnimationLeft > 0;
    report.isLifted = mState.isLifted;
    report.isStalled = mChassis.isStalled();
    addEvents(report);

    report.left = reflectance(BRReflectanceLeft, kFrontSensorAngle);
    report.right = reflectance(BRReflectanceRight, -kFrontSensorAngle);
    report.rear = reflectance(BRReflectanceRear, 180);
    const Pose& odometry = mChassis.odometry();
    report.x_mm = rounded(static_cast<double>(odometry.x) / 1000);
    report.y_mm = rounded(static_cast<double>(odometry.y) / 1000);
    report.heading_mrad = rounded(static_cast<double>(withinHalfATurn(odometry.heading)) / 1000);
    const auto ticks = [](int64_t travel) {
        return static_cast<int>(ZKHAL::roundHalfAway(static_cast<double>(travel) / 1e4 * kWheelTicksPerCm) & 0xFFFF);
    };
    report.leftTicks = ticks(mChassis.leftTravel());
    report.rightTicks = ticks(mChassis.rightTravel());
    report.pan_crad = rounded(static_cast<double>(mPan.microradians()) / 1e4);
    report.tilt_crad = rounded(-static_cast<double>(mTilt.microradians()) / 1e4);  // negated on the wire

    HALPacket_t packets[2];
    writeReport(report, packets);
    const char* const channels[] = {Kestrel::gChannelSensorPacket1.c_str(), Kestrel::gChannelSensorPacket2.c_str()};
    for (size_t i = 0; i < 2; ++i) {
        notify(channels[i], {packets[i].data, packets[i].length});
    }
}

// A report has room for two short events or a long one. The clap count goes out in every report but a ping's, since a
// change of it is what makes a clap; so a clap waits for the first count, and behind a ping.
void VirtualRobot::addEvents(SensorReport& report)
{
    mBatteryIsDue = mBatteryIsDue || mSteps % kBatteryEvery == 0;
    const bool isLong = !mPings.empty() && !(mLastWasLong && (mBatteryIsDue || !mClaps.empty()));
    mLastWasLong = isLong;
    if (isLong) {
        const uint16_t id = mPings.front();
        mPings.pop_front();
        ++mPingCount;
        report.longEvent = kPingResponse;
        report.longData[0] = ZKHAL::low8(id);
        report.longData[1] = ZKHAL::low8(id >> 8);
        for (int i = 0; i < 4; ++i) {
            report.longData[2 + i] = ZKHAL::low8(mPingCount >> 8 * i);
        }
        return;
    }
    SensorReport::Event& first = report.events[0];
    if (!mClaps.empty() && mHasReported) {
        const double turns = mClaps.front() / 360;
        mClaps.pop_front();
        ++mClapCount;
        const int direction = rounded((turns - std::floor(turns)) * 512) & 511;
        constexpr uint8_t kBestQuality = 6, kBestReliability = 5, kBestConfidence = 15;
        report.hasClap = true;
        report.amplitude = 255;
        first.type = kSoundDirection;
        first.data[0] = kBestQuality | kBestReliability << 4;
        first.data[1] = static_cast<uint8_t>(kBestConfidence | (direction & 0x0F) << 4);
        first.data[2] = static_cast<uint8_t>(direction >> 4);
    } else if (mBatteryIsDue) {
        mBatteryIsDue = false;
        constexpr unsigned kMillivoltsWhenFull = 4100;
        first.type = kBattery;
        const unsigned charge = mModel.type == ZK_ROBOT_QUILL ? (mIsCharging ? 1u : 0u) | (mBattery & 7) << 2
                                                              : (mIsCharging ? 0x80u : 0u) | (mBattery & 0x1F);
        const unsigned volt = kMillivoltsWhenFull * (mBattery + 10) / (mModel.fullBattery + 10u);
        first.data[0] = static_cast<uint8_t>(charge);
        first.data[1] = ZKHAL::low8(volt);
        first.data[2] = static_cast<uint8_t>(volt >> 8 & 0x1F);
    } else if (mChassis.posesReached() > 0) {
        first.type = kWatermark;
        first.data[0] = ZKHAL::low8(mChassis.posesReached());
    }
    mHasReported = true;
    report.events[1].type = kSparseClap;
    report.events[1].data[0] = static_cast<uint8_t>(mClapCount & 0x0F);
}

// The reading whose distance is nearest to that of the wall.
uint8_t VirtualRobot::reflectance(int model, double directionDegrees) const
{
    using Distances = std::array<double, 256>;
    static const std::array<Distances, 3> kDistances = [] {
        const BRReflectance sensors;
        std::array<Distances, 3> all;
        for (size_t each = 0; each < all.size(); ++each) {
            for (size_t byte = 0; byte < all[each].size(); ++byte) {
                all[each][byte] =
                    sensors.distanceForReflectance(static_cast<BRReflectanceModel>(each), static_cast<double>(byte));
            }
        }
        return all;
    }();
    const Pose& place = mChassis.place();
    const double angle = static_cast<double>(place.heading) / 1e6 + directionDegrees * kDegree;
    const double distance = mRoom.distanceToWall(static_cast<double>(place.x) / 1e4, static_cast<double>(place.y) / 1e4,
                                                 cosine(angle), sine(angle)) -
                            kBodyRadius_cm;
    const Distances& distances = kDistances[static_cast<size_t>(model)];
    size_t best = 0;
    for (size_t byte = 1; byte < distances.size(); ++byte) {
        if (std::abs(distances[byte] - distance) < std::abs(distances[best] - distance)) {
            best = byte;
        }
    }
    return static_cast<uint8_t>(best);
}

}  // namespace Simulator
