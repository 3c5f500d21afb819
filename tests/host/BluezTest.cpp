#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "Host/BluezDevice.h"
#include "Host/BluezNames.h"
#include "Host/BluezTransport.h"
#include "host/FakeBluetoothd.h"
#include "Host/Hub.h"
#include "host/PrivateBus.h"

namespace {

using namespace Host;
using support::FakeBluetoothd;

constexpr char kSensors[] = "af230003-879d-6186-1f49-deca0e85d9c1";
constexpr char kCommands[] = "AF230002-879D-6186-1F49-DECA0E85D9C1";
constexpr uint8_t kWheels[] = {0x01, 0x01, 0x2C, 0x01, 0x2C};

Bytes record(uint8_t state, uint8_t family, size_t size = 26)
{
    Bytes bytes(size, 0x55);
    bytes[0] = state;
    bytes[1] = family;
    return bytes;
}

// A robot's record as BlueZ has it: the rest of it by what it takes for a company.
BytesByCompany split(std::initializer_list<Bytes> records)
{
    BytesByCompany all;
    for (const Bytes& each : records) {
        all.push_back(support::byCompany(each)[0]);
    }
    return all;
}

TEST(ManufacturerData, IsPickedAsOneRecordAndNeverMixed)
{
    const Bytes idle = record(0x03, 1), busy = record(0x83, 1), phone = {0x4C, 0x00, 0x10, 0x05};
    const struct {
        const char* what;
        BytesByCompany now, before;
        Bytes last, picked;
    } kCases[] = {
        {"one", split({idle}), {}, {}, idle},
        {"a state that is new stands behind", split({idle, busy}), split({idle}), idle, busy},
        {"a state that was met before, with other bytes",
         split({record(0x03, 1, 26), busy}),
         {{0x0103, Bytes(24, 0x44)}, split({busy})[0]},
         busy,
         idle},
        {"nothing has changed: what it was", split({idle, busy}), split({idle, busy}), idle, idle},
        {"what is no robot's does not win by being new", split({idle, phone}), split({idle}), idle, idle},
        {"26 bytes by themselves are the record", {{0xFFFF, busy}}, {}, {}, busy},
        {"nobody's robot: what is there", split({phone}), {}, {}, phone},
        {"a family that there is not", split({record(3, 5), record(3, 4)}), {}, {}, record(3, 4)},
        {"without a rest", {{0x0103, {}}}, {}, {}, {0x03, 0x01}},
        {"longer than an advertisement can be", {{0x0103, Bytes(300, 1)}}, {}, {}, {}},
        {"nothing", {}, split({idle}), idle, {}},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(Bluez::pickManufacturerData(each.now, each.before, each.last), each.picked) << each.what;
    }
}

// A program with a radio, which notes what it is told: "connected 1".
class Program final : public TransportListener {
public:
    explicit Program(BluezOptions options = {}) : transport(makeBluezTransport(options, error)) {}

    bool until(const std::function<bool()>& isReached, double seconds = 10)
    {
        const double end = transport->seconds() + seconds;
        while (!isReached() && transport->seconds() < end) {
            transport->poll(0.05, *this);
        }
        return isReached();
    }
    // Forgets it then, with what came before.
    bool hears(const std::string& words, double seconds = 10)
    {
        const auto at = [&] { return std::find(told.begin(), told.end(), words); };
        const bool isHeard = until([&] { return at() != told.end(); }, seconds);
        std::string all;
        for (const std::string& each : told) {
            all += each + "\n";
        }
        EXPECT_TRUE(isHeard) << words << ", but it was told:\n" << all << failure;
        told.erase(told.begin(), isHeard ? at() + 1 : told.end());
        return isHeard;
    }
    // "" when it was not told of one.
    std::string failureOf(const std::function<void()>& what)
    {
        what();
        until([&] { return !failure.empty(); });
        return std::exchange(failure, "");
    }
    bool isReady(RobotRef robot = 1)
    {
        transport->scan(true);
        const bool isSeen = until([&] { return seen.count(robot) > 0; });
        transport->connect(robot);
        const std::string ref = " " + std::to_string(robot);
        return isSeen && hears("connected" + ref) && (transport->discover(robot), hears("discovered" + ref)) &&
               (transport->subscribe(robot, kSensors), hears("subscribed" + ref));
    }
    bool write(bool withResponse = false)
    {
        return transport->write(1, kCommands, kWheels, sizeof kWheels, withResponse);
    }

