// The JSON reader's loop, over any kind of node storage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Json/JsonNumber.h"
#include "CoreUtility/Json/JsonStrings.h"
#include "CoreUtility/Text.h"

namespace ZKHAL {

inline bool isControlOrSpace(char c)
{
    return static_cast<unsigned char>(c - 1) < ' ';
}

inline bool isBlank(char c)
{
    return c == ' ' || c == ',' || c == '\n' || c == '\t' || c == '\r';
}

struct JsonWord {
    const char* text;
    size_t length;
    nx_json_type type;
    int value;
};
inline constexpr JsonWord kJsonWords[] = {
    {"true", 4, NX_JSON_BOOL, 1}, {"false", 5, NX_JSON_BOOL, 0}, {"null", 4, NX_JSON_NULL, 0}};

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
                const JsonWord* word = wordAt(p);
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
        return *p == '/' ? skipComment(p, mError) : failJson(mError, "unexpected chars", 1, p);
    }

    // p stands behind a key.
    ZK_RARE char* skipToColon(char* p)
    {
        while (isControlOrSpace(*p)) {
            ++p;
        }
        return *p == ':' ? p : failJson(mError, "unexpected chars", 2, p);
    }

    // The word at p, null after an error: nothing else is left that could begin a value.
    const JsonWord* wordAt(char* p)
    {
        for (const JsonWord& word : kJsonWords) {
            if (std::strncmp(p, word.text, word.length) == 0) {
                return &word;
            }
        }
        const bool isWord = *p == 't' || *p == 'f' || *p == 'n';
        if (*p == '\0') {
            failJson(mError, "unexpected end of text", 3, p);
        } else {
            failJson(mError, "unexpected chars", *p == ']' ? 4 : isWord ? 5 : 7, p);
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
            failJson(mError, "invalid number", 6, p);
        }
        return number;
    }

    Nodes& mNodes;
    nx_json_unicode_encoder mEncoder;
    JsonError& mError;
};

}  // namespace ZKHAL
