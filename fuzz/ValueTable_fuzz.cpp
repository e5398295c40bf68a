// A value table read from arbitrary text: reading ends in a table or a ListStreamException, never a
// crash, another exception, a hang or a leak. A table that was read is written again, read back and
// copied; all three must hold the same lines, and every line must be found at its own index.
//
// The input bytes are taken as characters: ASCII as it is, other bytes as one of the characters that
// matter to the grammar of lists and values.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/ValueTableStorage.h"

namespace {

const char16_t kSpecial[] = {u'{', u'}', u',', u'"', u'0', u'1', u'2', u'3', u'-', u'\n', u' ', u'\u0663'};

void check(bool condition) {
  if (!condition) std::abort();
}

std::u16string decode(const std::uint8_t* data, std::size_t size) {
  std::u16string text;
  for (std::size_t i = 0; i < size; ++i) {
    text.push_back(data[i] < 0x80 ? char16_t(data[i]) : kSpecial[data[i] % (sizeof kSpecial / sizeof *kSpecial)]);
  }
  return text;
}

std::u16string write(const core::ValueTableCore& table) {
  auto writer = core::MemoryWriter::create();
  core::ListOutStream out(writer.get());
  table.serialize(core::create_out_persistence_storage(out).get());
  out.flush();
  return std::u16string(writer->text());
}

void read(core::ValueTableCore& table, std::u16string_view text) {
  auto reader = core::create_memory_reader(text);
  core::ListInStream in(reader.get());
  table.deserialize(core::create_in_persistence_storage(in).get());
}

void check_indexes(const core::ValueTablePage& page) {
  for (std::uint32_t i = 0; i < page.size(); ++i) {
    core::LineIterator line = page.lineAt(i);
    check(line.valid() && line->index() == i);
    if (line->hasChild()) check_indexes(line->children());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  core::ValueTableCore table(3);
  try {
    read(table, decode(data, size));
  } catch (const core::ListStreamException&) {
    return 0;
  }
  check_indexes(table);
  std::u16string written;
  try {
    written = write(table);
  } catch (const core::UnsupportedOperationException&) {
    return 0;  // a value kind without a persistent form cannot come from a stream, but stay tolerant
  }
  core::ValueTableCore back(3);
  read(back, written);
  check(write(back) == written);
  check(write(core::ValueTableCore(table)) == written);
  return 0;
}
