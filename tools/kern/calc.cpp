// kern calc: an exact decimal calculator on core::Numeric.
//
//   kern calc [--mode 0|1] 'EXPR'
//       prints the canonical text of the value (Numeric::toString) and exits 0; on failure writes
//       "kern: <IDS key>: <message text>" on standard error and exits 1.
//   kern calc [--mode 0|1] [--batch]
//       reads one expression per line from standard input and prints one line per input line: the value,
//       or "error: <IDS key>: <message text>", and goes on; exits 1 at the end when any line failed,
//       else 0. A line of blanks only (or an empty one) is echoed as an empty line and is no failure, so
//       output line n always answers input line n. Output is flushed whenever no further input is
//       waiting, so a program may write a line and wait for its answer.
//
// The manual is kCalcManual below (kern calc --help); the expression language and its limits are in
// CalcExpression.h. An expression may start with "-" without "--" before it, so the subcommand takes
// unknown arguments itself and refuses those that look like options (see is_option_like).
#include <cctype>
#include <iostream>
#include <string>
#include <vector>

#include "CalcExpression.h"
#include "Command.h"

namespace {

const char* const kCalcManual =
    R"manual(Without EXPR, or with --batch, expressions are read from standard input, one per line.

Grammar, loosest binding first; the binary operators are left associative, and blanks (space, tab,
carriage return, line feed) may stand between tokens:
  expression := term { ("+" | "-") term }
  term       := unary { ("*" | "/" | "%") unary }
  unary      := "-" unary | primary
  primary    := number | "(" expression ")" | function "(" expression { "," expression } ")"
So 2 + 3 * 4 is 14, 2 - 3 - 4 is -5, 2 * -3 is -6 and --3 is 3. There is no unary plus, no power
operator (use pow) and no named constant.

Numbers: decimal digits with an optional point (12, 12.50, .5, 5.), without sign or exponent (1e5
is a syntax error); 0x1F (hexadecimal) and 0b101 (binary) integers.

Functions:
  round(x, d)     x rounded to d fractional digits (d < 0 rounds to tens, hundreds...) in the
                  default mode: --mode, else 1
  round(x, d, m)  the same in mode m: 0 drops an exact half (round(2.5, 0, 0) = 2, round(-2.5, 0,
                  0) = -2), 1 rounds it away from zero (round(2.5, 0, 1) = 3); d and m are integers
  floor(x)        the greatest integer not above x: floor(-1.5) = -2
  abs(x)          the magnitude of x
  pow(x, e)       x to the power e: exact for an integer e of at most 9 digits (pow(2, -1) = 0.5);
                  any other e goes through binary floating point and gives at most 15 significant
                  digits (pow(2, 0.5) = 1.4142135623731)

Arithmetic: + - * are exact.
  a / b  is rounded, half away from zero, to 9 * (F + I + 2) fractional digits. F is the number
         of 9-digit groups a's fraction needs (0 for an integer, 1 for 0.5, 2 for 0.0000000001);
         I is the number of 9-digit groups of b's integer part (1 for 3, 2 for 1000000000) or,
         when |b| < 1, minus the number of whole 9-digit groups of zeros after b's point (0 for
         0.5, -3 for 0.0000000000000000000000000003). A negative count rounds to a multiple of
         10^9, 10^18...: 1/3 = 0.333333333333333333333333333 (27 digits), 1.5/3.7 has 36, and
         2/0.0000000000000000000000000003 = 6666666666666666667000000000 (-1 groups).
  a % b  is a - t * b with t = a / b truncated toward zero, so it has the sign of a: -7 % 2 = -1,
         7 % -2 = 1. When b has three or more fractional 9-digit groups more than a, a / b may be
         rounded up to the next integer and the sign flips: 1 % 0.000000000000000000000000006 =
         -0.000000000000000000000000002.

Limits: every number (a literal, an intermediate value, the result) has at most 10000 digits,
integer and fractional ones together (pow(10, 9999) passes, pow(10, 10000) fails); a power that
would pass the limit is refused before it is computed, so pow(1.5, 999999999) fails at once.
Parentheses, function arguments and minus signs nest at most 256 deep. The whole line is checked
for syntax before anything is computed: "1/0 +" is a syntax error, not a division by zero.

Output: the value without exponent, plus sign, leading zeros or trailing fractional zeros (1.50 * 2
prints 3). A failure prints "kern: KEY: text" on standard error, KEY being the message key:
IDS_CALC_SYNTAX_ERROR and IDS_CALC_TOO_DEEP (with the column, counted from 1),
IDS_CALC_TOO_LARGE, IDS_NUMERROR_DIVIDEBYZERO, IDS_NUMERROR_NEGATIVEPOW, IDS_NUMERROR_OVERFLOW,
IDS_ERR_INVALID_HEX_STRING_FORMAT, IDS_ERR_INVALID_BINARY_STRING_FORMAT, IDS_ERR_ILLEGAL_ARGUMENT
(a round digit count or mode out of range); the text follows LC_ALL, LC_MESSAGES, LANG.

