#include "CppEngine/EngineCall.h"

#include <utility>
#include <vector>

namespace Kestrel {

namespace {

using Removed = std::vector<std::shared_ptr<const void>>;

int gDepth = 0;

// Lives until the process ends, as the robots do.
Removed& removedObjects()
{
    static auto* const objects = new Removed;
    return *objects;
}

}  // namespace

EngineCall::EngineCall()
{
    ++gDepth;
}

EngineCall::~EngineCall()
{
    // What goes may call the engine again, and remove more.
    if (--gDepth == 0) {
        while (!removedObjects().empty()) {
            Removed().swap(removedObjects());
        }
    }
}

void EngineCall::keepUntilIdle(std::shared_ptr<const void> removed)
{
    removedObjects().push_back(std::move(removed));
}

}  // namespace Kestrel