    void onAdvertisement(const Advertisement& advertisement) override
    {
        seen[advertisement.robot] = advertisement;
        ++advertisements;
    }
    void onConnected(RobotRef robot) override
    {
        tell("connected", robot);
    }
    void onDiscovered(RobotRef robot, const std::vector<Characteristic>& list) override
    {
        characteristics = list;
        tell("discovered", robot);
    }
    void onSubscribed(RobotRef robot, const char* channel) override
    {
        EXPECT_EQ(canonicalUuid(kSensors), channel);
        tell("subscribed", robot);
    }
    void onNotification(RobotRef, const char* channel, const uint8_t*, size_t length) override
    {
        EXPECT_EQ(canonicalUuid(kSensors), channel);
        EXPECT_LE(length, 20u);
        ++notifications;
    }
    void onWritten(RobotRef) override
    {
        ++written;
    }
    void onLost(RobotRef robot, const Error& reason) override
    {
        failure = inWords(reason);
        lostWith = reason.code;
        tell(reason ? "lost" : "left", robot);
    }
    void onFailed(const Error& reason) override
    {
        failure = inWords(reason);
        told.push_back("failed: " + inWords(reason));
    }
    void tell(const std::string& words, RobotRef robot)
    {
        told.push_back(words + " " + std::to_string(robot));
    }

    Error error;
    std::unique_ptr<Transport> transport;
    std::map<RobotRef, Advertisement> seen;
    size_t advertisements = 0, notifications = 0, written = 0;
    std::vector<Characteristic> characteristics;
    std::vector<std::string> told;
    std::string failure;
    ErrorCode lostWith = ErrorCode::None;
};

class BluezTest : public testing::Test {
protected:
    void SetUp() override
    {
        const char* const ci = std::getenv("CI");
        if (!bus.problem().empty() && ci && std::string(ci) == "true") {
            FAIL() << bus.problem();
        } else if (!bus.problem().empty()) {
            GTEST_SKIP() << bus.problem();
        }
    }
    // With so many Orviks in reach.
    void begin(size_t robots = 1, const std::vector<std::string>& adapters = {"hci0"})
    {
        daemon = std::make_unique<FakeBluetoothd>(adapters);
        daemon->run([&] {
            for (size_t i = 0; i < robots; ++i) {
                daemon->addRobot(1001, i + 1);
            }
        });
        BluezOptions options;
        options.rfkillFolder = "/nowhere";
        options.connectTimeoutSeconds = 5;
        program = std::make_unique<Program>(options);
        ASSERT_TRUE(program->transport) << inWords(program->error);
    }
    void failing(const char* method, const char* error, const char* text = "")
    {
        daemon->run([&] { daemon->ways.failures[method] = {error, text}; });
    }
    bool isScanned(bool isWanted = true)
    {
        return program->until([&] {
            bool isDiscovering = false;
            daemon->run([&] { isDiscovering = daemon->isDiscovering; });
            return isDiscovering == isWanted;
        });
    }
    FakeBluetoothd::Robot& robot(size_t i = 0)
    {
        return *daemon->robots[i];
    }

