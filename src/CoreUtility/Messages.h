// The one way to print. Lines for people go to stdout or stderr, or to the host's sink, and never depend on the
// host's locale.
#pragma once

#include <string>

#include "ZKHAL/ZKExport.h"

namespace ZKHAL {

void printOut(const char* format, ...) ZK_PRINTF(1, 2);
void printErr(const char* format, ...) ZK_PRINTF(1, 2);

// While one exists, what its thread prints is kept here instead of printed. Captures nest; the innermost receives.
class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    // What was printed since the last call.
    std::string take();

private:
    friend void deliver(int stream, const char* text, size_t length);

    std::string mText;
    MessageCapture* mOuter;
};

// std::snprintf with a decimal point whatever the locale.
std::string formatted(const char* format, ...) ZK_PRINTF(1, 2);

}  // namespace ZKHAL
