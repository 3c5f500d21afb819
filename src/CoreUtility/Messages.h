// The one way to print, but for the last words of a fatal assertion. Lines for people go to stdout or stderr, or to the
// host's sink, and never depend on the host's locale.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <vector>

#include "ZKHAL/ZKExport.h"

namespace ZKHAL {

void printOut(const char* format, ...) ZK_PRINTF(1, 2);
void printErr(const char* format, ...) ZK_PRINTF(1, 2);

// While one exists, what its thread prints is kept here instead of printed, up to a bound that no person would read
// beyond. Captures nest; the innermost receives.
class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    // The messages since the last call, without their line ends.
    std::vector<std::string> take();

private:
    friend void deliver(int stream, const char* text, size_t length);

    static constexpr size_t kMostMessages = 1000;
    static constexpr size_t kMostBytes = 1000;  // of one message

    std::vector<std::string> mMessages;
    MessageCapture* mOuter;
};

// std::snprintf with a decimal point whatever the locale.
std::string formatted(const char* format, ...) ZK_PRINTF(1, 2);
std::string formattedList(const char* format, va_list arguments) ZK_PRINTF(1, 0);

}  // namespace ZKHAL
