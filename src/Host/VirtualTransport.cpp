#include "Host/VirtualTransport.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include <poll.h>

#include "ZKHAL/Vocabulary.h"

namespace Host {

namespace {

constexpr double kStep = 0.015;  // in which time passes
constexpr double kAdvertisingInterval = 0.1;
constexpr size_t kWindow = 32;

double wallSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string idOf(const VirtualRobotOptions& options)
{
    ZKRobotTypeInfo type = {};
    type.size = sizeof type;
    ZKFindRobotType(std::to_string(options.type).c_str(), &type);
    return "virtual:" + std::string(type.name) + ":" + std::to_string(options.seed);
}

}  // namespace

struct VirtualTransport::Peer {
    Peer(std::unique_ptr<Simulator::VirtualRobot> virtualRobot, const VirtualRobotOptions& options)
        : id(idOf(options)), robot(std::move(virtualRobot)), link(*robot, options.faults, options.seed)
    {
        for (const char* uuid : robot->characteristics()) {
            characteristics.push_back({Simulator::VirtualRobot::service(), uuid});
        }
    }

    std::string id;
    std::unique_ptr<Simulator::VirtualRobot> robot;
    Simulator::Link link;
    std::vector<Characteristic> characteristics;
    std::vector<const char*> subscribed;
    size_t writing = 0;
    bool isConnected = false;  // as the host was told
};

VirtualTransport::VirtualTransport(Pace pace) : mPace(pace), mStart(wallSeconds()) {}

VirtualTransport::~VirtualTransport() = default;

bool VirtualTransport::add(const VirtualRobotOptions& options)
{
    auto robot = Simulator::VirtualRobot::create(options.type, options.seed);
    if (robot == nullptr) {
        return false;
    }
    mRobots.push_back(std::make_unique<Peer>(std::move(robot), options));
    return true;
}

Simulator::VirtualRobot& VirtualTransport::robot(RobotRef robot)
{
    return *mRobots[robot]->robot;
}

const Simulator::Link& VirtualTransport::link(RobotRef robot) const
{
    return mRobots[robot]->link;
}

void VirtualTransport::scan(bool isOn)
{
    mIsScanning = isOn;
    mAdvertiseAt = mSeconds;
}

void VirtualTransport::connect(RobotRef robot)
{
    Peer& peer = *mRobots[robot];
    if (!peer.isConnected) {
        peer.link.connect();
        peer.isConnected = true;
        mPending.push_back({Pending::Connected, robot, nullptr});
    }
}

void VirtualTransport::discover(RobotRef robot)
{
    mPending.push_back({Pending::Discovered, robot, nullptr});
}

// Null for a characteristic that the robot does not have.
const char* VirtualTransport::channelOf(const Peer& peer, const char* channel)
{
    const std::string uuid = canonicalUuid(channel);
    for (const Characteristic& each : peer.characteristics) {
        if (each.uuid == uuid) {
            return each.uuid.c_str();
        }
    }
    return nullptr;
}

void VirtualTransport::subscribe(RobotRef robot, const char* channel)
{
    Peer& peer = *mRobots[robot];
    const char* const known = channelOf(peer, channel);
    if (known != nullptr && peer.isConnected) {
        peer.subscribed.push_back(known);
        mPending.push_back({Pending::Subscribed, robot, known});
    } else {
        disconnect(robot);
    }
}

bool VirtualTransport::write(RobotRef robot, const char* channel, const uint8_t* data, size_t length, bool)
{
    Peer& peer = *mRobots[robot];
    if (!peer.isConnected || peer.writing == kWindow || !peer.link.write(channel, data, length)) {
        return false;
    }
    ++peer.writing;
    mPending.push_back({Pending::Written, robot, nullptr});
    return true;
}

size_t VirtualTransport::writeWindow() const
{
    return kWindow;
}

void VirtualTransport::disconnect(RobotRef robot)
{
    if (mRobots[robot]->isConnected) {
        mRobots[robot]->link.disconnect();
        mPending.push_back({Pending::Disconnected, robot, nullptr});
    }
}

// What is called from inside goes into the next round.
void VirtualTransport::tell(TransportListener& listener)
{
    mTelling.clear();
    mTelling.swap(mPending);
    for (size_t i = 0; i < mTelling.size(); ++i) {
        const Event event = mTelling[i];
        Peer& peer = *mRobots[event.robot];
        if (!peer.isConnected) {
            continue;  // of a connection that is over
        }
        switch (event.kind) {
            case Pending::Connected:
                listener.onConnected(event.robot);
                break;
            case Pending::Discovered:
                listener.onDiscovered(event.robot, peer.characteristics);
                break;
            case Pending::Subscribed:
                listener.onSubscribed(event.robot, event.channel);
                break;
            case Pending::Written:
                --peer.writing;
                listener.onWritten(event.robot);
                break;
            case Pending::Disconnected:
                peer.isConnected = false;
                peer.writing = 0;
                peer.subscribed.clear();
                listener.onLost(event.robot, {});
                break;
        }
    }
}

void VirtualTransport::advertise(TransportListener& listener)
{
    mAdvertiseAt = mSeconds + kAdvertisingInterval;
    for (RobotRef i = 0; i < mRobots.size() && mIsScanning; ++i) {
        const Peer& peer = *mRobots[i];
        if (!peer.isConnected) {
            Advertisement advertisement = {i, peer.id, peer.robot->localName(), peer.robot->manufacturerData()};
            advertisement.hasService = true;
            listener.onAdvertisement(advertisement);
        }
    }
}

void VirtualTransport::advance(double seconds, TransportListener& listener)
{
    mSeconds += seconds;
    for (RobotRef i = 0; i < mRobots.size(); ++i) {
        Peer& peer = *mRobots[i];
        peer.link.advance(seconds);
        Simulator::Notification notification;
        while (peer.link.nextNotification(notification)) {
            const bool isWanted = std::any_of(peer.subscribed.begin(), peer.subscribed.end(), [&](const char* channel) {
                return std::strcmp(channel, notification.channel) == 0;
            });
            if (peer.isConnected && isWanted) {
                listener.onNotification(i, notification.channel,
                                        reinterpret_cast<const uint8_t*>(notification.data.data()),
                                        notification.data.size());
            }
        }
        if (peer.isConnected && !peer.link.isConnected()) {
            const bool isOwnWish = std::any_of(mPending.begin(), mPending.end(), [&](const Event& event) {
                return event.robot == i && event.kind == Pending::Disconnected;
            });
            if (!isOwnWish) {
                peer.isConnected = false;
                peer.writing = 0;
                peer.subscribed.clear();
                listener.onLost(i, {ErrorCode::Lost, "the connection is lost", ""});
            }
        }
    }
    if (mIsScanning && mSeconds >= mAdvertiseAt) {
        advertise(listener);
    }
}

void VirtualTransport::poll(double timeoutSeconds, TransportListener& listener)
{
    tell(listener);
    if (mPace == Pace::Fast) {
        constexpr double kSlack = 1e-9;
        for (double left = timeoutSeconds; left > kSlack;) {
            const double step = std::min(left, kStep);
            advance(step, listener);
            tell(listener);
            left -= step;
        }
        return;
    }
    const double end = wallSeconds() + std::max(timeoutSeconds, 0.0);
    for (;;) {
        const double now = wallSeconds();
        if (now - mStart - mSeconds >= kStep / 3) {
            constexpr double kLongestGap = 1;  // a host that was stopped goes on; it does not catch up
            mStart = std::max(mStart, now - mSeconds - kLongestGap);
            advance(now - mStart - mSeconds, listener);
            tell(listener);
            return;
        }
        if (now >= end || !mPending.empty()) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::duration<double>(std::min(nextPoll(), end - now)));
    }
}

std::vector<pollfd> VirtualTransport::descriptors() const
{
    return {};
}

double VirtualTransport::nextPoll() const
{
    return mPace == Pace::Fast || !mPending.empty() ? 0
                                                    : std::clamp(mStart + mSeconds + kStep - wallSeconds(), 0.0, kStep);
}

double VirtualTransport::seconds() const
{
    return mSeconds;
}

bool VirtualTransport::isRealTime() const
{
    return mPace == Pace::Real;
}

std::string VirtualTransport::description() const
{
    return std::to_string(mRobots.size()) + (mRobots.size() == 1 ? " virtual robot" : " virtual robots");
}

}  // namespace Host
