#include "HAL/RobotHardware/WholePacketCommands.h"

#include <cstring>

#include "CoreUtility/ByteOrder.h"
#include "CoreUtility/Numbers.h"
#include "HAL/RobotHardware/CommandBits.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "ZKHAL/Utilities.h"

namespace HAL {

using ZKHAL::low16;
using ZKHAL::low32;
using ZKHAL::low8;
using ZKHAL::truncate;

void writeName(const HALUserSetting_t& settings, uint8_t* bytes)
{
    std::memcpy(bytes, settings.name, kRobotNameLength);
}

void writeColor(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(settings.colorId);
}

void writeAnim(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(settings.animId);
}

void writeColorAnim(const HALUserSetting_t& settings, uint8_t* bytes)
{
    const uint8_t color = settings.colorId & 7;
    // Animation 7 goes out as 1 with a flag of its own.
    *bytes = settings.animId == 7 ? low8(color | 1 << 3 | 1 << 6) : low8(color | (settings.animId & 7) << 3);
}

void writeAvatar(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(settings.avatarId);
}

void writeVolume(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(truncate(settings.pvolume * 100));
}

void writeEyeBrightness(const HALUserSetting_t& settings, uint8_t* bytes)
{
    *bytes = low8(truncate(settings.peyebright * 255));
}

Placement encodeClock(robot_hw0_cmd_data* data, RobotHW*)
{
    testAndClearCommandMaskBit(data, kBitClock);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet != nullptr) {
        bytes[0] = kCmdClock;
        bytes[1] = kClockSet;
        bigEndianEncode32(bytes + 2, low32(truncate(BREpoch())));
    }
    return room.placement;
}

namespace {

struct SynthValues {
    uint8_t toneTypes[kSynthTones];
    uint16_t frequencies[kSynthTones];  // 0.1 Hz
    uint16_t phases[kSynthTones];
};

// All settings: everything in its own bits, nothing shared with the tones of the update below.
void writeSynth(const HALAudioSynth_t& synth, const SynthValues& values, uint8_t* bytes)
{
    const auto toneType = [&synth](int tone) { return synth.tones[tone].type & 7; };
    bytes[0] = 0;
    bytes[1] = low8(toneType(0) << 5 | (toneType(1) >> 2) << 4 | (synth.duration >> 8 & 0x0F));
    bytes[2] = low8(synth.duration);
    bytes[3] = low8((toneType(1) & 3) << 6 | toneType(2) << 3 | toneType(3));
    uint8_t* tone = bytes + 4;
    for (int i = 0; i < kSynthTones; ++i) {
        tone = bigEndianEncode16(tone, values.frequencies[i]);
        *tone++ = low8(values.phases[i]);
    }
    bytes[16] = low8((synth.perc1 >> 8 & 0x0F) << 4 | (synth.perc2 >> 8 & 0x0F));
    bytes[17] = low8(synth.perc1);
    bytes[18] = low8(synth.perc2);
}

// Frequencies only, as phase increments of the robot's 24 kHz oscillator.
void writeSynthUpdate(const SynthValues& values, uint8_t* bytes)
{
    uint8_t* increment = bytes + 3;
    for (const uint16_t frequency : values.frequencies) {
        const uint64_t phaseIncrement = (static_cast<uint64_t>(frequency) << 26) / 240000 >> 1;
        increment = littleEndianEncode32(increment, low32(static_cast<int64_t>(phaseIncrement)));
    }
}

}  // namespace

Placement encodeSynth(robot_hw0_cmd_data* data, RobotHW* robot)
{
    testAndClearCommandMaskBit(data, kBitSynth);
    uint8_t* bytes = nullptr;
    const Room room = appendWholePacket(*data, bytes);
    if (room.packet == nullptr) {
        return room.placement;  // the robot keeps its state, so the cache does
    }
    const HALAudioSynth_t& synth = data->audioSynth;
    SynthValues values;
    for (int i = 0; i < kSynthTones; ++i) {
        values.toneTypes[i] = low8(synth.tones[i].type);
        values.frequencies[i] = low16(truncate(10 * synth.tones[i].frequency));
        values.phases[i] = low16(truncate(synth.tones[i].phase));
    }
    const bool changed =
        robot->setSynthStateAndCheckForChange(low8(synth.type), synth.duration, values.toneTypes, values.frequencies,
                                              values.phases, synth.perc1, synth.perc2);
    if (changed) {
        bytes[0] = kCmdSynth;
        writeSynth(synth, values, bytes + 1);
    } else {
        bytes[0] = kCmdSynthUpdate;
        writeSynthUpdate(values, bytes + 1);
    }
    return room.placement;
}

}  // namespace HAL
