// The JSON reader of `kern list from-json` on arbitrary bytes: it either fails with a position inside
// the input and a message, or writes list-stream text that is its own compact layout (what
// `kern list fmt --compact` makes of it) and that comes back unchanged through to-json and from-json.
// Nothing escapes, nothing runs away: one loop, a depth limit.
//
//     build/fuzz/fuzz/ListJson_fuzz -max_total_time=60 corpus-dir fuzz/corpus/ListJson

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ListJson.h"
#include "avo/BasicString.h"
#include "core/CharStream.h"
#include "core/File.h"
#include "core/ListDocument.h"

namespace {

constexpr std::uint64_t kMaxDepth = 64;

void check(bool ok) {
  if (!ok) std::abort();
}

// from-json of `bytes`; false with `error` filled when they are refused.
bool from_json(const std::string& bytes, std::u16string& text, kern::list_json::JsonError& error) {
  auto file = core::create_memory_file(bytes.data(), bytes.size());
  auto out = core::MemoryWriter::create();
  const bool ok = kern::list_json::json_to_list(file.get(), out.get(), error, kMaxDepth);
  text = out->text();
  return ok;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  std::u16string text;
  kern::list_json::JsonError error;
  if (!from_json(input, text, error)) {
    check(!error.message.empty() && error.line >= 1 && error.column >= 1);
    check(error.line <= size + 1 && error.column <= size + 1);
    return 0;
  }

  core::ListSyntaxError syntax;
  auto reader = core::create_memory_view_reader(text);
  auto compact = core::MemoryWriter::create();
  check(core::format_list_document_compact(reader.get(), compact.get(), syntax, kMaxDepth));
  check(compact->text() == text);

  reader = core::create_memory_view_reader(text);
  auto json = core::MemoryWriter::create();
  check(kern::list_json::list_to_json(reader.get(), *json, syntax, kMaxDepth));
  std::u16string again;
  check(from_json(avo::to_std_utf8(json->text()), again, error));
  check(again == text);
  return 0;
}
