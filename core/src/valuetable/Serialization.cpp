// The list stream blocks of tables, pages and lines:
//
//   table  {2, column count, slot, id, ..., page block, last column id, last line id}
//   page   {1, line count, line block, ...}
//   line   {2, id, value count, value, ..., has children[, child page block]}
//
// Counts of columns and values are written as 64-bit and read back as 32-bit integers. Readers take what
// their version has (a version 1 table stops after its columns, a version 1 line after its values) and
// skip whatever a newer writer appended before the end of the list. A page is cleared before it is read;
// each line read takes a fresh identifier from the table and then the stored one, so that the table's
// counter has moved past the lines read even before the stored counter arrives.
#include <algorithm>

#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/ValueTableStorage.h"

namespace core {

namespace {

constexpr std::uint32_t kTableVersion = 2;
constexpr std::uint32_t kPageVersion = 1;
constexpr std::uint32_t kLineVersion = 2;
// Deeper trees are refused on reading, so that a hostile stream cannot exhaust the stack through the
// recursion of reading (and later copying and destroying) nested child pages.
constexpr std::uint32_t kMaxReadLevel = 512;

[[noreturn]] void malformed(const char16_t* what) {
  ListStreamException e;
  e.setAuxText2(what);
  throw e;
}

}  // namespace

void ValueTableCore::serialize(IOutPersistenceStorage* storage) const {
  ListOutStream& out = storage->stream();
  out.putBeginOfList();
  out.put(kTableVersion);
  out.put(static_cast<unsigned long long>(columns_.size()));
  for (std::uint32_t position = 0; position < columns_.size(); ++position) {
    out.put(columns_.at(position).slot);
    out.put(columns_.at(position).id);
  }
  ValueTablePage::serialize(storage);
  out.put(lastColumnID_);
  out.put(lastLineID_);
  out.putEndOfList();
}

void ValueTableCore::deserialize(IInPersistenceStorage* storage) {
  clear();
  ListInStream& in = storage->stream();
  in.getBeginOfList();
  std::uint32_t version = 0;
  std::uint32_t count = 0;
  in.get(version);
  in.get(count);
  readColumns(in, count);
  if (version >= 2) {
    ValueTablePage::deserialize(storage);
    std::int32_t lastColumn = -1;
    std::int32_t lastLine = -1;
    in.get(lastColumn);
    in.get(lastLine);
    // Never below what is in use, so that new identifiers stay unique whatever the stream claimed.
    lastColumnID_ = std::max(lastColumnID_, lastColumn);
    std::int32_t highestLine = lastLine;
    forEachLine(true, [&highestLine](const ValueTableLine& line) { highestLine = std::max(highestLine, line.id()); });
    lastLineID_ = highestLine;
  }
  in.skipListContent();
  in.getEndOfList();
}

void ValueTableCore::readColumns(ListInStream& in, std::uint32_t count) {
  std::vector<VTColumnRecord> records;
  for (std::uint32_t i = 0; i < count; ++i) {
    VTColumnRecord record;
    in.get(record.slot);
    in.get(record.id);
    records.push_back(std::move(record));
  }
  std::vector<std::uint32_t> slots;
  std::vector<std::int32_t> ids;
  for (const VTColumnRecord& record : records) {
    slots.push_back(record.slot);
    ids.push_back(record.id);
  }
  std::sort(slots.begin(), slots.end());
  std::sort(ids.begin(), ids.end());
  for (std::uint32_t i = 0; i < slots.size(); ++i) {
    if (slots[i] != i) malformed(u"column slots 0 to count - 1");
  }
  if (!ids.empty() && (ids.front() < 0 || std::adjacent_find(ids.begin(), ids.end()) != ids.end())) {
    malformed(u"distinct column identifiers");
  }
  if (!ids.empty()) lastColumnID_ = std::max(lastColumnID_, ids.back());
  columns_.assign(std::move(records));
}

void ValueTablePage::serialize(IOutPersistenceStorage* storage) const {
  ListOutStream& out = storage->stream();
  out.putBeginOfList();
  out.put(kPageVersion);
  out.put(count_);
  forEachLine(false, [storage](const ValueTableLine& line) { line.serialize(storage); });
  out.putEndOfList();
}

void ValueTablePage::deserialize(IInPersistenceStorage* storage) {
  clearLines();
  ListInStream& in = storage->stream();
  in.getBeginOfList();
  std::uint32_t version = 0;
  std::int32_t count = 0;
  in.get(version);
  in.get(count);
  for (std::int32_t i = 0; i < count; ++i) {
    // Placed before it is read, so that its child page can ask the table for line identifiers.
    LineIterator line = add(newLine(createLineID(), 0));
    line->deserialize(storage);
  }
  in.skipListContent();
  in.getEndOfList();
}

void ValueTableLine::serialize(IOutPersistenceStorage* storage) const {
  ListOutStream& out = storage->stream();
  out.putBeginOfList();
  out.put(kLineVersion);
  out.put(id_);
  out.put(static_cast<unsigned long long>(size_));
  for (std::uint32_t slot = 0; slot < size_; ++slot) WeakValue(slots()[slot]).serialize(storage);
  const bool children = hasChild();
  out.put(children);
  if (children) children_->serialize(storage);
  out.putEndOfList();
}

void ValueTableLine::deserialize(IInPersistenceStorage* storage) {
  ListInStream& in = storage->stream();
  in.getBeginOfList();
  std::uint32_t version = 0;
  std::uint32_t count = 0;
  in.get(version);
  in.get(id_);
  in.get(count);
  clearSlots();
  for (std::uint32_t i = 0; i < count; ++i) {
    Value value;
    GenericValue::deserialize(storage, value);
    appendSlot(std::move(value));
  }
  if (children_) children_->clearLines();
  bool children = false;
  if (version >= 2) in.get(children);
  if (children) {
    if (level() >= kMaxReadLevel) malformed(u"child lines nested at most 512 levels deep");
    this->children().deserialize(storage);
  }
  in.skipListContent();
  in.getEndOfList();
}

}  // namespace core
