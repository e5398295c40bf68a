#pragma once
// Value tables as script code sees them: a value of the object type "ValueTable" / "ТаблицаЗначений"
// that is also a context with the methods of VTContextDefBase, and its rows as values of the type
// "ValueTableRow" / "СтрокаТаблицыЗначений" whose properties are the table's named columns. The table
// underneath is a ValueTableBase (core/ValueTableBase.h), reached through table().
//
//     core::InterfacePtr<core::ValueTable> table = core::create_value_table();
//     table->table()->addColumn({u"Price", {}, numberPattern, 0}, -1);   // columns are set up from C++
//     int add = table->findMethod(u"добавить");                          // kAdd
//     core::Value row;
//     table->call(add, &row, {});                                         // a ValueTableRow value
//
// Arguments: rows are given as row values or as row numbers, columns by code (any case), several
// columns as one string "Code1, Code2". A value of the wrong kind raises parameter_type_mismatch(i); a
// row number outside the table, a row of another table, an unknown column or a malformed sort order
// raises IllegalArgumentException with its own message. Arguments are checked before the table changes,
// so a method that raises leaves the table as it was.
//
// Three methods exchange value arrays (core/Value.h) with script code, and their columns may also be
// given by visible position (a position that is not a whole number below the column count raises
// IllegalArgumentException):
//   UnloadColumn(column)       an array of the column's values in the rows of the table's own level, in
//                              row order
//   LoadColumn(array, column)  stores the array's elements in those rows in order; rows beyond the
//                              array's count keep their values, elements beyond the row count are ignored
//   FindRows(filter[, sub])    an array of the rows, as row values, whose columns hold all the filter's
//                              values, in table order (in the hierarchical form, with the include-
//                              subordinates flag `sub`, each row's child lines right after it). The filter is an
//                              array of column and value in turn: {"Code", "a", 1, 5} finds the rows
//                              whose Code is "a" and whose second column is 5; an empty filter finds every
//                              row. A filter of odd length or with a column that is neither a code nor a
//                              position raises IllegalArgumentException.
//
// Thread safety: as the table, one thread at a time; the definitions and types are shared freely.

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/Context.h"
#include "core/Export.h"
#include "core/Guid.h"
#include "core/Interface.h"
#include "core/Type.h"
#include "core/Value.h"
#include "core/ValueTableBase.h"

namespace core {

// Script-facing names, English at index 0 and Russian at index 1.
inline constexpr const char16_t* kValueTableTerm[2] = {u"ValueTable", u"ТаблицаЗначений"};
inline constexpr const char16_t* kValueTableRowTerm[2] = {u"ValueTableRow", u"СтрокаТаблицыЗначений"};
inline constexpr const char16_t* kValueTableColumnTerm[2] = {u"ValueTableColumn", u"КолонкаТаблицыЗначений"};
inline constexpr const char16_t* kValueTableColumnCollectionTerm[2] = {u"ValueTableColumnCollection",
                                                                       u"КоллекцияКолонокТаблицыЗначений"};
inline constexpr const char16_t* kValueTableIndexTerm[2] = {u"CollectionIndex", u"ИндексКоллекции"};
inline constexpr const char16_t* kValueTableIndexCollectionTerm[2] = {u"CollectionIndexes", u"ИндексыКоллекции"};

// The class GUIDs of the table's and the row's object types.
inline constexpr GUID kValueTableTypeCLSID = guid("8e0d1c52-3b7a-4f6e-9a21-5c4b7d2e9f10");
inline constexpr GUID kValueTableRowTypeCLSID = guid("8e0d1c52-3b7a-4f6e-9a21-5c4b7d2e9f11");

// The registered type objects (borrowed, never destroyed). The table's type constructs an empty flat
// table for `New ValueTable` without arguments.
KERN83_API IType* value_table_type();
KERN83_API IType* value_table_row_type();

// The script methods of the value table: 14 methods with English and Russian names, parameter counts,
// defaults and whether they give a result. The hierarchical form (useSubordinate() true) adds an
// "include subordinate lines" parameter to Find, FindRows, Total and Sort. Names are looked up without
// regard to case in either language. The table has no script properties of its own here.
//
// The IUnknown slots are the final object's. Thread safety: the answers never change; lookups may run
// from any thread.
class KERN83_API VTContextDefBase : public ContextDefCore {
 public:
  // The method numbers, in the order of the definition; kMethodCount is their number.
  enum Method : int {
    kCount,
    kIndexOf,
    kAdd,
    kInsert,
    kDelete,
    kClear,
    kMove,
    kFind,
    kFindRows,
    kTotal,
    kSort,
    kLoadColumn,
    kUnloadColumn,
    kGet,
    kMethodCount
  };

