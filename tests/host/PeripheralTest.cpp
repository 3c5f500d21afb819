// A virtual robot as the program that BlueZ asks: its service, its advertisement, and how either ends.
#include <chrono>
#include <thread>

#include "Host/BluezAdvertiser.h"
#include "Host/BluezNames.h"
#include "Host/BluezPeripheral.h"
#include "host/BluezProgram.h"
#include "support/Support.h"

namespace {

using namespace Host;
using namespace support;

constexpr char kAdapterPath[] = "/org/bluez/hci0", kHostPath[] = "/org/bluez/hci0/dev_DE_CA_00_00_00_09";
constexpr char kWritten[] = "AF230002-879D-6186-1F49-DECA0E85D9C1", kHeard[] = "AF230003-879D-6186-1F49-DECA0E85D9C1";

// What becomes of a robot on the air, a line each.
class Robot final : public PeripheralListener {
public:
    explicit Robot(PeripheralOptions options = {})
    {
        options.service = "AF237777-879D-6186-1F49-DECA0E85D9C1";
        options.channels = {{kWritten, true, false}, {kHeard, false, true}};
        options.advertising = PeripheralOptions::Advertising::Daemon;
        options.rfkillFolder = "/nowhere";
        peripheral = BluezPeripheral::create(options, error);
    }
    std::string next()
    {
        for (int i = 0; i < 500 && lines.empty(); ++i) {
            peripheral->process(*this);
            std::this_thread::sleep_for(std::chrono::milliseconds(lines.empty() ? 10 : 0));
        }
        const std::string line = lines.empty() ? "nothing" : lines.front();
        lines.erase(lines.begin(), lines.begin() + (lines.empty() ? 0 : 1));
        return line;
    }
    // Lets the daemon ask, until it says that it has what it wants.
    bool until(FakeBluetoothd& daemon, const std::function<bool()>& isSo)
    {
        bool is = false;
        for (int i = 0; i < 500 && !is; ++i) {
            peripheral->process(*this);
            daemon.run([&] { is = isSo(); });
            std::this_thread::sleep_for(std::chrono::milliseconds(is ? 0 : 10));
        }
        return is;
    }

    void onConnected(const std::string& address) override
    {
        lines.push_back("connected " + address);
    }
    void onDisconnected(const std::string& address) override
    {
        lines.push_back("disconnected " + address);
    }
    void onSubscribed(const std::string& channel, bool isSubscribed) override
    {
        lines.push_back((isSubscribed ? "hears " : "leaves ") + channel.substr(0, 8));
    }
    void onWritten(const std::string& channel, const uint8_t* data, size_t length) override
    {
        lines.push_back("written " + channel.substr(0, 8) + " " + std::to_string(length) + " " +
                        std::to_string(length > 0 ? data[0] : 0));
    }
    void onAdvertised(const Error&) override
    {
        lines.push_back("advertised");
    }
    void onFailed(const Error& reason) override
    {
        lines.push_back(inWords(reason));
    }

