#include "CaptureLine.h"

#include <gtest/gtest.h>

namespace zkhal {
namespace {

// H stands for a packet of 20 bytes, P for one whose bytes are apart.
std::string line(const std::string& pattern)
{
    std::string text, packet = "0012000800000010000000000000000000000000", pairs;
    for (size_t i = 0; i < packet.size(); i += 2) {
        pairs += (i > 0 ? " " : "") + packet.substr(i, 2);
    }
    for (const char c : pattern) {
        text += c == 'H' ? packet : c == 'P' ? pairs : std::string(1, c);
    }
    return text;
}

TEST(CaptureLineTest, ATimeMayStandBeforeAReport)
{
    constexpr double kNone = -1;
    const struct {
        const char* pattern;
        double seconds;
        size_t bytes;
    } kCases[] = {
        {"H", kNone, 20},
        {"HH", kNone, 40},
        {"H H", kNone, 40},
        {"P\r", kNone, 20},
        {"P\tP", kNone, 40},
        {"0012 0008 0000 0010 0000 0000 0000 0000 0000 0000", kNone, 20},
        {"00120008 00000010 00000000 00000000 00000000", kNone, 20},
        {"0.033333 H", 0.033333, 20},
        {"12.345678 H H", 12.345678, 40},
        {" 1234.567890123\tHH\r", 1234.567890123, 40},
        {"123456789 H", 123456789, 20},
        {"5 H", 5, 20},
        {"10 P", 10, 20},
        {"1 P P", 1, 40},
        {"1e3 H", 1000, 20},
        {"2.5e-1\t P", 0.25, 20},
    };
    for (const auto& each : kCases) {
        SCOPED_TRACE(each.pattern);
        CaptureLine capture;
        std::string problem;
        EXPECT_TRUE(readCaptureLine(line(each.pattern), capture, problem)) << problem;
        EXPECT_EQ(capture.hasTime ? capture.seconds : kNone, each.seconds);
        ASSERT_EQ(capture.bytes.size(), each.bytes);
        EXPECT_EQ(capture.bytes[each.bytes - 19], 0x12);
    }
}

TEST(CaptureLineTest, WhatIsNoReportIsRefusedWithTheReason)
{
    const struct {
        const char* pattern;
        const char* problem;
    } kCases[] = {
        {"0.033333 00120008", "not 4 bytes"},
        {"10 00120008000000100000000000000000000000", "not 19 bytes"},  // 20, were the time taken for a byte
        {"12 H 00", "not 21 bytes"},
        {"00", "not 1 byte"},
        {"00 12 00", "not 3 bytes"},
        {"HHH", "not 60 bytes"},
        {"0.5 0", "two hex digits"},
        {"H zz", "'z' is no hex digit"},
        {"H \xC2\xA0", "byte C2 is no hex digit"},
        {"-1.5 H", "\"-1.5\" is no time"},
        {"nan H", "\"nan\" is no time"},
        {"0,5 P", "\"0,5\" is no time"},
        {"1e9 H", "\"1e9\" is no time"},
    };
    for (const auto& each : kCases) {
        CaptureLine capture;
        std::string problem;
        EXPECT_FALSE(readCaptureLine(line(each.pattern), capture, problem)) << each.pattern;
        EXPECT_NE(problem.find(each.problem), std::string::npos) << each.pattern << ": " << problem;
    }
}

}  // namespace
}  // namespace zkhal
