// kern calc: an exact decimal calculator on core::Numeric.
//
//   kern calc [--mode 0|1] 'EXPR'
//       prints the canonical text of the value (Numeric::toString) and exits 0; on failure prints
//       "error: <IDS key>: <message text>" on standard error and exits 1.
//   kern calc [--mode 0|1] --batch
//       reads one expression per line from standard input and prints one line per input line: the value,
//       or "error: <IDS key>: <message text>", and goes on; exits 1 at the end when any line failed,
//       else 0. A line of blanks only (or an empty one) is echoed as an empty line and is no failure, so
//       output line n always answers input line n. Output is flushed whenever no further input is
//       waiting, so a program may write a line and wait for its answer.
//   --mode sets the thread's default rounding mode for round(x, digits): 0 Round15as10, 1 Round15as20
//   (the library default when absent).
//
// The expression language and its limits are described in CalcExpression.h. Misuse of the command line
// (no expression and no --batch, both, extra arguments, a bad --mode) exits 2 with a line on standard
// error. An expression that starts with "-" may follow "--" (kern calc -- '-5 + 3') or be given as is.
#include <iostream>
#include <string>
#include <vector>

#include "CalcExpression.h"
#include "Command.h"

namespace {

struct Options {
  std::vector<std::string> expression;
  std::string mode;
  bool batch = false;
};

int run_single(const std::string& expression) {
  core::Numeric value;
  kern::calc::Failure failure;
  if (!kern::calc::evaluate(expression, value, failure)) {
    std::cerr << "error: " << failure.key << ": " << failure.text << "\n";
    return 1;
  }
  avo::String text;
  value.toString(text);
  std::cout << text << "\n";
  return 0;
}

int run_batch() {
  std::ios::sync_with_stdio(false);  // own buffers, so that in_avail() sees waiting input
  int status = 0;
  std::string line;
  avo::String text;
  core::Numeric value;
  kern::calc::Failure failure;
  while (std::getline(std::cin, line)) {
    if (kern::calc::is_blank(line)) {
      std::cout << '\n';
    } else if (kern::calc::evaluate(line, value, failure)) {
      value.toString(text);
      std::cout << text << '\n';
    } else {
      std::cout << "error: " << failure.key << ": " << failure.text << '\n';
      status = 1;
    }
    if (std::cin.rdbuf()->in_avail() <= 0) std::cout.flush();
  }
  std::cout.flush();
  return status;
}

int misuse(const std::string& why) {
  std::cerr << "kern calc: " << why << "\nRun with --help for more information.\n";
  return 2;
}

void setup(CLI::App& app, int& exitCode) {
  static Options options;
  CLI::App* calc = app.add_subcommand("calc", "Exact decimal calculator: + - * / %, round, floor, abs, pow");
  calc->add_option("expression", options.expression, "Expression, e.g. 'round(1/3, 2) * 3'");
  calc->add_flag("--batch", options.batch, "Read one expression per line from standard input");
  calc->add_option("--mode", options.mode, "Default rounding mode: 0 Round15as10, 1 Round15as20");
  // Leftovers (such as an expression that starts with "-") reach the callback instead of failing the
  // parse, so that every misuse gets the same exit status.
  calc->allow_extras();
  calc->callback([&exitCode, calc] {
    std::vector<std::string> words = options.expression;
    for (const std::string& extra : calc->remaining()) {
      if (extra != "--") words.push_back(extra);  // CLI11 hands back the separator with what followed it
    }
    if (!options.mode.empty()) {
      if (options.mode != "0" && options.mode != "1") {
        exitCode = misuse("--mode takes 0 (Round15as10) or 1 (Round15as20), not \"" + options.mode + "\"");
        return;
      }
      core::set_default_round_mode(options.mode == "1" ? core::Round15as20 : core::Round15as10);
    }
    if (options.batch) {
      exitCode = words.empty() ? run_batch() : misuse("--batch reads expressions from standard input only");
    } else if (words.size() == 1) {
      exitCode = run_single(words.front());
    } else {
      exitCode = misuse(words.empty() ? "an expression or --batch is required"
                                      : "one expression expected (quote it: kern calc '1 + 2')");
    }
  });
}

}  // namespace

static kern::CommandRegistration registration{"calc", &setup};
