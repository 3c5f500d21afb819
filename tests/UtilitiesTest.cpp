// Hashes, hex text and clocks.
#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CoreUtility/ByteOrder.h"
#include "CoreUtility/FormatText.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"
#include "ZKHAL/Diagnostics.h"
#include "ZKHAL/Utilities.h"

namespace {

// Written for clearness: one byte at a time, folding after every 359th and at the end.
uint32_t plainFletcher(const std::vector<uint8_t>& bytes)
{
    uint64_t sum1 = 0xFFFF, sum2 = 0xFFFF;
    for (size_t i = 0; i < bytes.size(); ++i) {
        sum1 += bytes[i];
        sum2 += sum1;
        if (i % 359 == 358 || i + 1 == bytes.size()) {
            sum1 = (sum1 & 0xFFFF) + (sum1 >> 16);
            sum2 = (sum2 & 0xFFFF) + (sum2 >> 16);
        }
    }
    sum1 = (sum1 & 0xFFFF) + (sum1 >> 16);
    sum2 = (sum2 & 0xFFFF) + (sum2 >> 16);
    return static_cast<uint32_t>(sum2 << 16 | sum1);
}

TEST(UtilitiesTest, Fletcher)
{
    EXPECT_EQ(ZKFletcherHash(nullptr, 0), 0xFFFFFFFFu);
    const uint8_t kAbc[] = {'a', 'b', 'c'};
    EXPECT_EQ(ZKFletcherHash(kAbc, 3), 0x024A0126u);  // sums 0x126 and 0x24A beyond 0xFFFF folded away
    for (const size_t length : {1u, 358u, 359u, 360u, 718u, 719u, 5000u}) {
        std::vector<uint8_t> bytes(length);
        for (size_t i = 0; i < length; ++i) {
            bytes[i] = static_cast<uint8_t>(i % 3 == 0 ? 0xFF : i);
        }
        EXPECT_EQ(ZKFletcherHash(bytes.data(), static_cast<uint32_t>(length)), plainFletcher(bytes)) << length;
    }
    EXPECT_EQ(ZKStringHash(nullptr, "x"), 0u);
    EXPECT_EQ(ZKStringHash("", "x"), 0u);
    EXPECT_EQ(ZKStringHash("ab", nullptr), ZKFletcherHash(kAbc, 2));
    EXPECT_EQ(ZKStringHash("ab", "c"), ZKFletcherHash(kAbc, 3));
}

#if ZKHAL_HAS_MD5
TEST(UtilitiesTest, MD5)
{
    char md5[33];
    ZKStringHashMD5("a", "bc", md5);
    EXPECT_STREQ(md5, "900150983CD24FB0D6963F7D28E17F72");
    ZKStringHashMD5(nullptr, nullptr, md5);
    EXPECT_STREQ(md5, "D41D8CD98F00B204E9800998ECF8427E");
}
#endif

TEST(UtilitiesTest, Hex)
{
    const uint8_t bytes[] = {0x0A, 0xFF, 0x41, 0x7F, 0x20};
    char hex[11];
    ZKHexStringFromBytes(bytes, 2, hex);
    EXPECT_STREQ(hex, "0AFF");
    EXPECT_EQ(ZKPrettyHex(bytes, 5), "0A FF 41 7F   20  |..A. |");
    EXPECT_EQ(ZKPrettyHex(nullptr, 3), "  ||");
    char text[] = "aZ\xE9~1";
    zkToUpper(text);
    EXPECT_STREQ(text, "AZ\xE9~1");
}

TEST(UtilitiesTest, ClocksStandBehindOneSeam)
{
    const ZKClock clock = {nullptr,
                           [](void*, int64_t* seconds, int32_t* microseconds) {
                               *seconds = 12;
                               *microseconds = 345999;
                           },
                           [](void*) -> uint64_t { return 1500000000; }};
    ZKSetClock(&clock);
    EXPECT_EQ(BREpoch(), 12.345);
    EXPECT_EQ(BRSystemTime(), 1.5);
    ZKSetClock(nullptr);
    EXPECT_GT(BREpoch(), 1.7e9);
    const double before = BRSystemTime();
    EXPECT_GE(BRSystemTime(), before);
}

TEST(UtilitiesTest, RealsBecomeIntegersWithoutSurprises)
{
    constexpr double kInf = std::numeric_limits<double>::infinity();
    constexpr int64_t kMax = std::numeric_limits<int64_t>::max(), kMin = std::numeric_limits<int64_t>::min();
    EXPECT_EQ(ZKHAL::truncate(-1.9), -1);
    EXPECT_EQ(ZKHAL::roundHalfAway(-2.5), -3);
    EXPECT_EQ(ZKHAL::roundHalfAway(0.49999999999999994), 0);
    EXPECT_EQ(ZKHAL::truncate(kInf), 0);
    EXPECT_EQ(ZKHAL::truncate(-kInf), 0);
    EXPECT_EQ(ZKHAL::truncate(std::numeric_limits<double>::quiet_NaN()), 0);
    EXPECT_EQ(ZKHAL::truncate(1e300), kMax);
    EXPECT_EQ(ZKHAL::truncate(-9223372036854775808.0), kMin);
    EXPECT_EQ(ZKHAL::low8(kMin + 0x1FE), 0xFE);
    for (const double half : {0.0, 0.5, 1.5, 2.5, 1e6 + 0.5, 4503599627370495.5, 4503599627370497.0, 9e15}) {
        for (const double value : {std::nextafter(half, 0.0), half, std::nextafter(half, 1e300)}) {
            EXPECT_EQ(ZKHAL::roundHalfAway(value), std::llround(value)) << value;
            EXPECT_EQ(ZKHAL::roundHalfAway(-value), -std::llround(value)) << value;
        }
    }
}

// Keys are compared 16 bytes at a time, and the longest have more.
TEST(UtilitiesTest, AComparedTextIsTheSameOnlyToItsEnd)
{
    const std::string letters = "abcdefghijklmnopqrst";
    for (size_t length = 0; length <= letters.size(); ++length) {
        const std::string expected = letters.substr(0, length);
        const ZKHAL::ComparedText compared(expected.c_str());
        for (size_t other = 0; other <= letters.size(); ++other) {
            for (const char* end : {"", "#"}) {
                const std::string text = letters.substr(0, other) + end;
                const std::string padded = text + std::string(ZKHAL::ComparedText::kReadable, '\0');
                EXPECT_EQ(compared.isSameAs(text.c_str()), text == expected) << expected << ' ' << text;
                EXPECT_EQ(compared.isSameAsReadable(padded.c_str()), text == expected) << expected << ' ' << text;
            }
        }
    }
}

TEST(UtilitiesTest, PrintableTextMovesNoTerminal)
{
    const struct {
        const char *text, *shown;
    } kCases[] = {
        {"a\x1B[2J\x7F\n", "a?[2J??"},
        {"\xC2\x80|\xC2\x9F|\xC2\xA0", "?|?|\xC2\xA0"},
        {"Caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\xA4\x96", "Caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\xA4\x96"},
        {"\xC3|\xC3\x28|\xE2\x82|\x80\xFF", "?|?(|??|??"},
        {"\xC0\x80 \xE0\x80\x80 \xED\xA0\x80 \xF4\x90\x80\x80 \xF0\x8F\xBF\xBF", "?? ??? ??? ???? ????"},
        {"\xF4\x8F\xBF\xBF\xED\x9F\xBF", "\xF4\x8F\xBF\xBF\xED\x9F\xBF"},
    };
    for (const auto& c : kCases) {
        EXPECT_EQ(ZKHAL::printable(c.text), c.shown);
    }
}

TEST(UtilitiesTest, TextsAndByteOrder)
{
    EXPECT_EQ(ZKHAL::decimalPrefix(" \t+12x"), 12);
    EXPECT_EQ(ZKHAL::decimalPrefix(nullptr), 0);
    EXPECT_EQ(ZKHAL::decimalPrefix("4294967301"), 5);             // a long cut to int
    EXPECT_EQ(ZKHAL::decimalPrefix("99999999999999999999"), -1);  // a saturated long cut to int
    EXPECT_EQ(ZKHAL::decimalPrefix("-99999999999999999999"), 0);
    uint8_t bytes[14];
    HAL::littleEndianEncode32(
        HAL::littleEndianEncode16(HAL::bigEndianEncode32(HAL::bigEndianEncode16(bytes, 0x1234), 0x56789ABC), 0x1234),
        0x56789ABC);
    const uint8_t expected[] = {0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0x34, 0x12, 0xBC, 0x9A, 0x78, 0x56};
    EXPECT_EQ(std::memcmp(bytes, expected, sizeof expected), 0);
    const uint16_t big = HAL::enBig16(0x1234), little = HAL::enLtl16(0x1234);
    EXPECT_EQ(std::memcmp(&big, "\x12\x34", 2), 0);
    EXPECT_EQ(std::memcmp(&little, "\x34\x12", 2), 0);
    const uint32_t big32 = HAL::enBig32(0x12345678);
    EXPECT_EQ(std::memcmp(&big32, "\x12\x34\x56\x78", 4), 0);
}

}  // namespace
