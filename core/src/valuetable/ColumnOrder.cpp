// ColumnOrder and TypedValue. Invariant of ColumnOrder: the slots of the records are exactly 0 to
// size() - 1, so that a slot indexes bySlot_ directly; every change rebuilds both indexes, which costs
// a pass over the columns (tables have tens of columns, not thousands).
#include <algorithm>

#include "core/ValueTableStorage.h"

namespace core {

std::uint32_t ColumnOrder::position(std::int32_t id) const noexcept {
  auto it = std::lower_bound(byId_.begin(), byId_.end(), std::make_pair(id, std::uint32_t{0}));
  return it != byId_.end() && it->first == id ? it->second : kNoIndex;
}

std::uint32_t ColumnOrder::positionOfSlot(std::uint32_t slot) const noexcept {
  return slot < bySlot_.size() ? bySlot_[slot] : kNoIndex;
}

const VTColumnRecord* ColumnOrder::find(std::int32_t id) const noexcept {
  const std::uint32_t at = position(id);
  return at == kNoIndex ? nullptr : &records_[at];
}

const VTColumnRecord* ColumnOrder::findSlot(std::uint32_t slot) const noexcept {
  const std::uint32_t at = positionOfSlot(slot);
  return at == kNoIndex ? nullptr : &records_[at];
}

void ColumnOrder::insert(std::uint32_t position, VTColumnRecord record) {
  records_.insert(records_.begin() + position, std::move(record));
  reindex();
}

VTColumnRecord ColumnOrder::erase(std::uint32_t position) {
  VTColumnRecord gone = std::move(records_[position]);
  records_.erase(records_.begin() + position);
  for (auto& record : records_) {
    if (record.slot > gone.slot) --record.slot;
  }
  reindex();
  return gone;
}

void ColumnOrder::move(std::uint32_t from, std::uint32_t to) {
  if (from < to) {
    std::rotate(records_.begin() + from, records_.begin() + from + 1, records_.begin() + to + 1);
  } else {
    std::rotate(records_.begin() + to, records_.begin() + from, records_.begin() + from + 1);
  }
  reindex();
}

void ColumnOrder::setPattern(std::uint32_t position, TypeDomainPattern pattern) {
  records_[position].pattern = std::move(pattern);
}

void ColumnOrder::assign(std::vector<VTColumnRecord> records) {
  records_ = std::move(records);
  reindex();
}

void ColumnOrder::clear() noexcept {
  records_.clear();
  byId_.clear();
  bySlot_.clear();
}

void ColumnOrder::reindex() {
  byId_.clear();
  bySlot_.assign(records_.size(), kNoIndex);
  for (std::uint32_t i = 0; i < records_.size(); ++i) {
    byId_.emplace_back(records_[i].id, i);
    if (records_[i].slot < bySlot_.size()) bySlot_[records_[i].slot] = i;
  }
  std::sort(byId_.begin(), byId_.end());
}

TypedValue::TypedValue(TypeDomainPattern pattern)
    : pattern_(std::move(pattern)), default_(pattern_.createDefaultValue(), adopt_ref) {}

bool TypedValue::admits(const GenericValue& value) const {
  return pattern_.isEmpty() || pattern_.containsType(value.type());
}

}  // namespace core
