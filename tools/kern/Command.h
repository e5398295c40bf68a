#pragma once
// Subcommands of the `kern` tool register themselves: a family's source file defines
//
//     static kern::CommandRegistration registration{"calc", &setupCalc};
//
// and setupCalc adds its CLI11 subcommand to the application. The callback stores the process's exit
// status in `exitCode`.
//
// Conventions every subcommand keeps: exit status 0 for success, 1 for bad data or failed input or
// output, 2 for misuse of the command line; messages go to standard error as one line starting with
// "kern: " (fail and misuse write them); results go to standard output, whose write errors main turns
// into status 1; a file argument "-" means standard input.

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace kern {

enum ExitStatus : int { kSuccess = 0, kDataError = 1, kUsageError = 2 };

using CommandSetup = void (*)(CLI::App& app, int& exitCode);

struct CommandEntry {
  const char* name;
  CommandSetup setup;
};

class CommandRegistration {
 public:
  CommandRegistration(const char* name, CommandSetup setup);
  static const std::vector<CommandEntry>& all();
};

// Writes "kern: <message>" on standard error; returns kDataError.
int fail(std::string_view message);
// Writes "kern: <message> (see <command> --help)" on standard error; returns kUsageError.
int misuse(std::string_view message, std::string_view command = "kern");
// The subcommands the command line chose, as "kern list check".
std::string command_path(const CLI::App& app);

}  // namespace kern
