// ValueTableCore: the root page with the columns, the identifier counters, the page size and the stamp.
// Column changes touch lines only where the values themselves change (removing or cleaning a column, or
// a new type that does not admit them); moves and additions leave lines alone.
#include <algorithm>

#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ValueTableStorage.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("ValueTableCore");

[[noreturn]] void illegal_argument(int line) {
  throw IllegalArgumentException(kSourceFile, line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
}

}  // namespace

ValueTableCore::ValueTableCore(std::uint32_t maxPageSize) : maxPageSize_(maxPageSize), self_(new ValueTableRef()) {
  self_->table_ = this;
}

ValueTableCore::ValueTableCore(const ValueTableCore& other)
    : ValueTablePage(),
      maxPageSize_(other.maxPageSize_),
      lastColumnID_(other.lastColumnID_),
      lastLineID_(other.lastLineID_),
      columns_(other.columns_),
      self_(new ValueTableRef()) {
  self_->table_ = this;
  copyFrom(other);
  stamp_ = other.stamp_;
}

ValueTableCore::~ValueTableCore() { self_->table_ = nullptr; }

bool ValueTableCore::holds(const ValueTableLine& line) const noexcept {
  for (const ValueTableLine* current = &line; current->owner_ != nullptr;) {
    const ValueTablePage* top = current->owner_->lineRoot();
    if (top == this) return true;
    current = top->parent_;
    if (current == nullptr) return false;
  }
  return false;
}

void ValueTableCore::clear() {
  clearLines();
  columns_.clear();
  change();
}

std::uint32_t ValueTableCore::checkedPosition(std::int32_t id) const {
  const std::uint32_t position = columns_.position(id);
  if (position == kNoIndex) illegal_argument(__LINE__);
  return position;
}

std::uint32_t ValueTableCore::checkedAt(std::uint32_t position) const {
  if (position >= columns_.size()) illegal_argument(__LINE__);
  return position;
}

VTColumn ValueTableCore::addColumn(std::int32_t id, TypeDomainPattern pattern) {
  return insertColumn(columns_.size(), id, std::move(pattern));
}

VTColumn ValueTableCore::insertColumn(std::uint32_t position, std::int32_t id, TypeDomainPattern pattern) {
  if (position > columns_.size() || id < -1 || (id >= 0 && columns_.find(id) != nullptr)) {
    illegal_argument(__LINE__);
  }
  if (id == -1) {
    id = createColumnID();
  } else {
    lastColumnID_ = std::max(lastColumnID_, id);
  }
  const std::uint32_t slot = columns_.size();
  columns_.insert(position, VTColumnRecord{slot, id, std::move(pattern)});
  change();
  return VTColumn(id, slot);
}

VTColumn ValueTableCore::column(std::int32_t id) const noexcept {
  const VTColumnRecord* record = columns_.find(id);
  return record != nullptr ? VTColumn(record->id, record->slot) : VTColumn();
}

VTColumn ValueTableCore::columnAt(std::uint32_t position) const noexcept {
  if (position >= columns_.size()) return VTColumn();
  const VTColumnRecord& record = columns_.at(position);
  return VTColumn(record.id, record.slot);
}

std::int32_t ValueTableCore::columnID(std::uint32_t position) const noexcept {
  return position < columns_.size() ? columns_.at(position).id : -1;
}

std::uint32_t ValueTableCore::columnIndex(std::int32_t id) const noexcept { return columns_.position(id); }

void ValueTableCore::removeColumn(const VTColumn& column) { removeColumnAt(checkedPosition(column.id())); }

void ValueTableCore::removeColumnAt(std::uint32_t position) {
  const VTColumnRecord gone = columns_.erase(checkedAt(position));
  eraseValueAt(gone.slot);
  change();
}

void ValueTableCore::moveColumn(const VTColumn& column, std::int32_t offset) {
  moveColumnAt(checkedPosition(column.id()), offset);
}

void ValueTableCore::moveColumnAt(std::uint32_t position, std::int32_t offset) {
  const std::int64_t target = static_cast<std::int64_t>(checkedAt(position)) + offset;
  if (target < 0 || target >= columns_.size()) illegal_argument(__LINE__);
  columns_.move(position, static_cast<std::uint32_t>(target));
  change();
}

void ValueTableCore::cleanColumn(const VTColumn& column) { cleanColumnAt(checkedPosition(column.id())); }

void ValueTableCore::cleanColumnAt(std::uint32_t position) {
  cleanValueAt(columns_.at(checkedAt(position)).slot);
  change();
}

void ValueTableCore::cleanColumns(const std::vector<std::int32_t>& ids) {
  std::set<std::uint32_t> slots;
  for (std::int32_t id : ids) slots.insert(columns_.at(checkedPosition(id)).slot);
  cleanValueAt(slots);
  change();
}

void ValueTableCore::clearColumns() {
  std::set<std::uint32_t> slots;
  for (std::uint32_t slot = 0; slot < columns_.size(); ++slot) slots.insert(slot);
  eraseValueAt(slots);
  columns_.clear();
  change();
}

void ValueTableCore::setColumnCount(std::uint32_t count) {
  while (columns_.size() < count) addColumn(-1, TypeDomainPattern());
  while (columns_.size() > count) removeColumnAt(columns_.size() - 1);
}

void ValueTableCore::setTypeDomainPattern(std::int32_t id, TypeDomainPattern pattern) {
  setTypeDomainPatternAt(checkedPosition(id), std::move(pattern));
}

void ValueTableCore::setTypeDomainPatternAt(std::uint32_t position, TypeDomainPattern pattern) {
  const std::uint32_t slot = columns_.at(checkedAt(position)).slot;
  const TypedValue typed(pattern);
  columns_.setPattern(position, std::move(pattern));
  if (!typed.pattern().isEmpty()) filterValue(slot, &typed);
  change();
}

}  // namespace core
