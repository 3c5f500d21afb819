// JSON text for programs and people: members on lines of their own as deep as asked for, everything below on one line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace zkhal {

// A number as JSON has it: whole ones with all digits, others as short as they read back the same. Not-a-number and the
// infinities, which JSON does not have, are null.
std::string jsonNumber(double value);

// In quotes. Bytes that are no UTF-8 become the replacement character: robots and strangers send anything.
std::string jsonText(const std::string& text);

class JsonWriter {
public:
    // depth   how many levels of objects and lists have their members on lines of their own
    explicit JsonWriter(size_t depth) : mDepth(depth) {}

    // key: null in a list, and for the document itself.
    void beginObject(const char* key = nullptr);
    void beginList(const char* key = nullptr);
    void end();

    void add(const char* key, const char* text);
    void add(const char* key, const std::string& text);
    void add(const char* key, bool flag);
    void add(const char* key, double number);
    void add(const char* key, uint32_t number);

    // The document, ended.
    const std::string& text() const
    {
        return mText;
    }

private:
    void begin(const char* key, char bracket);
    void place(const char* key);

    size_t mDepth;
    std::string mText;
    std::string mOpen;  // the closing brackets of what is open
    bool mIsEmpty = true;
};

}  // namespace zkhal
