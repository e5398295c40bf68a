// Numeric: rounding, floor and powers.
#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

#include "core/Exception.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace detail {

std::uint64_t NumericInternal::integerDigits(const Numeric& x) noexcept {
  if (x.count_ == 0) return 1;  // zero has length 1, precision 0
  const std::int64_t intLimbs = std::int64_t(x.count_) - x.scale_;
  if (intLimbs < 1) return 0;
  return 9 * std::uint64_t(intLimbs - 1) + limb_digits(x.limbs_[x.count_ - 1]);
}

}  // namespace detail

// Rounding keeps `scale` q and cuts r (0..8) decimal digits from the lowest kept limb:
//   digits = 9q - r  for digits <= 0 or a multiple of 9,   digits = 9q - r with 0 < r < 9 otherwise.
// d = scale - q whole limbs are dropped. The decision uses the highest dropped limb (r = 0) or the cut
// digits of the lowest kept limb (r > 0); anything non-zero below the half makes an exact-looking half a
// true "more than half", and by the invariants every dropped limb below the highest is such a witness.
Numeric Numeric::round(int digits, NumericRoundMode mode) const {
  using namespace detail;
  if (count_ == 0) return Numeric();
  std::int64_t q = digits / 9;  // truncated toward zero
  std::int64_t r = 9 * q - digits;
  if (digits > 0 && digits % 9 != 0) {
    r += 9;
    q += 1;
  }
  const std::int64_t d = std::int64_t(scale_) - q;
  if (d > count_) return Numeric();
  if (d < 1 && !(scale_ == q && r > 0)) return *this;

  const std::int64_t kept = count_ - d;  // d >= 0 here
  Scratch buf(static_cast<std::size_t>(kept + 1));
  copy_limbs(buf.data(), limbs_ + d, kept);
  buf[kept] = 0;

  const bool halfUp = mode == Round15as20;
  bool up = false;
  if (r == 0) {
    const std::uint32_t h = limbs_[d - 1];
    up = h > kHalfBase || (h == kHalfBase && (d > 1 || halfUp));
  } else if (d < count_) {
    const std::uint32_t unit = kPow10[r];
    const std::uint32_t half = unit / 2;
    const std::uint32_t m = buf[0] % unit;
    buf[0] -= m;
    up = m > half || (m == half && (d > 0 || halfUp));
  }
  if (up) {
    buf[0] += kPow10[r];
    for (std::int64_t i = 0; buf[i] >= kBase; ++i) {  // buf[kept] takes the last carry
      buf[i] -= kBase;
      buf[i + 1] += 1;
    }
  }
  Numeric result;
  NumericInternal::assign(result, trim(buf.data(), kept + 1, q), sign_);
  return result;
}

Numeric Numeric::round(int digits) const { return round(digits, get_default_round_mode()); }

Numeric Numeric::floor() const {
  using namespace detail;
  if (scale_ <= 0) return *this;  // an integer already
  // scale > 0 means a non-zero fraction (limb 0 is non-zero), so a negative number moves down by one.
  const std::int64_t intLimbs = std::max<std::int64_t>(0, std::int64_t(count_) - scale_);
  Scratch buf(static_cast<std::size_t>(intLimbs + 1));
  copy_limbs(buf.data(), limbs_ + scale_, intLimbs);
  buf[intLimbs] = 0;
  if (sign_ < 0) {
    for (std::int64_t i = 0;; ++i) {
      if (++buf[i] < kBase) break;
      buf[i] = 0;
    }
  }
  Numeric result;
  NumericInternal::assign(result, trim(buf.data(), intLimbs + 1, 0), sign_);
  return result;
}

Numeric& Numeric::pow(const Numeric& e) {
  unsigned length = 0;
  unsigned precision = 0;
  e.lengthAndPrecision(length, precision);
  if (precision == 0 && length < 10) {
    // e may be *this: read everything needed from it first.
    const auto n = static_cast<std::uint32_t>(NumericInternal::wrappedInteger(e));
    const bool reciprocal = e.sign() < 0;
    const std::optional<std::uint32_t> limit = NumericLimits::current();
    const Numeric base(*this);
    *this = Numeric(1);
    for (int bit = n == 0 ? -1 : 31 - std::countl_zero(n); bit >= 0; --bit) {
      *this *= *this;
      if (((n >> bit) & 1u) != 0) *this *= base;
      if (limit && NumericInternal::integerDigits(*this) > *limit) {
        throw NumericException(NumericException::Overflow);
      }
    }
    if (reciprocal) {
      Numeric one(1);
      one /= *this;
      *this = std::move(one);
    }
    return *this;
  }

  if (sign() < 0) throw NumericException(NumericException::NegativePower);
  if (count_ == 0 && e.sign() < 0) throw NumericException(NumericException::DivideByZero);
  const double r = std::pow(static_cast<double>(*this), static_cast<double>(e));
  if (!std::isfinite(r)) throw NumericException(NumericException::Overflow);
  *this = Numeric(r);
  return *this;
}

}  // namespace core
