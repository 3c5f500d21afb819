// The vocabulary holds: what it says of every parameter and every sensor value is what the library does.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>

#include <gtest/gtest.h>

#include "CoreUtility/Json/nx_json.h"
#include "Simulator/CommandReader.h"
#include "support/Support.h"

namespace {

using namespace Simulator::Field;
using Simulator::FieldLayout;
using support::Random;

template <class Info, class Get>
std::vector<Info> listed(Get get)
{
    std::vector<Info> all;
    for (Info info = {};; all.push_back(info)) {
        info.size = sizeof info;
        if (!get(all.size(), &info)) {
            return all;
        }
    }
}

// How a parameter travels: the members that make a document of it that needs no remark, and the field that carries it.
struct Carrier {
    const char* component;
    const char* key;     // "tone2.freq" for a member of an object
    const char* with;    // further members of the component
    const char* beside;  // further components
    const FieldLayout* field;
    double factor = 1;             // field value = document value * factor
    double tolerance = 0.5;        // a unit of the field, or half of it
    const char* inside = nullptr;  // values that are no numbers: one that survives, with what the field holds then
    double carried = 0;
    const char* outside = nullptr;  // and one that does not
};

constexpr double kRad = 3.141592653589793 / 180;
constexpr char kEye[] = R"("brightness":1,)";
constexpr char kOtherAcceleration[] = R"("linear_acc_cm_s_s":1,)", kAcceleration[] = R"("angular_acc_deg_s_s":1,)";
constexpr char kSynth[] = R"("duration":9,)";

const Carrier kCarriers[] = {
    {"power", "pwr", "", "", &kState},
    {"eye_ring", "animation", kEye, "", &kPattern},
    {"eye_ring", "brightness", R"("index":[1],)", "", &kBrightness, 1, 0, "200", 200, "256"},
    {"eye_ring", "brightness", R"("animation":1,)", "", &kQuarters[2], 1, 0, "[0,0,0.5,1]", 127, "[0,300,0,0]"},
    {"eye_ring", "index", kEye, "", &kEyeLights, 1, 0, "[1,0,0,1]", 9, "[1,0,0,0,0,0,0,0,0,0,0,0,0]"},
    {"light_102", "r", "", "", &kRed, 255, 1},
    {"light_102", "g", "", "", &kGreen, 255, 1},
    {"light_102", "b", "", "", &kBlue, 255, 1},
    {"light_105", "brightness", "", "", &kBrightness, 255, 1},
    {"light_108", "1", "", "", &kThreeLights[0], 255, 1},
    {"light_108", "2", "", "", &kThreeLights[1], 255, 1},
    {"light_108", "3", "", "", &kThreeLights[2], 255, 1},
    {"wheel_left", "cm_s", "", R"("201":{"cm_s":1},)", &kLeft, 1, 0.034},
    {"wheel_right", "cm_s", "", R"("200":{"cm_s":1},)", &kRight, 1, 0.034},
    {"wheels", "left_cm_s", "", "", &kLeft, 1, 0.034},
    {"wheels", "right_cm_s", "", "", &kRight, 1, 0.034},
    {"head_tilt", "degree", "", "", &kHeadAngle, 1, 0.0051},
    {"timed_head_tilt", "degree", "", "", &kMoveAngle, 1, 0.0051},
    {"timed_head_tilt", "time", "", "", &kMoveTime, 1, 0.00051},
    {"timed_head_tilt", "time", R"("hold":1,)", "", &kHoldTime, 1, 0.0051},
    {"timed_head_tilt", "hold", "", "", nullptr},
    {"head_tilt_speed", "angular_cm_s", "", "", &kHeadSpeed, 1, 0.008},
    {"head_tilt_speed", "angular_deg_s", "", "", &kHeadSpeed, kRad, 0.008},
    {"body_motion", "linear_cm_s", "", "", &kLinear, 1, 0.2},
    {"body_motion", "angular_cm_s", "", "", &kAngular, 1, 0.008},
    {"body_motion", "angular_deg_s", "", "", &kAngular, kRad, 0.008},
    {"body_motion", "linear_acc_cm_s_s", kAcceleration, "", &kLinearAcceleration, 1, 1},
    {"body_motion", "angular_acc_deg_s_s", kOtherAcceleration, "", &kAngularAcceleration, kRad, 0.064},
    {"body_motion", "pose", "", "", nullptr},
    {"body_pose", "x", R"("mode":1,)", "", &kX, 1, 0.051},
    {"body_pose", "x", R"("mode":4,)", "", &kWideX, 1, 0.051},
    {"body_pose", "y", R"("mode":1,)", "", &kY, 1, 0.051},
    {"body_pose", "y", R"("mode":3,)", "", &kWideY, 1, 0.051},
    {"body_pose", "degree", R"("mode":5,)", "", &kHeading, kRad, 0.0051},
    {"body_pose", "degree", R"("mode":4,)", "", &kWideHeading, kRad, 0.0051},
    {"body_pose", "time", R"("mode":2,)", "", &kPoseTime, 1, 0.001},
    {"body_pose", "time", R"("mode":3,)", "", &kWideTime, 1, 0.00051},
    {"body_pose", "mode", "", "", nullptr},
    {"body_pose", "dir", "", "", &kDirection},
    {"body_pose", "wrap_theta", "", "", &kWrap},
    {"body_pose", "ease", "", "", &kEase},
    {"percentage_213", "prcnt", "", "", &kPercent, 1, 0.51},
    {"speaker", "file", R"("volume":1,)", "", nullptr, 1, 0, "\"SYSTHELLO\"", 0, "\"123456789012345\""},
    {"speaker", "volume", "", "", &kVolume, 100, 1},
    {"animation", "file", "", "", nullptr, 1, 0, "\"DANCE\"", 0, "\"123456789012345\""},
    {"synthesizer", "duration", "", "", &kDuration},
    {"synthesizer", "perc1", kSynth, "", &kPercentage1},
    {"synthesizer", "perc2", kSynth, "", &kPercentage2},
    {"synthesizer", "tone1.type", kSynth, "", &kTones[0].type},
    {"synthesizer", "tone1.freq", kSynth, "", &kTones[0].frequency, 1, 0.1},
    {"synthesizer", "tone1.phase", kSynth, "", &kTones[0].phase, 1, 1},
    {"synthesizer", "tone2.type", kSynth, "", &kTones[1].type},
    {"synthesizer", "tone2.freq", kSynth, "", &kTones[1].frequency, 1, 0.1},
    {"synthesizer", "tone2.phase", kSynth, "", &kTones[1].phase, 1, 1},
    {"synthesizer", "tone3.type", kSynth, "", &kTones[2].type},
    {"synthesizer", "tone3.freq", kSynth, "", &kTones[2].frequency, 1, 0.1},
    {"synthesizer", "tone3.phase", kSynth, "", &kTones[2].phase, 1, 1},
    {"synthesizer", "tone4.type", kSynth, "", &kTones[3].type},
    {"synthesizer", "tone4.freq", kSynth, "", &kTones[3].frequency, 1, 0.1},
    {"synthesizer", "tone4.phase", kSynth, "", &kTones[3].phase, 1, 1},
    {"launcher_400", "cm_s", "", "", &kLauncher, 255, 1},
    {"launcher_400", "dir", "", "", &kLauncher},
    {"light_message", "message", "", "", &kMessage},
    {"light_message", "LEDs", "", "", &kMessageLights, 1, 0, "[102,106]", 9, "[105]"},
    {"behaviour_start", "id", R"("params":[1,2,3,4,5,6],)", "", &kBehaviourId},
    {"behaviour_start", "weight", R"("id":20,)", "", &kWeight, 255, 1},
    {"behaviour_start", "params", R"("id":20,)", "", &kBehaviourBytes[4], 1, 0, "[1,2,3,4,5,6]", 5, "[1,2,3,4,256,6]"},
    {"behaviour_start", "bkup", R"("id":0,)", "", &kBehaviourBytes[5]},
    {"behaviour_start", "anim", R"("id":10,"rpt":0,)", "", nullptr},
    {"behaviour_start", "rpt", R"("id":10,"anim":1,)", "", &kBehaviourBytes[5]},
    {"behaviour_start", "max_scl", R"("id":10,"anim":1,"rpt":0,)", "", &kBehaviourBytes[2], 127.5, 1},
    {"behaviour_start", "sidelen_cm", R"("id":30,"sidetm_s":1,"turntm_s":1,)", "", &kBehaviourBytes[0], 1, 1},
    {"behaviour_start", "sidetm_s", R"("id":30,"sidelen_cm":1,"turntm_s":1,)", "", &kBehaviourBytes[1], 10, 1},
    {"behaviour_start", "turntm_s", R"("id":30,"sidelen_cm":1,"sidetm_s":1,)", "", &kBehaviourBytes[2], 10, 1},
    {"behaviour_start", "avg_deg", R"("id":40,"amp_deg":1,"prd_s":1,)", "", nullptr},
    {"behaviour_start", "amp_deg", R"("id":50,"avg_deg":1,"prd_s":1,)", "", nullptr},
    {"behaviour_start", "amp_deg", R"("id":60,"prd_s":1,)", "", nullptr},
    {"behaviour_start", "amp_cm_s", R"("id":70,"prd_s":1,)", "", nullptr},
    {"behaviour_start", "prd_s", R"("id":70,"amp_cm_s":1,)", "", nullptr},
    {"behaviour_stop", "id", "", "", &kBehaviourId},
    {"user_settings", "name", "", "", nullptr, 1, 0, "\"Bo\"", 0, "\"1234567890123456789\""},
    {"user_settings", "color", R"("anim":1,)", "", &kSettingColor},
    {"user_settings", "anim", R"("color":1,)", "", &kSettingAnimation},
    {"user_settings", "avatar", "", "", &kSetting},
    {"user_settings", "pvolume", "", "", &kSettingPercent, 100, 1},
    {"user_settings", "peyebright", R"("pvolume":2,)", "", &kSettingLevel, 255, 1},
    {"ping", "pingID", "", "", &kPingId},
};

// Components whose parameters are those of another.
const char* const kAlike[][2] = {
    {"light_103", "light_102"},
    {"light_104", "light_102"},
    {"light_107", "light_102"},
    {"light_106", "light_105"},
    {"light_109", "light_105"},
    {"light_110", "light_105"},
    {"light_111", "light_105"},
    {"head_pan", "head_tilt"},
    {"timed_head_pan", "timed_head_tilt"},
    {"head_pan_speed", "head_tilt_speed"},
    {"percentage_214", "percentage_213"},
    {"launcher_401", "launcher_400"},
};

std::string carrierOf(const std::string& component)
{
    for (const auto& [same, as] : kAlike) {
        if (component == same) {
            return as;
        }
    }
    return component;
}

class VocabularyTest : public testing::Test {
protected:
    // The limits that hold beside the other members of a document.
    static ZKRangeInfo rangeFor(uint32_t component, const char* parent, const char* key, const std::string& document,
                                uint32_t robot)
    {
        std::string text = document;
        const nx_json* root = nx_json_parse_utf8(text.data());
        const nx_json* params = nx_json_get(root, std::to_string(component).c_str());
        const auto isGiven = [&](const char* other) { return nx_json_get(params, other)->type != NX_JSON_NULL; };
        ZKRangeInfo found = {};
        for (const ZKRangeInfo& range : listed<ZKRangeInfo>(
                 [&](size_t index, ZKRangeInfo*info) { return ZKGetRange(component, parent, key, index, info); })) {
            const auto whole =
                range.whenKey != nullptr ? static_cast<double>(nx_json_get(params, range.whenKey)->int_value) : 0;
            const bool holds =
                range.condition == ZK_RANGE_ALWAYS         ? true
                : range.condition == ZK_RANGE_WHEN_WITHIN  ? whole >= range.whenLow && whole <= range.whenHigh
                : range.condition == ZK_RANGE_WHEN_NONZERO ? whole != 0
                : range.condition == ZK_RANGE_WHEN_BOTH    ? isGiven(range.whenKey) && isGiven(range.whenKey2)
                                                           : !isGiven(range.whenKey);
            if (holds && (range.robots & robot) != 0) {
                found = range;
                break;
            }
        }
        nx_json_free(root);
        return found;
    }

