// The check of command documents: its findings, and that it agrees with what translating does.
#include <cstring>

#include <gtest/gtest.h>

#include "support/DocumentMaker.h"
#include "support/Support.h"

namespace {

using support::Printed;
using support::Robot;

struct CheckCase {
    const char* json;
    const char* findings;
    uint32_t robot = ZK_ROBOT_ORVIK;
};

const CheckCase kChecks[] = {
    {"", ""},
    {R"({"211":{"left_cm_s":1,"right_cm_s":2},"100":{"index":[1],"brightness":1}})", ""},
    {"{\n  \"305\": {},\n  \"x\": 1 }",
     "2:3: remark: 305 is reported as unknown, and nothing is sent of it\n"
     "3:3: remark: \"x\" is no component: ignored"},
    {R"({"6001":{}})", "1:2: remark: 6001 is reported as unknown, but sends the clock to the robot"},
    {R"({"106":{"brightnes":1}})", "1:9: remark: \"brightnes\" is no parameter of light 106: ignored"},
    {R"({"106":7})", "1:2: remark: light 106: its value is a number and no object: no parameter is read"},
    {R"({"106":{"brightness":"1"}})", "1:9: remark: \"brightness\" is text: read as 0"},
    {R"({"106":{"brightness":true}})", "1:9: remark: \"brightness\" is true: read as 0"},
    {R"({"102":{"r":1.5}})", "1:9: remark: \"r\": 1.5 is outside 0 to 1 and does not arrive whole"},
    {R"({"9000":{"pingID":1e3}})", "1:10: remark: \"pingID\": 1000 is read as the whole number 1"},
    {R"({"106":{"brightness":1,"brightness":0}})", "1:24: remark: \"brightness\" is given twice"},
    {R"({"106":{},"106":{}})", "1:11: remark: light 106 is named twice: later parameters overwrite earlier ones"},
    {R"({"200":{"cm_s":1}})", "1:2: remark: one wheel without the other: nothing is sent to the wheels"},
    {R"({"211":{}})",
     "1:2: remark: both wheels is no part of a Pell: its parameters are ignored, and what is sent of it is zero",
     ZK_ROBOT_PELL},
    {R"({"101":{}})", "1:2: remark: colour light 101 has no colour of its own: the colour of 104 is sent"},
    {R"({"450":{}})", "1:2: remark: behaviour start is no part of an Orvik: nothing is sent"},
    {R"({"109":{}})", "1:2: remark: light 109 is no part of an Orvik, but is sent all the same"},
    {R"({"300":{"file":"A/B"}})",
     "1:9: remark: \"file\": every \"/\" is dropped\n"
     "1:2: remark: speaker without \"volume\": volume 0 is sent"},
    {R"({"300":{"file":"123456789012345","volume":2}})",
     "1:9: remark: \"file\" is cut to 14 bytes\n"
     "1:34: remark: \"volume\": 2 is outside 0 to 1: it is not sent"},
    {R"({"5000":{"name":"1234567890123456789"}})", "1:10: remark: \"name\" is cut to 18 bytes"},
    {R"({"5000":{"name":1}})",
     "1:10: remark: \"name\" is a number: read as \"\"\n"
     "1:2: remark: \"pvolume\" is sent though it is not given\n"
     "1:10: remark: \"name\" is not sent: this value counts as not given"},
    {R"({"5000":{"avatar":1,"pvolume":1}})",
     "1:21: remark: \"pvolume\" is not sent: one message carries one setting, and \"avatar\" goes before it"},
    {R"({"100":{}})",
     "1:2: remark: eye ring without \"animation\" or \"index\": animation 0 is sent\n"
     "1:2: remark: eye ring without \"brightness\": brightness 0 is sent"},
    {R"({"100":{"brightness":1,"animation":1,"index":[0,0,0,0,0,0,0,0,0,0,0,0,1]}})",
     "1:24: remark: \"animation\" is lost: \"index\" takes its place\n"
     "1:38: remark: \"index\": only the first 12 elements are lights"},
    {R"({"400":{"cm_s":1,"dir":1}})", "1:9: remark: \"cm_s\" is lost: \"dir\" takes its place"},
    {R"({"304":{"tone1":3,"tone5":{},"tone2":{"frq":1}}})",
     "1:9: remark: tone1: its value is a number and no object: no parameter is read\n"
     "1:19: remark: \"tone5\" is no parameter of synthesizer: ignored\n"
     "1:39: remark: \"frq\" is no parameter of tone2: ignored"},
    {R"({"410":{"message":1,"LEDs":[1]}})", "1:21: remark: \"LEDs\": 1 is no light that shows messages"},
    {R"({"450":{"id":20,"x":1}})", "1:17: remark: \"x\" is no parameter of behaviour start: ignored", ZK_ROBOT_QUILL},
    {R"({"6001":0,"5000":{"avatar":1},"304":{},"106":{"brightness":1}})",
     "1:2: remark: 6001 is reported as unknown, but sends the clock to the robot\n"
     "1:2: remark: clock goes into a third packet, which json2Packets drops\n"
     "1:31: remark: no room is left: synthesizer is not sent"},
    {R"({"211":{},"104":{},"202":{},"203":{},"100":{"index":[],"brightness":1},"102":{},"103":{},"105":{}})",
     "1:90: remark: light 105 is not sent: the combined packet has no place for it\n"
     "1:38: remark: eye brightness is not sent: the combined packet has no place for it"},
    // Behaviours: values beyond the range of their id, of another id, or beaten by six bytes.
    {R"({"450":{"id":40,"avg_deg":0,"amp_deg":99,"prd_s":100}})",
     "1:29: remark: \"amp_deg\": 99 is outside 0 to 30: it is limited\n"
     "1:42: remark: \"prd_s\": 100 is outside 0 to 16.382 and does not arrive whole",
     ZK_ROBOT_QUILL},
    {R"({"450":{"id":50,"avg_deg":-100,"amp_deg":99,"prd_s":1}})", "", ZK_ROBOT_QUILL},
    {R"({"450":{"id":60,"amp_deg":9,"prd_s":1,"avg_deg":1}})", "1:39: remark: \"avg_deg\" is not sent by behaviour 60",
     ZK_ROBOT_QUILL},
    {R"({"450":{"id":20,"params":[1,2,3,4,5,6],"rpt":1}})", "1:40: remark: \"rpt\" is lost: \"params\" takes its place",
     ZK_ROBOT_QUILL},
    {R"({"450":{"id":70000,"params":[1,2,3,4,5,256]}})",
     "1:9: remark: \"id\": 70000 is outside 0 to 65534 and does not arrive whole\n"
     "1:20: remark: \"params\": 256 in it is outside 0 to 255 and does not arrive whole",
     ZK_ROBOT_QUILL},
    {R"({"450":{"id":10,"anim":1,"rpt":2,"max_scl":3}})",
     "1:26: remark: \"rpt\": 2 is outside 0 to 1: it counts as 1\n"
     "1:34: remark: \"max_scl\": 3 is outside 0 to 2: it counts as 1",
     ZK_ROBOT_QUILL},
    // Values that a later one takes the place of, in the component or in another.
    {R"({"200":{"cm_s":1},"201":{"cm_s":1},"211":{"left_cm_s":1}})",
     "1:9: remark: \"cm_s\" is lost: \"left_cm_s\" of both wheels takes its place"},
    {R"({"211":{"left_cm_s":1,"right_cm_s":1},"201":{"cm_s":1}})",
     "1:23: remark: \"right_cm_s\" is lost: \"cm_s\" of right wheel takes its place"},
    {R"({"204":{"angular_cm_s":1,"angular_deg_s":1}})",
     "1:9: remark: \"angular_cm_s\" is lost: \"angular_deg_s\" takes its place"},
    // Limits of the head's speeds and times, signs, bytes of the eye.
    {R"({"209":{"angular_deg_s":-15020},"208":{"angular_cm_s":263}})",
     "1:9: remark: \"angular_deg_s\": -15020 is outside -15019.7 to 15019.2: it is limited\n"
     "1:40: remark: \"angular_cm_s\": 263 is outside -262.144 to 262.136: it is limited"},
    {R"({"206":{"degree":0,"time":33}})", "1:20: remark: \"time\": 33 is outside -32.768 to 32.767: it is limited"},
    {R"({"204":{"linear_acc_cm_s_s":-9,"angular_acc_deg_s_s":4000}})",
     "1:9: remark: \"linear_acc_cm_s_s\": -9 is outside 0 to 1023: its sign is dropped\n"
     "1:32: remark: \"angular_acc_deg_s_s\": 4000 is outside 0 to 3751.27: it is limited"},
    {R"({"100":{"brightness":[256,1,true,0],"index":[1]}})",
     "1:9: remark: \"brightness\": 256 does not fit a byte: only its low bits are sent\n"
     "1:9: remark: \"brightness\" is true: read as 0"},
    {R"({"300":{"volume":1.005}})", "1:9: remark: \"volume\": 1.005 is outside 0 to 1: 100 % is sent"},
    // Other parameters decide, as the field that keeps them has them, and the last of each in the document.
    {R"({"450":{"id":65576,"avg_deg":0,"amp_deg":9,"prd_s":1}})",
     "1:9: remark: \"id\": 65576 is outside 0 to 65534 and does not arrive whole", ZK_ROBOT_QUILL},
    {R"({"205":{"mode":4294967300,"x":900}})",
     "1:9: remark: \"mode\": 4294967300 is outside 0 to 5 and does not arrive whole"},
    {R"({"207":{"hold":1,"hold":0,"time":40}})",
     "1:18: remark: \"hold\" is given twice\n"
     "1:27: remark: \"time\": 40 is outside -32.768 to 32.767: it is limited"},
    {R"({"205":{"mode":4,"x":900},"205":{"mode":1}})",
     "1:18: remark: \"x\": 900 is outside -819.2 to 819.1 and does not arrive whole\n"
     "1:27: remark: body pose is named twice: later parameters overwrite earlier ones"},
    {R"({"205":{"mode":4},"205":{"x":900}})",
     "1:19: remark: body pose is named twice: later parameters overwrite earlier ones"},
    {R"({"204":{"linear_acc_cm_s_s":1,"angular_acc_deg_s_s":2},"204":{"angular_acc_deg_s_s":1}})",
     "1:9: remark: \"linear_acc_cm_s_s\" is lost: body motion is named again\n"
     "1:56: remark: body motion is named twice: later parameters overwrite earlier ones\n"
     "1:63: remark: \"angular_acc_deg_s_s\" is not sent by body motion without \"linear_acc_cm_s_s\""},
    {R"({"450":{"id":40,"params":[1,2,3,4,5,6]},"450":{"id":0,"bkup":1}})",
     "1:17: remark: \"params\" is lost: behaviour start is named again\n"
     "1:41: remark: behaviour start is named twice: later parameters overwrite earlier ones\n"
     "1:41: remark: of the six bytes of behaviour start, 5 are still those of an earlier naming",
     ZK_ROBOT_QUILL},
    {R"({"213":{"prcnt":1,"prcnt":200}})", "1:19: remark: \"prcnt\" is lost: it is given twice, and the first counts"},
    // Two namings of which each asks for another command, or the later one supplies what is missed.
    {R"({"301":{},"301":{"file":"a"}})",
     "1:11: remark: on-robot animation is named twice: later parameters overwrite earlier ones\n"
     "1:2: remark: on-robot animation without a name is sent too, for an earlier naming, with what the last one leaves "
     "of its values"},
    {R"({"100":{"brightness":[0,0,0,1]},"100":{"index":[1]}})",
     "1:33: remark: eye ring is named twice: later parameters overwrite earlier ones"},
    {R"({"300":{"file":"a","volume":0.5},"300":{"volume":2}})",
     "1:34: remark: speaker is named twice: later parameters overwrite earlier ones\n"
     "1:41: remark: \"volume\": 2 is outside 0 to 1: 200 % is sent"},
    {R"({"300":{"file":"","volume":655.4}})",
     "1:9: remark: \"file\" is empty: no sound is played\n"
     "1:19: remark: \"volume\": 655.4 is outside 0 to 1: 4 % is sent"},
    // Settings: values that count as not given, and what is sent in the place of others.
    {R"({"5000":{"color":300,"avatar":1}})",
     "1:2: remark: \"anim\" is sent though it is not given\n"
     "1:10: remark: \"color\" is not sent: this value counts as not given\n"
     "1:22: remark: \"avatar\" is not sent: one message carries one setting, and \"anim\" goes before it"},
    {R"({"5000":{"name":"","peyebright":0.5}})",
     "1:2: remark: \"pvolume\" is sent though it is not given\n"
     "1:10: remark: \"name\" is not sent: this value counts as not given\n"
     "1:20: remark: \"peyebright\" is not sent: one message carries one setting, and \"pvolume\" goes before it"},
    {R"({"5000":{"color":255,"anim":3}})", "1:10: remark: \"color\": 255 counts as not given: the robot's own is sent"},
    // Lists: each kind of fault once, and none twice.
    {R"({"450":{"id":0,"params":[1.5,300,-5,4,5,6,800]}})",
     "1:16: remark: \"params\": 1.5 in it is read as the whole number 1\n"
     "1:16: remark: \"params\": 300 in it is outside 0 to 255 and does not arrive whole\n"
     "1:16: remark: \"params\": only the first 6 elements are sent",
     ZK_ROBOT_QUILL},
    {R"({"100":{"index":{"1":2,"1a":0},"brightness":[1,2]}})",
     "1:9: remark: \"index\": 2 in it counts as 1\n"
     "1:24: remark: \"index\": \"1a\" is read as light 1\n"
     "1:24: remark: \"index\": light 1 is given twice, and is on\n"
     "1:32: remark: \"brightness\": a list of 2 is not read: 255 is sent"},
    {R"({"410":{"message":256,"LEDs":["102"]},"410":{"LEDs":[103,105]}})",
     "1:9: remark: \"message\": 256 is outside 0 to 63 and does not arrive whole\n"
     "1:23: remark: \"LEDs\": text in it is read as 0\n"
     "1:39: remark: light message is named twice: later parameters overwrite earlier ones, but the lights of both are "
     "meant\n"
     "1:46: remark: \"LEDs\": 105 is no light that shows messages"},
    // Refused
    {R"({"203":{"degree":121,"time":1},"213":{"prcnt":101},"9000":{"pingID":70000}})",
     "1:9: remark: \"degree\": 121 is outside -120 to 120: it is limited\n"
     "1:22: remark: \"time\" is not sent by head pan\n"
     "1:39: remark: \"prcnt\": 101 is outside -100 to 100: it is limited\n"
     "1:60: remark: \"pingID\": 70000 is outside 0 to 65535 and does not arrive whole"},
    {R"({"203":{"degree":121}})", "", ZK_ROBOT_QUILL},
    {R"({"211":{"left_cm_s":1100,"right_cm_s":0}})",
     "1:9: remark: \"left_cm_s\": 1100 is outside -1092.2 to 1092.2 and does not arrive whole"},
    {R"({"205":{"mode":1,"x":900}})", "1:18: remark: \"x\": 900 is outside -819.2 to 819.1 and does not arrive whole"},
    {R"({"205":{"mode":4,"x":1e6}})", "1:18: remark: \"x\": 1000000 is outside -3276.8 to 3276.7: it is limited"},
    {R"({"207":{"hold":1,"time":-1}})", "1:18: remark: \"time\": -1 is outside 0 to 163.83 and does not arrive whole"},
    {R"({"451":{"id":2,"bkup":1}})", "1:16: remark: \"bkup\" is not sent by behaviour stop", ZK_ROBOT_QUILL},
    {R"({"5000":{"pvolume":2,"peyebright":0.5}})", ""},
    {R"({"0106":{"brightness":1}})", "1:2: remark: \"0106\" is read as component 106"},
    {R"({"106":{"brightness":1}})",
     "1:1: remark: a Rusk takes shell commands only: no command packet means anything to it\n"
     "1:2: remark: light 106 is no part of a Rusk, but is sent all the same",
     ZK_ROBOT_RUSK},
    {R"({"204":{"linear_acc_cm_s_s":1}})",
     "1:9: remark: \"linear_acc_cm_s_s\" is not sent by body motion without \"angular_acc_deg_s_s\""},
    {R"({"205":{"mode":3,"ease":1}})", "1:18: remark: \"ease\" is not sent by body pose when \"mode\" is 3 to 4"},
    {R"({"100":{"brightness":1.5,"index":["1"]}})",
     "1:9: remark: \"brightness\": above 1, 1.5 is the byte 1\n1:26: remark: \"index\": text in it is read as 0"},
    {R"({"450":{"id":10,"params":[1,2,3,4,5,6]}})", "", ZK_ROBOT_QUILL},
    {"{\"106\":{\"brightness\":1}}\n,{}", "2:1: remark: what follows the document is ignored"},
    {R"({"5000":{"name":"caf\u00e9"}})",
     "1:21: remark: \\u escapes are dropped: write the characters themselves, as UTF-8"},
    // The combined packet takes the eye lights along, and no brightness is missed.
    {R"({"211":{},"104":{},"202":{},"203":{},"100":{"index":[1]},"102":{},"103":{}})", ""},
    {"{\"100\":{\"index\":{\"0\":1,\n\"99\":1}},\"7\":1}",
     "1:18: refused: \"0\": the eye ring has lights 1 to 12\n"
     "2:1: refused: \"99\": the eye ring has lights 1 to 12\n2:10: remark: \"7\" is no component: ignored"},
    {R"({"450":{"id":20},"451":{"id":65535}})", "1:18: refused: \"451\": a behaviour needs an \"id\" other than 65535",
     ZK_ROBOT_QUILL},
    {"7", "1:1: refused: a command document is an object of components, like {\"106\":{\"brightness\":1}}"},
    {"{\n\u201C106\u201D:{}}",
     "2:1: refused: not JSON: unexpected chars at \"\u201C106\u201D:{}}\": use straight double quotes (\")"},
    {"{'106':{}}", "1:2: refused: not JSON: unexpected chars at \"'106':{}}\": use straight double quotes (\")"},
    {"{\"300\":{\"file\":\u00ABA\u00BB}}",
     "1:16: refused: not JSON: unexpected chars at \"\u00ABA\u00BB}}\": use straight double quotes (\")"},
    {"{\"5000\":{\"name\":\"\u201CBo\u201D\"}x", "1:28: refused: not JSON: unexpected chars at \"x\""},
    {"{", "1:2: refused: not JSON: the text ends before the document does"},
};

TEST(CheckTest, Findings)
{
    Printed printed;
    for (const CheckCase& c : kChecks) {
        char message[2048];
        const int result = ZKCheckCommandDocument(c.json, c.robot, message, sizeof message);
        EXPECT_STREQ(message, c.findings) << c.json;
        const bool refused = std::strstr(c.findings, "refused") != nullptr;
        EXPECT_EQ(result, refused               ? ZK_CHECK_REFUSED
                          : *c.findings != '\0' ? ZK_CHECK_REMARKS
                                                : ZK_CHECK_ACCEPTED)
            << c.json;
        EXPECT_EQ(ZKCheckCommandDocument(c.json, c.robot, nullptr, 0), result);
    }
    EXPECT_EQ(printed.take(), "");
}

TEST(CheckTest, TooManyFindingsSayThatThereAreMore)
{
    std::string json = "{\"106\":{";
    for (int i = 0; i < 3000; ++i) {
        json += "\"zzz\":1,";
    }
    static char message[1 << 17];
    EXPECT_EQ(ZKCheckCommandDocument((json + "}}").c_str(), ZK_ROBOT_ORVIK, message, sizeof message), ZK_CHECK_REMARKS);
    EXPECT_STREQ(std::strrchr(message, '\n'), "\n... and more");
}

TEST(CheckTest, MessagesAreCutAtACharacter)
{
    char message[24];
    const char kJson[] = "{\"é\":1}";  // 1:2: remark: "é" ...
    ZKCheckCommandDocument(kJson, ZK_ROBOT_ORVIK, message, 16);
    EXPECT_STREQ(message, "1:2: remark: \"");
    ZKCheckCommandDocument(kJson, ZK_ROBOT_ORVIK, message, 17);
    EXPECT_STREQ(message, "1:2: remark: \"é");
    ZKCheckCommandDocument(kJson, ZK_ROBOT_ORVIK, message, 1);
    EXPECT_STREQ(message, "");
    EXPECT_EQ(ZKCheckCommandDocument(nullptr, ZK_ROBOT_ORVIK, message, sizeof message), ZK_CHECK_ACCEPTED);
}

// On random documents: refused by the check exactly when refused by the translator; a document without remarks is
// translated without a printed word and in at most two packets.
TEST(CheckTest, AgreesWithTheTranslator)
{
    Printed printed;
    support::DocumentMaker maker(20260101);
    int results[3] = {};
    for (int i = 0; i < 20000; ++i) {
        const uint32_t type = static_cast<uint32_t>(1000 + i % 5);
        const std::string json = maker.wildDocument();
        const int result = ZKCheckCommandDocument(json.c_str(), type, nullptr, 0);
        ASSERT_EQ(printed.take(), "") << json;
        const std::string packets = Robot(type).send(json);
        const std::string said = printed.take();
        ASSERT_EQ(result == ZK_CHECK_REFUSED, packets.find("refused") != std::string::npos) << json;
        if (result == ZK_CHECK_ACCEPTED && type != ZK_ROBOT_RUSK && type != ZK_ROBOT_UNRECOGNISED) {
            ASSERT_EQ(said, "") << json;
            ASSERT_LE(packets.size(), 2 * 59u + 3) << json;
        }
        ++results[result];
    }
    EXPECT_GT(results[ZK_CHECK_ACCEPTED], 500);
    EXPECT_GT(results[ZK_CHECK_REFUSED], 500);
}

}  // namespace
