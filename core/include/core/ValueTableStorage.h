#pragma once
// Value table storage: named, typed columns and an ordered sequence of lines (rows), each line holding
// one Value per column. Lines live in a tree of pages so that inserting, erasing and finding a line by
// its number stay cheap in tables of hundreds of thousands of lines; a line may own a child page of
// lines, which gives the same storage a hierarchical form. C++ code that keeps a table for itself works
// on this layer directly; ValueTableBase (core/ValueTableBase.h) adds column codes and the table interfaces
// on top of it, and core/ValueTableScript.h makes a table a script value.
//
//     core::ValueTableCore table(2000);                        // leaves hold at most 2000 lines
//     core::VTColumn amount = table.addColumn(-1, core::TypeDomainPattern{core::Type(core::Type::Number)});
//     core::LineIterator row = table.add();
//     row->set(amount.id(), core::Value(12));
//     row->children().add({core::Value(5)});                   // a child line: the tree form
//     table.total(amount.id(), true);                          // 17
//
// Columns have three addresses: the identifier (stable, issued from 0 up and never reused), the visible
// position (changed by moves), and the value slot (where each line keeps the column's value). Moving a
// column changes its position only, so lines are never rewritten; removing a column erases its slot in
// every line and the later slots move down by one. Lines keep the values they were given; a slot a line
// has no value for reads as the column's default value.
//
// Lines are shared objects: a LineIterator keeps its line alive (through NonmovableSharedPtr) after the
// line has left the table, and then answers valid() false. A leaf holds one reference to each of its
// lines as a plain pointer, so that shifting a leaf's lines to make room moves pointers and never touches
// a reference count. Pages and lines keep plain back pointers (owner page, parent line) that are reset
// when the line or page leaves its place.
//
// Failures: unknown column identifiers and positions throw IllegalArgumentException, and are checked
// before anything changes, so such a throw leaves the table as it was; line numbers at or beyond a
// page's size reach no line (lineAt gives an invalid iterator, erase does nothing); reading a malformed
// list stream throws the stream's ListStreamException, leaving the page cleared or partly read.
//
// Costs: finding a line by number is O(depth x log fan-out); a line's index() is O(depth) plus finding
// it in its leaf, which starts at the place it was last seen, so that lines shifted by a few inserts or
// erases nearby are found in a few steps. Iterators keep their leaf and place in it, so neighbouring
// moves cost O(1) and crossing into the next leaf O(depth). Lookups refresh these cached places, which is
// why even reading a table is not to be shared between threads. A line is one block holding its values'
// pointers (48 bytes and 8 per value); a table filled in order leaves its leaves three quarters full, so
// that inserts find room before leaves split. Sorting and grouping reduce each value to a key once per
// line (numbers and short strings to one 128-bit word) and compare or hash the keys, not the values;
// grouping keeps the first line of each group and builds the tree anew from those lines.
//
// Thread safety: reference counts are atomic, nothing else is synchronised; a table is used by one
// thread at a time.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "core/Export.h"
#include "core/Interface.h"
#include "core/TypeDomain.h"
#include "core/Value.h"
#include "nexa/Memory.h"

namespace core {

class IOutPersistenceStorage;
class IInPersistenceStorage;
class ListInStream;
class ValueTableLine;
class ValueTablePage;
class ValueTableCore;
class LineIterator;

// "No such line, position or slot".
inline constexpr std::uint32_t kNoIndex = 0xFFFFFFFFu;

// One column as the table keeps it.
struct VTColumnRecord {
  std::uint32_t slot = 0;     // where each line keeps the column's value
  std::int32_t id = -1;       // the stable identifier
  TypeDomainPattern pattern;  // the types the column admits
};

// A column handle: the column's identifier and value slot as they were when the handle was made. The
// slot goes stale when a column with a lower slot is removed; the identifier never does.
class VTColumn {
 public:
  // An invalid handle, or the handle of a column.
  VTColumn() noexcept = default;
  VTColumn(std::int32_t id, std::uint32_t slot) noexcept : id_(id), slot_(slot) {}
  // The identifier (-1 for an invalid handle) and the slot (kNoIndex).
  std::int32_t id() const noexcept { return id_; }
  std::uint32_t slot() const noexcept { return slot_; }
  // Whether the handle names a column (it may have been removed since).
  bool valid() const noexcept { return id_ >= 0; }

