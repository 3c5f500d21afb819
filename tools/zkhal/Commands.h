// The sub-commands of zkhal. Each adds its options, and sets the exit status when it runs.
#pragma once

#include <CLI/CLI.hpp>

namespace zkhal {

enum ExitStatus { kSuccess = 0, kBadInput = 1, kWrongUse = 2 };

void addEncode(CLI::App& app, int& status);
void addExplain(CLI::App& app, int& status);
void addDecode(CLI::App& app, int& status);
void addAdvert(CLI::App& app, int& status);
void addPuppet(CLI::App& app, int& status);  // record, puppet, animate, replay
void addSound(CLI::App& app, int& status);   // where the library has ZKHAL_HAS_SOUND
void addVocabulary(CLI::App& app, int& status);
void addOnAir(CLI::App& app, int& status);  // where the library has ZKHAL_HAS_BLUETOOTH
// Where there are sessions with robots (ZKHAL_HAS_HOST).
void addScan(CLI::App& app, int& status);
void addRun(CLI::App& app, int& status);
void addWatch(CLI::App& app, int& status);
void addDrive(CLI::App& app, int& status);
void addShell(CLI::App& app, int& status);
void addDemo(CLI::App& app, int& status);

}  // namespace zkhal
