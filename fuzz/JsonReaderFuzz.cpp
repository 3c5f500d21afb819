// Any text through the JSON reader, in all its forms: they must agree on what is accepted, and on what it says.
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Json/nx_json.h"
#include "CoreUtility/Text.h"
#include "ZKHAL/Diagnostics.h"

namespace {

bool isSameText(const char* one, const char* two)
{
    return (one == nullptr) == (two == nullptr) && std::strcmp(ZKHAL::orEmpty(one), ZKHAL::orEmpty(two)) == 0;
}

bool isSameNode(const nx_json& one, const nx_json& two)
{
    return one.type == two.type && isSameText(one.key, two.key) && isSameText(one.text_value, two.text_value) &&
           one.int_value == two.int_value && std::memcmp(&one.dbl_value, &two.dbl_value, sizeof one.dbl_value) == 0 &&
           one.length == two.length;
}

// Walks both trees without a stack of their own depth on the machine's stack.
bool isSameTree(const nx_json* one, const nx_json* two)
{
    std::vector<std::pair<const nx_json*, const nx_json*>> pending = {{one, two}};
    while (!pending.empty()) {
        std::tie(one, two) = pending.back();
        pending.pop_back();
        if (one == nullptr || two == nullptr) {
            if (one != two) {
                return false;
            }
            continue;
        }
        if (!isSameNode(*one, *two) || (one->child == nullptr) != (one->last_child == nullptr)) {
            return false;
        }
        pending.emplace_back(one->next, two->next);
        pending.emplace_back(one->child, two->child);
    }
    return true;
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
    if (!isSameTree(one, two)) {
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
