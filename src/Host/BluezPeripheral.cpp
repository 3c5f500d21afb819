#include "Host/BluezPeripheral.h"

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "Host/BluezErrors.h"
#include "Host/BluezNames.h"

namespace Host {

namespace {

using namespace Bluez;

constexpr char kRoot[] = "/zkhal/robot", kServicePath[] = "/zkhal/robot/service";
constexpr char kGattManager[] = "org.bluez.GattManager1";
constexpr double kStartSeconds = 10;
constexpr size_t kMostConnected = 64;

double clockSeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string lastPart(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

// ".../dev_00_AA_01_00_00_00"
std::string addressOf(const std::string& devicePath)
{
    const std::string part = lastPart(devicePath);
    std::string address = printable(part.compare(0, 4, "dev_") == 0 ? part.substr(4) : part);
    std::replace(address.begin(), address.end(), '_', ':');
    return address;
}

}  // namespace

// ---- Start -------------------------------------------------------------------------------------------------------

std::unique_ptr<BluezPeripheral> BluezPeripheral::create(const PeripheralOptions& options, Error& error)
{
    std::unique_ptr<Bus> bus = Bus::openSystem(error);
    if (!bus) {
        return nullptr;
    }
    std::unique_ptr<BluezPeripheral> peripheral(new BluezPeripheral(options, std::move(bus)));
    return peripheral->start(error) ? std::move(peripheral) : nullptr;
}

BluezPeripheral::BluezPeripheral(const PeripheralOptions& options, std::unique_ptr<Bus> bus)
    : mOptions(options), mBus(std::move(bus)), mTree(*mBus, kRoot)
{
    mByDaemon = options.advertising == PeripheralOptions::Advertising::Daemon;
}

BluezPeripheral::~BluezPeripheral()
{
    mAdvertiser.reset();
    for (const std::string& device : mConnected) {
        mBus->send(mBus->newCall(kService, device, kDevice, "Disconnect"));
    }
}

bool BluezPeripheral::waitFor(const bool& isDone, Error& error)
{
    const double end = clockSeconds() + kStartSeconds;
    while (!isDone && !mError && mBus->isOpen() && clockSeconds() < end) {
        if (!mBus->process()) {
            mBus->wait(end - clockSeconds());
        }
    }
    if (!isDone && !mError) {
        mError = {ErrorCode::NoDaemon, "the Bluetooth service does not answer", "systemctl restart bluetooth"};
    }
    error = mError;
    return !mError;
}

bool BluezPeripheral::start(Error& error)
{
    mOwnerChanges = mBus->match(
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged',"
        "arg0='org.bluez'",
        [this](BusMessage&) {
            if (mIsRegistered) {
                fail({ErrorCode::NoDaemon, "the Bluetooth service has stopped", "systemctl start bluetooth"});
            }
        });
    mSignals = mBus->match("type='signal',sender='org.bluez'", [this](BusMessage& signal) { onSignal(signal); });
    mObjectsCall =
        mBus->call(mBus->newCall(kService, "/", kObjectManager, "GetManagedObjects"), [this](BusMessage& reply) {
            if (const BusError failure = reply.error()) {
                mError = explain(failure, "the Bluetooth service does not answer", ErrorCode::NoDaemon);
                return;
            }
            mOwner = reply.sender();
            BusObjects objects;
            reply.read(objects);
            chooseAdapter(objects);
            mHasObjects = true;
        });
    if (!waitFor(mHasObjects, error)) {
        return false;
    }
    buildService();
    registerService();
    return waitFor(mIsRegistered, error);
}

void BluezPeripheral::chooseAdapter(const BusObjects& objects)
{
    std::string present, off;
    for (const auto& [path, interfaces] : objects) {
        const auto adapter = interfaces.find(kAdapter);
        if (adapter == interfaces.end() || interfaces.count(kGattManager) == 0) {
            continue;
        }
        present += (present.empty() ? "" : " ") + lastPart(path);
        if (!mOptions.adapter.empty() && lastPart(path) != mOptions.adapter) {
            continue;
        }
        const bool* const isPowered = Host::find<bool>(adapter->second, "Powered");
        if (isPowered == nullptr || !*isPowered) {
            off = lastPart(path);
        } else if (mAdapterPath.empty()) {
            mAdapterPath = path;
            const std::string* const address = Host::find<std::string>(adapter->second, "Address");
            mAddress = address != nullptr ? printable(*address) : "";
        }
    }
    if (mAdapterPath.empty()) {
        mError = off.empty() ? whyNoAdapter(mOptions.adapter, present, mOptions.rfkillFolder)
                             : whyOff(off, mOptions.rfkillFolder);
    }
}

void BluezPeripheral::buildService()
{
    BusInterface service;
    service.properties = {{"UUID", mOptions.service}, {"Primary", true}};
    mTree.add(kServicePath, {{kGattService, service}});
    for (const PeripheralChannel& channel : mOptions.channels) {
        const std::string path = std::string(kServicePath) + "/channel" + std::to_string(mChannels.size());
        mChannels.push_back({channel.uuid, path});
        std::vector<std::string> flags;
        BusInterface interface;
        if (channel.isWritten) {
            flags = {"write", "write-without-response"};
            interface.methods["WriteValue"] = [this, uuid = channel.uuid](BusMessage& call) {
                onWriteValue(call, uuid);
            };
        }
        if (channel.notifies) {
            flags.push_back("notify");
            for (const bool isOn : {true, false}) {
                interface.methods[isOn ? "StartNotify" : "StopNotify"] =
                    [this, uuid = channel.uuid, isOn](BusMessage& call) { onNotifySwitched(call, uuid, isOn); };
            }
        }
        interface.properties = {{"UUID", channel.uuid}, {"Service", ObjectPath{kServicePath}}, {"Flags", flags}};
        mTree.add(path, {{kCharacteristic, interface}});
    }
}

void BluezPeripheral::registerService()
{
    BusMessage call = mBus->newCall(kService, mAdapterPath, kGattManager, "RegisterApplication");
    call.append(BusValue(ObjectPath{kRoot})).append(BusProperties());
    mRegisterCall = mBus->call(call, [this](BusMessage& reply) {
        if (const BusError failure = reply.error()) {
            mError = explain(failure, "BlueZ does not take the robot's service", ErrorCode::Failed);
        } else {
            mIsRegistered = true;
        }
    });
}

// ---- What BlueZ asks for -----------------------------------------------------------------------------------------

bool BluezPeripheral::isFromBluez(BusMessage& call)
{
    if (call.sender() == mOwner) {
        return true;
    }
    mBus->replyError(call, "org.freedesktop.DBus.Error.AccessDenied", "this is between BlueZ and the robot");
    return false;
}

void BluezPeripheral::onWriteValue(BusMessage& call, const std::string& uuid)
{
    Bytes value;
    BusProperties options;
    if (!isFromBluez(call)) {
        return;
    }
    if (!call.read(value) || !call.read(options)) {
        mBus->replyError(call, "org.bluez.Error.Failed", "a value and options are needed");
        return;
    }
    // A robot takes packets whole.
    const uint16_t* const offset = Host::find<uint16_t>(options, "offset");
    if (offset != nullptr && *offset != 0) {
        mBus->replyError(call, "org.bluez.Error.InvalidOffset", "a write begins at its begin");
        return;
    }
    if (const ObjectPath* const device = Host::find<ObjectPath>(options, "device")) {
        noteConnected(device->path);
    }
    mBus->reply(call);
    const bool* const isQuestion = Host::find<bool>(options, "prepare-authorize");
    if (isQuestion == nullptr || !*isQuestion) {
        tell([uuid, value](PeripheralListener& listener) { listener.onWritten(uuid, value.data(), value.size()); });
    }
}

void BluezPeripheral::onNotifySwitched(BusMessage& call, const std::string& uuid, bool isOn)
{
    if (!isFromBluez(call)) {
        return;
    }
    mBus->reply(call);
    for (Channel& channel : mChannels) {
        if (channel.uuid == uuid && channel.isSubscribed != isOn) {
            channel.isSubscribed = isOn;
            tell([uuid, isOn](PeripheralListener& listener) { listener.onSubscribed(uuid, isOn); });
        }
    }
}

void BluezPeripheral::notify(const std::string& channel, const uint8_t* data, size_t length)
{
    for (const Channel& each : mChannels) {
        if (each.uuid == channel && each.isSubscribed) {
            mTree.change(each.path, kCharacteristic, {{"Value", Bytes(data, data + length)}});
        }
    }
}

// ---- Who is there ------------------------------------------------------------------------------------------------

void BluezPeripheral::onSignal(BusMessage& signal)
{
    // Whoever is not BlueZ itself may send signals to this program too.
    if (mOwner.empty() || signal.sender() != mOwner) {
        return;
    }
    const std::string member = signal.member();
    ObjectPath path;
    if (signal.interface() == kProperties && member == "PropertiesChanged") {
        std::string interface;
        BusProperties changed;
        if (!signal.read(interface) || !signal.read(changed)) {
            return;
        }
        const bool* const isPowered = Host::find<bool>(changed, "Powered");
        if (interface == kDevice) {
            onDevice(signal.path(), changed);
        } else if (interface == kAdapter && signal.path() == mAdapterPath && isPowered != nullptr && !*isPowered) {
            fail(whyOff(adapter(), mOptions.rfkillFolder));
        }
    } else if (signal.interface() == kObjectManager && signal.read(path)) {
        BusInterfaces added;
        std::vector<std::string> removed;
        if (member == "InterfacesAdded" && signal.read(added) && added.count(kDevice) != 0) {
            onDevice(path.path, added[kDevice]);
        } else if (member == "InterfacesRemoved" && signal.read(removed)) {
            onGone(path.path, removed);
        }
    }
}

void BluezPeripheral::onDevice(const std::string& path, const BusProperties& changed)
{
    if (const bool* const isConnected = Host::find<bool>(changed, "Connected")) {
        *isConnected ? noteConnected(path) : noteDisconnected(path);
    }
}

void BluezPeripheral::onGone(const std::string& path, const std::vector<std::string>& interfaces)
{
    const auto isAmong = [&interfaces](const char* name) {
        return std::find(interfaces.begin(), interfaces.end(), name) != interfaces.end();
    };
    if (isAmong(kDevice)) {
        noteDisconnected(path);
    }
    if (path == mAdapterPath && (isAmong(kAdapter) || isAmong(kGattManager))) {
        fail({ErrorCode::NoAdapter, "the Bluetooth adapter " + adapter() + " is gone", "plug it in again"});
    }
}

void BluezPeripheral::noteConnected(const std::string& path)
{
    if (path.compare(0, mAdapterPath.size() + 1, mAdapterPath + "/") == 0 && mConnected.size() < kMostConnected &&
        mConnected.insert(path).second) {
        tell([path](PeripheralListener& listener) { listener.onConnected(addressOf(path)); });
    }
}

void BluezPeripheral::noteDisconnected(const std::string& path)
{
    if (mConnected.erase(path) == 0) {
        return;
    }
    tell([path](PeripheralListener& listener) { listener.onDisconnected(addressOf(path)); });
    mIsOutdated = mConnected.empty();
}

// ---- On the air --------------------------------------------------------------------------------------------------

void BluezPeripheral::advertise(const std::vector<uint8_t>& manufacturerData, const std::string& name)
{
    mContent = {manufacturerData, name};
    mHasContent = true;
    mIsOutdated = true;
}

void BluezPeripheral::startAdvertiser()
{
    const auto onDone = [this](const Error& error) { onAdvertiserDone(error); };
    Error error;
    if (!mByDaemon) {
        mAdvertiser = makeKernelAdvertiser(adapter(), mOptions.service, onDone, error);
        if (mAdvertiser || mOptions.advertising == PeripheralOptions::Advertising::Kernel) {
            if (!mAdvertiser) {
                fail(error);
            }
            return;
        }
        mByDaemon = true;
        mWhyWithoutService = error;
    }
    mAdvertiser = makeDaemonAdvertiser(*mBus, mAdapterPath, onDone);
}

void BluezPeripheral::onAdvertiserDone(const Error& error)
{
    const bool mayFallBack = mOptions.advertising == PeripheralOptions::Advertising::Best && !mByDaemon;
    if (error && mayFallBack && !mHasAdvertised) {
        mWhyWithoutService = error;
        mWantsDaemon = true;  // not from here: it is the advertiser that calls
    } else if (error) {
        fail(error);
    } else if (!mHasAdvertised) {
        mHasAdvertised = true;
        tell([why = mWhyWithoutService](PeripheralListener& listener) { listener.onAdvertised(why); });
    }
}

void BluezPeripheral::process(PeripheralListener& listener)
{
    // So that this comes back however much is sent.
    constexpr int kMostSteps = 1000;
    const auto deliver = [this, &listener] {
        while (!mEvents.empty()) {
            const Event event = std::move(mEvents.front());
            mEvents.pop_front();
            event(listener);
        }
    };
    deliver();
    for (int i = 0; i < kMostSteps && mBus->process(); ++i) {
        deliver();
    }
    if (!mBus->isOpen()) {
        fail({ErrorCode::NoDaemon, "the connection to D-Bus is broken", "systemctl status dbus"});
    }
    if (mAdvertiser) {
        mAdvertiser->process();
    }
    if (mWantsDaemon) {
        mWantsDaemon = false;
        mByDaemon = true;
        mAdvertiser.reset();
        mIsOutdated = true;
    }
    if (mIsOutdated && mHasContent && !mHasFailed && mConnected.empty()) {
        mIsOutdated = false;
        if (!mAdvertiser) {
            startAdvertiser();
        }
        if (mAdvertiser) {
            mAdvertiser->advertise(mContent);
        }
    }
    deliver();
}

std::vector<pollfd> BluezPeripheral::descriptors() const
{
    std::vector<pollfd> descriptors = mAdvertiser ? mAdvertiser->descriptors() : std::vector<pollfd>();
    if (mBus->isOpen()) {
        descriptors.push_back(mBus->descriptor());
    }
    return descriptors;
}

double BluezPeripheral::nextProcess() const
{
    return mEvents.empty() ? mBus->nextTimeout() : 0;
}

std::string BluezPeripheral::adapter() const
{
    return lastPart(mAdapterPath);
}

void BluezPeripheral::tell(Event event)
{
    mEvents.push_back(std::move(event));
}

void BluezPeripheral::fail(const Error& error)
{
    if (!mHasFailed) {
        mHasFailed = true;
        tell([error](PeripheralListener& listener) { listener.onFailed(error); });
    }
}

}  // namespace Host