  int getNMethods() override { return kMethodCount; }
  // Alias 0 English, 1 Russian; null for other aliases and unknown methods.
  const char16_t* getMethodName(int method, int alias) override;
  // The parameter counts and kinds, and whether a method gives a result, as described above.
  int getNParams(int method) override;
  bool isParamIn(int method, int param) override;
  // Defaults: Find's second parameter the empty string and its third False; the include-subordinates
  // parameter of FindRows and Total False; Sort's comparison parameter Undefined (and, hierarchical,
  // its include-subordinates parameter False).
  bool getParamDefValue(int method, int param, GenericValue* out) override;
  // Whether the method gives a result.
  bool hasRetVal(int method) override;
  // The method named `name` in either language, any case; -1 when none.
  int findMethod(std::u16string_view name) override;

 protected:
  VTContextDefBase();
  ~VTContextDefBase();
  // Whether the table is the hierarchical form.
  virtual bool useSubordinate() const { return false; }

 private:
  ContextDefHashCached names_;
};

// The value table as a script value and context (see the top of this file).
class KERN83_API ValueTable : public ObjectValueCore, public IContextExtImplBase {
 public:
  // An empty table without columns; `hierarchical` selects the definition whose Find, FindRows, Total
  // and Sort take the include-subordinates parameter, and then the methods reach child lines too.
  explicit ValueTable(bool hierarchical = false);

  // The table underneath (borrowed, lives as long as this object).
  ValueTableBase* table() const noexcept { return table_.get(); }
  // Whether this is the hierarchical form.
  bool hierarchical() const noexcept { return hierarchical_; }

  // IUnknown: the value's interfaces and IContextDef, IContext_.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return ObjectValueCore::AddRef(); }
  std::uint32_t Release() override { return ObjectValueCore::Release(); }

  // No script properties of its own.
  bool getPropVal(int, GenericValue&) override { return false; }
  bool setPropVal(int, const GenericValue&) override { return false; }
  // The methods numbered as in VTContextDefBase. False for unknown methods.
  bool call(int method, GenericValue* result, const std::vector<GenericValue*>& params) override;

  // The row value of `line`, a line of this table.
  Value rowValue(LineIterator line);

 private:
  ~ValueTable() override;

  InterfacePtr<ValueTableBase> table_;
  bool hierarchical_;
};

// A new empty table, with a reference for the caller.
KERN83_API InterfacePtr<ValueTable> create_value_table(bool hierarchical = false);

// One row of a ValueTable. Its properties are the table's named columns in visible order, read and
// written by code in any case; unnamed columns are not reachable from script code. The row keeps its
// table alive; once its line has left the table, reading or writing it raises IllegalArgumentException.
// Two row values are equal when they stand for the same line.
class KERN83_API ValueTableRow : public ObjectValueCore, public ContextCore {
 public:
  // The row of `line`, a line of `owner` (which the row keeps alive).
  ValueTableRow(ValueTable* owner, LineIterator line);

  // The table and the line given to the constructor.
  ValueTable* owner() const noexcept { return owner_.get(); }
  const LineIterator& line() const noexcept { return line_; }
  // Whether the line is still a row of its table.
  bool valid() const noexcept { return line_.valid(); }

  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return ObjectValueCore::AddRef(); }
  std::uint32_t Release() override { return ObjectValueCore::Release(); }
  bool isEqual(IValue* other) const noexcept override;
  std::int32_t hashCode() const noexcept override { return static_cast<std::int32_t>(line_.hash()); }

  int getNProps() override;
  // The column's code for both aliases; see ValueTableBase::columnCodeText for how long it stays valid.
  const char16_t* getPropName(int prop, int alias) override;
  // Every named column is readable and writable.
  bool isPropReadable(int prop) override { return prop >= 0 && prop < getNProps(); }
  bool isPropWritable(int prop) override { return isPropReadable(prop); }
  // The named column with that code, in any case; -1 when none.
  int findProp(std::u16string_view name) override;
  // The column's value in the row; IllegalArgumentException once the line has left the table.
  bool getPropVal(int prop, GenericValue& out) override;
  bool setPropVal(int prop, const GenericValue& value) override;
  // Readable, writable, category 0, and the column's type description as the property's types.
  bool getPropInfo(int prop, PropInfo& info) override;

 private:
  ~ValueTableRow() override;
  // The line, checked to be still in the table.
  ValueTableLine& checkedLine() const;

  InterfacePtr<ValueTable> owner_;
  LineIterator line_;
};

// The row a value stands for: null unless it is a ValueTableRow.
KERN83_API ValueTableRow* value_table_row(IValue* value) noexcept;

}  // namespace core
