// The JSON reader: what it takes, what it makes of it, and where it stops.
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>
#include <pthread.h>

#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Json/JsonNumber.h"
#include "CoreUtility/Json/nx_json.h"
#include "support/Support.h"

namespace {

std::string written(const nx_json* node)
{
    char number[64];
    std::string text = node->key != nullptr ? std::string(node->key) + ":" : "";
    switch (node->type) {
        case NX_JSON_NULL:
            return text + "null";
        case NX_JSON_BOOL:
            return text + (node->int_value != 0 ? "true" : "false");
        case NX_JSON_STRING:
            return text + "'" + node->text_value + "'";
        case NX_JSON_INTEGER:
            return text + std::to_string(node->int_value);
        case NX_JSON_DOUBLE:
            std::snprintf(number, sizeof number, "%.17g(%lld)", node->dbl_value,
                          static_cast<long long>(node->int_value));
            return text + number;
        default:
            break;
    }
    text += node->type == NX_JSON_OBJECT ? "{" : "[";
    int count = 0;
    for (const nx_json* child = node->child; child != nullptr; child = child->next, ++count) {
        text += (count > 0 ? " " : "") + written(child);
    }
    EXPECT_EQ(node->length, count);
    return text + (node->type == NX_JSON_OBJECT ? "}" : "]");
}

struct ReadCase {
    const char* text;
    const char* tree;  // or "error: " and the printed line without its site number
};

const ReadCase kReads[] = {
    {R"({"a":1,})", "{a:1}"},
    {"[1,,2]", "[1 2]"},
    {"[1 2] trailing", "[1 2]"},
    {",\t\r\n 7", "7"},
    {"[1]]", "[1]"},
    {"[,]", "[]"},
    {"{\"a\":[1,{\"b\":[]},2],\x01\x1f,\"c\"\x02:\"d\"}", "{a:[1 {b:[]} 2] c:'d'}"},
    {"/* a */ [ // b\n 1 /**/ ]", "[1]"},
    {"{/* */\"a\"://\n1//\n}", "{a:1}"},
    {R"(["\"\/\\\b\f\n\r\t\q"])", "['\"/\\\b\f\n\r\t\\q']"},
    {R"(["a\u00e9b\ud83d\ude00c\u0000\udc00"])", "['abc']"},
    {"[true,false,null,\"\"]", "[true false null '']"},
    {"[\xC3\xA9]", "error: unexpected chars at \xC3\xA9]"},
    // Numbers
    {"[0x1F,010,-0x10,-010,0X1f,0x,08]", "error: unexpected chars at x,08]"},
    {"[0x1F,010,-0x10,-010,0X1f]", "[31 8 -16 -8 31]"},
    {"[08 19]", "[0 8 19]"},
    {"[1.7,-1.7,1.,1e2,1E+2,010.5,0x1F.8,0x1.8p1]", "[1.7(1) -1.7(-1) 1(1) 100(1) 100(1) 10.5(8) 31.5(31) 3(1)]"},
    {"[9223372036854775807,9223372036854775808,-9223372036854775809,99999999999999999999]",
     "[9223372036854775807 9223372036854775807 -9223372036854775808 9223372036854775807]"},
    {"[-9223372036854775808 -00000000000000000001]", "[-9223372036854775808 -1]"},
    {"[0xFFFFFFFFFFFFFFFFF, 1e999,-1e-999]", "[9223372036854775807 inf(1) -0(-1)]"},
    {"[1e]", "error: unexpected chars at e]"},
    {"-", "error: invalid number at -"},
    {"[-x]", "error: invalid number at -x]"},
    {"[-.5]", "error: invalid number at -.5]"},
    {"[.5]", "error: unexpected chars at .5]"},
    // Errors
    {"", "error: unexpected end of text at "},
    {"[1", "error: unexpected end of text at "},
    {"{\"a\":", "error: unexpected end of text at "},
    {"{", "error: unexpected chars at "},
    {"{\"a\":}", "error: unexpected chars at }"},
    {"{\"a\" 1}", "error: unexpected chars at 1}"},
    {"{\"a\":]}", "error: unexpected chars at ]}"},
    {"{a:1}", "error: unexpected chars at a:1}"},
    {"]", "error: unexpected chars at ]"},
    {"[1}", "error: unexpected chars at }"},
    {"[tru]", "error: unexpected chars at tru]"},
    {"[/1]", "error: unexpected chars at /1]"},
    {"[1 // x", "error: endless comment at // x"},
    {"[1 /* x *", "error: endless comment at /* x *"},
    {"/*", "error: endless comment at /*"},
    {"{/*/}", "error: endless comment at /*/}"},
    {"[\"abc", "error: no closing quote for string at \"abc"},
    {R"(["a\u00e9\nb)", R"(error: no closing quote for string at "a\u00e9\nb)"},
    {"[\"abc\\", "error: no closing quote for string at \"abc\\"},
    {R"(["\u12g4"])", R"(error: invalid unicode escape at \u12g4"])"},
    {R"(["\u12)", R"(error: invalid unicode escape at \u12)"},
    {R"(["\ud800x"])", R"(error: invalid unicode surrogate at \ud800x"])"},
    {R"(["\ud800\u0041"])", R"(error: invalid unicode surrogate at \ud800\u0041"])"},
};