Standard input: each input line gets exactly one line on standard output, the value or
"error: KEY: text", and a blank line gets an empty line; the output is flushed whenever no more
input is waiting, so a program may write a line and wait for its answer.

Exit status: 0 every value computed; 1 a failure (in batch: any line failed), or output that
could not be written; 2 misuse: an unknown option (--bacth), a bad --mode, more than one EXPR,
EXPR with --batch. An expression may start with "-" (kern calc '-5 + 3'), but an argument that
looks like an option (-x, --name) is taken as one; after "--" every argument is an expression.

Examples:
  kern calc '0.1 + 0.2'              prints 0.3
  kern calc 'round(1/3, 2) * 3'      prints 0.99
  kern calc 'pow(2, 100)'            prints 1267650600228229401496703205376
  printf '2/3\n1/0\n' | kern calc    prints 0.666666666666666666666666667
                                     and error: IDS_NUMERROR_DIVIDEBYZERO: Division by zero)manual";

struct Options {
  std::vector<std::string> expression;
  std::string mode;
  bool batch = false;
};

int run_single(const std::string& expression) {
  core::Numeric value;
  kern::calc::Failure failure;
  if (!kern::calc::evaluate(expression, value, failure)) return kern::fail(failure.key + ": " + failure.text);
  avo::String text;
  value.toString(text);
  std::cout << text << "\n";
  return kern::kSuccess;
}

int run_batch() {
  std::ios::sync_with_stdio(false);  // own buffers, so that in_avail() sees waiting input
  int status = kern::kSuccess;
  std::string line;
  avo::String text;
  core::Numeric value;
  kern::calc::Failure failure;
  // A failed write ends the loop: main reports it, and endless input must not keep us busy.
  while (std::cout && std::getline(std::cin, line)) {
    if (kern::calc::is_blank(line)) {
      std::cout << '\n';
    } else if (kern::calc::evaluate(line, value, failure)) {
      value.toString(text);
      std::cout << text << '\n';
    } else {
      std::cout << "error: " << failure.key << ": " << failure.text << '\n';
      status = kern::kDataError;
    }
    if (std::cin.rdbuf()->in_avail() <= 0) std::cout.flush();
  }
  std::cout.flush();
  return status;
}

// Whether an argument the parser did not know is an option rather than an expression: a dash or two,
// a letter, then letters, digits, "_" or "-", and possibly "=value". No expression looks like that,
// since a name in an expression is a function and needs "(".
bool is_option_like(const std::string& word) {
  std::size_t i = word.compare(0, 2, "--") == 0 ? 2 : word.compare(0, 1, "-") == 0 ? 1 : 0;
  if (i == 0 || i >= word.size() || !std::isalpha(static_cast<unsigned char>(word[i]))) return false;
  for (; i < word.size() && word[i] != '='; ++i) {
    const unsigned char c = static_cast<unsigned char>(word[i]);
    if (!std::isalnum(c) && c != '_' && c != '-') return false;
  }
  return true;
}

// The expression words: the positional ones and the leftovers, which CLI11 hands back with the "--"
// that ended the options and everything after it. Throws CLI11's own error for an unknown option.
std::vector<std::string> expression_words(const CLI::App& calc, std::vector<std::string> words) {
  bool operands = false;  // after "--"
  for (const std::string& extra : calc.remaining()) {
    if (!operands && extra == "--") {
      operands = true;
    } else if (!operands && is_option_like(extra)) {
      throw CLI::ExtrasError({extra});
    } else {
      words.push_back(extra);
    }
  }
  return words;
}

void setup(CLI::App& app, int& exitCode) {
  static Options options;
  CLI::App* calc = app.add_subcommand("calc", "Exact decimal calculator: + - * / %, round, floor, abs, pow");
  calc->footer(kCalcManual);
  calc->add_option("EXPR", options.expression, "The expression, e.g. 'round(1/3, 2) * 3'");
  calc->add_flag("--batch", options.batch, "Read expressions from standard input (the default without EXPR)");
  calc->add_option("--mode", options.mode, "Default rounding mode of round(x, d): 0 Round15as10, 1 Round15as20")
      ->check(CLI::IsMember({"0", "1"}));
  calc->allow_extras();
  calc->callback([&exitCode, calc] {
    const std::vector<std::string> words = expression_words(*calc, options.expression);
    if (!options.mode.empty()) {
      core::set_default_round_mode(options.mode == "1" ? core::Round15as20 : core::Round15as10);
    }
    if (words.empty()) {
      exitCode = run_batch();
    } else if (options.batch) {
      exitCode = kern::misuse("--batch reads expressions from standard input only", "kern calc");
    } else if (words.size() == 1) {
      exitCode = run_single(words.front());
    } else {
      exitCode = kern::misuse("one expression expected (quote it: kern calc '1 + 2')", "kern calc");
    }
  });
}

}  // namespace

static kern::CommandRegistration registration{"calc", &setup};
