#include "HAL/MessagePacketizers/AbstractPacketizer.h"

#include "CoreUtility/Assertion.h"

namespace HAL {

using ZKHAL::PayloadText;

AbstractPacketizer::~AbstractPacketizer() = default;

bool AbstractPacketizer::deserializePacketsToPayload(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                                                     std::string& payload)
{
    PayloadText out;
    const bool written = _deserializeToText(robot, packets, out);
    payload.assign(out.data(), out.length());
    return written;
}

bool AbstractPacketizer::_deserialize(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                                      std::ostringstream& out)
{
    ZK_ASSERT(sStreamForms.toStream);  // the header that declares this sets it
    return sStreamForms.toStream(*this, robot, packets, out);
}

bool AbstractPacketizer::_deserializeToText(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                                            PayloadText& out)
{
    ZK_ASSERT(sStreamForms.toText);
    return sStreamForms.toText(*this, robot, packets, out);
}

AbstractPacketizer::StreamForms AbstractPacketizer::sStreamForms = {nullptr, nullptr};

bool AbstractPacketizer::setStreamForms(const StreamForms& forms)
{
    sStreamForms = forms;
    return true;
}

bool AbstractPacketizer::serializePayloadToPackets(const RobotHW& robot, const std::string& payload,
                                                   std::vector<HALPacket_t>& packets)
{
    std::string text = payload;  // the reader parses in place
    const nx_json* request = nx_json_parse_utf8(text.data());
    if (request == nullptr) {
        return false;
    }
    const bool written = _serialize(robot, packets, request);
    nx_json_free(request);
    return written;
}

void AbstractPacketizer::addKey(PayloadText& out, const char* key, bool isFirst)
{
    if (!isFirst) {
        out.append(',');
    }
    out.append('"');
    out.append(key, std::strlen(key));
    out.append("\":");
}

void AbstractPacketizer::addKeyValuePairToPayload(PayloadText& out, const char* key, const uint8_t* bytes, size_t count,
                                                  bool isFirst)
{
    addKey(out, key, isFirst);
    out.appendBytes(bytes, count);
}

}  // namespace HAL
