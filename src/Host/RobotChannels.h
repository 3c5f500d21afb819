// The characteristics of the robots that a session uses.
#pragma once

namespace Host {

#define ZK_CHANNEL(prefix) prefix "-879D-6186-1F49-DECA0E85D9C1"
constexpr char kShellControl[] = ZK_CHANNEL("AF230000"), kShellPacket[] = ZK_CHANNEL("AF230001");
constexpr char kCommandControl[] = ZK_CHANNEL("AF230002");
constexpr char kSensorPacket1[] = ZK_CHANNEL("AF230003"), kSensorPacket2[] = ZK_CHANNEL("AF230006");
#undef ZK_CHANNEL

}  // namespace Host
