#include "host/FakeBluetoothd.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdio>
#include <future>
#include <stdexcept>

#include "Host/BluezNames.h"

namespace support {

using namespace Host;

namespace {

constexpr char kRoot[] = "/org/bluez";
constexpr int kTick_ms = 5;

std::string addressOf(size_t number)
{
    char address[18];
    std::snprintf(address, sizeof address, "DE:CA:00:00:00:%02X", static_cast<unsigned>(number & 0xFF));
    return address;
}

void wake(int descriptor)
{
    const uint64_t one = 1;
    if (write(descriptor, &one, sizeof one) < 0) {
        std::perror("eventfd");
    }
}

}  // namespace

BytesByCompany byCompany(const Bytes& field)
{
    return {{static_cast<uint16_t>(field[0] | field[1] << 8), Bytes(field.begin() + 2, field.end())}};
}

FakeBluetoothd::FakeBluetoothd(const std::vector<std::string>& adapters)
{
    Error error;
    mBus = Bus::openSystem(error);
    if (!mBus) {
        throw std::runtime_error(inWords(error));
    }
    mTree = std::make_unique<BusTree>(*mBus, "/");
    for (const std::string& adapter : adapters) {
        addAdapter(adapter.substr(0, adapter.find(' ')), adapter.find(" off") == std::string::npos);
    }
    BusMessage request =
        mBus->newCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName");
    request.append(BusValue(std::string(Bluez::kService)), BusValue(uint32_t{0}));
    mName = mBus->call(request, [this](BusMessage&) { mHasName = true; });
    mWake = eventfd(0, EFD_NONBLOCK);
    while (!mHasName) {
        if (!mBus->process()) {
            mBus->wait(1);
        }
    }
    mThread = std::thread([this] { loop(); });
}

FakeBluetoothd::~FakeBluetoothd()
{
    mIsDone = true;
    wake(mWake);
    mThread.join();
    close(mWake);
}

void FakeBluetoothd::run(const std::function<void()>& what)
{
    std::promise<void> done;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mAsked = [&] {
            what();
            done.set_value();
        };
    }
    wake(mWake);
    done.get_future().wait();
}

void FakeBluetoothd::loop()
{
    while (!mIsDone) {
        while (mBus->process()) {
        }
        std::function<void()> asked;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            asked.swap(mAsked);
        }
        if (asked) {
            asked();
            continue;
        }
        pollfd waited[] = {mBus->descriptor(), {mWake, POLLIN, 0}};
        if (poll(waited, 2, kTick_ms) > 0) {
            uint64_t count;
            if (read(mWake, &count, sizeof count) < 0) {
                continue;
            }
        }
        for (auto& robot : robots) {
            if (isDiscovering && robot->isInReach && !robot->isConnected) {
                advertise(*robot);
            }
            robot->body->advance(kTick_ms / 1000.0);
            Simulator::Notification notification;
            while (robot->body->nextNotification(notification)) {
                for (const auto& [path, uuid] : robot->channels) {
                    if (uuid == notification.channel && robot->notifying.count(path) > 0) {
                        const char* const data = notification.data.data();
                        const Bytes value(data, data + notification.data.size());
                        mTree->change(path, Bluez::kCharacteristic, {{"Value", value}});
                    }
                }
            }
        }
    }
}

BusInterface::Method FakeBluetoothd::method(const char* name, std::function<void(BusMessage& call)> good)
{
    return [this, name, good](BusMessage& call) {
        calls.emplace_back(name);
        if (ways.silent.count(name) > 0) {
            return;
        }
        const auto failure = ways.failures.find(name);
        if (failure == ways.failures.end()) {
            good(call);
            return;
        }
        mBus->replyError(call, failure->second.name.c_str(), failure->second.text);
        if (ways.failsOnce.count(name) > 0) {
            ways.failures.erase(failure);
        }
    };
}

void FakeBluetoothd::addAdapter(const std::string& name, bool isPowered)
{
    BusInterface adapter;
    adapter.properties = {{"Address", std::string("AA:AA:AA:AA:AA:0") + name.back()}, {"Powered", isPowered}};
    adapter.methods["SetDiscoveryFilter"] = method("SetDiscoveryFilter", [this](BusMessage& call) {
        filter.clear();
        call.read(filter);
        mBus->reply(call);
    });
    adapter.methods["StartDiscovery"] = method("StartDiscovery", [this](BusMessage& call) {
        isDiscovering = true;
        mBus->reply(call);
    });
    adapter.methods["StopDiscovery"] = method("StopDiscovery", [this](BusMessage& call) {
        isDiscovering = false;
        mBus->reply(call);
    });
    mTree->add(std::string(kRoot) + "/" + name, {{Bluez::kAdapter, adapter}});
}

