#pragma once
// A list stream read without knowing its item types: the `kern list` tool's view of a text stream.
//
// The document is exactly one list with blanks around it. Items are lists, strings (decoded) and bare
// items, which must have the form of one of the writer's item texts: an integer or decimal number
// (optional sign, digits, optional fraction and exponent; "inf", "-inf", "nan"), a GUID, or Base64
// data whose line breaks (CR, LF) may stand between its characters. A bare item is handed on as it
// stands, without the blanks around it (except the "\r\n" that the writer puts after a full last line
// of Base64 data, which stays with the item). An empty bare item (nothing between two delimiters) is not
// accepted, although a writer produces one for empty byte data.

#include <cstdint>
#include <string>
#include <string_view>

#include "core/CharStream.h"
#include "core/Export.h"

namespace core::detail {

class ListDocumentHandler {
 public:
  virtual void beginList() = 0;
  virtual void endList() = 0;
  virtual void stringItem(std::u16string_view text) = 0;
  virtual void rawItem(std::u16string_view text) = 0;

 protected:
  ~ListDocumentHandler() = default;
};

struct ListSyntaxError {
  std::uint64_t line = 0;    // from 1
  std::uint64_t column = 0;  // from 1, in UTF-16 code units
  std::string expected;      // what would have been accepted there, e.g. "\",\" or \"}\""
};

// Reads the whole document from `reader`, reporting its parts to `handler` in order. Returns false with
// `error` filled at the first fault (the handler may have received part of the document by then).
// Nesting depth is unlimited (no recursion). Errors of the medium pass through as exceptions.
KERN83_API bool parse_list_document(IReader* reader, ListDocumentHandler& handler, ListSyntaxError& error);

// The writer's canonical layout of a document: strings written by the writer, bare items as they stand.
KERN83_API bool format_list_document_compact(IReader* reader, IWriter* writer, ListSyntaxError& error);

}  // namespace core::detail
