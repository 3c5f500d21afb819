/*
 * Checksums and string hashes, hex text, and the two clocks.
 *
 * Null pointers are allowed: null bytes count as no bytes, a null text as an empty one, and a null output is left
 * alone. Nothing here fails but for the lack of memory in ZKPrettyHex().
 */
#ifndef ZKHAL_UTILITIES_H
#define ZKHAL_UTILITIES_H

#include <stddef.h>
#include <stdint.h>

#include "ZKHAL/ZKExport.h"
#include "ZKHAL/ZKVersion.h"

#ifdef __cplusplus
#include <string>
#endif

ZK_EXTERN_C_BEGIN

/** Running sums of the byte-wise Fletcher checksum: each byte is one term, and both sums start at 0xFFFF. */
typedef struct ZKFletcher32_t {
    uint32_t sum1;
    uint32_t sum2;
} ZKFletcher32_t;

ZK_API void fletcher32Init(ZKFletcher32_t* state);

/** Adds bytes. The sums are folded to 17 bits after every 359 bytes of a call and at its end. */
ZK_API void fletcher32Update(const uint8_t* bytes, uint32_t length, ZKFletcher32_t* state);

/** Folds once more and returns sum2 in the high and sum1 in the low 16 bits. */
ZK_API uint32_t fletcher32Finalize(ZKFletcher32_t* state);

/** The three calls above on one block; 0xFFFFFFFF for no bytes. */
ZK_API uint32_t ZKFletcherHash(const uint8_t* bytes, uint32_t length);

/** Fletcher value of text a followed by text b; 0 when a is null or empty. */
ZK_API uint32_t ZKStringHash(const char* a, const char* b);

#if ZKHAL_HAS_MD5 /* the library can be built without */
/** MD5 of a followed by b as 32 upper-case hex digits and a NUL; output holds 33 bytes. */
ZK_API void ZKStringHashMD5(const char* a, const char* b, char* output);
#endif

/** Two upper-case hex digits a byte and a NUL; output holds 2 * count + 1 bytes. */
ZK_API void ZKHexStringFromBytes(const uint8_t* bytes, size_t count, char* output);

/** Upper-cases the ASCII letters of a NUL-terminated text in place; all other bytes stay. */
ZK_API void zkToUpper(char* text);

/** Wall-clock seconds since 1970, in whole milliseconds. */
ZK_API double BREpoch(void);

/** Seconds since an arbitrary origin; never goes backwards. */
ZK_API double BRSystemTime(void);

#ifdef __cplusplus
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage" /* C linkage for its name; only C++ can call it */
#endif
/** Hex dump, bytes in groups of four, then the printable ASCII characters between bars: "41 42  |AB|". */
ZK_API std::string ZKPrettyHex(const uint8_t* bytes, size_t length);
#if defined(__clang__)
#pragma clang diagnostic pop
#endif
#endif

ZK_EXTERN_C_END

#endif
