// The JSON reader over storage that is used again, for documents that come one after the other.
#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "CoreUtility/Json/nx_json.h"

namespace ZKHAL {

struct JsonError {
    const char* reason = nullptr;  // null: no error
    int site = 0;                  // a fixed number of the place in the reader that gave up
    const char* at = nullptr;      // in the parsed text

    // "NXJSON PARSE ERROR (6): invalid number at -x}", on stderr.
    void print() const;
};

struct NodeBlock {
    nx_json* next;
    nx_json* end;
};

// Nodes handed out front to back and taken back all at once. What one huge text needed is not kept.
class JsonNodePool {
public:
    static constexpr bool kTextIsPadded = true;  // texts are a JsonDocument's

    NodeBlock nextBlock();
    void giveBack(NodeBlock) {}  // with all others
    void reset();

private:
    // Each block is twice as large as the one before; the first four stay, 960 nodes in all.
    static constexpr size_t kFirstBlock = 64;
    static constexpr size_t kKeptBlocks = 4;

    static constexpr size_t sizeOf(size_t block)
    {
        return kFirstBlock << block;
    }

    std::unique_ptr<nx_json[]> mBlocks[40];  // more than any memory holds
    size_t mAllocated = 0;
    size_t mUsed = 0;
};

// One text and its tree, in storage that is used again by the next text.
class JsonDocument {
public:
    // Copies length characters and parses the copy. Returns null on an error, of which nothing is printed.
    // The tree lives until the next call or clear().
    const nx_json* parse(const char* text, size_t length);

    const JsonError& error() const
    {
        return mError;
    }
    // Behind the first complete value; what follows is ignored.
    const char* end() const
    {
        return mEnd;
    }
    // The copy that the nodes point into.
    const char* text() const
    {
        return mText.get();
    }
    void clear();

private:
    static constexpr size_t kPadding = 16;  // zeros behind the text: the reader looks at several bytes at a time
    static constexpr size_t kFirstText = 1024;
    static constexpr size_t kKeptText = 64 * 1024;

    std::unique_ptr<char[]> mText;
    size_t mCapacity = 0;
    JsonNodePool mNodes;
    JsonError mError;
    const char* mEnd = nullptr;
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

}  // namespace ZKHAL
