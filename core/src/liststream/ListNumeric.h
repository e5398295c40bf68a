#pragma once
// Numeric as the list streams need it: the binary form of the packed encoding (layout in ListFormat.h)
// and short cuts for the common small numbers of the text encoding, which go straight between digits
// and limbs instead of through an intermediate text.

#include <cstddef>
#include <cstdint>

#include "avo/BasicString.h"

namespace core {
class Numeric;
}

namespace core::detail {

// Whether the number's limb exponent is within the binary form's range.
bool numeric_fits_binary(const Numeric& value) noexcept;
// Appends the binary form to `out`.
void numeric_to_binary(const Numeric& value, avo::String& out);
// Reads the binary form; false when the bytes are not a valid number (then `out` is unchanged, or zero
// when a limb was out of range).
bool numeric_from_binary(const std::uint8_t* data, std::size_t size, Numeric& out);

// Sets `out` to +-(integer + fraction / 10^fractionDigits) for fractionDigits <= 9, fraction <
// 10^fractionDigits, and integer < 10^18 when there is a fraction (any 64-bit integer otherwise).
// Never allocates.
void numeric_from_parts(Numeric& out, std::uint64_t integer, std::uint32_t fraction, int fractionDigits,
                        bool negative);

// Writes the canonical text of a number whose integer part has at most 18 digits and whose fraction at
// most 9 (those cover amounts, counters and dates) into `out`, which has room for 30 units; returns the
// length, or 0 for any other number (then the general printer is needed).
std::size_t format_small_numeric(const Numeric& value, char16_t* out) noexcept;

}  // namespace core::detail
