// What a robot advertises, the description made of it, the sensor models and the host callbacks.
#include <cmath>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "CppEngine/AdvertisementData.h"
#include "HAL/MessagePacketizers/PacketizerShell.h"
#include "HAL/RobotHardware/Attitude.h"
#include "HAL/RobotHardware/Reflectance.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "support/DeathTests.h"
#include "support/Support.h"

namespace {

using Kestrel::AdvertisementData;
using support::Printed;

std::string bytesOf(const std::string& hex)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 3) {
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

std::string inShort(const AdvertisementData& a)
{
    std::string text = std::to_string(a.robotType) + " mode " + std::to_string(a.robotMode) + " '" + a.name + "' v";
    for (const uint8_t byte : a.version) {
        text += "." + std::to_string(byte);
    }
    text += " battery " + std::to_string(a.batteryLevel) + " charge " + std::to_string(a.chargeMode) + " id " +
            a.uniqueId + " sn '" + a.serialNumber + "' hw " + std::to_string(a.hardwareMinorVersion) + " shell " +
            std::to_string(a.shellColor) + " avatar " + std::to_string(a.avatarId) + " locale " +
            std::to_string(a.localeId) + " flags " + (a.flagA ? "A" : "") + (a.flagB ? "B" : "") +
            (a.isCharging ? "C" : "") + (a.hasBackupImage ? "I" : "");
    return text + " R " + std::to_string(a.updateStatus) + std::to_string(a.wifiStatus) +
           std::to_string(a.batteryVoltage);
}

struct AdvertCase {
    const char* shows;
    const char* hex;
    const char* name;
    const char* description;
    const char* printed;
};

const AdvertCase kAdverts[] = {
    {"an Orvik in application mode", "93 01 00 10 07 03 01 98 1A 02 00 00 A1 0B C3 00 05 20 6F 6E 20 33",
     "Orvik number one",
     "1001 mode 3 'Orvik numbe on 3' v.1.3.7.5.2.3 battery 10 charge 1 id A10BC3 sn '' hw 16 shell 0 avatar 255 "
     "locale 2 flags ABC R 000",
     ""},
    {"an Orvik in its bootloader says little", "01 01 00 10 00 00 00 98 1A", "Orvik",
     "2001 mode 1 'Orvik' v.0.0.0.0.0.0 battery 9999 charge 9999 id 000000 sn '' hw 0 shell 0 avatar 255 locale 0 "
     "flags C R 000",
     ""},
    {"a quiet Quill", "43 03 04 04 00 00 00 0D 0A", "Q",
     "1003 mode 3 'Q' v.0.0.0.0.2.7 battery 20 charge 1 id 000000 sn '' hw 0 shell 4 avatar 4 locale 0 flags  R 000",
     ""},
    {"a Quill of no colour and no avatar", "03 03 05 05 00 00 00 03", "",
     "1003 mode 3 '' v.0.0.0.0.0.0 battery 9999 charge 9999 id 000000 sn '' hw 0 shell 0 avatar 255 locale 0 flags  "
     "R 000",
     ""},
    {"a Pell is full at 24", "03 02 00 00 00 00 00 18", "P",
     "1002 mode 3 'P' v.0.0.0.0.0.0 battery 20 charge 0 id 000000 sn '' hw 0 shell 0 avatar 255 locale 0 flags  R 000",
     ""},
    {"a Rusk", "FB 04 00 00 09 08 07 56 03 41 34 12 2D 31 1A 00 06", "R",
     "1004 mode 3 'R' v.7.8.9.6.0.0 battery 10 charge 1 id RK2624301JTA1234 sn 'RK2624301JTA1234' hw 0 shell 0 "
     "avatar 255 locale 3 flags ACI R 175",
     ""},
    {"a Rusk in its bootloader", "00 04 00 00 00 00 00 03", "R",
     "2004 mode 1 'R' v.0.0.0.0.0.0 battery 9999 charge 9999 id RK0000000JT sn 'RK0000000JT' hw 0 shell 0 avatar 255 "
     "locale 0 flags  R 000",
     ""},
    {"a stranger", "03 C8", "S",
     "1000 mode 3 'S' v.0.0.0.0.0.0 battery 9999 charge 9999 id 000000 sn '' hw 0 shell 0 avatar 255 locale 0 flags  "
     "R 000",
     "message from API: unrecognized robot type: 200\nmessage from API: unrecognized robot type: 200 and mode 3\n"},
};

TEST(DescriptionTest, Advertisements)
{
    Printed printed;
    for (const AdvertCase& c : kAdverts) {
        AdvertisementData advertised;
        const std::string data = bytesOf(c.hex);
        EXPECT_TRUE(advertised.parse(data.data(), data.size(), c.name, std::string(c.name).size())) << c.shows;
        EXPECT_EQ(inShort(advertised), c.description) << c.shows;
        EXPECT_EQ(printed.take(), c.printed) << c.shows;
    }
}

TEST(DescriptionTest, WhatCannotBeReadChangesNothing)
{
    AdvertisementData advertised;
    const std::string long27(27, '\1');
    EXPECT_FALSE(advertised.parse(long27.data(), 27, nullptr, 5));
    EXPECT_EQ(advertised.parseErrorMessage(), "Unexpected dataLength of 27");
    EXPECT_FALSE(advertised.parse(nullptr, 30, nullptr, 0));  // the length is looked at first
    EXPECT_EQ(advertised.parseErrorMessage(), "Unexpected dataLength of 30");
    EXPECT_FALSE(advertised.parse(nullptr, 0, nullptr, 0));
    EXPECT_EQ(advertised.parseErrorMessage(), "dataBytes is NULL");
    EXPECT_EQ(inShort(advertised), inShort(AdvertisementData()));
    // The rest of the name goes behind a name that holds a zero byte, and is cut off with it.
    const std::string data = bytesOf("03 01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 58");
    EXPECT_TRUE(advertised.parse(data.data(), data.size(), "a\0b", 3));
    EXPECT_EQ(advertised.name, "a");
    Kestrel::brio_advdata_manuf_data_t record = {};
    Kestrel::setAvatarId(record, 0x103);
    EXPECT_EQ(record.bytes[3], 3);
}

TEST(DescriptionTest, ADescriptionFollowsItsAdvertisement)
{
    Printed printed;
    HAL::RobotHW robot;
    EXPECT_EQ(robot.getPacketizerInteraction(), nullptr);
    std::string text;
    EXPECT_FALSE(robot.getMetaPayloadShellResponse({}, text));
    const std::string data = bytesOf("03 01 00 1F 07 03 01 98 1A 02");
    robot.ParseAdvertisementData(data.data(), static_cast<int>(data.size()), "Bo", 2);
    EXPECT_EQ(robot.getRobotType(), 1001u);
    EXPECT_TRUE(robot.getRobotIsOrvikPro());
    EXPECT_STREQ(robot.getRobotLang(), "de_DE");
    EXPECT_EQ(robot.getRobotFirmwareVersionMajor(), 1);
    EXPECT_EQ(robot.getRobotPersonalityAnimId(), 3u);
    EXPECT_TRUE(robot.getRobotAdvIsUSBConnected());
    auto* interaction = robot.getPacketizerInteraction();
    robot.ParseAdvertisementData(nullptr, -1, nullptr, -1);
    EXPECT_EQ(printed.take(), "Error parsing advertisement data: Unexpected dataLength of 18446744073709551615\n");
    EXPECT_EQ(robot.getLocalName(), "Bo");
    EXPECT_EQ(robot.getPacketizerInteraction(), interaction);  // and what it remembers
    std::vector<HALPacket_t> packets;
    EXPECT_FALSE(robot.getDataPacketsInteractionCommand("{}", packets));
    EXPECT_EQ(printed.take(), "PacketizerInteraction::_serialize() not implemented.");
    robot._setRobotType(ZK_ROBOT_PELL);
    EXPECT_FALSE(robot.getRobotIsOrvikPro());
    // A document that gives the colour alone keeps the advertised animation.
    robot._setRobotType(ZK_ROBOT_ORVIK);
    HAL::Ctlr2BotMsg message;
    robot.initComponentsForCtlr2BotMsg(&message);
    EXPECT_EQ(robot.getRobotPersonalityColorId(), 2u);
}

TEST(DescriptionTest, CharacteristicsAndLanguages)
{
    Printed printed;
    using HAL::RobotHW;
    struct {
        const char* data;
        int type;
        const char* prefix;
    } const cases[] = {
        {"03 01", 1, "AF230000"}, {"03 02", 2, "AF230001"}, {"03 03", 5, "AF230004"}, {"03 01", 6, "AF230005"},
        {"03 01", 7, "AF230002"}, {"03 01", 8, "AF230003"}, {"03 01", 9, "AF230006"}, {"03 01", 3, nullptr},
        {"01 01", 3, "AF230004"}, {"01 01", 4, "AF230005"}, {"01 01", 1, nullptr},    {"01 04", 1, "AF230000"},
        {"01 04", 7, nullptr},    {"00 04", 3, nullptr},
    };
    for (const auto& c : cases) {
        RobotHW robot;
        const std::string data = bytesOf(c.data);
        robot.ParseAdvertisementData(data.data(), 2, "", 0);
        const char* uuid = robot.getSupportedCharacteristic(static_cast<HAL::_ZKCharacteristicTypes>(c.type));
        ASSERT_EQ(uuid == nullptr, c.prefix == nullptr) << c.data << " " << c.type;
        EXPECT_EQ(uuid != nullptr ? std::string(uuid) : "",
                  c.prefix != nullptr ? std::string(c.prefix) + "-879D-6186-1F49-DECA0E85D9C1" : "");
    }
    EXPECT_EQ(RobotHW().getSupportedCharacteristic(HAL::ZK_CHARACTERISTIC_SHELL_CONTROL), nullptr);
    EXPECT_STREQ(RobotHW::serviceIds[2], "AF237779-879D-6186-1F49-DECA0E85D9C1");
    EXPECT_EQ(RobotHW::langIDFromString("es"), 4);
    printed.take();
    EXPECT_EQ(RobotHW::langIDFromString("en_GB"), 255);
    EXPECT_EQ(printed.take(), "error: unknown language string: en_GB\n");
    EXPECT_STREQ(RobotHW::langStringFromID(6), "zh_TW");
    EXPECT_STREQ(RobotHW::langStringFromID(7), "unknown");
}

TEST(DescriptionDeathTest, AnUnknownModeHasNoCharacteristics)
{
    support::useSafeDeathTests();
    HAL::RobotHW robot;
    const char data[] = {2, 1};
    robot.ParseAdvertisementData(data, 2, "", 0);
    EXPECT_DEATH(robot.getSupportedCharacteristic(HAL::ZK_CHARACTERISTIC_SHELL_CONTROL), "Assertion failed");
}

TEST(DescriptionTest, NewNames)
{
    struct {
        const char* name;
        bool isValid;
        size_t excess;
    } const cases[] = {
        {"", false, 0},
        {"abcdefghij", true, 0},
        {"abcdefghijklmnop", true, 0},
        {"abcdefghijklmnopq", false, 1},
        {"äöüäöüäö", true, 0},  // 16 bytes; the sixth character would break over the first part
        {"äöüäöüäöü", false, 2},
        {"abcdefghijkäöüx", false, 0},
        {"abcdefghijklmno€", false, 3},
        {"😀😀😀😀😀", false, 4},
    };
    for (const auto& c : cases) {
        size_t excess = 77;
        const std::string name = c.name;
        const bool isValid = HAL::RobotHW::validateNewName(name.data(), name.size(), &excess);
        if (name == "abcdefghijkäöüx") {  // 18 bytes: the last two characters go
            EXPECT_FALSE(isValid);
            EXPECT_EQ(name.substr(0, name.size() - excess), "abcdefghijkäö");
            continue;
        }
        EXPECT_EQ(isValid, c.isValid) << name;
        EXPECT_EQ(excess, c.excess) << name;
    }
    EXPECT_FALSE(HAL::RobotHW::validateNewName(nullptr, 5, nullptr));
}

TEST(DescriptionTest, ShellPackets)
{
    Printed printed;
    HAL::RobotHW robot;
    HAL::PacketizerShell shell;
    const auto packed = [&](const std::string& json) {
        std::vector<HALPacket_t> packets;
        const bool ok = shell.serializePayloadToPackets(robot, json, packets);
        std::string text = ok ? "" : "false";
        for (const HALPacket_t& packet : packets) {
            text += "[" + support::hex(packet.data, packet.length) + "]";
        }
        return text;
    };
    EXPECT_EQ(packed(R"({"cmd":"ls"})"), "[C8 6C 73]");
    EXPECT_EQ(packed(R"({"addr":1,"cmd":"ls"})"), "[40 6C 73]");
    EXPECT_EQ(packed(R"({"addr":999,"c":"x"})"), "[C8 78]");
    EXPECT_EQ(packed(R"({"addr":0,"addr":999,"CM":"x"})"), "[C0 78]");
    EXPECT_EQ(packed(R"({"":2,"cmd":"x"})"), "[80 78]");
    EXPECT_EQ(packed(R"({"cmds":"x"})"), "false");
    EXPECT_EQ(packed(R"({"cmd":"x","cmd":1})"), "false");
    EXPECT_EQ(packed("{"), "false");
    EXPECT_EQ(packed("{\"cmd\":\"" + std::string(39, 'x') + "\"}").size(), 2 * 61u + 7);

    const auto answer = [&](const std::vector<std::string>& texts) {
        std::vector<HALPacket_t> packets;
        for (const std::string& text : texts) {
            HALPacket_t packet = {static_cast<uint32_t>(text.size()), {}};
            std::memcpy(packet.data, text.data(), std::min<size_t>(text.size(), HAL_PACKET_SIZE));
            packets.push_back(packet);
        }
        std::string payload;
        EXPECT_TRUE(shell.deserializePacketsToPayload(robot, packets, payload));
        return payload;
    };
    EXPECT_EQ(answer({"\xC8qhi\n", "\xC8\3"}), R"({"res":"hi"})");
    EXPECT_EQ(answer({"\xC8q\"\3"}), R"({"res":"""})");  // raw, on purpose
    EXPECT_EQ(answer({"\xC8", "", "\xC8"}), R"({"res":""})");
    EXPECT_EQ(answer({}), R"({"res":""})");
    EXPECT_EQ(answer({std::string(40, 'a')}), "{\"res\":\"" + std::string(17, 'a') + "\"}");
}

