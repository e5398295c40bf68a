// Numeric: conversions from and to double, the plain (wrapping) integer conversions and the checked ones.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "core/Exception.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

// From double. Integral magnitudes up to 999,999,999,999,999 are exact. Everything else keeps 15
// significant digits, correctly rounded, written into a 27-digit field of three limbs (top limb first)
// after `pad` leading zeros so that the decimal point falls on a limb boundary; p is the position of the
// point relative to the first digit (the number of integer digits; 0 or negative below 0.1).
Numeric::Numeric(double v) {
  if (!std::isfinite(v)) throw NumericException(NumericException::Overflow);
  const bool negative = v < 0;  // -0.0 is zero with a positive sign
  const double a = std::fabs(v);
  if (a == 0) return;
  if (a <= 999999999999999.0 && a == std::floor(a)) {
    NumericInternal::setMagnitude(*this, static_cast<std::uint64_t>(a), negative);
    return;
  }
  // 15 significant digits, correctly rounded (ties to even), as d.dddddddddddddde+XX: the point is always
  // '.', whatever the locale.
  char text[32];
  const char* const end = std::to_chars(text, text + sizeof text, a, std::chars_format::scientific, 14).ptr;
  char digits[15];
  digits[0] = text[0];
  std::memcpy(digits + 1, text + 2, 14);
  int exponent = 0;
  std::from_chars(text + 17 + (text[17] == '+'), end, exponent);
  const int point = exponent + 1;

  int pad;
  std::int32_t scale;
  if (point > 0) {
    pad = 8 - (point - 1) % 9;
    scale = 2 - (point - 1) / 9;
  } else {
    pad = (-point) % 9;
    scale = 3 + (-point) / 9;
  }
  char field[27];
  std::memset(field, '0', sizeof(field));
  std::memcpy(field + pad, digits, sizeof digits);
  for (int limb = 0; limb < 3; ++limb) {  // field[0..9) is the top limb
    std::uint32_t value = 0;
    for (int k = 0; k < 9; ++k) value = value * 10 + std::uint32_t(field[9 * (2 - limb) + k] - '0');
    limbs_[limb] = value;
  }
  NumericInternal::normalise(*this, 3, scale);
  NumericInternal::setSign(*this, negative ? -1 : 1);
}

namespace {

// 10^(9k) for k = 0..34, each the nearest double.
constexpr double kPow1e9[35] = {1e0,   1e9,   1e18,  1e27,  1e36,  1e45,  1e54,  1e63,  1e72,  1e81,  1e90,  1e99,
                                1e108, 1e117, 1e126, 1e135, 1e144, 1e153, 1e162, 1e171, 1e180, 1e189, 1e198, 1e207,
                                1e216, 1e225, 1e234, 1e243, 1e252, 1e261, 1e270, 1e279, 1e288, 1e297, 1e306};

// d * 10^(9k): a multiplication for k > 0, a division for k < 0 (dividing by the exact-as-possible power
// keeps the common fractions such as 0.1 correctly rounded).
double scale_by_limbs(double d, std::int64_t k) {
  for (; k > 34; k -= 34) d *= kPow1e9[34];
  for (; k < -34; k += 34) d /= kPow1e9[34];
  return k >= 0 ? d * kPow1e9[k] : d / kPow1e9[-k];
}

}  // namespace

// Only the top three limbs (27 digits) take part; lower limbs are below a double's precision anyway.
Numeric::operator double() const noexcept {
  if (count_ == 0) return 0.0;
  std::int32_t low = count_ - 1;
  double d = limbs_[low];
  for (int k = 0; k < 2 && low > 0; ++k) d = d * 1e9 + limbs_[--low];
  d = scale_by_limbs(d, std::int64_t(low) - scale_);
  return sign_ < 0 ? -d : d;
}

namespace detail {

std::uint64_t NumericInternal::wrappedInteger(const Numeric& x) noexcept {
  std::uint64_t v = 0;
  for (std::int32_t i = x.count_ - 1; i >= std::max(x.scale_, 0); --i) v = v * kBase64 + x.limbs_[i];
  // 10^72 is a multiple of 2^64: more than 8 implicit zero limbs leave nothing.
  for (std::int32_t k = 0; k < -x.scale_ && k < 8; ++k) v *= kBase64;
  return v;
}

}  // namespace detail

