// JSON shell requests to shell packets, and shell answers to a small JSON document.
#pragma once

#include "HAL/MessagePacketizers/AbstractPacketizer.h"

namespace HAL {

/**
 * Request: {"cmd":"text"}, with "addr" 0 to 3 (3 by default; 999 leaves the default). Keys match without regard to
 * case and may be abbreviated down to nothing, where nothing stands for "addr".
 * Answer: {"res":"text"}, with the text as it came, without any escaping.
 */
class ZK_API PacketizerShell : public AbstractPacketizer {
public:
    /** Appends a packet for every 19 bytes of text; false when there is none. */
    bool _serialize(const RobotHW& robot, std::vector<HALPacket_t>& packets, const nx_json* request) override;
    /** Always true. */
    bool _deserializeToText(const RobotHW& robot, const std::vector<HALPacket_t>& packets,
                            ZKHAL::PayloadText& out) override;
};

}  // namespace HAL