 private:
  std::int32_t id_ = -1;
  std::uint32_t slot_ = kNoIndex;
};

// The columns in visible order, with indexes from identifier and from slot to position. Slots are always
// 0 to size() - 1: erase() closes the gap the erased slot leaves.
class KERN83_API ColumnOrder {
 public:
  // The number of columns.
  std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(records_.size()); }
  // Unchecked: position < size().
  const VTColumnRecord& at(std::uint32_t position) const noexcept { return records_[position]; }
  // kNoIndex when unknown.
  std::uint32_t position(std::int32_t id) const noexcept;
  std::uint32_t positionOfSlot(std::uint32_t slot) const noexcept;
  // Null when unknown.
  const VTColumnRecord* find(std::int32_t id) const noexcept;
  const VTColumnRecord* findSlot(std::uint32_t slot) const noexcept;

  // Puts `record` at `position` (at most size()); its slot is taken as given.
  void insert(std::uint32_t position, VTColumnRecord record);
  // Removes the column at `position`; columns with a higher slot move down by one slot.
  VTColumnRecord erase(std::uint32_t position);
  // Moves the column at `from` to `to` (both below size()); slots stay.
  void move(std::uint32_t from, std::uint32_t to);
  // Replaces the types of the column at `position`.
  void setPattern(std::uint32_t position, TypeDomainPattern pattern);
  // Replaces every column; the slots of `records` must be 0 to records.size() - 1.
  void assign(std::vector<VTColumnRecord> records);
  // Removes every column.
  void clear() noexcept;

 private:
  void reindex();

  std::vector<VTColumnRecord> records_;                       // visible order
  std::vector<std::pair<std::int32_t, std::uint32_t>> byId_;  // (id, position), ordered by id
  std::vector<std::uint32_t> bySlot_;                         // position of each slot
};

// A type description and the value that stands for "empty" in it. filterValue keeps the stored values the
// description admits and puts the default value in place of the others.
class KERN83_API TypedValue {
 public:
  // The description and its default value (TypeDomainPattern::createDefaultValue).
  explicit TypedValue(TypeDomainPattern pattern);
  const TypeDomainPattern& pattern() const noexcept { return pattern_; }
  const Value& defaultValue() const noexcept { return default_; }
  // A description without types admits every value; otherwise the value's type must be listed.
  bool admits(const GenericValue& value) const;

 private:
  TypeDomainPattern pattern_;
  Value default_;
};

// One condition of find(): the column's value equals `value`.
struct VTFindParam {
  std::int32_t columnID = -1;  // the column, by identifier
  Value value;                 // the value it must hold
};

// A node of the line tree: a leaf holding lines, or an inner node holding sub-pages; also the child page
// (the next level) of a hierarchical line. Indexes count the lines of this page and its sub-pages, not
// those of child pages.
class KERN83_API ValueTablePage : public Refcountable<ValueTablePage, AtomicCounter>, public nexa::Allocated {
 public:
  // A counted pointer to a line.
  using LinePtr = NonmovableSharedPtr<ValueTableLine>;
  // Each pointer carries the leaf's reference to its line. One contiguous array: finding a line by
  // number reads it directly, and making room moves at most a leaf's worth of pointers in one memmove.
  using Lines = std::vector<ValueTableLine*, nexa::StdAllocator<ValueTableLine*>>;
  // The sub-pages of an inner node.
  using Pages = std::vector<SharedPtr<ValueTablePage>, nexa::StdAllocator<SharedPtr<ValueTablePage>>>;

  ValueTablePage() noexcept;
  ValueTablePage(const ValueTablePage&) = delete;
  ValueTablePage& operator=(const ValueTablePage&) = delete;

  // Forwarded to the owner page; a page without one answers 2000, 0 and ignores change().
  virtual std::uint32_t maxPageSize() const;
  virtual std::uint64_t stamp() const;
  virtual void change();
  // Asked of the table: through the owner page, or for a child page through its parent line's page; -1
  // for a page with neither.
  virtual std::int32_t createLineID();
  // The table's columns, found like createLineID; null for a page outside any table, whose lines then
  // take column identifiers and positions as slots.
  virtual const ColumnOrder* columnOrder() const;
  virtual ~ValueTablePage();
  // The page block: {1, line count, line blocks in row order}.
  virtual void serialize(IOutPersistenceStorage* storage) const;
  // Clears the page, then reads a page block. Throws ListStreamException on malformed input.
  virtual void deserialize(IInPersistenceStorage* storage);

