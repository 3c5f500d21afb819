#include "CoreUtility/Command/ComponentCheck.h"

#include <cstring>
#include <new>
#include <string>

#include "CoreUtility/Command/CheckWords.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Command/ParamCheck.h"
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
using ZKHAL::formatted;
using ZKHAL::orEmpty;

// The row of a component whose parameters are read on this robot, else null.
const ComponentRow* readRow(const nx_json* member, uint32_t robotType)
{
    const uint32_t id = componentOf(member);
    const ComponentRow* row = findComponent(id);
    return row != nullptr && HAL::RobotHW_rev0::registersComponent(robotType, id) ? row : nullptr;
}

// "an Orvik", "robot type 7".
std::string oneOf(uint32_t robotType)
{
    const HAL::RobotTypeRow* row = HAL::findRobotType(robotType);
    if (row == nullptr || row->isBootloader) {
        return formatted("robot type %u", robotType);
    }
    const bool isVowel = std::strchr("AEIOU", row->words[0]) != nullptr;
    return std::string(isVowel ? "an " : "a ") + row->words;
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
        : mFindings(findings), mParams(robotType, isOfAnimation, findings), mIsOfAnimation(isOfAnimation)
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
            const char* name = HAL::kComponents[index].words;
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
                mParams.check(*row, name, member);
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
                                     oneOf(mRobot.getRobotType()).c_str()));
        }
    }

    void remarkWithoutRecord(uint32_t id, const nx_json* member, const char* name)
    {
        if (id == ZK_COMPONENT_RGB_101) {
            remark(member, "colour light 101 has no colour of its own: the colour of 104 is sent");
            return;
        }
        const bool isBehaviour = id == ZK_COMPONENT_PAMPLEMOUSSE_START || id == ZK_COMPONENT_PAMPLEMOUSSE_STOP;
        remark(member, formatted("%s is no part of %s: %s", name, oneOf(mRobot.getRobotType()).c_str(),
                                 isBehaviour ? "nothing is sent"
                                             : "its parameters are ignored, and what is sent of it is zero"));
    }

    // What is sent, or lost, although nobody wrote it so.
    void checkUnwritten(uint32_t id, const nx_json* member)
    {
        const HAL::robot_hw0_cmd_data& records = data();
        if (id == ZK_COMPONENT_SPEAKER) {
            if (!hasMember(member, "volume") && records.speaker.volume == 0) {
                remark(member, "speaker without \"volume\": volume 0 is sent");
            }
            const nx_json* volume = nx_json_get(member, "volume");
            if (volume->dbl_value > 1) {
                remark(volume, records.speaker.volume > 100 ? "\"volume\" outside 0 to 1 is not sent"
                                                            : "\"volume\" outside 0 to 1: it is limited");
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
                mFindings.remark(origin, formatted("no room is left: %s is not sent", command.words));
            } else if (command.placement == Placement::Packet2 && !mIsOfAnimation) {
                mFindings.remark(origin,
                                 formatted("%s goes into a third packet, which json2Packets drops", command.words));
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
    ParamCheck mParams;
    HAL::RobotHW mRobot;
    HAL::Ctlr2BotMsg mMessage;
    bool mIsOfAnimation;  // which takes all three packets
    size_t mOrigin[64] = {};
    const nx_json* mEyeWithoutBrightness = nullptr;
    int mSeen[HAL::kComponentCount] = {};
};

}  // namespace

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

void checkCommands(const nx_json* commands, uint32_t robotType, bool isOfAnimation, Findings& findings)
{
    Checker(robotType, findings, isOfAnimation).check(commands);
}

}  // namespace APICore
