#include "Host/BluezCalls.h"

#include <utility>

#include "Host/BluezNames.h"

namespace Host::Bluez {

BusMessage Calls::newCall(const std::string& path, const char* interface, const char* method)
{
    return mBus.newCall(kService, path, interface, method);
}

void Calls::call(BusMessage message, const CallOwner& owner, Bus::Handler onReply, double timeoutSeconds)
{
    mWaiting.push_back({std::move(message), owner, std::move(onReply), timeoutSeconds});
    makeNext();
}

void Calls::tell(const std::string& path, const char* interface, const char* method)
{
    mBus.send(newCall(path, interface, method));
}

void Calls::makeNext()
{
    while (mOpen.size() < kMostOpen && !mWaiting.empty()) {
        const Waiting next = std::move(mWaiting.front());
        mWaiting.pop_front();
        if (next.owner.expired()) {
            continue;
        }
        const uint64_t id = mNextCall++;
        mOpen[id] = mBus.call(
            next.message,
            [this, id, owner = next.owner, onReply = next.onReply](BusMessage& reply) {
                // The slot goes with this entry; what this function holds stays until it returns.
                mOpen.erase(id);
                if (!owner.expired()) {
                    onReply(reply);
                }
                makeNext();
            },
            next.timeoutSeconds);
    }
}

}  // namespace Host::Bluez