  // A new line with `values` in slot order, at the end or before line `index` (an index beyond the end
  // appends). Returns an iterator on it.
  LineIterator add(const std::vector<Value>& values);
  LineIterator add(std::vector<Value>&& values = {});
  LineIterator insert(std::uint32_t index, const std::vector<Value>& values);
  LineIterator insert(std::uint32_t index, std::vector<Value>&& values = {});
  // The line at `index`; invalid when index >= size().
  LineIterator lineAt(std::uint32_t index) const;
  // The lines of this page and its sub-pages, and the table's column count (0 outside a table).
  std::uint32_t size() const noexcept { return count_; }
  std::uint32_t columnCount() const;
  // Removes the line at `index` (nothing when out of range); the line's owner is reset.
  void erase(std::uint32_t index);
  // Removes every line.
  void clear();
  void clearLines();
  // Appends empty lines or erases lines from the end.
  void resize(std::uint32_t count);
  // Moves line `from` to become line `to` (both below size()); the line object, its identifier and its
  // children stay the same, so iterators on it stay valid.
  void moveLine(std::uint32_t from, std::uint32_t to);
  // Stably sorts this level's lines (child pages keep their own order): `keyOf(line)` is called once per
  // line in row order, then the lines are ordered by `less` over the keys. When keyOf or less throws,
  // the order is unchanged.
  template <class KeyOf, class Less>
  void sortLines(KeyOf&& keyOf, Less&& less);
  // The same for keys that no two lines share (`less` orders any two of them one way), which leave no
  // ties for a stable sort to keep and so are sorted by a faster, unstable algorithm. `keyOf(line, row)`
  // is given the line's row number, and the key keeps it as its member `row` (a key that compares row
  // numbers last is a distinct key).
  template <class KeyOf, class Less>
  void sortLinesByDistinctKeys(KeyOf&& keyOf, Less&& less);

  // Lines where one of the value slots `slots` (every slot of the line when empty) holds `value`, in row
  // order; with includeChildren the lines of child pages follow their parent line.
  std::vector<LineIterator> find(const GenericValue& value, const std::vector<std::uint32_t>& slots,
                                 bool includeChildren) const;
  // Lines where every condition holds. Throws IllegalArgumentException for an unknown column.
  std::vector<LineIterator> find(const std::vector<VTFindParam>& params, bool includeChildren) const;
  // The sum of the column's values as a number: 0 for an empty page or an unknown column; Undefined for a
  // column of several types none of which is the number type. Values that are not numbers add what
  // getNumeric makes of them (0 when it fails).
  Value total(std::int32_t columnID, bool includeChildren) const;
  // Leaves one line per distinct combination of the group columns' values (the first line of each group,
  // in order of first appearance), with the total columns summed over the group and every other column,
  // and the line's children, cleared. Throws IllegalArgumentException for an unknown column.
  void groupBy(const std::vector<std::int32_t>& groupColumns, const std::vector<std::int32_t>& totalColumns);

  // Which of the two forms the page has (neither when it never held a line).
  bool lines() const noexcept { return lines_ != nullptr; }
  bool pages() const noexcept { return pages_ != nullptr; }
  // The lines a leaf holds itself, and the sub-pages of an inner node.
  std::uint32_t linesCount() const noexcept;
  std::uint32_t pagesCount() const noexcept;
  // Whether the page holds no line.
  bool empty() const noexcept { return count_ == 0; }

 protected:
  friend class ValueTableLine;
  friend class LineIterator;
  friend class ValueTableCore;

  // Place an existing line that belongs to no page (IllegalArgumentException otherwise), or a new line
  // with identifier `id` and `values` in slot order; at the end or before line `index`.
  LineIterator add(const LinePtr& line);
  LineIterator insert(std::uint32_t index, const LinePtr& line);
  LineIterator add(std::int32_t id, std::vector<Value> values);
  LineIterator insert(std::uint32_t index, std::int32_t id, std::vector<Value> values);

