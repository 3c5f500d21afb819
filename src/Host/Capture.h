// Everything that crosses the air between a host and a robot, with times, as text.
//
//   # what it is
//   0.000000 * advertisement 0301...0000 "Virtual Orv"
//   0.015000 * connected
//   1.033333 < AF230003 0012000800000010000000000000000000000000
//   1.040000 > AF230002 01012CFED4
//   9.500000 * lost the connection is lost
//
// `<` is notified by the robot, `>` is written to it, on the characteristic whose UUID begins so. Lines of 40 or 80
// digits, with a time or without, are reports. Lines that begin with # are comments.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Host/Error.h"
#include "Host/Transport.h"

namespace Host {

enum class CaptureKind : uint8_t { Advertisement, Connected, Notified, Written, Lost };

struct CaptureEvent {
    double seconds;
    CaptureKind kind;
    std::string channel;        // UUID; Notified and Written
    std::vector<uint8_t> data;  // of an advertisement too
    std::string text;           // advertised name, or why it was lost
};

/**
 * Reads a capture. Times must not run backwards. error is "LINE: what is wrong" for the first bad line; the events
 * before it are returned.
 */
std::vector<CaptureEvent> readCapture(const std::string& text, std::string& error);

/** One line of a capture, with its end. */
std::string captureLine(double seconds, CaptureKind kind, const char* channel, const uint8_t* data, size_t length,
                        const std::string& text);

}  // namespace Host
