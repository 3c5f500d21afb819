#include "Lesson.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>

#include "CoreUtility/FormatText.h"
#include "CoreUtility/Json/nx_json.h"
#include "JsonWriter.h"
#include "OutputFile.h"

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

bool isComponentKey(const nx_json* member)
{
    const char* const key = member->key;
    return key != nullptr && *key != '\0' && key[std::strspn(key, "0123456789")] == '\0';
}

// The text of a value, written anew.
std::string jsonOf(const nx_json* node)
{
    switch (node->type) {
        case NX_JSON_OBJECT:
        case NX_JSON_ARRAY: {
            const bool isObject = node->type == NX_JSON_OBJECT;
            std::string text;
            for (const nx_json* child = node->child; child != nullptr; child = child->next) {
                text += text.empty() ? "" : ",";
                text += isObject ? jsonText(child->key) + ':' : "";
                text += jsonOf(child);
            }
            return (isObject ? '{' : '[') + text + (isObject ? '}' : ']');
        }
        case NX_JSON_STRING:
            return jsonText(node->text_value);
        case NX_JSON_BOOL:
            return node->int_value != 0 ? "true" : "false";
        case NX_JSON_NULL:
            return "null";
        default:
            return jsonNumber(node->dbl_value);
    }
}

class Reader {
public:
    void readLine(const std::string& text, size_t line)
    {
        mLine = line;
        const Parsed parsed(text);
        const nx_json* root = parsed.root();
        if (root == nullptr || root->type != NX_JSON_OBJECT) {
            problem(1, root == nullptr ? "this is no JSON object" : "a step of a lesson is a JSON object");
            return;
        }
        LessonStep step = {LessonStep::Kind::Send, line, "", text, "", 0, {}, {}};
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
        size_t number = 0;
        for (const nx_json* frame = data->child; frame != nullptr; frame = frame->next) {
            mLine = ++number;
            const nx_json* commands = nx_json_get(frame, "commands");
            const nx_json* duration = nx_json_get(frame, "duration");
            if (commands->type != NX_JSON_OBJECT || !isNumber(duration) || !(duration->dbl_value >= 0) ||
                duration->dbl_value > kLongestWait) {
                problem(1, "frame " + std::to_string(number) +
                               ": it wants \"commands\" and a \"duration\" of 0 to 3600 seconds");
                continue;
            }
            lesson.steps.push_back({LessonStep::Kind::Send, number, "", jsonOf(commands), "", 0, {}, {}});
            lesson.steps.push_back({LessonStep::Kind::Wait, number, "", "", "", duration->dbl_value, {}, {}});
        }
        return true;
    }

    Lesson lesson;

private:
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
            if (isKnown && (isNumber(hand) || hand->type == NX_JSON_BOOL)) {
                step.hands.push_back({hand->key, hand->dbl_value});
            } else {
                step.hands.clear();
                break;
            }
        }
        if (step.hands.empty()) {
            problem(parsed.columnOf(verb),
                    "\"hands\" is like {\"clap\":90}, with a direction in degrees, {\"press\":1}, {\"release\":1}, "
                    "{\"lift\":1} or {\"drop\":1}");
        }
    }

    void readConditions(const nx_json* verb, const Parsed& parsed, LessonStep& step)
    {
        constexpr char kForm[] = "\"until\" is like {\"1000\":{\"s\":1}}, or with a range {\"3001\":{\"cm\":[0,10]}}";
        for (const nx_json* sensor = verb->child; sensor != nullptr && verb->type == NX_JSON_OBJECT;
             sensor = sensor->next) {
            for (const nx_json* value = sensor->child; value != nullptr && sensor->type == NX_JSON_OBJECT;
                 value = value->next) {
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
