// zkhal run: a lesson with one robot or several.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "Commands.h"
#include "Findings.h"
#include "Host/Hub.h"
#include "Input.h"
#include "Lesson.h"
#include "OutputFile.h"
#include "ReportPicture.h"
#include "RobotChoice.h"
#include "RobotOption.h"

namespace zkhal {

namespace {

struct RunOptions {
    RobotChoice robots;
    std::string lesson;
    std::string record;
    std::string svg;
    bool checkOnly = false;
};

// One robot of the lesson.
class Pupil final : public Host::SessionListener {
public:
    explicit Pupil(bool wantsPicture) : mWantsPicture(wantsPicture) {}

    void onState(Host::RobotSession& robot, Host::SessionState state, const Host::Error& error) override
    {
        using State = Host::SessionState;
        if (state == State::Ready) {
            tell(robot, wasReady ? "is connected again" : "is connected");
            wasReady = true;
        } else if (state == State::Pausing) {
            tell(robot, "is lost: " + inWords(error) + "; connecting again");
        } else if (state == State::Ended && error) {
            tell(robot, "is lost: " + inWords(error));
        }
    }
    void onReport(Host::RobotSession&, double seconds, const char* json, size_t) override
    {
        isMet = isMet || (awaited != nullptr && zkhal::isMet(*awaited, json));
        if (mWantsPicture) {
            picture.add(seconds, json);
        }
    }
    void onAnswer(Host::RobotSession& robot, Host::AskId id, const std::string& command, const char* answer,
                  const Host::Error& error) override
    {
        tell(robot,
             "\"" + command + "\" " +
                 (answer != nullptr ? "is answered: \"" + std::string(answer) + "\"" : "has failed: " + error.words));
        if (id == waitsFor) {
            waitsFor = 0;
        }
        failed += answer == nullptr ? 1 : 0;
    }

    void tell(const Host::RobotSession& robot, const std::string& words)
    {
        const std::string name = robot.info().name[0] != '\0' ? robot.info().name : robot.who();
        std::printf("%s%8.3f  %s %s\n", clearProgress, clock(), shown(name).c_str(), shown(words).c_str());
    }

    std::function<double()> clock;
    const char* clearProgress = "";
    Host::RobotSession* session = nullptr;
    const std::vector<Condition>* awaited = nullptr;  // by an "until" that is under way
    bool isMet = false;                               // in any report since it began
    std::unique_ptr<GrowingFile> capture;
    ReportPicture picture;
    Host::AskId waitsFor = 0;  // 0: nothing
    int failed = 0;
    bool wasReady = false;

private:
    bool mWantsPicture;
};

class Teacher {
public:
    Teacher(const RunOptions& options, const Lesson& lesson)
        : mOptions(options), mLesson(lesson), mRadio(options.robots), mIsTerminal(isatty(STDOUT_FILENO) != 0)
    {
    }

    int teach()
    {
        meet();
        if (isInterrupted()) {
            return finish(kSuccess);
        }
        int status = checkForRobots();
        if (status != kSuccess || mOptions.checkOnly) {
            leave();
            save();
            return status;
        }
        for (size_t i = 0; i < mLesson.steps.size() && status == kSuccess && !isInterrupted(); ++i) {
            showProgress(i);
            status = take(mLesson.steps[i]);
        }
        return finish(status);
    }

private:
    Host::Hub& hub()
    {
        return mRadio.hub();
    }

    // All robots are found and connected, or it says which is not.
    void meet()
    {
        catchInterrupts();
        Host::SessionOptions options;
        options.retries = mOptions.robots.retries;
        for (const std::string& name : mRadio.names()) {
            mPupils.push_back(std::make_unique<Pupil>(!mOptions.svg.empty()));
            Pupil& pupil = *mPupils.back();
            pupil.clock = [this] { return hub().now(); };
            pupil.clearProgress = mIsTerminal ? "\r\x1b[K" : "";
            pupil.session = &hub().open(name, options, &pupil);
            if (!mOptions.record.empty()) {
                pupil.capture = std::make_unique<GrowingFile>(numbered(mOptions.record, mPupils.size()));
                pupil.capture->write("# zkhal run, " + shown(name) + "\n");
                pupil.session->record = [&pupil](const std::string& line) { pupil.capture->write(line); };
            }
        }
        waitUntil([this] { return allAre([](const Pupil& pupil) { return pupil.session->isReady(); }); }, 3600);
    }

