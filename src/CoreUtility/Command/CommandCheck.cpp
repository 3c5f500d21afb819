#include "CoreUtility/Command/CommandCheck.h"

#include <cstring>

#include "CoreUtility/Command/CheckFindings.h"
#include "CoreUtility/Command/CheckWords.h"
#include "CoreUtility/Messages.h"

namespace APICore {

using ZKHAL::formatted;

namespace {

constexpr char kDocument[] = "a command document is an object of components, like {\"106\":{\"brightness\":1}}";

// What a word processor, or another language, writes where JSON has its straight double quotes.
const char* quotesHint(const char* text)
{
    constexpr const char* kOtherQuotes[] = {"\u201C", "\u201D", "\u201E", "\u2018", "\u2019",
                                            "\u201A", "\u00AB", "\u00BB", "'"};
    for (const char* quote : kOtherQuotes) {
        if (std::strncmp(text, quote, std::strlen(quote)) == 0) {
            return ": use straight double quotes (\")";
        }
    }
    return "";
}

}  // namespace

bool isObjectText(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, const char* ofWhat,
                  Findings& findings)
{
    if (root == nullptr) {
        const ZKHAL::JsonError& error = document.error();
        const size_t offset = findings.offsetOf(error.at);
        const std::string rest(text + offset, std::strcspn(text + offset, "\r\n"));
        const bool isEnd = text[offset] == '\0';
        findings.refuse(offset, isEnd ? std::string("not JSON: the text ends before the document does")
                                      : formatted("not JSON: %s at ", error.reason) + quoted(rest.c_str()) +
                                            quotesHint(rest.c_str()));
        return false;
    }
    if (root->type != NX_JSON_OBJECT) {
        findings.refuse(0, ofWhat);
        return false;
    }
    return true;
}

void checkText(const char* text, const char* end, Findings& findings)
{
    const size_t behind = findings.offsetOf(end);
    const size_t rest = behind + std::strspn(text + behind, " \t\r\n");
    if (text[rest] != '\0') {
        findings.remark(rest, "what follows the document is ignored");
    }
    for (size_t at = 0; at < behind; ++at) {
        if (text[at] == '\\' && text[at + 1] == 'u') {
            findings.remark(at, "\\u escapes are dropped: write the characters themselves, as UTF-8");
            return;
        }
        at += text[at] == '\\' ? 1 : 0;
    }
}

CheckResult resultOf(const Findings& findings)
{
    return findings.refused()    ? CheckResult::Refused
           : findings.remarked() ? CheckResult::Remarks
                                 : CheckResult::Accepted;
}

bool findRefusals(const char* text, const ZKHAL::JsonDocument& document, const nx_json* root, uint32_t robotType,
                  std::string& lines)
{
    // Told apart first, since this runs before every translation: nearly all documents are accepted.
    bool refused = root == nullptr || root->type != NX_JSON_OBJECT;
    for (const nx_json* member = refused ? nullptr : root->child; member != nullptr; member = member->next) {
        refused = refused || isFatal(member, robotType);
    }
    if (!refused) {
        return false;
    }
    Findings findings(text, document, lines);
    if (isObjectText(text, document, root, kDocument, findings)) {
        for (const nx_json* member = root->child; member != nullptr; member = member->next) {
            refuseMember(member, robotType, findings);
        }
    }
    return true;
}

CheckResult checkCommandDocument(const char* text, uint32_t robotType, std::string& lines)
{
    const size_t length = std::strlen(text);
    if (length == 0) {
        return CheckResult::Accepted;
    }
    ZKHAL::JsonDocument document;
    const nx_json* root = document.parse(text, length);
    Findings findings(text, document, lines);
    if (isObjectText(text, document, root, kDocument, findings)) {
        checkCommands(root, robotType, false, findings);
        checkText(text, document.end(), findings);
    }
    return resultOf(findings);
}

}  // namespace APICore
