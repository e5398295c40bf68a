// Recursive-descent evaluator of calculator expressions (grammar and limits in CalcExpression.h).
//
// The parser runs twice over a line: first with computing off, which checks syntax and nesting only,
// then with computing on. Every function returns the value of what it parsed; in the checking pass that
// value is a meaningless zero.
#include "CalcExpression.h"

#include <cmath>
#include <new>
#include <optional>

#include "core/Exception.h"
#include "core/Resources.h"

namespace kern::calc {
namespace {

using core::Numeric;

// The key of IllegalArgumentException: what the library answers for an argument out of its domain.
constexpr const char* kIllegalArgumentKey = "IDS_ERR_ILLEGAL_ARGUMENT";

// The calculator's own failure, thrown inside the parser and turned into a Failure at the top.
struct CalcError {
  const char* key;
  std::size_t column;  // 0 when the message has no column
};

bool is_blank_char(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
bool is_word_char(char c) noexcept {
  return is_digit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

void check_size(const Numeric& x) {
  unsigned length = 0, precision = 0;
  x.lengthAndPrecision(length, precision);
  if (length > kMaxDigits) throw CalcError{kTooLargeKey, 0};
}

// An upper bound of the integer digits of |x|^n, n >= 1: n * log10|x| + 1 (0 when |x| < 1). The
// logarithm comes from the double of |x| while that is finite and otherwise from the digit count, which
// is larger.
double power_integer_digits(const Numeric& x, long long n) {
  unsigned length = 0, precision = 0;
  x.lengthAndPrecision(length, precision);
  const unsigned integerDigits = length - precision;
  if (x.isZero() || integerDigits == 0) return 0;
  const double log = integerDigits <= 300 ? std::log10(static_cast<double>(x.abs())) : double(integerDigits);
  return std::floor(double(n) * log) + 1;
}

// Numeric::pow behind the size limit. Its exact path (an integer exponent of fewer than 10 digits) is
// bounded before it starts; its double path is cheap and gives at most 15 significant digits.
void power(Numeric& x, const Numeric& e) {
  unsigned length = 0, precision = 0;
  e.lengthAndPrecision(length, precision);
  if (precision != 0 || length >= 10) {
    x.pow(e);
    return;
  }
  long long n = 0;
  e.toInteger(n);
  if (n < 0) n = -n;
  unsigned xLength = 0, xPrecision = 0;
  x.lengthAndPrecision(xLength, xPrecision);
  if (double(xPrecision) * double(n) + power_integer_digits(x, n) > kMaxDigits) {
    throw CalcError{kTooLargeKey, 0};
  }
  try {
    core::NumericLimits guard(kMaxDigits);
    x.pow(e);
  } catch (const core::NumericException& ex) {
    // The exact path raises Overflow only through the guard: the bound above fell short.
    if (ex.code() == core::NumericException::Overflow) throw CalcError{kTooLargeKey, 0};
    throw;
  }
}

// A digit count or rounding mode argument: an integer of the int range.
int integer_argument(const Numeric& x) {
  long long v = 0;
  if (!x.toInteger(v) || v < INT32_MIN || v > INT32_MAX) {
    throw CalcError{kIllegalArgumentKey, 0};
  }
  return static_cast<int>(v);
}

class Parser {
 public:
  Parser(std::string_view text, bool compute) : text_(text), compute_(compute) {}

  Numeric line() {
    Numeric value = expression();
    skipBlanks();
    if (pos_ != text_.size()) fail();
    return value;
  }

 private:
  [[noreturn]] void fail() const { throw CalcError{kSyntaxErrorKey, pos_ + 1}; }

  char peek() const noexcept { return pos_ < text_.size() ? text_[pos_] : '\0'; }
  bool atEnd() const noexcept { return pos_ >= text_.size(); }

  void skipBlanks() noexcept {
    while (!atEnd() && is_blank_char(text_[pos_])) ++pos_;
  }
  // Skips blanks; consumes `c` if it comes next.
  bool accept(char c) {
    skipBlanks();
    if (atEnd() || text_[pos_] != c) return false;
    ++pos_;
    return true;
  }
  void expect(char c) {
    if (!accept(c)) fail();
  }

  Numeric expression() {
    Numeric value = term();
    for (;;) {
      if (accept('+')) {
        Numeric right = term();
        apply(value, [&] { value += right; });
      } else if (accept('-')) {
        Numeric right = term();
        apply(value, [&] { value -= right; });
      } else {
        return value;
      }
    }
  }

  Numeric term() {
    Numeric value = unary();
    for (;;) {
      if (accept('*')) {
        Numeric right = unary();
        apply(value, [&] { value *= right; });
      } else if (accept('/')) {
        Numeric right = unary();
        apply(value, [&] { value /= right; });
      } else if (accept('%')) {
        Numeric right = unary();
        apply(value, [&] { value %= right; });
      } else {
        return value;
      }
    }
  }

  // Every nesting passes through here: parentheses and arguments via expression(), minus signs directly.
  Numeric unary() {
    skipBlanks();
    if (++depth_ > kMaxDepth) throw CalcError{kTooDeepKey, pos_ + 1};
    Numeric value;
    if (accept('-')) {
      Numeric operand = unary();
      if (compute_) value = -operand;
    } else {
      value = primary();
    }
    --depth_;
    return value;
  }

  Numeric primary() {
    skipBlanks();
    const char c = peek();
    if (c == '(') {
      ++pos_;
      Numeric value = expression();
      expect(')');
      return value;
    }
    if (is_digit(c) || c == '.') return number();
    if (is_word_char(c)) return call();
    fail();
  }

  Numeric number() {
    const std::size_t start = pos_;
    if (text_[pos_] == '0' && pos_ + 1 < text_.size() && (text_[pos_ + 1] == 'x' || text_[pos_ + 1] == 'b')) {
      pos_ += 2;
      while (!atEnd() && is_word_char(text_[pos_])) ++pos_;
      return literal(start);
    }
    std::size_t digits = 0;
    while (!atEnd() && is_digit(text_[pos_])) ++pos_, ++digits;
    if (!atEnd() && text_[pos_] == '.') {
      ++pos_;
      while (!atEnd() && is_digit(text_[pos_])) ++pos_, ++digits;
    }
    if (digits == 0) {  // a lone point
      pos_ = start;
      fail();
    }
    if (!atEnd() && is_word_char(text_[pos_])) fail();  // "12abc", "1e5"
    Numeric value;
    if (compute_) {
      if (digits > kMaxDigits) throw CalcError{kTooLargeKey, 0};
      // fromString stops at the first character that is neither digit nor point, which is where the
      // token ends; the copy gives it its terminating NUL.
      const std::string token(text_.substr(start, pos_ - start));
      value.fromString(token.c_str());
    }
    return value;
  }

  // "0x..." / "0b..." from `start` to pos_: the factories judge the digits and raise their own errors.
  Numeric literal(std::size_t start) {
    if (!compute_) return Numeric();
    if (pos_ - start - 2 > kMaxDigits) throw CalcError{kTooLargeKey, 0};
    avo::WString token;
    for (std::size_t i = start; i < pos_; ++i) token.push_back(static_cast<char16_t>(text_[i]));
    Numeric value = text_[start + 1] == 'x' ? core::create_numeric_from_hex_literal_string(token)
                                            : core::create_numeric_from_binary_literal_string(token);
    check_size(value);
    return value;
  }

  Numeric call() {
    const std::size_t start = pos_;
    while (!atEnd() && is_word_char(text_[pos_])) ++pos_;
    const std::string_view name = text_.substr(start, pos_ - start);
    int minArgs = 0, maxArgs = 0;
    if (name == "round") {
      minArgs = 2, maxArgs = 3;
    } else if (name == "floor" || name == "abs") {
      minArgs = maxArgs = 1;
    } else if (name == "pow") {
      minArgs = maxArgs = 2;
    } else {
      pos_ = start;
      fail();
    }
    expect('(');
    Numeric args[3];
    int count = 0;
    for (;;) {
      args[count++] = expression();
      if (count < minArgs) {
        expect(',');
      } else if (count == maxArgs || !accept(',')) {
        expect(')');
        break;
      }
    }
    Numeric value;
    apply(value, [&] { value = invoke(name, args, count); });
    return value;
  }

  static Numeric invoke(std::string_view name, Numeric* args, int count) {
    Numeric& x = args[0];
    if (name == "floor") return x.floor();
    if (name == "abs") return x.abs();
    if (name == "pow") {
      power(x, args[1]);
      return x;
    }
    const int digits = integer_argument(args[1]);
    if (count == 2) return x.round(digits);
    const int mode = integer_argument(args[2]);
    if (mode != 0 && mode != 1) {
      throw CalcError{kIllegalArgumentKey, 0};
    }
    return x.round(digits, static_cast<core::NumericRoundMode>(mode));
  }

  // Runs an operation in the computing pass and holds its result to the size limit. The operands are
  // within the limit, so no single operation is expensive.
  template <class F>
  void apply(Numeric& value, F&& operation) {
    if (!compute_) return;
    operation();
    check_size(value);
  }

  std::string_view text_;
  bool compute_;
  std::size_t pos_ = 0;
  int depth_ = -1;  // the outermost operand is level 0
};

std::string column_text(const char* key, std::size_t column) {
  std::string text = avo::to_std_utf8(core::resource_string(key));
  const std::size_t at = text.find("%1");
  if (at != std::string::npos) text.replace(at, 2, std::to_string(column));
  return text;
}

}  // namespace

bool is_blank(std::string_view text) noexcept {
  for (const char c : text) {
    if (!is_blank_char(c)) return false;
  }
  return true;
}

bool evaluate(std::string_view text, Numeric& result, Failure& failure) {
  try {
    Parser(text, false).line();
    result = Parser(text, true).line();
    return true;
  } catch (const CalcError& e) {
    failure.key = e.key;
    failure.text = column_text(e.key, e.column);
  } catch (const core::Exception& e) {
    failure.key = e.messageKey();
    failure.text = avo::to_std_utf8(e.message());
  }
  return false;
}

}  // namespace kern::calc