    template <class Predicate>
    bool allAre(Predicate predicate)
    {
        return std::all_of(mPupils.begin(), mPupils.end(), [&](const auto& pupil) { return predicate(*pupil); });
    }

    bool anyHasEnded()
    {
        return !allAre([](const Pupil& pupil) { return pupil.session->state() != Host::SessionState::Ended; });
    }

    // Until it is done, a robot is lost for good, somebody has had enough, or the time is over; whether it is done.
    template <class Predicate>
    bool waitUntil(Predicate isDone, double seconds)
    {
        bool done = false;
        hub().runUntil([&] { return (done = isDone()) || isInterrupted() || anyHasEnded(); }, seconds);
        return done;
    }

    bool isFor(const LessonStep& step, const Pupil& pupil) const
    {
        return step.to.empty() || isSameRobot(*pupil.session, step.to);
    }

    // The lesson as a whole, for each robot that it is for, before anything is sent.
    int checkForRobots()
    {
        int status = anyHasEnded() ? kLostRobot : kSuccess;
        for (const LessonStep& step : mLesson.steps) {
            size_t count = 0;
            for (const auto& pupil : mPupils) {
                if (!isFor(step, *pupil)) {
                    continue;
                }
                ++count;
                if (step.kind == LessonStep::Kind::Send && status == kSuccess) {
                    status = checkDocument(step, *pupil->session);
                }
            }
            if (count == 0 && status == kSuccess) {
                std::cerr << mOptions.lesson << ':' << step.line << ':' << step.toColumn << ": \"" << shown(step.to)
                          << "\" is none of the robots of this lesson\n";
                status = kBadInput;
            }
        }
        if (status == kSuccess && mOptions.checkOnly) {
            std::printf("%s: %zu step%s accepted\n", mOptions.lesson.c_str(), mLesson.steps.size(),
                        mLesson.steps.size() == 1 ? " is" : "s are");
        }
        return status;
    }

    int checkDocument(const LessonStep& step, const Host::RobotSession& robot)
    {
        if (!robot.takesCommands()) {
            std::cerr << mOptions.lesson << ':' << step.line << ":1: " << shown(robot.info().name)
                      << " takes no command documents: it has a shell only\n";
            return kBadInput;
        }
        const uint32_t type = robot.info().type;
        static char findings[128 * 1024];
        const int result = ZKCheckCommandDocument(step.document.c_str(), type, findings, sizeof findings);
        const std::string lines = placedFindings(findings, mOptions.lesson, step.line);
        if (mTold.insert(lines).second) {  // of robots alike, once
            std::cerr << lines;
        }
        return result == ZK_CHECK_REFUSED ? kBadInput : kSuccess;
    }

    int take(const LessonStep& step)
    {
        // A robot that is being connected again is waited for.
        const auto isThere = [&](const Pupil& pupil) { return !isFor(step, pupil) || pupil.session->isReady(); };
        if (!waitUntil([&] { return allAre(isThere); }, 3600)) {
            return anyHasEnded() ? kLostRobot : kSuccess;
        }
        for (const auto& pupil : mPupils) {
            if (isFor(step, *pupil) && !begin(step, *pupil)) {
                return anyHasEnded() ? kLostRobot : isInterrupted() ? kSuccess : kBadInput;
            }
        }
        switch (step.kind) {
            case LessonStep::Kind::Send:
            case LessonStep::Kind::Hands:
                break;
            case LessonStep::Kind::Wait:
                waitUntil([] { return false; }, step.seconds);
                break;
            case LessonStep::Kind::Shell:
                waitUntil([&] { return allAre([](const Pupil& pupil) { return pupil.waitsFor == 0; }); },
                          step.seconds + 5);
                break;
            case LessonStep::Kind::Until:
                if (!waitUntil(
                        [&] { return allAre([&](const Pupil& pupil) { return !isFor(step, pupil) || pupil.isMet; }); },
                        step.seconds) &&
                    !isInterrupted() && !anyHasEnded()) {
                    std::cerr << mOptions.lesson << ':' << step.line << ": this was not met within "
                              << CLI::detail::to_string(step.seconds) << " s\n";
                    return kBadInput;
                }
                break;
        }
        return anyHasEnded() ? kLostRobot : kSuccess;
    }

