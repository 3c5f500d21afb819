// The characteristics that the command line's hosts look for: a list of their own, as every app has one.
#pragma once

namespace zkhal {

constexpr char kShellPacket[] = "AF230001-879D-6186-1F49-DECA0E85D9C1";
constexpr char kCommandControl[] = "AF230002-879D-6186-1F49-DECA0E85D9C1";
constexpr char kSensorPacket1[] = "AF230003-879D-6186-1F49-DECA0E85D9C1";
constexpr char kSensorPacket2[] = "AF230006-879D-6186-1F49-DECA0E85D9C1";

}  // namespace zkhal
