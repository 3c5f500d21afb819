#include "HAL/MessagePacketizers/AbstractPacketizer.h"

namespace HAL {

using ZKHAL::PayloadText;

AbstractPacketizer::~AbstractPacketizer() = default;

bool AbstractPacketizer::deserializePacketsToPayload(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                                                     std::string& payload)
{
    std::ostringstream out;
    const bool written = _deserialize(robot, packets, out);
    payload = out.str();
    return written;
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

void AbstractPacketizer::addKeyValuePairToPayload(std::ostream& out, const char* key, const uint8_t* bytes,
                                                  size_t count, bool isFirst)
{
    PayloadText text;
    addKeyValuePairToPayload(text, key, bytes, count, isFirst);
    out.write(text.data(), static_cast<std::streamsize>(text.length()));
}

}  // namespace HAL