  // Row number of `line` within this page's tree, kNoIndex when it is not in it.
  std::uint32_t index(const ValueTableLine* line) const;
  // Row number of the first line of `page`, a page of this page's tree.
  std::uint32_t startIndex(const ValueTablePage* page) const;
  // The leaf holding line `index` and the line's index in it; null when out of range.
  ValueTablePage* lineRef(std::uint32_t index, std::uint32_t& indexInPage) const;
  // The same as the line's place in its leaf's queue, with the leaf and the index in it stored through
  // the pointers (either may be null); out of range, the place is an empty iterator, the leaf null and
  // the index kNoIndex.
  Lines::const_iterator lineRef(std::uint32_t index, ValueTablePage** page, std::uint32_t* indexInPage) const;
  // The lines of this leaf.
  Lines::const_iterator beginLineRef() const;
  Lines::const_iterator endLineRef() const;
  // The place of `subPage` among this page's sub-pages; endPageRef() when it is not one of them.
  Pages::const_iterator pageRef(const ValueTablePage* subPage) const;
  // The sub-pages of this inner node.
  Pages::const_iterator beginPageRef() const;
  Pages::const_iterator endPageRef() const;
  // This page's place among its owner's sub-pages; an empty iterator for a page without owner.
  Pages::const_iterator selfRef() const;
  // The top page of this page's tree (the table, or the child page of a line).
  ValueTablePage* lineRoot() const noexcept {
    const ValueTablePage* page = this;
    while (page->owner_ != nullptr) page = page->owner_;
    return const_cast<ValueTablePage*>(page);
  }
  // The line whose child page holds `line`, or null for a line of the table's own tree.
  static ValueTableLine* lineParent(const ValueTableLine* line) noexcept;
  // The page above in the same tree, and the line whose child page this is (null when none).
  ValueTablePage* owner() const noexcept { return owner_; }
  ValueTableLine* parent() const noexcept { return parent_; }
  // Whether the line (page) is held by this page's tree.
  bool valid(const ValueTableLine* line) const noexcept;
  bool valid(const ValueTablePage* page) const noexcept;
  // Set and reset a line's leaf.
  void initOwner(ValueTableLine* line) noexcept;
  static void resetOwner(ValueTableLine* line) noexcept;
  // Set and reset the line whose child page this is.
  void initParent(ValueTableLine* line) noexcept { parent_ = line; }
  void resetParent() noexcept { parent_ = nullptr; }
  // Replaces this page's lines by copies of `page`'s lines, identifiers and child pages included.
  void copyFrom(const ValueTablePage& page);
  // Lines were reordered in place: nothing to recount, as leaves keep their sizes.
  void afterSort() {}

  // ValueTableLine's eraseAt, cleanAt and filterValue applied to every line of this page's tree.
  void eraseValueAt(std::uint32_t slot);
  void eraseValueAt(const std::set<std::uint32_t>& slots);
  void cleanValueAt(std::uint32_t slot);
  void cleanValueAt(const std::set<std::uint32_t>& slots);
  void filterValue(std::uint32_t slot, const TypedValue* typed);

  // Walks over a leaf visit lines and values that lie anywhere in memory: while line i is visited, the
  // processor fetches the values of a line a few places on and the line a few places beyond that.
  static void prefetchAhead(const Lines& lines, std::size_t i) noexcept;
  // The topmost page above this one, following parent lines: where change() is meant to arrive.
  ValueTablePage* tableRoot() const noexcept;
  // Calls fn(line) for every line of this page's tree in row order; with children, a line's child lines
  // (recursively) right after it.
  template <class Fn>
  void forEachLine(bool includeChildren, Fn&& fn) const;

