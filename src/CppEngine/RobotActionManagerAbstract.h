// What serves one robot's channel.
#pragma once

#include <cstddef>
#include <string>

#include "CppEngine/ActionHost.h"
#include "CppEngine/AdvertisementData.h"
#include "ZKHAL/ZKExport.h"

namespace Kestrel {

class ZK_API RobotActionManagerAbstract {
public:
    /** The robot outlives its managers, or lets go of them. */
    explicit RobotActionManagerAbstract(ActionHost* robot) : mRobot(robot) {}

    /** The robot has disconnected. */
    virtual void reset() = 0;
    /** One notification. data is read before anything else happens, and not kept. */
    virtual void receivedData(const std::string* channel, const char* data, size_t length,
                              const AdvertisementData& advertisement) = 0;

protected:
    ~RobotActionManagerAbstract() = default;

    ActionHost* mRobot;  // not owned
};

}  // namespace Kestrel
