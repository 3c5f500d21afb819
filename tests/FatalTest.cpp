// What ends the process, and nothing else does. Each case runs in a child.
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CppEngine/Robot.h"
#include "CppEngine/RobotActionManagerShell.h"
#include "support/DeathTests.h"
#include "ZKHAL/ZKHAL.h"

namespace {

using Kestrel::gChannelShellControl;
using Kestrel::gChannelShellPacket;

using FatalDeathTest = ::testing::Test;

TEST(FatalDeathTest, DocumentsThatEndTheProcess)
{
    support::useSafeDeathTests();
    const auto send = [](const char* json, uint32_t robotType) {
        HAL::RobotHW robot;
        robot._setRobotType(robotType);
        APICore::BotMessengerBuffer(&robot).convertCtlrMessageToPackets(json, std::strlen(json));
    };
    const char kObject[] = "Assertion failed: \\(jsCommand && \\(jsCommand->type == NX_JSON_OBJECT\\)\\), function";
    EXPECT_DEATH(send("[]", ZK_ROBOT_ORVIK), kObject);
    EXPECT_DEATH(send("{\"a\":}", ZK_ROBOT_ORVIK), "NXJSON PARSE ERROR .*: unexpected chars at }\n.*Assertion failed");
    EXPECT_DEATH(send(R"({"100":{"index":{"0":1}}})", ZK_ROBOT_PELL), "\\(ledNum >= 1\\)");
    EXPECT_DEATH(send(R"({"100":{"index":{"13":1}}})", ZK_ROBOT_RUSK), "\\(ledNum <= _ZK_EYE_LED_COUNT\\)");
    EXPECT_DEATH(send(R"({"450":{}})", ZK_ROBOT_QUILL), "Assertion failed");
    EXPECT_DEATH(send(R"({"451":{"id":65535}})", ZK_ROBOT_QUILL), "Assertion failed");
    uint8_t out[ZK_BLOCK_SIZE];
    EXPECT_DEATH(json2Packets("7", out), kObject);
}

TEST(FatalDeathTest, EngineCallsThatEndTheProcess)
{
    support::useSafeDeathTests();
    const char kUnknown[] = "Assertion failed: \\(robot != NULL\\), function ZK";
    EXPECT_DEATH(ZKEnqueueShellCommand("x", "poke", 1), kUnknown);
    EXPECT_DEATH(ZKHandleDisconnect(nullptr), kUnknown);
    EXPECT_DEATH(ZKPendingShellCommandCount(""), kUnknown);
    EXPECT_DEATH(ZKReceivedData("x", gChannelShellPacket.c_str(), "", 0), kUnknown);
    EXPECT_DEATH(ZKValidateChannels("x", nullptr, 0), kUnknown);
    EXPECT_DEATH(ZKValidateEndPoints("x", nullptr, 0), kUnknown);
    const auto receive = [](const char* channel) {
        ZKProcessScan("x", "", 0, "", 0);
        ZKReceivedData("x", channel, "\x03", 1);
    };
    EXPECT_DEATH(receive(gChannelShellControl.c_str()), "\\(false\\)");
    EXPECT_DEATH(receive(nullptr), "\\(false\\)");
    ZKHostCallbacks silent = {};
    silent.size = sizeof silent;
    silent.log = [](void*, ZKLogSeverity, const char*) {};
    ZKSetHostCallbacks(&silent);
    Kestrel::Robot robot("x");
    const std::vector<HALPacket_t> none;
    EXPECT_DEATH(robot.transmitPackets(&gChannelShellControl, &none), "packets && \\(packets->size\\(\\) > 0\\)");
    EXPECT_DEATH(robot.transmitPackets(nullptr, &none), "\\(channel\\)");
    EXPECT_DEATH(Kestrel::RobotActionManagerShell(&robot).onTimer(1), "this->mQueuedCommands.size\\(\\) > 0");
    robot.enqueueShellCommand("before the first scan", 1);
    robot.handleDisconnect();
    robot.receivedData(gChannelShellPacket.c_str(), "\x03", 1);
    EXPECT_EQ(robot.pendingShellCommandCount(), -1);
    robot.initialize();
    ZKSetHostCallbacks(nullptr);
}

TEST(FatalDeathTest, AHandlerRunsBeforeTheEnd)
{
    support::useSafeDeathTests();
    ZKSetAssertionHandler([](const char* condition, const char*, const char*, int) {
        std::fprintf(stderr, "handled %s\n", condition);
        std::_Exit(77);
    });
    uint8_t out[ZK_BLOCK_SIZE];
    EXPECT_EXIT(json2Packets("[]", out), ::testing::ExitedWithCode(77), "handled jsCommand");
    ZKSetAssertionHandler(nullptr);
}

}  // namespace