TEST(DescriptionTest, Reflectance)
{
    Printed printed;
    BRReflectance model;
    struct {
        int model;
        double reflectance, cm;
    } const cases[] = {{0, 255, 2.5}, {1, 300, 2.5}, {0, 5, 50}, {0, 10.5, 40}, {2, 138, 8.75}, {0, 71, 10}};
    for (const auto& c : cases) {
        EXPECT_EQ(model.distanceForReflectance(static_cast<BRReflectanceModel>(c.model), c.reflectance), c.cm);
    }
    EXPECT_TRUE(std::isnan(model.distanceForReflectance(BRReflectanceLeft, std::nan(""))));
    const auto seven = static_cast<BRReflectanceModel>(7);
    EXPECT_TRUE(std::isnan(model.distanceForReflectance(seven, 1)));
    model.getOrCreateModel(seven);
    EXPECT_TRUE(std::isnan(model.distanceForReflectance(seven, 1)));
    EXPECT_EQ(printed.take(), "error: unknown reflectanceModel: 7\nerror: empty reflectanceModel: 7\n");
    model.addSampleToModel(seven, 10, 5);
    EXPECT_EQ(model.distanceForReflectance(seven, 99), 5);
    model.addSampleToModel(seven, 20, 99);  // behind the last, where nothing is compared
    model.addSampleToModel(seven, 10, 6);   // the newer of two stands first
    EXPECT_EQ(model.distanceForReflectance(seven, 10), 6);
}

