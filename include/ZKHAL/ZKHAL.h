/* Everything that a host calls, and (in HostCallbacks.h) what it supplies. */
#ifndef ZKHAL_ZKHAL_H
#define ZKHAL_ZKHAL_H

#include "ZKHAL/Diagnostics.h"
#include "ZKHAL/Engine.h"
#include "ZKHAL/HALPacket.h"
#include "ZKHAL/HostCallbacks.h"
#include "ZKHAL/Puppet.h"
#include "ZKHAL/Sound.h"
#include "ZKHAL/Translation.h"
#include "ZKHAL/Translator.h"
#include "ZKHAL/Utilities.h"
#include "ZKHAL/Vocabulary.h"
#include "ZKHAL/ZKComponentId.h"
#include "ZKHAL/ZKExport.h"
#include "ZKHAL/ZKRobotType.h"
#include "ZKHAL/ZKVersion.h"

#endif
