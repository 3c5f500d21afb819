#include "CoreUtility/Puppet/ZKAnimConvert.h"

#include <memory>
#include <string>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Command/BotMessengerBuffer.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Numbers.h"
#include "CoreUtility/Puppet/WaitClock.h"
#include "CoreUtility/Text.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "ZKHAL/Utilities.h"

namespace ZKAnimConvert {

namespace {

bool malformed(const char* element)
{
    ZKHAL::printOut("error: json malformed \"%s\" element\n", element);
    return false;
}

void appendPacket(std::vector<uint8_t>& bytes, const HALPacket_t* pp)
{
    ZK_ASSERT(pp);
    ZK_ASSERT(pp->length <= 20);
    bytes.push_back(static_cast<uint8_t>(kPacketRecord | pp->length));
    bytes.insert(bytes.end(), pp->data, pp->data + pp->length);
}

void appendWait(std::vector<uint8_t>& bytes, int64_t wait)
{
    if (wait > kLongestShortWait) {
        bytes.push_back(kLongWaitRecord);
        bytes.push_back(ZKHAL::low8(wait >> 8));
    } else {
        bytes.push_back(kShortWaitRecord);
    }
    bytes.push_back(ZKHAL::low8(wait));
}

#ifdef ZKHAL_ANIMATION_DIAGNOSTICS
void printPacket(size_t index, const HALPacket_t& packet)
{
    ZKHAL::printErr("packet %zu, %2uB: %s\n", index, packet.length, ZKPrettyHex(packet.data, packet.length).c_str());
}
#endif

}  // namespace

bool Json2Robot(const char* text, std::vector<uint8_t>& bytes, unsigned robotType)
{
    std::string scratch = ZKHAL::orEmpty(text);  // the reader parses in place
    const std::unique_ptr<const nx_json, decltype(&nx_json_free)> document(nx_json_parse_utf8(scratch.data()),
                                                                           nx_json_free);
    if (document == nullptr || document->type != NX_JSON_OBJECT) {
        ZKHAL::printOut("error: could not parse top-level json doc\n");
        return false;
    }
    return Json2Robot(document.get(), bytes, robotType);
}

bool Json2Robot(const nx_json* document, std::vector<uint8_t>& bytes, unsigned robotType)
{
    const nx_json* data = nx_json_get(document, "data");
    if (data->type != NX_JSON_ARRAY) {
        return malformed("data");
    }
    HAL::RobotHW robot;
    robot._setRobotType(robotType);
    APICore::BotMessengerBuffer translator(&robot);
    WaitClock clock;
    long frameCount = 0;
    for (const nx_json* frame = data->child; frame != nullptr; frame = frame->next) {
        if (frame->type != NX_JSON_OBJECT) {
            return malformed("array_element");
        }
        ++frameCount;
        const nx_json* duration = nx_json_get(frame, "duration");
        if (duration->type != NX_JSON_DOUBLE) {
            return malformed("duration");
        }
        const nx_json* commands = nx_json_get(frame, "commands");
        if (commands->type != NX_JSON_OBJECT) {
            return malformed("commands");
        }
        const std::vector<HALPacket_t*> packets = translator.convertCtlrMessageToPackets(commands);
        for (size_t i = 0; i < packets.size(); ++i) {
            appendPacket(bytes, packets[i]);
#ifdef ZKHAL_ANIMATION_DIAGNOSTICS
            printPacket(i, *packets[i]);
#endif
        }
        int64_t wait = 0;
        if (!clock.add(ZKHAL::narrowed(duration->dbl_value), wait)) {
            ZKHAL::printOut("error: duration greater than 2^16-1 ms\n");
            return false;
        }
        appendWait(bytes, wait);
    }
    ZKHAL::printOut("converted %ld frames. bytecount = %ld\n", frameCount, static_cast<long>(bytes.size()));
    return true;
}

bool Internal::preprocessFrame(const nx_json* frame)
{
    if (frame == nullptr || frame->type != NX_JSON_OBJECT) {
        return malformed("array_element");
    }
    const nx_json* commands = nx_json_get(frame, "commands");
    if (commands->type != NX_JSON_OBJECT) {
        return malformed("commands");
    }
    for (const nx_json* command = commands->child; command != nullptr; command = command->next) {
        if (command->type != NX_JSON_OBJECT) {
            return malformed(ZKHAL::orEmpty(command->key));
        }
    }
    return true;
}

}  // namespace ZKAnimConvert