    bool begin(const LessonStep& step, Pupil& pupil)
    {
        Host::Error error;
        if (step.kind == LessonStep::Kind::Send) {
            // A lesson without pauses is written faster than a radio takes it.
            waitUntil(
                [&] {
                    error = pupil.session->send(step.document.c_str());
                    return error.code != Host::ErrorCode::TooMuch;
                },
                3600);
        } else if (step.kind == LessonStep::Kind::Shell) {
            error = pupil.session->ask(step.text, step.seconds, pupil.waitsFor);
        } else if (step.kind == LessonStep::Kind::Until) {
            pupil.awaited = &step.until;
            pupil.isMet = false;  // what was before does not count
        } else if (step.kind == LessonStep::Kind::Hands) {
            useHands(step, pupil);
        }
        if (error && !isInterrupted() && !anyHasEnded()) {
            std::cerr << mOptions.lesson << ':' << step.line << ": " << shown(inWords(error)) << '\n';
        }
        return !error;
    }

    // People have hands of their own for real robots.
    void useHands(const LessonStep& step, const Pupil& pupil)
    {
        if (mRadio.virtualRobots() == nullptr) {
            return;
        }
        for (Host::RobotRef i = 0; i < mRadio.names().size(); ++i) {
            if (mRadio.names()[i] == pupil.session->who()) {
                for (const auto& [hand, value] : step.hands) {
                    useHand(mRadio.virtualRobots()->robot(i), hand, value);
                }
            }
        }
    }

    static void useHand(Simulator::VirtualRobot& robot, const std::string& hand, double value)
    {
        if (hand == "clap") {
            robot.clap(value);
        } else if (hand == "press" || hand == "release") {
            robot.press(static_cast<int>(std::clamp(value, -1.0, 4.0)), hand == "press");
        } else {
            robot.lift(hand == "lift");
        }
    }

    void showProgress(size_t step)
    {
        if (mIsTerminal) {
            std::printf("\r\x1b[K%8.3f  step %zu of %zu", hub().now(), step + 1, mLesson.steps.size());
            std::fflush(stdout);
        }
    }

    // What is cut short leaves no wheel turning.
    int finish(int status)
    {
        const bool isCut = isInterrupted() || status != kSuccess;
        for (const auto& pupil : mPupils) {
            if (isCut && pupil->wasReady && !pupil->session->isReady()) {
                pupil->tell(*pupil->session, "could not be stopped: it is not connected");
            } else if (isCut) {
                pupil->session->stop();
            }
        }
        hub().runUntil(
            [this] {
                return allAre([](const Pupil& pupil) { return pupil.session->isIdle() || !pupil.session->isReady(); });
            },
            2);
        hub().run(isCut ? 0.1 : 0.05);
        leave();
        if (mIsTerminal) {
            std::printf("\r\x1b[K");
        }
        size_t reports = 0, losses = 0;
        int failed = 0;
        for (const auto& pupil : mPupils) {
            reports += pupil->session->reportCount();
            losses += pupil->session->lossCount();
            failed += pupil->failed;
        }
        std::printf("%8.3f  %s: %zu reports, %zu lost connection%s\n", hub().now(),
                    isInterrupted()      ? "stopped"
                    : status == kSuccess ? "done"
                                         : "not done",
                    reports, losses, losses == 1 ? "" : "s");
        const bool isSaved = save();
        return isInterrupted() ? kStopped : status != kSuccess ? status : failed > 0 || !isSaved ? kBadInput : kSuccess;
    }