TEST(DescriptionDeathTest, DistancesMayNotGrowWithReflectance)
{
    support::useSafeDeathTests();
    BRReflectance model;
    EXPECT_DEATH(model.addSampleToModel(BRReflectanceLeft, 5, 1), "newSample.distanceValue >= itr->distanceValue");
    EXPECT_DEATH(model.addSampleToModel(BRReflectanceLeft, 12, 40), "newSample.distanceValue <= \\(itr - 1\\)");
}

class AttitudeTest : public ::testing::Test {
protected:
    AttitudeTest()
    {
        const ZKClock clock = {this,
                               [](void* user, int64_t* seconds, int32_t* microseconds) {
                                   const int64_t time = static_cast<AttitudeTest*>(user)->now;
                                   *seconds = time / 1000000;
                                   *microseconds = static_cast<int32_t>(time % 1000000);
                               },
                               nullptr};
        ZKSetClock(&clock);
    }
    ~AttitudeTest() override
    {
        ZKSetClock(nullptr);
    }
    int64_t now = 0;  // microseconds
};

TEST_F(AttitudeTest, TypesAreDebounced)
{
    HAL::AttitudeTypeSM machine;
    struct {
        int64_t milliseconds;
        double value;
        uint32_t type;
    } const steps[] = {
        {0, 0.3, 0},     {100, 0.3, 0},   {101, 0.3, 1},                   // more than 0.1 s
        {200, 0.22, 1},  {400, 0.22, 1},                                   // between the thresholds it stays
        {500, 0.2, 1},   {550, 0.22, 1},  {700, 0.2, 1},   {801, 0.2, 0},  // interrupted, then long enough
        {900, 0.3, 0},   {950, -0.3, 0},  {1001, -0.3, 2},                 // one debounce for both directions
        {1100, -0.2, 2}, {1300, -0.2, 0},
    };
    for (const auto& step : steps) {
        now = step.milliseconds * 1000;
        machine.update(step.value);
        EXPECT_EQ(machine.getAttitudeType(), step.type) << step.milliseconds;
    }
    // 100 ms across a second boundary are 0.0999...: not more than 0.0999, and not less than it by much.
    HAL::AttitudeTypeSM exact;
    exact.setDebounceTime(0.1);
    now = 1950000;
    exact.update(1);
    now = 2050000;
    exact.update(1);
    EXPECT_EQ(exact.getAttitudeType(), 0u);
}

