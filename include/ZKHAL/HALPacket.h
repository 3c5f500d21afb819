/* The one transport packet: what is written to, or notified by, one Bluetooth characteristic. */
#ifndef ZKHAL_HALPACKET_H
#define ZKHAL_HALPACKET_H

#include <stdint.h>

enum { HAL_PACKET_SIZE = 20 };

typedef struct HALPacket_t {
    uint32_t length; /* meaningful bytes of data, 0 to 20; a packet of length 0 is empty and never sent */
    uint8_t data[HAL_PACKET_SIZE];
} HALPacket_t;

#endif
