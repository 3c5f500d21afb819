// The JSON reader over storage that is used again, for documents that come one after the other.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "CoreUtility/nx_json.h"

namespace ZKHAL {

struct JsonError {
    const char* reason = nullptr;  // null: no error
    int site = 0;                  // a fixed number of the place in the reader that gave up
    const char* at = nullptr;      // in the parsed text

    // "NXJSON PARSE ERROR (3): invalid number at -x}", on stderr.
    void print() const;
};

// Nodes handed out front to back and taken back all at once. What one huge text needed is not kept.
class JsonNodePool {
public:
    nx_json* take()
    {
        if (mNext == mEnd) {
            grow();
        }
        return mNext++;
    }
    void reset();

private:
    static constexpr size_t kFirstBlock = 64;
    static constexpr size_t kKeptNodes = 1024;  // 72 KiB stay with the pool

    struct Block {
        std::unique_ptr<nx_json[]> nodes;
        size_t count;
    };
    void grow();

    std::vector<Block> mBlocks;
    size_t mCurrent = 0;
    nx_json* mNext = nullptr;
    nx_json* mEnd = nullptr;
};

// One text and its tree, in storage that is used again by the next text.
class JsonDocument {
public:
    // Copies at most length characters, up to the first NUL, and parses the copy. Returns null on an error, of
    // which nothing is printed. The tree lives until the next call or clear().
    const nx_json* parse(const char* text, size_t length);

    const JsonError& error() const
    {
        return mError;
    }
    // The copy that the nodes point into.
    const char* text() const
    {
        return mText.get();
    }
    void clear();

private:
    static constexpr size_t kFirstText = 1024;
    static constexpr size_t kKeptText = 64 * 1024;

    std::unique_ptr<char[]> mText;
    size_t mCapacity = 0;
    JsonNodePool mNodes;
    JsonError mError;
};

// Takes a spare document, or a new one, and gives it back cleared: what the printed lines of one conversion set off may
// well be another conversion.
class JsonDocumentLoan {
public:
    explicit JsonDocumentLoan(std::unique_ptr<JsonDocument>& spare) : mSpare(spare), mDocument(std::move(spare))
    {
        if (mDocument == nullptr) {
            mDocument = std::make_unique<JsonDocument>();
        }
    }
    ~JsonDocumentLoan()
    {
        mDocument->clear();
        mSpare = std::move(mDocument);
    }
    JsonDocumentLoan(const JsonDocumentLoan&) = delete;
    JsonDocumentLoan& operator=(const JsonDocumentLoan&) = delete;

    JsonDocument& operator*() const
    {
        return *mDocument;
    }
    JsonDocument* operator->() const
    {
        return mDocument.get();
    }

private:
    std::unique_ptr<JsonDocument>& mSpare;
    std::unique_ptr<JsonDocument> mDocument;
};

struct TextPosition {
    size_t line;    // from 1
    size_t column;  // from 1, in bytes
};

// Where a byte offset lies in the original text.
TextPosition positionOf(const char* text, size_t offset);

}  // namespace ZKHAL
