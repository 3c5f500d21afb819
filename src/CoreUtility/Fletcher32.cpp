#include <cstring>

#include "ZKHAL/Utilities.h"

namespace {

// The sums are folded after this many bytes: what a host compares with was summed in the same blocks.
constexpr uint32_t kBlockBytes = 359;

void fold(ZKFletcher32_t& state)
{
    state.sum1 = (state.sum1 & 0xFFFF) + (state.sum1 >> 16);
    state.sum2 = (state.sum2 & 0xFFFF) + (state.sum2 >> 16);
}

void addText(const char* text, ZKFletcher32_t& state)
{
    fletcher32Update(reinterpret_cast<const uint8_t*>(text), static_cast<uint32_t>(std::strlen(text)), &state);
}

}  // namespace

void fletcher32Init(ZKFletcher32_t* state)
{
    if (state != nullptr) {
        *state = {0xFFFF, 0xFFFF};
    }
}

void fletcher32Update(const uint8_t* bytes, uint32_t length, ZKFletcher32_t* state)
{
    if (bytes == nullptr || state == nullptr) {
        return;
    }
    while (length > 0) {
        const uint32_t block = length < kBlockBytes ? length : kBlockBytes;
        for (uint32_t i = 0; i < block; ++i) {
            state->sum1 += bytes[i];
            state->sum2 += state->sum1;
        }
        fold(*state);
        bytes += block;
        length -= block;
    }
}

uint32_t fletcher32Finalize(ZKFletcher32_t* state)
{
    if (state == nullptr) {
        return 0;
    }
    fold(*state);
    return state->sum2 << 16 | (state->sum1 & 0xFFFF);
}

uint32_t ZKFletcherHash(const uint8_t* bytes, uint32_t length)
{
    ZKFletcher32_t state;
    fletcher32Init(&state);
    fletcher32Update(bytes, length, &state);
    return fletcher32Finalize(&state);
}

uint32_t ZKStringHash(const char* a, const char* b)
{
    if (a == nullptr || *a == '\0') {
        return 0;
    }
    ZKFletcher32_t state;
    fletcher32Init(&state);
    addText(a, state);
    if (b != nullptr) {
        addText(b, state);
    }
    return fletcher32Finalize(&state);
}
