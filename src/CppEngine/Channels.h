// UUIDs of the characteristics. They compare without regard to case.
#pragma once

#include <string>

#include "ZKHAL/ZKExport.h"

namespace Kestrel {

ZK_API extern const std::string gChannelShellControl;
ZK_API extern const std::string gChannelShellPacket;
ZK_API extern const std::string gChannelCommandControl;
ZK_API extern const std::string gChannelSensorPacket1;
ZK_API extern const std::string gChannelDfuControl;
ZK_API extern const std::string gChannelDfuPacket;
ZK_API extern const std::string gChannelSensorPacket2;
ZK_API extern const std::string gChannelFileTransferControl;  // that of DFU control, on purpose
ZK_API extern const std::string gChannelFileTransferPacket;   // that of DFU packet, on purpose

}  // namespace Kestrel
