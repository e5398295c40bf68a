// Numeric: division and remainder.
//
// Division produces the quotient of the limb arrays scaled so that it carries count(b) + 2 limbs below
// the units, then looks at what is left: a remainder of at least half the divisor rounds the last limb
// up (ties away from zero, whatever the thread's rounding mode). Computing one more quotient limb and
// testing it against 500,000,000 gives the same answer; the remainder test avoids the extra limb.
//
// Two engines compute the limb quotient:
//  - divisors of up to four limbs (below 10^36 < 2^128) divide as one machine word or one pair of words,
//    taking two dividend limbs (a chunk below 10^18) per step. Each step divides a two- or three-word
//    number by the normalised divisor with a precomputed reciprocal (Moeller and Granlund, "Improved
//    division by invariant integers", IEEE Trans. Computers 60(2), 2011, algorithms 4 to 6): a few
//    multiplications and no hardware division, which dominates the cost of business-sized quotients.
//  - longer divisors use long division (Knuth's algorithm D in base 10^9), two quotient limbs per step.
#include <algorithm>
#include <bit>

#include "core/Exception.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace detail {
namespace {

using U128 = unsigned __int128;

// floor((2^128 - 1) / d) - 2^64 for a normalised d (top bit set), which is (~d : ~0) / d: the high word
// ~d is below d, so one 128-by-64 division instruction does it where there is one.
inline std::uint64_t reciprocal_word(std::uint64_t d) {
#if defined(__x86_64__)
  std::uint64_t q, r;
  __asm__("divq %4" : "=a"(q), "=d"(r) : "a"(~std::uint64_t(0)), "d"(~d), "r"(d));
  return q;
#else
  return static_cast<std::uint64_t>(~U128(0) / d - (U128(1) << 64));
#endif
}

// floor((2^192 - 1) / (d1:d0)) - 2^64 for a normalised d1.
inline std::uint64_t reciprocal_3by2(std::uint64_t d1, std::uint64_t d0) {
  std::uint64_t v = reciprocal_word(d1);
  std::uint64_t p = d1 * v + d0;
  if (p < d0) {
    --v;
    if (p >= d1) {
      --v;
      p -= d1;
    }
    p -= d1;
  }
  const U128 t = U128(v) * d0;
  const auto t1 = static_cast<std::uint64_t>(t >> 64);
  p += t1;
  if (p < t1) {
    --v;
    if (p > d1 || (p == d1 && static_cast<std::uint64_t>(t) >= d0)) --v;
  }
  return v;
}

// (u1:u0) / d for a normalised d and u1 < d; the remainder goes to r.
inline std::uint64_t divide_2by1(std::uint64_t& r, std::uint64_t u1, std::uint64_t u0, std::uint64_t d,
                                 std::uint64_t v) {
  const U128 q = U128(v) * u1 + ((U128(u1) << 64) | u0);
  std::uint64_t q1 = static_cast<std::uint64_t>(q >> 64) + 1;
  const auto q0 = static_cast<std::uint64_t>(q);
  std::uint64_t rest = u0 - q1 * d;
  if (rest > q0) {
    --q1;
    rest += d;
  }
  if (rest >= d) {  // rare
    ++q1;
    rest -= d;
  }
  r = rest;
  return q1;
}

// (u2:u1:u0) / d for a normalised two-word d = (d1:d0) and (u2:u1) < d; the remainder goes to r.
inline std::uint64_t divide_3by2(U128& r, std::uint64_t u2, std::uint64_t u1, std::uint64_t u0, U128 d,
                                 std::uint64_t v) {
  const auto d1 = static_cast<std::uint64_t>(d >> 64), d0 = static_cast<std::uint64_t>(d);
  const U128 q = U128(v) * u2 + ((U128(u2) << 64) | u1);
  std::uint64_t q1 = static_cast<std::uint64_t>(q >> 64);
  const auto q0 = static_cast<std::uint64_t>(q);
  const std::uint64_t r1 = u1 - q1 * d1;
  U128 rest = ((U128(r1) << 64) | u0) - U128(d0) * q1 - d;
  ++q1;
  if (static_cast<std::uint64_t>(rest >> 64) >= q0) {
    --q1;
    rest += d;
  }
  if (rest >= d) {  // rare
    ++q1;
    rest -= d;
  }
  r = rest;
  return q1;
}

// A divisor of one to four limbs, prepared for short division: shifted left until its top bit is set
// (as one word below 2^64, else as two words) with the reciprocal of that normalised form.
class ShortDivisor {
 public:
  ShortDivisor(const std::uint32_t* limbs, std::int64_t n) {
    for (std::int64_t i = n - 1; i >= 0; --i) value_ = value_ * kBase64 + limbs[i];
    const auto high = static_cast<std::uint64_t>(value_ >> 64);
    wide_ = high != 0;
    shift_ = wide_ ? std::countl_zero(high) : std::countl_zero(static_cast<std::uint64_t>(value_));
    normalised_ = value_ << (wide_ ? shift_ : shift_ + 64);
    const auto d1 = static_cast<std::uint64_t>(normalised_ >> 64);
    reciprocal_ = wide_ ? reciprocal_3by2(d1, static_cast<std::uint64_t>(normalised_)) : reciprocal_word(d1);
  }