    void leave()
    {
        for (const auto& pupil : mPupils) {
            pupil->session->disconnect();
        }
        hub().runUntil(
            [this] {
                return allAre([](const Pupil& pupil) { return pupil.session->state() == Host::SessionState::Ended; });
            },
            5);
    }

    // The first robot's file has the name that was given, the others' a number behind it.
    static std::string numbered(const std::string& path, size_t number)
    {
        return number == 1 ? path : path + '.' + std::to_string(number);
    }

    bool save()
    {
        bool isSaved = true;
        for (size_t i = 0; i < mPupils.size(); ++i) {
            Pupil& pupil = *mPupils[i];
            try {
                if (pupil.capture != nullptr) {
                    pupil.capture->finish();
                }
                if (!mOptions.svg.empty()) {
                    const std::string name = pupil.session->info().name;
                    writeFile(numbered(mOptions.svg, i + 1), pupil.picture.draw(shown(name + ": " + mOptions.lesson)));
                }
            } catch (const InputError& problem) {
                std::cerr << "zkhal run: " << problem.message << '\n';
                isSaved = false;
            }
        }
        return isSaved;
    }

    const RunOptions& mOptions;
    const Lesson& mLesson;
    std::vector<std::unique_ptr<Pupil>> mPupils;  // before the radio, which may tell them until it goes
    Radio mRadio;
    std::set<std::string> mTold;
    bool mIsTerminal;
};

int run(const RunOptions& options)
{
    const Lesson lesson = readLesson(readInput(options.lesson));
    constexpr int kMostTold = 10;
    int told = 0;
    for (size_t begin = 0; begin < lesson.problems.size(); ++told) {
        const size_t end = lesson.problems.find('\n', begin);
        if (told == kMostTold) {
            std::cerr << "... and more\n";
            break;
        }
        std::cerr << options.lesson << ':' << lesson.problems.substr(begin, end - begin) << '\n';
        begin = end + 1;
    }
    if (!lesson.problems.empty()) {
        return kBadInput;
    }
    const QuietLibrary quiet;  // the check has said it better
    return Teacher(options, lesson).teach();
}

}  // namespace

void addRun(CLI::App& app, int& status)
{
    auto options = std::make_shared<RunOptions>();
    CLI::App* command = app.add_subcommand("run", "Run a lesson with a robot, virtual or real, or with several");
    command->add_option("lesson", options->lesson, "JSON lines, or an animation sequence")
        ->type_name("LESSON")
        ->required();
    addRobotChoice(*command, options->robots, true);
    command->add_option("--record", options->record, "Record all that crosses the air as a capture")->type_name("FILE");
    command->add_option("--svg", options->svg, "Draw what the robot reported into a picture")->type_name("FILE");
    command->add_flag("--check", options->checkOnly, "Only check the lesson, for the robots that it is for");
    command->footer(
        "A line of a lesson is a command document, or one of\n"
        "  {\"wait\":1.5}\n"
        "  {\"shell\":\"POSE\",\"timeout\":1}\n"
        "  {\"until\":{\"1000\":{\"s\":1}},\"timeout\":10}    a sensor value, or a range: {\"3001\":{\"cm\":[0,10]}}\n"
        "  {\"hands\":{\"clap\":90}}    done to a virtual robot: clap, press, release, lift, drop\n"
        "\"to\":\"NAME\" in a line makes it one robot's; without, all robots get it. Lines that begin with # are "
        "comments.\n"
        "The lesson is checked as a whole before anything is sent. Ctrl-C stops wheels and sound.\n"
        "Exit status: 0 done, 1 refused, not met or not answered, 3 a robot was lost, 130 stopped.\n\n"
        "Examples:\n"
        "  zkhal run examples/square.jsonl --robot virtual:orvik --svg square.svg\n"
        "  zkhal run examples/square.jsonl --robot 'Orvik num'\n"
        "  zkhal run examples/clap.jsonl --robot virtual:orvik --robot virtual:quill");
    command->callback([options, &status] {
        try {
            status = run(*options);
        } catch (const InputError& problem) {
            std::cerr << "zkhal run: " << problem.message << '\n';
            status = kBadInput;
        }
    });
}

}  // namespace zkhal
