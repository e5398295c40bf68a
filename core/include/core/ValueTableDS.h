#pragma once
// A value table as the data source of a list control, and the interfaces list controls read and edit
// their data through.
//
// A list control never holds rows by number: rows move while it shows them. It holds bookmarks
// (IQ8Bookmark), each marking one line, and asks the source for the lines around them, their cells and
// their places. A bookmark keeps marking its line while other lines are inserted, erased, moved or
// sorted; once its own line has left the table it reports the line deleted (getKey answers an invalid
// iterator, the queries answer false, null or kNoIndex) and never marks another line.
//
//     core::InterfacePtr<core::ValueTableDS> source(new core::ValueTableDS(core::Q8SourceType::Tree));
//     std::int32_t name = source->addColumn({u"Name", {}, {}, 0}, -1);
//     source->setListener(&control);                                   // the control's notifications
//     auto top = source->addLine(nullptr, core::AddLineModes::AtEnd);   // lineAdded(top)
//     auto child = source->addLine(top.get(), core::AddLineModes::AsChild);
//     source->setCellValue(child.get(), name, core::Value(u"leaf"));    // cellChanged(child, name)
//     source->getScrollPos(child.get());                                // 0: first line of its level
//
// Levels: each line may have child lines (in the Tree form), and every operation that takes a parent
// (a LineIterator, or a bookmark for the list interfaces) works on that line's child lines; an empty
// parent means the table's own lines. Scroll positions, counts and ranges are those of one level: a
// tree control keeps the expanded levels apart itself.
//
// Editing: startEditLine keeps a copy of the line's values, finishEditLine keeps the changes made since,
// cancelEditLine puts the copy back. A line made by addLine and not finished yet is removed by
// cancelEditLine, so that adding a line in a list and pressing Escape leaves no line behind. One line is
// edited at a time; starting to edit another line finishes the current one.
//
// Notifications: changes made through this object (the list interfaces, the base... operations, and the
// table interfaces it inherits) tell the listener what changed, after the change, except lineDeleted,
// which comes while the line is still in place. Each goes through notifyNecessary(), which a subclass may
// narrow, and none goes out while lockNotification(true) is in force; unlocking after changes were held
// back sends one refresh. Changes made through lines directly (ValueTableLine::set on an iterator) are not
// seen: call the notify...IfNecessary methods for them.
//
// Failures: the base... operations check like ValueTableBase's (IllegalArgumentException for unknown
// columns and rows beyond the end, and for a parent that is not a line of this table). The list interfaces
// never throw for a deleted line or an unknown column: they answer false, null, kNoIndex or 0.
//
// Thread safety: as the table, one thread at a time; bookmarks are reference counted atomically.

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "core/Export.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "core/Value.h"
#include "core/ValueTableBase.h"

namespace core {

// One line of a data source, as a list control holds it. Only the source that made a bookmark resolves
// it; two bookmarks of the same line are equal, whenever they were made.
class IQ8Bookmark : public IUnknown {
 public:
  static constexpr GUID IID = guid("3c1f5a52-8e07-4d1b-9b61-0d27a4e6f1c3");

  // Whether both mark the same line (false for null).
  virtual bool isEqual(const IQ8Bookmark* other) const noexcept = 0;
  // Equal bookmarks have equal hashes.
  virtual std::size_t hash() const noexcept = 0;

 protected:
  ~IQ8Bookmark() = default;
};

// The two shapes of data a list control can show.
enum class Q8SourceType : int {
  List,  // lines without child lines
  Tree,  // lines with child lines
};

// What a control needs to draw a line besides its cells.
struct Q8LineInfo {
  std::uint32_t level = 0;         // 0 for the table's own lines
  std::uint32_t index = kNoIndex;  // the place in its level
  std::int32_t id = -1;            // the line identifier (see IValueTableBaseRO::rowBookmarkAt)
  bool hasChildren = false;        // whether the line has child lines
};

// The lines a bookmark leads to.
enum class Q8Link : int {
  Next,        // the following line of the same level
  Previous,    // the preceding line of the same level
  Parent,      // the line whose child the line is
  FirstChild,  // the first and last child line
  LastChild,
  First,  // the first and last line of the same level
  Last,
};

// Reading lines and cells.
class IQ8DataSource : public IUnknown {
 public:
  static constexpr GUID IID = guid("9d0b7c3e-41f2-4a66-8f1d-6b2e53c8a017");

