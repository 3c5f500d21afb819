#include "Host/CaptureTransport.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

#include <poll.h>

#include "Host/RobotChannels.h"
#include "ZKHAL/Vocabulary.h"

namespace Host {

namespace {

constexpr double kAdvertisingInterval = 0.1;
constexpr size_t kWindow = 32;
constexpr char kService[] = "AF237777-879D-6186-1F49-DECA0E85D9C1";
constexpr const char* kCharacteristics[] = {kShellControl, kShellPacket, kCommandControl, kSensorPacket1,
                                            kSensorPacket2};
constexpr size_t kShellCharacteristics = 2;  // the first two: what a robot has that takes no commands

double wallSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// What a robot of this type advertises at least: its mode and its family.
std::vector<uint8_t> leastData(uint32_t robotType)
{
    ZKRobotTypeInfo info = {};
    info.size = sizeof info;
    ZKFindRobotType(std::to_string(robotType).c_str(), &info);
    uint8_t family = 0;
    while (info.robots >> family > 1) {
        ++family;
    }
    constexpr uint8_t kApplication = 3, kRuskApplication = 1;
    return {info.robots == ZK_ROBOTS_RUSK ? kRuskApplication : kApplication, static_cast<uint8_t>(family + 1)};
}

}  // namespace

CaptureTransport::CaptureTransport(std::vector<CaptureEvent> events, Pace pace, uint32_t robotType)
    : mEvents(std::move(events)),
      mPace(pace),
      mAdvertisement{0, "capture", "capture", leastData(robotType)},
      mStart(wallSeconds())
{
    mAdvertisement.hasService = true;
    for (const CaptureEvent& event : mEvents) {
        if (event.kind == CaptureKind::Advertisement) {
            mAdvertisement.data = event.data;
            mAdvertisement.name = event.text;
            break;
        }
    }
    const std::vector<uint8_t>& data = mAdvertisement.data;
    constexpr uint8_t kRusk = 4;
    const bool takesCommands = data.size() < 2 || data[1] != kRusk;
    for (const char* uuid : kCharacteristics) {
        if (takesCommands || mCharacteristics.size() < kShellCharacteristics) {
            mCharacteristics.push_back({kService, uuid});
        }
    }
}

void CaptureTransport::scan(bool isOn)
{
    mIsScanning = isOn;
    mAdvertiseAt = mSeconds;
}

void CaptureTransport::connect(RobotRef)
{
    if (!mIsConnected) {
        mIsConnected = true;
        mPending.push_back({Pending::Connected, ""});
    }
}

void CaptureTransport::discover(RobotRef)
{
    mPending.push_back({Pending::Discovered, ""});
}

void CaptureTransport::subscribe(RobotRef, const char* channel)
{
    mPending.push_back({Pending::Subscribed, canonicalUuid(channel)});
}

bool CaptureTransport::write(RobotRef, const char*, const uint8_t*, size_t, bool)
{
    if (!mIsConnected || mWriting == kWindow) {
        return false;
    }
    ++mWriting;
    mPending.push_back({Pending::Written, ""});
    return true;
}

size_t CaptureTransport::writeWindow() const
{
    return kWindow;
}

void CaptureTransport::disconnect(RobotRef)
{
    if (mIsConnected) {
        mPending.push_back({Pending::Disconnected, ""});
    }
}

void CaptureTransport::lose(TransportListener& listener, const Error& error)
{
    mIsConnected = mIsPlaying = false;
    mWriting = 0;
    mSubscribed.clear();
    mPending.clear();
    listener.onLost(0, error);
}

void CaptureTransport::tell(TransportListener& listener)
{
    mTelling.clear();
    mTelling.swap(mPending);
    for (size_t i = 0; i < mTelling.size() && mIsConnected; ++i) {
        const Event event = mTelling[i];
        switch (event.kind) {
            case Pending::Connected:
                listener.onConnected(0);
                break;
            case Pending::Discovered:
                listener.onDiscovered(0, mCharacteristics);
                break;
            case Pending::Subscribed:
                mSubscribed.push_back(event.channel);
                listener.onSubscribed(0, event.channel.c_str());
                break;
            case Pending::Written:
                --mWriting;
                listener.onWritten(0);
                break;
            case Pending::Disconnected:
                lose(listener, {});
                break;
        }
    }
}

const CaptureEvent* CaptureTransport::nextNotification() const
{
    for (size_t i = mNext; i < mEvents.size(); ++i) {
        if (mEvents[i].kind == CaptureKind::Notified) {
            return &mEvents[i];
        }
    }
    return nullptr;
}

void CaptureTransport::play(double until, TransportListener& listener)
{
    for (; mNext < mEvents.size() && mIsConnected && mEvents[mNext].seconds + mLead <= until;) {
        const CaptureEvent& event = mEvents[mNext++];
        if (event.kind != CaptureKind::Notified) {
            continue;
        }
        mSeconds = std::max(mSeconds, event.seconds + mLead);
        const auto channel = std::find(mSubscribed.begin(), mSubscribed.end(), event.channel);
        if (channel != mSubscribed.end()) {
            listener.onNotification(0, channel->c_str(), event.data.data(), event.data.size());
        }
    }
    mSeconds = std::max(mSeconds, until);
    if (mNext == mEvents.size() && mIsConnected) {
        lose(listener, {ErrorCode::Lost, "the capture ends here", ""});
    }
}

void CaptureTransport::poll(double timeoutSeconds, TransportListener& listener)
{
    tell(listener);
    if (mIsScanning && !mIsConnected && mSeconds >= mAdvertiseAt) {
        mAdvertiseAt = mSeconds + kAdvertisingInterval;
        listener.onAdvertisement(mAdvertisement);
    }
    // All that the host wants is subscribed when it has something to wait for.
    if (mIsConnected && !mIsPlaying && !mSubscribed.empty() && mPending.empty()) {
        mIsPlaying = true;
        if (const CaptureEvent* next = nextNotification()) {
            mLead = mSeconds > next->seconds ? std::ceil(mSeconds - next->seconds) : 0;
            mStart -= std::max(0.0, next->seconds + mLead - mSeconds);
            mSeconds = std::max(mSeconds, next->seconds + mLead);
        }
    }
    double until = mSeconds + std::max(timeoutSeconds, 0.0);
    if (mPace == Pace::Real) {
        const double due = mStart + until - wallSeconds();
        const double wanted =
            mIsPlaying && mNext < mEvents.size() ? mStart + mEvents[mNext].seconds + mLead - wallSeconds() : due;
        std::this_thread::sleep_for(
            std::chrono::duration<double>(std::clamp(wanted, 0.0, std::max(timeoutSeconds, 0.0))));
        until = wallSeconds() - mStart;
    }
    if (mIsPlaying) {
        play(until, listener);
    } else {
        mSeconds = std::max(mSeconds, until);
    }
    tell(listener);
}

std::vector<pollfd> CaptureTransport::descriptors() const
{
    return {};
}

double CaptureTransport::nextPoll() const
{
    if (mPace == Pace::Fast || !mPending.empty()) {
        return 0;
    }
    const double next =
        mIsPlaying && mNext < mEvents.size() ? mEvents[mNext].seconds + mLead : mSeconds + kAdvertisingInterval;
    return std::max(0.0, mStart + next - wallSeconds());
}

double CaptureTransport::seconds() const
{
    return mSeconds;
}

bool CaptureTransport::isRealTime() const
{
    return mPace == Pace::Real;
}

std::string CaptureTransport::description() const
{
    return "a capture";
}

}  // namespace Host
