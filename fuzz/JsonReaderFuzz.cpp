// Any text through the JSON reader, in all its forms: they must agree on what is accepted.
#include <cstdlib>
#include <string>

#include "CoreUtility/JsonDocument.h"
#include "CoreUtility/nx_json.h"
#include "ZKHAL/Diagnostics.h"

namespace {

// Walks the whole tree without a stack of its own depth.
size_t countNodes(const nx_json* root)
{
    size_t count = 0;
    const nx_json* pending[64];
    size_t depth = 0;
    for (const nx_json* node = root; node != nullptr;) {
        ++count;
        if (node->child != nullptr && depth < 64) {
            pending[depth++] = node->next;
            node = node->child;
        } else {
            node = node->next;
        }
        while (node == nullptr && depth > 0) {
            node = pending[--depth];
        }
    }
    return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    ZKSetMessageSink([](void*, int, const char*) {}, nullptr);
    const std::string text(reinterpret_cast<const char*>(data), size);

    std::string dropped = text;
    const nx_json* one = nx_json_parse_utf8(dropped.data());
    ZKHAL::JsonDocument document;
    const nx_json* two = document.parse(text.c_str(), text.size());
    if ((one == nullptr) != (two == nullptr) || countNodes(one) != countNodes(two)) {
        std::abort();
    }
    nx_json_get(one, "a");
    nx_json_free(one);

    std::string kept = text;
    nx_json_free(nx_json_parse(kept.data(), nullptr));
    std::string encoded = text;
    nx_json_free(nx_json_parse(encoded.data(), unicode_to_utf8));
    return 0;
}
