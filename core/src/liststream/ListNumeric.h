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
// Appends the binary form to `out`.
void numeric_to_binary(const Numeric& value, avo::String& out);

// Sets `out` to +-(integer + fraction / 10^fractionDigits) for fractionDigits <= 9, fraction <
// 10^fractionDigits, and integer < 10^18 when there is a fraction (any 64-bit integer otherwise).
// Never allocates.
void numeric_from_parts(Numeric& out, std::uint64_t integer, std::uint32_t fraction, int fractionDigits,
                        bool negative);

// Writes the canonical text of a number whose integer part has at most 18 digits and whose fraction at
// most 9 (those cover amounts, counters and dates) into `out`, which has room for 30 units; returns the
// length, or 0 for any other number (then the general printer is needed).
std::size_t format_small_numeric(const Numeric& value, char16_t* out) noexcept;

// Reads the binary form; false when the bytes are not a valid number (then `out` is unchanged, or zero
// when a limb was out of range). Inline: the packed reader calls it for every decimal fraction.
inline bool numeric_from_binary(const std::uint8_t* data, std::size_t size, Numeric& out) {
  if (size < list_format::kNumericHeader || (size - list_format::kNumericHeader) % 4 != 0 || data[0] > 1) return false;
  std::uint32_t rawScale = 0;
  for (int i = 0; i < 4; ++i) rawScale |= std::uint32_t(data[1 + i]) << (8 * i);
  const auto scale = static_cast<std::int32_t>(rawScale);
  const std::size_t count = (size - list_format::kNumericHeader) / 4;
  if (scale < -list_format::kNumericMaxScale || scale > list_format::kNumericMaxScale || count > (std::size_t(1) << 30)) return false;
  // The writer stores normalised numbers only: both end limbs non-zero, zero as no limbs, exponent 0
  // and positive. Anything else is not something a writer made.
  if (count == 0) {
    if (scale != 0 || data[0] != 0) return false;
    out = Numeric();
    return true;
  }
  const std::uint8_t* p = data + list_format::kNumericHeader;
  std::uint32_t first, last;
  std::memcpy(&first, p, 4);
  std::memcpy(&last, p + 4 * (count - 1), 4);
  if constexpr (std::endian::native != std::endian::little) {
    first = __builtin_bswap32(first);
    last = __builtin_bswap32(last);
  }
  if (first == 0 || last == 0) return false;
  NumericInternal::reserveDiscard(out, static_cast<std::uint32_t>(count));
  std::uint32_t* limbs = NumericInternal::limbs(out);
  std::memcpy(limbs, p, 4 * count);
  bool valid = true;
  for (std::size_t k = 0; k < count; ++k) {
    if constexpr (std::endian::native != std::endian::little) limbs[k] = __builtin_bswap32(limbs[k]);
    valid &= limbs[k] < kBase;
  }
  if (!valid) {
    NumericInternal::setZero(out);  // the limbs were overwritten: leave a valid number behind
    return false;
  }
  NumericInternal::normalise(out, static_cast<std::int64_t>(count), scale);
  NumericInternal::setSign(out, data[0] != 0 ? -1 : 1);
  return true;
}

}  // namespace core::detail
