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

robot_hw0_cmd_data* WorkingRecordPool::take(const StorageMaps& maps, const robot_hw0_cmd_data& fresh)
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
        entry->fresh = nullptr;
    }
    renew(*entry, maps, fresh);
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

// A document writes a few of the records: only these are copied back, which spares most of the memory traffic.
void WorkingRecordPool::renew(Entry& entry, const StorageMaps& maps, const robot_hw0_cmd_data& fresh)
{
    robot_hw0_cmd_data& data = entry.data;
    if (entry.fresh != &fresh) {
        data = fresh;
        entry.fresh = &fresh;
        return;
    }
    for (uint64_t touched = data.header.touched; touched != 0; touched &= touched - 1) {
        const StorageRow& row = maps.rows[__builtin_ctzll(touched)];
        char* to = reinterpret_cast<char*>(&data) + row.offset;
        const char* from = reinterpret_cast<const char*>(&fresh) + row.offset;
        for (size_t at = 0; at < row.size; at += kRecordStep) {  // a few words: cheaper than a call
            std::memcpy(to + at, from + at, kRecordStep);
        }
    }
    data.header = fresh.header;
    data.nowhere = fresh.nowhere;
    data.commandMask = fresh.commandMask;
    std::memcpy(data.packets, fresh.packets, sizeof data.packets);
    data.result.count = 0;
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