  // The value of the cell; false (and `out` untouched) for a deleted line or an unknown column.
  virtual bool getCellValue(const IQ8Bookmark* line, std::int32_t columnID, Value& out) const = 0;
  // What the control needs to draw the line besides its cells; false for a deleted line.
  virtual bool getLineInfo(const IQ8Bookmark* line, Q8LineInfo& out) const = 0;
  // How many lines the control shows at once: the count getBookmarkRange gives when asked for 0.
  virtual void setPageSize(std::uint32_t lines) = 0;
  // The line `link` leads to from `line`; null when there is none. First and Last from a null line mean
  // the table's own level.
  virtual InterfacePtr<IQ8Bookmark> getLinkedBookmark(const IQ8Bookmark* line, Q8Link link) const = 0;
  // The shape of the data (fixed for the source's life).
  virtual Q8SourceType getSourceType() const = 0;

 protected:
  ~IQ8DataSource() = default;
};

// Where addLine puts the new line, relative to the given line.
enum class AddLineModes : int {
  Before,   // just before it
  After,    // just after it
  AtEnd,    // after the last line of its level (of the table's own level when no line is given)
  AsChild,  // after its last child line (Tree sources only)
};

// Changing lines from a control.
class IQ8DataSourceEdit : public IUnknown {
 public:
  static constexpr GUID IID = guid("5b8e2f14-9a3c-4e7d-b0c5-2f61d84a9e26");

  // The new line, in edit (see the header's Editing); null when the place does not exist.
  virtual InterfacePtr<IQ8Bookmark> addLine(const IQ8Bookmark* at, AddLineModes mode) = 0;
  // Removes the line and its child lines; false for a deleted line.
  virtual bool deleteLine(const IQ8Bookmark* line) = 0;
  // Starts editing the line (see the header's Editing); false for a deleted line.
  virtual bool startEditLine(const IQ8Bookmark* line) = 0;
  // False when the line is not the one in edit.
  virtual bool finishEditLine(const IQ8Bookmark* line) = 0;
  virtual bool cancelEditLine(const IQ8Bookmark* line) = 0;
  // Stores a value as ValueTableLine::set does; false for a deleted line or an unknown column.
  virtual bool setCellValue(const IQ8Bookmark* line, std::int32_t columnID, const GenericValue& value) = 0;

 protected:
  ~IQ8DataSourceEdit() = default;
};

// Fetching the lines of a window at once.
class IQ8RangeDataSource : public IUnknown {
 public:
  static constexpr GUID IID = guid("e7a4d1c8-2b5f-4f03-9c6e-81d0b3a5f742");

  // Up to `count` lines of the level of `from`, starting with `from`: following it for a positive
  // count, preceding it (nearest first) for a negative one, the page size's worth forward for 0. Fewer
  // at the level's ends, none for a deleted line.
  virtual std::vector<InterfacePtr<IQ8Bookmark>> getBookmarkRange(const IQ8Bookmark* from,
                                                                  std::int32_t count) const = 0;

 protected:
  ~IQ8RangeDataSource() = default;
};

// The scroll bar: places within one level.
class IQ8ScrollInfo : public IUnknown {
 public:
  static constexpr GUID IID = guid("1f6c9e2a-7d34-4b8e-a5f0-c3e92d17b465");

