// The robot's side of Bluetooth: a service that hosts find, connect to, write to and hear from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Host/BluezAdvertiser.h"
#include "Host/Bus.h"
#include "Host/BusTree.h"
#include "Host/Error.h"

struct pollfd;

namespace Host {

struct PeripheralChannel {
    std::string uuid;
    bool isWritten = false, notifies = false;
};

struct PeripheralOptions {
    enum class Advertising { Best, Kernel, Daemon };

    std::string adapter = {};  // "hci0"; "": the first that is on
    std::string service = {};
    std::vector<PeripheralChannel> channels = {};
    /** Best: by the kernel where that is allowed, else by the daemon and without the service. */
    Advertising advertising = Advertising::Best;
    std::string rfkillFolder = "/sys/class/rfkill";
};

/** Told inside process(). All may call the peripheral. */
class PeripheralListener {
public:
    virtual void onConnected(const std::string& address) = 0;
    virtual void onDisconnected(const std::string& address) = 0;
    virtual void onSubscribed(const std::string& channel, bool isSubscribed) = 0;
    virtual void onWritten(const std::string& channel, const uint8_t* data, size_t length) = 0;
    /** The first advertisement is on the air; without the service where the words say why. */
    virtual void onAdvertised(const Error& whyWithoutService) = 0;
    /** This is its end. */
    virtual void onFailed(const Error& error) = 0;

protected:
    ~PeripheralListener() = default;
};

class BluezPeripheral {
public:
    /** Waits until the daemon has taken the service. Null, and error says why, when it does not. */
    static std::unique_ptr<BluezPeripheral> create(const PeripheralOptions& options, Error& error);
    /** Off the air; whoever is connected is not any more. */
    ~BluezPeripheral();
    BluezPeripheral(const BluezPeripheral&) = delete;
    BluezPeripheral& operator=(const BluezPeripheral&) = delete;

    /** From now on, and again after each connection. While there is one, nothing goes out. */
    void advertise(const std::vector<uint8_t>& manufacturerData, const std::string& name);
    /** To a host that has subscribed to the channel; otherwise nothing happens. */
    void notify(const std::string& channel, const uint8_t* data, size_t length);

    /** Tells what has come, without waiting. */
    void process(PeripheralListener& listener);
    /** When one of these is ready, or nextProcess() seconds are over, process() is due. */
    std::vector<pollfd> descriptors() const;
    double nextProcess() const;

    /** "hci0", and its address. */
    std::string adapter() const;
    const std::string& address() const
    {
        return mAddress;
    }

private:
    struct Channel {
        std::string uuid, path;
        bool isSubscribed = false;
    };
    using Event = std::function<void(PeripheralListener&)>;

    BluezPeripheral(const PeripheralOptions& options, std::unique_ptr<Bus> bus);
    bool start(Error& error);
    bool waitFor(const bool& isDone, Error& error);
    void chooseAdapter(const BusObjects& objects);
    void buildService();
    void registerService();

    void onWriteValue(BusMessage& call, const std::string& uuid);
    void onNotifySwitched(BusMessage& call, const std::string& uuid, bool isOn);
    bool isFromBluez(BusMessage& call);
    void onSignal(BusMessage& signal);
    void onDevice(const std::string& path, const BusProperties& changed);
    void onGone(const std::string& path, const std::vector<std::string>& interfaces);
    void noteConnected(const std::string& path);
    void noteDisconnected(const std::string& path);

    void startAdvertiser();
    void onAdvertiserDone(const Error& error);
    void tell(Event event);
    void fail(const Error& error);

    const PeripheralOptions mOptions;
    std::unique_ptr<Bus> mBus;
    std::string mOwner;  // of BlueZ's name
    std::string mAdapterPath, mAddress;
    Error mError;  // of the start
    bool mHasObjects = false, mIsRegistered = false, mHasFailed = false;
    BusSlot mSignals, mOwnerChanges, mObjectsCall, mRegisterCall;

    BusTree mTree;
    std::vector<Channel> mChannels;
    std::set<std::string> mConnected;  // paths of devices

    bool mByDaemon = false, mHasAdvertised = false, mWantsDaemon = false, mIsOutdated = false;
    Error mWhyWithoutService;
    Bluez::Advertised mContent;
    bool mHasContent = false;
    std::unique_ptr<Bluez::Advertiser> mAdvertiser;

    std::deque<Event> mEvents;
};

}  // namespace Host
