// The objects of BlueZ that a radio watches: adapters, devices and what is in them.
#include <algorithm>
#include <limits>
#include <tuple>
#include <utility>

#include "Host/BluezErrors.h"
#include "Host/BluezNames.h"
#include "Host/BluezRadio.h"

namespace Host::Bluez {

namespace {

constexpr double kNever = std::numeric_limits<double>::infinity();
constexpr double kRetrySeconds = 1, kCallSeconds = 25;
constexpr size_t kMostAdapters = 16, kLongestAddress = 32;

std::string lastPart(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

bool isSameText(const std::string& left, const std::string& right)
{
    return canonicalUuid(left) == canonicalUuid(right);
}

}  // namespace

bool Radio::isMine(const std::string& path) const
{
    return !mAdapter.empty() && path.compare(0, mAdapter.size() + 1, mAdapter + "/") == 0;
}

void Radio::onInterfacesAdded(const std::string& path, const BusInterfaces& interfaces)
{
    for (const auto& [name, properties] : interfaces) {
        if (name == kAdapter) {
            onAdapter(path, properties);
            chooseAdapter();
        } else if (!isMine(path)) {
            continue;
        } else if (name == kDevice) {
            onDevice(path, properties);
        } else if (Robot* const robot = robotAt(path)) {
            if (name == kGattService) {
                robot->device.addService(path, properties);
            } else if (name == kCharacteristic) {
                robot->device.addCharacteristic(path, properties);
            }
        }
    }
}

void Radio::onInterfacesRemoved(const std::string& path, const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        Robot* const robot = robotAt(path);
        if (name == kAdapter && mAdapters.erase(path) > 0 && path == mAdapter) {
            loseAdapter({ErrorCode::NoAdapter, "the Bluetooth adapter " + adapterName() + " has gone", ""});
            chooseAdapter();
        } else if (robot && name == kDevice && path == robot->device.path) {
            mByPath.erase(path);
            robot->device.forgetPath();
            robot->link.onForgotten();
            keepDiscovery();
        } else if (robot && name == kGattService) {
            robot->device.services.erase(path);
        } else if (robot && name == kCharacteristic) {
            robot->device.characteristics.erase(path);
        }
    }
}

void Radio::onPropertiesChanged(const std::string& path, const std::string& interface, const BusProperties& changed,
                                const std::vector<std::string>& invalidated)
{
    Robot* const robot = robotAt(path);
    if (interface == kAdapter) {
        if (mAdapters.count(path) > 0) {
            onAdapter(path, changed);
            chooseAdapter();
        }
    } else if (interface == kDevice && robot && path == robot->device.path) {
        if (std::find(invalidated.begin(), invalidated.end(), "RSSI") != invalidated.end()) {
            robot->device.rssi.reset();
        }
        onDevice(path, changed);
    } else if (interface == kCharacteristic && robot) {
        if (const auto* const value = Host::find<Bytes>(changed, "Value")) {
            robot->link.onValue(path, *value);
        }
    }
}

void Radio::onAdapter(const std::string& path, const BusProperties& changed)
{
    if (mAdapters.size() >= kMostAdapters && mAdapters.count(path) == 0) {
        return;
    }
    Adapter& adapter = mAdapters[path];
    if (const auto* const address = Host::find<std::string>(changed, "Address")) {
        adapter.address = address->substr(0, kLongestAddress);
    }
    const auto* const powered = Host::find<bool>(changed, "Powered");
    if (!powered || *powered == adapter.isPowered) {
        return;
    }
    adapter.isPowered = *powered;
    if (path == mAdapter && !*powered) {
        loseAdapter(whyNotPowered());
    } else if (path == mAdapter) {
        keepDiscovery();
    }
}

// The one that was asked for, on or off; else the first that is on; else the first.
void Radio::chooseAdapter()
{
    if (!mAdapter.empty()) {
        return;
    }
    for (const auto& [path, adapter] : mAdapters) {
        const bool isWanted = mOptions.adapter.empty()
                                  ? adapter.isPowered
                                  : mOptions.adapter == lastPart(path) || isSameText(mOptions.adapter, adapter.address);
        if (isWanted) {
            mAdapter = path;
            mAdapterUse = std::make_shared<int>();
            keepDiscovery();
            return;
        }
    }
}

// Gone, or switched off: robots are, and what waits for an answer of the adapter need not wait.
void Radio::loseAdapter(const Error& error)
{
    if (mAdapter.empty()) {
        return;
    }
    fail(error);
    for (const auto& [ref, robot] : mRobots) {
        robot->link.breakOff(error);
        // A device that has gone with its adapter is not told one by one where the daemon has gone too.
        if (mAdapters.count(mAdapter) == 0) {
            robot->device.forgetPath();
        } else {
            robot->device.isConnected = robot->device.isResolved = false;
        }
    }
    mDiscovery = Discovery::Off;
    mDiscoveryRetryAt = kNever;
    mAdapterUse = std::make_shared<int>();
    if (mAdapters.count(mAdapter) == 0) {
        mByPath.clear();
        mAdapter.clear();
    }
}

std::string Radio::adapterName() const
{
    return printable(lastPart(mAdapter));
}

Error Radio::whyNotPowered() const
{
    if (!mAdapter.empty()) {
        return Bluez::whyOff(adapterName(), mOptions.rfkillFolder);
    }
    if (mOwner.empty()) {
        return {ErrorCode::NoDaemon, "the Bluetooth service is not running", "systemctl start bluetooth"};
    }
    if (mOptions.adapter.empty() && !mAdapters.empty()) {
        return Bluez::whyOff(lastPart(mAdapters.begin()->first), mOptions.rfkillFolder);
    }
    std::string present;
    for (const auto& [path, adapter] : mAdapters) {
        present += (present.empty() ? "" : ", ") + lastPart(path);
    }
    return whyNoAdapter(mOptions.adapter, present, mOptions.rfkillFolder);
}

// Of a device, or of a service or characteristic in one.
Radio::Robot* Radio::robotAt(const std::string& path)
{
    if (!isMine(path)) {
        return nullptr;
    }
    const size_t end = path.find('/', mAdapter.size() + 1);
    const auto at = mByPath.find(path.substr(0, end));
    return at == mByPath.end() ? nullptr : find(at->second);
}

Radio::Robot* Radio::find(RobotRef robot)
{
    const auto at = mRobots.find(robot);
    return at == mRobots.end() ? nullptr : at->second.get();
}

Radio::Robot& Radio::robotOf(const std::string& address)
{
    const auto at = mByAddress.find(address);
    if (at != mByAddress.end()) {
        return *mRobots[at->second];
    }
    if (mRobots.size() >= kMostDevices) {
        makeRoom();
    }
    const RobotRef ref = ++mLastRef;
    mByAddress[address] = ref;
    auto& robot = mRobots[ref] = std::make_unique<Robot>(mAir, ref);
    robot->device.address = address;
    return *robot;
}

// Phones change their address all day: what is no robot goes first, and then what was not seen for the longest time.
void Radio::makeRoom()
{
    const auto value = [](const Robot& robot) {
        return std::make_tuple(!robot.link.isIdle(), robot.device.mayBeRobot(), robot.device.seenAt);
    };
    const auto least = std::min_element(mRobots.begin(), mRobots.end(), [&](const auto& left, const auto& right) {
        return value(*left.second) < value(*right.second);
    });
    mByAddress.erase(least->second->device.address);
    mByPath.erase(least->second->device.path);
    mRobots.erase(least);
}

void Radio::onDevice(const std::string& path, const BusProperties& changed)
{
    if (path.find('/', mAdapter.size() + 1) != std::string::npos) {
        return;
    }
    Robot* robot = robotAt(path);
    if (!robot) {
        // Of a device that was put out of mind: it is told in full when BlueZ meets it again.
        const auto* const address = Host::find<std::string>(changed, "Address");
        if (!address || address->empty() || address->size() > kLongestAddress || *address != printable(*address)) {
            return;
        }
        robot = &robotOf(*address);
        mByPath.erase(robot->device.path);
        robot->device.path = path;
        mByPath[path] = robot->device.robot;
    }
    Device& device = robot->device;
    const bool wasResolved = device.isResolved;
    const bool isNews = device.update(changed, !robot->link.isIdle() && !robot->link.isSeeking());
    device.seenAt = seconds();
    if (isNews && mWantsScan) {
        tell([advertisement = device.advertisement()](TransportListener& listener) {
            listener.onAdvertisement(advertisement);
        });
    }
    const bool wasSeeking = robot->link.isSeeking();
    robot->link.onSeen();
    if (Host::find<bool>(changed, "Connected")) {
        robot->link.onConnectedChanged();
    }
    if (!wasResolved && device.isResolved) {
        robot->link.onResolvedChanged();
    }
    if (wasSeeking) {
        keepDiscovery();
    }
}

void Radio::keepDiscovery()
{
    const bool isSeeking =
        std::any_of(mRobots.begin(), mRobots.end(), [](const auto& robot) { return robot.second->link.isSeeking(); });
    const bool isWanted = mWantsScan || isSeeking;
    const bool isPossible = !mAdapter.empty() && mAdapters[mAdapter].isPowered && mDiscoveryRetryAt == kNever;
    if (isWanted && isPossible && mDiscovery == Discovery::Off) {
        startDiscovery();
    } else if (!isWanted && mDiscovery == Discovery::On) {
        mDiscovery = Discovery::Stopping;
        mAir.calls.call(
            mAir.calls.newCall(mAdapter, kAdapter, "StopDiscovery"), mAdapterUse,
            [this](BusMessage&) {
                mDiscovery = Discovery::Off;
                keepDiscovery();
            },
            kCallSeconds);
    }
}

void Radio::startDiscovery()
{
    mDiscovery = Discovery::Starting;
    // Without duplicates BlueZ keeps the data of each state that a robot was in, and does not say which is the last.
    BusMessage filter = mAir.calls.newCall(mAdapter, kAdapter, "SetDiscoveryFilter");
    filter.append(BusProperties{{"Transport", std::string("le")}, {"DuplicateData", true}});
    mAir.calls.call(
        std::move(filter), mAdapterUse, [](BusMessage&) {}, kCallSeconds);
    mAir.calls.call(
        mAir.calls.newCall(mAdapter, kAdapter, "StartDiscovery"), mAdapterUse,
        [this](BusMessage& reply) { onDiscoveryReply(reply); }, kCallSeconds);
}

void Radio::onDiscoveryReply(const BusMessage& reply)
{
    const BusError failure = reply.error();
    mDiscovery = failure ? Discovery::Off : Discovery::On;
    if (failure) {
        Error error = explain(failure, "scanning failed", ErrorCode::Failed);
        if (error.code == ErrorCode::AdapterOff) {
            error = whyNotPowered();
        }
        // While another program starts or stops scanning, BlueZ is busy.
        if (!mIsDiscoveryFailureTold && !isInProgress(failure)) {
            mIsDiscoveryFailureTold = true;
            fail(error);
        }
        mDiscoveryRetryAt = seconds() + kRetrySeconds;
        return;
    }
    mIsDiscoveryFailureTold = false;
    keepDiscovery();
}

}  // namespace Host::Bluez