 private:
  std::uint32_t leafLimit() const;
  LinePtr newLine(std::int32_t id, std::size_t values) const;
  nexa::UniquePtr<Lines> newLines() const;
  std::uint32_t fanOut() const;
  // Places `line` (taking a reference for its leaf) at `index` of this page's tree.
  void insertLine(std::uint32_t index, ValueTableLine* line);
  // Takes line `index` out of the tree; the leaf's reference goes to the caller.
  ValueTableLine* removeLine(std::uint32_t index);
  // Splitting after an append keeps three quarters in the full page and starts the new page with the
  // rest, so that a table filled in order has leaves three quarters full, with room for inserts before
  // any of them splits; any other split halves the page.
  SharedPtr<ValueTablePage> splitOff(bool appending);
  void pushDown(bool appending);
  void splitSubPage(std::size_t k, bool appending);
  // Replaces this level's lines by `lines`, in order, holding nothing else: lines that are not among them
  // leave the table.
  void replaceLines(const std::vector<LinePtr>& lines);
  void mergeLeaves(std::size_t k);
  void releaseAll() noexcept;
  // Puts `order`, a permutation of this level's lines, into the leaves in place of their lines; the
  // references move with the lines.
  void placeLines(const std::vector<ValueTableLine*>& order);
  void placeLines(const std::vector<ValueTableLine*>& order, std::size_t& next);
  // The row number within this inner node of each sub-page's first line, rebuilt after sub-pages were
  // added or removed.
  void ensureStarts() const;
  void countsChanged() noexcept { starts_.clear(); }
  // The sub-page holding row `index` of this inner node, with `index` made relative to it.
  std::size_t subPageOf(std::uint32_t& index) const;
  void shiftStarts(std::size_t k, int delta) noexcept;
  // Makes this leaf the owner of its lines from `from` on and sets their position hints.
  void adoptLines(std::uint32_t from) noexcept;
  // Where `line`, a line of this leaf, stands in it.
  std::uint32_t positionOf(const ValueTableLine* line) const noexcept;

  ValueTablePage* owner_ = nullptr;   // the page above, in the same tree
  ValueTableLine* parent_ = nullptr;  // the line whose child page this is
  nexa::UniquePtr<Pages> pages_;
  nexa::UniquePtr<Lines> lines_;
  std::uint32_t count_ = 0;  // lines in this page and its sub-pages
  // Of an inner node: empty when stale, else one start per sub-page. While it is current, every
  // sub-page's positionHint_ is its place in pages_.
  mutable std::vector<std::uint32_t, nexa::StdAllocator<std::uint32_t>> starts_;
  mutable std::uint32_t positionHint_ = 0;  // place in the owner's sub-pages
};

// One line of a table.
class KERN83_API ValueTableLine : public Refcountable<ValueTableLine, AtomicCounter> {
 public:
  ValueTableLine(const ValueTableLine&) = delete;
  ValueTableLine& operator=(const ValueTableLine&) = delete;

  // The line identifier: issued by the table, unique in it, kept while the line moves.
  std::int32_t id() const noexcept { return id_; }
  // Row number within its level of the tree; kNoIndex for a line outside any page.
  std::uint32_t index() const;
  // 0 for lines of the table's own tree, one more per child page below it.
  std::uint32_t level() const noexcept;
  // The line whose child page holds this line; null for a line of the table's own tree or outside any page.
  ValueTableLine* parentLine() const noexcept;
  // How many value slots the line holds.
  std::uint32_t size() const noexcept { return size_; }
  // The leaf holding the line; null outside any page.
  ValueTablePage* owner() const noexcept { return owner_; }
  // The child page, made on first use.
  ValueTablePage& children();
  // Whether a child page exists and holds lines.
  bool hasChild() const noexcept;

  // The value of a column by identifier, visible position or slot; the column's default value when the
  // line holds none for it. Unknown columns throw IllegalArgumentException.
  Value get(std::int32_t columnID) const;
  Value getAt(std::uint32_t position) const {
    const std::uint32_t slot = dereferenceAt(position);
    return slot < size_ ? Value(slots()[slot]) : missingAt(slot);
  }
  Value getAtPos(std::uint32_t slot) const;
  Value operator[](std::uint32_t position) const { return getAt(position); }
  // The value the line holds in `slot`, borrowed (valid while the line keeps it), or null when the line
  // holds no value there and reads the column's default. Touches no reference count: for walks that
  // only look at values.
  IValue* peekAtPos(std::uint32_t slot) const noexcept { return slot < size_ ? slots()[slot] : nullptr; }
  // Store a value; the table's stamp changes and the line takes it as its own.
  void set(std::int32_t columnID, const GenericValue& value);
  void setAt(std::uint32_t position, const GenericValue& value);

  // The line block: {2, id, value count, values in slot order, has-children[, child page block]}.
  void serialize(IOutPersistenceStorage* storage) const;
  // Reads a line block into this line (which keeps its place). Throws ListStreamException.
  void deserialize(IInPersistenceStorage* storage);

 protected:
  friend class ValueTablePage;
  friend class LineIterator;

