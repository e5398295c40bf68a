#pragma once
// Engine room of core::Numeric: storage management, the normalising step and the scratch buffers shared
// by the arithmetic files.
//
// Storage invariants (see core/Numeric.h for the value invariants):
//  - capacity_ == 4 exactly when limbs_ points at inline_;
//  - a heap array holds exactly capacity_ limbs (> 4) and comes from nexa_malloc;
//  - results are built either in place (when the target's array is large enough and the operands allow
//    it) or in a scratch LimbBuffer, normalised there, and copied into the target with assign(), which
//    allocates an array of exactly the normalised count when the target's array is too small.
// Scales are computed in 64 bits and checked before anything is committed, so an exponent that leaves
// the 32-bit range raises NumericException(Overflow) instead of wrapping.

#include <bit>
#include <climits>
#include <cstdint>
#include <cstring>

#include "core/Numeric.h"

namespace core::detail {

inline constexpr std::uint32_t kBase = Numeric::kBase;
inline constexpr std::uint64_t kBase64 = Numeric::kBase;
inline constexpr std::uint32_t kHalfBase = kBase / 2;

// Powers of ten 10^0 .. 10^9.
inline constexpr std::uint32_t kPow10[10] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000};

// Decimal digits of a limb value v (1 for 0), 1..9: the bit length times log10(2) (1233 / 4096) is the
// digit count or one less, which one comparison settles.
inline int limb_digits(std::uint32_t v) noexcept {
  v |= 1;
  const int t = (std::bit_width(v) * 1233) >> 12;
  return t + (v >= kPow10[t] ? 1 : 0);
}

// Scratch limbs: the first N on the stack, more on the nexa heap. Contents are uninitialised.
template <std::size_t N>
class LimbBuffer {
 public:
  explicit LimbBuffer(std::size_t size) : data_(size <= N ? local_ : allocate(size)) {}
  ~LimbBuffer() {
    if (data_ != local_) nexa_free(data_);
  }
  LimbBuffer(const LimbBuffer&) = delete;
  LimbBuffer& operator=(const LimbBuffer&) = delete;

  std::uint32_t* data() noexcept { return data_; }
  std::uint32_t& operator[](std::size_t i) noexcept { return data_[i]; }
  bool onHeap() const noexcept { return data_ != local_; }

 private:
  static std::uint32_t* allocate(std::size_t size);
  std::uint32_t local_[N];
  std::uint32_t* data_;
};

[[noreturn]] void throw_allocation_size();

template <std::size_t N>
std::uint32_t* LimbBuffer<N>::allocate(std::size_t size) {
  if (size > (std::size_t(1) << 31)) throw_allocation_size();
  return static_cast<std::uint32_t*>(nexa_malloc(size * sizeof(std::uint32_t)));
}

// 1 KiB of limbs: the stack share of every scratch buffer.
inline constexpr std::size_t kStackLimbs = 256;
using Scratch = LimbBuffer<kStackLimbs>;

// A normalised view of limbs in a buffer: first non-zero limb and count (0 for zero).
struct Trimmed {
  const std::uint32_t* limbs;
  std::int32_t count;
  std::int64_t scale;
};

// dst[0..n) = src[0..n); the ranges may overlap. Up to 4 limbs without a library call (a small loop
// would be turned into one): the hot paths of small numbers end here.
inline void copy_limbs(std::uint32_t* dst, const std::uint32_t* src, std::int64_t n) noexcept {
  switch (n) {
    case 0:
      return;
    case 1:
      dst[0] = src[0];
      return;
    case 2: {
      const std::uint32_t a = src[0], b = src[1];
      dst[0] = a;
      dst[1] = b;
      return;
    }
    case 3: {
      const std::uint32_t a = src[0], b = src[1], c = src[2];
      dst[0] = a;
      dst[1] = b;
      dst[2] = c;
      return;
    }
    case 4: {
      const std::uint32_t a = src[0], b = src[1], c = src[2], d = src[3];
      dst[0] = a;
      dst[1] = b;
      dst[2] = c;
      dst[3] = d;
      return;
    }
    default:
      std::memmove(dst, src, std::size_t(n) * sizeof(std::uint32_t));
  }
}

// Strips zero limbs at both ends of p[0..n) whose limb exponent is `scale`.
inline Trimmed trim(const std::uint32_t* p, std::int64_t n, std::int64_t scale) noexcept {
  while (n > 0 && p[n - 1] == 0) --n;
  if (n == 0) return {p, 0, 0};
  std::int64_t low = 0;
  while (p[low] == 0) ++low;
  return {p + low, static_cast<std::int32_t>(n - low), scale - low};
}

