// Any text as a command document for any robot: checked, translated twice, and read back. The check must refuse
// exactly what the handle refuses, and the packets must be readable to the last byte.
#include <cstdlib>
#include <string>

#include "Simulator/CommandReader.h"
#include "ZKHAL/ZKHAL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    if (size == 0) {
        return 0;
    }
    const uint32_t robotType = 1000 + data[0] % 6u;
    const std::string json(reinterpret_cast<const char*>(data) + 1, size - 1);

    char findings[256];
    const int checked = ZKCheckCommandDocument(json.c_str(), robotType, findings, sizeof findings);
    ZKTranslator* translator = ZKTranslatorCreate(robotType);
    for (int round = 0; round < 2; ++round) {
        HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
        size_t count = 0;
        const int accepted = ZKTranslatorTranslate(translator, json.c_str(), packets, &count, nullptr, 0);
        if ((accepted == 0) != (checked == ZK_CHECK_REFUSED) || count > ZK_MAX_COMMAND_PACKETS) {
            std::abort();
        }
        for (size_t i = 0; i < count; ++i) {
            const bool inOrder = packets[i].length > 0 && packets[i].length <= HAL_PACKET_SIZE;
            if (!inOrder || !Simulator::readCommands(packets[i].data, packets[i].length).problem.empty()) {
                std::abort();
            }
        }
    }
    ZKTranslatorDestroy(translator);
    return 0;
}
