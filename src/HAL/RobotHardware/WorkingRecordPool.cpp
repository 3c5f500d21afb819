#include "HAL/RobotHardware/WorkingRecordPool.h"

#include <cstring>
#include <new>

namespace HAL {

WorkingRecordPool::~WorkingRecordPool()
{
    while (mOldest != nullptr) {
        Entry* later = mOldest->later;
        delete mOldest;
        mOldest = later;
    }
    delete mReady;
}

robot_hw0_cmd_data* WorkingRecordPool::take(const robot_hw0_cmd_data& fresh)
{
    ++mConversion;
    while (mOldest != nullptr && mOldest->conversion + kReadableConversions < mConversion) {
        Entry* entry = mOldest;
        mOldest = entry->later;
        if (entry->messageAlive) {
            entry->expired = true;
        } else {
            retire(entry);
        }
    }
    Entry* entry = mReady;
    mReady = nullptr;
    if (entry == nullptr) {
        entry = new (std::nothrow) Entry;
        if (entry == nullptr) {
            return nullptr;
        }
        ++mSize;
    }
    robot_hw0_cmd_data& data = entry->data;
    data.header = {0, reinterpret_cast<const char*>(&fresh)};
    data.commandMask = 0;
    std::memset(data.packets, 0, sizeof data.packets);
    data.result.count = 0;
    entry->conversion = mConversion;
    entry->messageAlive = true;
    entry->expired = false;
    entry->later = nullptr;
    if (mOldest == nullptr) {
        mOldest = entry;
    } else {
        mLatest->later = entry;
    }
    mLatest = entry;
    return &entry->data;
}

void WorkingRecordPool::messageIsGone(WorkingRecordHeader* records)
{
    Entry* entry = reinterpret_cast<Entry*>(records);
    entry->messageAlive = false;
    if (entry->expired) {
        retire(entry);
    }
}

void WorkingRecordPool::retire(Entry* entry)
{
    if (mReady == nullptr) {
        mReady = entry;
    } else {
        delete entry;
        --mSize;
    }
}

}  // namespace HAL