FakeBluetoothd::Robot& FakeBluetoothd::addRobot(uint32_t type, uint64_t seed)
{
    robots.push_back(std::make_unique<Robot>());
    Robot& robot = *robots.back();
    robot.body = Simulator::VirtualRobot::create(type, seed);
    robot.path = std::string(kRoot) + "/hci0/dev_" + std::to_string(robots.size());
    robot.advertised = {{"Address", addressOf(robots.size())},
                        {"Name", robot.body->localName()},
                        {"UUIDs", std::vector<std::string>{"af237777-879d-6186-1f49-deca0e85d9c1"}},
                        {"ManufacturerData", byCompany(robot.body->manufacturerData())},
                        {"RSSI", int16_t{-50}},
                        {"Connected", false},
                        {"ServicesResolved", false}};
    return robot;
}

void FakeBluetoothd::advertise(Robot& robot)
{
    if (mTree->has(robot.path, Bluez::kDevice)) {
        mTree->change(robot.path, Bluez::kDevice, {{"ManufacturerData", robot.advertised["ManufacturerData"]}});
        return;
    }
    BusInterface device;
    device.properties = robot.advertised;
    device.methods["Connect"] = method("Connect", [this, &robot](BusMessage& call) {
        mBus->reply(call);
        connect(robot);
    });
    device.methods["Disconnect"] = method("Disconnect", [this, &robot](BusMessage& call) {
        disconnect(robot);
        mBus->reply(call);
    });
    mTree->add(robot.path, {{Bluez::kDevice, device}});
}

void FakeBluetoothd::connect(Robot& robot)
{
    robot.isConnected = true;
    if (ways.tellsConnected) {
        mTree->change(robot.path, Bluez::kDevice, {{"Connected", true}});
    }
    mTree->change(robot.path, Bluez::kDevice, {{"Name", robot.gapName}});
    if (ways.resolvesFirst) {
        mTree->change(robot.path, Bluez::kDevice, {{"ServicesResolved", true}});
    }
    const std::string service = robot.path + "/service0001";
    mTree->add(service, {{Bluez::kGattService, {{{"UUID", std::string(Simulator::VirtualRobot::service())}}, {}}}});
    for (const char* const uuid : robot.body->characteristics()) {
        const std::string path = service + "/char" + std::to_string(robot.channels.size());
        robot.channels[path] = uuid;
        BusInterface characteristic;
        std::string lower = uuid;
        for (char& c : lower) {
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
        characteristic.properties = {{"UUID", lower}, {"Service", ObjectPath{service}}};
        characteristic.methods["StartNotify"] = method("StartNotify", [this, &robot, path](BusMessage& call) {
            robot.notifying.insert(path);
            mBus->reply(call);
        });
        characteristic.methods["WriteValue"] =
            method("WriteValue", [this, &robot, path](BusMessage& call) { write(robot, path, call); });
        mTree->add(path, {{Bluez::kCharacteristic, characteristic}});
    }
    mTree->change(robot.path, Bluez::kDevice, {{"ServicesResolved", true}});
}

void FakeBluetoothd::disconnect(Robot& robot)
{
    if (!robot.isConnected) {
        return;
    }
    robot.isConnected = false;
    robot.body->handleDisconnect();
    robot.channels.clear();
    robot.notifying.clear();
    mTree->remove(robot.path + "/service0001");
    mTree->change(robot.path, Bluez::kDevice, {{"ServicesResolved", false}});
    mTree->change(robot.path, Bluez::kDevice, {{"Connected", false}});
}

void FakeBluetoothd::loseRobot(Robot& robot)
{
    disconnect(robot);
    for (BusMessage& call : mHeldWrites) {
        mBus->replyError(call, "org.bluez.Error.Failed", "Not connected");
    }
    mHeldWrites.clear();
}

void FakeBluetoothd::forgetConnections()
{
    isDiscovering = false;
    for (auto& robot : robots) {
        disconnect(*robot);
    }
}

void FakeBluetoothd::write(Robot& robot, const std::string& path, BusMessage& call)
{
    Bytes value;
    BusProperties options;
    call.read(value);
    call.read(options);
    const auto* const type = find<std::string>(options, "type");
    if (!type || (*type != "command" && *type != "request")) {
        mBus->replyError(call, "org.bluez.Error.InvalidArguments", "type");
        return;
    }
    robot.written.push_back(value);
    robot.body->write(robot.channels[path].c_str(), value.data(), value.size());
    if (ways.holdsWrites) {
        mHeldWrites.push_back(call);
        ways.mostHeld = std::max(ways.mostHeld, mHeldWrites.size());
        return;
    }
    mBus->reply(call);
}

void FakeBluetoothd::releaseWrites()
{
    ways.holdsWrites = false;
    for (BusMessage& call : mHeldWrites) {
        mBus->reply(call);
    }
    mHeldWrites.clear();
}

}  // namespace support