[[noreturn]] void throw_overflow();

// Raises NumericException(Overflow) when `scale` does not fit the representation.
inline void check_scale(std::int64_t scale) {
  if (scale < INT32_MIN || scale > INT32_MAX) throw_overflow();
}

struct NumericInternal {
  // Direct field access for the engine.
  static std::uint32_t* limbs(Numeric& x) noexcept { return x.limbs_; }
  static const std::uint32_t* limbs(const Numeric& x) noexcept { return x.limbs_; }
  static std::int32_t count(const Numeric& x) noexcept { return x.count_; }
  static std::int32_t scale(const Numeric& x) noexcept { return x.scale_; }
  static std::int8_t sign(const Numeric& x) noexcept { return x.sign_; }
  static std::uint32_t capacity(const Numeric& x) noexcept { return x.capacity_; }

  static void setZero(Numeric& x) noexcept {
    x.count_ = 0;
    x.scale_ = 0;
    x.sign_ = 1;
  }
  static void setCount(Numeric& x, std::int32_t count) noexcept { x.count_ = count; }
  static void setSign(Numeric& x, int sign) noexcept { x.sign_ = static_cast<std::int8_t>(sign < 0 ? -1 : 1); }
  // Sets every field of a number whose limbs are in place already and normalised (both end limbs
  // non-zero, the scale in range).
  static void setNormalised(Numeric& x, std::int32_t count, std::int32_t scale, int sign) noexcept {
    x.count_ = count;
    x.scale_ = scale;
    setSign(x, sign);
  }

  // Makes x's array hold at least n limbs, discarding its content: keeps the array when it is large
  // enough, otherwise replaces it by an exact-size heap array. x's fields other than the storage are
  // untouched.
  static void reserveDiscard(Numeric& x, std::uint32_t n);
  // Replaces x's array by a heap array of exactly n limbs (n > capacity) holding x's count limbs (set
  // the count first); returns the new array.
  static std::uint32_t* reserveKeep(Numeric& x, std::uint32_t n);

  // Replaces x by the normalised limbs t with sign `sign`; checks the scale first (strong guarantee).
  // t may point into x's own array (then no reallocation happens: it already fits).
  static void assign(Numeric& x, const Trimmed& t, int sign) {
    check_scale(t.scale);
    if (t.count == 0) {
      setZero(x);
      return;
    }
    if (std::uint32_t(t.count) > x.capacity_) reserveDiscard(x, std::uint32_t(t.count));
    copy_limbs(x.limbs_, t.limbs, t.count);
    x.count_ = t.count;
    x.scale_ = static_cast<std::int32_t>(t.scale);
    setSign(x, sign);
  }

  // Normalises x in place: strips zero limbs at both ends, adjusting the scale; zero becomes canonical.
  // `scale` is x's raw 64-bit scale; checked before anything is changed.
  static void normalise(Numeric& x, std::int64_t rawCount, std::int64_t scale);

  // Sets x (already holding nothing of value) from a 64-bit magnitude and a sign.
  static void setMagnitude(Numeric& x, std::uint64_t magnitude, bool negative) noexcept;

  // Compares magnitudes: -1, 0, +1.
  static int compareMagnitude(const Numeric& a, const Numeric& b) noexcept;

  // a *= b for operands of at most two limbs each, and for everything else.
  static void multiplyTwoLimbs(Numeric& a, const Numeric& b);
  static void multiplyGeneral(Numeric& a, const Numeric& b);

  // a = a + b * sign(bSign) (shared by += and -=).
  static void addSigned(Numeric& a, const Numeric& b, int bSign);

  // Integer digits of x as lengthAndPrecision counts them (length - precision).
  static std::uint64_t integerDigits(const Numeric& x) noexcept;

  // The magnitude of the integer part reduced modulo 2^64 (the plain conversions narrow it further).
  static std::uint64_t wrappedInteger(const Numeric& x) noexcept;
};

// Writes the canonical text of |x| (sign included when negative) into `out`, which must hold
// text_capacity(x) characters; returns the length (no NUL written).
std::size_t write_canonical(const Numeric& x, char* out) noexcept;
// An upper bound of the canonical text length of x, NUL included (the printer may write a few trailing
// zeros past the text before it cuts them).
std::size_t text_capacity(const Numeric& x) noexcept;
// The exact length of the canonical text of x (no NUL).
std::size_t text_length(const Numeric& x) noexcept;
// Writes at most `limit` characters of the canonical text of x; returns how many (no NUL written).
std::size_t write_canonical_prefix(const Numeric& x, char* out, std::size_t limit) noexcept;

}  // namespace core::detail