  // Removes the value at `slot` (later slots move down), then does the same in the child page.
  void eraseAt(std::uint32_t slot);
  void eraseAt(const std::set<std::uint32_t>& slots);
  // Puts the column's default value (Undefined for an untyped column) at `slot`, then the same in the
  // child page.
  void cleanAt(std::uint32_t slot);
  void cleanAt(const std::set<std::uint32_t>& slots);
  // Replaces the value at `slot` by the typed value's default unless the typed value admits it; then the
  // same in the child page.
  void filterValue(std::uint32_t slot, const TypedValue* typed);
  // The table stamp at the line's last change.
  std::uint64_t stamp() const noexcept { return stamp_; }
  // The topmost page of the table the line belongs to; null outside any page.
  ValueTablePage* root() const noexcept;
  // Whether the line is held by a page.
  bool valid() const noexcept { return owner_ != nullptr; }

 private:
  friend class Refcountable<ValueTableLine, AtomicCounter>;
  friend class ValueTableCore;

  // A line is one block: the fields below, then room for `inlineCapacity` value slots. Values beyond
  // that room move to a heap array, whose address then takes the first inline slot.
  static NonmovableSharedPtr<ValueTableLine> make(std::int32_t id, std::uint32_t capacity);
  ValueTableLine(std::int32_t id, std::uint32_t inlineCapacity) noexcept;
  ~ValueTableLine();
  static void operator delete(void* block) noexcept;

  std::uint32_t dereference(std::int32_t columnID) const;
  std::uint32_t dereferenceAt(std::uint32_t position) const {
    const ColumnOrder* order = columns();
    if (order == nullptr) return position;
    return position < order->size() ? order->at(position).slot : kNoIndex;
  }
  // The value of a slot the line holds no value for (the column default), or the throw for kNoIndex.
  Value missingAt(std::uint32_t slot) const;
  std::uint32_t dereferencePos(std::uint32_t slot) const;
  Value typedValue(std::uint32_t slot) const;
  const TypeDomainPattern* defaultType(std::uint32_t slot) const noexcept;
  void store(std::uint32_t slot, const GenericValue& value);
  void touch();
  NonmovableSharedPtr<ValueTableLine> copy() const;
  // The columns of the table the line is in (through the top page of its tree: one virtual call).
  const ColumnOrder* columns() const { return owner_ != nullptr ? owner_->lineRoot()->columnOrder() : nullptr; }

  // The value slots: each holds one reference.
  IValue** slots() const noexcept {
    IValue** inlineSlots = reinterpret_cast<IValue**>(const_cast<ValueTableLine*>(this) + 1);
    return capacity_ > inlineCapacity_ ? reinterpret_cast<IValue**>(inlineSlots[0]) : inlineSlots;
  }
  // Replaces the value of an existing slot.
  void assignSlot(std::uint32_t slot, const GenericValue& value) noexcept;
  // A new last slot taking over `value`'s reference.
  void appendSlot(Value value);
  void eraseSlot(std::uint32_t slot) noexcept;
  void clearSlots() noexcept;
  // Asks the processor to fetch the values (for writing their counts), without waiting for them.
  void prefetchValues() const noexcept {
    constexpr std::uint32_t kMostSlots = 8;  // wide lines: the first few
    IValue* const* held = slots();
    for (std::uint32_t slot = 0; slot < size_ && slot < kMostSlots; ++slot) __builtin_prefetch(held[slot], 1);
  }
  void reserveSlots(std::uint32_t count);

  std::int32_t id_;
  ValueTablePage* owner_ = nullptr;  // the leaf holding the line
  SharedPtr<ValueTablePage> children_;
  std::uint64_t stamp_ = 0;
  mutable std::uint32_t positionHint_ = 0;  // place in the leaf when last seen there
  std::uint32_t size_ = 0;
  std::uint32_t capacity_;
  std::uint32_t inlineCapacity_;
};

// A position in a line tree: one line, and through it the leaf that holds it. Moves stay within the
// line's level (the tree its leaf belongs to); moving past either end leaves the iterator invalid. The
// iterator remembers the leaf and the line's place in it as it moves; both are checked against the line
// before use (the leaf is the line's owner and holds the line there), so inserts and erases elsewhere
// never mislead it, they only cost one search.
class KERN83_API LineIterator {
 public:
  // No line, or the given line.
  LineIterator() noexcept = default;
  explicit LineIterator(NonmovableSharedPtr<ValueTableLine> line) noexcept : line_(std::move(line)) {}

