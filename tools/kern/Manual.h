#pragma once
// The tool's manual: what `kern --help` ends with, and the man page made from every subcommand's help.

#include <CLI/CLI.hpp>
#include <string>

namespace kern {

// The conventions all subcommands share, shown at the end of `kern --help`.
extern const char* const kToolManual;

// The manual page kern.1 in roff: the tool's help, then each subcommand's help, each taken as it prints.
std::string man_page(const CLI::App& app);

}  // namespace kern
