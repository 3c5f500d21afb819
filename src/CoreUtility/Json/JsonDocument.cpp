#include "CoreUtility/Json/JsonDocument.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Json/JsonParser.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

void JsonError::print() const
{
    printErr("NXJSON PARSE ERROR (%d): %s at %s\n", site, reason, at);
}

NodeBlock JsonNodePool::nextBlock()
{
    if (mUsed == mAllocated) {
        std::unique_ptr<nx_json[]> js(new (std::nothrow) nx_json[sizeOf(mUsed)]);
        ZK_ASSERT(js);
        mBlocks[mAllocated++] = std::move(js);
    }
    nx_json* nodes = mBlocks[mUsed].get();
    return {nodes, nodes + sizeOf(mUsed++)};
}

void JsonNodePool::reset()
{
    while (mAllocated > kKeptBlocks) {
        mBlocks[--mAllocated].reset();
    }
    mUsed = 0;
}

const nx_json* JsonDocument::parse(const char* text, size_t length)
{
    clear();
    static_assert(kPadding >= ComparedText::kReadable, "keys are compared as far");
    const size_t needed = length + kPadding;
    if (mCapacity < needed) {
        mCapacity = 0;
        mText.reset(new char[std::max(needed, kFirstText)]);
        mCapacity = std::max(needed, kFirstText);
    }
    std::memcpy(mText.get(), text, length);  // up to its first NUL at the most, where the reader stops
    std::memset(mText.get() + length, 0, kPadding);
    mError = {};
    JsonParser<JsonNodePool> parser(mNodes, dropCodePoint, mError);
    const nx_json* root = parser.parse(mText.get(), mEnd);
    return mError.reason == nullptr ? root : nullptr;
}

void JsonDocument::clear()
{
    mNodes.reset();
    if (mCapacity > kKeptText) {
        mText.reset();
        mCapacity = 0;
    }
}

}  // namespace ZKHAL
