#pragma once
// The table of value tables behind interfaces. ValueTableBase keeps a ValueTableCore (core/ValueTableStorage.h) and
// gives each column a code (the name script code and loaders find it by, without regard to case), a
// title and a width; IValueTableBaseRO, IValueTableBase and IValueTableColumns offer its rows and columns
// to code that reads, fills, sorts or copies tables without knowing which table it has. The table as a
// script value is in core/ValueTableScript.h.
//
//     core::InterfacePtr<core::ValueTableBase> table(new core::ValueTableBase());
//     std::int32_t price = table->addColumn({u"Price", u"Unit price", numberPattern, 10}, -1);
//     table->setValue(table->addRow()->index(), price, core::Value(12));
//     table->columnIDByCode(u"PRICE");                            // price: codes ignore case
//     table->sortTable({{price, true}}, false, nullptr);          // dearest first
//
// Rows are addressed by their number at the table's own level; row numbers at or beyond getRowCount()
// reach no row (row() gives an invalid iterator, the other row operations throw
// IllegalArgumentException). Columns are addressed by identifier or visible position as in
// ValueTableCore, and named ones also by code.
//
// Failures: unknown columns, rows beyond the end, rejected codes and a null loadFrom source throw
// IllegalArgumentException. Arguments are checked before anything changes, so such a throw leaves the
// table as it was. A comparison given to sortTable that throws leaves the page it was sorting in its
// old order; pages sorted before it (the table's own level before its child pages) stay sorted.
//
// Thread safety: as the storage, one thread at a time even for reading; reference counts are atomic.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "core/TypeDomain.h"
#include "core/Value.h"
#include "core/ValueTableStorage.h"

namespace core {

// A sort order for values. compare_table_values is the one used when none is given.
class ICompareValues {
 public:
  // Negative, zero or positive as `a` sorts before, with or after `b`.
  virtual int compareValues(const GenericValue& a, const GenericValue& b) = 0;

 protected:
  ~ICompareValues() = default;
};

// The default order: values of different kinds by type code (Undefined, Null, Boolean, Number, String,
// Date, objects); numbers numerically, strings by UTF-16 code units, dates by time, false before true.
// Two objects compare equal, so a stable sort keeps their order.
KERN83_API int compare_table_values(const GenericValue& a, const GenericValue& b);

// What a column is to the table's clients.
struct VTColumnInfo {
  // The script name: empty for an unnamed column, otherwise an identifier (letters of any script,
  // digits and underscores, not starting with a digit) unique in the table without regard to case.
  avo::WString code;
  avo::WString title;  // the header text; empty shows the code
  // The types the column admits.
  TypeDomainPattern pattern;
  std::int32_t width = 0;  // in characters; 0 sizes the column automatically
};

// One key of a sort: the column's values, ascending unless `descending`.
struct VTSortParam {
  std::int32_t columnID = -1;  // the column, by identifier
  bool descending = false;     // largest first
};

// What loadFrom takes from its source.
enum class VTLoadTypes : int {
  ColumnsAndRows,  // the columns (with their codes and types) and the rows: a copy of the source
  Columns,         // the columns only; this table's rows are removed
  Rows,            // the rows, in place of this table's: each column takes the values of the source's
                   // column with the same code; columns the source lacks take their default values
  AppendRows,      // as Rows, after this table's rows
};

// Why columnIDByValue found no column.
enum class ColumnIDByValueError : int {
  Found,        // the identifier was stored
  UnknownCode,  // a string that is no column's code
  BadPosition,  // a number that is not a whole visible position of a column
  WrongKind,    // neither a string nor a number
};

// Reading a table. Row iterators stay valid while the rows live (see LineIterator).
class IValueTableBaseRO : public IUnknown {
 public:
  static constexpr GUID IID = guid("61cef51e-0c99-425d-98b4-e67e0f14f805");

