// One sensor report of a robot, written as its two packets.
#pragma once

#include <cstdint>

#include "ZKHAL/HALPacket.h"

namespace Simulator {

/** In the units of the wire; each field keeps the low bits that it has there. */
struct SensorReport {
    struct Event {
        uint8_t type = 0;
        uint8_t data[3] = {};
    };

    unsigned sequence = 0;     // 4 bits
    unsigned timestamp = 0;    // 12 bits
    int acceleration[3] = {};  // x, y, z: 2047 is 2 g
    uint8_t amplitude = 0;
    bool buttons[4] = {};
    bool hasClap = false, isSounding = false, isLifted = false, isStalled = false, isAnimating = false;
    Event events[2];        // the first one stands last in the packet
    uint8_t longEvent = 0;  // its type, 0 for none: takes the place of both
    uint8_t longData[7] = {};

    int yaw = 0, pitch = 0, roll = 0;       // 2047 is 500 degrees/s
    uint8_t left = 0, right = 0, rear = 0;  // reflectances
    int x_mm = 0, y_mm = 0;                 // 12 bits
    int heading_mrad = 0;                   // 16 bits
    int leftTicks = 0, rightTicks = 0;      // 16 bits
    int pan_crad = 0, tilt_crad = 0;        // 9 and 7 bits
};

/** Both packets are 20 bytes long. */
void writeReport(const SensorReport& report, HALPacket_t (&packets)[2]);

}  // namespace Simulator
