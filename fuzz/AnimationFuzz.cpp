// Any text as an animation document, and any bytes as an animation file: what the check does not refuse converts, and
// what is converted reads back as the same frames.
#include <cstdlib>
#include <string>
#include <vector>

#include "CoreUtility/Puppet/ZKAnimConvert.h"
#include "Simulator/AnimationReader.h"
#include "ZKHAL/ZKHAL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    Simulator::readAnimation(data, size);
    if (size == 0) {
        return 0;
    }
    const uint32_t robotType = ZK_ROBOT_ORVIK + data[0] % 4u;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    char message[200];
    const int verdict = ZKCheckAnimationDocument(text.c_str(), robotType, message, sizeof message);
    if ((verdict == ZK_CHECK_ACCEPTED) != (message[0] == '\0')) {
        std::abort();
    }
    // A refusal may stand for a fatal assertion, which is the conversion's to meet.
    if (verdict == ZK_CHECK_REFUSED) {
        return 0;
    }
    std::vector<uint8_t> bytes;
    if (!ZKAnimConvert::Json2Robot(text.c_str(), bytes, robotType)) {
        std::abort();
    }
    const Simulator::AnimationReading reading = Simulator::readAnimation(bytes.data(), bytes.size());
    size_t read = 0;
    for (const Simulator::AnimationFrame& frame : reading.frames) {
        for (const HALPacket_t& packet : frame.packets) {
            read += 1 + packet.length;
        }
    }
    if (!reading.problem.empty() || read > bytes.size()) {
        std::abort();
    }
    return 0;
}
