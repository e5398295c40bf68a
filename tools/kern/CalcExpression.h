#pragma once
// The expression language of `kern calc`: exact decimal arithmetic on core::Numeric.
//
//     expression := term { ("+" | "-") term }              left associative
//     term       := unary { ("*" | "/" | "%") unary }      left associative
//     unary      := "-" unary | primary
//     primary    := number | "(" expression ")" | name "(" expression { "," expression } ")"
//     number     := digits ["." [digits]] | "." digits | "0x" hex digits | "0b" binary digits
//     name       := round (2 or 3 arguments) | floor | abs (1) | pow (2)
//
// Blanks (tab, line feed, carriage return, space) may stand between tokens. Decimal literals are read by
// Numeric::fromString (no sign, no exponent); "0x"/"0b" literals by the library's literal factories, which
// see the whole run of letters and digits after the prefix (so "0x1G" is their error, not ours).
// Operators and functions are the Numeric operations: "/" keeps count(b) + 2 limbs below the units,
// "%" has the sign of the dividend, round(x, d) uses the thread's rounding mode and round(x, d, m) takes
// m = 0 (Round15as10) or 1 (Round15as20).
//
// Limits, so that no line of input can run for long or exhaust the stack:
//  - a number (a literal, an intermediate value or the result) has at most kMaxDigits significant digits
//    counted as Numeric::lengthAndPrecision counts them: 10^10000 and 10^-10000 are refused, while
//    10^9999 is accepted. A power is checked before it is computed (the fractional digits of x^n are
//    exactly n times those of x, the integer digits are bounded through log10|x|, and a NumericLimits
//    guard stops the square-and-multiply should that bound be short), so pow(1.5, 999999999) fails at
//    once instead of running for hours.
//  - parentheses, function arguments and unary minus signs nest at most kMaxDepth levels below the
//    outermost operand: 256 open parentheses (or 256 minus signs) in a row are accepted, 257 are not.
//
// The whole line is checked for syntax before anything is computed, so a syntax error wins over an
// arithmetic one ("1/0 +" is a syntax error at column 6).

#include <cstddef>
#include <string>
#include <string_view>

#include "core/Numeric.h"

namespace kern::calc {

inline constexpr unsigned kMaxDigits = 10000;
inline constexpr int kMaxDepth = 256;

// Message keys of the calculator's own failures (texts in core/res: the syntax and nesting texts carry
// the 1-based column where "%1" stands).
inline constexpr const char* kSyntaxErrorKey = "IDS_CALC_SYNTAX_ERROR";
inline constexpr const char* kTooDeepKey = "IDS_CALC_TOO_DEEP";
inline constexpr const char* kTooLargeKey = "IDS_CALC_TOO_LARGE";

// Why a line has no value: the message key and its text in the thread's resource language.
struct Failure {
  std::string key;
  std::string text;
};

// Evaluates one expression. Returns true and sets `result`, or returns false and sets `failure`:
//  - kSyntaxErrorKey / kTooDeepKey with the column of the offending character (1-based; the end of the
//    text counts as one past its last character);
//  - kTooLargeKey for a number beyond kMaxDigits;
//  - "IDS_ERR_ILLEGAL_ARGUMENT" for a round mode other than 0 or 1 or a digit count that is not an
//    integer of the int range;
//  - the key of the library's exception otherwise (IDS_NUMERROR_..., IDS_ERR_INVALID_..._STRING_FORMAT).
// The text may hold any bytes; it need not be NUL-terminated. Never throws except std::bad_alloc.
bool evaluate(std::string_view text, core::Numeric& result, Failure& failure);

// Whether the text holds nothing but blanks (batch mode echoes such lines as empty lines).
bool is_blank(std::string_view text) noexcept;

}  // namespace kern::calc
