#pragma once
// The bare items of list-stream text as JSON sees them: which ones are JSON numbers, which are numbers
// only to the list-stream reader, and the writer's line layout of Base64 data. Shared by both
// directions of the JSON form (ListJson.h), so that what one writes the other reads back.

#include <string>
#include <string_view>

namespace kern::list_json::detail {

// The JSON number grammar: -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool is_json_number(std::u16string_view text) noexcept;

// Whether `text`, a bare item the list-stream reader accepted, is a number to it: an optional sign and
// inf, infinity or nan in any case, or sign, digits, optional point and digits (at least one digit in
// all), optional exponent. The reader takes any Unicode decimal digit; no other bare item (GUID,
// Base64) holds a character above ASCII, so such a character alone makes the item a number.
bool is_list_number(std::u16string_view text) noexcept;

// Whether the line breaks in Base64 text are exactly the writer's: CR LF after every 64 characters
// and after the last one when they fill the line, nothing else.
bool has_writer_line_breaks(std::u16string_view text) noexcept;
// The text without its CR and LF units.
std::u16string without_line_breaks(std::u16string_view text);
// The text with the writer's line breaks (no CR or LF in `text`).
std::u16string with_writer_line_breaks(std::u16string_view text);

// Whether `text` is a bare item the list-stream reader hands on exactly as it stands (a number, a GUID
// or Base64 data; no blanks around it). Reads it through the library's own document reader, so the
// two never disagree.
bool reads_as_bare_item(std::u16string_view text);

}  // namespace kern::list_json::detail
