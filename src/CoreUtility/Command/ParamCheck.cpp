#include "CoreUtility/Command/ParamCheck.h"

#include <cstring>

#include "CoreUtility/Command/Behaviours.h"
#include "CoreUtility/Command/CheckWords.h"
#include "CoreUtility/Messages.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"

namespace APICore {

using ZKHAL::formatted;
using ZKHAL::orEmpty;
using When = LimitCase::When;

namespace {

// "params" with six bytes goes before all named values of a behaviour.
bool givesAllBytes(const nx_json* params)
{
    const nx_json* bytes = nx_json_get(params, kBehaviourBytesKey);
    return bytes->type == NX_JSON_ARRAY && bytes->length >= kBehaviourParams;
}

bool isNamedBehaviourValue(const char* key)
{
    for (const BehaviourRow& behaviour : kBehaviours) {
        for (size_t i = 0; i < behaviour.valueCount; ++i) {
            if (std::strcmp(behaviour.values[i].key, key) == 0) {
                return true;
            }
        }
    }
    return false;
}

// Why a parameter is not sent, behind the name of its component.
std::string inWords(const LimitCase& reason)
{
    switch (reason.when) {
        case When::Within:
            return formatted(" when \"%s\" is %g to %g", reason.key, reason.is.low, reason.is.high);
        case When::NonZero:
            return formatted(" when \"%s\" is set", reason.key);
        case When::BothGiven:
            return formatted(" beside \"%s\" and \"%s\"", reason.key, reason.key2);
        case When::NotGiven:
            return formatted(" without \"%s\"", reason.key);
        case When::Always:
            break;
    }
    return "";
}

}  // namespace

ParamCheck::ParamCheck(uint32_t robotType, bool isOfAnimation, Findings& findings)
    : mFindings(findings), mRobot(HAL::robotSet(robotType)), mRobotType(robotType), mIsOfAnimation(isOfAnimation)
{
}

void ParamCheck::check(const ComponentRow& row, const char* words, const nx_json* member)
{
    mMember = member;
    mComponent = row.id;
    if (row.params.count != 0) {  // else naming it is the command, whatever the value
        checkList(row.params, member, words);
    }
}

void ParamCheck::checkList(const ParamList& list, const nx_json* params, const char* owner)
{
    if (params->type != NX_JSON_OBJECT) {
        remark(params, formatted("%s: its value is %s and no object: no parameter is read", owner, kindOf(*params)));
        return;
    }
    uint32_t given = 0, repeated = 0;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        const ParamRow* row = list.find(orEmpty(param->key));
        if (row == nullptr) {
            remark(param, formatted("%s is no parameter of %s: ignored", quoted(param->key).c_str(), owner));
            continue;
        }
        const uint32_t bit = uint32_t{1} << (row - list.rows);
        if ((given & bit) != 0 && (repeated & bit) == 0) {
            remark(param, formatted("%s is given twice", quoted(param->key).c_str()));
        }
        repeated |= given & bit;
        given |= bit;
        checkParam(*row, param, params, owner);
    }
}

void ParamCheck::checkParam(const ParamRow& row, const nx_json* param, const nx_json* params, const char* owner)
{
    if (isSent(row, param, params, owner) && !isLost(row, param)) {
        checkKind(row, param, row.limitsFor(mRobot, params));
    }
}

