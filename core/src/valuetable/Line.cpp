// ValueTableLine and LineIterator.
//
// A line keeps the values it was given, by slot; it may hold fewer slots than the table has columns, and
// a missing slot reads as the column's default value. Column addresses are turned into slots through the
// table's ColumnOrder; a line outside any table takes identifiers and positions as slots.
#include <algorithm>
#include <functional>
#include <new>

#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ValueTableStorage.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("Line");

[[noreturn]] void unknown_column(int line) {
  throw IllegalArgumentException(kSourceFile, line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
}

}  // namespace

NonmovableSharedPtr<ValueTableLine> ValueTableLine::make(std::int32_t id, std::uint32_t capacity) {
  // One inline slot at least: it holds the heap array's address once the values outgrow the block.
  const auto inlineCapacity = std::max(capacity, 1u);
  void* block = nexa_malloc(sizeof(ValueTableLine) + inlineCapacity * sizeof(IValue*));
  return NonmovableSharedPtr<ValueTableLine>(::new (block) ValueTableLine(id, inlineCapacity));
}

ValueTableLine::ValueTableLine(std::int32_t id, std::uint32_t inlineCapacity) noexcept
    : id_(id), capacity_(inlineCapacity), inlineCapacity_(inlineCapacity) {}

ValueTableLine::~ValueTableLine() {
  // The child page may outlive the line (an iterator holds one of its lines).
  if (children_) children_->resetParent();
  clearSlots();
  if (capacity_ > inlineCapacity_) nexa_free(slots());
}

void ValueTableLine::operator delete(void* block) noexcept { nexa_free(block); }

// ----- value slots

void ValueTableLine::assignSlot(std::uint32_t slot, const GenericValue& value) noexcept {
  IValue* given = value._getIValue();
  given->AddRef();
  std::swap(slots()[slot], given);
  given->Release();
}

void ValueTableLine::appendSlot(Value value) {
  reserveSlots(size_ + 1);
  slots()[size_++] = value.detachIValue();
}

void ValueTableLine::eraseSlot(std::uint32_t slot) noexcept {
  IValue** held = slots();
  IValue* gone = held[slot];
  std::copy(held + slot + 1, held + size_, held + slot);
  --size_;
  gone->Release();
}

void ValueTableLine::clearSlots() noexcept {
  IValue** held = slots();
  // Emptied first: releasing a value may run code that reads this line.
  const std::uint32_t count = std::exchange(size_, 0);
  // The values of a line lie anywhere in memory, and each release is a locked instruction that lets no
  // later load start: fetching them all first overlaps the cache misses.
  for (std::uint32_t slot = 0; slot < count; ++slot) __builtin_prefetch(held[slot], 1);
  for (std::uint32_t slot = count; slot > 0; --slot) held[slot - 1]->Release();
}

void ValueTableLine::reserveSlots(std::uint32_t count) {
  if (count <= capacity_) return;
  const std::uint32_t capacity = std::max(count, capacity_ * 2);
  auto* grown = static_cast<IValue**>(nexa_malloc(capacity * sizeof(IValue*)));
  IValue** held = slots();
  std::copy(held, held + size_, grown);
  if (capacity_ > inlineCapacity_) nexa_free(held);
  capacity_ = capacity;
  reinterpret_cast<IValue**>(this + 1)[0] = reinterpret_cast<IValue*>(grown);
}

std::uint32_t ValueTableLine::index() const { return owner_ != nullptr ? owner_->lineRoot()->index(this) : kNoIndex; }

std::uint32_t ValueTableLine::level() const noexcept {
  std::uint32_t level = 0;
  for (const ValueTableLine* up = ValueTablePage::lineParent(this); up != nullptr;
       up = ValueTablePage::lineParent(up)) {
    ++level;
  }
  return level;
}

ValueTableLine* ValueTableLine::parentLine() const noexcept { return ValueTablePage::lineParent(this); }

ValueTablePage& ValueTableLine::children() {
  if (!children_) {
    children_ = SharedPtr<ValueTablePage>(new ValueTablePage());
    children_->initParent(this);
  }
  return *children_;
}

bool ValueTableLine::hasChild() const noexcept { return children_ && !children_->empty(); }

ValueTablePage* ValueTableLine::root() const noexcept { return owner_ != nullptr ? owner_->tableRoot() : nullptr; }

// ----- values

std::uint32_t ValueTableLine::dereference(std::int32_t columnID) const {
  const ColumnOrder* order = columns();
  if (order == nullptr) return columnID >= 0 ? static_cast<std::uint32_t>(columnID) : kNoIndex;
  const VTColumnRecord* record = order->find(columnID);
  return record != nullptr ? record->slot : kNoIndex;
}

std::uint32_t ValueTableLine::dereferencePos(std::uint32_t slot) const {
  const ColumnOrder* order = columns();
  if (order == nullptr) return slot;
  return slot < order->size() || slot < size_ ? slot : kNoIndex;
}

const TypeDomainPattern* ValueTableLine::defaultType(std::uint32_t slot) const noexcept {
  const ColumnOrder* order = columns();
  const VTColumnRecord* record = order != nullptr ? order->findSlot(slot) : nullptr;
  return record != nullptr && !record->pattern.isEmpty() ? &record->pattern : nullptr;
}

Value ValueTableLine::typedValue(std::uint32_t slot) const {
  if (slot < size_) return Value(slots()[slot]);
  const TypeDomainPattern* type = defaultType(slot);
  return type != nullptr ? Value(type->createDefaultValue(), adopt_ref) : Value();
}

