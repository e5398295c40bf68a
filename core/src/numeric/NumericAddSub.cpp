// Numeric: exact addition and subtraction.
//
// The operands are aligned on the larger scale: with s = max(scale(a), scale(b)) the limb of a at index
// i moves to index i + (s - scale(a)), likewise for b, so one of the two shifts is zero. Magnitudes are
// added, or the smaller is subtracted from the larger (compareMagnitude decides), and the result takes
// the sign of the larger. The work happens in a's own array when it is large enough for the aligned
// result, otherwise in a scratch buffer that is copied back after normalising (so a result of at most
// four limbs never allocates, whatever the intermediate width).
#include <algorithm>
#include <climits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace detail {
namespace {

// The digit loops correct a limb by masking with the carry or borrow instead of choosing between two
// values: compilers turn such choices into branches, which random carries mispredict half the time.

// d[off .. off+n) += b[0..n); the carry runs on up to d[size-1]. The aligned sum fits in `size` limbs.
void add_into(std::uint32_t* d, std::int64_t size, const std::uint32_t* b, std::int64_t n, std::int64_t off) {
  std::uint32_t carry = 0;
  std::int64_t i = off;
  for (std::int64_t j = 0; j < n; ++j, ++i) {
    const std::uint32_t s = d[i] + b[j] + carry;  // < 2 * 10^9 + 1, no 32-bit overflow
    carry = s >= kBase ? 1 : 0;
    d[i] = s - (kBase & (0 - carry));
  }
  for (; carry != 0 && i < size; ++i) {
    const std::uint32_t s = d[i] + 1;
    carry = s == kBase ? 1 : 0;
    d[i] = carry != 0 ? 0 : s;
  }
}

// d[0..size) -= b[0..n) placed at `off`; requires d >= b (aligned).
void sub_into(std::uint32_t* d, std::int64_t size, const std::uint32_t* b, std::int64_t n, std::int64_t off) {
  std::uint32_t borrow = 0;
  std::int64_t i = off;
  for (std::int64_t j = 0; j < n; ++j, ++i) {
    const std::uint32_t sub = b[j] + borrow;
    borrow = d[i] < sub ? 1 : 0;
    d[i] = d[i] + (kBase & (0 - borrow)) - sub;
  }
  for (; borrow != 0 && i < size; ++i) {
    borrow = d[i] == 0 ? 1 : 0;
    d[i] = borrow != 0 ? kBase - 1 : d[i] - 1;
  }
}

// d[0..size) = b (placed at `off`) - d; requires b >= d (aligned).
void reverse_sub_into(std::uint32_t* d, std::int64_t size, const std::uint32_t* b, std::int64_t n, std::int64_t off) {
  std::uint32_t borrow = 0;
  for (std::int64_t i = 0; i < size; ++i) {
    const std::int64_t j = i - off;
    const std::uint32_t top = (j >= 0 && j < n) ? b[j] : 0;
    const std::uint32_t sub = d[i] + borrow;
    borrow = top < sub ? 1 : 0;
    d[i] = top + (kBase & (0 - borrow)) - sub;
  }
}

#if defined(__SSE2__)
// d[0..m) += s[0..m) for the largest m <= n that is a multiple of 4, in blocks of up to 32 limbs; sets
// `done` to m and returns the carry out of limb m - 1. Long sums are bound by the carry running from
// limb to limb; here it is found for a whole block at once, the way a carry-lookahead adder does: a
// limb sum of at least the base generates a carry, one of exactly base - 1 passes an incoming carry
// on, and with these as bit masks G and P the carries into the limbs are ((G << 1 | c) + P) ^ P (the
// integer addition runs the carry through the P bits). Limb sums stay below 2^31, so signed lanes do.
std::uint32_t add_blocks(std::uint32_t* d, const std::uint32_t* s, std::int64_t n, std::int32_t& done) {
  const __m128i last = _mm_set1_epi32(std::int32_t(kBase - 1));
  const __m128i base = _mm_set1_epi32(std::int32_t(kBase));
  // Lane j of entry b is bit j of b: four carry bits as four limbs of 0 or 1.
  alignas(16) static constexpr std::int32_t kCarryLanes[16][4] = {
      {0, 0, 0, 0}, {1, 0, 0, 0}, {0, 1, 0, 0}, {1, 1, 0, 0}, {0, 0, 1, 0}, {1, 0, 1, 0}, {0, 1, 1, 0}, {1, 1, 1, 0},
      {0, 0, 0, 1}, {1, 0, 0, 1}, {0, 1, 0, 1}, {1, 1, 0, 1}, {0, 0, 1, 1}, {1, 0, 1, 1}, {0, 1, 1, 1}, {1, 1, 1, 1}};
  std::uint64_t carry = 0;
  std::int64_t i = 0;
  while (n - i >= 4) {
    const std::int64_t block = std::min<std::int64_t>(32, (n - i) & ~std::int64_t(3));
    std::uint64_t generate = 0, propagate = 0;
    for (std::int64_t k = 0; k < block; k += 4) {
      auto* pd = reinterpret_cast<__m128i*>(d + i + k);
      const __m128i x =
          _mm_add_epi32(_mm_loadu_si128(pd), _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i + k)));
      _mm_storeu_si128(pd, x);
      generate |= std::uint64_t(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpgt_epi32(x, last)))) << k;
      propagate |= std::uint64_t(_mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(x, last)))) << k;
    }
    const std::uint64_t carries = ((generate << 1 | carry) + propagate) ^ propagate;
    for (std::int64_t k = 0; k < block; k += 4) {
      auto* pd = reinterpret_cast<__m128i*>(d + i + k);
      const __m128i in = _mm_load_si128(reinterpret_cast<const __m128i*>(kCarryLanes[(carries >> k) & 15]));
      const __m128i x = _mm_add_epi32(_mm_loadu_si128(pd), in);
      _mm_storeu_si128(pd, _mm_sub_epi32(x, _mm_and_si128(_mm_cmpgt_epi32(x, last), base)));
    }
    carry = (carries >> block) & 1;
    i += block;
  }
  done = static_cast<std::int32_t>(i);
  return static_cast<std::uint32_t>(carry);
}
#else
std::uint32_t add_blocks(std::uint32_t*, const std::uint32_t*, std::int64_t, std::int32_t& done) {
  done = 0;
  return 0;
}
#endif

}  // namespace

