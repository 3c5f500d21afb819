// Where the fields of an advertisement lie: the parser reads them here, the virtual robot writes them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Kestrel {

// Some bits of a byte of the record.
struct Bits {
    uint8_t byte, shift, count;
};

constexpr Bits kMode = {0, 0, 2};
constexpr Bits kFlagA = {0, 4, 2};  // set if either is
constexpr Bits kQuiet = {0, 6, 1};
constexpr Bits kFlagB = {0, 7, 1};
constexpr Bits kColorV1 = {8, 0, 3};
constexpr Bits kAnimationV2 = {8, 3, 3};
constexpr Bits kOrvikCharging = {7, 7, 1};
constexpr Bits kOrvikIndicator = {7, 0, 5};
constexpr Bits kQuillChargeMode = {7, 0, 2};
constexpr Bits kQuillIndicator = {7, 2, 3};
constexpr Bits kRuskIsApplication = {0, 0, 1};
constexpr Bits kRuskR1 = {0, 1, 2};
constexpr Bits kRuskR2 = {0, 3, 3};
constexpr Bits kRuskR3 = {0, 6, 1};
constexpr Bits kRuskR4 = {0, 7, 1};
constexpr Bits kRuskChargeMode = {7, 0, 2};
constexpr Bits kRuskIndicator = {7, 2, 2};
constexpr Bits kRuskR5 = {7, 4, 4};

constexpr size_t kFamilyAt = 1, kShellColorAt = 2, kAvatarAt = 3, kHardwareAt = 3;
constexpr size_t kVersionAt = 4;  // three bytes, the major one last
constexpr size_t kLocaleAt = 9, kRuskLocaleAt = 8, kRuskLetterAt = 9, kRuskTailAt = 10, kIdAt = 12;
constexpr size_t kResourceAt = 16, kNameRestAt = 17;
constexpr size_t kNameRestBytes = 9, kLocalNameBytes = 11;
constexpr uint8_t kQuietAnimation = 7;

}  // namespace Kestrel
