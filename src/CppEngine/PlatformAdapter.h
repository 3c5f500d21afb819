// The engine's registry of robots, behind the C functions of ZKHAL/Engine.h.
#pragma once

#include "ZKHAL/Engine.h"
#include "ZKHAL/ZKExport.h"

namespace Kestrel {

class Robot;

/** The robot of an id; null for an unknown or empty id. It belongs to the engine, until it is forgotten. */
ZK_API Robot* robotById(const char* id);

}  // namespace Kestrel