namespace {

// Same sign and same scale: the common case of amounts in one currency. Adds in place when a's array
// holds the longer operand; a carry out of the top takes the next limb, or an array one limb longer
// when a's is full. The top limb cannot become zero, only limb 0 can (0.5 + 0.5).
bool add_same_scale(Numeric& a, const Numeric& b) {
  const std::int32_t ca = NumericInternal::count(a);
  const std::int32_t cb = NumericInternal::count(b);
  const std::int32_t n = std::max(ca, cb);
  const std::uint32_t capacity = NumericInternal::capacity(a);
  if (std::uint32_t(n) > capacity || NumericInternal::scale(a) < INT32_MIN + n + 1) return false;
  std::uint32_t* d = NumericInternal::limbs(a);
  const std::uint32_t* s = NumericInternal::limbs(b);
  for (std::int32_t i = ca; i < n; ++i) d[i] = 0;
  std::int32_t i = 0;
  std::uint32_t carry = cb >= 8 ? add_blocks(d, s, cb, i) : 0;  // short sums: the plain loop is quicker
  for (; i < cb; ++i) {
    const std::uint32_t x = d[i] + s[i] + carry;
    carry = x >= kBase ? 1 : 0;
    d[i] = x - (kBase & (0 - carry));
  }
  for (; carry != 0 && i < n; ++i) {
    const std::uint32_t x = d[i] + 1;
    carry = x == kBase ? 1 : 0;
    d[i] = carry != 0 ? 0 : x;
  }
  NumericInternal::setCount(a, n);
  if (carry != 0) {
    if (std::uint32_t(n) == capacity) d = NumericInternal::reserveKeep(a, std::uint32_t(n) + 1);
    d[n] = 1;
    NumericInternal::setCount(a, n + 1);
  }
  if (d[0] == 0) NumericInternal::normalise(a, n + std::int32_t(carry), NumericInternal::scale(a));
  return true;
}

}  // namespace

