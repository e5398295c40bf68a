#pragma once
// In-memory character streams: a writer that appends to a string and a reader over a string. They serve
// tests and small in-process conversions; buffered and file-backed streams live with the list stream.
//
//     auto writer = core::detail::create_string_writer();
//     number.toStream(writer.get());
//     avo::WString text = core::detail::string_writer_text(writer.get());
//
// Objects are reference counted (created with one reference, which the returned InterfacePtr owns).

#include "core/CharStream.h"

namespace core::detail {

// A writer that collects everything written.
InterfacePtr<IWriter> create_string_writer();
// The text collected so far by a writer made by create_string_writer.
avo::WString string_writer_text(IWriter* writer);

// A reader over a copy of `text`.
InterfacePtr<IReader> create_string_reader(std::u16string_view text);

}  // namespace core::detail