  // The line is still held by a page.
  bool valid() const noexcept;
  // A hash of the line's identity, consistent with ==.
  std::size_t hash() const noexcept;
  // The line (which must exist), and its value at a visible position.
  ValueTableLine& operator*() const noexcept { return *line_; }
  ValueTableLine* operator->() const noexcept { return line_.get(); }
  Value operator[](std::uint32_t position) const { return line_->getAt(position); }
  // The leaf holding the line; null when invalid.
  ValueTablePage* page() const noexcept;

  // The next (previous) line of the same level; invalid past either end.
  LineIterator& operator++() { return move(1); }
  LineIterator& operator--() { return move(-1); }
  // Deliberately like += and -=: the iterator itself moves, and is returned.
  LineIterator& operator+(std::int64_t n) { return move(n); }
  LineIterator& operator-(std::int64_t n) { return move(-n); }

  // The same line.
  friend bool operator==(const LineIterator& a, const LineIterator& b) noexcept {
    return a.line_.get() == b.line_.get();
  }

 private:
  friend class ValueTablePage;
  LineIterator(ValueTableLine* line, ValueTablePage* leaf, std::uint32_t position) noexcept
      : line_(line), leaf_(leaf), position_(position) {}

  LineIterator& move(std::int64_t n);
  void locate();
  void moveTo(ValueTablePage* leaf, std::uint32_t position);

  NonmovableSharedPtr<ValueTableLine> line_;
  ValueTablePage* leaf_ = nullptr;  // where the line was last seen; only trusted when it is its owner
  std::uint32_t position_ = 0;
};

// The table's weak self-reference: outlives the table and then answers null.
class KERN83_API ValueTableRef : public Refcountable<ValueTableRef, AtomicCounter> {
 public:
  // The table, or null once it is gone.
  ValueTableCore* table() const noexcept { return table_; }

 private:
  friend class ValueTableCore;
  ValueTableCore* table_ = nullptr;
};

// The root page of one table, with its columns and counters.
class KERN83_API ValueTableCore : public ValueTablePage {
 public:
  // An empty table whose leaves hold at most `maxPageSize` lines.
  explicit ValueTableCore(std::uint32_t maxPageSize = 2000);
  // A copy with the page size, counters, columns and every line (identifiers and child pages included);
  // the copy's stamp starts from the source's.
  ValueTableCore(const ValueTableCore& other);

  std::uint32_t maxPageSize() const override { return maxPageSize_; }
  std::uint64_t stamp() const override { return stamp_; }
  void change() override { ++stamp_; }
  std::int32_t createLineID() override { return ++lastLineID_; }
  const ColumnOrder* columnOrder() const override { return &columns_; }
  ~ValueTableCore() override;
  // The table block: {2, column count, (slot, id) per column, page block, last column id, last line id}.
  // Column types are the owner's to write.
  void serialize(IOutPersistenceStorage* storage) const override;
  void deserialize(IInPersistenceStorage* storage) override;

  // A new column at the end or at `position`; `id` -1 issues a new identifier. Throws
  // IllegalArgumentException for an identifier in use or a position beyond the end.
  VTColumn addColumn(std::int32_t id, TypeDomainPattern pattern);
  VTColumn insertColumn(std::uint32_t position, std::int32_t id, TypeDomainPattern pattern);
  // Invalid handles for unknown columns.
  VTColumn column(std::int32_t id) const noexcept;
  VTColumn columnAt(std::uint32_t position) const noexcept;
  // -1 / kNoIndex for unknown columns.
  std::int32_t columnID(std::uint32_t position) const noexcept;
  std::uint32_t columnIndex(std::int32_t id) const noexcept;
  // The number of columns.
  std::uint32_t getColumnCount() const noexcept { return columns_.size(); }

