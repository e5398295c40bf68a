#pragma once
// The binary form of a Numeric in packed list streams (layout in ListFormat.h).

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
// Reads the binary form; false (out unchanged) when the bytes are not a valid number.
bool numeric_from_binary(const std::uint8_t* data, std::size_t size, Numeric& out);

}  // namespace core::detail
