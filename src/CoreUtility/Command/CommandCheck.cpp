#include "CoreUtility/Command/CommandCheck.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CoreUtility/Command/CheckFindings.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/FormatText.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/CommandBits.h"
#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"
#include "HAL/RobotMessages/Components.h"

namespace APICore {

namespace {

using HAL::Placement;
using ZKHAL::decimalPrefix;
using ZKHAL::formatted;
using ZKHAL::orEmpty;

// Parameters that a component's record takes and its command does not carry.
struct UnsentKeys {
    uint32_t id;
    const char* keys[6];
};
constexpr UnsentKeys kUnsentKeys[] = {
    {ZK_COMPONENT_HEAD_TILT, {"time", "angular_cm_s", "angular_deg_s", "hold"}},
    {ZK_COMPONENT_HEAD_PAN, {"time", "angular_cm_s", "angular_deg_s", "hold"}},
    {ZK_COMPONENT_TILT_206, {"angular_cm_s", "angular_deg_s"}},
    {ZK_COMPONENT_PAN_207, {"angular_cm_s", "angular_deg_s"}},
    {ZK_COMPONENT_TILT_208, {"degree", "time", "hold"}},
    {ZK_COMPONENT_PAN_209, {"degree", "time", "hold"}},
    {ZK_COMPONENT_AUDIO_SYNTH, {"type"}},
};

// A name from a document, cut at a character when it is long.
std::string quoted(const char* text)
{
    constexpr size_t kMost = 40;
    char brief[kMost + 1];
    const size_t length = std::strlen(orEmpty(text));
    ZKHAL::copyToBuffer(brief, sizeof brief, orEmpty(text), length);
    return std::string("\"") + brief + (length > kMost ? "...\"" : "\"");
}

uint32_t componentOf(const nx_json* member)
{
    return static_cast<uint32_t>(decimalPrefix(member->key));
}

// The row of a component whose parameters are read on this robot, else null.
const ComponentRow* readRow(const nx_json* member, uint32_t robotType)
{
    const uint32_t id = componentOf(member);
    const ComponentRow* row = findComponent(id);
    return row != nullptr && HAL::RobotHW_rev0::registersComponent(robotType, id) ? row : nullptr;
}

bool isFatal(const nx_json* member, uint32_t robotType)
{
    const ComponentRow* row = readRow(member, robotType);
    return row != nullptr && row->findFatal != nullptr && row->findFatal(member, nullptr) != nullptr;
}

void refuseMember(const nx_json* member, uint32_t robotType, Findings& findings)
{
    const ComponentRow* row = readRow(member, robotType);
    if (row == nullptr || row->findFatal == nullptr) {
        return;
    }
    for (const nx_json* fatal = nullptr; (fatal = row->findFatal(member, fatal)) != nullptr;) {
        findings.refuse(findings.offsetOf(fatal), formatted("%s: %s", quoted(fatal->key).c_str(), row->fatalReason));
    }
}

constexpr char kDocument[] = "a command document is an object of components, like {\"106\":{\"brightness\":1}}";

bool hasMember(const nx_json* params, const char* key)
{
    return nx_json_get(params, key) != nx_json_get(nullptr, nullptr);
}

const char* kindOf(const nx_json& value)
{
    switch (value.type) {
        case NX_JSON_NULL:
            return "null";
        case NX_JSON_OBJECT:
            return "an object";
        case NX_JSON_ARRAY:
            return "an array";
        case NX_JSON_STRING:
            return "text";
        case NX_JSON_BOOL:
            return value.int_value != 0 ? "true" : "false";
        default:
            return "a number";
    }
}

bool isNumber(const nx_json& value)
{
    return value.type == NX_JSON_INTEGER || value.type == NX_JSON_DOUBLE;
}

std::string robotName(uint32_t robotType)
{
    switch (robotType) {
        case ZK_ROBOT_ORVIK:
            return "an Orvik";
        case ZK_ROBOT_PELL:
            return "a Pell";
        case ZK_ROBOT_QUILL:
            return "a Quill";
        case ZK_ROBOT_RUSK:
            return "a Rusk";
        default:
            return formatted("robot type %u", robotType);
    }
}

// Which settings one sub-command carries.
struct SettingKeys {
    uint64_t bit;
    const char* keys[2];
};
constexpr SettingKeys kSettingKeys[] = {
    {HAL::kBitSettingName, {"name", nullptr}},
    {HAL::kBitSettingColorAnim, {"color", "anim"}},
    {HAL::kBitSettingColor, {"color", nullptr}},
    {HAL::kBitSettingAnim, {"anim", nullptr}},
    {HAL::kBitSettingAvatar, {"avatar", nullptr}},
    {HAL::kBitSettingVolume, {"pvolume", nullptr}},
    {HAL::kBitSettingEyeBrightness, {"peyebright", nullptr}},
};

class Checker {
public:
    Checker(uint32_t robotType, Findings& findings, bool isOfAnimation)
        : mFindings(findings), mIsOfAnimation(isOfAnimation)
    {
        mRobot._setRobotType(robotType);
    }