  // The line's place in its level; kNoIndex for a deleted line.
  virtual std::uint32_t getScrollPos(const IQ8Bookmark* line) const = 0;
  // The line at `position` among the child lines of `parent` (null: the table's own lines); null when
  // there is none.
  virtual InterfacePtr<IQ8Bookmark> getLineByScrollPos(const IQ8Bookmark* parent, std::uint32_t position) const = 0;
  // How many lines that level has (exact here); 0 for a deleted parent.
  virtual std::uint32_t getApproxLinesCnt(const IQ8Bookmark* parent) const = 0;

 protected:
  ~IQ8ScrollInfo() = default;
};

// The columns a control may show, in visible order.
class IQ8DSColumnInfo : public IUnknown {
 public:
  static constexpr GUID IID = guid("a2d58b71-6e0c-4c95-8b3f-4e17f9c0d2b8");

  // The number of columns.
  virtual std::uint32_t getColumnCount() const = 0;
  // -1 beyond the last column.
  virtual std::int32_t getColumnId(std::uint32_t position) const = 0;
  // False for an unknown column.
  virtual bool getColumnInfo(std::int32_t columnID, VTColumnInfo& out) const = 0;

 protected:
  ~IQ8DSColumnInfo() = default;
};

// What a data source tells its control. Each call gets a bookmark the control may keep.
class IQ8DataSourceListener {
 public:
  // A new line stands in the table.
  virtual void lineAdded(IQ8Bookmark* line) = 0;
  // Several cells of the line changed (an edit finished or cancelled).
  virtual void lineChanged(IQ8Bookmark* line) = 0;
  // One cell changed.
  virtual void cellChanged(IQ8Bookmark* line, std::int32_t columnID) = 0;
  // The line is about to go, with its child lines.
  virtual void lineDeleted(IQ8Bookmark* line) = 0;
  // Anything may have changed (sorts, moves, loads, changes of many lines or of the columns): read again.
  virtual void refreshed() = 0;

 protected:
  ~IQ8DataSourceListener() = default;
};

// The data-source view of a value table: a ValueTableBase whose leaves hold 2000 lines, with the row
// operations at every level of the tree and the list interfaces above. Reference counted through IUnknown
// (the count starts at 0); answers the table interfaces and the five list interfaces.
class KERN83_API ValueTableDS : public ValueTableBase,
                                public IQ8DataSource,
                                public IQ8DataSourceEdit,
                                public IQ8RangeDataSource,
                                public IQ8ScrollInfo,
                                public IQ8DSColumnInfo {
 public:
  // An empty source of the given shape.
  explicit ValueTableDS(Q8SourceType type = Q8SourceType::List);

  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return ValueTableBase::AddRef(); }
  std::uint32_t Release() override { return ValueTableBase::Release(); }

  // The control to notify (borrowed; null for none). The control outlives its registration.
  void setListener(IQ8DataSourceListener* listener) noexcept { listener_ = listener; }

