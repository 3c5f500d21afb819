#include "Host/BluezRadio.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "Host/BluezErrors.h"
#include "Host/BluezNames.h"

namespace Host::Bluez {

namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();
constexpr double kCallSeconds = 25;
constexpr size_t kMostStepsOfPoll = 1000;  // so that poll() comes back however much is sent

double clockSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

}  // namespace

Radio::Radio(const BluezOptions& options, std::unique_ptr<Bus> bus)
    : mOptions(options), mStart(clockSeconds()), mBus(std::move(bus)), mAir{*mBus}
{
    mAir.now = [this] { return seconds(); };
    mAir.connectTimeoutSeconds = mOptions.connectTimeoutSeconds;
    mAir.whyOff = [this] { return whyNotPowered(); };
    mDiscoveryRetryAt = kNever;
    mOwnerChanges = mBus->match(
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
        "arg0='org.bluez'",
        [this](BusMessage& signal) { onOwnerChanged(signal); });
    mSignals = mBus->match("type='signal',sender='org.bluez'", [this](BusMessage& signal) { onSignal(signal); });
    askObjects();
}

Radio::~Radio() = default;

bool Radio::start(double timeoutSeconds, Error& error)
{
    const double end = seconds() + timeoutSeconds;
    while (!mHasObjects && !mObjectsError && seconds() < end) {
        if (!mBus->process()) {
            mBus->wait(end - seconds());
        }
    }
    if (mHasObjects && !mAdapter.empty() && mAdapters[mAdapter].isPowered) {
        mAir.events.clear();
        return true;
    }
    if (mObjectsError) {
        error = mObjectsError;
    } else if (!mHasObjects) {
        error = {ErrorCode::NoDaemon, "the Bluetooth service does not answer", "systemctl restart bluetooth"};
    } else {
        error = whyNotPowered();
    }
    return false;
}

void Radio::scan(bool isOn)
{
    mWantsScan = isOn;
    keepDiscovery();
}

void Radio::connect(RobotRef robot)
{
    Robot* const found = find(robot);
    if (!found || mAdapter.empty() || !mAdapters[mAdapter].isPowered) {
        if (found && !found->link.isIdle()) {
            return;
        }
        const Error error =
            found ? whyNotPowered() : Error{ErrorCode::OutOfReach, "there is no such robot any more", "scan again"};
        tell([robot, error](TransportListener& listener) { listener.onLost(robot, error); });
        return;
    }
    found->link.connect();
    keepDiscovery();
}

void Radio::discover(RobotRef robot)
{
    if (Robot* const found = find(robot)) {
        found->link.discover();
    }
}

void Radio::subscribe(RobotRef robot, const char* channel)
{
    if (Robot* const found = find(robot)) {
        found->link.subscribe(channel);
    }
}

bool Radio::write(RobotRef robot, const char* channel, const uint8_t* data, size_t length, bool withResponse)
{
    Robot* const found = find(robot);
    return found && found->link.write(channel, data, length, withResponse);
}

size_t Radio::writeWindow() const
{
    return Link::kWriteWindow;
}

void Radio::disconnect(RobotRef robot)
{
    if (Robot* const found = find(robot)) {
        found->link.disconnect();
    }
    keepDiscovery();
}

void Radio::poll(double timeoutSeconds, TransportListener& listener)
{
    const double end = seconds() + timeoutSeconds;
    for (;;) {
        tick();
        bool hasTold = deliver(listener);
        for (size_t i = 0; i < kMostStepsOfPoll && mBus->process(); ++i) {
            hasTold = deliver(listener) || hasTold;
        }
        hasTold = deliver(listener) || hasTold;  // that the bus has gone
        const double left = end - seconds();
        if (hasTold || left <= 0) {
            return;
        }
        mBus->wait(std::min(left, nextPoll()));
    }
}

std::vector<pollfd> Radio::descriptors() const
{
    return mBus->isOpen() ? std::vector<pollfd>{mBus->descriptor()} : std::vector<pollfd>();
}

double Radio::nextPoll() const
{
    if (!mAir.events.empty()) {
        return 0;
    }
    double due = mDiscoveryRetryAt;
    for (const auto& [ref, robot] : mRobots) {
        due = std::min(due, robot->link.due());
    }
    return std::min(std::max(0.0, due - seconds()), mBus->nextTimeout());
}

double Radio::seconds() const
{
    return clockSeconds() - mStart;
}

bool Radio::isRealTime() const
{
    return true;
}