TEST_F(AttitudeTest, TheEstimateFollowsBothSensors)
{
    HAL::AttitudeEstimate still;
    still.update(1, 0, 0, 0, 0, 0);
    EXPECT_EQ(still.getPitch(), 0);  // the first only starts the clock
    now = 33333;
    still.update(1, 0, 0, 0, 0, 0);
    EXPECT_DOUBLE_EQ(still.getPitch(), 0.5 * std::asin(0.99));
    for (int i = 0; i < 50; ++i) {
        still.update(1, 0, 0, 0, 0, 0);
    }
    EXPECT_NEAR(still.getPitch(), std::asin(0.99), 1e-9);  // never upright

    HAL::AttitudeEstimate falling;
    now = 0;
    falling.update(0, 0, 0, 0, 0, 0);
    now = 500000;
    falling.update(0, 0, 0, 0.4, -0.2, 0);  // the gyroscope alone
    EXPECT_DOUBLE_EQ(falling.getRoll(), 0.2);
    EXPECT_DOUBLE_EQ(falling.getPitch(), 0.1);
    EXPECT_DOUBLE_EQ(falling.getSlope(), std::acos(std::cos(0.1) * std::cos(0.2)));

    HAL::AttitudeEstimate moving;
    now = 0;
    moving.update(0, 0, 2, 0, 0, 0);
    now = 100000;
    moving.update(0, 2, 0, 0, 0, 0);  // far from 1 g: a twentieth
    EXPECT_DOUBLE_EQ(moving.getRoll(), 0.05 * std::atan2(1, 0));
    EXPECT_EQ(moving.getSlopeType(), 0u);
}

