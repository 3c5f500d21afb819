// How the members of a sensor document are written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "CoreUtility/PayloadText.h"
#include "HAL/MessagePacketizers/SensorVocabulary.h"

namespace HAL {

// One member of the document: a comma, the component id, and an object of the values of its row, in their order. It is
// closed at the end of its life. It is written at a position of its own, which the text takes over once: a report has
// forty values.
class SensorMember {
public:
    template <size_t kCount>
    SensorMember(ZKHAL::PayloadText& out, uint32_t componentId, const SensorValueRow (&values)[kCount],
                 size_t room = kRoom)
        : mOut(out), mBegin(out.reserve(room)), mAt(mBegin), mNext(values)
    {
        put(",\"");
        mAt = ZKHAL::PayloadText::writeUnsigned(mAt, componentId);
        put("\":{");
    }
    ~SensorMember()
    {
        *mAt++ = '}';
        mOut.grow(static_cast<size_t>(mAt - mBegin));
    }
    SensorMember(const SensorMember&) = delete;
    SensorMember& operator=(const SensorMember&) = delete;

    // The next value of the row.
    template <class Value>
    void add(Value value)
    {
        putKey();
        if constexpr (std::is_floating_point_v<Value>) {
            mAt = ZKHAL::PayloadText::writeReal(mAt, value);
        } else if constexpr (std::is_same_v<Value, bool>) {
            *mAt++ = value ? '1' : '0';
        } else {
            mAt = ZKHAL::PayloadText::writeSigned(mAt, static_cast<int64_t>(value));
        }
    }
    void add(const uint8_t* bytes, size_t count)
    {
        putKey();
        mAt = ZKHAL::PayloadText::writeBytes(mAt, bytes, count);
    }
    // The next value is not there.
    void leaveOut()
    {
        ++mNext;
    }

private:
    static constexpr size_t kRoom = 512;  // six values with a long key and a number of any size

    template <size_t kSize>
    void put(const char (&literal)[kSize])
    {
        std::memcpy(mAt, literal, kSize - 1);
        mAt += kSize - 1;
    }
    void putKey()
    {
        // The first has no comma before it.
        const size_t skipped = mIsFirst ? 1 : 0;
        mIsFirst = false;
        std::memcpy(mAt, mNext->keyText.text() + skipped, KeyText::kSize - 1);
        mAt += mNext->keyText.length() - skipped;
        ++mNext;
    }

    ZKHAL::PayloadText& mOut;
    char* mBegin;
    char* mAt;
    const SensorValueRow* mNext;
    bool mIsFirst = true;
};

}  // namespace HAL