std::string Radio::description() const
{
    return mAdapter.empty() ? "BlueZ, no adapter" : "BlueZ, adapter " + adapterName();
}

void Radio::askObjects()
{
    mObjectsCall = mBus->call(
        mBus->newCall(kService, "/", kObjectManager, "GetManagedObjects"),
        [this](BusMessage& reply) {
            if (const BusError failure = reply.error()) {
                mObjectsError = explain(failure, "the Bluetooth service does not answer", ErrorCode::NoDaemon);
                if (mHasObjects) {
                    fail(mObjectsError);
                }
                return;
            }
            mOwner = reply.sender();
            mHasObjects = true;
            BusObjects objects;
            reply.read(objects);
            // Which adapter is used tells which devices count.
            for (const auto& [path, interfaces] : objects) {
                if (const auto adapter = interfaces.find(kAdapter); adapter != interfaces.end()) {
                    onAdapter(path, adapter->second);
                }
            }
            chooseAdapter();
            for (const auto& [path, interfaces] : objects) {
                onInterfacesAdded(path, interfaces);
            }
            keepDiscovery();
        },
        kCallSeconds);
}

void Radio::onOwnerChanged(BusMessage& signal)
{
    std::string name, before, now;
    if (!signal.read(name) || !signal.read(before) || !signal.read(now) || name != kService || now == mOwner) {
        return;
    }
    if (!mOwner.empty()) {
        mOwner.clear();
        mAdapters.clear();
        loseAdapter({ErrorCode::NoDaemon, "the Bluetooth service has stopped", "systemctl start bluetooth"});
    }
    if (!now.empty() && mHasObjects) {
        askObjects();
    }
}

void Radio::onSignal(BusMessage& signal)
{
    // Whoever is not BlueZ itself may send signals to this program too.
    if (mOwner.empty() || signal.sender() != mOwner) {
        return;
    }
    const std::string interface = signal.interface(), member = signal.member();
    if (interface == kObjectManager) {
        ObjectPath path;
        BusInterfaces added;
        std::vector<std::string> removed;
        if (!signal.read(path)) {
            return;
        }
        if (member == "InterfacesAdded" && signal.read(added)) {
            onInterfacesAdded(path.path, added);
        } else if (member == "InterfacesRemoved" && signal.read(removed)) {
            onInterfacesRemoved(path.path, removed);
        }
    } else if (interface == kProperties && member == "PropertiesChanged") {
        std::string name;
        BusProperties changed;
        std::vector<std::string> invalidated;
        if (signal.read(name) && signal.read(changed) && signal.read(invalidated)) {
            onPropertiesChanged(signal.path(), name, changed, invalidated);
        }
    }
}

void Radio::tell(std::function<void(TransportListener&)> event)
{
    mAir.events.push_back(std::move(event));
}

void Radio::fail(const Error& error)
{
    tell([error](TransportListener& listener) { listener.onFailed(error); });
}

bool Radio::deliver(TransportListener& listener)
{
    if (!mBus->isOpen() && mHasObjects) {
        mHasObjects = false;
        mOwner.clear();
        mAdapters.clear();
        loseAdapter({ErrorCode::NoDaemon, "the connection to D-Bus is broken", "systemctl status dbus"});
    }
    const bool hasAny = !mAir.events.empty();
    // What a listener calls may add more.
    while (!mAir.events.empty()) {
        const auto event = std::move(mAir.events.front());
        mAir.events.pop_front();
        event(listener);
    }
    return hasAny;
}

void Radio::tick()
{
    const double now = seconds();
    bool wasSeeking = false;
    for (const auto& [ref, robot] : mRobots) {
        if (robot->link.due() <= now) {
            wasSeeking = wasSeeking || robot->link.isSeeking();
            robot->link.tick();
        }
    }
    if (wasSeeking || now >= mDiscoveryRetryAt) {
        mDiscoveryRetryAt = kNever;
        keepDiscovery();
    }
}

}  // namespace Host::Bluez

namespace Host {

std::unique_ptr<Transport> makeBluezTransport(const BluezOptions& options, Error& error)
{
    constexpr double kStartSeconds = 10;
    std::unique_ptr<Bus> bus = Bus::openSystem(error);
    if (!bus) {
        return nullptr;
    }
    auto radio = std::make_unique<Bluez::Radio>(options, std::move(bus));
    return radio->start(kStartSeconds, error) ? std::move(radio) : nullptr;
}

}  // namespace Host
