#include "CoreUtility/CommandCheck.h"

#include <cstring>
#include <new>

#include "CoreUtility/BotMessengerBuffer.h"
#include "CoreUtility/CommandVocabulary.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/CommandBits.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"
#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotMessages/Components.h"

namespace APICore {

namespace {

using HAL::Placement;
using ZKHAL::decimalPrefix;
using ZKHAL::formatted;
using ZKHAL::orEmpty;

constexpr size_t kMaxFindings = 64 * 1024;

// Lines of findings, each with its place in the original text.
class Findings {
public:
    Findings(const char* text, const ZKHAL::JsonDocument& document, std::string& lines)
        : mText(text), mDocument(document), mLines(lines)
    {
    }

    void refuse(size_t offset, const std::string& what)
    {
        mRefused = true;
        add(offset, "refused", what);
    }
    void remark(size_t offset, const std::string& what)
    {
        mRemarked = true;
        add(offset, "remark", what);
    }
    bool refused() const
    {
        return mRefused;
    }
    bool remarked() const
    {
        return mRemarked;
    }

    // Of a member's name, its quote included; of anything else, the end of what comes before it is not known: 0.
    size_t offsetOf(const nx_json* node) const
    {
        return node->key != nullptr ? static_cast<size_t>(node->key - 1 - mDocument.text()) : 0;
    }
    size_t offsetOf(const char* at) const
    {
        return static_cast<size_t>(at - mDocument.text());
    }

private:
    void add(size_t offset, const char* severity, const std::string& what)
    {
        if (mLines.size() > kMaxFindings) {
            return;
        }
        // Findings come mostly in the order of the text: go on from the last place.
        if (offset < mOffset) {
            mOffset = 0;
            mPlace = {1, 1};
        }
        const ZKHAL::TextPosition step = ZKHAL::positionOf(mText + mOffset, offset - mOffset);
        mPlace.column = step.line > 1 ? step.column : mPlace.column + step.column - 1;
        mPlace.line += step.line - 1;
        mOffset = offset;
        if (!mLines.empty()) {
            mLines += '\n';
        }
        mLines += formatted("%zu:%zu: %s: ", mPlace.line, mPlace.column, severity);
        mLines += what;
    }

    const char* mText;
    const ZKHAL::JsonDocument& mDocument;
    std::string& mLines;
    bool mRefused = false;
    bool mRemarked = false;
    size_t mOffset = 0;
    ZKHAL::TextPosition mPlace{1, 1};
};

std::string quoted(const char* text)
{
    std::string quoted = "\"";
    for (const char* p = orEmpty(text); *p != '\0'; ++p) {
        const bool isControl = static_cast<unsigned char>(*p) < 0x20 || *p == 0x7F;
        quoted += isControl ? '?' : *p;  // one finding is one line
        if (quoted.size() > 40) {
            quoted += "...";
            break;
        }
    }
    return quoted + '"';
}

uint32_t componentOf(const nx_json* member)
{
    return static_cast<uint32_t>(decimalPrefix(member->key));
}

const nx_json* findFatal(const nx_json* member, uint32_t robotType, const ComponentRow*& row)
{
    const uint32_t id = componentOf(member);
    row = findComponent(id);
    if (row == nullptr || row->findFatal == nullptr || !HAL::RobotHW_rev0::registersComponent(robotType, id)) {
        return nullptr;
    }
    return row->findFatal(member);
}

void refuseMembers(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, uint32_t robotType,
                   Findings& findings)
{
    if (root == nullptr) {
        const ZKHAL::JsonError& error = document.error();
        const std::string rest = orEmpty(*error.at != '\0' ? text + findings.offsetOf(error.at) : nullptr);
        const bool isEnd = rest.empty();
        findings.refuse(findings.offsetOf(error.at),
                        formatted("not JSON: %s%s", error.reason,
                                  isEnd ? "" : (" at " + quoted(rest.substr(0, rest.find('\n')).c_str())).c_str()));
        return;
    }
    if (root->type != NX_JSON_OBJECT) {
        findings.refuse(0, "a command document is an object of components, like {\"106\":{\"brightness\":1}}");
        return;
    }
    for (const nx_json* member = root->child; member != nullptr; member = member->next) {
        const ComponentRow* row = nullptr;
        if (const nx_json* fatal = findFatal(member, robotType, row)) {
            findings.refuse(findings.offsetOf(fatal), formatted("%s: %s", quoted(fatal->key).c_str(), row->fatalReason));
        }
    }
}

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
    Checker(uint32_t robotType, Findings& findings) : mFindings(findings), mBuffer(&mRobot)
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
    void remarkPrinted(const nx_json* node)
    {
        const std::string text = mCapture.take();
        for (size_t begin = 0; begin < text.size();) {
            size_t end = text.find('\n', begin);
            end = end == std::string::npos ? text.size() : end;
            const bool saidBefore = text.compare(begin, 26, "unrecognized value in json") == 0;  // with its place
            if (end > begin && !saidBefore) {
                remark(node, text.substr(begin, end - begin));
            }
            begin = end + 1;
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
            if (mSeen[index]++ == 1) {
                remark(member, formatted("%s is named twice: later parameters overwrite earlier ones", name));
            }
            if (HAL::RobotHW_rev0::registersComponent(robotType, id)) {
                checkParams(row->params, member, name);
                row->fill(mBuffer, mMessage, id, member);
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
            remark(member, formatted("%s is not accepted on robot type %u, but is sent all the same", name,
                                     mRobot.getRobotType()));
        }
    }

    void remarkWithoutRecord(uint32_t id, const nx_json* member, const char* name)
    {
        const char* consequence = "its parameters are ignored and zeros are sent";
        if (id == ZK_COMPONENT_RGB_101) {
            consequence = "its parameters are ignored and the colour of 104 is sent";
        } else if (id == ZK_COMPONENT_PAMPLEMOUSSE_START || id == ZK_COMPONENT_PAMPLEMOUSSE_STOP) {
            consequence = "nothing is sent";
        }
        remark(member, formatted("%s has no record on robot type %u: %s", name, mRobot.getRobotType(), consequence));
    }

    void checkParams(const ParamList& list, const nx_json* params, const char* owner)
    {
        if (list.count == 0) {
            return;  // naming it is the command, whatever the value
        }
        if (params->type != NX_JSON_OBJECT) {
            remark(params, formatted("%s: its value is %s and no object: no parameter is read", owner, kindOf(*params)));
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
                }
                break;
            case ParamView::Real:
            case ParamView::Level:
                if (!isNumber(*param)) {
                    remark(param, formatted("%s is %s: read as 0", key.c_str(), kindOf(*param)));
                } else if (row.view == ParamView::Level && !(param->dbl_value >= 0 && param->dbl_value <= 1)) {
                    remark(param, formatted("%s: %g is outside 0 to 1: only the low byte of its level is sent",
                                            key.c_str(), param->dbl_value));
                }
                break;
            case ParamView::Text:
                checkText(row, param, key);
                break;
            case ParamView::Object:
                checkParams(row.members, param, param->key);
                break;
            case ParamView::Array:
            case ParamView::Mixed:
                break;  // the parser itself says what it does not take
        }
    }