  // Row operations on the child lines of `parent` (an empty iterator: the table's own lines); each
  // behaves as the ValueTableBase operation of the same name and notifies as the header says.
  std::uint32_t baseGetRowCount(const LineIterator& parent) const;
  LineIterator baseRow(const LineIterator& parent, std::uint32_t index) const;
  Value baseGetValue(const LineIterator& parent, std::uint32_t row, std::int32_t columnID) const;
  Value baseGetValueAt(const LineIterator& parent, std::uint32_t row, std::uint32_t position) const;
  void baseSetValue(const LineIterator& parent, std::uint32_t row, std::int32_t columnID, const GenericValue& value);
  void baseSetValueAt(const LineIterator& parent, std::uint32_t row, std::uint32_t position, const GenericValue& value);
  LineIterator baseAddRow(const LineIterator& parent);
  LineIterator baseInsertRow(const LineIterator& parent, std::uint32_t index);
  void baseDeleteRow(const LineIterator& parent, std::uint32_t index);
  // The same for the line `row` of that level.
  void baseDeleteRowAt(const LineIterator& parent, const LineIterator& row);
  void baseDeleteRows(const LineIterator& parent);
  void baseMoveRow(const LineIterator& parent, std::uint32_t index, std::int32_t offset);
  void baseSetRowCount(const LineIterator& parent, std::uint32_t count);
  void baseSortTable(const LineIterator& parent, const std::vector<VTSortParam>& params, bool includeChildren,
                     ICompareValues* compare);
  LineIterator baseFindValue(const LineIterator& parent, const GenericValue& value,
                             const std::vector<std::int32_t>& columnIDs, bool includeChildren) const;
  std::vector<LineIterator> baseFindRows(const LineIterator& parent, const std::vector<VTFindParam>& params,
                                         bool includeChildren) const;
  Value baseColumnTotal(const LineIterator& parent, std::int32_t columnID, bool includeChildren) const;
  // At a child level only the row types (Rows, AppendRows) apply: columns belong to the whole table.
  void baseLoadFrom(const LineIterator& parent, IValueTableBaseRO* source, VTLoadTypes type);
  // The row bookmark, and the column values as an array, of that level.
  std::int32_t baseRowBookmarkAt(const LineIterator& parent, std::uint32_t index) const;
  InterfacePtr<IValueArray> unloadColumn(const LineIterator& parent, std::int32_t columnID) const;
  void loadColumn(const LineIterator& parent, std::int32_t columnID, const IValueArray& values);
  using ValueTableBase::loadColumn;
  using ValueTableBase::unloadColumn;

  // The table interfaces, at the table's own level, with notifications.
  LineIterator addRow() override { return baseAddRow({}); }
  LineIterator insertRow(std::uint32_t index) override { return baseInsertRow({}, index); }
  void deleteRow(std::uint32_t index) override { baseDeleteRow({}, index); }
  void deleteRows() override { baseDeleteRows({}); }
  void moveRow(std::uint32_t index, std::int32_t offset) override { baseMoveRow({}, index, offset); }
  void setRowCount(std::uint32_t count) override { baseSetRowCount({}, count); }
  void setValue(std::uint32_t row, std::int32_t columnID, const GenericValue& value) override {
    baseSetValue({}, row, columnID, value);
  }
  void setValueAt(std::uint32_t row, std::uint32_t position, const GenericValue& value) override {
    baseSetValueAt({}, row, position, value);
  }
  void sortTable(const std::vector<VTSortParam>& params, bool includeChildren, ICompareValues* compare) override {
    baseSortTable({}, params, includeChildren, compare);
  }
  void loadFrom(IValueTableBaseRO* source, VTLoadTypes type) override { baseLoadFrom({}, source, type); }
  std::int32_t addColumn(const VTColumnInfo& info, std::int32_t id) override;
  std::int32_t insertColumn(std::uint32_t position, const VTColumnInfo& info, std::int32_t id) override;
  void deleteColumn(std::int32_t id) override;
  void deleteAllColumns() override;
  void moveColumn(std::int32_t id, std::int32_t offset) override;
  void setColumnCount(std::uint32_t count) override;
  void setColumnInfo(std::int32_t id, const VTColumnInfo& info) override;

  // Bookmarks. getBookmark makes one for a line of this table (null for an invalid iterator or a line of
  // another table); getKey gives its line back, an invalid iterator when the line has left the table, the
  // bookmark was released or removed, or another source made it. releaseBookmark lets the bookmark's line
  // go at once (the control is done with it, though it may still hold the bookmark); removeBookmarks
  // makes every bookmark made so far lead nowhere (their lines go when the control releases them).
  InterfacePtr<IQ8Bookmark> getBookmark(const LineIterator& line) const;
  LineIterator getKey(const IQ8Bookmark* bookmark) const;
  void releaseBookmark(IQ8Bookmark* bookmark) const noexcept;
  void removeBookmarks() noexcept;

