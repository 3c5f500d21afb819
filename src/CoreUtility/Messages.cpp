#include "CoreUtility/Messages.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "CoreUtility/PlainLocale.h"
#include "ZKHAL/Diagnostics.h"

namespace ZKHAL {

namespace {

ZKMessageSink gSink = nullptr;
void* gSinkUser = nullptr;
thread_local MessageCapture* tCapture = nullptr;

// Formats with plain %d, %ld and %s only, for lines that are printed where time counts: std::vsnprintf() would take as
// long as translating a small document. Returns the length, or -1 for another format or a longer text.
ZK_PRINTF(3, 0) int formatSimple(char* text, size_t size, const char* format, va_list arguments)
{
    char* out = text;
    char* const end = text + size - 1;
    const auto append = [&out, end](const char* part, size_t length) {
        if (length > static_cast<size_t>(end - out)) {
            return false;
        }
        std::memcpy(out, part, length);
        out += length;
        return true;
    };
    for (const char* p = format;; ++p) {
        const char* const percent = std::strchr(p, '%');
        if (!append(p, percent != nullptr ? static_cast<size_t>(percent - p) : std::strlen(p))) {
            return -1;
        }
        if (percent == nullptr) {
            break;
        }
        p = percent + 1;
        if (*p == 's') {
            const char* given = va_arg(arguments, const char*);
            const char* word = given != nullptr ? given : "(null)";  // as the C library says it
            if (!append(word, std::strlen(word))) {
                return -1;
            }
            continue;
        }
        const bool isLong = *p == 'l';
        if (*(isLong ? ++p : p) != 'd') {
            return -1;
        }
        const long number = isLong ? va_arg(arguments, long) : va_arg(arguments, int);
        const std::to_chars_result result = std::to_chars(out, end, number);
        if (result.ec != std::errc()) {
            return -1;
        }
        out = result.ptr;
    }
    *out = '\0';
    return static_cast<int>(out - text);
}

// A formatted text: in place when it is short, as nearly all are.
class FormattedText {
public:
    ZK_PRINTF(2, 0) FormattedText(const char* format, va_list arguments)
    {
        va_list simple;
        va_copy(simple, arguments);
        const int simpleLength = formatSimple(mBrief, sizeof mBrief, format, simple);
        va_end(simple);
        if (simpleLength >= 0) {
            mLength = static_cast<size_t>(simpleLength);
            return;
        }
        const PlainLocaleHere plain;
        va_list again;
        va_copy(again, arguments);
        const int length = std::vsnprintf(mBrief, sizeof mBrief, format, arguments);
        mLength = length > 0 ? static_cast<size_t>(length) : 0;
        if (mLength >= sizeof mBrief) {
            // Without memory, and beyond 2 GiB, what fits is better than nothing.
            mLong.reset(new (std::nothrow) char[mLength + 1]);
            if (mLong != nullptr) {
                std::vsnprintf(mLong.get(), mLength + 1, format, again);
            } else {
                mLength = sizeof mBrief - 1;
            }
        }
        va_end(again);
    }

    const char* text() const
    {
        return mLong != nullptr ? mLong.get() : mBrief;
    }
    size_t length() const
    {
        return mLength;
    }

private:
    char mBrief[256];
    std::unique_ptr<char[]> mLong;
    size_t mLength;
};

}  // namespace

void deliver(int stream, const char* text, size_t length)
{
    if (tCapture != nullptr) {
        if (tCapture->mMessages.size() < MessageCapture::kMostMessages) {
            tCapture->mMessages.emplace_back(text, std::min(length, MessageCapture::kMostBytes));
        }
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
    const FormattedText line(format, arguments);
    va_end(arguments);
    deliver(ZK_STREAM_OUT, line.text(), line.length());
}

void printErr(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const FormattedText line(format, arguments);
    va_end(arguments);
    deliver(ZK_STREAM_ERR, line.text(), line.length());
}

std::string formatted(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const FormattedText line(format, arguments);
    va_end(arguments);
    return std::string(line.text(), line.length());
}

std::string formattedList(const char* format, va_list arguments)
{
    const FormattedText line(format, arguments);
    return std::string(line.text(), line.length());
}

MessageCapture::MessageCapture() : mOuter(tCapture)
{
    tCapture = this;
}

MessageCapture::~MessageCapture()
{
    tCapture = mOuter;
}

std::vector<std::string> MessageCapture::take()
{
    std::vector<std::string> messages;
    messages.swap(mMessages);
    for (std::string& message : messages) {
        while (!message.empty() && message.back() == '\n') {
            message.pop_back();
        }
    }
    return messages;
}

}  // namespace ZKHAL

void ZKSetMessageSink(ZKMessageSink sink, void* user)
{
    ZKHAL::gSink = sink;
    ZKHAL::gSinkUser = user;
}
