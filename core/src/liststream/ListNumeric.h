#pragma once
// Numeric as the list streams need it: the binary form of the packed encoding (layout in ListFormat.h)
// and short cuts for the common small numbers of the text encoding, which go straight between digits
// and limbs instead of through an intermediate text.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "avo/BasicString.h"
#include "liststream/ListFormat.h"
#include "numeric/NumericInternal.h"

namespace core::detail {

// Whether the number's limb exponent is within the binary form's range.
bool numeric_fits_binary(const Numeric& value) noexcept;
// Writes the binary form, kNumericHeader + 4 * getCount() bytes, at `out`.
void numeric_to_binary(const Numeric& value, std::uint8_t* out) noexcept;

// Sets `out` to +-(integer + fraction / 10^fractionDigits) for fractionDigits <= 9, fraction <
// 10^fractionDigits, and integer < 10^18 when there is a fraction (any 64-bit integer otherwise).
// Never allocates.
void numeric_from_parts(Numeric& out, std::uint64_t integer, std::uint32_t fraction, int fractionDigits, bool negative);

// Writes the canonical text of a number whose integer part has at most 18 digits and whose fraction at
// most 9 (those cover amounts, counters and dates) into `out`, which has room for 30 units; returns the
// length, or 0 for any other number (then the general printer is needed).
std::size_t format_small_numeric(const Numeric& value, char16_t* out) noexcept;

// The 4 little-endian bytes at p.
inline std::uint32_t load_le32(const std::uint8_t* p) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    std::uint32_t v;
    std::memcpy(&v, p, 4);
    return v;
  } else {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24;
  }
}

// Reads the binary form; false (then `out` is unchanged) when the bytes are not a valid number. Inline:
// the packed reader calls it for every decimal fraction.
inline bool numeric_from_binary(const std::uint8_t* data, std::size_t size, Numeric& out) {
  if (size < list_format::kNumericHeader || (size - list_format::kNumericHeader) % 4 != 0 || data[0] > 1) {
    return false;
  }
  const auto scale = static_cast<std::int32_t>(load_le32(data + 1));
  const std::size_t count = (size - list_format::kNumericHeader) / 4;
  if (scale < -list_format::kNumericMaxScale || scale > list_format::kNumericMaxScale ||
      count > (std::size_t(1) << 30)) {
    return false;
  }
  // The writer stores normalised numbers only: both end limbs non-zero, zero as no limbs, exponent 0
  // and positive. Anything else is not something a writer made.
  if (count == 0) {
    if (scale != 0 || data[0] != 0) return false;
    NumericInternal::setZero(out);
    return true;
  }
  const std::uint8_t* p = data + list_format::kNumericHeader;
  const auto limb = [p](std::size_t k) { return load_le32(p + 4 * k); };
  if (limb(0) == 0 || limb(count - 1) == 0) return false;
  const int sign = data[0] != 0 ? -1 : 1;
  if (count <= Numeric::kInlineLimbs) {  // the usual amounts: every array holds four limbs
    std::uint32_t limbs[Numeric::kInlineLimbs];
    for (std::size_t k = 0; k < count; ++k) {
      limbs[k] = limb(k);
      if (limbs[k] >= kBase) return false;
    }
    // Stored one by one: a loop here becomes a "rep movsb" that costs more than the whole decoding.
    std::uint32_t* target = NumericInternal::limbs(out);
    switch (count) {
      case 4:
        target[3] = limbs[3];
        [[fallthrough]];
      case 3:
        target[2] = limbs[2];
        [[fallthrough]];
      case 2:
        target[1] = limbs[1];
        [[fallthrough]];
      default:
        target[0] = limbs[0];
    }
    // Both end limbs are non-zero and the scale is within range: normalised as it stands.
    NumericInternal::setNormalised(out, static_cast<std::int32_t>(count), scale, sign);
    return true;
  }
  for (std::size_t k = 0; k < count; ++k) {
    if (limb(k) >= kBase) return false;
  }
  NumericInternal::reserveDiscard(out, static_cast<std::uint32_t>(count));
  std::uint32_t* limbs = NumericInternal::limbs(out);
  for (std::size_t k = 0; k < count; ++k) limbs[k] = limb(k);
  NumericInternal::normalise(out, static_cast<std::int64_t>(count), scale);
  NumericInternal::setSign(out, sign);
  return true;
}

// Sets `out` to a 64-bit integer with a sign, inline and without allocating.
inline void numeric_set_integer(Numeric& out, std::uint64_t magnitude, bool negative) noexcept {
  if (magnitude - 1 < kBase64 - 1) {  // one limb, no division: counters and small keys
    NumericInternal::limbs(out)[0] = static_cast<std::uint32_t>(magnitude);
    NumericInternal::setNormalised(out, 1, 0, negative ? -1 : 1);
    return;
  }
  const std::uint64_t high = magnitude / kBase64;
  const auto low = static_cast<std::uint32_t>(magnitude - high * kBase64);
  if (low == 0) {  // zero, or zero low limbs that become a negative scale
    NumericInternal::setMagnitude(out, magnitude, negative);
    return;
  }
  // Every array holds at least four limbs; the value needs three at most.
  std::uint32_t* limbs = NumericInternal::limbs(out);
  limbs[0] = low;
  if (high < kBase64) {  // dates and times as digits
    limbs[1] = static_cast<std::uint32_t>(high);
    NumericInternal::setNormalised(out, 2, 0, negative ? -1 : 1);
    return;
  }
  limbs[1] = static_cast<std::uint32_t>(high % kBase64);
  limbs[2] = static_cast<std::uint32_t>(high / kBase64);
  NumericInternal::setNormalised(out, 3, 0, negative ? -1 : 1);
}

}  // namespace core::detail
