#include "Host/Hub.h"

#include <algorithm>
#include <cstring>

namespace Host {

namespace {

constexpr size_t kMostSightings = 1000;
constexpr int64_t kEpoch_s = 1700000000;  // any: only differences count
constexpr uint8_t kFamilies = 4;

}  // namespace

Hub::Hub(Transport& transport) : mTransport(transport)
{
    const ZKHostCallbacks callbacks = {sizeof callbacks, this, transmit, completed, failed, logged};
    ZKSetHostCallbacks(&callbacks);
    if (!transport.isRealTime()) {
        ZKClock clock = {};
        clock.user = this;
        clock.wallTime = [](void* user, int64_t* seconds, int32_t* microseconds) {
            const auto now = static_cast<int64_t>(static_cast<Hub*>(user)->now() * 1e6 + 0.5);
            *seconds = kEpoch_s + now / 1000000;
            *microseconds = static_cast<int32_t>(now % 1000000);
        };
        ZKSetClock(&clock);
    }
    ZKTick();
}

Hub::~Hub()
{
    for (const Sighting& seen : mSightings) {
        ZKForgetRobot(seen.id.c_str());
    }
    mSessions.clear();
    ZKSetHostCallbacks(nullptr);
    if (!mTransport.isRealTime()) {
        ZKSetClock(nullptr);
    }
}

RobotSession& Hub::open(const std::string& who, const SessionOptions& options, SessionListener* listener)
{
    mSessions.emplace_back(new RobotSession(*this, who, options, listener));
    updateScan();
    return *mSessions.back();
}

void Hub::close(RobotSession& session)
{
    // Now, and from the engine too: a late end would meet the robot's next session.
    session.dropEverything({ErrorCode::NotConnected, "the session is closed", ""});
    session.mListener = nullptr;
    session.record = nullptr;
    session.disconnect();
    unbind(session);
    mSessions.erase(std::remove_if(mSessions.begin(), mSessions.end(),
                                   [&](const std::unique_ptr<RobotSession>& each) { return each.get() == &session; }),
                    mSessions.end());
    updateScan();
}

void Hub::scan(bool isOn)
{
    mWantsScan = isOn;
    updateScan();
}

void Hub::updateScan()
{
    const bool isLooking =
        std::any_of(mSessions.begin(), mSessions.end(),
                    [](const std::unique_ptr<RobotSession>& each) { return each->state() == SessionState::Looking; });
    if ((mWantsScan || isLooking) != mIsScanning) {
        mIsScanning = !mIsScanning;
        mTransport.scan(mIsScanning);
    }
}

void Hub::poll(double timeoutSeconds)
{
    mTransport.poll(timeoutSeconds, *this);
    ZKTick();
    // By index: what a listener does may open sessions.
    for (size_t i = 0; i < mSessions.size(); ++i) {
        mSessions[i]->step(now());
    }
    updateScan();
}

void Hub::run(double seconds)
{
    runUntil([] { return false; }, seconds);
}

void Hub::bind(RobotSession& session)
{
    if (mByRef.size() <= session.mRobot) {
        mByRef.resize(session.mRobot + size_t{1}, nullptr);
    }
    mByRef[session.mRobot] = &session;
    mById[session.mId] = &session;
}

void Hub::unbind(RobotSession& session)
{
    if (session.mHasRobot && sessionOf(session.mRobot) == &session) {
        mByRef[session.mRobot] = nullptr;
        mById.erase(session.mId);
    }
}

RobotSession* Hub::sessionOf(RobotRef robot)
{
    return robot < mByRef.size() ? mByRef[robot] : nullptr;
}

RobotSession* Hub::sessionOf(const char* robotId)
{
    const auto found = mById.find(robotId);
    return found != mById.end() ? found->second : nullptr;
}

// Others advertise too: what has a robot's service, or a record of its size, its families and its modes.
bool Hub::looksLikeARobot(const Advertisement& advertisement)
{
    const std::vector<uint8_t>& data = advertisement.data;
    constexpr size_t kBytes = 26;
    const bool hasFamily = data.size() >= 2 && data.size() <= kBytes && data[1] >= 1 && data[1] <= kFamilies;
    if (!hasFamily) {
        return false;
    }
    const int mode = data[0] & 3;
    return advertisement.hasService || (data.size() == kBytes && (mode == 1 || mode == 3 || data[1] == kFamilies));
}

void Hub::onAdvertisement(const Advertisement& advertisement)
{
    if (!looksLikeARobot(advertisement)) {
        return;
    }
    RobotSession* session = sessionOf(advertisement.robot);
    if (session == nullptr) {  // else its shell queue would be replaced
        ZKProcessScan(advertisement.id.c_str(), reinterpret_cast<const char*>(advertisement.data.data()),
                      advertisement.data.size(), advertisement.name.data(), advertisement.name.size());
    }
    ZKRobotInfo info = {};
    info.size = sizeof info;
    ZKGetRobotInfo(advertisement.id.c_str(), &info);
    const auto [place, isNew] = mSightingOf.emplace(advertisement.robot, mSightings.size());
    if (isNew) {
        mSightings.push_back({advertisement.robot, advertisement.id, "", info, false, 0, now(), 0});
    }
    Sighting& seen = mSightings[place->second];
    seen.info = info;
    seen.advertisedName = advertisement.name;
    seen.hasRssi = advertisement.hasRssi;
    seen.rssi = advertisement.rssi;
    seen.lastSeen = now();
    ++seen.count;
    if (mSightings.size() > kMostSightings) {
        forgetOldest();
    }
    for (size_t i = 0; i < mSessions.size() && session == nullptr; ++i) {
        RobotSession& each = *mSessions[i];
        if (each.state() == SessionState::Looking && isCalled(each.who(), advertisement.id, advertisement.name, info)) {
            session = &each;
            each.onAdvertisement(advertisement, info);
        }
    }
}

void Hub::forgetOldest()
{
    size_t oldest = mSightings.size();
    for (size_t i = 0; i < mSightings.size(); ++i) {
        const bool isFree = sessionOf(mSightings[i].robot) == nullptr;
        if (isFree && (oldest == mSightings.size() || mSightings[i].lastSeen < mSightings[oldest].lastSeen)) {
            oldest = i;
        }
    }
    if (oldest == mSightings.size()) {
        return;
    }
    ZKForgetRobot(mSightings[oldest].id.c_str());
    mSightings.erase(mSightings.begin() + static_cast<std::ptrdiff_t>(oldest));
    mSightingOf.clear();
    for (size_t i = 0; i < mSightings.size(); ++i) {
        mSightingOf[mSightings[i].robot] = i;
    }
}

void Hub::onConnected(RobotRef robot)
{
    if (RobotSession* session = sessionOf(robot)) {
        session->onConnected();
    }
}

void Hub::onDiscovered(RobotRef robot, const std::vector<Characteristic>& characteristics)
{
    if (RobotSession* session = sessionOf(robot)) {
        session->onDiscovered(characteristics);
    }
}

void Hub::onSubscribed(RobotRef robot, const char*)
{
    if (RobotSession* session = sessionOf(robot)) {
        session->onSubscribed();
    }
}

void Hub::onNotification(RobotRef robot, const char* channel, const uint8_t* data, size_t length)
{
    if (RobotSession* session = sessionOf(robot)) {
        session->onNotification(channel, data, length);
    }
}

void Hub::onWritten(RobotRef robot)
{
    if (RobotSession* session = sessionOf(robot)) {
        session->onWritten();
    }
}

void Hub::onLost(RobotRef robot, const Error& error)
{
    if (RobotSession* session = sessionOf(robot)) {
        session->onLost(error);
    }
}

// Those that wait for the radio will wait in vain.
void Hub::onFailed(const Error& error)
{
    mLastFailure = error;
    for (size_t i = 0; i < mSessions.size(); ++i) {
        if (mSessions[i]->state() == SessionState::Looking) {
            mSessions[i]->endWith(error);
        }
    }
}

void Hub::transmit(void* user, const char* robotId, const char* channel, const HALPacket_t** packets, size_t count)
{
    if (RobotSession* session = static_cast<Hub*>(user)->sessionOf(robotId)) {
        session->onShellPackets(channel, packets, count);
    }
}

void Hub::completed(void* user, const char* robotId, const char* command, const char* answer)
{
    if (RobotSession* session = static_cast<Hub*>(user)->sessionOf(robotId)) {
        session->onShellEnd(command, answer, {});
    }
}

void Hub::failed(void* user, const char* robotId, const char* command, ZKErrorCode, const char* message)
{
    if (RobotSession* session = static_cast<Hub*>(user)->sessionOf(robotId)) {
        session->onShellEnd(command, nullptr, {ErrorCode::ShellTimedOut, message, ""});
    }
}

// What goes wrong is told as errors; the engine's own lines are for those who build hosts.
void Hub::logged(void*, ZKLogSeverity, const char*) {}

}  // namespace Host
