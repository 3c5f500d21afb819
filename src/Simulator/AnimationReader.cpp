#include "Simulator/AnimationReader.h"

#include <cstring>

#include "CoreUtility/Puppet/ZKAnimConvert.h"

namespace Simulator {

AnimationReading readAnimation(const uint8_t* data, size_t size)
{
    using namespace ZKAnimConvert;
    AnimationReading reading;
    AnimationFrame frame;
    size_t at = 0;
    while (at < size) {
        const uint8_t record = data[at];
        const size_t rest = size - at - 1;
        const size_t length = record ^ kPacketRecord;
        const bool isPacket = length >= 1 && length <= HAL_PACKET_SIZE;
        const size_t needed = isPacket ? length : record == kShortWaitRecord ? 1u : record == kLongWaitRecord ? 2u : 0u;
        if (needed == 0 || needed > rest) {
            reading.problem = needed == 0 ? "no record begins with this byte" : "the record is cut off";
            break;
        }
        const uint8_t* const body = data + at + 1;
        if (isPacket) {
            HALPacket_t packet = {};
            packet.length = static_cast<uint32_t>(length);
            std::memcpy(packet.data, body, length);
            frame.packets.push_back(packet);
        } else {
            frame.wait_ms = needed == 1 ? body[0] : static_cast<unsigned>(body[0] << 8 | body[1]);
            reading.frames.push_back(frame);
            frame = AnimationFrame();
        }
        at += 1 + needed;
    }
    if (!frame.packets.empty()) {
        reading.frames.push_back(frame);
    }
    reading.problemAt = at;
    return reading;
}

}  // namespace Simulator
