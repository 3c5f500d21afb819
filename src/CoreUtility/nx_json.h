// Where hosts have come to include it from.
#pragma once

#include "CoreUtility/Json/nx_json.h"
