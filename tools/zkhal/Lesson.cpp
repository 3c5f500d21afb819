#include "Lesson.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>

#include "CoreUtility/FormatText.h"
#include "CoreUtility/Json/nx_json.h"
#include "Findings.h"
#include "HAL/MessagePacketizers/SensorLayout.h"
#include "OutputFile.h"
#include "ZKHAL/Vocabulary.h"
#include "ZKHAL/ZKHAL.h"

namespace zkhal {

namespace {

constexpr double kLongestWait = 3600;
constexpr double kDefaultShellTimeout = 1, kDefaultUntilTimeout = 60;

using Tree = std::unique_ptr<const nx_json, decltype(&nx_json_free)>;

// A parsed text; its nodes point into it.
class Parsed {
public:
    explicit Parsed(const std::string& text) : mText(text), mRoot(nullptr, nx_json_free)
    {
        const QuietLibrary quiet;
        mRoot.reset(nx_json_parse_utf8(mText.data()));
    }
    const nx_json* root() const
    {
        return mRoot.get();
    }
    // Of the quote before a member's name, from 1.
    size_t columnOf(const nx_json* member) const
    {
        return member->key != nullptr ? static_cast<size_t>(member->key - mText.data()) : 1;
    }

private:
    std::string mText;
    Tree mRoot;
};

bool isNothing(const nx_json* node)
{
    return node == nx_json_get(nullptr, nullptr);
}

bool isNumber(const nx_json* node)
{
    return node->type == NX_JSON_INTEGER || node->type == NX_JSON_DOUBLE;
}

bool isNumberText(const char* text)
{
    return *text != '\0' && text[std::strspn(text, "0123456789")] == '\0';
}

bool isComponentKey(const nx_json* member)
{
    return member->key != nullptr && isNumberText(member->key);
}

// Where the object ends that begins at the first brace from begin on, one behind its last; npos when it does not end.
size_t endOfObject(const std::string& text, size_t begin)
{
    size_t depth = 0;
    for (size_t i = text.find('{', begin); i < text.size(); ++i) {
        if (text[i] == '"') {
            for (++i; i < text.size() && text[i] != '"'; ++i) {
                i += text[i] == '\\' ? 1u : 0u;
            }
        } else if (text[i] == '{' || text[i] == '[') {
            ++depth;
        } else if ((text[i] == '}' || text[i] == ']') && --depth == 0) {
            return i + 1;
        }
    }
    return std::string::npos;
}

size_t firstNoBlank(const std::string& text, size_t begin)
{
    return text.find_first_not_of(" \t\r\n", std::min(begin, text.size()));
}

class Reader {
public:
    void readLine(const std::string& text, size_t line)
    {
        mLine = line;
        const Parsed parsed(text);
        const nx_json* root = parsed.root();
        if (root != nullptr && root->type != NX_JSON_OBJECT) {
            problem(1, "a step of a lesson is a JSON object");
            return;
        }
        if (root == nullptr) {
            char findings[400];  // which know the place, and what is wrong there
            ZKCheckCommandDocument(text.c_str(), ZK_ROBOT_ORVIK, findings, sizeof findings);
            lesson.problems += placedFindings(findings, "", line).substr(1);
            return;
        }
        const size_t end = endOfObject(text, 0);
        if (const size_t rest = firstNoBlank(text, end); end == std::string::npos || rest != std::string::npos) {
            problem(rest == std::string::npos ? 1 : rest + 1,
                    rest == std::string::npos ? "the object does not end" : "one object stands on a line");
            return;
        }
        LessonStep step = {LessonStep::Kind::Send, line, "", 0, text, "", 0, {}, {}};
        const nx_json* verb = nullptr;
        bool hasComponents = false, hasTimeout = false;
        for (const nx_json* member = root->child; member != nullptr; member = member->next) {
            const std::string key = member->key;
            if (key == "to") {
                readTo(member, parsed, step, text);
            } else if (key == "wait" || key == "shell" || key == "until" || key == "hands") {
                if (verb != nullptr) {
                    problem(parsed.columnOf(member),
                            "a step does one thing: \"" + std::string(verb->key) + "\" or \"" + key + "\"");
                }
                verb = member;
            } else if (key == "timeout") {
                hasTimeout = true;
                step.seconds = seconds(member, parsed);
            } else if (isComponentKey(member)) {
                hasComponents = true;
            } else {
                problem(
                    parsed.columnOf(member),
                    "\"" + ZKHAL::printable(key) +
                        "\" is no component, and no \"wait\", \"shell\", \"until\", \"hands\", \"timeout\" or \"to\"");
            }
        }
        if (verb != nullptr && hasComponents) {
            problem(parsed.columnOf(verb),
                    "commands stand on a line of their own, not beside \"" + std::string(verb->key) + "\"");
        }
        if (hasTimeout && (verb == nullptr || verb->key[0] == 'w' || verb->key[0] == 'h')) {
            problem(1, "\"timeout\" goes with \"shell\" and \"until\"");
        }
        if (verb != nullptr) {
            readVerb(verb, parsed, hasTimeout, step);
        }
        lesson.steps.push_back(std::move(step));
    }

