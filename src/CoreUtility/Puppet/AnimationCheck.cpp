#include "CoreUtility/Puppet/AnimationCheck.h"

#include <cstring>

#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Puppet/WaitClock.h"
#include "CoreUtility/Puppet/ZKAnimConvert.h"

namespace ZKAnimConvert {

namespace {

using APICore::Findings;
using ZKHAL::formatted;

constexpr char kDocument[] =
    "an animation is an object with a list of frames, like {\"data\":[{\"duration\":0.5,\"commands\":{}}]}";

bool isMissing(const nx_json* node)
{
    return node == nx_json_get(nullptr, nullptr);
}

// The first place in a frame that has a name, or that of the list it stands in.
size_t offsetOfFrame(const nx_json* frame, size_t ofList, const Findings& findings)
{
    return frame->child != nullptr && frame->child->key != nullptr ? findings.offsetOf(frame->child) : ofList;
}

// Whether the conversion goes on behind it.
bool checkDuration(const nx_json* frame, size_t at, WaitClock& clock, Findings& findings)
{
    const nx_json* duration = nx_json_get(frame, "duration");
    if (isMissing(duration)) {
        findings.refuse(at, "\"duration\" is missing");
        return false;
    }
    const size_t place = findings.offsetOf(duration);
    if (duration->type != NX_JSON_DOUBLE) {
        findings.refuse(place, duration->type == NX_JSON_INTEGER
                                   ? formatted("\"duration\" is written with a point: %lld.0",
                                               static_cast<long long>(duration->int_value))
                                   : std::string("\"duration\" is a number of seconds, written with a point"));
        return false;
    }
    int64_t wait = 0;
    if (!clock.add(ZKHAL::narrowed(duration->dbl_value), wait)) {
        findings.refuse(place, formatted("\"duration\": a wait is at most %d ms", kLongestLongWait));
        return false;
    }
    const unsigned stored = storedWait(wait);
    if (wait != static_cast<int64_t>(stored)) {
        findings.remark(place, formatted("wait %lld ms is stored as %u ms", static_cast<long long>(wait), stored));
    }
    return true;
}

bool checkFrame(const nx_json* frame, size_t at, uint32_t robotType, WaitClock& clock, Findings& findings)
{
    if (frame->type != NX_JSON_OBJECT) {
        findings.refuse(at, "a frame is an object");
        return false;
    }
    const nx_json* commands = nx_json_get(frame, "commands");
    const bool hasCommands = commands->type == NX_JSON_OBJECT;
    const bool goesOn = checkDuration(frame, at, clock, findings);
    if (!hasCommands) {
        findings.refuse(isMissing(commands) ? at : findings.offsetOf(commands),
                        isMissing(commands) ? "\"commands\" is missing" : "\"commands\" is an object of commands");
        return false;
    }
    APICore::checkCommands(commands, robotType, true, findings);
    return goesOn;
}

}  // namespace

APICore::CheckResult checkAnimationDocument(const char* text, uint32_t robotType, std::string& lines)
{
    ZKHAL::JsonDocument document;
    const nx_json* root = document.parse(text, std::strlen(text));
    Findings findings(text, document, lines);
    if (!APICore::isObjectText(text, document, root, kDocument, findings)) {
        return APICore::resultOf(findings);
    }
    const nx_json* data = nx_json_get(root, "data");
    if (data->type != NX_JSON_ARRAY) {
        findings.refuse(isMissing(data) ? 0 : findings.offsetOf(data),
                        isMissing(data) ? "\"data\" is missing" : "\"data\" is a list of frames");
        return APICore::resultOf(findings);
    }
    WaitClock clock;
    int number = 0;
    bool goesOn = true;
    for (const nx_json* frame = data->child; frame != nullptr && goesOn; frame = frame->next) {
        findings.setContext(formatted("frame %d: ", ++number));
        goesOn = checkFrame(frame, offsetOfFrame(frame, findings.offsetOf(data), findings), robotType, clock, findings);
    }
    findings.setContext("");
    APICore::checkText(text, document.end(), findings);
    return APICore::resultOf(findings);
}

}  // namespace ZKAnimConvert