TEST(HostCallbacksTest, TheTableTakesWhatTheDefaultsWould)
{
    Printed printed;
    ZKLogW("%s and %d", "text", 5);
    EXPECT_EQ(printed.take(), "message from API: text");
    ZKLogE("number %d first, then %s", 5, "text");
    EXPECT_EQ(printed.take(), "message from API: number 5 first, then text");
    ZKLogI("100%% of %s", "it");
    EXPECT_EQ(printed.take(), "message from API: it");

    std::string seen;
    ZKHostCallbacks table = {sizeof table, &seen, nullptr, nullptr, nullptr, nullptr};
    table.log = [](void* user, ZKLogSeverity severity, const char* text) {
        *static_cast<std::string*>(user) += std::to_string(severity) + text;
    };
    table.failed = [](void* user, const char*, const char* command, ZKErrorCode code, const char* message) {
        *static_cast<std::string*>(user) += std::string(command) + std::to_string(code) + message;
    };
    ZKSetHostCallbacks(&table);
    ZKLogD("a %s", "b");
    ZKDidFailShellCommand("id", "poke", ZK_ERROR_TIMEOUT, "timeout");
    ZKDidCompleteShellCommand("id", "poke", "answer");
    EXPECT_EQ(seen, "1a bpoke4timeout");
    const char* volatile nothing = nullptr;  // what the compiler cannot see
    ZKLogD("%d %s", 1, nothing);
    EXPECT_EQ(seen, "1a bpoke4timeout11 (null)");
    seen = "1a bpoke4timeout";
    table.size = sizeof table - 3;  // a host built before there was a log entry
    ZKSetHostCallbacks(&table);
    ZKLogV("plain");
    EXPECT_EQ(printed.take(), "message from API: plain");
    ZKSetHostCallbacks(nullptr);
    ZKDidFailShellCommand("id", "poke", ZK_ERROR_TIMEOUT, "timeout");
    EXPECT_EQ(seen, "1a bpoke4timeout");
}

}  // namespace
