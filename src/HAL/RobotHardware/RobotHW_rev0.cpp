#include "HAL/RobotHardware/RobotHW_rev0.h"

#include "CoreUtility/Messages.h"
#include "HAL/RobotHardware/CommandEncoders.h"
#include "HAL/RobotHardware/CommandStorage.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HAL/RobotHardware/WorkingRecordPool.h"
#include "HAL/RobotMessages/Components.h"

namespace HAL {

void RobotHW_rev0::initComponentsForCtlr2BotMsg(Ctlr2BotMsg* message, RobotHW* robot)
{
    if (message == nullptr || robot == nullptr) {
        return;
    }
    const RobotSet robots = robotSet(robot->getRobotType());
    if (robots == kOtherRobot) {
        ZKHAL::printOut("Unandled robot type: %d\n", static_cast<int>(robot->getRobotType()));
    }
    message->clear();
    const auto& pool = robot->workingRecords();
    robot_hw0_cmd_data* data = pool->take(freshData(robots));
    if (data != nullptr) {
        message->bindStorage(storageMapsOfRecords(), robots, &data->header, pool);
    }
    message->SetHwData(data);
}

bool RobotHW_rev0::registersComponent(uint32_t robotType, uint32_t componentId)
{
    const int index = componentIndex(componentId);
    return index >= 0 && (kComponents[index].reads & robotSet(robotType)) != 0;
}

void RobotHW_rev0::setCommand(void* hwData, unsigned componentId)
{
    const int index = componentIndex(componentId);
    if (index >= 0) {
        setComponent(hwData, static_cast<size_t>(index));
    }
}

std::vector<HALPacket_t*> RobotHW_rev0::packetizeCtlr2BotMsg(Ctlr2BotMsg* message, RobotHW* robot)
{
    const PacketList& list = pack(message, robot);
    return {list.packets, list.packets + list.count};
}

const PacketList& RobotHW_rev0::pack(Ctlr2BotMsg* message, RobotHW* robot, PackTrace* trace)
{
    static const PacketList kEmptyList = {};
    auto* data = message != nullptr ? static_cast<robot_hw0_cmd_data*>(message->GetHwData()) : nullptr;
    if (data == nullptr || robot == nullptr) {
        return kEmptyList;
    }
    data->result.count = 0;
    packPending(data, robot, trace);
    for (HALPacket_t& packet : data->packets) {
        if (packet.length != 0) {
            data->result.packets[data->result.count++] = &packet;
        }
    }
    return data->result;
}

}  // namespace HAL
