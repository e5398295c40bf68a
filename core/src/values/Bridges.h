#pragma once
// The few operations on Numeric and Date that kinds other than Number and Date need (a boolean converts to
// 1 or 0, a string parses as a number, Undefined answers zero...). They live with the Number and Date
// kinds, so those two files are the only ones that depend on the layout of Numeric and Date.

#include <string_view>

#include "core/Value.h"

namespace core::detail {

// Number.cpp
void set_number(Numeric& out, int value) noexcept;
// The whole text (blanks around it allowed) must be a decimal number in the canonical syntax.
bool parse_number(const avo::WString& text, Numeric& out);
// Whether the Numeric payload of a number value is zero.
bool number_is_zero(const void* payload) noexcept;

// DateValue.cpp
void set_empty_date(Date& out) noexcept;
bool date_is_empty(const void* payload) noexcept;
// Reads the digits form "YYYYMMDD" or "YYYYMMDDhhmmss" (blanks around it allowed).
bool parse_date(std::u16string_view text, Date& out);

}  // namespace core::detail