    // {"data":[{"duration":S,"commands":{...}}, ...]}
    bool readAnimation(const std::string& text)
    {
        const Parsed parsed(text);
        const nx_json* data = nx_json_get(parsed.root(), "data");
        if (data->type != NX_JSON_ARRAY) {
            return false;
        }
        const size_t end = endOfObject(text, 0);
        if (const size_t rest = firstNoBlank(text, end); end == std::string::npos || rest != std::string::npos) {
            const size_t place = std::min(rest, text.size());
            mLine = lineAt(text, place);
            problem(columnAt(text, place), rest == std::string::npos ? "the animation does not end here"
                                                                     : "an animation stands alone in its file");
            return true;
        }
        size_t number = 0;
        for (const nx_json* frame = data->child; frame != nullptr; frame = frame->next) {
            ++number;
            const nx_json* commands = nx_json_get(frame, "commands");
            const nx_json* duration = nx_json_get(frame, "duration");
            const nx_json* place = commands->key != nullptr ? commands : frame->child;
            const size_t key = place != nullptr && place->key != nullptr ? parsed.columnOf(place) - 1 : 0;
            mLine = key != 0 ? lineAt(text, key) : mLine;
            if (commands->type != NX_JSON_OBJECT || !isNumber(duration) || !(duration->dbl_value >= 0) ||
                duration->dbl_value > kLongestWait) {
                problem(key != 0 ? columnAt(text, key) : 1,
                        "frame " + std::to_string(number) +
                            ": it wants \"commands\" and a \"duration\" of 0 to 3600 seconds");
                continue;
            }
            // The object as it stands, behind as many blanks as there are columns before it.
            const size_t begin = text.find('{', text.find(':', key));
            mLine = lineAt(text, begin);
            const std::string document =
                std::string(columnAt(text, begin) - 1, ' ') + text.substr(begin, endOfObject(text, begin) - begin);
            lesson.steps.push_back({LessonStep::Kind::Send, mLine, "", 0, document, "", 0, {}, {}});
            lesson.steps.push_back({LessonStep::Kind::Wait, mLine, "", 0, "", "", duration->dbl_value, {}, {}});
        }
        return true;
    }

    Lesson lesson;

private:
    static size_t lineAt(const std::string& text, size_t place)
    {
        return 1 +
               static_cast<size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(place), '\n'));
    }
    static size_t columnAt(const std::string& text, size_t place)
    {
        const size_t before = place > 0 ? text.rfind('\n', place - 1) : std::string::npos;
        return place - (before == std::string::npos ? 0 : before + 1) + 1;
    }
    void problem(size_t column, const std::string& words)
    {
        lesson.problems += std::to_string(mLine) + ':' + std::to_string(column) + ": " + words + '\n';
    }

    double seconds(const nx_json* member, const Parsed& parsed)
    {
        const double value = member->dbl_value;
        if (!isNumber(member) || !(value >= 0 && value <= kLongestWait)) {
            problem(parsed.columnOf(member), "\"" + std::string(member->key) + "\" is a number of seconds, 0 to 3600");
            return 0;
        }
        return value;
    }

    // The member is blanked out of the document, so that the columns of the rest stay.
    void readTo(const nx_json* member, const Parsed& parsed, LessonStep& step, const std::string& text)
    {
        if (member->type != NX_JSON_STRING || member->text_value[0] == '\0') {
            problem(parsed.columnOf(member), "\"to\" is the name of a robot");
            return;
        }
        step.to = member->text_value;
        step.toColumn = parsed.columnOf(member);
        const size_t begin = parsed.columnOf(member) - 1;
        size_t end = text.find('"', text.find(':', begin)) + 1;
        while (end < text.size() && text[end] != '"') {
            end += text[end] == '\\' ? 2u : 1u;
        }
        end = std::min(end, text.size() - 1);
        std::fill(step.document.begin() + static_cast<std::ptrdiff_t>(begin),
                  step.document.begin() + static_cast<std::ptrdiff_t>(end) + 1, ' ');
    }

    void readVerb(const nx_json* verb, const Parsed& parsed, bool hasTimeout, LessonStep& step)
    {
        const std::string key = verb->key;
        if (key == "wait") {
            step.kind = LessonStep::Kind::Wait;
            step.seconds = seconds(verb, parsed);
        } else if (key == "shell") {
            step.kind = LessonStep::Kind::Shell;
            step.seconds = hasTimeout ? step.seconds : kDefaultShellTimeout;
            if (verb->type != NX_JSON_STRING || verb->text_value[0] == '\0') {
                problem(parsed.columnOf(verb), "\"shell\" is a text for the robot's shell");
                return;
            }
            step.text = verb->text_value;
            if (step.seconds == 0) {
                problem(parsed.columnOf(verb), "an answer takes longer than a \"timeout\" of 0");
            }
        } else if (key == "hands") {
            step.kind = LessonStep::Kind::Hands;
            readHands(verb, parsed, step);
        } else {
            step.kind = LessonStep::Kind::Until;
            step.seconds = hasTimeout ? step.seconds : kDefaultUntilTimeout;
            readConditions(verb, parsed, step);
        }
    }

