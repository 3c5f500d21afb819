// zkhal advert: an advertisement to a description.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "CppEngine/AdvertisementData.h"
#include "HAL/RobotHardware/RobotHW.h"
#include "HexText.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

struct CodeName {
    uint32_t code;
    const char* name;
};
constexpr CodeName kTypes[] = {
    {ZK_ROBOT_ORVIK, "Orvik"},
    {ZK_ROBOT_PELL, "Pell"},
    {ZK_ROBOT_QUILL, "Quill"},
    {ZK_ROBOT_RUSK, "Rusk"},
    {ZK_ROBOT_ORVIK_BOOTLOADER, "Orvik, bootloader"},
    {ZK_ROBOT_PELL_BOOTLOADER, "Pell, bootloader"},
    {ZK_ROBOT_QUILL_BOOTLOADER, "Quill, bootloader"},
    {ZK_ROBOT_RUSK_BOOTLOADER, "Rusk, bootloader"},
    {ZK_ROBOT_UNRECOGNISED, "unrecognised"},
};
constexpr CodeName kModes[] = {{Kestrel::kModeBootloader, "bootloader"}, {Kestrel::kModeApplication, "application"}};
constexpr CodeName kLevels[] = {{0, "empty"}, {1, "very low"}, {2, "low"}, {10, "medium"}, {20, "full"}};
constexpr CodeName kCharges[] = {{0, "not charging"}, {1, "charging"}, {2, "charged"}};

template <size_t kCount>
const char* nameOf(const CodeName (&names)[kCount], uint32_t code)
{
    for (const CodeName& row : names) {
        if (row.code == code) {
            return row.name;
        }
    }
    return "unknown";
}

// One JSON object, a member a line.
class ObjectWriter {
public:
    void add(const char* key, const std::string& text)
    {
        begin(key);
        std::cout << '"';
        for (size_t i = 0; i < text.size(); ++i) {
            const char c = text[i];
            const auto byte = static_cast<unsigned char>(c);
            if (const size_t more = byte < 0x80 ? 0 : continuationBytes(text, i); byte >= 0x80) {
                // Names are cut in the middle of a character by the radio, and strangers send anything.
                std::cout << (more > 0 ? text.substr(i, more + 1) : "\\ufffd");
                i += more;
            } else if (c == '"' || c == '\\') {
                std::cout << '\\' << c;
            } else if (byte < 0x20) {
                const char* kDigits = "0123456789abcdef";
                std::cout << "\\u00" << kDigits[byte >> 4] << kDigits[byte & 15];
            } else {
                std::cout << c;
            }
        }
        std::cout << '"';
    }
    void add(const char* key, const char* text)
    {
        add(key, std::string(text));
    }
    void add(const char* key, uint32_t number)
    {
        begin(key);
        std::cout << number;
    }
    void add(const char* key, bool flag)
    {
        begin(key);
        std::cout << (flag ? "true" : "false");
    }
    ~ObjectWriter()
    {
        std::cout << "\n}\n";
    }

private:
    // How many bytes continue the UTF-8 character that begins at i; 0 if none begins there.
    static size_t continuationBytes(const std::string& text, size_t i)
    {
        const auto byteAt = [&text](size_t at) { return static_cast<unsigned char>(at < text.size() ? text[at] : 0); };
        const unsigned char byte = byteAt(i), next = byteAt(i + 1);
        // Overlong forms, surrogates and what lies beyond the last character are told by the second byte.
        const bool isOdd = (byte == 0xE0 && next < 0xA0) || (byte == 0xED && next > 0x9F) ||
                           (byte == 0xF0 && next < 0x90) || (byte == 0xF4 && next > 0x8F);
        const size_t count = isOdd || byte < 0xC2 || byte > 0xF4 ? 0 : byte < 0xE0 ? 1 : byte < 0xF0 ? 2 : 3;
        for (size_t k = 1; k <= count; ++k) {
            if ((byteAt(i + k) & 0xC0) != 0x80) {
                return 0;
            }
        }
        return count;
    }
    void begin(const char* key)
    {
        std::cout << (mCount++ == 0 ? "{\n" : ",\n") << "  \"" << key << "\": ";
    }
    int mCount = 0;
};

int advert(const std::string& hex, const std::string& name)
{
    std::vector<uint8_t> bytes;
    std::string problem;
    if (!readHex(hex, bytes, problem)) {
        std::cerr << "zkhal advert: " << hex << ": " << problem << '\n';
        return kBadInput;
    }
    Kestrel::AdvertisementData advertised;
    const std::vector<char> data(bytes.begin(), bytes.end());
    const char none = 0;
    if (!advertised.parse(data.empty() ? &none : data.data(), data.size(), name.c_str(), name.size())) {
        std::cerr << "zkhal advert: " << advertised.parseErrorMessage() << '\n';
        return kBadInput;
    }
    ObjectWriter out;
    out.add("type", advertised.robotType);
    out.add("robot", nameOf(kTypes, advertised.robotType));
    out.add("mode", advertised.robotMode);
    out.add("modeName", nameOf(kModes, advertised.robotMode));
    out.add("name", advertised.name);
    out.add("uniqueId", advertised.uniqueId);
    out.add("serialNumber", advertised.serialNumber);
    const uint8_t* v = advertised.version;
    out.add("firmware", std::to_string(v[Kestrel::kFirmwareMajor]) + "." + std::to_string(v[Kestrel::kFirmwareMinor]) +
                            "." + std::to_string(v[Kestrel::kFirmwareSubMinor]));
    out.add("resources", uint32_t{v[Kestrel::kResourceVersion]});
    out.add("hardware", uint32_t{advertised.hardwareMinorVersion});
    out.add("language", HAL::RobotHW::langStringFromID(advertised.localeId));
    out.add("batteryLevel", advertised.batteryLevel);
    out.add("battery", nameOf(kLevels, advertised.batteryLevel));
    out.add("chargeMode", advertised.chargeMode);
    out.add("charge", nameOf(kCharges, advertised.chargeMode));
    out.add("usbConnected", advertised.isCharging);
    out.add("buttonPressed", advertised.flagB);
    out.add("crashDumps", advertised.flagA);
    out.add("personalityColor", uint32_t{v[Kestrel::kPersonalityColor]});
    out.add("personalityAnimation", uint32_t{v[Kestrel::kPersonalityAnimation]});
    out.add("shellColor", advertised.shellColor);
    out.add("avatar", advertised.avatarId);
    out.add("backupImage", advertised.hasBackupImage);
    out.add("wifiStatus", advertised.wifiStatus);
    out.add("updateStatus", advertised.updateStatus);
    out.add("batteryVoltage", uint32_t{advertised.batteryVoltage});
    return kSuccess;
}

}  // namespace

void addAdvert(CLI::App& app, int& status)
{
    struct Options {
        std::string hex, name;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("advert", "Describe a robot by its advertisement, as JSON");
    command->add_option("data", options->hex, "Manufacturer data as hex, at most 26 bytes")
        ->type_name("HEX")
        ->required();
    command->add_option("name", options->name, "The advertised local name")->type_name("NAME");
    command->footer(
        "Levels and modes that are not known are 9999, an avatar that is not known is 255.\n\n"
        "Example:\n"
        "  zkhal advert 03010010070301980A000000A1B2C30005206F6E2033 'Orvik num'");
    command->callback([options, &status] { status = advert(options->hex, options->name); });
}

}  // namespace zkhal