std::string read(const char* text, nx_json_unicode_encoder encoder, bool utf8)
{
    support::Printed printed;
    std::string copy = text;
    const nx_json* root = utf8 ? nx_json_parse_utf8(copy.data()) : nx_json_parse(copy.data(), encoder);
    if (root == nullptr) {
        std::string line = printed.take();
        EXPECT_EQ(line.rfind("err:NXJSON PARSE ERROR (", 0), 0u);
        EXPECT_EQ(line.back(), '\n');
        return "error: " + line.substr(line.find("): ") + 3, line.size() - line.find("): ") - 4);
    }
    const std::string tree = written(root);
    nx_json_free(root);
    return tree;
}

TEST(JsonReaderTest, TextsAndTrees)
{
    for (const ReadCase& c : kReads) {
        EXPECT_EQ(read(c.text, nullptr, true), c.tree) << c.text;
        // The reader over reusable storage is the same reader.
        ZKHAL::JsonDocument document;
        const nx_json* root = document.parse(c.text, std::strlen(c.text));
        EXPECT_EQ(root != nullptr ? written(root) : "error", std::string(c.tree).substr(0, root ? 999 : 5)) << c.text;
    }
}

TEST(JsonReaderTest, EncodersDecideWhatAnEscapeBecomes)
{
    EXPECT_EQ(read(R"(["\u0041\u00e9\u20ac\ud83d\ude00"])", unicode_to_utf8, false), "['Aé€😀']");
    EXPECT_EQ(read(R"(["\udc00"])", unicode_to_utf8, false), R"(error: invalid codepoint at \udc00"])");
    EXPECT_EQ(read(R"(["\u00e9\ud800 \uzz"])", nullptr, false), R"(['\u00e9\ud800 \uzz'])");
    char out[8];
    char* end = nullptr;
    EXPECT_EQ(unicode_to_utf8(0x110000, out, &end), 0);
}

TEST(JsonReaderTest, LookUpsNeverReturnNothing)
{
    char text[] = R"({"a":1,"b":{"c":[4,5]},"a":2})";
    const nx_json* root = nx_json_parse_utf8(text);
    EXPECT_EQ(nx_json_get(root, "a")->int_value, 1);
    EXPECT_EQ(nx_json_item(nx_json_get(nx_json_get(root, "b"), "c"), 1)->int_value, 5);
    const nx_json* nothing = nx_json_get(root, "missing");
    EXPECT_EQ(nothing->type, NX_JSON_NULL);
    EXPECT_EQ(nothing->length, 0);
    for (const nx_json* other : {nx_json_get(nullptr, "a"), nx_json_get(root, nullptr), nx_json_item(root, 3),
                                 nx_json_item(root, -1), nx_json_item(nullptr, 0)}) {
        EXPECT_EQ(other, nothing);
    }
    nx_json_free(root);
    nx_json_free(nullptr);
}

