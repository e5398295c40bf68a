#pragma once
// The formats in force on the calling thread, for the conversions of the value kinds.

#include "core/Formats.h"

namespace core::detail {

// The format in force on the calling thread. The reference stays valid until the calling thread next asks
// for a format of the same kind here, so use it at once.
const BoolFormat& current_bool_format();
const NumericFormat& current_numeric_format();

}  // namespace core::detail
