#pragma once
// Where the formats in force are looked up. This is the one place that knows where a thread's own formats
// are kept; when the thread object carries them, only thread_format_slot() changes.

#include "core/Formats.h"

namespace core::detail {

// The calling thread's own formats (null when unset).
struct ThreadFormats {
  BoolFormatPtr boolFormat;
  NumericFormatPtr numericFormat;
};
ThreadFormats& thread_format_slot() noexcept;

// The format in force on the calling thread, without touching a shared reference count. The reference is
// valid until the calling thread next calls a format getter or setter, so use it at once.
const BoolFormat& current_bool_format();
const NumericFormat& current_numeric_format();

}  // namespace core::detail
