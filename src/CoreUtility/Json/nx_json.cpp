#include "CoreUtility/Json/nx_json.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "CoreUtility/Assertion.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Json/JsonNumber.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

namespace {

// Nodes allocated one by one, for trees that their owner releases with nx_json_free().
struct HeapNodes {
    static constexpr bool kTextIsPadded = false;

    static NodeBlock nextBlock()
    {
        nx_json* js = new (std::nothrow) nx_json;
        ZK_ASSERT(js);
        return {js, js + 1};
    }
    static void giveBack(NodeBlock rest)
    {
        if (rest.next != rest.end) {
            delete rest.next;
        }
    }
};

bool isControlOrSpace(char c)
{
    return static_cast<unsigned char>(c - 1) < ' ';
}

// Four hexadecimal digits; -1 when there are fewer.
int readHex4(const char* p)
{
    int value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexDigitValue(p[i]);
        if (digit < 0) {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

bool isBlank(char c)
{
    return c == ' ' || c == ',' || c == '\n' || c == '\t' || c == '\r';
}

// The rare paths are functions of their own, so that the parser below can live in registers.
#define ZK_RARE [[gnu::cold, gnu::noinline]]

ZK_RARE char* fail(JsonError& error, const char* reason, int site, const char* at)
{
    error = {reason, site, at};
    return nullptr;
}

// p stands at the slash.
ZK_RARE char* skipComment(char* p, JsonError& error)
{
    if (p[1] == '/') {
        char* end = std::strchr(p + 2, '\n');
        return end != nullptr ? end + 1 : fail(error, "endless comment", 8, p);
    }
    if (p[1] == '*') {
        char* end = std::strstr(p + 2, "*/");
        return end != nullptr ? end + 2 : fail(error, "endless comment", 9, p);
    }
    return fail(error, "unexpected chars", 10, p);
}

// in stands at the backslash of \u.
char* unescapeCodePoint(char* in, char*& out, nx_json_unicode_encoder encoder, JsonError& error)
{
    const int first = readHex4(in + 2);
    if (first < 0) {
        return fail(error, "invalid unicode escape", 12, in);
    }
    unsigned codePoint = static_cast<unsigned>(first);
    char* end = in + 6;
    if (codePoint >= 0xD800 && codePoint <= 0xDBFF) {
        const int second = end[0] == '\\' && end[1] == 'u' ? readHex4(end + 2) : -1;
        if (second < 0) {
            return fail(error, "invalid unicode surrogate", 13, in);
        }
        if (second < 0xDC00 || second > 0xDFFF) {
            return fail(error, "invalid unicode surrogate", 14, in);
        }
        codePoint = 0x10000 + (codePoint - 0xD800) * 1024 + (static_cast<unsigned>(second) - 0xDC00);
        end += 6;
    }
    if (encoder(codePoint, out, &out) == 0) {
        return fail(error, "invalid codepoint", 15, in);
    }
    return end;
}

char unescaped(char c)
{
    switch (c) {
        case '"':
        case '/':
        case '\\':
            return c;
        case 'b':
            return '\b';
        case 'f':
            return '\f';
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return '\0';  // unknown
    }
}

// Whether a quote closes the string, which goes on at p.
bool isClosed(const char* p)
{
    for (; *p != '"'; ++p) {
        if (*p == '\\' && p[1] != '\0') {
            ++p;
        } else if (*p == '\0') {
            return false;
        }
    }
    return true;
}

// For a string without a closing quote: its first bad escape, or else that it has no end. Nothing is rewritten, so
// that the message shows the text as it came.
char* failUnclosed(const char* start, char* in, nx_json_unicode_encoder encoder, JsonError& error)
{
    while (*in != '\0') {
        char scratch[8];
        char* out = scratch;
        if (in[0] == '\\' && in[1] == 'u' && encoder != nullptr) {
            in = unescapeCodePoint(in, out, encoder, error);
            if (in == nullptr) {
                return nullptr;
            }
        } else {
            in += in[0] == '\\' && in[1] != '\0' ? 2 : 1;
        }
    }
    return fail(error, "no closing quote for string", 11, start - 1);
}

// The string that began at `start` goes on at `in`, which stands at its first backslash or at its end.
// Unescapes in place up to the closing quote, which becomes the terminator. Returns the position after it.
ZK_RARE char* unescapeRest(const char* start, char* in, nx_json_unicode_encoder encoder, JsonError& error)
{
    if (!isClosed(in)) {
        return failUnclosed(start, in, encoder, error);
    }
    char* out = in;
    while (*in != '"') {
        if (*in != '\\') {
            *out++ = *in++;
        } else if (in[1] == 'u' && encoder != nullptr) {
            in = unescapeCodePoint(in, out, encoder, error);
            if (in == nullptr) {
                return nullptr;
            }
        } else if (const char c = unescaped(in[1])) {
            *out++ = c;
            in += 2;
        } else {  // an unknown escape keeps its backslash and its character
            *out++ = *in++;
            *out++ = *in++;
        }
    }
    *out = '\0';
    return in + 1;
}

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
constexpr Characters kEndsString("\"\\", 3);  // the NUL too
constexpr Characters kEndsDigits(",}] \n", 5);

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
                return p + __builtin_ctz(mask);
            }
        }
    }
