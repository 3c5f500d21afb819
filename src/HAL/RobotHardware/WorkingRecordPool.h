// Working records of one robot description, used again only when nobody can still be reading their packets.
#pragma once

#include <cstdint>
#include <memory>

#include "HAL/RobotHardware/robot_hw0_cmd_data.h"
#include "HAL/RobotMessages/Ctlr2BotMsg.h"

namespace HAL {

/**
 * Packets stay readable until their message is gone and this many later conversions of the same robot description
 * have been made. So a description keeps at most this many records, two more (the latest conversion's, and a spare),
 * and one for each older message that is still alive.
 */
constexpr uint64_t kReadableConversions = 63;

class WorkingRecordPool final : public RecordOwner {
public:
    WorkingRecordPool() = default;
    ~WorkingRecordPool();
    WorkingRecordPool(const WorkingRecordPool&) = delete;
    WorkingRecordPool& operator=(const WorkingRecordPool&) = delete;

    // Begins a conversion: a working record whose records are those of `fresh` when they are first touched, in use
    // until messageIsGone(); null without memory. `fresh` lives as long as the process.
    robot_hw0_cmd_data* take(const robot_hw0_cmd_data& fresh);
    void messageIsGone(WorkingRecordHeader* records) override;

    // Records held for any reason, for tests.
    size_t size() const
    {
        return mSize;
    }

private:
    struct Entry {
        robot_hw0_cmd_data data;  // first: its address is the entry's
        uint64_t conversion;
        bool messageAlive;
        bool expired;  // no longer in the list below; its message holds it
        Entry* later;
    };
    void retire(Entry* entry);

    Entry* mOldest = nullptr;  // list of the latest conversions
    Entry* mLatest = nullptr;
    Entry* mReady = nullptr;  // at most one is kept for the next conversion
    uint64_t mConversion = 0;
    size_t mSize = 0;
};

}  // namespace HAL