  U128 value() const { return value_; }

  // q[0 .. zeros+n) = (u[0..n) over `zeros` zero limbs) / d; returns the remainder. Takes the top limb
  // alone when the dividend has an odd number of limbs, then two limbs per step.
  U128 divide(std::uint32_t* q, const std::uint32_t* u, std::int64_t n, std::int64_t zeros = 0) const {
    U128 r = 0;  // the running remainder times 2^shift_
    std::int64_t i = zeros + n - 1;
    const auto limb = [&](std::int64_t k) -> std::uint64_t { return k >= zeros ? u[k - zeros] : 0; };
    if (((zeros + n) & 1) != 0) {
      q[i] = static_cast<std::uint32_t>(step(r, limb(i), kBase64));
      --i;
    }
    for (; i > 0; i -= 2) {
      const std::uint64_t pair = step(r, limb(i) * kBase64 + limb(i - 1), kBase64 * kBase64);
      q[i] = static_cast<std::uint32_t>(pair / kBase64);
      q[i - 1] = static_cast<std::uint32_t>(pair % kBase64);
    }
    return r >> shift_;
  }

 private:
  // r = (r * scale + chunk) mod d, returning the quotient (below `scale` <= 10^18, since r < d). Works on
  // values shifted left by shift_, which leaves quotients unchanged.
  std::uint64_t step(U128& r, std::uint64_t chunk, std::uint64_t scale) const {
    if (!wide_) {
      const U128 num = r * scale + (U128(chunk) << shift_);  // below 2^125
      std::uint64_t rest;
      const std::uint64_t quotient = divide_2by1(rest, static_cast<std::uint64_t>(num >> 64),
                                                 static_cast<std::uint64_t>(num), normalised_ >> 64, reciprocal_);
      r = rest;
      return quotient;
    }
    const U128 low = U128(static_cast<std::uint64_t>(r)) * scale + (U128(chunk) << shift_);  // below 2^125
    const U128 high = U128(static_cast<std::uint64_t>(r >> 64)) * scale + (low >> 64);
    return divide_3by2(r, static_cast<std::uint64_t>(high >> 64), static_cast<std::uint64_t>(high),
                       static_cast<std::uint64_t>(low), normalised_, reciprocal_);
  }