  // The number of columns.
  virtual std::uint32_t columnCount() const = 0;
  // A column's handle by identifier or visible position; invalid for unknown columns.
  virtual VTColumn column(std::int32_t id) const = 0;
  virtual VTColumn columnAt(std::uint32_t position) const = 0;
  // -1 / kNoIndex for unknown columns.
  virtual std::int32_t columnID(std::uint32_t position) const = 0;
  virtual std::uint32_t columnIndex(std::int32_t id) const = 0;
  // The column's description in `out`; false for an unknown column.
  virtual bool columnInfo(std::int32_t id, VTColumnInfo& out) const = 0;
  // Whether script code may store values in the column; false for an unknown column.
  virtual bool isColumnWritable(std::int32_t id) const = 0;
  // Empty for unnamed and unknown columns.
  virtual avo::WString columnCode(std::int32_t id) const = 0;
  // The column with this code, compared without regard to case; -1 when none.
  virtual std::int32_t columnID(std::u16string_view code) const = 0;

  // The number of rows of the table's own level.
  virtual std::uint32_t getRowCount() const = 0;
  // The row at `index`; invalid beyond the end.
  virtual LineIterator row(std::uint32_t index) const = 0;
  // A cell, by column identifier or visible position.
  virtual Value getValue(std::uint32_t row, std::int32_t columnID) const = 0;
  virtual Value getValueAt(std::uint32_t row, std::uint32_t position) const = 0;
  // The first row (children right after their parent when `includeChildren`) where one of the columns
  // (any column when the list is empty) holds `value`; invalid when none.
  virtual LineIterator findValue(const GenericValue& value, const std::vector<std::int32_t>& columnIDs,
                                 bool includeChildren) const = 0;
  // Every row where all conditions hold, in row order (with child rows, as findValue).
  virtual std::vector<LineIterator> findRows(const std::vector<VTFindParam>& params, bool includeChildren) const = 0;
  // The sum of the column's values (ValueTablePage::total).
  virtual Value columnTotal(std::int32_t columnID, bool includeChildren) const = 0;
  // A mark that finds the row again after rows moved: its line identifier; -1 out of range.
  virtual std::int32_t rowBookmarkAt(std::uint32_t index) const = 0;

 protected:
  ~IValueTableBaseRO() = default;
};

// Changing the rows of a table.
class IValueTableBase : public IValueTableBaseRO {
 public:
  static constexpr GUID IID = guid("cb6c573f-9b81-422f-8531-6660e2256943");

  // A new empty row at the end.
  virtual LineIterator addRow() = 0;
  // A new empty row before row `index`; an index beyond the end appends.
  virtual LineIterator insertRow(std::uint32_t index) = 0;
  // Removes one row (with its child rows), or every row.
  virtual void deleteRow(std::uint32_t index) = 0;
  virtual void deleteRows() = 0;
  // The row moves by `offset` places; the target place must exist.
  virtual void moveRow(std::uint32_t index, std::int32_t offset) = 0;
  // Appends empty rows or removes rows from the end.
  virtual void setRowCount(std::uint32_t count) = 0;
  // Stores a cell, by column identifier or visible position.
  virtual void setValue(std::uint32_t row, std::int32_t columnID, const GenericValue& value) = 0;
  virtual void setValueAt(std::uint32_t row, std::uint32_t position, const GenericValue& value) = 0;
  // A stable sort by the keys in order; `includeChildren` sorts every child page the same way. Values
  // compare with `compare` when given, otherwise with compare_table_values.
  virtual void sortTable(const std::vector<VTSortParam>& params, bool includeChildren, ICompareValues* compare) = 0;
  // Takes columns and/or rows from `source`, as `type` says.
  virtual void loadFrom(IValueTableBaseRO* source, VTLoadTypes type) = 0;

 protected:
  ~IValueTableBase() = default;
};

// Changing the columns of a table. Codes are checked by checkNewCode; an empty code makes an unnamed
// column.
class IValueTableColumns : public IUnknown {
 public:
  static constexpr GUID IID = guid("cf9cd0af-9644-48ca-84b0-d370135c7d8e");