    static std::string remarks(const std::string& document, uint32_t type)
    {
        char text[2000];
        return ZKCheckCommandDocument(document.c_str(), type, text, sizeof text) == ZK_CHECK_ACCEPTED ? "" : text;
    }

    // All commands of the document, read back.
    static std::vector<Simulator::RobotCommand> sent(const std::string& document, uint32_t type)
    {
        HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
        size_t count = 0;
        ZKTranslator* translator = ZKTranslatorCreate(type);
        EXPECT_EQ(ZKTranslatorTranslate(translator, document.c_str(), packets, &count, nullptr, 0), 1) << document;
        ZKTranslatorDestroy(translator);
        std::vector<Simulator::RobotCommand> commands;
        for (size_t i = 0; i < count; ++i) {
            for (auto& command : Simulator::readCommands(packets[i].data, packets[i].length).commands) {
                commands.push_back(command);
            }
        }
        return commands;
    }

    static bool isCarried(const Carrier& carrier, const std::vector<Simulator::RobotCommand>& commands, double expected)
    {
        return std::any_of(commands.begin(), commands.end(), [&](const auto& command) {
            return std::abs(command.value(*carrier.field) - expected) <= carrier.tolerance;
        });
    }

    void tryCarrier(const Carrier& carrier, const ZKComponentInfo& component, const ZKRobotTypeInfo& robot,
                    const std::string& parent, const ZKParameterInfo& parameter)
    {
        const auto documentOf = [&](const std::string& value) {
            const std::string member = '"' + std::string(parameter.key) + "\":" + value;
            return std::string("{") + carrier.beside + '"' + std::to_string(component.id) + "\":{" + carrier.with +
                   (parent.empty() ? member : '"' + parent + "\":{" + member + "}") + "}}";
        };
        const char* const object = parent.empty() ? nullptr : parent.c_str();
        const ZKRangeInfo range = rangeFor(component.id, object, parameter.key, documentOf("0"), robot.robots);
        const bool isWhole = parameter.kind == ZK_PARAMETER_WHOLE || parameter.kind == ZK_PARAMETER_FLAG;
        const auto numberText = [&](double value) {
            char text[40];
            std::snprintf(text, sizeof text, isWhole ? "%.0f" : "%.17g", value);
            return std::string(text);
        };
        for (int i = 0; i < (carrier.inside != nullptr ? 1 : 12); ++i) {
            // Both ends, then anything between them.
            double value = i == 0 ? range.low : i == 1 ? range.high : mRandom.real(range.low, range.high);
            value = isWhole ? std::round(value) : value;
            const std::string document = documentOf(carrier.inside != nullptr ? carrier.inside : numberText(value));
            EXPECT_EQ(remarks(document, robot.type), "") << document << " on " << robot.name;
            const std::vector<Simulator::RobotCommand> commands = sent(document, robot.type);
            EXPECT_FALSE(commands.empty()) << document;
            if (carrier.field == nullptr) {
                continue;
            }
            const double expected = carrier.inside != nullptr ? carrier.carried : value * carrier.factor;
            EXPECT_TRUE(isCarried(carrier, commands, expected))
                << document << " does not carry " << expected << " on " << robot.name;
        }
        if (carrier.outside != nullptr) {
            EXPECT_NE(remarks(documentOf(carrier.outside), robot.type), "") << carrier.outside << " on " << robot.name;
            return;
        }
        const double margin = std::max(1.0, 0.01 * (range.high - range.low));
        for (const double value : {range.high + margin, range.low - margin}) {
            const std::string document = documentOf(numberText(value));
            EXPECT_NE(remarks(document, robot.type), "") << document << " on " << robot.name;
            EXPECT_FALSE(carrier.field != nullptr &&
                         isCarried(carrier, sent(document, robot.type), value * carrier.factor))
                << document << " arrives on " << robot.name << ", though it is out of its range";
        }
    }

