// kern: the command-line face of the kern83 library.
//
// The frame every subcommand shares: the exit statuses and messages of Command.h, parse errors as usage
// errors (status 2), `kern` alone as a usage error, the message language from the environment, and a
// check that standard output took everything written to it.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "Command.h"
#include "Descriptors.h"
#include "Manual.h"
#include "core/Resources.h"
#include "core/Version.h"

namespace kern {

namespace {
std::vector<CommandEntry>& registry() {
  static std::vector<CommandEntry> entries;
  return entries;
}

// Messages in Russian when the locale the environment names for messages is a Russian one, as
// setlocale(LC_MESSAGES, "") would choose it: LC_ALL, else LC_MESSAGES, else LANG.
void choose_message_language() {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    if (std::string_view(value).substr(0, 2) == "ru") core::set_process_resource_language("ru");
    return;
  }
}

// Everything written to standard output reached it.
bool output_written() {
  std::cout.flush();
  return !std::cout.fail() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}
}  // namespace

CommandRegistration::CommandRegistration(const char* name, CommandSetup setup) { registry().push_back({name, setup}); }

const std::vector<CommandEntry>& CommandRegistration::all() { return registry(); }

int fail(std::string_view message) {
  std::cerr << "kern: " << message << '\n';
  return kDataError;
}

int misuse(std::string_view message, std::string_view command) {
  std::cerr << "kern: " << message << " (see " << command << " --help)\n";
  return kUsageError;
}

std::string command_path(const CLI::App& app) {
  std::string path = app.get_name();
  for (const CLI::App* command = &app; !command->get_subcommands().empty();) {
    command = command->get_subcommands().front();
    path += " " + command->get_name();
  }
  return path;
}

}  // namespace kern

int main(int argc, char** argv) {
  kern::prepare_process(argc, argv);
  kern::choose_message_language();
  CLI::App app{"kern: exact decimals, list streams, schedules and value tables of the kern83 library", "kern"};
  app.set_version_flag("--version", std::string("kern ") + KERN83_VERSION);
  app.require_subcommand(0, 1);
  app.allow_windows_style_options(false);  // "/tmp/x" is a file on Windows too; subcommands inherit this
  bool man = false;
  app.add_flag("--man", man, "Print the manual page (roff) and exit")->group("");

  std::vector<kern::CommandEntry> commands = kern::CommandRegistration::all();
  std::sort(commands.begin(), commands.end(),
            [](const kern::CommandEntry& a, const kern::CommandEntry& b) { return std::string_view(a.name) < b.name; });
  int exitCode = kern::kSuccess;
  for (const kern::CommandEntry& command : commands) command.setup(app, exitCode);
  app.footer(kern::kToolManual);  // after the subcommands, which would take it over as their own

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
  } catch (const CLI::CallForAllHelp&) {
    std::cout << app.help("", CLI::AppFormatMode::All);
  } catch (const CLI::CallForVersion&) {
    std::cout << app.version() << '\n';
  } catch (const CLI::ParseError& e) {
    return kern::misuse(e.what(), kern::command_path(app));
  }
  if (man) {
    std::cout << kern::man_page(app);
  } else if (app.get_subcommands().empty() && argc == 1) {
    std::cerr << app.help();
    return kern::kUsageError;
  }
  if (!kern::output_written()) return kern::fail("cannot write standard output");
  return exitCode;
}
