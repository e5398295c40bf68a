// Numeric: multiplication, division and remainder.
//
// Multiplication is exact schoolbook multiplication computed column by column: the products of one
// column are summed in 64 bits (up to 18 products of limbs below 10^9 fit) and the column is reduced
// once, which halves the divisions of the row-by-row method.
//
// Division produces the quotient of the limb arrays scaled so that it carries count(b) + 2 limbs below
// the units, then looks at what is left: a remainder of at least half the divisor rounds the last limb
// up (ties away from zero, whatever the thread's rounding mode). Computing one more quotient limb and
// testing it against 500,000,000 gives the same answer; the remainder test avoids the extra limb.
#include <algorithm>
#include <array>
#include <bit>
#include <utility>

#include "core/Exception.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace detail {
namespace {

// r[0 .. na+nb) = a * b. r must not overlap a or b.
template <bool kLong>
void multiply_columns(std::uint32_t* r, const std::uint32_t* a, std::int64_t na, const std::uint32_t* b,
                      std::int64_t nb) {
  std::uint64_t carry = 0;
  const std::int64_t columns = na + nb - 1;
  for (std::int64_t k = 0; k < columns; ++k) {
    const std::int64_t first = std::max<std::int64_t>(0, k - nb + 1);
    const std::int64_t last = std::min<std::int64_t>(k, na - 1);
    std::uint64_t acc = carry;
    std::uint64_t high = 0;  // multiples of 10^9 taken out of acc, only for long columns
    int pending = 0;
    for (std::int64_t i = first; i <= last; ++i) {
      acc += std::uint64_t(a[i]) * b[k - i];
      if constexpr (kLong) {
        if (++pending == 16) {  // 16 products plus a reduced rest stay below 2^64
          high += acc / kBase64;
          acc %= kBase64;
          pending = 0;
        }
      }
    }
    r[k] = static_cast<std::uint32_t>(acc % kBase64);
    carry = high + acc / kBase64;
  }
  r[columns] = static_cast<std::uint32_t>(carry);  // the product has na + nb limbs at most
}

void multiply(std::uint32_t* r, const std::uint32_t* a, std::int64_t na, const std::uint32_t* b, std::int64_t nb) {
  if (std::min(na, nb) <= 18) {
    multiply_columns<false>(r, a, na, b, nb);
  } else {
    multiply_columns<true>(r, a, na, b, nb);
  }
}

// q[0..n) = u[0..n) / d for a single-limb divisor; returns the remainder.
std::uint32_t divide_short(std::uint32_t* q, const std::uint32_t* u, std::int64_t n, std::uint32_t d) {
  std::uint64_t rem = 0;
  for (std::int64_t i = n - 1; i >= 0; --i) {
    const std::uint64_t cur = rem * kBase64 + u[i];
    q[i] = static_cast<std::uint32_t>(cur / d);
    rem = cur % d;
  }
  return static_cast<std::uint32_t>(rem);
}

// x[0..n) *= f (f < 10^9); returns the limb carried out of the top.
std::uint32_t multiply_small(std::uint32_t* x, std::int64_t n, std::uint32_t f) {
  std::uint64_t carry = 0;
  for (std::int64_t i = 0; i < n; ++i) {
    const std::uint64_t p = std::uint64_t(x[i]) * f + carry;
    x[i] = static_cast<std::uint32_t>(p % kBase64);
    carry = p / kBase64;
  }
  return static_cast<std::uint32_t>(carry);
}

// Long division (Knuth's algorithm D in base 10^9). u holds the m-limb dividend already multiplied by the
// normalising factor, plus the carry of that multiplication in u[m]; v holds n >= 2 limbs,
// normalised so that v[n-1] >= 10^9 / 2. Writes the m - n + 1 quotient limbs to q and leaves the
// (normalised) remainder in u[0..n).
void divide_long(std::uint32_t* q, std::uint32_t* u, std::int64_t m, const std::uint32_t* v, std::int64_t n) {
  const std::uint64_t vTop = v[n - 1];
  const std::uint64_t vNext = v[n - 2];
  for (std::int64_t j = m - n; j >= 0; --j) {
    // Estimate from the top two limbs of the running remainder; the test with the next limb of the
    // divisor leaves an estimate at most one too large.
    const std::uint64_t num = std::uint64_t(u[j + n]) * kBase64 + u[j + n - 1];
    std::uint64_t qhat = num / vTop;
    std::uint64_t rhat = num % vTop;
    while (qhat >= kBase64 || qhat * vNext > rhat * kBase64 + u[j + n - 2]) {
      --qhat;
      rhat += vTop;
      if (rhat >= kBase64) break;
    }
    // u[j .. j+n] -= qhat * v. Each product is split into limb and carry on its own (the divisions by
    // 10^9 overlap); the running carry only meets additions and comparisons.
    std::uint64_t carry = 0;  // to subtract from the next limb: the product's high part plus borrows
    for (std::int64_t i = 0; i < n; ++i) {
      const std::uint64_t p = qhat * v[i];
      const std::uint64_t high = p / kBase64;
      const std::int64_t t = std::int64_t(u[i + j]) - std::int64_t(p - high * kBase64) - std::int64_t(carry);
      // t >= -(2 * 10^9 - 1): borrow one or two units of the next limb.
      const std::uint64_t borrow = std::uint64_t(t < 0) + std::uint64_t(t < -std::int64_t(kBase));
      u[i + j] = static_cast<std::uint32_t>(t + std::int64_t(borrow * kBase64));
      carry = high + borrow;
    }
    const std::uint64_t sub = carry;
    if (u[j + n] >= sub) {
      u[j + n] = static_cast<std::uint32_t>(u[j + n] - sub);
    } else {
      // The estimate was one too large: add the divisor back (the carry out of the top cancels the
      // borrow that went below zero).
      u[j + n] = static_cast<std::uint32_t>(u[j + n] + kBase64 - sub);
      --qhat;
      std::uint32_t c = 0;
      for (std::int64_t i = 0; i < n; ++i) {
        const std::uint32_t s = u[i + j] + v[i] + c;
        c = s >= kBase ? 1 : 0;
        u[i + j] = c != 0 ? s - kBase : s;
      }
      const std::uint32_t s = u[j + n] + c;
      u[j + n] = s >= kBase ? s - kBase : s;
    }
    q[j] = static_cast<std::uint32_t>(qhat);
  }
}

// Whether 2 * r >= v for r and v of n limbs each.
bool at_least_half(const std::uint32_t* r, const std::uint32_t* v, std::int64_t n) {
  // Doubling carries upwards, so run from the bottom; the highest differing limb has the last word.
  int cmp = 0;
  std::uint32_t carry = 0;
  for (std::int64_t i = 0; i < n; ++i) {
    std::uint32_t d = r[i] * 2 + carry;  // < 2 * 10^9 + 1
    carry = d >= kBase ? 1 : 0;
    if (carry != 0) d -= kBase;
    if (d != v[i]) cmp = d < v[i] ? -1 : 1;
  }
  if (carry != 0) return true;
  return cmp >= 0;
}

}  // namespace
}  // namespace detail