    void readHands(const nx_json* verb, const Parsed& parsed, LessonStep& step)
    {
        constexpr const char* kHands[] = {"clap", "press", "release", "lift", "drop"};
        for (const nx_json* hand = verb->child; hand != nullptr && verb->type == NX_JSON_OBJECT; hand = hand->next) {
            const bool isKnown = std::any_of(std::begin(kHands), std::end(kHands),
                                             [&](const char* name) { return std::strcmp(name, hand->key) == 0; });
            const bool isButton = hand->key[0] == 'p' || hand->key[0] == 'r';
            const double value = hand->dbl_value;
            const bool isInRange = !isButton || (value >= 0 && value < HAL::kButtonCount);
            if (isKnown && isInRange && (isNumber(hand) || hand->type == NX_JSON_BOOL)) {
                step.hands.push_back({hand->key, hand->dbl_value});
            } else {
                step.hands.clear();
                break;
            }
        }
        if (step.hands.empty()) {
            problem(
                parsed.columnOf(verb),
                "\"hands\" is like {\"clap\":90}, with a direction in degrees, {\"press\":1}, {\"release\":1}, with a "
                "button 0 to 3, {\"lift\":1} or {\"drop\":1}");
        }
    }

    static bool isSensorValue(const char* sensor, const char* key)
    {
        for (size_t i = 0;; ++i) {
            ZKSensorValueInfo value = {};
            value.size = sizeof value;
            if (!isNumberText(sensor) || !ZKGetSensorValue(static_cast<uint32_t>(std::atoi(sensor)), i, &value)) {
                return false;
            }
            if (value.kind != ZK_SENSOR_BYTES && std::strcmp(value.key, key) == 0) {
                return true;
            }
        }
    }

    void readConditions(const nx_json* verb, const Parsed& parsed, LessonStep& step)
    {
        constexpr char kForm[] = "\"until\" is like {\"1000\":{\"s\":1}}, or with a range {\"3001\":{\"cm\":[0,10]}}";
        for (const nx_json* sensor = verb->child; sensor != nullptr && verb->type == NX_JSON_OBJECT;
             sensor = sensor->next) {
            for (const nx_json* value = sensor->child; value != nullptr && sensor->type == NX_JSON_OBJECT;
                 value = value->next) {
                if (!isSensorValue(sensor->key, value->key)) {
                    problem(parsed.columnOf(value), "no sensor \"" + ZKHAL::printable(sensor->key) +
                                                        "\" has a number \"" + ZKHAL::printable(value->key) +
                                                        "\"; zkhal vocabulary lists them");
                    return;
                }
                const nx_json *low = nx_json_item(value, 0), *high = nx_json_item(value, 1);
                if (isNumber(value)) {
                    step.until.push_back({sensor->key, value->key, value->dbl_value, value->dbl_value});
                } else if (value->type == NX_JSON_BOOL) {
                    const auto number = static_cast<double>(value->int_value);
                    step.until.push_back({sensor->key, value->key, number, number});
                } else if (value->type == NX_JSON_ARRAY && value->length == 2 && isNumber(low) && isNumber(high) &&
                           low->dbl_value <= high->dbl_value) {
                    step.until.push_back({sensor->key, value->key, low->dbl_value, high->dbl_value});
                } else {
                    problem(parsed.columnOf(value), kForm);
                    return;
                }
            }
        }
        if (step.until.empty()) {
            problem(parsed.columnOf(verb), kForm);
        }
    }

    size_t mLine = 0;
};

}  // namespace

Lesson readLesson(const std::string& text)
{
    Reader reader;
    if (reader.readAnimation(text)) {
        return std::move(reader.lesson);
    }
    size_t number = 1;
    for (size_t begin = 0; begin < text.size(); ++number) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        const size_t first = line.find_first_not_of(" \t\r");
        if (first != std::string::npos && line[first] != '#') {
            reader.readLine(line, number);
        }
    }
    if (reader.lesson.steps.empty() && reader.lesson.problems.empty()) {
        reader.lesson.problems = "1:1: there is no step in it\n";
    }
    return std::move(reader.lesson);
}

bool isMet(const std::vector<Condition>& conditions, const std::string& report)
{
    const Parsed parsed(report);
    return std::all_of(conditions.begin(), conditions.end(), [&](const Condition& condition) {
        const nx_json* value = nx_json_get(nx_json_get(parsed.root(), condition.sensor.c_str()), condition.key.c_str());
        constexpr double kSlack = 1e-6;
        return !isNothing(value) && value->dbl_value >= condition.low - kSlack &&
               value->dbl_value <= condition.high + kSlack;
    });
}

}  // namespace zkhal