    void check(const nx_json* root)
    {
        mRobot.initComponentsForCtlr2BotMsg(&mMessage);
        mCapture.take();
        if (mMessage.GetHwData() == nullptr) {
            throw std::bad_alloc();
        }
        if (mRobot.getRobotType() == ZK_ROBOT_RUSK && root->child != nullptr) {
            mFindings.remark(0, "a Rusk takes shell commands only: no command packet means anything to it");
        }
        for (const nx_json* member = root->child; member != nullptr; member = member->next) {
            checkComponent(member);
        }
        checkPacking();
    }

private:
    HAL::robot_hw0_cmd_data& data()
    {
        return *static_cast<HAL::robot_hw0_cmd_data*>(mMessage.GetHwData());
    }

    void remark(const nx_json* node, const std::string& what)
    {
        mFindings.remark(mFindings.offsetOf(node), what);
    }

    // What the library would have printed, as remarks.
    void remarkPrinted(const nx_json* member)
    {
        const bool hasSixParams = nx_json_get(member, "params")->length == kBehaviourParams;
        for (const std::string& message : mCapture.take()) {
            // Said before, with its place; and said of six parameter bytes too, which are right.
            const bool isUnknownKey = message.rfind("unrecognized value in json", 0) == 0;
            const bool isTooMany = message == "error: too many parameter bytes" && hasSixParams;
            if (!isUnknownKey && !isTooMany) {
                remark(member, message);
            }
        }
    }

    void checkComponent(const nx_json* member)
    {
        const uint32_t id = componentOf(member);
        const int index = HAL::componentIndex(id);
        const ComponentRow* row = findComponent(id);
        const uint32_t robotType = mRobot.getRobotType();
        const uint64_t before = data().commandMask;
        if (row == nullptr) {
            remark(member, id == ZK_COMPONENT_6001
                               ? "6001 is reported as unknown, but sends the clock to the robot"
                               : formatted("%s is no component: ignored", quoted(member->key).c_str()));
        } else {
            const char* name = HAL::kComponentNames[index].name;
            if (std::to_string(id) != orEmpty(member->key)) {
                remark(member, formatted("%s is read as component %u", quoted(member->key).c_str(), id));
            }
            if (mSeen[index]++ == 1) {
                remark(member, formatted("%s is named twice: later parameters overwrite earlier ones", name));
            }
            if (isFatal(member, robotType)) {
                refuseMember(member, robotType, mFindings);
                return;
            }
            if (HAL::RobotHW_rev0::registersComponent(robotType, id)) {
                mHeadMoves = row->params.find("hold") != nullptr;
                mIsPan = id == ZK_COMPONENT_HEAD_PAN || id == ZK_COMPONENT_PAN_207 || id == ZK_COMPONENT_PAN_209;
                checkParams(row->params, member, name);
                checkUnsent(id, member, name);
                fillComponent(mMessage, static_cast<size_t>(index), member, {&mRobot});
                remarkPrinted(member);
                checkAccepted(id, member, name);
            } else {
                remarkWithoutRecord(id, member, name);
            }
        }
        mRobot.setCommand(mMessage.GetHwData(), id);
        remarkPrinted(member);
        for (int bit = 0; bit < 64; ++bit) {
            if (((data().commandMask & ~before) >> bit & 1) != 0) {
                mOrigin[bit] = mFindings.offsetOf(member);
            }
        }
        checkUnwritten(id, member);
    }

    void checkAccepted(uint32_t id, const nx_json* member, const char* name)
    {
        const bool accepted = mRobot.validCommandComponentIndex(static_cast<ZKComponentId>(id));
        mCapture.take();
        if (!accepted) {
            remark(member, formatted("%s is no part of %s, but is sent all the same", name,
                                     robotName(mRobot.getRobotType()).c_str()));
        }
    }