namespace detail {

// Products of small fixed sizes, fully unrolled so that the column sums stay in registers.
template <int kA, int kB>
void multiply_fixed(std::uint32_t* r, const std::uint32_t* a, const std::uint32_t* b) {
  std::uint64_t carry = 0;
  for (int k = 0; k < kA + kB - 1; ++k) {
    std::uint64_t acc = carry;
    for (int i = std::max(0, k - kB + 1); i <= std::min(k, kA - 1); ++i) acc += std::uint64_t(a[i]) * b[k - i];
    r[k] = static_cast<std::uint32_t>(acc % kBase64);
    carry = acc / kBase64;
  }
  r[kA + kB - 1] = static_cast<std::uint32_t>(carry);
}

using FixedMultiply = void (*)(std::uint32_t*, const std::uint32_t*, const std::uint32_t*);
template <int... kI>
constexpr std::array<FixedMultiply, 16> make_fixed_table(std::integer_sequence<int, kI...>) {
  return {&multiply_fixed<kI / 4 + 1, kI % 4 + 1>...};
}
constexpr std::array<FixedMultiply, 16> kFixedMultiply = make_fixed_table(std::make_integer_sequence<int, 16>());

void NumericInternal::multiplyTwoLimbs(Numeric& a, const Numeric& b) {
  const int sign = a.sign_ == b.sign_ ? 1 : -1;
  const std::int64_t scale = std::int64_t(a.scale_) + b.scale_;
  // Amounts of up to 18 digits: the three column sums are split into limb and carry independently
  // (the divisions overlap), then the carries are added in.
  const std::uint64_t a0 = a.limbs_[0], a1 = a.count_ > 1 ? a.limbs_[1] : 0;
  const std::uint64_t b0 = b.limbs_[0], b1 = b.count_ > 1 ? b.limbs_[1] : 0;
  const std::uint64_t c0 = a0 * b0, c1 = a0 * b1 + a1 * b0, c2 = a1 * b1;  // c1 < 2 * 10^18
  const std::uint64_t h0 = c0 / kBase64, h1 = c1 / kBase64, h2 = c2 / kBase64;
  const std::uint64_t r0 = c0 - h0 * kBase64;
  std::uint64_t x = c1 - h1 * kBase64 + h0;  // < 2 * 10^9
  const std::uint64_t k1 = x >= kBase64 ? 1 : 0;
  const std::uint64_t r1 = x - k1 * kBase64;
  x = c2 - h2 * kBase64 + h1 + k1;  // < 3 * 10^9 + 1
  const std::uint64_t k2 = std::uint64_t(x >= kBase64) + (x >= 2 * kBase64) + (x >= 3 * kBase64);
  const std::uint64_t r2 = x - k2 * kBase64;
  const std::uint64_t r3 = h2 + k2;
  // Normalise in registers (a product of non-zero numbers is non-zero) and store the four limbs
  // shifted down at once; the array always has room for four. Limb 0 is the low half of the first
  // 64-bit word on the little-endian machines this runs on.
  static_assert(std::endian::native == std::endian::little);
  const int low = r0 != 0 ? 0 : (r1 != 0 ? 1 : (r2 != 0 ? 2 : 3));
  const int top = r3 != 0 ? 3 : (r2 != 0 ? 2 : (r1 != 0 ? 1 : 0));
  const std::int64_t newScale = scale - low;
  check_scale(newScale);
  const unsigned __int128 packed =
      ((static_cast<unsigned __int128>(r3 << 32 | r2) << 64) | (r1 << 32 | r0)) >> (32 * low);
  const auto lo64 = static_cast<std::uint64_t>(packed), hi64 = static_cast<std::uint64_t>(packed >> 64);
  std::memcpy(a.limbs_, &lo64, 8);
  std::memcpy(a.limbs_ + 2, &hi64, 8);
  a.count_ = top - low + 1;
  a.scale_ = static_cast<std::int32_t>(newScale);
  a.sign_ = static_cast<std::int8_t>(sign);
}

void NumericInternal::multiplyGeneral(Numeric& a, const Numeric& b) {
  const int sign = a.sign_ == b.sign_ ? 1 : -1;
  const std::int64_t scale = std::int64_t(a.scale_) + b.scale_;
  const std::int64_t n = std::int64_t(a.count_) + b.count_;
  if (a.count_ <= 4 && b.count_ <= 4) {
    std::uint32_t r[8];
    kFixedMultiply[(a.count_ - 1) * 4 + (b.count_ - 1)](r, a.limbs_, b.limbs_);
    assign(a, trim(r, n, scale), sign);
    return;
  }
  Scratch r(static_cast<std::size_t>(n));
  multiply(r.data(), a.limbs_, a.count_, b.limbs_, b.count_);
  assign(a, trim(r.data(), n, scale), sign);
}

}  // namespace detail

