// zkhal encode: command documents to packets.
#include <cstdint>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "CoreUtility/Json/nx_json.h"
#include "Findings.h"
#include "HexText.h"
#include "Input.h"
#include "OutputFile.h"
#include "RobotOption.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

struct EncodeOptions {
    uint32_t robotType = ZK_ROBOT_ORVIK;
    bool explain = false;
    bool checkOnly = false;
    std::string input = "-";
};

struct Document {
    std::string text;
    size_t firstLine;  // of the input, from 1
};

bool isBlank(const std::string& text)
{
    return text.find_first_not_of(" \t\r\n") == std::string::npos;
}

bool isWholeObject(std::string line)
{
    const QuietLibrary quiet;
    const nx_json* root = nx_json_parse_utf8(line.data());
    const bool isObject = root != nullptr && root->type == NX_JSON_OBJECT;
    nx_json_free(root);
    return isObject;
}

// One document a line when the first line that is not blank is a whole object; otherwise one document.
std::vector<Document> splitDocuments(const std::string& input)
{
    std::vector<Document> lines;
    size_t number = 1;
    for (size_t begin = 0; begin < input.size(); ++number) {
        const size_t end = std::min(input.find('\n', begin), input.size());
        std::string line = input.substr(begin, end - begin);
        if (!isBlank(line)) {
            lines.push_back({std::move(line), number});
            if (lines.size() == 1 && !isWholeObject(lines[0].text)) {
                return {{input, 1}};
            }
        }
        begin = end + 1;
    }
    return lines;
}

// An argument that begins like an object is a document; anything else names a file.
bool isDocument(const std::string& argument)
{
    const size_t first = argument.find_first_not_of(" \t\r\n");
    return first != std::string::npos && (argument[first] == '{' || argument[first] == '[');
}

void printPackets(const HALPacket_t* packets, size_t count, bool explain)
{
    constexpr size_t kReturned = 2;
    for (size_t i = 0; i < count; ++i) {
        std::cout << hexText(packets[i].data, packets[i].length)
                  << (i >= kReturned ? "  <- third packet: json2Packets drops it" : "") << '\n';
        if (explain) {
            bool complete = true;
            std::cout << packetInWords(packets[i].data, packets[i].length, complete);
        }
    }
    if (explain && count == 0) {
        std::cout << "    nothing is sent\n";
    }
}

int encode(const EncodeOptions& options)
{
    const bool inArgument = isDocument(options.input);
    const std::string name = inArgument ? "document" : options.input == "-" ? "stdin" : options.input;
    const std::vector<Document> documents = splitDocuments(inArgument ? options.input : readInput(options.input));
    const std::unique_ptr<ZKTranslator, decltype(&ZKTranslatorDestroy)> translator(
        ZKTranslatorCreate(options.robotType), ZKTranslatorDestroy);
    int status = kSuccess;
    for (const Document& document : documents) {
        if (options.explain && documents.size() > 1) {
            std::cout << "# " << name << ", line " << document.firstLine << '\n';
        }
        if (document.text.find('\0') != std::string::npos) {
            std::cout.flush();
            std::cerr << name << ':' << document.firstLine << ": a zero byte is no text\n";
            status = kBadInput;
            continue;
        }
        static char findings[128 * 1024];
        const int result = ZKCheckCommandDocument(document.text.c_str(), options.robotType, findings, sizeof findings);
        std::cout.flush();
        std::cerr << placedFindings(findings, name, document.firstLine);
        if (result == ZK_CHECK_REFUSED) {
            status = kBadInput;
            continue;
        }
        if (options.checkOnly) {
            continue;
        }
        const QuietLibrary quiet;
        HALPacket_t packets[ZK_MAX_COMMAND_PACKETS];
        size_t count = 0;
        ZKTranslatorTranslate(translator.get(), document.text.c_str(), packets, &count, nullptr, 0);
        printPackets(packets, count, options.explain);
    }
    if (options.checkOnly && status == kSuccess) {
        std::cout << documents.size() << (documents.size() == 1 ? " document" : " documents") << " accepted for "
                  << robotName(options.robotType) << '\n';
    }
    return status;
}

}  // namespace

void addEncode(CLI::App& app, int& status)
{
    auto options = std::make_shared<EncodeOptions>();
    CLI::App* command = app.add_subcommand("encode", "Turn JSON command documents into robot packets");
    addRobotOption(*command, options->robotType);
    command->add_flag("--explain", options->explain, "Say each command of each packet in words and units");
    command->add_flag("--check", options->checkOnly, "Only say what would be refused, ignored or lost");
    command->add_option("input", options->input, "A file, - for standard input, or a document itself")
        ->type_name("FILE|-|DOCUMENT")
        ->option_text("FILE|-|DOCUMENT");
    command->footer(
        "Each packet is one line of hex. When the first line of the input is a whole object, each line is a document\n"
        "of its own, and the robot's state carries over from one to the next. A refused document is reported with\n"
        "line and column and skipped (exit status 1); remarks go to stderr.\n\n"
        "Examples:\n"
        "  zkhal encode '{\"211\":{\"left_cm_s\":10,\"right_cm_s\":-10}}'\n"
        "  zkhal encode --explain examples/hello.json\n"
        "  zkhal encode --robot quill --check examples/lesson.jsonl");
    command->callback([options, &status] {
        try {
            status = encode(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal encode: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