bool ParamCheck::isSent(const ParamRow& row, const nx_json* param, const nx_json* params, const char* owner)
{
    const bool isStart = mComponent == ZK_COMPONENT_PAMPLEMOUSSE_START;
    if (isStart && givesAllBytes(params) && isNamedBehaviourValue(row.key)) {
        remark(param, formatted("\"%s\" is lost: \"%s\" takes its place", row.key, kBehaviourBytesKey));
        return false;
    }
    if (row.limitsFor(mRobot, params).isSent()) {
        return true;
    }
    // Puppet sequences always write a time for the head.
    if (mIsOfAnimation && std::strcmp(row.key, "time") == 0) {
        return false;
    }
    for (size_t i = 0; i < row.caseCount; ++i) {
        const LimitCase& reason = row.cases[i];
        if (reason.holds(mRobot, params)) {
            const BehaviourRow* behaviour =
                isStart ? findBehaviour(nx_json_get(params, kBehaviourIdKey)->int_value) : nullptr;
            const std::string sender = behaviour != nullptr ? formatted("behaviour %u", behaviour->id) : owner;
            remark(param, formatted("\"%s\" is not sent by %s", row.key, sender.c_str()) + inWords(reason));
            break;
        }
    }
    return false;
}

// Whether a parameter that writes the same value comes later.
bool ParamCheck::isLost(const ParamRow& row, const nx_json* param)
{
    if (row.sharedKey == nullptr) {
        return false;
    }
    const uint32_t winner = row.sharedComponent != 0 ? row.sharedComponent : mComponent;
    bool isLater = false;
    for (const nx_json* later = param->next; later != nullptr && winner == mComponent; later = later->next) {
        isLater = isLater || ZKHAL::isSameText(orEmpty(later->key), row.sharedKey);
    }
    for (const nx_json* later = mMember->next; later != nullptr; later = later->next) {
        isLater = isLater || (componentOf(later) == winner && hasMember(later, row.sharedKey) &&
                              HAL::RobotHW_rev0::registersComponent(mRobotType, winner));
    }
    if (isLater) {
        const int index = HAL::componentIndex(winner);
        remark(param, formatted("\"%s\" is lost: \"%s\"%s%s takes its place", row.key, row.sharedKey,
                                winner != mComponent ? " of " : "",
                                winner != mComponent ? HAL::kComponents[index].words : ""));
    }
    return isLater;
}

void ParamCheck::checkKind(const ParamRow& row, const nx_json* param, const Limits& limits)
{
    const std::string key = quoted(row.key);
    switch (row.kind) {
        case ParamKind::Whole:
        case ParamKind::Flag:
            if (isNumber(*param) || param->type == NX_JSON_BOOL) {
                checkWhole(key, param, *param, limits);
            } else {
                remark(param, formatted("%s is %s: read as 0", key.c_str(), kindOf(*param)));
            }
            break;
        case ParamKind::Real:
        case ParamKind::Level:
            if (isNumber(*param)) {
                checkReal(key, param, param->dbl_value, limits);
            } else {
                remark(param, formatted("%s is %s: read as 0", key.c_str(), kindOf(*param)));
            }
            break;
        case ParamKind::Text:
            checkName(row, param, limits);
            break;
        case ParamKind::Object:
            checkList(row.members, param, param->key);
            break;
        case ParamKind::Bytes:
        case ParamKind::Lights:
        case ParamKind::EyeLights:
            checkElements(row, param, limits);
            break;
        case ParamKind::EyeBrightness:
            if (param->type != NX_JSON_ARRAY) {
                checkEyeBrightness(key, param, *param);
            }
            for (const nx_json* each = param->type == NX_JSON_ARRAY ? param->child : nullptr; each != nullptr;
                 each = each->next) {
                checkEyeBrightness(key, param, *each);
            }
            break;
    }
}

void ParamCheck::checkWhole(const std::string& key, const nx_json* place, const nx_json& value, const Limits& limits)
{
    const auto whole = static_cast<long long>(value.int_value);
    if (isNumber(value) && value.dbl_value != static_cast<double>(value.int_value)) {
        remark(place, formatted("%s: %g is read as the whole number %lld", key.c_str(), value.dbl_value, whole));
    }
    const auto number = static_cast<double>(value.int_value);
    if (!limits.range.contains(number)) {
        remarkBeyond(key, place, formatted("%lld", whole), number, limits);
    }
}

void ParamCheck::checkReal(const std::string& key, const nx_json* place, double value, const Limits& limits)
{
    if (!limits.range.contains(value)) {
        remarkBeyond(key, place, formatted("%.9g", value), value, limits);
    }
}