TEST(JsonReaderTest, RealsAreRoundedLikeTheCLibrary)
{
    support::Random random(7);
    ZKHAL::JsonDocument document;
    char text[64];
    for (int i = 0; i < 200000; ++i) {
        const int digits = 1 + random.below(19);
        std::string number = i % 2 == 0 ? "" : "-";
        number += static_cast<char>('1' + random.below(9));
        for (int d = 1; d < digits; ++d) {
            number += static_cast<char>('0' + random.below(10));
        }
        number.insert(number.size() - static_cast<size_t>(random.below(digits)), ".");
        if (i % 3 == 0) {
            number += "e" + std::to_string(random.below(50) - 25);
        }
        const ZKHAL::JsonNumber read = ZKHAL::readJsonNumber(number.c_str());
        ASSERT_EQ(read.real, std::strtod(number.c_str(), nullptr)) << number;
        ASSERT_EQ(*read.end, '\0') << number;
        const nx_json* node = document.parse(number.c_str(), number.size());  // has a way of its own for most numbers
        ASSERT_EQ(node->dbl_value, read.real) << number;
        ASSERT_EQ(node->int_value, read.integer) << number;
    }
    // Halfway between two doubles, and a hair beyond.
    for (const char* tie : {"9007199254740993.0", "9007199254740993.00000000000000000000001", "0.1", "2.5e-324",
                            "4503599627370497.5", "1125899906842624.125", "1125899906842624.375"}) {
        EXPECT_EQ(ZKHAL::readJsonNumber(tie).real, std::strtod(tie, nullptr)) << tie;
    }
    for (int i = 0; i < 100000; ++i) {  // as scripts print them
        std::snprintf(text, sizeof text, "%.17g", random.real(-1000, 1000));
        ASSERT_EQ(ZKHAL::readJsonNumber(text).real, std::strtod(text, nullptr)) << text;
        ASSERT_EQ(document.parse(text, std::strlen(text))->dbl_value, std::strtod(text, nullptr)) << text;
    }
}

// A million open brackets, parsed and freed, on a stack of 64 KiB.
void* nestDeeply(void* result)
{
    constexpr size_t kDepth = 1000000;
    std::string text(kDepth, '[');
    const nx_json* unclosed = nx_json_parse_utf8(text.data());
    text.append(kDepth, ']');
    for (size_t i = 0; i < kDepth; i += 2) {
        text.replace(i, 1, "[");
    }
    const nx_json* root = nx_json_parse_utf8(text.data());
    *static_cast<bool*>(result) = unclosed == nullptr && root != nullptr;
    nx_json_free(root);
    ZKHAL::JsonDocument document;
    *static_cast<bool*>(result) &= document.parse(text.c_str(), text.size()) != nullptr;
    return nullptr;
}

TEST(JsonReaderTest, DepthTakesNoStack)
{
    support::Printed printed;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 * 1024);
    pthread_t thread;
    bool ok = false;
    ASSERT_EQ(pthread_create(&thread, &attributes, nestDeeply, &ok), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    EXPECT_TRUE(ok);
}

TEST(JsonReaderTest, AHugeDocumentDoesNotStayResident)
{
    ZKHAL::JsonDocument document;
    std::string text = "[" + std::string(1 << 20, ',') + "]";
    ASSERT_NE(document.parse(text.c_str(), text.size()), nullptr);
    document.clear();
    EXPECT_EQ(document.text(), nullptr);
}

}  // namespace
