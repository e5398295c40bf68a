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
    if (e.get_exit_code() == 0) return app.exit(e);  // --help, --version
    // A malformed command line is exit status 2 for every subcommand, reported in one line.
    std::string command = "kern";
    for (const CLI::App* sub = &app; !sub->get_subcommands().empty();) {
      sub = sub->get_subcommands().front();
      command += " " + sub->get_name();
    }
    std::cerr << "kern: " << e.what() << " (see " << command << " --help)\n";
    return 2;
  }
  if (app.get_subcommands().empty()) {
    std::cout << app.help();
  }
  return exitCode;
}