void ParamCheck::remarkBeyond(const std::string& key, const nx_json* place, const std::string& value, double number,
                              const Limits& limits)
{
    std::string outcome = " and does not arrive whole";
    switch (limits.beyond) {
        case Beyond::LowBits:
            break;
        case Beyond::Limited:
            outcome = ": it is limited";
            break;
        case Beyond::Magnitude:
            outcome = -number <= limits.range.high && number < 0 ? ": its sign is dropped" : ": it is limited";
            break;
        case Beyond::ReadAs:
            outcome = formatted(": it counts as %g", limits.readAs);
            break;
        case Beyond::NotSent:
            if (number > limits.range.high) {
                return;  // what is sent in its place decides what there is to say
            }
            break;
    }
    remark(place,
           formatted("%s: %s is outside %g to %g", key.c_str(), value.c_str(), limits.range.low, limits.range.high) +
               outcome);
}

// Elements or members that are no numbers read as 0; one finding for all.
void ParamCheck::checkElements(const ParamRow& row, const nx_json* param, const Limits& limits)
{
    const std::string key = quoted(row.key);
    for (const nx_json* each = param->child; each != nullptr; each = each->next) {
        if (!isNumber(*each) && each->type != NX_JSON_BOOL) {
            remark(param, formatted("%s: %s in it is read as 0", key.c_str(), kindOf(*each)));
            return;
        }
        if (isNumber(*each) && each->dbl_value != static_cast<double>(each->int_value)) {
            remark(param, formatted("%s: %g in it is read as the whole number %lld", key.c_str(), each->dbl_value,
                                    static_cast<long long>(each->int_value)));
            return;
        }
        if (row.kind == ParamKind::Bytes && !limits.range.contains(static_cast<double>(each->int_value))) {
            remark(param, formatted("%s: %lld in it is outside %g to %g and does not arrive whole", key.c_str(),
                                    static_cast<long long>(each->int_value), limits.range.low, limits.range.high));
            return;
        }
    }
    if (row.kind == ParamKind::EyeLights && param->type == NX_JSON_ARRAY && param->length > _ZK_EYE_LED_COUNT) {
        remark(param, formatted("%s: only the first 12 elements are lights", key.c_str()));
    }
}

void ParamCheck::checkEyeBrightness(const std::string& key, const nx_json* place, const nx_json& value)
{
    if (!isNumber(value)) {
        remark(place, formatted("%s is %s: read as 0", key.c_str(), kindOf(value)));
    } else if (value.dbl_value < 0 || value.dbl_value > 255) {
        remark(place,
               formatted("%s: %g does not fit a byte: only its low bits are sent", key.c_str(), value.dbl_value));
    } else if (value.dbl_value > 1 && value.dbl_value != static_cast<double>(value.int_value)) {
        remark(place, formatted("%s: above 1, %g is the byte %lld", key.c_str(), value.dbl_value,
                                static_cast<long long>(value.int_value)));
    }
}

void ParamCheck::checkName(const ParamRow& row, const nx_json* param, const Limits& limits)
{
    const std::string key = quoted(row.key);
    if (param->type != NX_JSON_STRING) {
        remark(param, formatted("%s is %s: read as \"\"", key.c_str(), kindOf(*param)));
        return;
    }
    if (static_cast<double>(std::strlen(param->text_value)) > limits.range.high) {
        remark(param, formatted("%s is cut to %g bytes", key.c_str(), limits.range.high));
    }
    if (std::strcmp(row.key, "file") == 0 && std::strchr(param->text_value, '/') != nullptr) {
        remark(param, formatted("%s: every \"/\" is dropped", key.c_str()));
    }
}

void ParamCheck::remark(const nx_json* node, const std::string& what)
{
    mFindings.remark(mFindings.offsetOf(node), what);
}

}  // namespace APICore
