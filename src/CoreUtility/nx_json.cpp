#include "CoreUtility/nx_json.h"

#include <cstring>
#include <new>

#include "CoreUtility/Assertion.h"
#include "CoreUtility/JsonDocument.h"
#include "CoreUtility/JsonNumber.h"
#include "CoreUtility/Messages.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

namespace {

// Nodes allocated one by one, for trees that their owner releases with nx_json_free().
struct HeapNodes {
    static nx_json* take()
    {
        nx_json* js = new (std::nothrow) nx_json;
        ZK_ASSERT(js);
        return js;
    }
};

bool isControlOrSpace(char c)
{
    return static_cast<unsigned char>(c) >= 1 && static_cast<unsigned char>(c) <= 32;
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

// Four hexadecimal digits; -1 when there are fewer.
int readHex4(const char* p)
{
    int value = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexValue(p[i]);
        if (digit < 0) {
            return -1;
        }
        value = value * 16 + digit;
    }
    return value;
}

// The reader proper. An open container keeps its parent in `next`, which it needs for a sibling only after it is
// closed: so nesting takes no stack, and a partial tree can be put in order again.
template <class Nodes>
class JsonParser {
public:
    JsonParser(Nodes& nodes, nx_json_unicode_encoder encoder) : mNodes(nodes), mEncoder(encoder) {}

    // The root, complete or not; an error is set when it is not.
    nx_json* parse(char* text, JsonError& error)
    {
        mError = &error;
        char* p = text;
        while (p != nullptr) {
            p = mOpen != nullptr && mOpen->type == NX_JSON_OBJECT ? readMember(p) : readValue(p, nullptr);
            if (mRoot != nullptr && mOpen == nullptr) {
                break;
            }
        }
        while (mOpen != nullptr) {
            close();
        }
        return mRoot;
    }

private:
    char* fail(const char* reason, int site, const char* at)
    {
        *mError = {reason, site, at};
        return nullptr;
    }

    nx_json* create(nx_json_type type, const char* key)
    {
        nx_json* node = mNodes.take();
        *node = {type, key, nullptr, 0, 0.0, 0, nullptr, nullptr, nullptr};
        if (mOpen == nullptr) {
            mRoot = node;
        } else {
            if (mOpen->last_child != nullptr) {
                mOpen->last_child->next = node;
            } else {
                mOpen->child = node;
            }
            mOpen->last_child = node;
            ++mOpen->length;
        }
        return node;
    }

    void open(nx_json_type type, const char* key)
    {
        nx_json* node = create(type, key);
        node->next = mOpen;
        mOpen = node;
    }

    void close()
    {
        nx_json* closed = mOpen;
        mOpen = closed->next;
        closed->next = nullptr;
    }

    // One member up to the end of its value (or up to the opening of a container), or the end of the object.
    char* readMember(char* p)
    {
        for (;;) {
            if (isControlOrSpace(*p) || *p == ',') {  // a wider set than between values
                ++p;
            } else if (*p == '"') {
                break;
            } else if (*p == '}') {
                close();
                return p + 1;
            } else if (*p == '/') {
                p = skipComment(p);
                if (p == nullptr) {
                    return nullptr;
                }
            } else {
                return fail("unexpected chars", 1, p);
            }
        }
        const char* key = p + 1;
        p = unescape(p + 1);
        if (p == nullptr) {
            return nullptr;
        }
        while (isControlOrSpace(*p)) {
            ++p;
        }
        if (*p != ':') {
            return fail("unexpected chars", 2, p);
        }
        return readValue(p + 1, key);
    }

