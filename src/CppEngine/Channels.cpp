#include "CppEngine/Channels.h"

#include "CoreUtility/Compiler.h"
#include "HAL/RobotHardware/Uuid.h"

namespace Kestrel {

// Constructed first, since a host's own constructors may already scan.
ZK_EARLY const std::string gChannelShellControl = ZK_UUID("AF230000");
ZK_EARLY const std::string gChannelShellPacket = ZK_UUID("AF230001");
ZK_EARLY const std::string gChannelCommandControl = ZK_UUID("AF230002");
ZK_EARLY const std::string gChannelSensorPacket1 = ZK_UUID("AF230003");
ZK_EARLY const std::string gChannelDfuControl = ZK_UUID("AF230004");
ZK_EARLY const std::string gChannelDfuPacket = ZK_UUID("AF230005");
ZK_EARLY const std::string gChannelSensorPacket2 = ZK_UUID("AF230006");
ZK_EARLY const std::string gChannelFileTransferControl = ZK_UUID("AF230004");
ZK_EARLY const std::string gChannelFileTransferPacket = ZK_UUID("AF230005");

}  // namespace Kestrel