    Error error;
    std::unique_ptr<BluezPeripheral> peripheral;
    std::vector<std::string> lines;
};

class PeripheralTest : public BluezTest {
protected:
    // A daemon that takes services and advertisements.
    void begin()
    {
        daemon = std::make_unique<FakeBluetoothd>();
        daemon->run([&] {
            BusInterface manager, advertising;
            manager.methods["RegisterApplication"] = [this](BusMessage& call) { take(call, objects); };
            advertising.methods["RegisterAdvertisement"] = [this](BusMessage& call) { take(call, advertisement); };
            daemon->tree().add(kAdapterPath,
                               {{"org.bluez.GattManager1", manager}, {"org.bluez.LEAdvertisingManager1", advertising}});
            BusInterface host;
            host.properties = {{"Connected", false}};
            host.methods["Disconnect"] = [this](BusMessage& call) {
                wasSentAway = true;
                daemon->bus().reply(call);
            };
            daemon->tree().add(kHostPath, {{Bluez::kDevice, host}});
            changes = daemon->bus().match("type='signal',member='PropertiesChanged'", [this](BusMessage& signal) {
                std::string interface;
                BusProperties changed;
                if (signal.path().compare(0, 6, "/zkhal") == 0 && signal.read(interface) && signal.read(changed)) {
                    changed.swap(lastChange);
                }
            });
        });
    }
    // Asks back before it answers, as BlueZ does.
    void take(BusMessage& call, BusObjects& taken)
    {
        if (refusal) {
            daemon->bus().replyError(call, refusal.name.c_str(), refusal.text);
            return;
        }
        ObjectPath root;
        call.read(root);
        robot = call.sender();
        asking = daemon->bus().call(daemon->bus().newCall(robot, root.path, Bluez::kObjectManager, "GetManagedObjects"),
                                    [this, &taken, call](BusMessage& reply) {
                                        reply.read(taken);
                                        daemon->bus().reply(call);
                                    });
    }
    std::string pathOf(const std::string& uuid)
    {
        for (const auto& [path, interfaces] : objects) {
            const auto found = interfaces.find(Bluez::kCharacteristic);
            if (found != interfaces.end() && *find<std::string>(found->second, "UUID") == uuid) {
                return path;
            }
        }
        return "/none";
    }
    // "" when it is done, else the name of the error; asked by BlueZ or by somebody else.
    std::string ask(Robot& asked, BusMessage call, Bus& asker)
    {
        std::string answer = "none";
        const BusSlot slot = asker.call(call, [&](BusMessage& reply) { answer = reply.error().name; });
        for (int i = 0; i < 500 && answer == "none"; ++i) {
            asked.peripheral->process(asked);
            asker.process();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return answer;
    }
    void askAsDaemon(const std::string& channel, const char* method, const Bytes* value = nullptr,
                     const BusProperties& options = {})
    {
        daemon->run([&] {
            BusMessage call = daemon->bus().newCall(robot, pathOf(channel), Bluez::kCharacteristic, method);
            if (value != nullptr) {
                call.append(BusValue(*value)).append(options);
            }
            asking = daemon->bus().call(call, [this](BusMessage& reply) { lastAnswer = reply.error().name; });
        });
    }

    BusObjects objects, advertisement;
    BusProperties lastChange;
    BusError refusal;
    BusSlot asking, changes;
    std::string robot, lastAnswer = "none";
    bool wasSentAway = false;
};

TEST_F(PeripheralTest, FromTheAirToTheGoodbye)
{
    begin();
    Robot robotOnAir;
    ASSERT_TRUE(robotOnAir.peripheral) << inWords(robotOnAir.error);
    EXPECT_EQ(robotOnAir.peripheral->address(), "AA:AA:AA:AA:AA:00");
    daemon->run([&] {
        ASSERT_EQ(objects.size(), 3u);
        const BusProperties written = objects[pathOf(kWritten)][Bluez::kCharacteristic];
        EXPECT_EQ(*find<std::vector<std::string>>(written, "Flags"),
                  (std::vector<std::string>{"write", "write-without-response"}));
        EXPECT_EQ(objects.count(find<ObjectPath>(written, "Service")->path), 1u);
        EXPECT_EQ(*find<std::vector<std::string>>(objects[pathOf(kHeard)][Bluez::kCharacteristic], "Flags"),
                  std::vector<std::string>{"notify"});
    });

    Bytes record(26, 7);
    robotOnAir.peripheral->advertise(record, "Orvik");
    EXPECT_EQ(robotOnAir.next(), "advertised");
    daemon->run([&] {
        const BusProperties shown = advertisement.begin()->second["org.bluez.LEAdvertisement1"];
        EXPECT_EQ(*find<BytesByCompany>(shown, "ManufacturerData"), byCompany(record));
        EXPECT_EQ(*find<std::string>(shown, "LocalName"), "Orvik");
    });

    const Bytes packet = {9, 8, 7};
    const ObjectPath host = {kHostPath};
    askAsDaemon(kHeard, "StartNotify");
    EXPECT_EQ(robotOnAir.next(), "hears AF230003");
    askAsDaemon(kWritten, "WriteValue", &packet, {{"device", host}, {"prepare-authorize", true}});
    EXPECT_EQ(robotOnAir.next(), "connected DE:CA:00:00:00:09") << "though BlueZ has never said so";
    askAsDaemon(kWritten, "WriteValue", &packet, {{"device", host}, {"offset", uint16_t{2}}});
    EXPECT_TRUE(robotOnAir.until(*daemon, [&] { return lastAnswer == "org.bluez.Error.InvalidOffset"; }));
    askAsDaemon(kWritten, "WriteValue", &packet, {{"device", host}});
    EXPECT_EQ(robotOnAir.next(), "written AF230002 3 9") << "once";

    robotOnAir.peripheral->notify(kWritten, packet.data(), packet.size());
    robotOnAir.peripheral->notify(kHeard, packet.data(), packet.size());
    EXPECT_TRUE(robotOnAir.until(*daemon, [&] { return find<Bytes>(lastChange, "Value") != nullptr; }));
    EXPECT_EQ(*find<Bytes>(lastChange, "Value"), packet);

    // What changes while somebody is connected goes out when he has left.
    record[0] = 0x83;
    robotOnAir.peripheral->advertise(record, "Orvik");
    daemon->run([&] {
        daemon->tree().change(kHostPath, Bluez::kDevice, {{"Connected", true}});
        daemon->tree().change(kHostPath, Bluez::kDevice, {{"Connected", false}});
    });
    EXPECT_EQ(robotOnAir.next(), "disconnected DE:CA:00:00:00:09");
    EXPECT_TRUE(robotOnAir.until(*daemon, [&] { return find<BytesByCompany>(lastChange, "ManufacturerData"); }));
    EXPECT_EQ(*find<BytesByCompany>(lastChange, "ManufacturerData"), byCompany(record));

    askAsDaemon(kHeard, "StopNotify");
    EXPECT_EQ(robotOnAir.next(), "leaves AF230003");
    askAsDaemon(kWritten, "WriteValue", &packet, {{"device", host}});
    EXPECT_EQ(robotOnAir.next(), "connected DE:CA:00:00:00:09");
    robotOnAir.peripheral.reset();
    bool isAway = false;
    for (int i = 0; i < 500 && !isAway; ++i) {
        daemon->run([&] { isAway = wasSentAway; });
        std::this_thread::sleep_for(std::chrono::milliseconds(isAway ? 0 : 10));
    }
    EXPECT_TRUE(isAway);
}

TEST_F(PeripheralTest, OnlyBlueZMayWrite)
{
    begin();
    Robot robotOnAir;
    ASSERT_TRUE(robotOnAir.peripheral);
    Error error;
    const std::unique_ptr<Bus> stranger = Bus::openSystem(error);
    ASSERT_TRUE(stranger);
    std::string path;
    daemon->run([&] { path = pathOf(kWritten); });
    BusMessage call = stranger->newCall(robot, path, Bluez::kCharacteristic, "WriteValue");
    call.append(BusValue(Bytes{1})).append(BusProperties());
    EXPECT_EQ(ask(robotOnAir, call, *stranger), "org.freedesktop.DBus.Error.AccessDenied");
    EXPECT_TRUE(robotOnAir.lines.empty());
}

TEST_F(PeripheralTest, WhatIsRefusedIsToldInWords)
{
    EXPECT_EQ(Robot().error.code, ErrorCode::NoDaemon);
    begin();
    const struct {
        const char* what;
        const char* adapter;
        BusError refusal;
        const char* words;
    } kStarts[] = {
        {"no such adapter", "hci7", {}, "there is no Bluetooth adapter hci7 (there is: hci0)"},
        {"refused",
         "",
         {"org.bluez.Error.AlreadyExists", "Already\x1b[2J"},
         "BlueZ does not take the robot's service: Already?[2J"},
    };
    for (const auto& each : kStarts) {
        daemon->run([&] { refusal = each.refusal; });
        PeripheralOptions options;
        options.adapter = each.adapter;
        const Robot refused(options);
        EXPECT_FALSE(refused.peripheral) << each.what;
        EXPECT_EQ(inWords(refused.error), each.words);
    }
    daemon->run([&] {
        refusal = {};
        daemon->tree().change(kAdapterPath, Bluez::kAdapter, {{"Powered", false}});
    });
    EXPECT_EQ(Robot().error.code, ErrorCode::AdapterOff);
}

TEST_F(PeripheralTest, WhatEndsItIsToldInWords)
{
    const struct {
        const char* words;
        std::function<void()> happens;
    } kEnds[] = {
        {"the advertisement is refused: too long",
         [&] { daemon->run([&] {
                   refusal = {"org.bluez.Error.InvalidLength", "too long"};
               }); }},
        {"the Bluetooth adapter hci0 is off (bluetoothctl power on)",
         [&] { daemon->run([&] {
                   daemon->tree().change(kAdapterPath, Bluez::kAdapter, {{"Powered", false}});
               }); }},
        {"the Bluetooth adapter hci0 is gone (plug it in again)",
         [&] { daemon->run([&] { daemon->tree().remove(kAdapterPath); }); }},
        {"the Bluetooth service has stopped (systemctl start bluetooth)", [&] { daemon.reset(); }},
    };
    for (const auto& each : kEnds) {
        daemon.reset();
        refusal = {};
        begin();
        Robot robotOnAir;
        ASSERT_TRUE(robotOnAir.peripheral) << each.words;
        each.happens();
        robotOnAir.peripheral->advertise(Bytes(26, 7), "Orvik");
        std::string line = robotOnAir.next();
        line = line == "advertised" ? robotOnAir.next() : line;
        EXPECT_EQ(line, each.words);
    }
}

std::string hexOf(const Bytes& bytes)
{
    return hex(bytes.data(), bytes.size());
}

TEST(AdvertisingBytes, FillBothPacketsAndNoMore)
{
    const char* const service = "AF237777-879D-6186-1F49-DECA0E85D9C1";
    EXPECT_EQ(hexOf(Bluez::advertisingBytes({0x03, 0x01, 0x55})), "02 01 06 04 FF 03 01 55");
    EXPECT_EQ(Bluez::advertisingBytes(Bytes(26, 1)).size(), 31u);
    EXPECT_TRUE(Bluez::advertisingBytes(Bytes(27, 1)).empty());
    EXPECT_EQ(hexOf(Bluez::scanResponseBytes(service, "Or")),
              "11 07 C1 D9 85 0E CA DE 49 1F 86 61 9D 87 77 77 23 AF 03 09 4F 72");
    EXPECT_EQ(Bluez::scanResponseBytes(service, "eleven char").size(), 31u);
    EXPECT_TRUE(Bluez::scanResponseBytes(service, "twelve chars").empty());
    for (const char* const none : {"", "AF237777", "AF237777-879D-6186-1F49-DECA0E85D9G1", "-"}) {
        EXPECT_TRUE(Bluez::scanResponseBytes(none, "Or").empty()) << none;
    }
}

}  // namespace
