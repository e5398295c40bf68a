// Numeric: multiplication.
//
// Multiplication is exact schoolbook multiplication computed column by column: the products of one
// column are summed in 64 bits (up to 18 products of limbs below 10^9 fit) and the column is reduced
// once, which halves the divisions of the row-by-row method.
#include <algorithm>
#include <array>
#include <bit>
#include <utility>

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

}  // namespace

// Products of small fixed sizes, fully unrolled so that the column sums stay in registers.
// The column sums and their splits into limb and carry do not depend on each other, so they are all
// computed first (the divisions overlap); only the small carries then run through the columns.
template <int kA, int kB>
void multiply_fixed(std::uint32_t* r, const std::uint32_t* a, const std::uint32_t* b) {
  constexpr int kColumns = kA + kB - 1;
  std::uint64_t low[kColumns], high[kColumns];
#pragma GCC unroll 8
  for (int k = 0; k < kColumns; ++k) {
    std::uint64_t acc = 0;
    for (int i = std::max(0, k - kB + 1); i <= std::min(k, kA - 1); ++i) acc += std::uint64_t(a[i]) * b[k - i];
    high[k] = acc / kBase64;
    low[k] = acc - high[k] * kBase64;
  }
  std::uint64_t carry = 0;
#pragma GCC unroll 8
  for (int k = 0; k < kColumns; ++k) {
    const std::uint64_t x = low[k] + carry;  // below 6 * 10^9: carry is a high part plus a small carry
    const std::uint64_t c = x / kBase64;
    r[k] = static_cast<std::uint32_t>(x - c * kBase64);
    carry = high[k] + c;
  }
  r[kColumns] = static_cast<std::uint32_t>(carry);
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

}  // namespace core