#endif
    while (!kEndsString[*p]) {
        ++p;
    }
    return p;
}

// Keeps a step of the reading position a branch. The processor guesses branches and reads on meanwhile; a position
// that is computed from what was read it would have to wait for, token after token.
inline void guess(char*& p)
{
    asm("" : "+r"(p));
}

struct Word {
    const char* text;
    size_t length;
    nx_json_type type;
    int value;
};
constexpr Word kWords[] = {{"true", 4, NX_JSON_BOOL, 1}, {"false", 5, NX_JSON_BOOL, 0}, {"null", 4, NX_JSON_NULL, 0}};

// The reader proper. An open container keeps its parent in `next`, which it needs for a sibling only after it is
// closed: so nesting takes no stack, and a partial tree can be put in order again.
//
// It is one loop over local variables, with the common case of each step in line: most of a translation's time is
// spent here.
template <class Nodes>
class JsonParser {
public:
    JsonParser(Nodes& nodes, nx_json_unicode_encoder encoder, JsonError& error)
        : mNodes(nodes), mEncoder(encoder), mError(error)
    {
    }

    // The root, complete or not; an error is set when it is not. end: behind the root.
    nx_json* parse(char* p, const char*& end)
    {
        nx_json top = {NX_JSON_NULL, nullptr, nullptr, 0, 0.0, 0, nullptr, nullptr, nullptr};  // holds the root
        nx_json* open = &top;         // the container whose members are being read
        bool inObject = false;        // its type
        nx_json** link = &top.child;  // where the next node is hung in
        uint32_t count = 0;           // children of `open` so far
        NodeBlock free = {nullptr, nullptr};

        // Gets a node ready, whose value is still to be read.
        const auto prepare = [&](const char* key) {
            if (free.next == free.end) {
                free = mNodes.nextBlock();
            }
            free.next->key = key;
        };
        // The node that is ready. Its `next` stays unset until a sibling follows or the container is closed.
        const auto add = [&](nx_json_type type, const char* text, int64_t integer, double real) {
            nx_json* node = free.next++;
            node->type = type;
            node->text_value = text;
            node->int_value = integer;
            node->dbl_value = real;
            node->length = 0;
            node->child = nullptr;
            node->last_child = nullptr;
            *link = node;
            link = &node->next;
            ++count;
            return node;
        };
        const auto enter = [&](nx_json_type type) {
            nx_json* node = add(type, nullptr, 0, 0.0);
            inObject = type == NX_JSON_OBJECT;
            open->length = static_cast<int32_t>(count);
            node->next = open;
            open = node;
            link = &node->child;
            count = 0;
        };
        const auto leave = [&] {
            nx_json* closed = open;
            *link = nullptr;
            closed->length = static_cast<int32_t>(count);
            closed->last_child = count != 0 ? nodeWithLink(link) : nullptr;
            open = closed->next;
            link = &closed->next;
            count = static_cast<uint32_t>(open->length);
            inObject = open->type == NX_JSON_OBJECT;
        };
        const auto finish = [&](const char* position) {
            end = position;
            while (open != &top) {
                leave();
            }
            *link = nullptr;
            mNodes.giveBack(free);
            return top.child;
        };

        prepare(nullptr);
        for (;;) {
            // p stands before a value. First what there is most of: switches, light numbers, 0 and 1.
            if (isDigit(*p) && kEndsDigits[p[1]]) {
                add(NX_JSON_INTEGER, nullptr, *p - '0', *p - '0');
                ++p;
            } else if (isDigit(*p) || *p == '-') {
                const JsonNumber number = isDigit(*p) ? readNumber(p) : readNegative(p);
                if (number.end == nullptr) {
                    return finish(nullptr);
                }
                p += number.end - p;
                add(number.isReal ? NX_JSON_DOUBLE : NX_JSON_INTEGER, nullptr, number.integer, number.real);
            } else if (*p == '{') {
                enter(NX_JSON_OBJECT);
                ++p;
            } else if (*p == '"') {
                add(NX_JSON_STRING, p + 1, 0, 0.0);
                p = readString(p + 1);
                if (p == nullptr) {
                    return finish(nullptr);
                }
            } else if (*p == '[') {
                enter(NX_JSON_ARRAY);
                ++p;
            } else if (*p == ']' && open->type == NX_JSON_ARRAY) {
                leave();
                ++p;
            } else if (isBlank(*p) || *p == '/') {
                p = skipBeforeValue(p);
                if (p == nullptr) {
                    return finish(nullptr);
                }
                continue;
            } else {
                const Word* word = wordAt(p);
                if (word == nullptr) {
                    return finish(nullptr);
                }
                add(word->type, nullptr, word->value, 0.0);
                p += word->length;
            }

            // Behind a value or an opening bracket: to the next value.
            for (;;) {
                if (*p == ',' && open != &top) {
                    ++p;
                    guess(p);
                }
                if (inObject) {
                    if (*p == '\n') {  // of a document for people, indented
                        do {
                            ++p;
                        } while (*p == ' ');
                    }
                    if (*p == '"') {
                        prepare(p + 1);
                        p = readString(p + 1);
                        if (p == nullptr || (*p != ':' && (p = skipToColon(p)) == nullptr)) {
                            return finish(nullptr);
                        }
                        ++p;
                        if (*p == ' ') {
                            ++p;
                            guess(p);
                        }
                        break;
                    }
                    if (*p == '}') {
                        ++p;
                        leave();
                    } else if ((p = skipBeforeKey(p)) == nullptr) {
                        return finish(nullptr);
                    }
                } else if (open == &top) {
                    return finish(p);
                } else if (*p == ']') {
                    ++p;
                    leave();
                } else {
                    prepare(nullptr);
                    break;
                }
            }
        }
    }

private:
    static nx_json* nodeWithLink(nx_json** link)
    {
        return reinterpret_cast<nx_json*>(reinterpret_cast<char*>(link) - offsetof(nx_json, next));
    }

