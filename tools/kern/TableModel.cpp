#include "TableModel.h"

#include <algorithm>

#include "Csv.h"

namespace kern::table {

namespace {

constexpr std::uint32_t kLeastGrouping = 65536;
// Texts a column shares values for; after kTrialLookups cells it gives up when fewer than a quarter of
// its cells were shared.
constexpr std::uint32_t kMostShared = 16384;
constexpr std::uint32_t kTrialLookups = 16384;

}  // namespace

TablePtr make_table(const std::vector<std::string>& names) {
  TablePtr table = core::create_value_table();
  core::ValueTableBase& base = *table->table();
  for (const std::string& name : names) {
    core::VTColumnInfo info;
    info.title = avo::from_utf8(name);
    if (base.checkNewCode(-1, info.title)) info.code = info.title;
    base.addColumn(info, -1);
  }
  return table;
}

std::vector<std::string> column_names(const core::ValueTableBase& table) {
  std::vector<std::string> names;
  for (std::uint32_t position = 0; position < table.columnCount(); ++position) {
    core::VTColumnInfo info;
    table.columnInfo(table.columnID(position), info);
    std::string name;
    csv::append_utf8(info.title, name);
    names.push_back(std::move(name));
  }
  return names;
}

std::uint32_t column_position(const core::ValueTableBase& table, std::string_view name, const char* option) {
  const avo::WString code = avo::from_utf8(name);
  const std::int32_t id = table.columnIDByCode(code);
  if (id != -1) return table.columnIndex(id);
  std::string why = std::string(option) + ": no column \"" + std::string(name) + "\"";
  for (std::uint32_t position = 0; position < table.columnCount(); ++position) {
    core::VTColumnInfo info;
    table.columnInfo(table.columnID(position), info);
    if (info.title == code) {
      why += " that options can name (the name is no identifier, or an earlier column has it)";
      break;
    }
  }
  throw Failure{1, why};
}

core::Value CellMaker::make(std::string_view text) {
  if (csv::is_plain_decimal(text)) {
    core::Numeric number;
    number.fromString(text.data());
    return core::Value(core::create_numeric_value(number), core::adopt_ref);
  }
  utf16_.clear();
  csv::append_utf16(text, utf16_);
  return core::Value(core::create_string_value(utf16_), core::adopt_ref);
}

core::Value CellMaker::make(std::string_view text, std::size_t column) {
  Column& shared = columns_[column];
  if (shared.off) return make(text);
  std::uint64_t hash = 0xcbf29ce484222325ull;  // FNV-1a
  for (char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3ull;
  if (shared.slots.empty()) shared.slots.resize(64);
  const std::size_t mask = shared.slots.size() - 1;
  std::size_t at = hash & mask;
  ++shared.lookups;
  for (; shared.slots[at] != 0; at = (at + 1) & mask) {
    const std::uint64_t slot = shared.slots[at];
    if (slot >> 32 != hash >> 32) continue;
    const Entry& entry = shared.entries[static_cast<std::uint32_t>(slot) - 1];
    if (entry.text == text) {
      ++shared.hits;
      return entry.value;
    }
  }
  core::Value value = make(text);
  if (shared.lookups >= kTrialLookups && shared.hits < shared.lookups / 4) {
    shared = Column{};  // mostly new texts: sharing does not pay
    shared.off = true;
  } else if (shared.entries.size() < kMostShared) {
    shared.entries.push_back(Entry{hash, std::string(text), value});
    shared.slots[at] = (hash >> 32 << 32) | shared.entries.size();
    if (2 * shared.entries.size() >= shared.slots.size()) grow(shared);
  }
  return value;
}

void CellMaker::grow(Column& column) {
  std::vector<std::uint64_t> slots(2 * column.slots.size());
  const std::size_t mask = slots.size() - 1;
  for (std::uint32_t i = 0; i < column.entries.size(); ++i) {
    const std::uint64_t hash = column.entries[i].hash;
    std::size_t at = hash & mask;
    while (slots[at] != 0) at = (at + 1) & mask;
    slots[at] = (hash >> 32 << 32) | (i + 1);
  }
  column.slots = std::move(slots);
}

CellMatch::CellMatch(const std::string& wanted) : number_(csv::is_plain_decimal(wanted)), text_(wanted) {
  if (number_) numeric_.fromString(text_.c_str());
  value_ = CellMaker(0).make(text_);
}

bool CellMatch::operator()(std::string_view cell) const {
  if (!number_) return cell == text_;  // VALUE is no number, so neither is a cell with its text
  if (!csv::is_plain_decimal(cell)) return false;
  core::Numeric number;
  number.fromString(cell.data());
  return number.compare(numeric_) == 0;
}

void keep_until_exit(TablePtr table) {
  static auto* const kept = new std::vector<TablePtr>();
  kept->push_back(std::move(table));
}

void Collector::add(const std::vector<core::Value>& row) { table_->table()->core().add(row); }

Grouper::Grouper(TablePtr table, std::size_t groups) : table_(std::move(table)), limit_(kLeastGrouping) {
  const core::ValueTableBase& base = *table_->table();
  for (std::uint32_t position = 0; position < base.columnCount(); ++position) {
    (position < groups ? groupIDs_ : totalIDs_).push_back(base.columnID(position));
  }
}

void Grouper::add(const std::vector<core::Value>& row) {
  core::ValueTableCore& core = table_->table()->core();
  core.add(row);
  if (core.size() >= limit_) {
    group();
    limit_ = std::max(kLeastGrouping, 2 * core.size());
  }
}

const TablePtr& Grouper::finish() {
  group();
  return table_;
}

void Grouper::group() { table_->table()->core().groupBy(groupIDs_, totalIDs_); }

}  // namespace kern::table
