// What a check has found, line by line.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "CoreUtility/FormatText.h"
#include "CoreUtility/Json/JsonDocument.h"
#include "CoreUtility/Json/nx_json.h"
#include "CoreUtility/Messages.h"

namespace APICore {

constexpr size_t kMaxFindings = 64 * 1024;

// Lines of findings, each with its place in the original text.
class Findings {
public:
    Findings(const char* text, const ZKHAL::JsonDocument& document, std::string& lines)
        : mDocument(document), mLines(lines)
    {
        mLineStarts.push_back(0);
        for (const char* end = text; (end = std::strchr(end, '\n')) != nullptr;) {
            mLineStarts.push_back(static_cast<size_t>(++end - text));
        }
    }

    void refuse(size_t offset, const std::string& what)
    {
        mRefused = true;
        add(offset, "refused", what);
    }
    void remark(size_t offset, const std::string& what)
    {
        mRemarked = true;
        add(offset, "remark", what);
    }
    bool refused() const
    {
        return mRefused;
    }
    bool remarked() const
    {
        return mRemarked;
    }

    // What the following findings are about: "frame 3: ".
    void setContext(std::string context)
    {
        mContext = std::move(context);
    }

    // Of the quote before a member's name. What has no name is spoken of at the member that holds it.
    size_t offsetOf(const nx_json* member) const
    {
        return member->key != nullptr ? offsetOf(member->key - 1) : 0;
    }
    size_t offsetOf(const char* at) const
    {
        return static_cast<size_t>(at - mDocument.text());
    }

private:
    void add(size_t offset, const char* severity, const std::string& what)
    {
        if (mLines.size() > kMaxFindings) {
            if (!mCut) {
                mLines += "\n... and more";
                mCut = true;
            }
            return;
        }
        const auto next = std::upper_bound(mLineStarts.begin(), mLineStarts.end(), offset);
        const auto line = static_cast<size_t>(next - mLineStarts.begin());
        if (!mLines.empty()) {
            mLines += '\n';
        }
        mLines += ZKHAL::formatted("%zu:%zu: %s: ", line, offset - *(next - 1) + 1, severity);
        mLines += mContext + ZKHAL::printable(what);
    }

    const ZKHAL::JsonDocument& mDocument;
    std::string& mLines;
    std::string mContext;
    std::vector<size_t> mLineStarts;
    bool mRefused = false;
    bool mRemarked = false;
    bool mCut = false;
};

}  // namespace APICore