  // IQ8DataSource
  bool getCellValue(const IQ8Bookmark* line, std::int32_t columnID, Value& out) const override;
  bool getLineInfo(const IQ8Bookmark* line, Q8LineInfo& out) const override;
  void setPageSize(std::uint32_t lines) override { pageSize_ = lines; }
  InterfacePtr<IQ8Bookmark> getLinkedBookmark(const IQ8Bookmark* line, Q8Link link) const override;
  Q8SourceType getSourceType() const override { return type_; }

  // IQ8DataSourceEdit
  InterfacePtr<IQ8Bookmark> addLine(const IQ8Bookmark* at, AddLineModes mode) override;
  bool deleteLine(const IQ8Bookmark* line) override;
  bool startEditLine(const IQ8Bookmark* line) override;
  bool finishEditLine(const IQ8Bookmark* line) override;
  bool cancelEditLine(const IQ8Bookmark* line) override;
  bool setCellValue(const IQ8Bookmark* line, std::int32_t columnID, const GenericValue& value) override;

  // IQ8RangeDataSource
  std::vector<InterfacePtr<IQ8Bookmark>> getBookmarkRange(const IQ8Bookmark* from, std::int32_t count) const override;

  // IQ8ScrollInfo
  std::uint32_t getScrollPos(const IQ8Bookmark* line) const override;
  InterfacePtr<IQ8Bookmark> getLineByScrollPos(const IQ8Bookmark* parent, std::uint32_t position) const override;
  std::uint32_t getApproxLinesCnt(const IQ8Bookmark* parent) const override;

  // IQ8DSColumnInfo
  std::uint32_t getColumnCount() const override { return columnCount(); }
  std::int32_t getColumnId(std::uint32_t position) const override { return columnID(position); }
  bool getColumnInfo(std::int32_t columnID, VTColumnInfo& out) const override { return columnInfo(columnID, out); }

  // Notifications: each reaches the listener when notifyNecessary() and the lock allow; a held-back one
  // is remembered for the refresh at unlocking.
  void notifyAddLineIfNecessary(const LineIterator& line);
  void notifyChangeLineIfNecessary(const LineIterator& line);
  void notifyChangeCellIfNecessary(const LineIterator& line, std::int32_t columnID);
  void notifyDeleteLineIfNecessary(const LineIterator& line);
  void notifyRefreshIfNecessary();
  // Locks nest: notifications flow again when every lock(true) has had its lock(false).
  void lockNotification(bool lock);
  bool notificationLocked() const noexcept { return locks_ > 0; }

 protected:
  ~ValueTableDS() override;
  // Whether anyone wants notifications: a listener is set.
  virtual bool notifyNecessary() const { return listener_ != nullptr; }

 private:
  struct Edit {
    LineIterator line;
    std::vector<std::pair<std::int32_t, Value>> saved;  // (column, value) of every column
    bool added = false;                                 // made by addLine, not finished yet
  };

  // The page of `parent`'s child lines; throws IllegalArgumentException for a parent outside the table.
  ValueTablePage& level(const LineIterator& parent) const;
  // A bookmark's line when it is still a line of this table; an invalid iterator otherwise.
  LineIterator lineOf(const IQ8Bookmark* bookmark) const;
  bool mayNotify();
  // Keeps the line's values for cancelEditLine, after finishing the line in edit.
  void beginEdit(const LineIterator& line);
  void endEdit();
  void removeLine(const LineIterator& line);

  Q8SourceType type_;
  std::uint64_t serial_;          // tells this source's bookmarks from others'
  std::uint64_t generation_ = 0;  // bookmarks older than this were removed
  std::uint32_t pageSize_ = 50;
  std::int32_t locks_ = 0;
  bool heldBack_ = false;  // a notification was held back by a lock
  IQ8DataSourceListener* listener_ = nullptr;
  std::optional<Edit> edit_;
};

}  // namespace core