    // p stands at a blank or a slash.
    char* skipBeforeValue(char* p)
    {
        while (isBlank(*p)) {
            ++p;
        }
        return *p == '/' ? skipComment(p, mError) : p;
    }

    // p stands at something that is neither a key nor the end of the object.
    char* skipBeforeKey(char* p)
    {
        while (isControlOrSpace(*p) || *p == ',') {  // a wider set than between values
            ++p;
        }
        if (*p == '"' || *p == '}') {
            return p;
        }
        return *p == '/' ? skipComment(p, mError) : fail(mError, "unexpected chars", 1, p);
    }

    // p stands behind a key.
    ZK_RARE char* skipToColon(char* p)
    {
        while (isControlOrSpace(*p)) {
            ++p;
        }
        return *p == ':' ? p : fail(mError, "unexpected chars", 2, p);
    }

    // The word at p, null after an error: nothing else is left that could begin a value.
    const Word* wordAt(char* p)
    {
        for (const Word& word : kWords) {
            if (std::strncmp(p, word.text, word.length) == 0) {
                return &word;
            }
        }
        const bool isWord = *p == 't' || *p == 'f' || *p == 'n';
        if (*p == '\0') {
            fail(mError, "unexpected end of text", 3, p);
        } else {
            fail(mError, "unexpected chars", *p == ']' ? 4 : isWord ? 5 : 7, p);
        }
        return nullptr;
    }

    // p stands behind the opening quote. Returns the position behind the closing one, which becomes a NUL.
    char* readString(char* p)
    {
        char* end = findStringEnd<Nodes::kTextIsPadded>(p);
        if (*end != '"') {
            return unescapeRest(p, end, mEncoder, mError);
        }
        *end = '\0';
        return end + 1;
    }

    // end is null after an error.
    JsonNumber readNumber(char* p)
    {
        if constexpr (Nodes::kTextIsPadded) {
            const JsonNumber number = readPlainDecimal(p);
            if (number.end != nullptr) {
                return number;
            }
        }
        return readAnyNumber(p);
    }

    // p stands at the minus sign.
    JsonNumber readNegative(char* p)
    {
        if constexpr (Nodes::kTextIsPadded) {
            const JsonNumber number = readPlainDecimal(p + 1);
            if (number.end != nullptr) {
                return {number.end, number.isReal, -number.integer,
                        number.isReal ? -number.real : static_cast<double>(-number.integer)};  // -0 is 0, -0.0 is not
            }
        }
        return readAnyNumber(p);
    }

    ZK_RARE JsonNumber readAnyNumber(char* p)
    {
        const JsonNumber number = readJsonNumber(p);
        if (number.end == nullptr) {
            fail(mError, "invalid number", 6, p);
        }
        return number;
    }

    Nodes& mNodes;
    nx_json_unicode_encoder mEncoder;
    JsonError& mError;
};