Numeric& Numeric::operator*=(const Numeric& b) {
  if (count_ == 0) return *this;
  if (b.count_ == 0) {
    NumericInternal::setZero(*this);
    return *this;
  }
  if (count_ <= 2 && b.count_ <= 2) {
    NumericInternal::multiplyTwoLimbs(*this, b);
  } else {
    NumericInternal::multiplyGeneral(*this, b);
  }
  return *this;
}

Numeric& Numeric::operator/=(const Numeric& b) {
  using namespace detail;
  if (b.count_ == 0) throw NumericException(NumericException::DivideByZero);
  if (count_ == 0) return *this;

  // Dividend: a's limbs over cb + 2 zero limbs, plus a's implicit zero limbs made real when its scale is
  // negative. Quotient: that many limbs minus cb + 1, i.e. count(a) + 3 (+ implicit ones).
  const std::int64_t ca = count_;
  const std::int64_t cb = b.count_;
  const std::int64_t implicit = scale_ < 0 ? -std::int64_t(scale_) : 0;
  const std::int64_t low = cb + 2 + implicit;  // zero limbs below a's limbs
  const std::int64_t m = low + ca;             // dividend limbs
  const std::int64_t qn = m - cb + 1;
  const std::int64_t qscale = std::int64_t(scale_) + implicit - b.scale_ + cb + 2;
  const int sign = sign_ == b.sign_ ? 1 : -1;

  Scratch q(static_cast<std::size_t>(qn));
  Scratch u(static_cast<std::size_t>(m + 1));
  std::memset(u.data(), 0, std::size_t(low) * sizeof(std::uint32_t));
  copy_limbs(u.data() + low, limbs_, ca);
  u[m] = 0;

  bool roundUp;
  if (cb == 1) {
    const std::uint32_t d = b.limbs_[0];
    const std::uint32_t rem = divide_short(q.data(), u.data(), m, d);
    roundUp = std::uint64_t(rem) * 2 >= d;
  } else {
    // Normalise so that the divisor's top limb is at least half the base; the remainder comes out
    // scaled by the same factor, which the half test does not mind.
    const auto f = static_cast<std::uint32_t>(kBase64 / (std::uint64_t(b.limbs_[cb - 1]) + 1));
    Scratch v(static_cast<std::size_t>(cb));
    copy_limbs(v.data(), b.limbs_, cb);
    multiply_small(v.data(), cb, f);
    u[m] = multiply_small(u.data(), m, f);
    divide_long(q.data(), u.data(), m, v.data(), cb);
    roundUp = at_least_half(u.data(), v.data(), cb);
  }
  if (roundUp) {  // cannot carry out of the top: the quotient stays well below 10^(9 qn)
    for (std::int64_t i = 0; i < qn; ++i) {
      if (++q[i] < kBase) break;
      q[i] = 0;
    }
  }
  NumericInternal::assign(*this, trim(q.data(), qn, qscale), sign);
  return *this;
}

