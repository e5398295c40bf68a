// kern: the command-line face of the kern83 library.

#include <algorithm>
#include <iostream>

#include "Command.h"
#include "core/Version.h"

namespace kern {

namespace {
std::vector<CommandEntry>& registry() {
  static std::vector<CommandEntry> entries;
  return entries;
}
}  // namespace

CommandRegistration::CommandRegistration(const char* name, CommandSetup setup) { registry().push_back({name, setup}); }

const std::vector<CommandEntry>& CommandRegistration::all() { return registry(); }

}  // namespace kern

int main(int argc, char** argv) {
  CLI::App app{"kern: exact decimals, list streams, schedules and value tables of the kern83 library"};
  app.set_version_flag("--version", std::string("kern ") + KERN83_VERSION);
  app.require_subcommand(0, 1);

  std::vector<kern::CommandEntry> commands = kern::CommandRegistration::all();
  std::sort(commands.begin(), commands.end(),
            [](const kern::CommandEntry& a, const kern::CommandEntry& b) { return std::string_view(a.name) < b.name; });
  int exitCode = 0;
  for (const kern::CommandEntry& command : commands) command.setup(app, exitCode);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  if (app.get_subcommands().empty()) {
    std::cout << app.help();
  }
  return exitCode;
}
