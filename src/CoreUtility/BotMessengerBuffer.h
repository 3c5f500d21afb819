// Where hosts have come to include it from.
#pragma once

#include "CoreUtility/Command/BotMessengerBuffer.h"
