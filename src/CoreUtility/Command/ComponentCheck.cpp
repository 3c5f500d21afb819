#include "CoreUtility/Command/ComponentCheck.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <new>
#include <string>

#include "CoreUtility/Command/CheckWords.h"
#include "CoreUtility/Command/CommandVocabulary.h"
#include "CoreUtility/Command/OutcomeCheck.h"
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

// What the rows say of a value, with its place, before the library prints it.
bool isSaidByRows(const std::string& printed)
{
    constexpr const char* kSaid[] = {
        "unrecognized value in json",
        "error: too many parameter bytes",  // also printed of six, which are right
        "error: animation scale out of range",  "error: unsupported brightness mode:", "error: personality ",
        "Parsing LedMsg: message out of range", "Parsing LedMsg: unrecognized LED",
    };
    for (const char* said : kSaid) {
        if (printed.rfind(said, 0) == 0) {
            return true;
        }
    }
    return false;
}

// A robot of the check's own, and the message that a document becomes.
struct Run {
    HAL::RobotHW robot;
    HAL::Ctlr2BotMsg message;

    explicit Run(uint32_t robotType)
    {
        robot._setRobotType(robotType);
    }
    void begin()
    {
        robot.initComponentsForCtlr2BotMsg(&message);
        if (message.GetHwData() == nullptr) {
            throw std::bad_alloc();
        }
    }
    HAL::robot_hw0_cmd_data& data()
    {
        return *static_cast<HAL::robot_hw0_cmd_data*>(message.GetHwData());
    }
    void add(const ComponentRow* row, const nx_json* member)
    {
        const uint32_t id = componentOf(member);
        if (row != nullptr) {
            fillComponent(message, static_cast<size_t>(HAL::componentIndex(id)), member, {&robot});
        }
        robot.setCommand(message.GetHwData(), id);
    }
    // The commands that a component would set on a message without any.
    uint64_t bitsAlone(uint32_t id)
    {
        const uint64_t pending = data().commandMask;
        data().commandMask = 0;
        robot.setCommand(message.GetHwData(), id);
        const uint64_t alone = data().commandMask;
        data().commandMask = pending;
        return alone;
    }
};

class Checker {
public:
    Checker(uint32_t robotType, Findings& findings, bool isOfAnimation)
        : mFindings(findings),
          mParams(robotType, isOfAnimation, findings),
          mRobotType(robotType),
          mRun(robotType),
          mEnd(robotType),
          mIsOfAnimation(isOfAnimation)
    {
    }

    void check(const nx_json* root)
    {
        mRun.begin();
        mEnd.begin();
        for (const nx_json* member = root->child; member != nullptr; member = member->next) {
            lookAhead(member);
        }
        if (mRobotType == ZK_ROBOT_RUSK && root->child != nullptr) {
            mFindings.remark(0, "a Rusk takes shell commands only: no command packet means anything to it");
        }
        for (const nx_json* member = root->child; member != nullptr; member = member->next) {
            checkComponent(member);
        }
        checkPacking();
    }

private:
    void remark(const nx_json* node, const std::string& what)
    {
        mFindings.remark(mFindings.offsetOf(node), what);
    }

    // What the library would have printed, as remarks.
    void remarkPrinted(const nx_json* member)
    {
        for (const std::string& message : mCapture.take()) {
            if (!isSaidByRows(message)) {
                remark(member, message);
            }
        }
    }

    // Whether a value counts is only known at the end of the document.
    void lookAhead(const nx_json* member)
    {
        const uint32_t id = componentOf(member);
        const ComponentRow* row = findComponent(id);
        if (row != nullptr && isFatal(member, mRobotType)) {
            return;
        }
        if (row != nullptr) {
            GivenParams*& given = mGiven[HAL::componentIndex(id)];
            if (given == nullptr) {
                mGivenStore.emplace_back(row->params);
                given = &mGivenStore.back();
            }
            given->add(member);
        }
        mEnd.add(row, member);
        mCapture.take();
    }

    void checkComponent(const nx_json* member)
    {
        const uint32_t id = componentOf(member);
        const int index = HAL::componentIndex(id);
        const ComponentRow* row = findComponent(id);
        const uint64_t before = mRun.data().commandMask;
        if (row == nullptr) {
            remark(member, unknownInWords(id, member));
            mRun.add(nullptr, member);
        } else {
            const char* name = HAL::kComponents[index].words;
            if (std::to_string(id) != orEmpty(member->key)) {
                remark(member, formatted("%s is read as component %u", quoted(member->key).c_str(), id));
            }
            if (mSeen[index]++ == 1) {
                remark(member, formatted("%s is named twice: %s", name, ofTwoNamings(*row)));
            }
            if (isFatal(member, mRobotType)) {
                refuseMember(member, mRobotType, mFindings);
                return;
            }
            checkKnown(*row, name, member);
        }
        remarkPrinted(member);
        for (int bit = 0; bit < 64; ++bit) {
            if (((mRun.data().commandMask & ~before) >> bit & 1) != 0) {
                mOrigin[bit] = mFindings.offsetOf(member);
            }
        }
    }

    static const char* ofTwoNamings(const ComponentRow& row)
    {
        const bool hasLights = std::any_of(row.params.begin(), row.params.end(),
                                           [](const ParamRow& param) { return param.kind == ParamKind::Lights; });
        return row.params.count == 0 ? "it is sent once"
               : hasLights           ? "later parameters overwrite earlier ones, but the lights of both are meant"
                                     : "later parameters overwrite earlier ones";
    }

