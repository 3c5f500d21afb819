// One adapter of BlueZ as a transport.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Host/BluezCalls.h"
#include "Host/BluezDevice.h"
#include "Host/BluezLink.h"
#include "Host/BluezTransport.h"
#include "Host/Bus.h"
#include "Host/Transport.h"

namespace Host::Bluez {

class Radio final : public Transport {
public:
    static constexpr size_t kMostDevices = 1000;

    Radio(const BluezOptions& options, std::unique_ptr<Bus> bus);
    ~Radio() override;

    /** Waits for what BlueZ has. False, and error says why, when there is nothing to work with. */
    bool start(double timeoutSeconds, Error& error);

    void scan(bool isOn) override;
    void connect(RobotRef robot) override;
    void discover(RobotRef robot) override;
    void subscribe(RobotRef robot, const char* channel) override;
    bool write(RobotRef robot, const char* channel, const uint8_t* data, size_t length, bool withResponse) override;
    size_t writeWindow() const override;
    void disconnect(RobotRef robot) override;
    void poll(double timeoutSeconds, TransportListener& listener) override;
    std::vector<pollfd> descriptors() const override;
    double nextPoll() const override;
    double seconds() const override;
    bool isRealTime() const override;
    std::string description() const override;

private:
    struct Adapter {
        std::string address;
        bool isPowered = false;
    };
    struct Robot {
        Robot(Air& air, RobotRef ref) : link(air, device)
        {
            device.robot = ref;
        }
        Device device;
        Link link;
    };
    enum class Discovery { Off, Starting, On, Stopping };

    // What BlueZ tells.
    void askObjects();
    void onSignal(BusMessage& signal);
    void onOwnerChanged(BusMessage& signal);
    void onInterfacesAdded(const std::string& path, const BusInterfaces& interfaces);
    void onInterfacesRemoved(const std::string& path, const std::vector<std::string>& names);
    void onPropertiesChanged(const std::string& path, const std::string& interface, const BusProperties& changed,
                             const std::vector<std::string>& invalidated);

    void onAdapter(const std::string& path, const BusProperties& changed);
    void chooseAdapter();
    void loseAdapter(const Error& error);
    std::string adapterName() const;
    Error whyNotPowered() const;
    bool isMine(const std::string& path) const;

    void onDevice(const std::string& path, const BusProperties& changed);
    Robot* robotAt(const std::string& path);
    Robot* find(RobotRef robot);
    Robot& robotOf(const std::string& address);
    void makeRoom();

    void keepDiscovery();
    void startDiscovery();
    void onDiscoveryReply(const BusMessage& reply);
    void tell(std::function<void(TransportListener&)> event);
    void fail(const Error& error);
    bool deliver(TransportListener& listener);
    void tick();

    const BluezOptions mOptions;
    const double mStart;  // of the machine's clock
    std::unique_ptr<Bus> mBus;
    Air mAir;
    std::string mOwner;  // of BlueZ's name; "" while it does not run
    bool mHasObjects = false;
    Error mObjectsError;
    BusSlot mObjectsCall, mSignals, mOwnerChanges;

    std::map<std::string, Adapter> mAdapters;  // by path
    std::string mAdapter;                      // path of the one in use; "" while there is none
    CallOwner mAdapterUse;
    Discovery mDiscovery = Discovery::Off;
    double mDiscoveryRetryAt = 0;
    bool mIsDiscoveryFailureTold = false;
    bool mWantsScan = false;

    std::map<RobotRef, std::unique_ptr<Robot>> mRobots;
    std::map<std::string, RobotRef> mByAddress, mByPath;
    RobotRef mLastRef = 0;
};

}  // namespace Host::Bluez