  U128 value_ = 0;
  U128 normalised_ = 0;
  std::uint64_t reciprocal_ = 0;
  int shift_ = 0;
  bool wide_ = false;
};

// r < 10^36 as four limbs.
void split_limbs(std::uint32_t* out, U128 r) {
  constexpr std::uint64_t kBase2 = kBase64 * kBase64;
  const auto high = static_cast<std::uint64_t>(r / kBase2);
  const auto low = static_cast<std::uint64_t>(r % kBase2);
  out[0] = static_cast<std::uint32_t>(low % kBase64);
  out[1] = static_cast<std::uint32_t>(low / kBase64);
  out[2] = static_cast<std::uint32_t>(high % kBase64);
  out[3] = static_cast<std::uint32_t>(high / kBase64);
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

// x[0..n) *= f (f < 10^9); returns the limb carried out of the top. Each product is split on its own;
// only its high part and a carry of at most one run on to the next limb.
std::uint32_t multiply_small(std::uint32_t* x, std::int64_t n, std::uint32_t f) {
  std::uint64_t high = 0;
  std::uint32_t carry = 0;
  for (std::int64_t i = 0; i < n; ++i) {
    const std::uint64_t p = std::uint64_t(x[i]) * f;
    const std::uint64_t h = p / kBase64;
    const auto s = static_cast<std::uint32_t>(p - h * kBase64 + high + carry);  // below 2 * 10^9
    carry = s >= kBase ? 1 : 0;
    x[i] = s - (kBase & (0 - carry));
    high = h;
  }
  return static_cast<std::uint32_t>(high + carry);
}

// One quotient limb of long division: q[j] = u[j .. j+n] / v, leaving the remainder in u[j .. j+n)
// (u[j+n] becomes zero). Requires u[j+1 .. j+n] < v.
void divide_step(std::uint32_t* q, std::uint32_t* u, std::int64_t j, const std::uint32_t* v, std::int64_t n) {
  const std::uint64_t vTop = v[n - 1];
  const std::uint64_t vNext = v[n - 2];
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

// Two quotient limbs at once: q[j-1 .. j] = u[j-1 .. j+n] / v (below 10^18), leaving the remainder in
// u[j-1 .. j+n-1) (the top two limbs become zero). Requires u[j+1 .. j+n] < v and n >= 4.
//
// The estimate divides the top four limbs of the window by the top two of v (never too small, at most 3
// too large since v's top limb is at least half the base), then the next limb of each corrects it to an
// excess of at most one, rare, which an addition of v puts right. Each column of the subtraction sums two products
// (below 2 * 10^18), so the carry runs through half as many steps as with one limb at a time; it is what bounds long
// divisions.
void divide_step2(std::uint32_t* q, std::uint32_t* u, std::int64_t j, const std::uint32_t* v, std::int64_t n) {
  using U128 = unsigned __int128;
  const U128 top = ((U128(u[j + n]) * kBase64 + u[j + n - 1]) * kBase64 + u[j + n - 2]) * kBase64 + u[j + n - 3];
  const std::uint64_t vTop = std::uint64_t(v[n - 1]) * kBase64 + v[n - 2];
  const U128 kSquare = U128(kBase64 * kBase64);
  U128 estimate = std::min<U128>(top / vTop, kSquare - 1);
  // The test with the next limbs of the divisor and the window (as in the one-limb step) makes the
  // estimate exact but for a rare excess of one.
  U128 rest = top - estimate * vTop;
  const std::uint64_t vThird = v[n - 3], next = u[j + n - 4];
  while (rest < kSquare && estimate * vThird > rest * kBase64 + next) {
    --estimate;
    rest += vTop;
  }
  std::uint64_t qhat = static_cast<std::uint64_t>(estimate);
  const std::uint64_t qHigh = qhat / kBase64, qLow = qhat % kBase64;
  // u[j-1 .. j+n] -= qhat * v, column i at u[j-1+i] summing qLow * v[i] and qHigh * v[i-1].
  std::uint32_t* w = u + j - 1;
  std::uint64_t carry = 0;
  const auto column = [&](std::int64_t i, std::uint64_t p) {
    const std::uint64_t high = p / kBase64;
    const std::int64_t t = std::int64_t(w[i]) - std::int64_t(p - high * kBase64) - std::int64_t(carry);
    // t >= -(3 * 10^9 - 1): borrow up to three units of the next limb.
    const std::uint64_t borrow =
        std::uint64_t(t < 0) + std::uint64_t(t < -std::int64_t(kBase)) + std::uint64_t(t < -2 * std::int64_t(kBase));
    w[i] = static_cast<std::uint32_t>(t + std::int64_t(borrow * kBase64));
    carry = high + borrow;
  };
  column(0, qLow * v[0]);
  for (std::int64_t i = 1; i < n; ++i) column(i, qLow * v[i] + qHigh * v[i - 1]);
  column(n, qHigh * v[n - 1]);
  std::int64_t topLimb = std::int64_t(w[n + 1]) - std::int64_t(carry);  // negative if qhat was too large
  while (topLimb < 0) {
    --qhat;
    std::uint32_t c = 0;
    for (std::int64_t i = 0; i <= n; ++i) {
      const std::uint32_t s = w[i] + (i < n ? v[i] : 0) + c;
      c = s >= kBase ? 1 : 0;
      w[i] = c != 0 ? s - kBase : s;
    }
    topLimb += c;
  }
  w[n + 1] = static_cast<std::uint32_t>(topLimb);
  q[j] = static_cast<std::uint32_t>(qhat / kBase64);
  q[j - 1] = static_cast<std::uint32_t>(qhat % kBase64);
}

// Long division (Knuth's algorithm D in base 10^9). u holds the m-limb dividend already multiplied by the
// normalising factor, plus the carry of that multiplication in u[m]; v holds n >= 2 limbs,
// normalised so that v[n-1] >= 10^9 / 2. Writes the m - n + 1 quotient limbs to q and leaves the
// (normalised) remainder in u[0..n). Quotient limbs come two at a time (divide_step2), the top one alone
// when their number is odd.
void divide_long(std::uint32_t* q, std::uint32_t* u, std::int64_t m, const std::uint32_t* v, std::int64_t n) {
  std::int64_t j = m - n;
  if (n < 4 || (j + 1) % 2 != 0) divide_step(q, u, j--, v, n);
  if (n < 4) {
    for (; j >= 0; --j) divide_step(q, u, j, v, n);
    return;
  }
  for (; j >= 1; j -= 2) divide_step2(q, u, j, v, n);
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

  // The short division writes a quotient limb for every dividend limb (the top cb - 1 are zero), hence m.
  Scratch q(static_cast<std::size_t>(m));
  bool roundUp;
  if (cb <= 4) {  // the dividend's limbs are read where they are
    const ShortDivisor d(b.limbs_, cb);
    const U128 rem = d.divide(q.data(), limbs_, ca, low);
    roundUp = rem >= d.value() - rem;
  } else {
    Scratch u(static_cast<std::size_t>(m + 1));
    std::memset(u.data(), 0, std::size_t(low) * sizeof(std::uint32_t));
    copy_limbs(u.data() + low, limbs_, ca);
    u[m] = 0;
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
  Scratch q(static_cast<std::size_t>(m));  // the short division writes m limbs, the long one m - cb + 1
  std::memset(u.data(), 0, std::size_t(zeros) * sizeof(std::uint32_t));
  copy_limbs(u.data() + zeros, limbs_ + drop, ca - drop);
  u[m] = 0;

  // r[0 .. drop) = a's dropped limbs, r[drop .. drop+cb) = the remainder of the limb division.
  Scratch r(static_cast<std::size_t>(drop + cb));
  copy_limbs(r.data(), limbs_, drop);
  if (cb <= 4) {
    std::uint32_t rest[4];
    split_limbs(rest, ShortDivisor(b.limbs_, cb).divide(q.data(), u.data(), m));
    for (std::int64_t i = 0; i < cb; ++i) r[std::size_t(drop + i)] = rest[i];  // the remainder is below b
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