    char* readValue(char* p, const char* key)
    {
        for (;;) {
            switch (*p) {
                case '\0':
                    return fail("unexpected end of text", 3, p);
                case '\t':
                case '\n':
                case '\r':
                case ' ':
                case ',':
                    ++p;
                    continue;
                case '"': {
                    nx_json* node = create(NX_JSON_STRING, key);
                    node->text_value = p + 1;
                    return unescape(p + 1);
                }
                case '-':
                case '0':
                case '1':
                case '2':
                case '3':
                case '4':
                case '5':
                case '6':
                case '7':
                case '8':
                case '9':
                    return readNumber(p, key);
                case '/':
                    p = skipComment(p);
                    if (p == nullptr) {
                        return nullptr;
                    }
                    continue;
                case '[':
                    open(NX_JSON_ARRAY, key);
                    return p + 1;
                case ']':
                    if (mOpen == nullptr || mOpen->type != NX_JSON_ARRAY) {
                        return fail("unexpected chars", 4, p);
                    }
                    close();
                    return p + 1;
                case '{':
                    open(NX_JSON_OBJECT, key);
                    return p + 1;
                case 't':
                    return readWord(p, key, "true", NX_JSON_BOOL, 1);
                case 'f':
                    return readWord(p, key, "false", NX_JSON_BOOL, 0);
                case 'n':
                    return readWord(p, key, "null", NX_JSON_NULL, 0);
                default:
                    return fail("unexpected chars", 5, p);
            }
        }
    }

    char* readNumber(char* p, const char* key)
    {
        const JsonNumber number = readJsonNumber(p);
        if (number.end == nullptr) {
            return fail("invalid number", 6, p);
        }
        nx_json* node = create(number.isReal ? NX_JSON_DOUBLE : NX_JSON_INTEGER, key);
        node->int_value = number.integer;
        node->dbl_value = number.real;
        return p + (number.end - p);
    }

    char* readWord(char* p, const char* key, const char* word, nx_json_type type, int value)
    {
        const size_t length = std::strlen(word);
        if (std::strncmp(p, word, length) != 0) {
            return fail("unexpected chars", 7, p);
        }
        create(type, key)->int_value = value;
        return p + length;
    }

    // p stands at the slash.
    char* skipComment(char* p)
    {
        if (p[1] == '/') {
            char* end = std::strchr(p + 2, '\n');
            return end != nullptr ? end + 1 : fail("endless comment", 8, p);
        }
        if (p[1] == '*') {
            char* end = std::strstr(p + 2, "*/");
            return end != nullptr ? end + 2 : fail("endless comment", 9, p);
        }
        return fail("unexpected chars", 10, p);
    }

    // Unescapes in place up to the closing quote, which becomes the terminator. Returns the position after it.
    char* unescape(char* const start)
    {
        char* in = start;
        while (*in != '"' && *in != '\\' && *in != '\0') {
            ++in;  // most strings have no escape and stay where they are
        }
        char* out = in;
        for (;;) {
            const char c = *in;
            if (c == '"') {
                *out = '\0';
                return in + 1;
            }
            if (c == '\0') {
                return fail("no closing quote for string", 11, start - 1);
            }
            if (c != '\\') {
                *out++ = c;
                ++in;
                continue;
            }
            switch (in[1]) {
                case '"':
                case '/':
                case '\\':
                    *out++ = in[1];
                    in += 2;
                    break;
                case 'b':
                    *out++ = '\b';
                    in += 2;
                    break;
                case 'f':
                    *out++ = '\f';
                    in += 2;
                    break;
                case 'n':
                    *out++ = '\n';
                    in += 2;
                    break;
                case 'r':
                    *out++ = '\r';
                    in += 2;
                    break;
                case 't':
                    *out++ = '\t';
                    in += 2;
                    break;
                case 'u':
                    if (mEncoder != nullptr) {
                        in = unescapeCodePoint(in, out);
                        if (in == nullptr) {
                            return nullptr;
                        }
                        break;
                    }
                    [[fallthrough]];
                default:  // an unknown escape keeps its backslash and its character
                    *out++ = c;
                    ++in;
                    if (*in != '\0') {
                        *out++ = *in++;
                    }
                    break;
            }
        }
    }