    void remarkWithoutRecord(uint32_t id, const nx_json* member, const char* name)
    {
        if (id == ZK_COMPONENT_RGB_101) {
            remark(member, "colour light 101 has no colour of its own: the colour of 104 is sent");
            return;
        }
        const bool isBehaviour = id == ZK_COMPONENT_PAMPLEMOUSSE_START || id == ZK_COMPONENT_PAMPLEMOUSSE_STOP;
        remark(member, formatted("%s is no part of %s: %s", name, robotName(mRobot.getRobotType()).c_str(),
                                 isBehaviour ? "nothing is sent"
                                             : "its parameters are ignored, and what is sent of it is zero"));
    }

    void checkParams(const ParamList& list, const nx_json* params, const char* owner)
    {
        if (list.count == 0) {
            return;  // naming it is the command, whatever the value
        }
        if (params->type != NX_JSON_OBJECT) {
            remark(params,
                   formatted("%s: its value is %s and no object: no parameter is read", owner, kindOf(*params)));
            return;
        }
        int seen[16] = {};
        for (const nx_json* param = params->child; param != nullptr; param = param->next) {
            const ParamRow* row = list.find(orEmpty(param->key));
            if (row == nullptr) {
                remark(param, formatted("%s is no parameter of %s: ignored", quoted(param->key).c_str(), owner));
                continue;
            }
            if (seen[(row - list.rows) % 16]++ == 1) {
                remark(param, formatted("%s is given twice", quoted(param->key).c_str()));
            }
            checkValue(*row, param);
        }
    }

    void checkValue(const ParamRow& row, const nx_json* param)
    {
        const std::string key = quoted(param->key);
        switch (row.view) {
            case ParamView::Integer:
                if (!isNumber(*param) && param->type != NX_JSON_BOOL) {
                    remark(param, formatted("%s is %s: read as 0", key.c_str(), kindOf(*param)));
                } else if (isNumber(*param) && param->dbl_value != static_cast<double>(param->int_value)) {
                    remark(param, formatted("%s: %g is read as the whole number %lld", key.c_str(), param->dbl_value,
                                            static_cast<long long>(param->int_value)));
                } else if (!row.range.isEmpty() && !row.range.contains(static_cast<double>(param->int_value))) {
                    remark(param, formatted("%s: %lld is outside %g to %g and does not arrive whole", key.c_str(),
                                            static_cast<long long>(param->int_value), row.range.low, row.range.high));
                }
                break;
            case ParamView::Real:
            case ParamView::Limited:
            case ParamView::Level:
                checkReal(row, param, key);
                break;
            case ParamView::Text:
                checkName(row, param, key);
                break;
            case ParamView::Object:
                checkParams(row.members, param, param->key);
                break;
            case ParamView::Array:
                checkNumbers(param, param);
                break;
            case ParamView::Mixed:
                checkEyeValue(param, key);
                break;
        }
    }

    void checkReal(const ParamRow& row, const nx_json* param, const std::string& key)
    {
        const bool isAngle = std::strcmp(row.key, "degree") == 0 && mHeadMoves;
        const Range range = isAngle ? headRange(mRobot.getRobotType(), mIsPan) : row.range;
        if (!isNumber(*param)) {
            remark(param, formatted("%s is %s: read as 0", key.c_str(), kindOf(*param)));
        } else if (!range.isEmpty()) {
            checkRange(param, range, isAngle || row.view == ParamView::Limited);
        }
    }

    void checkRange(const nx_json* param, const Range& range, bool isLimited)
    {
        if (!range.contains(param->dbl_value)) {
            remark(param,
                   formatted("%s: %.9g is outside %g to %g%s", quoted(param->key).c_str(), param->dbl_value, range.low,
                             range.high, isLimited ? ": it is limited" : " and does not arrive whole"));
        }
    }

    // Elements or members that are no numbers read as 0.
    void checkNumbers(const nx_json* list, const nx_json* place)
    {
        for (const nx_json* child = list->child; child != nullptr; child = child->next) {
            if (!isNumber(*child) && child->type != NX_JSON_BOOL) {
                remark(place, formatted("%s: %s in it is read as 0", quoted(place->key).c_str(), kindOf(*child)));
                return;
            }
        }
    }

