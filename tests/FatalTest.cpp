// What ends the process, and nothing else does. Each case runs in a child.
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

#include "CoreUtility/BotMessengerBuffer.h"
#include "ZKHAL/ZKHAL.h"

namespace {

using FatalDeathTest = ::testing::Test;

TEST(FatalDeathTest, DocumentsThatEndTheProcess)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
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

TEST(FatalDeathTest, AHandlerRunsBeforeTheEnd)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    ZKSetAssertionHandler([](const char* condition, const char*, const char*, int) {
        std::fprintf(stderr, "handled %s\n", condition);
        std::_Exit(77);
    });
    uint8_t out[ZK_BLOCK_SIZE];
    EXPECT_EXIT(json2Packets("[]", out), ::testing::ExitedWithCode(77), "handled jsCommand");
    ZKSetAssertionHandler(nullptr);
}

}  // namespace
