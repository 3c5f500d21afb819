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

TEST(CaptureLineTest, PacketsOfASessionBecomeReports)
{
    // What comes of each line: nothing, a time and how many bytes, or a refusal.
    const struct {
        const char* line;
        const char* result;
    } kLines[] = {
        {"0.015000 * advertisement 030100 \"Virtual Orv\"", "-"},
        {"0.100000 < AF230003 0012000800000010000000000000000000000000", "-"},
        {"0.110000 < AF230001 C8783403", "-"},
        {"0.115000 > AF230002 01012CFED4", "-"},
        {"0.120000 < AF230006 0000000000000000000000000000000000000000", "0.12 40"},
        {"0.130000 < AF230003 1012000800000010000000000000000000000000", "-"},
        {"0.160000 < AF230003 2012000800000010000000000000000000000000", "0.16 20"},
        {"0.170000 < AF230006 1000000000000000000000000000000000000000", "-"},
        {"0.180000 < AF230006 2000000000000000000000000000000000000000", "0.18 40"},
        {"0.190000 < AF230006 2000000000000000000000000000000000000000", "-"},
        {"0.191000 < AF230003 4012000800000010000000000000000000000000", "-"},
        {"0.192000 < AF230006 5000000000000000000000000000000000000000", "-"},
        {"0.193000 < AF230003 5012000800000010000000000000000000000000", "0.193 20 0.193 40"},
        {"0.200000 < AF230003 30120008", "a report is one or two packets of 20 bytes, not 4 bytes"},
        {"0.300000 0012000800000010000000000000000000000000", "0.3 20"},
        {"0.310000 < AF230003 3012000800000010000000000000000000000000", "-"},
        {"0.320000 * lost the connection is lost", "0.31 20"},
        {"0.400000 < AF230003 3012000800000010000000000000000000000000", "-"},
        {nullptr, "0.4 20"},
        {nullptr, "-"},
    };
    CaptureReader reader;
    for (const auto& each : kLines) {
        SCOPED_TRACE(each.line ? each.line : "the end");
        std::vector<CaptureLine> reports;
        std::string problem, result;
        if (each.line == nullptr) {
            reader.finish(reports);
        } else if (!reader.read(each.line, reports, problem)) {
            result = problem;
        }
        for (const CaptureLine& report : reports) {
            char got[80];
            std::snprintf(got, sizeof got, "%g %zu", report.seconds, report.bytes.size());
            result += (result.empty() ? "" : " ") + std::string(got);
        }
        EXPECT_EQ(result.empty() ? "-" : result, each.result);
    }
}

}  // namespace
}  // namespace zkhal