    support::PrivateBus bus;
    std::unique_ptr<FakeBluetoothd> daemon;
    std::unique_ptr<Program> program;
};

TEST_F(BluezTest, FromTheFirstSightToTheGoodbye)
{
    for (const bool tellsConnected : {true, false}) {
        begin();
        daemon->run([&] { daemon->ways.tellsConnected = tellsConnected; });
        ASSERT_TRUE(program->isReady());
        const Advertisement seen = program->seen[1];
        EXPECT_EQ(seen.id, "DE:CA:00:00:00:01");
        EXPECT_EQ(seen.name, robot().body->localName());
        EXPECT_EQ(seen.data, robot().body->manufacturerData());
        EXPECT_TRUE(seen.hasService && seen.hasRssi && seen.rssi == -50);
        EXPECT_EQ(program->characteristics.size(), robot().body->characteristics().size());
        EXPECT_EQ(program->characteristics[0].service, Simulator::VirtualRobot::service());
        EXPECT_TRUE(program->until([&] { return program->notifications > 5; }));

        EXPECT_TRUE(program->write() && program->write(true) && program->write());
        EXPECT_TRUE(program->until([&] { return program->written == 3; }));
        daemon->run([&] {
            EXPECT_EQ(robot().written, std::vector<Bytes>(3, Bytes(std::begin(kWheels), std::end(kWheels))));
            EXPECT_TRUE(find<bool>(daemon->filter, "DuplicateData") && *find<bool>(daemon->filter, "DuplicateData"));
            EXPECT_EQ(*find<std::string>(daemon->filter, "Transport"), "le");
        });

        program->transport->scan(false);
        program->transport->disconnect(1);
        EXPECT_TRUE(program->hears("left 1"));
        EXPECT_FALSE(program->write());
        daemon->run([&] { EXPECT_FALSE(robot().isConnected || daemon->isDiscovering); });
        program.reset();
        daemon.reset();
    }
}

TEST_F(BluezTest, ASessionDrivesARobotOverIt)
{
    begin();
    {
        Hub hub(*program->transport);
        RobotSession& session = hub.open(robot().body->localName(), {}, nullptr);
        EXPECT_TRUE(hub.runUntil([&] { return session.isReady(); }, 10));
        EXPECT_FALSE(session.send(R"({"211":{"left_cm_s":10,"right_cm_s":10}})"));
        EXPECT_TRUE(hub.runUntil(
            [&] {
                bool isDriving = false;
                daemon->run([&] { isDriving = robot().body->state().leftTravel > 0; });
                return isDriving;
            },
            10));
    }
}

TEST_F(BluezTest, KeepsTheAdvertisedNameAndTheLatestRecord)
{
    begin();
    ASSERT_TRUE(program->isReady());
    program->transport->disconnect(1);
    EXPECT_TRUE(program->hears("left 1"));
    const Bytes next = record(0x83, 1);
    daemon->run([&] {
        BytesByCompany both = support::byCompany(robot().body->manufacturerData());
        both.push_back(support::byCompany(next)[0]);
        robot().advertised["ManufacturerData"] = both;
    });
    EXPECT_TRUE(program->until([&] { return program->seen[1].data == next; }));
    EXPECT_EQ(program->seen[1].name, robot().body->localName());
}

TEST_F(BluezTest, RefusalsAreToldInWords)
{
    struct Refusal {
        const char* method;
        const char* error;
        const char* text;
        ErrorCode code;
        const char* words;
    };
    const Refusal kRefusals[] = {
        {"StartDiscovery", "org.bluez.Error.NotReady", "", ErrorCode::None,
         "the Bluetooth adapter hci0 is off (bluetoothctl power on)"},
        {"StartDiscovery", "org.bluez.Error.Blocked", "", ErrorCode::None,
         "Bluetooth is blocked (rfkill unblock bluetooth)"},
        {"StartDiscovery", "org.bluez.Error.Failed", "bad\x1b[2J\n", ErrorCode::None, "scanning failed: bad?[2J?"},
        {"Connect", "org.freedesktop.DBus.Error.AccessDenied", "", ErrorCode::NotPermitted,
         "this user may not use Bluetooth (sudo adduser $USER bluetooth, then log in again)"},
        {"Connect", "org.bluez.Error.Failed", "le-connection-abort-by-local", ErrorCode::OutOfReach,
         "the robot does not answer: le-connection-abort-by-local (is it on, near, and not connected elsewhere?)"},
        {"StartNotify", "org.bluez.Error.Failed", "", ErrorCode::Lost, "subscribing failed: org.bluez.Error.Failed"},
        {"WriteValue", "org.bluez.Error.InvalidValueLength", "too long", ErrorCode::None, "writing failed: too long"},
        {"WriteValue", "org.bluez.Error.Failed", "Not connected", ErrorCode::Lost, "the connection is lost"},
    };
    for (const Refusal& each : kRefusals) {
        begin();
        failing(each.method, each.error, each.text);
        const std::string words = program->failureOf([&] {
            if (each.method != std::string("WriteValue")) {
                program->transport->scan(true);
                if (each.method != std::string("StartDiscovery")) {
                    program->until([&] { return program->seen.count(1) > 0; });
                    program->transport->connect(1);
                    if (each.method == std::string("StartNotify") && program->hears("connected 1")) {
                        program->transport->discover(1);
                        program->hears("discovered 1");
                        program->transport->subscribe(1, kSensors);
                    }
                }
            } else if (program->isReady()) {
                EXPECT_TRUE(program->write());
            }
        });
        EXPECT_EQ(words, each.words);
        EXPECT_EQ(program->lostWith, each.code) << each.words;
        program.reset();
        daemon.reset();
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
    EXPECT_TRUE(program->isReady());
    EXPECT_EQ(program->failure, "");
}

TEST_F(BluezTest, WithoutAnswersTimesOut)
{
    begin();
    daemon->run([&] { daemon->ways.silent = {"Connect"}; });
    BluezOptions options;
    options.connectTimeoutSeconds = 0.3;
    Program hasty(options);
    ASSERT_TRUE(hasty.transport);
    hasty.transport->scan(true);
    ASSERT_TRUE(hasty.until([&] { return hasty.seen.count(1) > 0; }));
    hasty.transport->connect(1);
    EXPECT_TRUE(hasty.hears("lost 1"));
    EXPECT_EQ(hasty.lostWith, ErrorCode::OutOfReach);

    // BlueZ has forgotten it, and it does not come back.
    daemon->run([&] {
        robot().isInReach = false;
        daemon->tree().remove(robot().path);
    });
    hasty.transport->scan(false);
    hasty.until([] { return false; }, 0.1);
    hasty.transport->connect(1);
    EXPECT_TRUE(hasty.hears("lost 1"));
    EXPECT_EQ(hasty.failure, "the robot is not in reach (is it on, near, and not connected elsewhere?)");
}

TEST_F(BluezTest, FindsARobotAgainThatBlueZHasForgotten)
{
    begin();
    program->transport->scan(true);
    ASSERT_TRUE(program->until([&] { return program->seen.count(1) > 0; }));
    program->transport->scan(false);
    EXPECT_TRUE(isScanned(false));
    daemon->run([&] { daemon->tree().remove(robot().path); });
    program->until([] { return false; }, 0.1);
    const size_t before = program->advertisements;
    program->transport->connect(1);
    EXPECT_TRUE(program->hears("connected 1"));
    EXPECT_EQ(program->advertisements, before);  // nobody asked for them
    program->until([] { return false; }, 0.1);
    daemon->run([&] { EXPECT_FALSE(daemon->isDiscovering); });
}

TEST_F(BluezTest, LossInTheMiddleOfAWriteIsToldOnce)
{
    begin();
    ASSERT_TRUE(program->isReady());
    daemon->run([&] { daemon->ways.holdsWrites = true; });
    for (size_t i = 0; i < program->transport->writeWindow(); ++i) {
        EXPECT_TRUE(program->write());
    }
    EXPECT_FALSE(program->write());
    EXPECT_TRUE(program->until([&] {
        size_t held = 0;
        daemon->run([&] { held = daemon->ways.mostHeld; });
        return held == program->transport->writeWindow();
    }));
    daemon->run([&] { daemon->loseRobot(robot()); });
    EXPECT_TRUE(program->hears("lost 1"));
    EXPECT_EQ(program->failure, "the connection is lost");
    program->until([] { return false; }, 0.1);
    EXPECT_EQ(program->written, 0u);
    EXPECT_TRUE(program->told.empty());

    daemon->run([&] { daemon->ways = {}; });
    EXPECT_TRUE(program->isReady());
    EXPECT_TRUE(program->write());
    EXPECT_TRUE(program->until([&] { return program->written == 1; }));
}

TEST_F(BluezTest, ManyRobotsKeepWithinWhatTheBusAllows)
{
    constexpr size_t kRobots = 8;
    begin(kRobots);
    for (RobotRef ref = 1; ref <= kRobots; ++ref) {
        ASSERT_TRUE(program->isReady(ref));
    }
    daemon->run([&] { daemon->ways.holdsWrites = true; });
    for (RobotRef ref = 1; ref <= kRobots; ++ref) {
        for (size_t i = 0; i < program->transport->writeWindow(); ++i) {
            EXPECT_TRUE(program->transport->write(ref, kCommands, kWheels, sizeof kWheels));
        }
    }
    program->until([] { return false; }, 0.3);
    daemon->run([&] {
        EXPECT_LE(daemon->ways.mostHeld, 100u);
        daemon->releaseWrites();
    });
    EXPECT_TRUE(program->until([&] { return program->written == kRobots * program->transport->writeWindow(); }));
    EXPECT_EQ(program->failure, "");
}

TEST_F(BluezTest, AdapterAndDaemonMayGoAndComeBack)
{
    const struct {
        const char* what;
        const char* words;
        std::function<void()> goes, comes;
    } kCases[] = {
        {"switched off", "failed: the Bluetooth adapter hci0 is off (bluetoothctl power on)",
         [&] {
             daemon->tree().change("/org/bluez/hci0", Bluez::kAdapter, {{"Powered", false}});
         },
         [&] {
             daemon->tree().change("/org/bluez/hci0", Bluez::kAdapter, {{"Powered", true}});
         }},
        {"pulled out", "failed: the Bluetooth adapter hci0 has gone", [&] { daemon->tree().remove("/org/bluez"); },
         [&] { daemon->addAdapter("hci0", true); }},
    };
    begin();
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.what);
        ASSERT_TRUE(program->isReady());
        daemon->run(each.goes);
        EXPECT_TRUE(program->hears(each.words) && program->hears("lost 1"));
        program->transport->connect(1);
        EXPECT_TRUE(program->hears("lost 1"));
        daemon->run([&] {
            daemon->forgetConnections();
            each.comes();
        });
        EXPECT_TRUE(isScanned()) << "it goes on scanning";
    }
    ASSERT_TRUE(program->isReady());
    daemon.reset();
    EXPECT_TRUE(program->hears("failed: the Bluetooth service has stopped (systemctl start bluetooth)"));
    EXPECT_TRUE(program->hears("lost 1"));
    daemon = std::make_unique<FakeBluetoothd>();
    daemon->run([&] { daemon->addRobot(1001, 1); });
    EXPECT_TRUE(isScanned()) << "it finds the new one";
    EXPECT_TRUE(program->isReady());
    bus.stop();
    EXPECT_TRUE(program->hears("failed: the connection to D-Bus is broken (systemctl status dbus)"));
    EXPECT_TRUE(program->hears("lost 1"));
    program->transport->poll(0.1, *program);
    EXPECT_FALSE(program->write());
}

