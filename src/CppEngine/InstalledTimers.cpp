// The one timer manager of the process: the host's, or else the engine's own.
#include "CoreUtility/Assertion.h"
#include "CoreUtility/Boundary.h"
#include "CppEngine/TimerManager.h"
#include "ZKHAL/Engine.h"

static Kestrel::TimerManager* sTimerManagerInstance = nullptr;  // the installed one

void ZKSetTimerManager(ZKTimerManager* manager)
{
    sTimerManagerInstance = manager;
}

ZKTimerManager* ZKGetTimerManager(void)
{
    static Kestrel::TimerManager* own = nullptr;
    if (sTimerManagerInstance == nullptr) {
        if (own == nullptr) {
            own = ZKHAL::guarded(__func__, own, [] { return new Kestrel::TimerManager; });
        }
        sTimerManagerInstance = own;
    }
    ZK_ASSERT(sTimerManagerInstance);
    return sTimerManagerInstance;
}
