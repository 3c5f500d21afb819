// Packets to text documents and back: what the packetizers share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

#include "CoreUtility/Json/nx_json.h"
#include "CoreUtility/PayloadText.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKExport.h"

#ifndef ZKHAL_WITHOUT_STREAMS
#include <sstream>
#endif

namespace HAL {

class RobotHW;

/** A packet as it came in: never more than 20 bytes are read of it, whatever its length says. */
inline size_t packetBytes(const HALPacket_t& packet)
{
    constexpr uint32_t kMost = HAL_PACKET_SIZE;
    return packet.length < kMost ? packet.length : kMost;
}

/** One packetizer serves one robot: it may keep state from packet to packet. Used by one thread at a time. */
class ZK_API AbstractPacketizer {
public:
    virtual ~AbstractPacketizer();

    /** Packets to a document. payload is replaced; false, and an empty payload, when there is nothing to write. */
    bool deserializePacketsToPayload(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                                     std::string& payload);

    /**
     * A JSON document to packets, which are appended. The text is only read. False for a text that is no JSON (with
     * the reader's line on stderr), and when it makes no packets.
     */
    bool serializePayloadToPackets(const RobotHW& robot, const std::string& payload, std::vector<HALPacket_t>& packets);

    virtual bool _serialize(const RobotHW& robot, std::vector<HALPacket_t>& packets, const nx_json* request) = 0;

    /**
     * The document onto a stream or into a text. A packetizer overrides one of the two, and the other goes through it;
     * the library itself calls the second. What is in the text or on the stream before stays.
     */
    virtual bool _deserialize(const RobotHW& robot, const std::vector<HALPacket_t>& packets, std::ostringstream& out);
    virtual bool _deserializeToText(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                                    ZKHAL::PayloadText& out);

    /** How each of the two goes through the other. Hosts get it from this header, the library has no stream code. */
    struct StreamForms {
        bool (*toText)(AbstractPacketizer& packetizer, const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                       ZKHAL::PayloadText& out);
        bool (*toStream)(AbstractPacketizer& packetizer, const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                         std::ostringstream& out);
    };
    static bool setStreamForms(const StreamForms& forms);

    /**
     * Writes one pair of an object: a comma unless it is the first, the key in quotes, a colon and the value. 8-bit
     * integers are written as unsigned numbers, reals with six significant digits, booleans as 1 or 0.
     */
    template <class Value, class = std::enable_if_t<std::is_arithmetic_v<Value>>>  // a pointer is bytes, const or not
    static void addKeyValuePairToPayload(std::ostream& out, const char* key, Value value, bool isFirst = false)
    {
        ZKHAL::PayloadText text;
        addKeyValuePairToPayload(text, key, value, isFirst);
        out.write(text.data(), static_cast<std::streamsize>(text.length()));
    }
    /** An array of bytes, as numbers. */
    static void addKeyValuePairToPayload(std::ostream& out, const char* key, const uint8_t* bytes, size_t count,
                                         bool isFirst = false)
    {
        ZKHAL::PayloadText text;
        addKeyValuePairToPayload(text, key, bytes, count, isFirst);
        out.write(text.data(), static_cast<std::streamsize>(text.length()));
    }

protected:
    // The same into the packetizer's own storage.
    template <class Value>
    static void addKeyValuePairToPayload(ZKHAL::PayloadText& out, const char* key, Value value, bool isFirst)
    {
        static_assert(std::is_arithmetic_v<Value>, "numbers and booleans");
        addKey(out, key, isFirst);
        if constexpr (std::is_floating_point_v<Value>) {
            out.appendReal(static_cast<double>(value));
        } else if constexpr (sizeof(Value) == 1) {
            out.appendUnsigned(static_cast<uint8_t>(value));
        } else if constexpr (std::is_unsigned_v<Value>) {
            out.appendUnsigned(value);
        } else {
            out.appendSigned(value);
        }
    }
    static void addKeyValuePairToPayload(ZKHAL::PayloadText& out, const char* key, const uint8_t* bytes, size_t count,
                                         bool isFirst);
    static void addKey(ZKHAL::PayloadText& out, const char* key, bool isFirst);

private:
    static StreamForms sStreamForms;
};

#ifndef ZKHAL_WITHOUT_STREAMS
// Before anything of a host that includes this header can run.
inline const bool kHasStreamForms =
    AbstractPacketizer::setStreamForms({[](AbstractPacketizer& packetizer, const RobotHW& robot,
                                           const std::vector<HALPacket_t>& packets, ZKHAL::PayloadText& out) {
                                            std::ostringstream stream;
                                            const bool written = packetizer._deserialize(robot, packets, stream);
                                            const std::string text = stream.str();
                                            out.append(text.data(), text.size());
                                            return written;
                                        },
                                        [](AbstractPacketizer& packetizer, const RobotHW& robot,
                                           const std::vector<HALPacket_t>& packets, std::ostringstream& out) {
                                            ZKHAL::PayloadText text;
                                            const bool written = packetizer._deserializeToText(robot, packets, text);
                                            out.write(text.data(), static_cast<std::streamsize>(text.length()));
                                            return written;
                                        }});
#endif

}  // namespace HAL
