#include "CoreUtility/Command/ParamCheck.h"

#include <algorithm>
#include <cstring>

#include "CoreUtility/Command/Behaviours.h"
#include "CoreUtility/Command/CheckWords.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/RobotHW_rev0.h"

namespace APICore {

using ZKHAL::formatted;
using ZKHAL::orEmpty;
using When = LimitCase::When;

namespace {

// "params" with six bytes goes before all named values of a behaviour; of several lists the last decides.
bool givesAllBytes(const nx_json* params)
{
    bool all = false;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        if (param->type == NX_JSON_ARRAY && std::strcmp(orEmpty(param->key), kBehaviourBytesKey) == 0) {
            all = param->length >= kBehaviourParams;
        }
    }
    return all;
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

void ParamCheck::check(const ComponentRow& row, const char* words, const nx_json* member, const GivenParams& given,
                       const std::function<bool(const nx_json*)>& isBeaten)
{
    mMember = member;
    mComponent = row.id;
    mIsBeaten = isBeaten;
    if (row.params.count != 0) {  // else naming it is the command, whatever the value
        checkList(given, member, words);
    }
    mIsBeaten = nullptr;
}

void ParamCheck::checkList(const GivenParams& given, const nx_json* params, const char* owner)
{
    if (params->type != NX_JSON_OBJECT) {
        remark(params, formatted("%s: its value is %s and no object: no parameter is read", owner, kindOf(*params)));
        return;
    }
    uint32_t seen = 0, repeated = 0;
    for (const nx_json* param = params->child; param != nullptr; param = param->next) {
        const ParamRow* row = given.list().find(orEmpty(param->key));
        if (row == nullptr) {
            remark(param, formatted("%s is no parameter of %s: ignored", quoted(param->key).c_str(), owner));
            continue;
        }
        const uint32_t bit = uint32_t{1} << (row - given.list().rows);
        if ((seen & bit) != 0 && (repeated & bit) == 0) {
            remarkTwice(*row, param, params);
        }
        repeated |= seen & bit;
        seen |= bit;
        // The lights of several lists are joined; of all others one counts, and where it stands was told.
        const nx_json* counts = given.find(*row);
        if (counts == param || row->kind == ParamKind::Lights) {
            checkParam(*row, param, given, owner);
        } else if (counts == nullptr) {
            remark(param, formatted("\"%s\" is lost: %s is named again", row->key, owner));
        }
    }
}

void ParamCheck::remarkTwice(const ParamRow& row, const nx_json* param, const nx_json* params)
{
    const std::string key = quoted(row.key);
    if (row.isFirstOfTwo) {
        remark(param, formatted("%s is lost: it is given twice, and the first counts", key.c_str()));
        return;
    }
    remark(param, formatted(row.kind == ParamKind::Lights ? "%s is given twice: the lights of both are meant"
                                                          : "%s is given twice",
                            key.c_str()));
    if (row.kind != ParamKind::Bytes) {
        return;
    }
    int longest = 0, last = 0;
    for (const nx_json* list = params->child; list != nullptr; list = list->next) {
        if (list->type == NX_JSON_ARRAY && std::strcmp(orEmpty(list->key), row.key) == 0) {
            longest = std::max(longest, std::min<int>(list->length, kBehaviourParams));
            last = list->length;
        }
    }
    if (last < longest) {
        remark(param, formatted("%s: behind its last list, bytes of an earlier one are sent", key.c_str()));
    }
}

void ParamCheck::checkParam(const ParamRow& row, const nx_json* param, const GivenParams& given, const char* owner)
{
    const bool isBeaten = mIsBeaten != nullptr && row.kind != ParamKind::Text && isNumber(*param) && mIsBeaten(param);
    if (!isBeaten && isSent(row, param, given, owner) && !isLost(row, param)) {
        checkKind(row, param, row.limitsFor(mRobot, given));
    }
}

bool ParamCheck::isSent(const ParamRow& row, const nx_json* param, const GivenParams& given, const char* owner)
{
    const bool isStart = mComponent == ZK_COMPONENT_PAMPLEMOUSSE_START;
    if (isStart && isNamedBehaviourValue(row.key) && givesAllBytes(given.lastNaming())) {
        remark(param, formatted("\"%s\" is lost: \"%s\" takes its place", row.key, kBehaviourBytesKey));
        return false;
    }
    if (row.limitsFor(mRobot, given).isSent()) {
        return true;
    }
    // Puppet sequences always write a time for the head.
    if (mIsOfAnimation && std::strcmp(row.key, "time") == 0) {
        return false;
    }
    for (size_t i = 0; i < row.caseCount; ++i) {
        const LimitCase& reason = row.cases[i];
        if (reason.holds(mRobot, given)) {
            const BehaviourRow* behaviour =
                isStart ? findBehaviour(ZKHAL::low16(given.whole(kBehaviourIdKey))) : nullptr;
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
            checkTone(row, param);
            break;
        case ParamKind::Bytes:
        case ParamKind::Lights:
        case ParamKind::EyeLights:
            checkElements(row, param, limits);
            break;
        case ParamKind::EyeBrightness:
            checkEyeBrightness(key, param);
            break;
    }
}

void ParamCheck::checkTone(const ParamRow& row, const nx_json* param)
{
    GivenParams given(row.members);
    given.add(param);
    checkList(given, param, param->key);
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
    if (mComponent == ZK_COMPONENT_SPEAKER) {
        return;  // what is packed decides what there is to say of the volume
    }
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

// One finding for each kind of fault.
void ParamCheck::checkElements(const ParamRow& row, const nx_json* param, const Limits& limits)
{
    const std::string key = quoted(row.key);
    const bool isEye = row.kind == ParamKind::EyeLights;
    const bool isBytes = row.kind == ParamKind::Bytes;
    const bool isList = param->type == NX_JSON_ARRAY;
    const int most = isBytes ? kBehaviourParams : isEye && isList ? _ZK_EYE_LED_COUNT : param->length;
    std::string kind, fraction, range;
    int count = 0;
    for (const nx_json* each = param->child; each != nullptr && count < most; each = each->next, ++count) {
        const auto whole = static_cast<long long>(each->int_value);
        if (!isNumber(*each)) {
            const bool isTold = !kind.empty() || each->type == NX_JSON_BOOL;
            kind = isTold ? kind : formatted("%s in it is read as 0", kindOf(*each));
            continue;
        }
        if (fraction.empty() && each->dbl_value != static_cast<double>(whole)) {
            fraction = formatted("%g in it is read as the whole number %lld", each->dbl_value, whole);
        }
        if (!range.empty() || limits.range.contains(static_cast<double>(whole))) {
            continue;
        }
        if (isBytes) {
            range = formatted("%lld in it is outside %g to %g and does not arrive whole", whole, limits.range.low,
                              limits.range.high);
        } else if (isEye) {
            range = formatted("%lld in it counts as %d", whole, whole > 0 ? 1 : 0);
        }
    }
    for (const std::string& fault : {kind, fraction, range}) {
        if (!fault.empty()) {
            remark(param, key + ": " + fault);
        }
    }
    if (isList && param->length > most) {
        remark(param, formatted(isEye ? "%s: only the first %d elements are lights"
                                      : "%s: only the first %d elements are sent",
                                key.c_str(), most));
    }
    if (row.kind == ParamKind::Lights && isList) {
        checkMessageLights(param);
    } else if (isEye && param->type == NX_JSON_OBJECT) {
        checkEyeLightNumbers(param);
    }
}

void ParamCheck::checkMessageLights(const nx_json* param)
{
    for (const nx_json* each = param->child; each != nullptr; each = each->next) {
        const bool isToldAsKind = !isNumber(*each) && each->type != NX_JSON_BOOL;
        if (!isToldAsKind && messageLightBit(each->int_value) == 0) {
            remark(param, formatted("%s: %lld is no light that shows messages", quoted(param->key).c_str(),
                                    static_cast<long long>(each->int_value)));
            return;
        }
    }
}

// Of an object of eye lights: names that are read as other numbers, and lights that are given twice.
void ParamCheck::checkEyeLightNumbers(const nx_json* param)
{
    const std::string key = quoted(param->key);
    bool isOn[_ZK_EYE_LED_COUNT + 1] = {}, isOff[_ZK_EYE_LED_COUNT + 1] = {};
    for (const nx_json* each = param->child; each != nullptr; each = each->next) {
        const int number = ZKHAL::decimalPrefix(each->key);
        const std::string name = quoted(each->key);
        if (number < 1 || number > _ZK_EYE_LED_COUNT) {
            remark(each, formatted("%s: the eye ring has no light %s", key.c_str(), name.c_str()));
            continue;
        }
        if (std::to_string(number) != orEmpty(each->key)) {
            remark(each, formatted("%s: %s is read as light %d", key.c_str(), name.c_str(), number));
        }
        (each->int_value > 0 ? isOn : isOff)[number] = true;
        if (isOn[number] && isOff[number]) {
            remark(each, formatted("%s: light %d is given twice, and is on", key.c_str(), number));
        }
    }
}

void ParamCheck::checkEyeBrightness(const std::string& key, const nx_json* param)
{
    if (param->type != NX_JSON_ARRAY) {
        checkEyeLevel(key, param, *param);
    } else if (param->length != 1 && param->length != 4) {
        remark(param, formatted("%s: a list of %d is not read: 255 is sent", key.c_str(), param->length));
    } else {
        for (const nx_json* each = param->child; each != nullptr; each = each->next) {
            checkEyeLevel(key, param, *each);
        }
    }
}

void ParamCheck::checkEyeLevel(const std::string& key, const nx_json* place, const nx_json& value)
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