namespace {

// The plain conversions: integer part modulo 2^64, negated for a negative number, narrowed modulo the
// target width (the same as accumulating in the target width with wrap-around).
template <class T>
T wrapped(const Numeric& x) noexcept {
  std::uint64_t v = NumericInternal::wrappedInteger(x);
  if (x.sign() < 0) v = 0 - v;
  return static_cast<T>(v);
}

[[noreturn]] void overflow() { throw NumericException(NumericException::Overflow); }

// The limb at decimal position 10^(9k) of an integer (scale <= 0), implicit zeros included.
std::uint32_t integer_limb(const Numeric& x, std::int32_t k) noexcept {
  const std::int64_t i = std::int64_t(k) + x.getScale();
  return (i >= 0 && i < x.getCount()) ? x.getLimbs()[i] : 0;
}

// Whether the integer x (scale <= 0, at most 3 limbs) is at most the limbs (top, mid, low).
bool at_most(const Numeric& x, std::uint32_t top, std::uint32_t mid, std::uint32_t low) noexcept {
  const std::uint32_t t = integer_limb(x, 2), m = integer_limb(x, 1), l = integer_limb(x, 0);
  if (t != top) return t < top;
  if (m != mid) return m < mid;
  return l <= low;
}

}  // namespace

Numeric::operator short() const noexcept { return wrapped<short>(*this); }
Numeric::operator unsigned short() const noexcept { return wrapped<unsigned short>(*this); }
Numeric::operator int() const noexcept { return wrapped<int>(*this); }
Numeric::operator unsigned int() const noexcept { return wrapped<unsigned int>(*this); }
Numeric::operator long() const noexcept { return wrapped<long>(*this); }
Numeric::operator unsigned long() const noexcept { return wrapped<unsigned long>(*this); }
Numeric::operator long long() const noexcept { return wrapped<long long>(*this); }
Numeric::operator unsigned long long() const noexcept { return wrapped<unsigned long long>(*this); }

// Deliberately checks the scale only for being non-positive and then reads limb 0, so a one-limb number
// with implicit zero limbs (5,000,000,000) answers that limb (5). Kept for compatibility with callers
// that relied on it.
std::uint8_t Numeric::safeAsByte() const {
  if (sign_ < 0 || scale_ > 0 || count_ > 1 || (count_ == 1 && limbs_[0] > 255)) overflow();
  return static_cast<std::uint8_t>(count_ == 0 ? 0 : limbs_[0]);
}

std::uint16_t Numeric::safeAsUInt16() const {
  if (sign_ < 0 || scale_ != 0 || count_ > 1 || (count_ == 1 && limbs_[0] > 65535)) overflow();
  return static_cast<std::uint16_t>(count_ == 0 ? 0 : limbs_[0]);
}

std::uint32_t Numeric::safeAsUInt32() const {
  if (sign_ < 0 || (scale_ != 0 && scale_ != -1) || count_ - scale_ > 2) overflow();
  const std::uint64_t v = NumericInternal::wrappedInteger(*this);  // exact: at most 18 digits
  if (v > 4294967295u) overflow();
  return static_cast<std::uint32_t>(v);
}

std::uint64_t Numeric::safeAsUInt64() const {
  if (sign_ < 0 || scale_ > 0 || std::int64_t(count_) - scale_ > 3) overflow();
  if (!at_most(*this, 18, 446744073, 709551615)) overflow();  // 18,446,744,073,709,551,615
  return NumericInternal::wrappedInteger(*this);
}

std::int64_t Numeric::safeAsInt64() const {
  if (scale_ > 0 || std::int64_t(count_) - scale_ > 3) overflow();
  // 9,223,372,036,854,775,807 and, for a negative number, one more in magnitude.
  if (!at_most(*this, 9, 223372036, sign_ < 0 ? 854775808 : 854775807)) overflow();
  const std::uint64_t m = NumericInternal::wrappedInteger(*this);
  return static_cast<std::int64_t>(sign_ < 0 ? 0 - m : m);
}

// Refuses every value of 10^18 and more (three integer limbs), even those an int64 could hold.
bool Numeric::toInteger(long long& out) const noexcept {
  if (scale_ > 0 || std::int64_t(count_) - scale_ > 2) return false;
  const std::uint64_t m = NumericInternal::wrappedInteger(*this);
  out = static_cast<long long>(sign_ < 0 ? 0 - m : m);
  return true;
}

}  // namespace core
