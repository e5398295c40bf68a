#pragma once
// Subcommands of the `kern` tool register themselves: a family's source file defines
//
//     static kern::CommandRegistration registration{"calc", &setupCalc};
//
// and setupCalc adds its CLI11 subcommand to the application. The callback stores the process's exit
// status in `exitCode`.

#include <CLI/CLI.hpp>
#include <vector>

namespace kern {

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

}  // namespace kern
