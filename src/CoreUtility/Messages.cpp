#include "CoreUtility/Messages.h"

#include <clocale>
#include <cstdarg>
#include <cstdio>

#include <locale.h>

#include "CoreUtility/PlainLocale.h"
#include "ZKHAL/Diagnostics.h"

namespace ZKHAL {

namespace {

ZKMessageSink gSink = nullptr;
void* gSinkUser = nullptr;
thread_local MessageCapture* tCapture = nullptr;

ZK_PRINTF(1, 0) std::string formatList(const char* format, va_list arguments)
{
    // This thread's locale only, and only for the call: the process-wide one belongs to the host.
    const locale_t hostLocale = uselocale(plainLocale());
    va_list again;
    va_copy(again, arguments);
    char brief[256];
    const int length = std::vsnprintf(brief, sizeof brief, format, arguments);
    std::string text;
    if (length >= 0 && static_cast<size_t>(length) < sizeof brief) {
        text.assign(brief, static_cast<size_t>(length));
    } else if (length >= 0) {
        text.resize(static_cast<size_t>(length) + 1);
        std::vsnprintf(text.data(), text.size(), format, again);
        text.pop_back();
    }
    va_end(again);
    uselocale(hostLocale);
    return text;
}

}  // namespace

void deliver(int stream, const char* text, size_t length)
{
    if (tCapture != nullptr) {
        tCapture->mText.append(text, length);
    } else if (gSink != nullptr) {
        gSink(gSinkUser, stream, text);
    } else {
        std::fwrite(text, 1, length, stream == ZK_STREAM_OUT ? stdout : stderr);
    }
}

void printOut(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatList(format, arguments);
    va_end(arguments);
    deliver(ZK_STREAM_OUT, text.c_str(), text.size());
}

void printErr(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::string text = formatList(format, arguments);
    va_end(arguments);
    deliver(ZK_STREAM_ERR, text.c_str(), text.size());
}

std::string formatted(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::string text = formatList(format, arguments);
    va_end(arguments);
    return text;
}

MessageCapture::MessageCapture() : mOuter(tCapture)
{
    tCapture = this;
}

MessageCapture::~MessageCapture()
{
    tCapture = mOuter;
}

std::string MessageCapture::take()
{
    std::string text;
    text.swap(mText);
    return text;
}

}  // namespace ZKHAL

void ZKSetMessageSink(ZKMessageSink sink, void* user)
{
    ZKHAL::gSink = sink;
    ZKHAL::gSinkUser = user;
}
