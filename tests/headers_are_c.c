/* The public headers compile as C. */
#include "ZKHAL/ZKHAL.h"

#include "CoreUtility/Json/nx_json.h"

int zkhal_headers_are_c(void);
int zkhal_headers_are_c(void)
{
    return (int)ZK_COMPONENT_PING + ZK_ROBOT_ORVIK + (int)sizeof(nx_json) + (int)sizeof(HALPacket_t);
}
