#include "CoreUtility/Json/nx_json.h"

#include <new>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Json/JsonParser.h"
#include "CoreUtility/Text.h"

namespace {

// Nodes allocated one by one, for trees that their owner releases with nx_json_free().
class HeapNodes {
public:
    static constexpr bool kTextIsPadded = false;

    ZKHAL::NodeBlock nextBlock()
    {
        nx_json* js = new (std::nothrow) nx_json;
        ZK_ASSERT(js);
        mLast = js;
        return {js, js + 1};
    }
    void giveBack(ZKHAL::NodeBlock rest)
    {
        if (rest.next != rest.end) {
            delete mLast;
        }
    }

private:
    nx_json* mLast = nullptr;
};

const nx_json kNothing = {NX_JSON_NULL, nullptr, nullptr, 0, 0.0, 0, nullptr, nullptr, nullptr};

}  // namespace

const nx_json* nx_json_parse(char* text, nx_json_unicode_encoder encoder)
{
    char empty[1] = "";
    HeapNodes nodes;
    ZKHAL::JsonError error;
    ZKHAL::JsonParser<HeapNodes> parser(nodes, encoder, error);
    const char* end = nullptr;
    nx_json* root = parser.parse(text != nullptr ? text : empty, end);
    if (error.reason != nullptr) {
        nx_json_free(root);
        error.print();
        return nullptr;
    }
    return root;
}

const nx_json* nx_json_parse_utf8(char* text)
{
    return nx_json_parse(text, ZKHAL::dropCodePoint);
}

int unicode_to_utf8(unsigned codePoint, char* output, char** newOutput)
{
    const auto put = [&output](unsigned byte) { *output++ = static_cast<char>(static_cast<unsigned char>(byte)); };
    if (codePoint < 0x80) {
        put(codePoint);
    } else if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
            return 0;
        }
        put(0xE0 | codePoint >> 12);
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x110000) {
        put(0xF0 | codePoint >> 18);
        put(0x80 | (codePoint >> 12 & 0x3F));
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    } else {
        return 0;
    }
    *newOutput = output;
    return 1;
}

void nx_json_free(const nx_json* node)
{
    nx_json* first = const_cast<nx_json*>(node);
    if (first != nullptr) {
        first->next = nullptr;  // only this node and what is below it
    }
    while (first != nullptr) {
        // A node's children take its place in the list, so that no depth needs a stack.
        if (first->child != nullptr) {
            first->last_child->next = first->next;
            first->next = first->child;
        }
        nx_json* next = first->next;
        delete first;
        first = next;
    }
}

const nx_json* nx_json_get(const nx_json* node, const char* key)
{
    if (node != nullptr && key != nullptr) {
        for (const nx_json* child = node->child; child != nullptr; child = child->next) {
            if (child->key != nullptr && ZKHAL::isSameText(child->key, key)) {
                return child;
            }
        }
    }
    return &kNothing;
}

const nx_json* nx_json_item(const nx_json* node, int index)
{
    if (node != nullptr && index >= 0) {
        for (const nx_json* child = node->child; child != nullptr; child = child->next) {
            if (index-- == 0) {
                return child;
            }
        }
    }
    return &kNothing;
}