int dropCodePoint(unsigned /*codePoint*/, char* output, char** newOutput)
{
    *newOutput = output;
    return 1;
}

void release(nx_json* node)
{
    if (node != nullptr) {
        node->next = nullptr;  // only this node and what is below it
    }
    while (node != nullptr) {
        // A node's children take its place in the list, so that no depth needs a stack.
        if (node->child != nullptr) {
            node->last_child->next = node->next;
            node->next = node->child;
        }
        nx_json* next = node->next;
        delete node;
        node = next;
    }
}

const nx_json kNothing = {NX_JSON_NULL, nullptr, nullptr, 0, 0.0, 0, nullptr, nullptr, nullptr};

}  // namespace

void JsonError::print() const
{
    printErr("NXJSON PARSE ERROR (%d): %s at %s\n", site, reason, at);
}

NodeBlock JsonNodePool::nextBlock()
{
    if (mUsed == mAllocated) {
        std::unique_ptr<nx_json[]> js(new (std::nothrow) nx_json[sizeOf(mUsed)]);
        ZK_ASSERT(js);
        mBlocks[mAllocated++] = std::move(js);
    }
    nx_json* nodes = mBlocks[mUsed].get();
    return {nodes, nodes + sizeOf(mUsed++)};
}

void JsonNodePool::reset()
{
    while (mAllocated > kKeptBlocks) {
        mBlocks[--mAllocated].reset();
    }
    mUsed = 0;
}

const nx_json* JsonDocument::parse(const char* text, size_t length)
{
    clear();
    static_assert(kPadding >= ComparedText::kReadable, "keys are compared as far");
    const size_t needed = length + kPadding;
    if (mCapacity < needed) {
        mCapacity = 0;
        mText.reset(new char[std::max(needed, kFirstText)]);
        mCapacity = std::max(needed, kFirstText);
    }
    std::memcpy(mText.get(), text, length);  // up to its first NUL at the most, where the reader stops
    std::memset(mText.get() + length, 0, kPadding);
    mError = {};
    JsonParser<JsonNodePool> parser(mNodes, dropCodePoint, mError);
    const nx_json* root = parser.parse(mText.get(), mEnd);
    return mError.reason == nullptr ? root : nullptr;
}

void JsonDocument::clear()
{
    mNodes.reset();
    if (mCapacity > kKeptText) {
        mText.reset();
        mCapacity = 0;
    }
}

}  // namespace ZKHAL

const nx_json* nx_json_parse(char* text, nx_json_unicode_encoder encoder)
{
    char empty[1] = "";
    ZKHAL::HeapNodes nodes;
    ZKHAL::JsonError error;
    ZKHAL::JsonParser<ZKHAL::HeapNodes> parser(nodes, encoder, error);
    const char* end = nullptr;
    nx_json* root = parser.parse(text != nullptr ? text : empty, end);
    if (error.reason != nullptr) {
        ZKHAL::release(root);
        error.print();
        return nullptr;
    }
    return root;
}

const nx_json* nx_json_parse_utf8(char* text)
{
    return nx_json_parse(text, ZKHAL::dropCodePoint);
}

int unicode_to_utf8(unsigned codePoint, char* output, char** newOutput)
{
    const auto put = [&output](unsigned byte) { *output++ = static_cast<char>(static_cast<unsigned char>(byte)); };
    if (codePoint < 0x80) {
        put(codePoint);
    } else if (codePoint < 0x800) {
        put(0xC0 | codePoint >> 6);
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF) {
            return 0;
        }
        put(0xE0 | codePoint >> 12);
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x110000) {
        put(0xF0 | codePoint >> 18);
        put(0x80 | (codePoint >> 12 & 0x3F));
        put(0x80 | (codePoint >> 6 & 0x3F));
        put(0x80 | (codePoint & 0x3F));
    } else {
        return 0;
    }
    *newOutput = output;
    return 1;
}

void nx_json_free(const nx_json* node)
{
    ZKHAL::release(const_cast<nx_json*>(node));
}

const nx_json* nx_json_get(const nx_json* node, const char* key)
{
    if (node != nullptr && key != nullptr) {
        for (const nx_json* child = node->child; child != nullptr; child = child->next) {
            if (child->key != nullptr && ZKHAL::isSameText(child->key, key)) {
                return child;
            }
        }
    }
    return &ZKHAL::kNothing;
}

const nx_json* nx_json_item(const nx_json* node, int index)
{
    if (node != nullptr && index >= 0) {
        for (const nx_json* child = node->child; child != nullptr; child = child->next) {
            if (index-- == 0) {
                return child;
            }
        }
    }
    return &ZKHAL::kNothing;
}
