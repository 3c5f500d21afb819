// The radio over BlueZ where something goes wrong.
#include <filesystem>
#include <fstream>

#include "Host/BluezNames.h"
#include "host/BluezProgram.h"

namespace {

using namespace Host;
using namespace support;

TEST_F(BluezTest, RefusalsAreToldInWords)
{
    const struct {
        const char* method;
        BusError refusal;
        ErrorCode lostWith;
        const char* words;
    } kCases[] = {
        {"StartDiscovery",
         {"org.bluez.Error.NotReady"},
         ErrorCode::None,
         "the Bluetooth adapter hci0 is off (bluetoothctl power on)"},
        {"StartDiscovery",
         {"org.bluez.Error.Blocked"},
         ErrorCode::None,
         "Bluetooth is blocked (rfkill unblock bluetooth)"},
        {"StartDiscovery", {"org.bluez.Error.Failed", "bad\x1b[2J\n"}, ErrorCode::None, "scanning failed: bad?[2J?"},
        {"Connect",
         {"org.freedesktop.DBus.Error.AccessDenied"},
         ErrorCode::NotPermitted,
         "this user may not use Bluetooth (sudo adduser $USER bluetooth, then log in again)"},
        {"Connect",
         {"org.bluez.Error.Failed", "le-connection-abort-by-local"},
         ErrorCode::OutOfReach,
         "the robot does not answer: le-connection-abort-by-local (is it on, near, and not connected elsewhere?)"},
        {"StartNotify", {"org.bluez.Error.Failed"}, ErrorCode::Lost, "subscribing failed: org.bluez.Error.Failed"},
        {"WriteValue", {"org.bluez.Error.InvalidValueLength", "too long"}, ErrorCode::None, "writing failed: too long"},
        {"WriteValue", {"org.bluez.Error.Failed", "Not connected"}, ErrorCode::Lost, "the connection is lost"},
    };
    for (const auto& each : kCases) {
        begin();
        daemon->run([&] { daemon->ways.failures[each.method] = each.refusal; });
        program->transport->scan(true);
        program->until([&] { return program->seen.count(1) > 0 || !program->failure.empty(); });
        if (program->failure.empty() && program->isReady()) {
            EXPECT_TRUE(program->write());
        }
        EXPECT_EQ(program->nextEnd(), each.words);
        EXPECT_EQ(program->lostWith, each.lostWith) << each.words;
    }
}

TEST_F(BluezTest, TriesAgainWhereThatHelps)
{
    begin();
    daemon->run([&] {
        for (const char* const method : {"Connect", "StartDiscovery"}) {
            daemon->ways.failures[method] = {"org.bluez.Error.InProgress", "Operation already in progress"};
            daemon->ways.failsOnce.insert(method);
        }
    });
    EXPECT_TRUE(program->isReady()) << program->failure;
}

TEST_F(BluezTest, WithoutAnswersTimesOut)
{
    begin(1, 0.3);
    daemon->run([&] { daemon->ways.silent = {"Connect"}; });
    ASSERT_FALSE(program->isReady());
    EXPECT_EQ(program->nextEnd(), "the robot does not answer (is it on, near, and not connected elsewhere?)");

    // BlueZ has forgotten it, and it does not come back.
    daemon->run([&] {
        robot().isInReach = false;
        daemon->tree().remove(robot().path);
    });
    program->wait(0.1);
    program->transport->connect(1);
    EXPECT_EQ(program->nextEnd(), "the robot is not in reach (is it on, near, and not connected elsewhere?)");
}

TEST_F(BluezTest, LossInTheMiddleOfAWriteIsToldOnce)
{
    begin();
    ASSERT_TRUE(program->isReady());
    const size_t window = program->transport->writeWindow();
    daemon->run([&] { daemon->ways.holdsWrites = true; });
    for (size_t i = 0; i < window; ++i) {
        EXPECT_TRUE(program->write());
    }
    EXPECT_FALSE(program->write());
    EXPECT_TRUE(reaches([&] { return daemon->ways.mostHeld == window; }));
    daemon->run([&] { daemon->loseRobot(robot()); });
    EXPECT_EQ(program->nextEnd(), "the connection is lost");
    program->wait(0.1);
    EXPECT_TRUE(program->written == 0 && program->ends.empty());

    daemon->run([&] { daemon->ways = {}; });
    EXPECT_TRUE(program->isReady() && program->write()) << program->failure;
    EXPECT_TRUE(program->until([&] { return program->written == 1; }));
}

TEST_F(BluezTest, AdapterAndDaemonMayGoAndComeBack)
{
    constexpr char kPath[] = "/org/bluez/hci0";
    const auto power = [&](bool isOn) { daemon->tree().change(kPath, Bluez::kAdapter, {{"Powered", isOn}}); };
    const auto restart = [&] {
        daemon.reset();
        daemon = std::make_unique<FakeBluetoothd>();
        daemon->run([&] { daemon->addRobot(1001, 1); });
    };
    const struct {
        const char* words;
        std::function<void()> goes, comes;
    } kCases[] = {
        {"the Bluetooth adapter hci0 is off (bluetoothctl power on)", [&] { daemon->run([&] { power(false); }); },
         [&] { daemon->run([&] { power(true); }); }},
        {"the Bluetooth adapter hci0 has gone", [&] { daemon->run([&] { daemon->tree().remove(kPath); }); },
         [&] { daemon->run([&] { daemon->addAdapter("hci0", true); }); }},
        {"the Bluetooth service has stopped (systemctl start bluetooth)", [&] { daemon.reset(); }, restart},
    };
    begin();
    for (const auto& each : kCases) {
        ASSERT_TRUE(program->isReady()) << program->failure;
        program->ends.clear();
        each.goes();
        EXPECT_EQ(program->nextEnd(), each.words) << "of the radio";
        EXPECT_EQ(program->nextEnd(), each.words) << "of the connection";
        program->transport->connect(1);
        EXPECT_NE(program->nextEnd(), "");
        if (daemon) {
            daemon->run([&] { daemon->forgetConnections(); });
        }
        each.comes();
        EXPECT_TRUE(reaches([&] { return daemon->isDiscovering; })) << "it goes on scanning";
    }
    ASSERT_TRUE(program->isReady()) << program->failure;
    program->ends.clear();
    bus.stop();
    EXPECT_EQ(program->nextEnd(), "the connection to D-Bus is broken (systemctl status dbus)");
    EXPECT_EQ(program->nextEnd(), "the connection to D-Bus is broken (systemctl status dbus)");
    program->transport->poll(0.1, *program);
    EXPECT_FALSE(program->write());
}

TEST_F(BluezTest, WhatCannotBeUsedIsRefusedWithAHint)
{
    const std::string rfkill = bus.folder() + "/rfkill", entry = rfkill + "/rfkill0/";
    std::filesystem::create_directories(entry);
    std::ofstream(entry + "type") << "bluetooth\n";
    std::ofstream(entry + "name") << "hci0\n";
    const struct {
        std::vector<std::string> adapters;
        const char* wanted;
        const char* blocked;  // softly and hard
        const char* words;    // or what it works with
    } kCases[] = {
        {{"hci0 off", "hci1"}, "", "00", "BlueZ, adapter hci1"},
        {{"hci0", "hci1"}, "aa:aa:aa:aa:aa:01", "00", "BlueZ, adapter hci1"},
        {{"hci0", "hci1"}, "hci7", "00", "there is no Bluetooth adapter hci7 (there is: hci0, hci1)"},
        {{"hci0 off"}, "hci0", "00", "the Bluetooth adapter hci0 is off (bluetoothctl power on)"},
        {{"hci0 off"}, "", "10", "Bluetooth is blocked by rfkill (rfkill unblock bluetooth)"},
        {{"hci0 off"},
         "",
         "11",
         "Bluetooth is switched off by a switch of the machine (turn the switch or key for wireless on)"},
        {{}, "", "00", "this machine has no Bluetooth adapter (plug one in; bluetoothctl list shows those that work)"},
    };
    for (const auto& each : kCases) {
        std::ofstream(entry + "soft") << each.blocked[0] << "\n";
        std::ofstream(entry + "hard") << each.blocked[1] << "\n";
        daemon.reset();
        daemon = std::make_unique<FakeBluetoothd>(each.adapters);
        BluezOptions options;
        options.adapter = each.wanted;
        options.rfkillFolder = rfkill;
        const Program made(options);
        EXPECT_EQ(made.transport ? made.transport->description() : inWords(made.error), each.words);
    }
    daemon.reset();
    EXPECT_EQ(inWords(Program().error),
              "the Bluetooth service is not running (systemctl start bluetooth; Debian package bluez)");
    bus.stop();
    EXPECT_EQ(inWords(Program().error), "there is no system D-Bus on this machine (systemctl start dbus)");
}

TEST_F(BluezTest, WhateverIsSentItGoesOn)
{
    begin();
    const BusValue kValues[] = {true,
                                uint8_t{1},
                                int16_t{-1},
                                uint64_t{1} << 63,
                                0.5,
                                std::string("\x1b[31m"),
                                std::string(100000, 'x'),
                                ObjectPath{"/"},
                                Bytes{},
                                Bytes(100000, 0xFF),
                                std::vector<std::string>(1000, "af237777"),
                                std::vector<ObjectPath>{{"/a"}},
                                BytesByCompany{{0x0103, {}}, {0, Bytes(5000, 0)}}};
    const char* const kProperties[] = {"Address",          "Name", "RSSI",    "UUIDs", "ManufacturerData", "Connected",
                                       "ServicesResolved", "UUID", "Service", "Value", "Powered"};
    ASSERT_TRUE(program->sees(1));
    daemon->run([&] {
        BusTree& tree = daemon->tree();
        const std::string paths[] = {"/org/bluez/hci1", "/org/bluez/hci0/dev_x", robot().path + "/service0001/char0009",
                                     "/elsewhere"};
        for (const BusValue& value : kValues) {
            BusInterface interface;
            for (const char* const property : kProperties) {
                interface.properties[property] = value;
            }
            for (const std::string& path : paths) {
                for (const char* const name : {Bluez::kAdapter, Bluez::kDevice, Bluez::kGattService,
                                               Bluez::kCharacteristic, "org.bluez.Other1"}) {
                    tree.add(path, {{name, interface}});
                    tree.change(path, name, interface.properties);
                }
                tree.remove(path);
            }
        }
        // Signals that are no such signals.
        BusMessage odd = daemon->bus().newSignal("/", Bluez::kObjectManager, "InterfacesAdded");
        daemon->bus().send(odd.append(BusValue(std::string("no path"))));
        daemon->bus().send(daemon->bus().newSignal("/", Bluez::kProperties, "PropertiesChanged"));
        // More devices than are remembered.
        for (unsigned i = 0; i < 1500; ++i) {
            BusInterface phone;
            phone.properties = {{"Address", "11:" + std::to_string(i)}, {"RSSI", int16_t{-90}}};
            tree.add("/org/bluez/hci0/dev_p" + std::to_string(i), {{Bluez::kDevice, phone}});
        }
    });
    EXPECT_TRUE(program->until([&] { return program->seen.size() > 1400; }, 30));
    EXPECT_TRUE(program->isReady()) << "robots are not forgotten for phones: " << program->failure;
}

}  // namespace
