// The bytes of one packet, in place: a robot sends sixty of them a second.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "ZKHAL/HALPacket.h"

namespace Simulator {

class PacketBytes {
public:
    PacketBytes() = default;
    /** At most 20 bytes are kept. */
    PacketBytes(const void* bytes, size_t size) : mSize(static_cast<uint8_t>(std::min<size_t>(size, HAL_PACKET_SIZE)))
    {
        if (mSize > 0) {
            std::memcpy(mBytes, bytes, mSize);
        }
    }

    const char* data() const
    {
        return mBytes;
    }
    size_t size() const
    {
        return mSize;
    }
    bool empty() const
    {
        return mSize == 0;
    }
    char& operator[](size_t at)
    {
        return mBytes[at];
    }
    char back() const
    {
        return mBytes[mSize - 1];
    }
    /** To fewer bytes. */
    void resize(size_t size)
    {
        mSize = static_cast<uint8_t>(std::min<size_t>(size, mSize));
    }

private:
    char mBytes[HAL_PACKET_SIZE] = {};
    uint8_t mSize = 0;
};

/** First in, first out, in storage that is used again. */
template <class Item>
class Ring {
public:
    bool empty() const
    {
        return mCount == 0;
    }
    size_t size() const
    {
        return mCount;
    }
    Item& front()
    {
        return mItems[mFirst];
    }
    void push(const Item& item)
    {
        if (mCount == mItems.size()) {
            std::rotate(mItems.begin(), mItems.begin() + static_cast<std::ptrdiff_t>(mFirst), mItems.end());
            mFirst = 0;
            mItems.resize(std::max<size_t>(16, 2 * mCount));
        }
        mItems[(mFirst + mCount++) % mItems.size()] = item;
    }
    void pop()
    {
        mFirst = (mFirst + 1) % mItems.size();
        --mCount;
    }
    void clear()
    {
        mFirst = mCount = 0;
    }

private:
    std::vector<Item> mItems;
    size_t mFirst = 0, mCount = 0;
};

}  // namespace Simulator
