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

    // Begins a conversion: a record equal to `fresh`, in use until messageIsGone(); null without memory.
    // `fresh` stands for a kind of robot and lives as long as the process.
    robot_hw0_cmd_data* take(const StorageMaps& maps, const robot_hw0_cmd_data& fresh);
    void messageIsGone(WorkingRecordHeader* records) override;

    // Records held for any reason, for tests.
    size_t size() const
    {
        return mSize;
    }

private:
    struct Entry {
        robot_hw0_cmd_data data;          // first: its address is the entry's
        const robot_hw0_cmd_data* fresh;  // what the untouched parts of data are equal to
        uint64_t conversion;
        bool messageAlive;
        bool expired;  // no longer in the list below; its message holds it
        Entry* later;
    };
    void retire(Entry* entry);
    static void renew(Entry& entry, const StorageMaps& maps, const robot_hw0_cmd_data& fresh);

    Entry* mOldest = nullptr;  // list of the latest conversions
    Entry* mLatest = nullptr;
    Entry* mReady = nullptr;  // at most one is kept for the next conversion
    uint64_t mConversion = 0;
    size_t mSize = 0;
};

}  // namespace HAL
