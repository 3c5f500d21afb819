// What an action manager needs of its robot. The managers know no more of it.
#pragma once

#include <string>
#include <vector>

#include "ZKHAL/HALPacket.h"
#include "ZKHAL/ZKExport.h"

namespace Kestrel {

class RobotActionManagerAbstract;

class ZK_API ActionHost {
protected:
    virtual ~ActionHost() = default;  // first, so that Robot's virtual functions begin with its own

public:
    /** Writes packets, in order, to a characteristic. There is at least one. */
    virtual void transmitPackets(const std::string* channel, const std::vector<HALPacket_t>* packets) = 0;

    /** The host's id of the robot, for its callbacks. */
    virtual const char* uuId() const = 0;
    /** As advertised, for log lines. */
    virtual const char* name() const = 0;

    /** At the end of a manager's calls: one that has been replaced and can no longer act may go. */
    virtual void releaseIfReplaced(const RobotActionManagerAbstract* manager) = 0;
};

}  // namespace Kestrel
