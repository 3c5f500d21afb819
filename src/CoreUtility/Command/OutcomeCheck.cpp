#include "CoreUtility/Command/OutcomeCheck.h"

#include <cstring>
#include <string>

#include "CoreUtility/Command/CheckWords.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/CommandBits.h"

namespace APICore {

namespace {

using ZKHAL::formatted;
using ZKHAL::orEmpty;

void remark(const Outcome& outcome, const nx_json* node, const std::string& what)
{
    outcome.findings.remark(outcome.findings.offsetOf(node), what);
}

// ---- Speaker, animation, eye ring ------------------------------------------------------------------------------

// A name that is not given, or of which nothing is left, is none.
void checkFileName(const Outcome& outcome, const char* name, const char* what)
{
    const nx_json* file = outcome.given.find("file");
    if (name[0] == '\0' && file != nullptr) {
        remark(outcome, file, formatted("\"file\" is empty: %s", what));
    }
}

void checkSpeaker(const Outcome& outcome)
{
    const HALSpeaker_t& speaker = outcome.records.speaker;
    const bool isSent = (outcome.records.commandMask & HAL::kBitVolume) != 0;
    const nx_json* volume = outcome.given.find("volume");
    if ((outcome.records.commandMask & HAL::kBitSound) == 0) {  // else an earlier naming has a sound sent
        checkFileName(outcome, speaker.fileName, "no sound is played");
    }
    if (volume == nullptr) {
        if (isSent && speaker.volume == 0) {
            remark(outcome, outcome.given.lastNaming(), "speaker without \"volume\": volume 0 is sent");
        }
    } else if (volume->dbl_value < 0 || volume->dbl_value > 1) {
        remark(outcome, volume,
               formatted("\"volume\": %.9g is outside 0 to 1: ", volume->dbl_value) +
                   (isSent ? formatted("%d %% is sent", ZKHAL::low8(speaker.volume)) : "it is not sent"));
    }
}

void checkAnimation(const Outcome& outcome)
{
    constexpr char kWithoutName[] = "an animation without a name is asked for";
    checkFileName(outcome, outcome.records.anim.fileName, kWithoutName);
    if (outcome.given.find("file") == nullptr) {
        remark(outcome, outcome.given.lastNaming(), formatted("animation without \"file\": %s", kWithoutName));
    }
}

void checkEyeRing(const Outcome& outcome)
{
    if (outcome.given.find("animation") == nullptr && outcome.given.find("index") == nullptr &&
        outcome.records.eyeRing.animationId == 0) {
        remark(outcome, outcome.given.lastNaming(), "eye ring without \"animation\" or \"index\": animation 0 is sent");
    }
}

// ---- Settings --------------------------------------------------------------------------------------------------

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

bool isKey(const char* key, const char* name)
{
    return name != nullptr && std::strcmp(orEmpty(key), name) == 0;
}

bool carries(const SettingKeys& setting, const char* key)
{
    return isKey(key, setting.keys[0]) || isKey(key, setting.keys[1]);
}

// The sub-command that is sent: the first of the given ones.
const SettingKeys* sentSetting(const Outcome& outcome)
{
    for (const SettingKeys& setting : kSettingKeys) {
        if ((outcome.ownBits & setting.bit) != 0) {
            return &setting;
        }
    }
    return nullptr;
}

// Values that stand for none.
bool countsAsNotGiven(const nx_json& param)
{
    if (isKey(param.key, "name")) {
        return orEmpty(param.text_value)[0] == '\0';
    }
    if (isKey(param.key, "pvolume") || isKey(param.key, "peyebright")) {
        return param.dbl_value > 1;
    }
    return static_cast<uint32_t>(static_cast<uint64_t>(param.int_value)) >= kSettingNotGiven;
}

void checkSetting(const Outcome& outcome, const SettingKeys* sent, const nx_json& param)
{
    const bool isNotGiven = countsAsNotGiven(param);
    if (sent != nullptr && carries(*sent, param.key)) {
        if (isNotGiven) {
            remark(outcome, &param,
                   formatted("\"%s\": %lld counts as not given: the robot's own is sent", param.key,
                             static_cast<long long>(param.int_value)));
        }
        return;
    }
    if (isNotGiven) {
        // Above 1 on purpose: that is how the eye brightness is reached.
        const bool makesWay = isKey(param.key, "pvolume") && sent != nullptr &&
                              sent->bit == HAL::kBitSettingEyeBrightness && outcome.given.find("peyebright") != nullptr;
        if (!makesWay) {
            remark(outcome, &param, formatted("\"%s\" is not sent: this value counts as not given", param.key));
        }
    } else if (sent != nullptr) {
        const bool firstIsGiven = sent->keys[1] == nullptr || outcome.given.find(sent->keys[0]) != nullptr;
        remark(outcome, &param,
               formatted("\"%s\" is not sent: one message carries one setting, and \"%s\" goes before it", param.key,
                         sent->keys[firstIsGiven ? 0 : 1]));
    }
}

void checkSettings(const Outcome& outcome)
{
    const SettingKeys* sent = sentSetting(outcome);
    for (const char* key : sent != nullptr ? sent->keys : kSettingKeys[0].keys) {
        if (sent != nullptr && key != nullptr && outcome.given.find(key) == nullptr) {
            remark(outcome, outcome.given.lastNaming(), formatted("\"%s\" is sent though it is not given", key));
        }
    }
    for (const ParamRow& row : outcome.given.list()) {
        if (const nx_json* param = outcome.given.find(row)) {
            checkSetting(outcome, sent, *param);
        }
    }
}

}  // namespace

bool isBeatenSetting(const nx_json* param, const Outcome& outcome)
{
    const SettingKeys* sent = sentSetting(outcome);
    return sent == nullptr || !carries(*sent, param->key) || countsAsNotGiven(*param);
}

bool lacksBrightness(const Outcome& outcome)
{
    return outcome.given.find("brightness") == nullptr;
}

void checkOutcome(uint32_t componentId, const Outcome& outcome)
{
    switch (componentId) {
        case ZK_COMPONENT_SPEAKER:
            checkSpeaker(outcome);
            break;
        case ZK_COMPONENT_ON_ROBOT_ANIM:
            checkAnimation(outcome);
            break;
        case ZK_COMPONENT_EYE_RING:
            checkEyeRing(outcome);
            break;
        case ZK_COMPONENT_USER_SETTINGS:
            checkSettings(outcome);
            break;
        default:
            break;
    }
}

}  // namespace APICore
