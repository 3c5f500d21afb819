// A program that uses BlueZ, on a bus of the tests' own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Host/BluezTransport.h"
#include "host/FakeBluetoothd.h"
#include "host/PrivateBus.h"

namespace support {

constexpr char kSensors[] = "af230003-879d-6186-1f49-deca0e85d9c1";
constexpr char kCommands[] = "AF230002-879D-6186-1F49-DECA0E85D9C1";
constexpr uint8_t kWheels[] = {0x01, 0x01, 0x2C, 0x01, 0x2C};

/** Goes all the way with the robots that it wants, and notes what becomes of it. */
class Program final : public Host::TransportListener {
public:
    explicit Program(const Host::BluezOptions& options = {}) : transport(Host::makeBluezTransport(options, error)) {}

    bool until(const std::function<bool()>& isReached, double seconds = 10)
    {
        const double end = transport->seconds() + seconds;
        while (!isReached() && transport->seconds() < end) {
            transport->poll(0.05, *this);
        }
        return isReached();
    }
    void wait(double seconds)
    {
        until([] { return false; }, seconds);
    }
    bool sees(Host::RobotRef robot)
    {
        transport->scan(true);
        return until([&] { return seen.count(robot) > 0; });
    }
    /** Seen, connected, discovered and subscribed. False, and failure says why not. */
    bool isReady(Host::RobotRef robot = 1)
    {
        failure.clear();
        sees(robot);
        if (failure.empty()) {
            transport->connect(robot);
        }
        return until([&] { return ready.count(robot) > 0 || !failure.empty(); }) && failure.empty();
    }
    /** The next failure or loss; "" for a goodbye. */
    std::string nextEnd()
    {
        if (!until([&] { return !ends.empty(); })) {
            return "nothing is told";
        }
        const std::string end = ends.front();
        ends.erase(ends.begin());
        return end;
    }
    bool write(Host::RobotRef robot = 1, bool withResponse = false)
    {
        return transport->write(robot, kCommands, kWheels, sizeof kWheels, withResponse);
    }

    void onAdvertisement(const Host::Advertisement& advertisement) override
    {
        seen[advertisement.robot] = advertisement;
        ++advertisements;
    }
    void onConnected(Host::RobotRef robot) override
    {
        transport->discover(robot);
    }
    void onDiscovered(Host::RobotRef robot, const std::vector<Host::Characteristic>& list) override
    {
        characteristics = list;
        transport->subscribe(robot, kSensors);
    }
    void onSubscribed(Host::RobotRef robot, const char* channel) override
    {
        EXPECT_EQ(Host::canonicalUuid(kSensors), channel);
        ready.insert(robot);
    }
    void onNotification(Host::RobotRef, const char* channel, const uint8_t*, size_t length) override
    {
        EXPECT_EQ(Host::canonicalUuid(kSensors), channel);
        EXPECT_LE(length, 20u);
        ++notifications;
    }
    void onWritten(Host::RobotRef) override
    {
        ++written;
    }
    void onLost(Host::RobotRef robot, const Host::Error& reason) override
    {
        ready.erase(robot);
        lostWith = reason.code;
        onFailed(reason);
    }
    void onFailed(const Host::Error& reason) override
    {
        failure = inWords(reason);
        ends.push_back(failure);
    }

    Host::Error error;
    std::unique_ptr<Host::Transport> transport;
    std::map<Host::RobotRef, Host::Advertisement> seen;
    std::set<Host::RobotRef> ready;
    std::vector<Host::Characteristic> characteristics;
    size_t advertisements = 0, notifications = 0, written = 0;
    std::string failure;
    std::vector<std::string> ends;
    Host::ErrorCode lostWith = Host::ErrorCode::None;
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
    /** With so many Orviks in reach. */
    void begin(size_t robots = 1, double connectTimeoutSeconds = 5)
    {
        program.reset();
        daemon.reset();
        daemon = std::make_unique<FakeBluetoothd>();
        daemon->run([&] {
            for (size_t i = 0; i < robots; ++i) {
                daemon->addRobot(1001, i + 1);
            }
        });
        Host::BluezOptions options;
        options.rfkillFolder = "/nowhere";
        options.connectTimeoutSeconds = connectTimeoutSeconds;
        program = std::make_unique<Program>(options);
        ASSERT_TRUE(program->transport) << inWords(program->error);
    }
    /** Waits until this holds on the daemon's side. */
    bool reaches(const std::function<bool()>& isReached)
    {
        return program->until([&] {
            bool is = false;
            daemon->run([&] { is = isReached(); });
            return is;
        });
    }
    FakeBluetoothd::Robot& robot()
    {
        return *daemon->robots[0];
    }

    PrivateBus bus;
    std::unique_ptr<FakeBluetoothd> daemon;
    std::unique_ptr<Program> program;
};

}  // namespace support
