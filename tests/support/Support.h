// Verbs that several tests share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ZKHAL/ZKHAL.h"

namespace support {

inline std::string hex(const uint8_t* bytes, size_t length)
{
    std::string text;
    char digits[3];
    for (size_t i = 0; i < length; ++i) {
        ZKHexStringFromBytes(bytes + i, 1, digits);
        text += (i == 0 ? "" : " ") + std::string(digits);
    }
    return text;
}

// What the library prints while this exists, "err:" before each message of stderr.
class Printed {
public:
    Printed()
    {
        ZKSetMessageSink(
            [](void* user, int stream, const char* text) {
                *static_cast<std::string*>(user) += (stream == ZK_STREAM_ERR ? "err:" : "") + std::string(text);
            },
            &mText);
    }
    ~Printed()
    {
        ZKSetMessageSink(nullptr, nullptr);
    }
    Printed(const Printed&) = delete;
    Printed& operator=(const Printed&) = delete;

    std::string take()
    {
        std::string text;
        text.swap(mText);
        return text;
    }

private:
    std::string mText;
};

// A robot that is sent documents: packets as hex, one string each.
class Robot {
public:
    explicit Robot(uint32_t type = ZK_ROBOT_ORVIK) : mTranslator(ZKTranslatorCreate(type)) {}
    ~Robot()
    {
        ZKTranslatorDestroy(mTranslator);
    }
    Robot(const Robot&) = delete;
    Robot& operator=(const Robot&) = delete;

    // Packets joined by " | "; "refused: ..." for a refusal.
    std::string send(const std::string& json)
    {
        HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
        size_t count = 0;
        char message[512];
        if (ZKTranslatorTranslate(mTranslator, json.c_str(), packets, &count, message, sizeof message) == 0) {
            return message;
        }
        std::string text;
        for (size_t i = 0; i < count; ++i) {
            text += (i == 0 ? "" : " | ") + hex(packets[i].data, packets[i].length);
        }
        return text;
    }
    void disconnect()
    {
        ZKTranslatorHandleDisconnect(mTranslator);
    }

private:
    ZKTranslator* mTranslator;
};

// A small generator of its own, the same on every machine.
class Random {
public:
    explicit Random(uint64_t seed) : mState(seed * 2 + 1) {}
    uint32_t next()
    {
        mState = mState * 6364136223846793005u + 1442695040888963407u;
        return static_cast<uint32_t>(mState >> 33);
    }
    int below(int limit)
    {
        return static_cast<int>(next() % static_cast<uint32_t>(limit));
    }
    double real(double low, double high)
    {
        return low + (high - low) * next() / 2147483648.0;
    }

private:
    uint64_t mState;
};

}  // namespace support
