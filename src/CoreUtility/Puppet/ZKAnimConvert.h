// Animation documents to the bytes of the robot's animation file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "CoreUtility/Json/nx_json.h"
#include "ZKHAL/ZKExport.h"

namespace ZKAnimConvert {

// The first byte of each record of an animation file.
constexpr uint8_t kPacketRecord = 0x40;     // or-ed with the packet's length, 1 to 20
constexpr uint8_t kShortWaitRecord = 0x81;  // one byte of milliseconds
constexpr uint8_t kLongWaitRecord = 0x82;   // two bytes, big-endian

constexpr int kLongestShortWait = 0x1FF;   // though its byte holds no more than 255, on purpose
constexpr int kLongestLongWait = 0x1FFFF;  // though bit 16 is lost, on purpose

/** The milliseconds that the record of a wait holds. */
constexpr unsigned storedWait(int64_t milliseconds)
{
    return static_cast<unsigned>(milliseconds & (milliseconds > kLongestShortWait ? 0xFFFF : 0xFF));
}

/**
 * Appends the bytes of an animation document: a text, or one that has been parsed. False, with a message on stdout,
 * when it is malformed; what was appended until then stays.
 * robotType   a code of ZKHAL/ZKRobotType.h
 */
ZK_API bool Json2Robot(const char* text, std::vector<uint8_t>& bytes, unsigned robotType);
ZK_API bool Json2Robot(const nx_json* document, std::vector<uint8_t>& bytes, unsigned robotType);

namespace Internal {

/** Whether a frame is an object whose "commands" is an object of objects; a message on stdout if not. */
ZK_API bool preprocessFrame(const nx_json* frame);

}  // namespace Internal

}  // namespace ZKAnimConvert

namespace Internal {

/** The bytes of an animation text; none for one that cannot be converted. */
ZK_API std::vector<uint8_t> convertAN(const char* json, unsigned robotType);

}  // namespace Internal
