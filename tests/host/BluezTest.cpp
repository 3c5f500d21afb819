// The radio over BlueZ where all goes well, and where it is busy.
#include "Host/BluezDevice.h"
#include "host/BluezProgram.h"
#include "Host/Hub.h"

namespace {

using namespace Host;
using namespace support;

Bytes record(uint8_t state, uint8_t family)
{
    Bytes bytes(26, 0x55);
    bytes[0] = state;
    bytes[1] = family;
    return bytes;
}

// Records as BlueZ has them: the rest of each by what it takes for a company.
BytesByCompany split(std::initializer_list<Bytes> records)
{
    BytesByCompany all;
    for (const Bytes& each : records) {
        all.push_back(byCompany(each)[0]);
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
        {"the state that has other bytes than before", split({idle, busy}), split({record(3, 2), busy}), busy, idle},
        {"nothing has changed: what it was", split({idle, busy}), split({idle, busy}), idle, idle},
        {"what is no robot's does not win by being new", split({idle, phone}), split({idle}), idle, idle},
        {"26 bytes by themselves are the record", {{0xFFFF, busy}}, {}, {}, busy},
        {"nobody's robot: what is there", split({phone}), {}, {}, phone},
        {"a family that there is not", split({record(3, 4), record(3, 5)}), {}, {}, record(3, 4)},
        {"without a rest", {{0x0103, {}}}, {}, {}, {0x03, 0x01}},
        {"longer than an advertisement can be", {{0x0103, Bytes(300, 1)}}, {}, {}, {}},
        {"nothing", {}, split({idle}), idle, {}},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(Bluez::pickManufacturerData(each.now, each.before, each.last), each.picked) << each.what;
    }
}

TEST_F(BluezTest, FromTheFirstSightToTheGoodbye)
{
    const struct {
        bool tellsConnected, resolvesFirst;
    } kWays[] = {{true, false}, {false, false}, {false, true}};
    for (const auto& way : kWays) {
        begin();
        daemon->run([&] {
            daemon->ways.tellsConnected = way.tellsConnected;
            daemon->ways.resolvesFirst = way.resolvesFirst;
        });
        ASSERT_TRUE(program->isReady()) << program->failure;
        const Advertisement seen = program->seen[1];
        EXPECT_EQ(seen.id, "DE:CA:00:00:00:01");
        EXPECT_EQ(seen.name, robot().body->localName());
        EXPECT_EQ(seen.data, robot().body->manufacturerData());
        EXPECT_TRUE(seen.hasService && seen.hasRssi && seen.rssi == -50);
        EXPECT_EQ(program->characteristics.size(), robot().body->characteristics().size());
        EXPECT_EQ(program->characteristics[0].service, Simulator::VirtualRobot::service());
        EXPECT_TRUE(program->until([&] { return program->notifications > 5; }));

        EXPECT_TRUE(program->write() && program->write(1, true) && program->write());
        EXPECT_TRUE(program->until([&] { return program->written == 3; }));
        daemon->run([&] {
            EXPECT_EQ(robot().written, std::vector<Bytes>(3, Bytes(std::begin(kWheels), std::end(kWheels))));
            EXPECT_TRUE(find<bool>(daemon->filter, "DuplicateData") && *find<bool>(daemon->filter, "DuplicateData"));
            EXPECT_EQ(*find<std::string>(daemon->filter, "Transport"), "le");
        });
        program->transport->scan(false);
        program->transport->disconnect(1);
        EXPECT_EQ(program->nextEnd(), "");
        EXPECT_FALSE(program->write());
        EXPECT_TRUE(reaches([&] { return !robot().isConnected && !daemon->isDiscovering; }));
    }
}

TEST_F(BluezTest, ASessionDrivesARobotAndLeavesIt)
{
    begin();
    auto hub = std::make_unique<Hub>(*program->transport);
    RobotSession& session = hub->open(robot().body->localName(), {}, nullptr);
    EXPECT_TRUE(hub->runUntil([&] { return session.isReady(); }, 10));
    EXPECT_FALSE(session.send(R"({"211":{"left_cm_s":10,"right_cm_s":10}})"));
    const auto holds = [&](const std::function<bool()>& isSo) {
        bool is = false;
        daemon->run([&] { is = isSo(); });
        return is;
    };
    EXPECT_TRUE(hub->runUntil([&] { return holds([&] { return robot().body->state().leftTravel > 0; }); }, 10));
    hub.reset();
    program = std::make_unique<Program>();
    EXPECT_TRUE(reaches([&] { return !robot().isConnected; })) << "BlueZ would stay";
}

TEST_F(BluezTest, KeepsTheAdvertisedNameAndTheLatestRecord)
{
    begin();
    ASSERT_TRUE(program->isReady());
    program->transport->disconnect(1);
    EXPECT_EQ(program->nextEnd(), "");
    const Bytes next = record(0x83, 1);
    daemon->run([&] { robot().advertised["ManufacturerData"] = split({robot().body->manufacturerData(), next}); });
    EXPECT_TRUE(program->until([&] { return program->seen[1].data == next; }));
    EXPECT_EQ(program->seen[1].name, robot().body->localName());
}

TEST_F(BluezTest, FindsARobotAgainThatBlueZHasForgotten)
{
    begin();
    ASSERT_TRUE(program->sees(1));
    program->transport->scan(false);
    EXPECT_TRUE(reaches([&] { return !daemon->isDiscovering; }));
    daemon->run([&] { daemon->tree().remove(robot().path); });
    program->wait(0.1);
    const size_t before = program->advertisements;
    program->transport->connect(1);
    EXPECT_TRUE(program->until([&] { return program->ready.count(1) > 0; }));
    EXPECT_EQ(program->advertisements, before) << "nobody asked for them";
    EXPECT_TRUE(reaches([&] { return !daemon->isDiscovering; }));
}

TEST_F(BluezTest, ManyRobotsKeepWithinWhatTheBusAllows)
{
    constexpr size_t kRobots = 8;
    begin(kRobots);
    for (RobotRef ref = 1; ref <= kRobots; ++ref) {
        ASSERT_TRUE(program->isReady(ref)) << program->failure;
    }
    daemon->run([&] { daemon->ways.holdsWrites = true; });
    for (RobotRef ref = 1; ref <= kRobots; ++ref) {
        for (size_t i = 0; i < program->transport->writeWindow(); ++i) {
            EXPECT_TRUE(program->write(ref));
        }
    }
    program->wait(0.3);
    daemon->run([&] {
        EXPECT_LE(daemon->ways.mostHeld, 100u);
        daemon->releaseWrites();
    });
    EXPECT_TRUE(program->until([&] { return program->written == kRobots * program->transport->writeWindow(); }));
    EXPECT_EQ(program->failure, "");
}

}  // namespace
