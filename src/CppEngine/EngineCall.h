// The calls of the engine that are on the stack. What a callback removes, the very robot that is calling included, is
// kept until the last of them has returned.
#pragma once

#include <memory>

namespace Kestrel {

class EngineCall {
public:
    EngineCall();
    ~EngineCall();
    EngineCall(const EngineCall&) = delete;
    EngineCall& operator=(const EngineCall&) = delete;

    // To be called inside a call.
    static void keepUntilIdle(std::shared_ptr<const void> removed);
};

}  // namespace Kestrel
