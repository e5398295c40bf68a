#pragma once
// The JSON form of list-stream text (kern list to-json / from-json), one item for one value:
//
//     list                       [ ... ]            line breaks as the writer puts them before "{" and "}"
//     string                     "text"             UTF-8; an unpaired surrogate unit as \udxxx
//     number JSON can write      12.50, -1.5e2      the item's text, every digit kept
//     any other number           {"number":"+7"}    inf, nan, a "+" sign, leading zeros, "1.", ".5",
//                                                   digits other than ASCII: the text as it stands
//     GUID                       {"guid":"0123abcd-0000-4000-8000-00000000ffff"}
//     Base64 data                {"base64":"YWJj"}  without the writer's line breaks (CR LF after every
//                                                   64 characters, and after the last when they fill
//                                                   the line), which from-json puts back
//     other bare items           {"raw":"YWJj\nZGVm"}   Base64 data broken into lines otherwise: as it stands
//
// Item texts carry no types: a boolean is the number 0 or 1, a date inside a value list is a number
// (20240229093000), Base64 data made of digits only reads as a number. to-json decides by the text alone,
// in the order above, and from-json writes each item's text back, so `from-json` of `to-json` is the
// compact layout of the input (kern list fmt --compact), byte for byte.
//
// from-json reads any JSON whose values have a list-stream form: arrays, strings, numbers, the tagged
// objects above (exactly one member), and true / false as 1 / 0. null, other objects, a document that
// is not an array, and ill-formed JSON or UTF-8 are errors.
//
// Both directions read as they write: memory holds one item (plus a fixed buffer), whatever the size of
// the input, and lists (arrays) nest no deeper than the caller's limit; nothing recurses. Calls share
// nothing, so any number may run at once on distinct streams.

#include <cstdint>
#include <string>

#include "core/CharStream.h"
#include "core/File.h"
#include "core/ListDocument.h"

namespace kern::list_json {

// The tags of the objects above.
inline constexpr char kNumberTag[] = "number";
inline constexpr char kGuidTag[] = "guid";
inline constexpr char kBase64Tag[] = "base64";
inline constexpr char kRawTag[] = "raw";

// Writes the JSON form of the list-stream text read from `in` onto `out` (UTF-16 units, which a UTF-8
// file writer encodes losslessly: no unpaired surrogate is ever written), followed by a line feed.
// The text goes straight into the writer's buffer as it is made.
// Returns false at the first fault of the text, with `error` filled as parse_list_document does; the
// JSON of the document up to there has been written. Errors of the media pass through.
bool list_to_json(core::IReader* in, core::BufferedWriter& out, core::ListSyntaxError& error, std::uint64_t maxDepth);

// Where and why JSON input was refused. Lines and columns count from 1; columns count characters.
struct JsonError {
  std::uint64_t line = 0;
  std::uint64_t column = 0;
  std::string message;
};

// Reads one JSON document (UTF-8, an optional byte-order mark) from `in` and writes its list-stream
// text in the writer's compact layout onto `out`. Arrays nest at most `maxDepth` deep. Returns false
// at the first fault with `error` filled; the text of the document up to there has been written.
// Errors of the media pass through.
bool json_to_list(core::IFile* in, core::IWriter* out, JsonError& error, std::uint64_t maxDepth);

}  // namespace kern::list_json
