// Operations of ValueTablePage that visit every line: slot walks, copying, search, totals, grouping.
#include <algorithm>
#include <unordered_map>

#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ValueTableStorage.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("PageWalks");

// The slot of a column identifier: through the table's columns, or the identifier itself outside a table.
std::uint32_t slot_of(const ColumnOrder* order, std::int32_t id, int line) {
  if (order == nullptr && id >= 0) return static_cast<std::uint32_t>(id);
  const VTColumnRecord* record = order != nullptr ? order->find(id) : nullptr;
  if (record == nullptr) throw IllegalArgumentException(kSourceFile, line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  return record->slot;
}

struct GroupKeyHash {
  std::size_t operator()(const std::vector<Value>& key) const {
    std::size_t hash = 0;
    for (const Value& value : key) hash = hash * 31 + static_cast<std::uint32_t>(value.hashCode());
    return hash;
  }
};

struct GroupKeyEqual {
  bool operator()(const std::vector<Value>& a, const std::vector<Value>& b) const {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const Value& x, const Value& y) { return x.equals(y); });
  }
};

}  // namespace

void ValueTablePage::eraseValueAt(std::uint32_t slot) {
  forEachLine(false, [slot](ValueTableLine& line) { line.eraseAt(slot); });
}

void ValueTablePage::eraseValueAt(const std::set<std::uint32_t>& slots) {
  forEachLine(false, [&slots](ValueTableLine& line) { line.eraseAt(slots); });
}

void ValueTablePage::cleanValueAt(std::uint32_t slot) {
  forEachLine(false, [slot](ValueTableLine& line) { line.cleanAt(slot); });
}

void ValueTablePage::cleanValueAt(const std::set<std::uint32_t>& slots) {
  forEachLine(false, [&slots](ValueTableLine& line) { line.cleanAt(slots); });
}

void ValueTablePage::filterValue(std::uint32_t slot, const TypedValue* typed) {
  forEachLine(false, [slot, typed](ValueTableLine& line) { line.filterValue(slot, typed); });
}

void ValueTablePage::copyFrom(const ValueTablePage& page) {
  clearLines();
  page.forEachLine(false, [this](const ValueTableLine& line) { add(line.copy()); });
}

std::vector<LineIterator> ValueTablePage::find(const GenericValue& value, const std::vector<std::uint32_t>& slots,
                                               bool includeChildren) const {
  std::vector<LineIterator> found;
  const std::uint32_t columns = columnCount();
  forEachLine(includeChildren, [&](ValueTableLine& line) {
    auto holds = [&](std::uint32_t slot) { return line.typedValue(slot).equals(value); };
    bool hit = false;
    if (slots.empty()) {
      for (std::uint32_t slot = 0, n = std::max(columns, line.size()); slot < n && !hit; ++slot) hit = holds(slot);
    } else {
      hit = std::any_of(slots.begin(), slots.end(), holds);
    }
    if (hit) found.emplace_back(LinePtr(&line));
  });
  return found;
}

std::vector<LineIterator> ValueTablePage::find(const std::vector<VTFindParam>& params, bool includeChildren) const {
  const ColumnOrder* order = columnOrder();
  std::vector<std::uint32_t> slots;
  for (const VTFindParam& param : params) slots.push_back(slot_of(order, param.columnID, __LINE__));
  std::vector<LineIterator> found;
  forEachLine(includeChildren, [&](ValueTableLine& line) {
    for (std::size_t i = 0; i < params.size(); ++i) {
      if (!line.typedValue(slots[i]).equals(params[i].value)) return;
    }
    found.emplace_back(LinePtr(&line));
  });
  return found;
}

Value ValueTablePage::total(std::int32_t columnID, bool includeChildren) const {
  const ColumnOrder* order = columnOrder();
  const VTColumnRecord* record = order != nullptr ? order->find(columnID) : nullptr;
  if (empty() || (order != nullptr && record == nullptr) || columnID < 0) return Value(0);
  if (record != nullptr && record->pattern.hasSeveralTypes() && !record->pattern.containsType(Type::Number)) {
    return Value();
  }
  const std::uint32_t slot = record != nullptr ? record->slot : static_cast<std::uint32_t>(columnID);
  Numeric sum;
  forEachLine(includeChildren, [&](const ValueTableLine& line) {
    Numeric number;
    if (line.typedValue(slot).getNumeric(number)) sum += number;
  });
  return Value(sum);
}

void ValueTablePage::groupBy(const std::vector<std::int32_t>& groupColumns,
                             const std::vector<std::int32_t>& totalColumns) {
  const ColumnOrder* order = columnOrder();
  std::vector<std::uint32_t> groupSlots, totalSlots;
  for (std::int32_t id : groupColumns) groupSlots.push_back(slot_of(order, id, __LINE__));
  for (std::int32_t id : totalColumns) totalSlots.push_back(slot_of(order, id, __LINE__));

  struct Group {
    ValueTableLine* line;
    std::vector<Numeric> sums;
  };
  std::vector<Group> groups;
  std::unordered_map<std::vector<Value>, std::size_t, GroupKeyHash, GroupKeyEqual> byKey;
  std::vector<std::uint32_t> merged;  // row numbers of the lines that join an earlier group
  std::uint32_t row = 0;
  forEachLine(false, [&](ValueTableLine& line) {
    std::vector<Value> key;
    for (std::uint32_t slot : groupSlots) key.push_back(line.typedValue(slot));
    auto [at, fresh] = byKey.try_emplace(std::move(key), groups.size());
    if (fresh) groups.push_back({&line, std::vector<Numeric>(totalSlots.size())});
    if (!fresh) merged.push_back(row);
    for (std::size_t i = 0; i < totalSlots.size(); ++i) {
      Numeric number;
      if (line.typedValue(totalSlots[i]).getNumeric(number)) groups[at->second].sums[i] += number;
    }
    ++row;
  });
  for (auto index = merged.rbegin(); index != merged.rend(); ++index) erase(*index);

  const std::set<std::uint32_t> kept(groupSlots.begin(), groupSlots.end());
  for (Group& group : groups) {
    ValueTableLine& line = *group.line;
    for (std::uint32_t slot = 0; slot < line.size(); ++slot) {
      if (kept.count(slot) == 0) line.cleanAt(slot);
    }
    for (std::size_t i = 0; i < totalSlots.size(); ++i) line.store(totalSlots[i], Value(group.sums[i]));
    if (line.children_) line.children_->clearLines();
  }
  tableRoot()->change();
}

}  // namespace core