    // "brightness" and "index" of the eye ring, which take several forms.
    void checkEyeValue(const nx_json* param, const std::string& key)
    {
        if (param->type == NX_JSON_ARRAY || param->type == NX_JSON_OBJECT) {
            checkNumbers(param, param);
        } else if (std::strcmp(param->key, "brightness") == 0) {
            if (!isNumber(*param)) {
                remark(param, formatted("%s is %s: read as 0", key.c_str(), kindOf(*param)));
            } else if (param->dbl_value < 0 || param->dbl_value > 255) {
                remark(param, formatted("%s: %g does not fit a byte: only its low bits are sent", key.c_str(),
                                        param->dbl_value));
            } else if (param->dbl_value > 1 && param->dbl_value != static_cast<double>(param->int_value)) {
                remark(param, formatted("%s: above 1, %g is the byte %lld", key.c_str(), param->dbl_value,
                                        static_cast<long long>(param->int_value)));
            }
        }
    }

    void checkName(const ParamRow& row, const nx_json* param, const std::string& key)
    {
        if (param->type != NX_JSON_STRING) {
            remark(param, formatted("%s is %s: read as \"\"", key.c_str(), kindOf(*param)));
            return;
        }
        if (static_cast<double>(std::strlen(param->text_value)) > row.range.high) {
            remark(param, formatted("%s is cut to %g bytes", key.c_str(), row.range.high));
        }
        if (std::strcmp(row.key, "file") == 0 && std::strchr(param->text_value, '/') != nullptr) {
            remark(param, formatted("%s: every \"/\" is dropped", key.c_str()));
        }
    }

    // Parameters that are read, but that this component's command has no place for.
    void checkUnsent(uint32_t id, const nx_json* member, const char* name)
    {
        const auto remarkUnsent = [&](const char* key) {
            // Puppet sequences always write a time for the head.
            const bool isExpected = mIsOfAnimation && key != nullptr && std::strcmp(key, "time") == 0;
            if (key != nullptr && hasMember(member, key) && !isExpected) {
                remark(nx_json_get(member, key), formatted("\"%s\" is not sent by %s", key, name));
            }
        };
        for (const UnsentKeys& unsent : kUnsentKeys) {
            for (const char* key : unsent.keys) {
                remarkUnsent(unsent.id == id ? key : nullptr);
            }
        }
        if (id == ZK_COMPONENT_PAMPLEMOUSSE_STOP) {
            for (const nx_json* param = member->child; param != nullptr; param = param->next) {
                const bool isId = ZKHAL::isSameText(orEmpty(param->key), "id");
                remarkUnsent(isId || param->key == nullptr ? nullptr : param->key);
            }
        } else if (id == ZK_COMPONENT_BODY_LINEAR_ANGULAR) {
            const bool linear = hasMember(member, "linear_acc_cm_s_s");
            const bool angular = hasMember(member, "angular_acc_deg_s_s");
            if (linear != angular) {
                remark(member, "one acceleration without the other is not sent");
            }
            remarkUnsent(linear && angular ? "pose" : nullptr);
        } else if (id == ZK_COMPONENT_BODY_POSE) {
            const int64_t mode = nx_json_get(member, "mode")->int_value;
            const bool isLimited = mode == 3 || mode == 4;
            for (const char* key : {"dir", "wrap_theta", "ease"}) {
                remarkUnsent(isLimited ? key : nullptr);
            }
            checkRangeOf(member, "x", isLimited ? Range{-3276.8, 3276.7} : Range{-819.2, 819.1}, isLimited);
            checkRangeOf(member, "y", isLimited ? Range{-3276.8, 3276.7} : Range{-819.2, 819.1}, isLimited);
            checkRangeOf(member, "degree", isLimited ? Range{-18774, 18774} : Range{-1173, 1172}, isLimited);
            checkRangeOf(member, "time", {0, 65.535}, true);
        } else if (id == ZK_COMPONENT_TILT_206 || id == ZK_COMPONENT_PAN_207) {
            const bool holds = nx_json_get(member, "hold")->int_value != 0;
            checkRangeOf(member, "time", holds ? Range{0, 163.83} : Range{-32.768, 32.767}, !holds);
        } else if (id == ZK_COMPONENT_USER_SETTINGS) {
            checkRangeOf(member, "pvolume", {0, 1e300}, false);
            checkRangeOf(member, "peyebright", {0, 1e300}, false);
        }
    }

    void checkRangeOf(const nx_json* member, const char* key, const Range& range, bool isLimited)
    {
        const nx_json* param = nx_json_get(member, key);
        if (isNumber(*param)) {
            checkRange(param, range, isLimited);
        }
    }

