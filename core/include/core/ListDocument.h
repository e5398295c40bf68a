#pragma once
// List-stream text read without knowing its item types: for tools that check a file, lay it out again
// or pass it on piece by piece (ListStream.h reads a stream whose types the reader knows).
//
//     class Counter final : public core::ListDocumentHandler {
//      public:
//       void beginList() override { ++lists; }
//       void endList() override {}
//       void stringItem(std::u16string_view) override { ++items; }
//       void rawItem(std::u16string_view) override { ++items; }
//       std::size_t lists = 0, items = 0;
//     };
//
//     auto file = core::open_file("data.txt", core::FileMode::Read);
//     auto reader = core::create_file_reader(file.get());
//     Counter counter;
//     core::ListSyntaxError error;
//     if (!core::parse_list_document(reader.get(), counter, error)) {
//       // error.position.line, error.position.column: where; error.expected: what would have fitted
//     }
//
// The document is exactly one list with blanks around it. Its items are lists, strings and bare items.
// A bare item must have the form of one of the writer's item texts: an integer or decimal number
// (optional sign, digits, optional fraction and exponent; "inf", "-inf", "nan"), a GUID, or Base64 data
// whose line breaks (CR, LF) may stand between its characters. Strings are handed on decoded; a bare
// item as it stands, without the blanks around it, except the "\r\n" the writer puts after a full last
// line of Base64 data, which stays with the item so that the writer's own text passes through unchanged.
// An empty bare item (nothing between two delimiters) is an error, although a writer produces one for
// empty byte data. Nesting depth is unlimited unless the caller sets a limit.
//
// Memory: the parser holds one item at a time, never the document, so a file of any size is read in
// the memory of its largest string or bare item (plus what the handler keeps).
//
// Thread safety: a parse runs on the calling thread over a reader and a handler used by it alone; any
// number of parses may run at once on distinct readers.

#include <cstdint>
#include <string>
#include <string_view>

#include "core/CharStream.h"
#include "core/Export.h"
#include "core/ListStream.h"

namespace core {

// Receives the parts of a document in the order they stand: beginList and endList around the items of
// each list, one call per item. The text views are valid during the call only. An exception thrown by
// a handler ends the parse and passes through parse_list_document unchanged.
class ListDocumentHandler {
 public:
  // A "{" and its "}".
  virtual void beginList() = 0;
  virtual void endList() = 0;
  // A string item, decoded (quotation marks removed, escapes resolved).
  virtual void stringItem(std::u16string_view text) = 0;
  // A bare item: a number, a GUID or Base64 data, as it stands in the input.
  virtual void rawItem(std::u16string_view text) = 0;

 protected:
  ~ListDocumentHandler() = default;
};

// Where and why a document is malformed.
struct ListSyntaxError {
  // The place of the fault: line and column from 1 (columns count UTF-16 code units), offset the units
  // before it.
  ListPosition position;
  // The message's resource key (core/Resources.h): always "IDS_LISTSTREAMERROR", the key of the
  // ListStreamException a typed reader throws for the same input.
  const char* key = nullptr;
  // What would have been accepted there, in English, e.g. "\",\" or \"}\"" or "a closing quotation mark".
  std::string expected;
};

// Reads one document from `reader`, reporting its parts to `handler` as they are read. Returns true
// when the input holds exactly one well-formed list; otherwise returns false with `error` filled at the
// first fault (the handler has then received the document up to the fault; `error` is left alone on
// success). A BufferedReader is scanned in place; any other reader is read one unit at a time. Never
// throws for the data; errors of the medium and of the handler pass through.
KERN83_API bool parse_list_document(IReader* reader, ListDocumentHandler& handler, ListSyntaxError& error);

// Writes the document in the writer's canonical layout (the one ListOutStream produces): strings
// decoded and written again by the writer (a surrogate pair comes out as its two escapes), bare items
// as they stand. The text reaches `writer` as it is produced, in runs (a BufferedWriter is written into
// directly), so the output is not held in memory either. Returns as parse_list_document; on failure
// the layout of the document up to the fault has been written.
KERN83_API bool format_list_document_compact(IReader* reader, IWriter* writer, ListSyntaxError& error);

// The same two, accepting lists nested at most `maxDepth` deep (the outermost list is at depth 1, so 0
// accepts no document): a "{" that would open a deeper list is a fault at that "{", with `expected`
// "at most <maxDepth> nested lists". For callers that keep something per open list, or whose output
// grows with the depth (an indented layout), and so must bound what the input can make them hold.
KERN83_API bool parse_list_document(IReader* reader, ListDocumentHandler& handler, ListSyntaxError& error,
                                    std::uint64_t maxDepth);
KERN83_API bool format_list_document_compact(IReader* reader, IWriter* writer, ListSyntaxError& error,
                                             std::uint64_t maxDepth);

}  // namespace core