    // in stands at the backslash of \u.
    char* unescapeCodePoint(char* in, char*& out)
    {
        const int first = readHex4(in + 2);
        if (first < 0) {
            return fail("invalid unicode escape", 12, in);
        }
        unsigned codePoint = static_cast<unsigned>(first);
        char* end = in + 6;
        if (codePoint >= 0xD800 && codePoint <= 0xDBFF) {
            const int second = end[0] == '\\' && end[1] == 'u' ? readHex4(end + 2) : -1;
            if (second < 0) {
                return fail("invalid unicode surrogate", 13, in);
            }
            if (second < 0xDC00 || second > 0xDFFF) {
                return fail("invalid unicode surrogate", 14, in);
            }
            codePoint = 0x10000 + (codePoint - 0xD800) * 1024 + (static_cast<unsigned>(second) - 0xDC00);
            end += 6;
        }
        if (mEncoder(codePoint, out, &out) == 0) {
            return fail("invalid codepoint", 15, in);
        }
        return end;
    }

    Nodes& mNodes;
    nx_json_unicode_encoder mEncoder;
    JsonError* mError = nullptr;
    nx_json* mRoot = nullptr;
    nx_json* mOpen = nullptr;  // the container whose members are being read
};

int dropCodePoint(unsigned /*codePoint*/, char* output, char** newOutput)
{
    *newOutput = output;
    return 1;
}

void release(nx_json* node)
{
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

void JsonNodePool::grow()
{
    if (mCurrent == mBlocks.size()) {
        const size_t count = mBlocks.empty() ? kFirstBlock : mBlocks.back().count * 2;
        std::unique_ptr<nx_json[]> js(new (std::nothrow) nx_json[count]);
        ZK_ASSERT(js);
        mBlocks.push_back({std::move(js), count});
    }
    const Block& block = mBlocks[mCurrent++];
    mNext = block.nodes.get();
    mEnd = mNext + block.count;
}

void JsonNodePool::reset()
{
    size_t kept = 0;
    size_t blocks = 0;
    while (blocks < mBlocks.size() && kept + mBlocks[blocks].count <= kKeptNodes) {
        kept += mBlocks[blocks++].count;
    }
    if (blocks < mBlocks.size()) {
        mBlocks.resize(blocks);
    }
    mCurrent = 0;
    mNext = mEnd = nullptr;
}

const nx_json* JsonDocument::parse(const char* text, size_t length)
{
    clear();
    length = strnlen(text, length);
    if (mCapacity < length + 1) {
        mCapacity = 0;
        mText.reset(new char[length + 1 > kFirstText ? length + 1 : kFirstText]);
        mCapacity = length + 1 > kFirstText ? length + 1 : kFirstText;
    }
    std::memcpy(mText.get(), text, length);
    mText[length] = '\0';
    mError = {};
    JsonParser<JsonNodePool> parser(mNodes, dropCodePoint);
    const nx_json* root = parser.parse(mText.get(), mError);
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

TextPosition positionOf(const char* text, size_t offset)
{
    TextPosition position{1, 1};
    for (size_t i = 0; i < offset; ++i) {
        if (text[i] == '\n') {
            ++position.line;
            position.column = 1;
        } else {
            ++position.column;
        }
    }
    return position;
}

}  // namespace ZKHAL

const nx_json* nx_json_parse(char* text, nx_json_unicode_encoder encoder)
{
    char empty[1] = "";
    ZKHAL::HeapNodes nodes;
    ZKHAL::JsonError error;
    ZKHAL::JsonParser<ZKHAL::HeapNodes> parser(nodes, encoder);
    nx_json* root = parser.parse(text != nullptr ? text : empty, error);
    if (error.reason != nullptr) {
        error.print();
        ZKHAL::release(root);
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
            if (child->key != nullptr && std::strcmp(child->key, key) == 0) {
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
