// One controller-to-robot command message: the commands that one document asks for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "HAL/RobotMessages/CommandRecords.h"
#include "HAL/RobotMessages/Components.h"
#include "ZKHAL/ZKExport.h"

namespace HAL {

// Records begin at multiples of this and are copied in steps of it: the room up to the next multiple is theirs.
constexpr size_t kRecordStep = 2 * sizeof(uint64_t);

// One entry of a map: where in the encoder's working record the record of this id lies, and on which robots.
struct StorageRow {
    RecordKind kind;
    ZKComponentId id;
    uint16_t offset;
    uint16_t size;
    RobotSet robots;
    uint8_t bit = 0;  // of WorkingRecordHeader::touched; rows that share a record share the bit
};

// The maps of all kinds, as rows sorted by kind and then by id; at most 64.
struct StorageMaps {
    const StorageRow* rows;
    uint8_t begin[static_cast<size_t>(RecordKind::Count) + 1];  // first row of each kind
    StorageRow ofComponent[kComponentCount];                    // its own row; for no robot where it has none
};

// What every working record begins with. A conversion touches a few of the records: these are made fresh when they are
// first asked for, and all others keep what an earlier conversion left in them.
struct WorkingRecordHeader {
    uint64_t touched;   // the bits of the records that are fresh or belong to this conversion
    const char* fresh;  // a whole working record as it is before any document; null: all zero, as its owner left it

    // The record of a row, ready to be written.
    void* touch(const StorageRow& row)
    {
        if ((touched >> row.bit & 1) == 0) {
            refresh(row);
        }
        return reinterpret_cast<char*>(this) + row.offset;
    }

    void refresh(const StorageRow& row)
    {
        touched |= uint64_t{1} << row.bit;
        if (fresh == nullptr) {
            return;
        }
        char* record = reinterpret_cast<char*>(this) + row.offset;
        const char* from = fresh + row.offset;
        const char* const end = from + row.size;
        for (; from < end; from += kRecordStep, record += kRecordStep) {  // a few words: cheaper than a call
            std::memcpy(record, from, kRecordStep);
        }
    }
};

// Keeps a message's working record from being used again; released when the message goes.
class RecordOwner {
public:
    virtual void messageIsGone(WorkingRecordHeader* records) = 0;

protected:
    ~RecordOwner() = default;
};

/**
 * Maps component ids to the records of the encoder's working record, so that the parser writes each command where
 * the encoder reads it. Owns neither the records nor the hardware data; used by one thread.
 */
class ZK_API Ctlr2BotMsg {
public:
    /** Empty maps, no hardware data. */
    Ctlr2BotMsg() = default;
    /** Forgets the hardware data without releasing it: packets are read after their message is gone. */
    ~Ctlr2BotMsg();
    Ctlr2BotMsg(const Ctlr2BotMsg&) = delete;
    Ctlr2BotMsg& operator=(const Ctlr2BotMsg&) = delete;

    void SetHwData(void* data)
    {
        mHwData = data;
    }
    void* GetHwData() const
    {
        return mHwData;
    }

    /** The record registered under an id, or null: this robot type has no such component. */
    HALNoParams_t* getNoParamsStorage(uint32_t id) const;
    HALLauncher_t* getLauncherStorage(uint32_t id) const;
    HALLedMsg_t* getLedMsgStorage(uint32_t id) const;
    HALSpeaker_t* getSpeakerStorage(uint32_t id) const;
    HALAnim_t* getAnimStorage(uint32_t id) const;
    HALUserSetting_t* getUserSettingsStorage(uint32_t id) const;
    HALMotorWheel_t* getMotorWheelStorage(uint32_t id) const;
    HALMotorServo_t* getMotorServoStorage(uint32_t id) const;
    HALLED_t* getLEDStorage(uint32_t id) const;
    HALLED3_t* getLED3Storage(uint32_t id) const;
    /** Id 100 is registered here too, with the record of 104. */
    HALRGB_t* getRGBStorage(uint32_t id) const;
    HALEyeRing_t* getEyeRingStorage(uint32_t id) const;
    HALPower_t* getPowerStorage(uint32_t id) const;
    HALPing_t* getPingStorage(uint32_t id) const;
    HALBodyMotionLinearAngular_t* getBodyMotionLinearAngularStorage(uint32_t id) const;
    HALBodyPose_t* getBodyPoseStorage(uint32_t id) const;
    HALAudioSynth_t* getAudioSynthStorage(uint32_t id) const;
    HALPamplemousse_t* getPamplemousseStorage(uint32_t id) const;
    HALComponentScalar_t* getScalarStorage(uint32_t id) const;

    /**
     * Prints the commanded records of most kinds on stdout, a line an entry of a map: the colour of 104 twice, since it
     * stands under 100 too. The line of a body pose has no end.
     */
    void printCommands() const;

    /** For the encoder: fills the maps. `owner` is told when the message gives `records` up; may be null. */
    template <class Owner>
    void bindStorage(const StorageMaps& maps, RobotSet robot, WorkingRecordHeader* records,
                     const std::shared_ptr<Owner>& owner)
    {
        clear();
        mMaps = &maps;
        mRobot = robot;
        mRecords = records;
        if (mOwner.get() != owner.get()) {
            mOwner = owner;
        }
    }

    /**
     * For the parser: the record of a component (a row of kComponents) in the map of its own kind; null if this is
     * another kind, or if the robot has none.
     */
    void* record(RecordKind kind, size_t component) const
    {
        if (mMaps == nullptr) {
            return nullptr;
        }
        const StorageRow& row = mMaps->ofComponent[component];
        return row.kind == kind && (row.robots & mRobot) != 0 ? mRecords->touch(row) : nullptr;
    }

    /** Back to empty maps and no hardware data. */
    void clear();

private:
    void* find(RecordKind kind, uint32_t id) const;
    template <class Record, class Print>
    void forEachSet(RecordKind kind, Print print) const;

    const StorageMaps* mMaps = nullptr;
    RobotSet mRobot = 0;
    WorkingRecordHeader* mRecords = nullptr;
    std::shared_ptr<RecordOwner> mOwner;  // kept after clear(): the next records mostly come from there again
    void* mHwData = nullptr;
};

}  // namespace HAL