    // What is sent, or lost, although nobody wrote it so.
    void checkUnwritten(uint32_t id, const nx_json* member)
    {
        const HAL::robot_hw0_cmd_data& records = data();
        if (id == ZK_COMPONENT_SPEAKER) {
            if (!hasMember(member, "volume") && records.speaker.volume == 0) {
                remark(member, "speaker without \"volume\": volume 0 is sent");
            }
            if (hasMember(member, "volume") && records.speaker.volume > 100) {
                remark(nx_json_get(member, "volume"), "\"volume\" outside 0 to 1 is not sent");
            }
        } else if (id == ZK_COMPONENT_EYE_RING) {
            const bool hasAnimation = hasMember(member, "animation");
            const bool hasIndex = hasMember(member, "index");
            if (!hasAnimation && !hasIndex && records.eyeRing.animationId == 0) {
                remark(member, "eye ring without \"animation\" or \"index\": animation 0 is sent");
            }
            if (!hasMember(member, "brightness") && records.eyeRing.brightnessMode == 0 &&
                records.eyeRing.brightness == 0) {
                mEyeWithoutBrightness = member;  // a remark, unless the combined packet takes it along
            }
            if (hasAnimation && hasIndex) {
                remark(member, records.eyeRing.animationId == kNoEyeAnimation
                                   ? "\"animation\" is lost: \"index\" takes its place"
                                   : "\"index\" is lost: \"animation\" takes its place");
            }
            if (hasIndex && nx_json_get(member, "index")->type == NX_JSON_ARRAY &&
                nx_json_get(member, "index")->length > _ZK_EYE_LED_COUNT) {
                remark(nx_json_get(member, "index"), "\"index\": only the first 12 elements are lights");
            }
        } else if (id == ZK_COMPONENT_LAUNCHER_400 || id == ZK_COMPONENT_LAUNCHER_401) {
            if (hasMember(member, "cm_s") && hasMember(member, "dir")) {
                remark(member, "\"cm_s\" and \"dir\" write the same byte: the later one is sent");
            }
        } else if (id == ZK_COMPONENT_USER_SETTINGS) {
            checkSettings(member);
        }
    }

    void checkSettings(const nx_json* member)
    {
        const uint64_t bits = data().commandMask & HAL::kSettingBits;
        bool anyGivenIsSent = false;
        for (const SettingKeys& setting : kSettingKeys) {
            const bool sent = (bits & setting.bit) != 0;
            for (const char* key : setting.keys) {
                if (key != nullptr && sent && !hasMember(member, key)) {
                    remark(member, formatted("\"%s\" is sent though it is not given", key));
                }
                anyGivenIsSent = anyGivenIsSent || (key != nullptr && sent && hasMember(member, key));
            }
        }
        for (const nx_json* param = member->child; param != nullptr; param = param->next) {
            bool known = false;
            bool sent = false;
            for (const SettingKeys& setting : kSettingKeys) {
                for (const char* key : setting.keys) {
                    if (key != nullptr && std::strcmp(key, orEmpty(param->key)) == 0) {
                        known = true;
                        sent = sent || (bits & setting.bit) != 0;
                    }
                }
            }
            // Above 1 on purpose: that is how the eye brightness is reached.
            const bool makesWay = std::strcmp(orEmpty(param->key), "pvolume") == 0 && param->dbl_value > 1 &&
                                  (bits & HAL::kBitSettingEyeBrightness) != 0;
            if (known && !sent && !makesWay) {
                const bool isNotGiven = isNumber(*param) && param->int_value >= kSettingNotGiven;
                remark(param,
                       formatted(anyGivenIsSent && !isNotGiven ? "\"%s\" is not sent: one message carries one setting"
                                                               : "\"%s\" is not sent: this value counts as not given",
                                 param->key));
            }
        }
    }

    void checkPacking()
    {
        HAL::PackTrace trace;
        bool eyeBrightnessIsSent = false;
        HAL::RobotHW_rev0::pack(&mMessage, &mRobot, &trace);
        for (const HAL::PackedCommand& command : trace) {
            const size_t origin = originOf(command.bits);
            if (command.placement == Placement::NoRoom) {
                mFindings.remark(origin, formatted("no room is left: %s is not sent", command.name));
            } else if (command.placement == Placement::Packet2 && !mIsOfAnimation) {
                mFindings.remark(origin,
                                 formatted("%s goes into a third packet, which json2Packets drops", command.name));
            }
            eyeBrightnessIsSent = eyeBrightnessIsSent || (command.bits & HAL::kBitEyeBrightness) != 0;
            if ((command.swallowed & HAL::kBitLed105) != 0) {
                mFindings.remark(originOf(HAL::kBitLed105),
                                 "light 105 is not sent: the combined packet has no place for it");
            }
            if ((command.swallowed & (HAL::kBitEyeBrightness | HAL::kBitEyeBrightnessQuad)) != 0 &&
                mEyeWithoutBrightness == nullptr) {
                mFindings.remark(originOf(command.swallowed & ~HAL::kBitLed105),
                                 "eye brightness is not sent: the combined packet has no place for it");
            }
        }
        if (mEyeWithoutBrightness != nullptr && eyeBrightnessIsSent && data().eyeRing.brightness == 0) {
            remark(mEyeWithoutBrightness, "eye ring without \"brightness\": brightness 0 is sent");
        }
        const uint64_t left = data().commandMask & HAL::kWheelBits;
        if (left != 0) {
            mFindings.remark(originOf(left), "one wheel without the other: nothing is sent to the wheels");
        }
    }