    static std::string unknownInWords(uint32_t id, const nx_json* member)
    {
        return id == ZK_COMPONENT_6001  ? "6001 is reported as unknown, but sends the clock to the robot"
               : id == ZK_COMPONENT_305 ? "305 is reported as unknown, and nothing is sent of it"
                                        : formatted("%s is no component: ignored", quoted(member->key).c_str());
    }

    void checkKnown(const ComponentRow& row, const char* name, const nx_json* member)
    {
        const GivenParams& given = *mGiven[HAL::componentIndex(row.id)];
        const Outcome outcome = {mEnd.data(), given, mEnd.bitsAlone(row.id), mFindings};
        mCapture.take();
        const bool isRead = HAL::RobotHW_rev0::registersComponent(mRobotType, row.id);
        if (isRead) {
            const bool isSettings = row.id == ZK_COMPONENT_USER_SETTINGS;
            mParams.check(row, name, member, given, [&outcome, isSettings](const nx_json* param) {
                return isSettings && isBeatenSetting(param, outcome);
            });
        } else {
            remarkWithoutRecord(row.id, member, name);
        }
        const uint64_t before = mRun.data().commandMask;
        mRun.add(&row, member);
        mBits[HAL::componentIndex(row.id)] |= mRun.data().commandMask & ~before;
        if (isRead) {
            remarkPrinted(member);
            checkAccepted(row.id, member, name);
        }
        if (member != given.lastNaming()) {
            return;
        }
        if (isRead) {
            checkOutcome(row.id, outcome);
        }
        if (row.id == ZK_COMPONENT_EYE_RING && lacksBrightness(outcome)) {
            mEyeWithoutBrightness = member;
        } else if (row.id == ZK_COMPONENT_PAMPLEMOUSSE_START && isRead) {
            checkBehaviourBytes(row, member);
        }
        mLeftOver |= mBits[HAL::componentIndex(row.id)] & ~outcome.ownBits & ~HAL::kBitVolume;  // whose value is told
    }

    void checkAccepted(uint32_t id, const nx_json* member, const char* name)
    {
        const bool accepted = mRun.robot.validCommandComponentIndex(static_cast<ZKComponentId>(id));
        mCapture.take();
        if (!accepted) {
            remark(member, formatted("%s is no part of %s, but is sent all the same", name, oneOf(mRobotType).c_str()));
        }
    }

    void remarkWithoutRecord(uint32_t id, const nx_json* member, const char* name)
    {
        if (id == ZK_COMPONENT_RGB_101) {
            remark(member, "colour light 101 has no colour of its own: the colour of 104 is sent");
            return;
        }
        const bool isBehaviour = id == ZK_COMPONENT_PAMPLEMOUSSE_START || id == ZK_COMPONENT_PAMPLEMOUSSE_STOP;
        remark(member, formatted("%s is no part of %s: %s", name, oneOf(mRobotType).c_str(),
                                 isBehaviour ? "nothing is sent"
                                             : "its parameters are ignored, and what is sent of it is zero"));
    }

    // What an earlier naming has put into the six bytes stays where the last one puts nothing.
    void checkBehaviourBytes(const ComponentRow& row, const nx_json* member)
    {
        HALPamplemousse_t alone = {};
        fillRecord(row, &alone, member, {&mRun.robot});
        mCapture.take();
        const uint8_t* sent = mEnd.data().pamplemousseStart.params;
        int count = 0;
        for (int i = 0; i < kBehaviourParams; ++i) {
            count += sent[i] != alone.params[i] ? 1 : 0;
        }
        if (count > 0) {
            remark(member,
                   formatted("of the six bytes of behaviour start, %d are still those of an earlier naming", count));
        }
    }

    void checkPacking()
    {
        HAL::PackTrace trace;
        HAL::robot_hw0_cmd_data& data = mRun.data();
        bool eyeBrightnessIsSent = false;
        HAL::RobotHW_rev0::pack(&mRun.message, &mRun.robot, &trace);
        for (const HAL::PackedCommand& command : trace) {
            const size_t origin = originOf(command.bits);
            if (command.placement == Placement::NoRoom) {
                mFindings.remark(origin, formatted("no room is left: %s is not sent", command.words));
            } else if (command.placement == Placement::Packet2 && !mIsOfAnimation) {
                mFindings.remark(origin,
                                 formatted("%s goes into a third packet, which json2Packets drops", command.words));
            } else if ((command.bits & mLeftOver) != 0 && command.placement != Placement::NotPending) {
                mFindings.remark(origin, formatted("%s is sent too, for an earlier naming, with what the last one "
                                                   "leaves of its values",
                                                   command.words));
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
        if (mEyeWithoutBrightness != nullptr && eyeBrightnessIsSent && data.eyeRing.brightness == 0) {
            remark(mEyeWithoutBrightness, "eye ring without \"brightness\": brightness 0 is sent");
        }
        const uint64_t left = data.commandMask & HAL::kWheelBits;
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
    uint32_t mRobotType;
    Run mRun;  // member by member, as the walk comes to them
    Run mEnd;  // all of the document
    std::deque<GivenParams> mGivenStore;
    GivenParams* mGiven[HAL::kComponentCount] = {};
    bool mIsOfAnimation;  // which takes all three packets
    size_t mOrigin[64] = {};
    uint64_t mLeftOver = 0;  // commands of earlier namings that the last one would not set
    const nx_json* mEyeWithoutBrightness = nullptr;
    int mSeen[HAL::kComponentCount] = {};
    uint64_t mBits[HAL::kComponentCount] = {};  // that the namings of a component have set
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