  // A new column at the end or at visible `position`; returns its identifier (`id` -1 issues one).
  virtual std::int32_t addColumn(const VTColumnInfo& info, std::int32_t id) = 0;
  virtual std::int32_t insertColumn(std::uint32_t position, const VTColumnInfo& info, std::int32_t id) = 0;
  // Removes one column (its values in every row), or every column.
  virtual void deleteColumn(std::int32_t id) = 0;
  virtual void deleteAllColumns() = 0;
  // The column moves by `offset` visible positions; the target position must exist.
  virtual void moveColumn(std::int32_t id, std::int32_t offset) = 0;
  // Adds unnamed untyped columns or removes columns from the end.
  virtual void setColumnCount(std::uint32_t count) = 0;
  // Replaces the column's code, title, width and types (values its new types do not admit become the
  // default value).
  virtual void setColumnInfo(std::int32_t id, const VTColumnInfo& info) = 0;

 protected:
  ~IValueTableColumns() = default;
};

// The flat table over one ValueTableCore, with per column its code, title and width. Unknown columns,
// rows beyond the end and rejected codes throw IllegalArgumentException. Reference counted through
// IUnknown (the count starts at 0, like InterfacePtr expects); answers IValueTableBaseRO, IValueTableBase
// and IValueTableColumns. One thread at a time.
class KERN83_API ValueTableBase
    : public RefCountedUnknown<0, Answers<IValueTableBaseRO, IValueTableBase, IValueTableColumns>, IValueTableBase,
                               IValueTableColumns> {
 public:
  // An empty table whose leaves hold at most `maxPageSize` lines.
  explicit ValueTableBase(std::uint32_t maxPageSize = 2000);
  ValueTableBase(const ValueTableBase&) = delete;
  ValueTableBase& operator=(const ValueTableBase&) = delete;

  // The storage underneath, for what the interfaces do not offer (grouping, the tree form).
  ValueTableCore& core() noexcept { return core_; }
  const ValueTableCore& core() const noexcept { return core_; }

  // IValueTableBaseRO
  std::uint32_t columnCount() const override { return core_.getColumnCount(); }
  VTColumn column(std::int32_t id) const override { return core_.column(id); }
  VTColumn columnAt(std::uint32_t position) const override { return core_.columnAt(position); }
  std::int32_t columnID(std::uint32_t position) const override { return core_.columnID(position); }
  std::uint32_t columnIndex(std::int32_t id) const override { return core_.columnIndex(id); }
  bool columnInfo(std::int32_t id, VTColumnInfo& out) const override;
  bool isColumnWritable(std::int32_t id) const override;
  avo::WString columnCode(std::int32_t id) const override;
  std::int32_t columnID(std::u16string_view code) const override { return columnIDByCode(code); }
  std::uint32_t getRowCount() const override { return core_.size(); }
  LineIterator row(std::uint32_t index) const override { return core_.lineAt(index); }
  Value getValue(std::uint32_t row, std::int32_t columnID) const override;
  Value getValueAt(std::uint32_t row, std::uint32_t position) const override;
  LineIterator findValue(const GenericValue& value, const std::vector<std::int32_t>& columnIDs,
                         bool includeChildren) const override;
  std::vector<LineIterator> findRows(const std::vector<VTFindParam>& params, bool includeChildren) const override;
  Value columnTotal(std::int32_t columnID, bool includeChildren) const override;
  std::int32_t rowBookmarkAt(std::uint32_t index) const override;

  // IValueTableBase
  LineIterator addRow() override { return core_.add(); }
  LineIterator insertRow(std::uint32_t index) override { return core_.insert(index); }
  void deleteRow(std::uint32_t index) override;
  void deleteRows() override { core_.clearLines(); }
  void moveRow(std::uint32_t index, std::int32_t offset) override;
  void setRowCount(std::uint32_t count) override { core_.resize(count); }
  void setValue(std::uint32_t row, std::int32_t columnID, const GenericValue& value) override;
  void setValueAt(std::uint32_t row, std::uint32_t position, const GenericValue& value) override;
  void sortTable(const std::vector<VTSortParam>& params, bool includeChildren, ICompareValues* compare) override;
  void loadFrom(IValueTableBaseRO* source, VTLoadTypes type) override;

  // IValueTableColumns
  std::int32_t addColumn(const VTColumnInfo& info, std::int32_t id) override;
  std::int32_t insertColumn(std::uint32_t position, const VTColumnInfo& info, std::int32_t id) override;
  void deleteColumn(std::int32_t id) override;
  void deleteAllColumns() override;
  void moveColumn(std::int32_t id, std::int32_t offset) override;
  void setColumnCount(std::uint32_t count) override;
  void setColumnInfo(std::int32_t id, const VTColumnInfo& info) override;

  // Named columns (those with a code), in visible order.
  std::uint32_t namedColumnsCount() const;
  // -1 / empty when i is out of range. A column has one code for both languages (0 and 1); other
  // languages get the empty string.
  std::int32_t namedColumnID(std::uint32_t i) const;
  avo::WString namedColumnCode(std::uint32_t i, int language) const;
  // The code of column `id` as a zero-terminated text kept by the table: null for unnamed and unknown
  // columns; valid until the column's code changes or the column is removed.
  const char16_t* columnCodeText(std::int32_t id) const noexcept;
  // The place among the named columns of the column with this code; -1 when none.
  std::int32_t namedColumnPos(std::u16string_view name) const;
  // Without regard to case, as script names are matched; -1 when none.
  std::int32_t columnIDByCode(std::u16string_view code) const;
  // Whether column `id` (-1 for a column still to be made) may take `code`: a non-empty identifier
  // that no other column has, without regard to case.
  bool checkNewCode(std::int32_t id, std::u16string_view code) const;
  // The column a script argument names: a string by code, a number by visible position.
  ColumnIDByValueError columnIDByValue(const GenericValue* value, int& id) const;

  // The values of column `id` in the rows of the table's own level, in row order, as a new array.
  // Throws IllegalArgumentException for an unknown column.
  InterfacePtr<IValueArray> unloadColumn(std::int32_t id) const;
  // Stores element i of `values` in column `id` of row i, as setValue would, for every row that has an
  // element: rows beyond the array's count keep their values and elements beyond the row count are
  // ignored. Throws IllegalArgumentException for an unknown column, before any row changes.
  void loadColumn(std::int32_t id, const IValueArray& values);

 protected:
  ~ValueTableBase() override;
  // The column's description; false for an unknown column.
  virtual bool tableColumnInfo(std::int32_t id, VTColumnInfo& out) const;
  // Makes the column after its code was checked; returns its identifier.
  virtual std::int32_t insertTableColumn(std::uint32_t position, const VTColumnInfo& info, std::int32_t id);
  // The column handle; throws IllegalArgumentException for an unknown column.
  VTColumn columnByID(std::int32_t id) const;

  // Row operations on one level of the tree: the table's own lines (core()) or the child lines of one
  // line. The interface methods apply them to the table's own level. They check and throw as those do.
  LineIterator checkedRow(const ValueTablePage& level, std::uint32_t index) const;
  LineIterator findValueIn(const ValueTablePage& level, const GenericValue& value,
                           const std::vector<std::int32_t>& columnIDs, bool includeChildren) const;
  void moveRowIn(ValueTablePage& level, std::uint32_t index, std::int32_t offset);
  void sortLevel(ValueTablePage& level, const std::vector<VTSortParam>& params, bool includeChildren,
                 ICompareValues* compare);
  // The source's rows (and their child lines) in place of the level's lines or after them, matched by
  // column code as loadFrom does.
  void loadRowsInto(ValueTablePage& level, IValueTableBaseRO* source, bool append);
  InterfacePtr<IValueArray> unloadColumnOf(const ValueTablePage& level, std::int32_t id) const;
  void loadColumnInto(ValueTablePage& level, std::int32_t id, const IValueArray& values);

 private:
  struct ColumnText {
    avo::WString code;
    avo::WString title;
    std::int32_t width = 0;
  };
  struct FoldedHash {
    std::size_t operator()(const avo::WString& code) const noexcept;
  };
  struct FoldedEqual {
    bool operator()(const avo::WString& a, const avo::WString& b) const noexcept;
  };

  void forgetColumn(std::int32_t id);
  void copyRowsFrom(IValueTableBaseRO* source, ValueTablePage& level);

  ValueTableCore core_;
  std::unordered_map<std::int32_t, ColumnText> texts_;                             // by column identifier
  std::unordered_map<avo::WString, std::int32_t, FoldedHash, FoldedEqual> codes_;  // code -> identifier
};

}  // namespace core
