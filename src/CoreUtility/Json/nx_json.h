/*
 * A small, lenient, destructive JSON reader.
 *
 * It parses a writable text in place into nodes that point into that text: the tree is valid only while the text
 * lives. Commas count as white space between values, C and C++ comments are skipped, numbers follow the C library
 * (0x1F is hexadecimal, 010 is octal), and what follows the first complete value is ignored. Parsing and freeing
 * use the same small stack however deep a text is nested.
 */
#ifndef ZKHAL_NX_JSON_H
#define ZKHAL_NX_JSON_H

#include <stdint.h>

#include "ZKHAL/ZKExport.h"

ZK_EXTERN_C_BEGIN

typedef enum nx_json_type {
    NX_JSON_NULL = 0,
    NX_JSON_OBJECT = 1,
    NX_JSON_ARRAY = 2,
    NX_JSON_STRING = 3,
    NX_JSON_INTEGER = 4,
    NX_JSON_DOUBLE = 5,
    NX_JSON_BOOL = 6
} nx_json_type;

typedef struct nx_json {
    nx_json_type type;
    const char* key;        /* member name in the text; null for array elements and the root */
    const char* text_value; /* unescaped string in the text; null unless type is NX_JSON_STRING */
    int64_t int_value;      /* integers: the value, saturated; doubles: their integer prefix; booleans: 1 or 0 */
    double dbl_value;       /* integers: the value converted; doubles: the value; all others: 0, booleans too */
    int32_t length;         /* number of children */
    struct nx_json* child;
    struct nx_json* next;
    struct nx_json* last_child;
} nx_json;

/**
 * Called for every \u escape; surrogate pairs arrive joined.
 * output    where the character goes, as UTF-8 or not at all; six bytes of room
 * newOutput receives the position after it
 * Returns nonzero on success; zero ends the parse with "invalid codepoint".
 */
typedef int (*nx_json_unicode_encoder)(unsigned codePoint, char* output, char** newOutput);

/**
 * Parses text, which is changed. Returns the root, to be released with nx_json_free(), or null after printing
 * "NXJSON PARSE ERROR (site): reason at rest-of-text" on stderr, with all of the rest. A null text reads as "".
 * Without memory for a node the process ends.
 * Without an encoder, \u escapes stay as they are written.
 */
ZK_API const nx_json* nx_json_parse(char* text, nx_json_unicode_encoder encoder);

/** The same with an encoder that accepts every code point and writes nothing: \u escapes are checked and dropped. */
ZK_API const nx_json* nx_json_parse_utf8(char* text);

/** An encoder that writes one to four bytes and refuses surrogates and everything from 0x110000. */
ZK_API int unicode_to_utf8(unsigned codePoint, char* output, char** newOutput);

/** Releases a root returned by nx_json_parse() and all its descendants; null is allowed. The text stays. */
ZK_API void nx_json_free(const nx_json* node);

/** The first child with this key, else a shared node of type NX_JSON_NULL; never null. */
ZK_API const nx_json* nx_json_get(const nx_json* node, const char* key);

/** The child at a zero-based index, else the shared node of type NX_JSON_NULL; never null. */
ZK_API const nx_json* nx_json_item(const nx_json* node, int index);

ZK_EXTERN_C_END

#endif
