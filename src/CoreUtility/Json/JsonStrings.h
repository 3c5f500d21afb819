// The ends and escapes of strings, and comments: what the JSON reader skips or rewrites in place.
#pragma once

#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "CoreUtility/Bits.h"
#include "CoreUtility/Compiler.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Json/nx_json.h"

namespace ZKHAL {

// The rare paths are functions of their own, so that the reader's loop can live in registers.

// Sets the error and returns null.
char* failJson(JsonError& error, const char* reason, int site, const char* at);

// p stands at the slash. Returns the position behind the comment, null after an error.
char* skipComment(char* p, JsonError& error);

// The string that began at `start` goes on at `in`, which stands at its first backslash or at its end.
// Unescapes in place up to the closing quote, which becomes the terminator. Returns the position after it.
char* unescapeRest(const char* start, char* in, nx_json_unicode_encoder encoder, JsonError& error);

// An encoder that accepts every code point and writes nothing.
int dropCodePoint(unsigned codePoint, char* output, char** newOutput);

// Sets of characters.
class Characters {
public:
    constexpr Characters(const char* first, size_t count) : mHas()
    {
        for (size_t i = 0; i < count; ++i) {
            mHas[static_cast<unsigned char>(first[i])] = true;
        }
    }

    constexpr bool operator[](char c) const
    {
        return mHas[static_cast<unsigned char>(c)];
    }

private:
    bool mHas[256];
};
inline constexpr Characters kEndsString("\"\\", 3);  // the NUL too
inline constexpr Characters kEndsDigits(",}] \n", 5);

// The first quote, backslash or NUL.
template <bool kTextIsPadded>
char* findStringEnd(char* p)
{
#if defined(__SSE2__)
    if constexpr (kTextIsPadded) {
        for (int i = 0; i < 4; ++i, ++p) {  // component ids and most keys: their end can be guessed
            if (kEndsString[*p]) {
                return p;
            }
        }
        for (;; p += 16) {
            const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            const __m128i ends = _mm_or_si128(
                _mm_cmpeq_epi8(block, _mm_set1_epi8('"')),
                _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('\\')), _mm_cmpeq_epi8(block, _mm_setzero_si128())));
            if (const auto mask = static_cast<unsigned>(_mm_movemask_epi8(ends))) {
                return p + countTrailingZeros(mask);
            }
        }
    }
#endif
    while (!kEndsString[*p]) {
        ++p;
    }
    return p;
}

// Keeps a step of the reading position a branch, where the compiler can be told. The processor guesses branches and
// reads on meanwhile; a position that is computed from what was read it would have to wait for, token after token.
inline void guess(char*& p)
{
#if defined(__GNUC__)
    asm("" : "+r"(p));
#else
    static_cast<void>(p);
#endif
}

}  // namespace ZKHAL