    // Where the first of the bits was set.
    size_t originOf(uint64_t bits) const
    {
        for (int bit = 0; bit < 64; ++bit) {
            if ((bits >> bit & 1) != 0) {
                return mOrigin[bit];
            }
        }
        return 0;
    }

    ZKHAL::MessageCapture mCapture;
    Findings& mFindings;
    HAL::RobotHW mRobot;
    HAL::Ctlr2BotMsg mMessage;
    bool mIsOfAnimation;  // which takes all three packets
    size_t mOrigin[64] = {};
    const nx_json* mEyeWithoutBrightness = nullptr;
    bool mHeadMoves = false;
    bool mIsPan = false;
    int mSeen[HAL::kComponentCount] = {};
};

}  // namespace

bool isObjectText(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, const char* ofWhat,
                  Findings& findings)
{
    if (root == nullptr) {
        const ZKHAL::JsonError& error = document.error();
        const size_t offset = findings.offsetOf(error.at);
        const std::string rest(text + offset, std::strcspn(text + offset, "\r\n"));
        const bool isEnd = text[offset] == '\0';
        findings.refuse(offset, isEnd ? std::string("not JSON: the text ends before the document does")
                                      : formatted("not JSON: %s at ", error.reason) + quoted(rest.c_str()));
        return false;
    }
    if (root->type != NX_JSON_OBJECT) {
        findings.refuse(0, ofWhat);
        return false;
    }
    return true;
}

void checkCommands(const nx_json* commands, uint32_t robotType, bool isOfAnimation, Findings& findings)
{
    Checker(robotType, findings, isOfAnimation).check(commands);
}

void checkText(const char* text, const char* end, Findings& findings)
{
    const size_t behind = findings.offsetOf(end);
    const size_t rest = behind + std::strspn(text + behind, " \t\r\n");
    if (text[rest] != '\0') {
        findings.remark(rest, "what follows the document is ignored");
    }
    for (size_t at = 0; at < behind; ++at) {
        if (text[at] == '\\' && text[at + 1] == 'u') {
            findings.remark(at, "\\u escapes are dropped: write the characters themselves, as UTF-8");
            return;
        }
        at += text[at] == '\\' ? 1 : 0;
    }
}

CheckResult resultOf(const Findings& findings)
{
    return findings.refused()    ? CheckResult::Refused
           : findings.remarked() ? CheckResult::Remarks
                                 : CheckResult::Accepted;
}

bool findRefusals(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, uint32_t robotType,
                  std::string& lines)
{
    // Told apart first, since this runs before every translation: nearly all documents are accepted.
    bool refused = root == nullptr || root->type != NX_JSON_OBJECT;
    for (const nx_json* member = refused ? nullptr : root->child; member != nullptr; member = member->next) {
        refused = refused || isFatal(member, robotType);
    }
    if (!refused) {
        return false;
    }
    Findings findings(text, document, lines);
    if (isObjectText(text, document, root, kDocument, findings)) {
        for (const nx_json* member = root->child; member != nullptr; member = member->next) {
            refuseMember(member, robotType, findings);
        }
    }
    return true;
}

CheckResult checkCommandDocument(const char* text, uint32_t robotType, std::string& lines)
{
    const size_t length = std::strlen(text);
    if (length == 0) {
        return CheckResult::Accepted;
    }
    ZKHAL::JsonDocument document;
    const nx_json* root = document.parse(text, length);
    Findings findings(text, document, lines);
    if (isObjectText(text, document, root, kDocument, findings)) {
        checkCommands(root, robotType, false, findings);
        checkText(text, document.end(), findings);
    }
    return resultOf(findings);
}

}  // namespace APICore