TEST_F(BluezTest, WhatCannotBeUsedIsRefusedWithAHint)
{
    const std::string rfkill = testing::TempDir() + "/zkhal-rfkill";
    std::filesystem::create_directories(rfkill + "/rfkill0");
    const auto block = [&](const char* soft, const char* hard) {
        std::ofstream(rfkill + "/rfkill0/type") << "bluetooth\n";
        std::ofstream(rfkill + "/rfkill0/name") << "hci0\n";
        std::ofstream(rfkill + "/rfkill0/soft") << soft << "\n";
        std::ofstream(rfkill + "/rfkill0/hard") << hard << "\n";
    };
    const struct {
        std::vector<std::string> adapters;
        const char* wanted;
        const char* soft;
        const char* hard;
        const char* words;  // or what it works with
    } kCases[] = {
        {{"hci0 off", "hci1"}, "", "0", "0", "BlueZ, adapter hci1"},
        {{"hci0", "hci1"}, "aa:aa:aa:aa:aa:01", "0", "0", "BlueZ, adapter hci1"},
        {{"hci0", "hci1"}, "hci7", "0", "0", "there is no Bluetooth adapter hci7 (there is: hci0, hci1)"},
        {{"hci0 off"}, "hci0", "0", "0", "the Bluetooth adapter hci0 is off (bluetoothctl power on)"},
        {{"hci0 off"}, "", "1", "0", "Bluetooth is blocked by rfkill (rfkill unblock bluetooth)"},
        {{"hci0 off"},
         "",
         "1",
         "1",
         "Bluetooth is switched off by a switch of the machine (turn the switch or key for wireless on)"},
        {{},
         "",
         "0",
         "0",
         "this machine has no Bluetooth adapter (plug one in; bluetoothctl list shows those that work)"},
    };
    for (const auto& each : kCases) {
        block(each.soft, each.hard);
        daemon = std::make_unique<FakeBluetoothd>(each.adapters);
        BluezOptions options;
        options.adapter = each.wanted;
        options.rfkillFolder = rfkill;
        const Program made(options);
        EXPECT_EQ(made.transport ? made.transport->description() : inWords(made.error), each.words);
        daemon.reset();
    }
    EXPECT_EQ(inWords(Program().error),
              "the Bluetooth service is not running (systemctl start bluetooth; Debian package bluez)");
    bus.stop();
    EXPECT_EQ(inWords(Program().error), "there is no system D-Bus on this machine (systemctl start dbus)");
    std::filesystem::remove_all(rfkill);
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
    program->transport->scan(true);
    program->until([&] { return program->seen.count(1) > 0; });
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
        // More devices than anyone has: each with an address of its own.
        for (unsigned i = 0; i < 1500; ++i) {
            BusInterface phone;
            phone.properties = {{"Address", "11:" + std::to_string(i)}, {"RSSI", int16_t{-90}}};
            tree.add("/org/bluez/hci0/dev_p" + std::to_string(i), {{Bluez::kDevice, phone}});
        }
    });
    EXPECT_TRUE(program->until([&] { return program->seen.size() > 1400; }, 30));
    ASSERT_TRUE(program->isReady()) << "robots are not forgotten for phones";
}

}  // namespace
