// What BlueZ's daemon shows on the bus, with virtual robots in reach of its adapters.
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Host/Bus.h"
#include "Host/BusTree.h"
#include "Simulator/VirtualRobot.h"

namespace support {

/** Runs on a thread of its own; run() lets a test do something there. */
class FakeBluetoothd {
public:
    struct Robot {
        std::unique_ptr<Simulator::VirtualRobot> body;
        std::string path;
        Host::BusProperties advertised;    // beside its address
        std::string gapName = "Nameless";  // once it is connected
        bool isConnected = false;
        std::map<std::string, std::string> channels = {};  // UUID by path
        std::set<std::string> notifying = {};              // paths
        std::vector<Host::Bytes> written = {};
        bool isInReach = true;
    };
    /** How it behaves; changed in run() only. */
    struct Ways {
        bool tellsConnected = true;
        bool resolvesFirst = false;                           // tells that services are known before it tells them
        std::map<std::string, Host::BusError> failures = {};  // by method
        std::set<std::string> failsOnce = {};                 // methods whose failure is told once
        std::set<std::string> silent = {};                    // methods that are never answered
        bool holdsWrites = false;                             // answered when this is over
        size_t mostHeld = 0;                                  // writes at a time
    };

    /** Adapters as "hci0", or "hci0 off". */
    explicit FakeBluetoothd(const std::vector<std::string>& adapters = {"hci0"});
    ~FakeBluetoothd();
    FakeBluetoothd(const FakeBluetoothd&) = delete;
    FakeBluetoothd& operator=(const FakeBluetoothd&) = delete;

    /** On its thread; waits until it is done. */
    void run(const std::function<void()>& what);

    // To be called in run().
    Robot& addRobot(uint32_t type, uint64_t seed);
    Host::BusTree& tree()
    {
        return *mTree;
    }
    Ways ways;
    std::vector<std::unique_ptr<Robot>> robots;
    Host::BusProperties filter;  // of discovery
    bool isDiscovering = false;
    std::vector<std::string> calls;  // methods, in their order
    void loseRobot(Robot& robot);
    void advertise(Robot& robot);
    void releaseWrites();
    void addAdapter(const std::string& name, bool isPowered);
    /** As when the adapter has gone. */
    void forgetConnections();
    Host::Bus& bus()
    {
        return *mBus;
    }

private:
    void loop();
    void connect(Robot& robot);
    void disconnect(Robot& robot);
    void write(Robot& robot, const std::string& path, Host::BusMessage& call);
    Host::BusInterface::Method method(const char* name, std::function<void(Host::BusMessage& call)> good);

    std::unique_ptr<Host::Bus> mBus;
    std::unique_ptr<Host::BusTree> mTree;
    Host::BusSlot mName;
    std::vector<Host::BusMessage> mHeldWrites;
    std::mutex mMutex;
    std::function<void()> mAsked;  // with mMutex
    std::atomic<bool> mIsDone{false}, mHasName{false};
    int mWake = -1;
    std::thread mThread;
};

/** The dictionary that BlueZ makes of manufacturer data. */
Host::BytesByCompany byCompany(const Host::Bytes& field);

}  // namespace support