    void checkText(const ParamRow& row, const nx_json* param, const std::string& key)
    {
        if (param->type != NX_JSON_STRING) {
            remark(param, formatted("%s is %s: read as \"\"", key.c_str(), kindOf(*param)));
            return;
        }
        if (std::strlen(param->text_value) > row.maxLength) {
            remark(param, formatted("%s is cut to %zu bytes", key.c_str(), row.maxLength));
        }
        if (row.key[0] == 'f' && std::strchr(param->text_value, '/') != nullptr) {
            remark(param, formatted("%s: every \"/\" is dropped", key.c_str()));
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
        } else if (id == ZK_COMPONENT_EYE_RING) {
            const bool hasAnimation = hasMember(member, "animation");
            const bool hasIndex = hasMember(member, "index");
            if (!hasAnimation && !hasIndex && records.eyeRing.animationId == 0) {
                remark(member, "eye ring without \"animation\" or \"index\": animation 0 is sent");
            }
            if (!hasMember(member, "brightness") && records.eyeRing.brightnessMode == 0 &&
                records.eyeRing.brightness == 0) {
                remark(member, "eye ring without \"brightness\": brightness 0 is sent");
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
        for (const SettingKeys& setting : kSettingKeys) {
            const bool sent = (bits & setting.bit) != 0;
            for (const char* key : setting.keys) {
                if (key != nullptr && sent && !hasMember(member, key)) {
                    remark(member, formatted("\"%s\" is sent though it is not given", key));
                }
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
            if (known && !sent) {
                remark(param, formatted("\"%s\" is not sent: one message carries one setting", param->key));
            }
        }
    }

    void checkPacking()
    {
        HAL::PackTrace trace;
        HAL::RobotHW_rev0::pack(&mMessage, &mRobot, &trace);
        for (const HAL::PackedCommand& command : trace) {
            const size_t origin = originOf(command.bits);
            if (command.placement == Placement::NoRoom) {
                mFindings.remark(origin, formatted("no room is left: %s is not sent", command.name));
            } else if (command.placement == Placement::Packet2) {
                mFindings.remark(origin,
                                 formatted("%s goes into a third packet, which json2Packets drops", command.name));
            }
            if ((command.swallowed & HAL::kBitLed105) != 0) {
                mFindings.remark(originOf(HAL::kBitLed105), "light 105 is not sent: the combined packet has no place for it");
            }
            if ((command.swallowed & (HAL::kBitEyeBrightness | HAL::kBitEyeBrightnessQuad)) != 0) {
                mFindings.remark(originOf(command.swallowed & ~HAL::kBitLed105),
                                 "eye brightness is not sent: the combined packet has no place for it");
            }
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
    BotMessengerBuffer mBuffer;
    HAL::Ctlr2BotMsg mMessage;
    size_t mOrigin[64] = {};
    int mSeen[HAL::kComponentCount] = {};
};

}  // namespace

bool findRefusals(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, uint32_t robotType,
                  std::string& lines)
{
    Findings findings(text, document, lines);
    refuseMembers(text, document, root, robotType, findings);
    return findings.refused();
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
    refuseMembers(text, document, root, robotType, findings);
    if (findings.refused()) {
        return CheckResult::Refused;
    }
    Checker(robotType, findings).check(root);
    return findings.remarked() ? CheckResult::Remarks : CheckResult::Accepted;
}

}  // namespace APICore
