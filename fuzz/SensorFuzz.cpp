// Any bytes as a stream of sensor reports, of any robot: every report is decoded, fits its buffer, and is a document.
#include <cstdlib>
#include <cstring>
#include <string>

#include "CoreUtility/Json/nx_json.h"
#include "ZKHAL/ZKHAL.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    if (size == 0) {
        return 0;
    }
    ZKTranslator* translator = ZKTranslatorCreate(1000 + data[0] % 6u);
    for (size_t at = 1; at < size; at += 2 * HAL_PACKET_SIZE) {
        HALPacket_t packets[2] = {};
        for (size_t i = 0; i < 2; ++i) {
            const size_t begin = at + i * HAL_PACKET_SIZE;
            const size_t rest = begin < size ? size - begin : 0;
            packets[i].length = data[at];  // any
            std::memcpy(packets[i].data, data + begin * (rest > 0), rest < HAL_PACKET_SIZE ? rest : HAL_PACKET_SIZE);
        }
        char json[ZK_MAX_REPORT_SIZE];
        const size_t needed = ZKTranslatorDecode(translator, packets, 1 + data[at] % 2u, json, sizeof json);
        if (data[at] == 0) {  // packets of no length are left out
            if (needed != 0) {
                std::abort();
            }
            continue;
        }
        const nx_json* root = needed == std::strlen(json) + 1 ? nx_json_parse_utf8(json) : nullptr;
        if (root == nullptr || nx_json_get(root, "tm")->type != NX_JSON_INTEGER) {
            std::abort();
        }
        nx_json_free(root);
    }
    ZKTranslatorDestroy(translator);
    return 0;
}