    // Each parameter by all of its carriers; one without any fails.
    void tryParameters(const ZKComponentInfo& component, const ZKRobotTypeInfo& robot, const std::string& parent)
    {
        for (const ZKParameterInfo& parameter : listed<ZKParameterInfo>([&](size_t index, ZKParameterInfo*info) {
                 return ZKGetParameter(component.id, parent.empty() ? nullptr : parent.c_str(), index, info);
             })) {
            if (parameter.memberCount > 0) {
                tryParameters(component, robot, parameter.key);
                continue;
            }
            ZKRangeInfo first = {};
            first.size = sizeof first;
            ASSERT_TRUE(ZKGetRange(component.id, parent.empty() ? nullptr : parent.c_str(), parameter.key, 0, &first));
            if (!first.isSent && parameter.rangeCount == 1) {
                const std::string document =
                    "{\"" + std::to_string(component.id) + "\":{\"id\":20,\"" + parameter.key + "\":0}}";
                EXPECT_NE(remarks(document, robot.type).find("is not sent by"), std::string::npos) << document;
                continue;
            }
            const std::string path = parent.empty() ? parameter.key : parent + '.' + parameter.key;
            int carriers = 0;
            for (const Carrier& carrier : kCarriers) {
                if (carrierOf(component.name) == carrier.component && path == carrier.key) {
                    tryCarrier(carrier, component, robot, parent, parameter);
                    ++carriers;
                }
            }
            EXPECT_GT(carriers, 0) << component.name << " " << path << " is new: say in kCarriers how it travels";
        }
    }

