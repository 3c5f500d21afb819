// Numbers as bits, as text and back: the same on every machine as in the C library of this one.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "CoreUtility/Bits.h"
#include "CoreUtility/Json/JsonNumber.h"
#include "CoreUtility/PayloadText.h"
#include "CoreUtility/ReadReal.h"
#include "support/Support.h"

namespace {

using ZKHAL::PayloadText;
using ZKHAL::realOfBits;

uint64_t anyWord(support::Random& random)
{
    return uint64_t{random.next()} << 33 ^ uint64_t { random.next() } << 11 ^ random.next();
}

std::string written(double value)
{
    char text[PayloadText::kMostOfNumber];
    return std::string(text, PayloadText::writeReal(text, value));
}

std::string writtenFixed(float value)
{
    char text[PayloadText::kMostOfFixed];
    return std::string(text, PayloadText::writeFixed(text, value));
}

TEST(NumberTest, ThePlainWayGivesWhatTheFastOneDoes)
{
    support::Random random(3);
    for (int i = 0; i < 100000; ++i) {
        const uint64_t word = (anyWord(random) | uint64_t{1} << 63) >> i % 64 << i % 7;
        if (word != 0) {
            ASSERT_EQ(ZKHAL::Plain::countTrailingZeros(word), ZKHAL::countTrailingZeros(word)) << word;
            ASSERT_EQ(ZKHAL::Plain::countLeadingZeros(word), ZKHAL::countLeadingZeros(word)) << word;
        }
        char bytes[8], plainBytes[8];
        ZKHAL::storeLittle<8>(bytes, word);
        ZKHAL::Plain::storeLittle<8>(plainBytes, word);
        ASSERT_EQ(std::memcmp(bytes, plainBytes, 8), 0);
        ASSERT_EQ(ZKHAL::loadLittle<8>(bytes), word);
        ASSERT_EQ(ZKHAL::Plain::loadLittle<8>(bytes), word);

        const uint64_t divisor = anyWord(random) | uint64_t{1} << 63;
        // An upper half of all ones makes the guessed digits too large by most.
        const uint64_t high = i % 2 == 0 ? divisor - 1 - random.next() % 4 : anyWord(random) % divisor;
        const uint64_t low = i % 3 == 0 ? 0 : anyWord(random);
        const ZKHAL::WideQuotient plain = ZKHAL::Plain::divideWide(high, low, divisor);
        const ZKHAL::WideQuotient fast = ZKHAL::divideWide(high, low, divisor);
        ASSERT_EQ(plain.quotient, fast.quotient) << high << ' ' << low << ' ' << divisor;
        ASSERT_EQ(plain.isExact, fast.isExact) << high << ' ' << low << ' ' << divisor;
    }
    const ZKHAL::WideQuotient exact = ZKHAL::Plain::divideWide(uint64_t{1} << 62, 0, uint64_t{1} << 63);
    EXPECT_EQ(exact.quotient, uint64_t{1} << 63);
    EXPECT_TRUE(exact.isExact);
}

TEST(NumberTest, SixDigitsAsPrintfWritesThem)
{
    support::Random random(11);
    const auto check = [](double value) {
        char expected[32];
        std::snprintf(expected, sizeof expected, "%g", value);
        ASSERT_EQ(written(value), expected);
    };
    for (int i = 0; i < 100000; ++i) {
        check(random.real(-1, 1) * std::pow(10, random.below(12) - 5));
        check((random.below(2000000) - 1000000) / 10.0 / std::pow(10, random.below(6)));  // many ties
        check((random.below(2000000) + 0.5) * std::pow(10, random.below(40) - 20));       // beyond what is plain
        check(realOfBits(anyWord(random)));
        ASSERT_FALSE(HasFatalFailure()) << i;
    }
    for (int power = -323; power <= 308; ++power) {  // where the count of digits changes
        const double ten = std::strtod(("1e" + std::to_string(power)).c_str(), nullptr);
        for (const double value : {std::nextafter(ten, 0), ten, ten * 0.9999995, ten * 0.99999949999, ten * 1.000005}) {
            check(value);
        }
        ASSERT_FALSE(HasFatalFailure()) << power;
    }
    for (const double value :
         {0.0, -0.0, 999999.5, 0.00009999995, 1.7976931348623157e308, HUGE_VAL, -HUGE_VAL, std::nan(""), 2.5}) {
        check(value);
    }
}

TEST(NumberTest, FourPlacesAsPrintfWritesThem)
{
    support::Random random(12);
    const auto check = [](float value) {
        char expected[64];
        std::snprintf(expected, sizeof expected, "%.4f", static_cast<double>(value));
        ASSERT_EQ(writtenFixed(value), expected);
    };
    for (int i = 0; i < 100000; ++i) {
        float any;
        const auto bits = static_cast<uint32_t>(anyWord(random) & 0xFFFFFFFF);
        std::memcpy(&any, &bits, sizeof any);
        check(any);
        check(static_cast<float>(random.real(-500, 500)));
        check(static_cast<float>(random.below(1 << 20) - (1 << 19)) / 32);  // ties
        ASSERT_FALSE(HasFatalFailure()) << i;
    }
    constexpr float kMost = std::numeric_limits<float>::max();
    for (const float value : {0.0f, -0.0f, kMost, -kMost, HUGE_VALF, std::nanf(""), 0.00005f, 0.99995f, 1e-45f}) {
        check(value);
    }
}

TEST(NumberTest, RealsAsStrtodReadsThem)
{
    const auto check = [](const std::string& text) {
        char* end = nullptr;
        const double expected = std::strtod(text.c_str(), &end);
        const ZKHAL::JsonNumber number = ZKHAL::readJsonNumber(text.c_str());
        ASSERT_EQ(number.end - text.c_str(), end - text.c_str()) << text;
        ASSERT_EQ(ZKHAL::bitsOf(number.real), ZKHAL::bitsOf(expected)) << text;
    };
    support::Random random(13);
    char text[64];
    for (int i = 0; i < 50000; ++i) {
        std::snprintf(text, sizeof text, "%.*e", random.below(25), realOfBits(anyWord(random) >> 2));
        check(text);
        std::snprintf(text, sizeof text, "0x%x.%08x%08xp%d", random.next(), random.next(), random.next(),
                      random.below(2300) - 1150);
        check(text);
        ASSERT_FALSE(HasFatalFailure()) << i;
    }
    // Halfway between 1 and the next double: what comes 800 places later still tells.
    const std::string tie = "1.00000000000000011102230246251565404236316680908203125";
    const std::string zeros(800, '0');
    for (const std::string& each : {tie,
                                    tie + zeros,
                                    tie + zeros + "1",
                                    "0." + zeros + "1e801",
                                    "1" + zeros + "e-800",
                                    "0." + zeros + "e900",
                                    std::string("2.4703282292062327e-324"),
                                    std::string("2.4703282292062328e-324"),
                                    std::string("0.0e-5"),
                                    std::string("1.7976931348623158e308"),
                                    std::string("1.7976931348623159e308"),
                                    std::string("1e-99999999999"),
                                    std::string("1e99999999999999999999"),
                                    std::string("0x0.0p1"),
                                    std::string("0x1.p-1074"),
                                    std::string("0x1.0000001p-1075"),
                                    std::string("0x1.p-1075"),
                                    std::string("0x1.fffffffffffff8p1023"),
                                    std::string("0x1.8p"),
                                    std::string("0x1."),
                                    std::string("1.e"),
                                    std::string("-1.5e+"),
                                    std::string("-0.0")}) {
        check(each);
    }
}

TEST(NumberTest, OneRealBegins)
{
    const struct {
        const char* text;
        int length;
        double value;
    } kCases[] = {{".5", 2, 0.5}, {"-.25e1x", 6, -2.5}, {"", 0, 0},    {".", 0, 0},   {"-", 0, 0},
                  {"+1", 0, 0},   {" 1", 0, 0},         {"inf", 0, 0}, {"1,5", 1, 1}, {"0x1", 1, 0}};
    for (const auto& c : kCases) {
        const ZKHAL::ReadReal real = ZKHAL::readReal(c.text);
        EXPECT_EQ(real.end - c.text, c.length) << c.text;
        EXPECT_EQ(real.value, c.value) << c.text;
    }
}

}  // namespace