void NumericInternal::addSigned(Numeric& a, const Numeric& b, int bSign) {
  if (b.count_ == 0) return;
  if (a.sign_ == bSign && a.scale_ == b.scale_ && a.count_ != 0 && add_same_scale(a, b)) return;
  if (a.count_ == 0) {
    // b may be a itself only when both are zero, handled above.
    assign(a, Trimmed{b.limbs_, b.count_, b.scale_}, bSign);
    return;
  }
  const bool same = a.sign_ == bSign;
  int order = 1;  // |a| against |b|, only for subtraction
  if (!same) {
    order = compareMagnitude(a, b);
    if (order == 0) {
      setZero(a);
      return;
    }
  }

  const std::int64_t scale = std::max(a.scale_, b.scale_);
  const std::int64_t shiftA = scale - a.scale_;
  const std::int64_t shiftB = scale - b.scale_;
  const std::int64_t lenA = a.count_ + shiftA;
  const std::int64_t lenB = b.count_ + shiftB;
  const std::int64_t size = std::max(lenA, lenB) + (same ? 1 : 0);
  const int resultSign = (same || order > 0) ? a.sign_ : bSign;

  // In place needs room for the aligned result and a final scale that cannot leave the 32-bit range
  // (normalising lowers the scale by at most size - 1), so nothing can fail after a is touched.
  if (size <= std::int64_t(a.capacity_) && scale - size >= INT32_MIN) {
    std::uint32_t* d = a.limbs_;
    if (shiftA > 0) {  // then b is not a: their scales differ
      std::memmove(d + shiftA, d, std::size_t(a.count_) * sizeof(std::uint32_t));
      std::memset(d, 0, std::size_t(shiftA) * sizeof(std::uint32_t));
    }
    if (size > lenA) std::memset(d + lenA, 0, std::size_t(size - lenA) * sizeof(std::uint32_t));
    if (same) {
      add_into(d, size, b.limbs_, b.count_, shiftB);
    } else if (order > 0) {
      sub_into(d, size, b.limbs_, b.count_, shiftB);
    } else {
      reverse_sub_into(d, size, b.limbs_, b.count_, shiftB);
    }
    setSign(a, resultSign);
    normalise(a, size, scale);
    return;
  }

  Scratch tmp(static_cast<std::size_t>(size));
  std::uint32_t* d = tmp.data();
  std::memset(d, 0, std::size_t(shiftA) * sizeof(std::uint32_t));
  std::memcpy(d + shiftA, a.limbs_, std::size_t(a.count_) * sizeof(std::uint32_t));
  if (size > lenA) std::memset(d + lenA, 0, std::size_t(size - lenA) * sizeof(std::uint32_t));
  if (same) {
    add_into(d, size, b.limbs_, b.count_, shiftB);
  } else if (order > 0) {
    sub_into(d, size, b.limbs_, b.count_, shiftB);
  } else {
    reverse_sub_into(d, size, b.limbs_, b.count_, shiftB);
  }
  assign(a, trim(d, size, scale), resultSign);
}

}  // namespace detail

Numeric& Numeric::operator+=(const Numeric& b) {
  NumericInternal::addSigned(*this, b, b.sign_);
  return *this;
}

Numeric& Numeric::operator-=(const Numeric& b) {
  NumericInternal::addSigned(*this, b, -b.sign_);
  return *this;
}

}  // namespace core
