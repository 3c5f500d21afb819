// Trees of nodes of their own, for who calls the reader from outside. What releases them is another file's: a compiler
// that sees both takes the reader's place for the root, which is on the stack, for one of the nodes.
#include <new>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Json/JsonParser.h"
#include "CoreUtility/Json/nx_json.h"

namespace ZKHAL {

namespace {

// Nodes allocated one by one, for trees that their owner releases with nx_json_free().
struct HeapNodes {
    static constexpr bool kTextIsPadded = false;

    static NodeBlock nextBlock()
    {
        nx_json* js = new (std::nothrow) nx_json;
        ZK_ASSERT(js);
        return {js, js + 1};
    }
    static void giveBack(NodeBlock rest)
    {
        if (rest.next != rest.end) {
            delete rest.next;
        }
    }
};

}  // namespace

}  // namespace ZKHAL

const nx_json* nx_json_parse(char* text, nx_json_unicode_encoder encoder)
{
    char empty[1] = "";
    ZKHAL::HeapNodes nodes;
    ZKHAL::JsonError error;
    ZKHAL::JsonParser<ZKHAL::HeapNodes> parser(nodes, encoder, error);
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
