// What the checks say of documents and their values.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include "CoreUtility/Json/nx_json.h"
#include "CoreUtility/Text.h"

namespace APICore {

// A name from a document, cut at a character when it is long.
inline std::string quoted(const char* text)
{
    constexpr size_t kMost = 40;
    char brief[kMost + 1];
    const size_t length = std::strlen(ZKHAL::orEmpty(text));
    ZKHAL::copyToBuffer(brief, sizeof brief, ZKHAL::orEmpty(text), length);
    return std::string("\"") + brief + (length > kMost ? "...\"" : "\"");
}

inline const char* kindOf(const nx_json& value)
{
    switch (value.type) {
        case NX_JSON_NULL:
            return "null";
        case NX_JSON_OBJECT:
            return "an object";
        case NX_JSON_ARRAY:
            return "an array";
        case NX_JSON_STRING:
            return "text";
        case NX_JSON_BOOL:
            return value.int_value != 0 ? "true" : "false";
        default:
            return "a number";
    }
}

inline bool isNumber(const nx_json& value)
{
    return value.type == NX_JSON_INTEGER || value.type == NX_JSON_DOUBLE;
}

inline bool hasMember(const nx_json* params, const char* key)
{
    return nx_json_get(params, key) != nx_json_get(nullptr, nullptr);
}

inline uint32_t componentOf(const nx_json* member)
{
    return static_cast<uint32_t>(ZKHAL::decimalPrefix(member->key));
}

}  // namespace APICore
