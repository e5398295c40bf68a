// Operations of ValueTablePage that visit every line: slot walks, copying, search, totals, grouping.
#include <algorithm>

#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ValueTableStorage.h"
#include "valuetable/ValueKeys.h"

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

namespace {

// The group keys of one grouping: open addressing over group numbers, each entry with its key's hash,
// and each group's key values (borrowed from its first line), so that a row costs one hash per group
// column and, for a row of a known group, one comparison per column.
class GroupIndex {
 public:
  explicit GroupIndex(std::size_t width) : width_(width) {}

  // The number of the group of `key` (width_ values), a new one when the key is new; `fresh` tells which.
  std::uint32_t find(const IValue* const* key, bool& fresh) {
    if ((count_ + 1) * 2 > table_.size()) grow();
    const std::uint32_t hash = hash_of(key);
    std::size_t at = hash & (table_.size() - 1);
    for (; table_[at] != kEmpty; at = (at + 1) & (table_.size() - 1)) {
      const auto group = static_cast<std::uint32_t>(table_[at]);
      if (table_[at] >> 32 == hash && same_key(key, keys_.data() + group * width_)) {
        fresh = false;
        return group;
      }
    }
    fresh = true;
    table_[at] = std::uint64_t{hash} << 32 | count_;
    keys_.insert(keys_.end(), key, key + width_);
    return count_++;
  }

 private:
  static constexpr std::uint64_t kEmpty = ~std::uint64_t{0};

  std::uint32_t hash_of(const IValue* const* key) const noexcept {
    std::uint32_t hash = 0;
    for (std::size_t i = 0; i < width_; ++i) hash = hash * 31 + static_cast<std::uint32_t>(key[i]->hashCode());
    // Spread the bits: number hashes of small integers are small integers. The top bit stays clear, so
    // that no entry equals kEmpty.
    return static_cast<std::uint32_t>((hash * 0x9E3779B97F4A7C15ull) >> 33);
  }
  bool same_key(const IValue* const* a, const IValue* const* b) const noexcept {
    for (std::size_t i = 0; i < width_; ++i) {
      if (a[i] != b[i] && !a[i]->isEqual(const_cast<IValue*>(b[i]))) return false;
    }
    return true;
  }
  void grow() {
    std::vector<std::uint64_t> table(std::max<std::size_t>(table_.size() * 2, 64), kEmpty);
    for (const std::uint64_t entry : table_) {
      if (entry == kEmpty) continue;
      std::size_t at = (entry >> 32) & (table.size() - 1);
      while (table[at] != kEmpty) at = (at + 1) & (table.size() - 1);
      table[at] = entry;
    }
    table_ = std::move(table);
  }

  std::size_t width_;
  std::uint32_t count_ = 0;
  std::vector<std::uint64_t> table_;  // (hash << 32 | group), or kEmpty
  std::vector<const IValue*> keys_;   // width_ per group
};

}  // namespace

void ValueTablePage::groupBy(const std::vector<std::int32_t>& groupColumns,
                             const std::vector<std::int32_t>& totalColumns) {
  const ColumnOrder* order = columnOrder();
  std::vector<std::uint32_t> groupSlots, totalSlots;
  for (std::int32_t id : groupColumns) groupSlots.push_back(slot_of(order, id, __LINE__));
  for (std::int32_t id : totalColumns) totalSlots.push_back(slot_of(order, id, __LINE__));

  // Slots a line holds no value for read as the column default, made once per slot and kept here.
  std::vector<Value> defaults;
  auto valueOf = [&](const ValueTableLine& line, std::uint32_t slot) -> const IValue* {
    if (IValue* held = line.peekAtPos(slot)) return held;
    defaults.push_back(line.typedValue(slot));
    return defaults.back()._getIValue();
  };

  GroupIndex index(groupSlots.size());
  std::vector<LinePtr> firsts;         // the first line of each group, in order of appearance
  std::vector<detail::FixedSum> sums;  // totalSlots.size() per group
  // Row numbers of the lines that join an earlier group: a level's top rebuilds its tree from the first
  // lines instead, any other page erases these.
  const bool rebuild = lineRoot() == this;
  std::vector<std::uint32_t> merged;
  std::vector<const IValue*> key(groupSlots.size());
  std::uint32_t row = 0;
  forEachLine(false, [&](ValueTableLine& line) {
    for (std::size_t i = 0; i < groupSlots.size(); ++i) key[i] = valueOf(line, groupSlots[i]);
    bool fresh = false;
    const std::uint32_t group = index.find(key.data(), fresh);
    if (fresh) {
      firsts.emplace_back(&line);
      sums.resize(sums.size() + totalSlots.size());
    } else if (!rebuild) {
      merged.push_back(row);
    }
    for (std::size_t i = 0; i < totalSlots.size(); ++i) {
      sums[group * totalSlots.size() + i].add(valueOf(line, totalSlots[i]));
    }
    ++row;
  });

  if (rebuild) {
    replaceLines(firsts);
  } else {
    for (auto at = merged.rbegin(); at != merged.rend(); ++at) erase(*at);
  }
  tableRoot()->change();
  const std::uint64_t stamp = tableRoot()->stamp();
  // Each slot that is neither grouped nor totalled gets the column's default value, made once. A total
  // may be the very value its slot holds (a group of one), so totalled slots are not cleared first.
  std::vector<Value> cleared;
  std::vector<bool> kept;
  for (const auto* slots : {&groupSlots, &totalSlots}) {
    for (std::uint32_t slot : *slots) {
      if (slot >= kept.size()) kept.resize(slot + 1, false);
      kept[slot] = true;
    }
  }
  for (std::size_t group = 0; group < firsts.size(); ++group) {
    ValueTableLine& line = *firsts[group];
    for (std::uint32_t slot = static_cast<std::uint32_t>(cleared.size()); slot < line.size(); ++slot) {
      const TypeDomainPattern* type = line.defaultType(slot);
      cleared.push_back(type != nullptr ? Value(type->createDefaultValue(), adopt_ref) : Value());
    }
    for (std::uint32_t slot = 0; slot < line.size(); ++slot) {
      if (slot >= kept.size() || !kept[slot]) line.assignSlot(slot, cleared[slot]);
    }
    for (std::size_t i = 0; i < totalSlots.size(); ++i) {
      const std::uint32_t slot = totalSlots[i];
      while (line.size() <= slot) line.appendSlot(line.typedValue(line.size()));
      line.assignSlot(slot, sums[group * totalSlots.size() + i].result());
    }
    line.stamp_ = stamp;
    if (line.children_) line.children_->clearLines();
  }
}

}  // namespace core