Value ValueTableLine::get(std::int32_t columnID) const {
  const std::uint32_t slot = dereference(columnID);
  if (slot == kNoIndex) unknown_column(__LINE__);
  return typedValue(slot);
}

Value ValueTableLine::missingAt(std::uint32_t slot) const {
  if (slot == kNoIndex) unknown_column(__LINE__);
  return typedValue(slot);
}

Value ValueTableLine::getAtPos(std::uint32_t slot) const {
  if (dereferencePos(slot) == kNoIndex) unknown_column(__LINE__);
  return typedValue(slot);
}

void ValueTableLine::set(std::int32_t columnID, const GenericValue& value) {
  const std::uint32_t slot = dereference(columnID);
  if (slot == kNoIndex) unknown_column(__LINE__);
  store(slot, value);
}

void ValueTableLine::setAt(std::uint32_t position, const GenericValue& value) {
  const std::uint32_t slot = dereferenceAt(position);
  if (slot == kNoIndex) unknown_column(__LINE__);
  store(slot, value);
}

void ValueTableLine::store(std::uint32_t slot, const GenericValue& value) {
  while (size_ <= slot) appendSlot(typedValue(size_));
  assignSlot(slot, value);
  touch();
}

void ValueTableLine::touch() {
  if (ValueTablePage* table = root()) {
    table->change();
    stamp_ = table->stamp();
  }
}

// ----- slot walks

void ValueTableLine::eraseAt(std::uint32_t slot) {
  if (slot < size_) eraseSlot(slot);
  if (children_) children_->eraseValueAt(slot);
}

void ValueTableLine::eraseAt(const std::set<std::uint32_t>& slots) {
  // From the highest down, so that each slot still names the value it named before.
  for (auto slot = slots.rbegin(); slot != slots.rend(); ++slot) {
    if (*slot < size_) eraseSlot(*slot);
  }
  if (children_) children_->eraseValueAt(slots);
}

void ValueTableLine::cleanAt(std::uint32_t slot) {
  if (slot < size_) {
    const TypeDomainPattern* type = defaultType(slot);
    assignSlot(slot, type != nullptr ? Value(type->createDefaultValue(), adopt_ref) : Value());
  }
  if (children_) children_->cleanValueAt(slot);
}

void ValueTableLine::cleanAt(const std::set<std::uint32_t>& slots) {
  for (std::uint32_t slot : slots) cleanAt(slot);
}

void ValueTableLine::filterValue(std::uint32_t slot, const TypedValue* typed) {
  if (slot < size_ && !typed->admits(WeakValue(slots()[slot]))) assignSlot(slot, typed->defaultValue());
  if (children_) children_->filterValue(slot, typed);
}

NonmovableSharedPtr<ValueTableLine> ValueTableLine::copy() const {
  NonmovableSharedPtr<ValueTableLine> made = make(id_, size_);
  for (std::uint32_t slot = 0; slot < size_; ++slot) made->appendSlot(Value(slots()[slot]));
  made->stamp_ = stamp_;
  if (hasChild()) made->children().copyFrom(*children_);
  return made;
}

// ----- LineIterator

bool LineIterator::valid() const noexcept { return line_ && line_->valid(); }

std::size_t LineIterator::hash() const noexcept { return std::hash<const void*>()(line_.get()); }

ValueTablePage* LineIterator::page() const noexcept { return line_ ? line_->owner_ : nullptr; }

// Within the leaf the step is direct; past its end the target is found by number from the level's top.
LineIterator& LineIterator::move(std::int64_t n) {
  if (!valid()) {
    line_.reset();
    leaf_ = nullptr;
    return *this;
  }
  locate();
  const std::int64_t inLeaf = static_cast<std::int64_t>(position_) + n;
  if (inLeaf >= 0 && inLeaf < static_cast<std::int64_t>(leaf_->lines_->size())) {
    moveTo(leaf_, static_cast<std::uint32_t>(inLeaf));
    ValueTablePage::prefetchAhead(*leaf_->lines_, position_);  // a walk reads the lines ahead next
    return *this;
  }
  const ValueTablePage* level = leaf_->lineRoot();
  const std::int64_t target = static_cast<std::int64_t>(level->startIndex(leaf_)) + inLeaf;
  std::uint32_t indexInPage = 0;
  ValueTablePage* leaf = target >= 0 && target < static_cast<std::int64_t>(level->size())
                             ? level->lineRef(static_cast<std::uint32_t>(target), indexInPage)
                             : nullptr;
  if (leaf != nullptr) {
    moveTo(leaf, indexInPage);
  } else {
    line_.reset();
    leaf_ = nullptr;
  }
  return *this;
}

// The remembered place is trusted only when the line's owner is the remembered leaf (so that leaf is
// alive) and the leaf holds the line there.
void LineIterator::locate() {
  ValueTablePage* owner = line_->owner_;
  if (owner == leaf_ && position_ < owner->lines_->size() && (*owner->lines_)[position_] == line_.get()) {
    return;
  }
  leaf_ = owner;
  position_ = owner->positionOf(line_.get());
}

void LineIterator::moveTo(ValueTablePage* leaf, std::uint32_t position) {
  line_.reset((*leaf->lines_)[position]);
  line_->positionHint_ = position;
  leaf_ = leaf;
  position_ = position;
}

}  // namespace core