  // The operations below throw IllegalArgumentException for an unknown column.
  void removeColumn(const VTColumn& column);
  void removeColumnAt(std::uint32_t position);
  // Moves by `offset` positions; the target position must exist.
  void moveColumn(const VTColumn& column, std::int32_t offset);
  void moveColumnAt(std::uint32_t position, std::int32_t offset);
  // Puts the column's default value in every line.
  void cleanColumn(const VTColumn& column);
  void cleanColumnAt(std::uint32_t position);
  void cleanColumns(const std::vector<std::int32_t>& ids);
  // Removes every column, with its values in every line.
  void clearColumns();
  // Adds untyped columns or removes columns from the end.
  void setColumnCount(std::uint32_t count);
  // Values the new type does not admit become its default value.
  void setTypeDomainPattern(std::int32_t id, TypeDomainPattern pattern);
  void setTypeDomainPatternAt(std::uint32_t position, TypeDomainPattern pattern);

  // Removes every line and every column; the identifier counters keep counting.
  void clear();

  // Whether `line` is a line of this table, at any level: its page and every line above it are in place.
  bool holds(const ValueTableLine& line) const noexcept;

  // The identifiers issued last (-1 before the first); the next ones count on from them.
  std::int32_t lastColumnID() const noexcept { return lastColumnID_; }
  std::int32_t lastLineID() const noexcept { return lastLineID_; }
  // The table's weak self-reference, for holders that may outlive it.
  const SharedPtr<ValueTableRef>& selfReference() const noexcept { return self_; }

 protected:
  // Issues the next column identifier.
  std::int32_t createColumnID() { return ++lastColumnID_; }

 private:
  std::uint32_t checkedPosition(std::int32_t id) const;
  std::uint32_t checkedAt(std::uint32_t position) const;
  void readColumns(ListInStream& in, std::uint32_t count);

  std::uint32_t maxPageSize_;
  std::int32_t lastColumnID_ = -1;
  std::int32_t lastLineID_ = -1;
  ColumnOrder columns_;
  SharedPtr<ValueTableRef> self_;
  std::uint64_t stamp_ = 0;
};

template <class KeyOf, class Less>
void ValueTablePage::sortLines(KeyOf&& keyOf, Less&& less) {
  using Key = decltype(keyOf(std::declval<const ValueTableLine&>()));
  std::vector<std::pair<Key, ValueTableLine*>> keyed;
  keyed.reserve(count_);
  forEachLine(false, [&](ValueTableLine& line) { keyed.emplace_back(keyOf(line), &line); });
  std::stable_sort(keyed.begin(), keyed.end(), [&](const auto& a, const auto& b) { return less(a.first, b.first); });
  std::vector<ValueTableLine*> order;
  order.reserve(keyed.size());
  for (const auto& entry : keyed) order.push_back(entry.second);
  placeLines(order);
}

template <class KeyOf, class Less>
void ValueTablePage::sortLinesByDistinctKeys(KeyOf&& keyOf, Less&& less) {
  using Key = decltype(keyOf(std::declval<const ValueTableLine&>(), std::uint32_t{0}));
  // The keys are sorted alone, and the lines follow them by the rows the keys keep.
  std::vector<Key> keys;
  std::vector<ValueTableLine*> lines;
  keys.reserve(count_);
  lines.reserve(count_);
  forEachLine(false, [&](ValueTableLine& line) {
    keys.push_back(keyOf(line, static_cast<std::uint32_t>(lines.size())));
    lines.push_back(&line);
  });
  std::sort(keys.begin(), keys.end(), less);
  std::vector<ValueTableLine*> order;
  order.reserve(keys.size());
  for (const Key& key : keys) order.push_back(lines[key.row]);
  placeLines(order);
}

inline void ValueTablePage::prefetchAhead(const Lines& lines, std::size_t i) noexcept {
  constexpr std::size_t kValuesAhead = 8, kLineAhead = 16;
  if (i + kLineAhead < lines.size()) __builtin_prefetch(lines[i + kLineAhead]);
  if (i + kValuesAhead < lines.size()) lines[i + kValuesAhead]->prefetchValues();
}

template <class Fn>
void ValueTablePage::forEachLine(bool includeChildren, Fn&& fn) const {
  if (pages_) {
    for (const auto& page : *pages_) page->forEachLine(includeChildren, fn);
    return;
  }
  if (!lines_) return;
  const Lines& lines = *lines_;
  for (std::size_t i = 0; i < lines.size(); ++i) {
    prefetchAhead(lines, i);
    fn(*lines[i]);
    if (includeChildren && lines[i]->children_) lines[i]->children_->forEachLine(true, fn);
  }
}

}  // namespace core
