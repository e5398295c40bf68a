// Arithmetic on two fuzzed numbers, checked by identities that hold exactly: sums undo, comparison agrees
// with subtraction, the remainder leaves an exact integer quotient, rounding stays within half a unit,
// floor brackets the value. Only NumericException may be thrown, and only where it is documented.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/Exception.h"
#include "core/Numeric.h"

namespace {

using core::Numeric;

void check(bool ok) {
  if (!ok) std::abort();
}

Numeric parse(const std::string& text) {
  Numeric n;
  n.fromString(text.c_str());
  return n;
}

// 10^-d as a number.
Numeric unit(int d) {
  if (d <= 0) return parse("1" + std::string(std::size_t(-d), '0'));
  return parse("0." + std::string(std::size_t(d - 1), '0') + "1");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2 || size > 1500) return 0;
  const int digits = static_cast<int>(data[0] % 64) - 24;
  const int exponent = static_cast<int>(data[1] % 41) - 20;
  const std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
  const std::size_t cut = rest.find('|');
  const Numeric a = parse(rest.substr(0, cut));
  const Numeric b = parse(cut == std::string::npos ? std::string("7") : rest.substr(cut + 1));

  check(((a + b) - b).compare(a) == 0);
  check((a - b).compare(-(b - a)) == 0);
  check(a.compare(b) == (a - b).sign());
  check((a * b).compare(b * a) == 0);
  check((a * b).hashCode() == (b * a).hashCode());

  if (b.isZero()) {
    try {
      Numeric q = a;
      q /= b;
      check(false);
    } catch (const core::NumericException& e) {
      check(e.code() == core::NumericException::DivideByZero);
    }
  } else {
    const Numeric r = a % b;
    const Numeric t = (a - r) / b;  // an exact integer: a - r is a multiple of b
    check(t.floor().compare(t) == 0);
    if (b.getScale() - std::max(a.getScale(), 0) <= 2) {  // no coarse quotient: the exact remainder
      check(r.abs().compare(b.abs()) < 0);
      check(r.sign() == 0 || r.sign() == a.sign());
    }
  }

  for (core::NumericRoundMode mode : {core::Round15as10, core::Round15as20}) {
    const Numeric r = a.round(digits, mode);
    check(((a - r).abs() * 2).compare(unit(digits)) <= 0);
    unsigned length = 0, precision = 0;
    r.lengthAndPrecision(length, precision);
    check(precision <= unsigned(std::max(digits, 0)));
  }
  const Numeric f = a.floor();
  check(f.compare(a) <= 0 && (f + 1).compare(a) > 0);

  char out[40];
  a.digits(out, 30, static_cast<unsigned>(std::max(digits, 0)) % 31, core::Round15as20);
  check(std::strlen(out) <= 33);
  (void)static_cast<long long>(a);
  (void)static_cast<unsigned short>(a);
  (void)a.calculateChecksum(0x1234);
  try {
    (void)Numeric(static_cast<double>(a));
  } catch (const core::NumericException& e) {
    check(e.code() == core::NumericException::Overflow);
  }

  core::NumericLimits limit(400);
  Numeric p = a;
  try {
    p.pow(Numeric(exponent));
    if (exponent == 1) check(p.compare(a) == 0);
  } catch (const core::NumericException& e) {
    check(e.code() == core::NumericException::Overflow ||
          (e.code() == core::NumericException::DivideByZero && a.isZero() && exponent < 0));
  }
  return 0;
}
