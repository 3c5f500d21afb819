// zkhal explain: packets back into words.
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "HexText.h"
#include "Input.h"

namespace zkhal {

namespace {

// Bytes given as one argument each make one packet; otherwise each argument is a packet.
std::vector<std::string> packetTexts(const std::vector<std::string>& arguments)
{
    bool onlyBytes = true;
    std::string joined;
    for (const std::string& argument : arguments) {
        onlyBytes = onlyBytes && argument.size() == 2 && argument != "-";
        joined += argument + ' ';
    }
    return onlyBytes ? std::vector<std::string>{joined} : arguments;
}

// What `zkhal encode` prints can be read again: comments and indented explanations are passed over.
std::vector<std::string> packetLines(const std::string& input)
{
    std::vector<std::string> lines;
    for (size_t begin = 0; begin < input.size();) {
        const size_t end = std::min(input.find('\n', begin), input.size());
        const std::string line = input.substr(begin, end - begin);
        if (!line.empty() && line[0] != '#' && line[0] != ' ') {
            lines.push_back(line.substr(0, line.find("  <-")));
        }
        begin = end + 1;
    }
    return lines;
}

int explain(const std::vector<std::string>& arguments)
{
    const bool fromStdin = arguments.empty() || arguments == std::vector<std::string>{"-"};
    int status = kSuccess;
    for (const std::string& text : fromStdin ? packetLines(readInput("-")) : packetTexts(arguments)) {
        std::vector<uint8_t> bytes;
        std::string problem;
        if (!readHex(text, bytes, problem)) {
            std::cout.flush();
            std::cerr << "zkhal explain: " << text << ": " << problem << '\n';
            status = kBadInput;
            continue;
        }
        bool complete = true;
        std::cout << hexText(bytes.data(), bytes.size()) << '\n' << packetInWords(bytes.data(), bytes.size(), complete);
        status = complete ? status : kBadInput;
    }
    return status;
}

}  // namespace

void addExplain(CLI::App& app, int& status)
{
    auto arguments = std::make_shared<std::vector<std::string>>();
    CLI::App* command = app.add_subcommand("explain", "Read command packets back into words");
    command->add_option("packets", *arguments, "Packets as hex, one an argument; the bytes of one packet; or -")
        ->type_name("HEX")
        ->option_text("HEX...|-");
    command->footer(
        "Without packets, lines of hex are read from standard input: the output of zkhal encode, for example.\n\n"
        "Examples:\n"
        "  zkhal explain 01012CFED4\n"
        "  zkhal explain 0D 7F 0E 55\n"
        "  zkhal encode examples/hello.json | zkhal explain");
    command->callback([arguments, &status] {
        try {
            status = explain(*arguments);
        } catch (const InputError& problem) {
            std::cerr << "zkhal explain: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