    support::Printed mPrinted;
    Random mRandom{11};
};

TEST_F(VocabularyTest, ParametersInTheirRangesArriveAndOthersAreRemarked)
{
    for (const ZKRobotTypeInfo& robot : listed<ZKRobotTypeInfo>(ZKGetRobotType)) {
        for (const ZKComponentInfo& component : listed<ZKComponentInfo>(ZKGetComponent)) {
            if (robot.hasCommands && (component.robots & robot.robots) != 0) {
                tryParameters(component, robot, "");
            } else if (robot.hasCommands && component.id != ZK_COMPONENT_6001) {
                const std::string document = "{\"" + std::to_string(component.id) + "\":{\"id\":20}}";
                EXPECT_NE(remarks(document, robot.type), "") << document << " on " << robot.name;
            }
        }
    }
}

TEST_F(VocabularyTest, NamesAreUniqueAndFound)
{
    std::set<std::string> names;
    const auto isName = [](const std::string& name) {
        return !name.empty() && name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") == std::string::npos;
    };
    for (const ZKComponentInfo& component : listed<ZKComponentInfo>(ZKGetComponent)) {
        EXPECT_TRUE(isName(component.name) && names.insert(component.name).second) << component.name;
        ZKComponentInfo found = {};
        found.size = sizeof found;
        EXPECT_TRUE(ZKFindComponent(component.name, &found) && found.id == component.id);
        EXPECT_TRUE(ZKFindComponent(std::to_string(component.id).c_str(), &found) && found.id == component.id);
        std::set<std::string> parameters;
        for (const ZKParameterInfo& parameter : listed<ZKParameterInfo>([&](size_t index, ZKParameterInfo*info) {
                 return ZKGetParameter(component.id, nullptr, index, info);
             })) {
            EXPECT_TRUE(isName(parameter.name) && parameters.insert(parameter.name).second) << parameter.name;
            if (parameter.sharedKey != nullptr) {  // it shares with one that shares with it
                const auto others = listed<ZKParameterInfo>([&](size_t index, ZKParameterInfo* info) {
                    return ZKGetParameter(parameter.sharedComponent, nullptr, index, info);
                });
                EXPECT_TRUE(std::any_of(others.begin(), others.end(),
                                        [&](const ZKParameterInfo& other) {
                                            return std::string(other.key) == parameter.sharedKey &&
                                                   other.sharedComponent == component.id &&
                                                   std::string(other.sharedKey) == parameter.key;
                                        }))
                    << component.name << " " << parameter.key;
            }
        }
    }
    names.clear();
    for (const ZKSensorInfo& sensor : listed<ZKSensorInfo>(ZKGetSensor)) {
        EXPECT_TRUE(isName(sensor.name) && names.insert(sensor.name).second) << sensor.name;
    }
    ZKRobotTypeInfo robot = {};
    robot.size = sizeof robot;
    EXPECT_TRUE(ZKFindRobotType("Quill", &robot) && robot.type == ZK_ROBOT_QUILL && robot.tiltHigh == 13);
    EXPECT_TRUE(ZKFindRobotType("2004", &robot) && robot.isBootloader && robot.robots == ZK_ROBOTS_RUSK);
    ZKComponentInfo none = {};
    none.size = sizeof none;
    for (const char* text : {"", "0102", "102 ", "-102", "4294967398", "Light_102", "light"}) {
        EXPECT_FALSE(ZKFindComponent(text, &none)) << text;
    }
    EXPECT_FALSE(ZKFindComponent(nullptr, &none));
}

TEST_F(VocabularyTest, AnOlderHostGetsTheFieldsThatItKnows)
{
    ZKComponentInfo info;
    std::memset(&info, 0x55, sizeof info);
    info.size = offsetof(ZKComponentInfo, title);
    ASSERT_TRUE(ZKGetComponent(0, &info));
    EXPECT_EQ(info.id, static_cast<uint32_t>(ZK_COMPONENT_POWER));
    EXPECT_EQ(info.size, offsetof(ZKComponentInfo, title));
    const char* untouched;
    std::memset(&untouched, 0x55, sizeof untouched);
    EXPECT_EQ(info.title, untouched);
    info.size = 0;
    EXPECT_FALSE(ZKGetComponent(0, &info));
    EXPECT_FALSE(ZKGetComponent(0, nullptr));
}

// Every member that the decoder writes is in the vocabulary, in its order and in its range, and the other way round.
TEST_F(VocabularyTest, SensorDocumentsHoldWhatItSays)
{
    std::map<uint32_t, std::vector<ZKSensorValueInfo>> rows;
    std::set<std::pair<uint32_t, std::string>> unseen;
    for (const ZKSensorInfo& sensor : listed<ZKSensorInfo>(ZKGetSensor)) {
        rows[sensor.id] = listed<ZKSensorValueInfo>(
            [&](size_t index, ZKSensorValueInfo* info) { return ZKGetSensorValue(sensor.id, index, info); });
        for (const ZKSensorValueInfo& value : rows[sensor.id]) {
            unseen.insert({sensor.id, value.key});
        }
    }
    const auto see = [&](uint32_t id, const ZKSensorValueInfo& row, const nx_json& value) {
        unseen.erase({id, row.key});
        const auto isInside = [&](const nx_json& number) {
            return !row.hasRange || (number.dbl_value >= row.low && number.dbl_value <= row.high);
        };
        bool holds = value.type == NX_JSON_ARRAY ? row.kind == ZK_SENSOR_BYTES : isInside(value);
        for (const nx_json* each = value.child; each != nullptr; each = each->next) {
            holds = holds && isInside(*each);
        }
        holds = holds && (row.kind != ZK_SENSOR_WHOLE || value.type == NX_JSON_INTEGER);
        EXPECT_TRUE(holds) << id << " " << row.key << ": " << value.dbl_value;
    };
    const uint8_t events[] = {1, 2, 5, 6, 8, 129, 255};
    for (int i = 0; i < 20000; ++i) {
        HALPacket_t packets[2];
        for (HALPacket_t& packet : packets) {
            packet.length = HAL_PACKET_SIZE;
            for (uint8_t& byte : packet.data) {
                byte = static_cast<uint8_t>(mRandom.below(256));
            }
        }
        packets[0].data[19] = events[mRandom.below(7)];
        packets[0].data[15] = events[mRandom.below(5)];
        ZKTranslator* translator = ZKTranslatorCreate(static_cast<uint32_t>(ZK_ROBOT_ORVIK + i % 3));
        char text[ZK_MAX_REPORT_SIZE];
        ZKTranslatorDecode(translator, packets, 1 + static_cast<size_t>(i % 2), text, sizeof text);
        ZKTranslatorDestroy(translator);
        const nx_json* root = nx_json_parse_utf8(text);
        ASSERT_NE(root, nullptr);
        for (const nx_json* member = root->child; member != nullptr; member = member->next) {
            if (member->type != NX_JSON_OBJECT) {
                ASSERT_STREQ(member->key, rows[0][0].key);
                see(0, rows[0][0], *member);
                continue;
            }
            const auto id = static_cast<uint32_t>(std::atoi(member->key));
            const nx_json* value = member->child;
            for (const ZKSensorValueInfo& row : rows[id]) {
                if (value != nullptr && std::string(value->key) == row.key) {
                    see(id, row, *value);
                    value = value->next;
                } else {
                    ASSERT_TRUE(row.isOptional) << id << " " << row.key;
                }
            }
            ASSERT_EQ(value, nullptr) << id << " has " << value->key;
        }
        nx_json_free(root);
    }
    for (const auto& [id, key] : unseen) {
        ADD_FAILURE() << id << " " << key << " is never written";
    }
}

}  // namespace