// The remainder is defined through the quotient: q = a / b (above), t = q truncated toward zero (floor,
// plus one for a negative q with a fraction), a - t * b. The quotient keeps count(b) + 2 limbs below the
// units of the *limb* quotient, so relative to the value it keeps count(b) + 2 - (scale(b) - scale(a))
// fractional limbs (scale(a) counted from 0). While scale(b) - scale(a) <= 2 that is finer than any
// fraction a / b can have (its denominator is below 10^(9 count(b))), so the rounding never reaches the
// next integer, t is the exact truncated quotient and the remainder is the exact one with the sign of a:
// it is then computed directly from the limb division, with no 27-digit quotient and no product.
// When b has three or more fractional limbs more than a, the quotient is coarser and its rounding may
// reach the next integer (1 % 0.000000000000000000000000006 = -0.000000000000000000000000002): that
// result is deliberate and kept, and it is computed literally.
Numeric& Numeric::operator%=(const Numeric& b) {
  using namespace detail;
  if (b.count_ == 0) throw NumericException(NumericException::DivideByZero);
  if (count_ == 0) return *this;
  if (std::int64_t(b.scale_) - std::max(scale_, 0) > 2) {
    Numeric q(*this);
    q /= b;
    Numeric t = q.floor();
    if (q.sign() < 0 && t.compare(q) != 0) t += Numeric(1);
    t *= b;
    return *this -= t;
  }
  // |a| / |b| = A * B^k / Bv with k = scale(b) - scale(a). For k >= 0 the integer dividend is A over k
  // zero limbs; for k < 0 it is A without its lowest -k limbs, which come back below the remainder.
  const std::int64_t k = std::int64_t(b.scale_) - scale_;
  const std::int64_t drop = k < 0 ? -k : 0;
  const std::int64_t zeros = k > 0 ? k : 0;
  const std::int64_t ca = count_;
  const std::int64_t cb = b.count_;
  if (drop >= ca) return *this;  // |a| < |b|
  const std::int64_t m = ca - drop + zeros;
  if (m < cb) return *this;  // the dividend is below the divisor: the quotient is zero

  Scratch u(static_cast<std::size_t>(m + 1));
  Scratch q(static_cast<std::size_t>(m - cb + 1));
  std::memset(u.data(), 0, std::size_t(zeros) * sizeof(std::uint32_t));
  copy_limbs(u.data() + zeros, limbs_ + drop, ca - drop);
  u[m] = 0;

  // r[0 .. drop) = a's dropped limbs, r[drop .. drop+cb) = the remainder of the limb division.
  Scratch r(static_cast<std::size_t>(drop + cb));
  copy_limbs(r.data(), limbs_, drop);
  if (cb == 1) {
    r[drop] = divide_short(q.data(), u.data(), m, b.limbs_[0]);
  } else {
    const auto f = static_cast<std::uint32_t>(kBase64 / (std::uint64_t(b.limbs_[cb - 1]) + 1));
    Scratch v(static_cast<std::size_t>(cb));
    copy_limbs(v.data(), b.limbs_, cb);
    multiply_small(v.data(), cb, f);
    u[m] = multiply_small(u.data(), m, f);
    divide_long(q.data(), u.data(), m, v.data(), cb);
    divide_short(r.data() + drop, u.data(), cb, f);  // undo the normalising factor (exact)
  }
  NumericInternal::assign(*this, trim(r.data(), drop + cb, std::max(scale_, b.scale_)), sign_);
  return *this;
}

}  // namespace core
