// The value table as a script object: the registered types, the two method definitions and the table's
// methods over ValueTableBase.
//
// Script code passes rows as row values or row numbers, and columns by code. Everything that names a row
// or column that is not there is the script's mistake and raises IllegalArgumentException with a message
// of its own; a value of the wrong kind raises the parameter mismatch, as for every context.
#include "core/ValueTableScript.h"

#include <string_view>

#include "base/SourcePosition.h"
#include "context/ContextNames.h"
#include "core/Exception.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("ValueTableScript");

[[noreturn]] void script_error(int line, const char* key) {
  throw IllegalArgumentException(kSourceFile, line, ResourceKey{key});
}

[[noreturn]] void script_error(int line, const char* key, std::u16string_view argument) {
  throw IllegalArgumentException(kSourceFile, line, Message(ResourceKey{key}, argument));
}

// ----- types and definitions

class ValueTableType final : public ObjectTypeCore {
 public:
  ValueTableType() noexcept : ObjectTypeCore(kValueTableTypeCLSID, kValueTableTerm[0], kValueTableTerm[1]) {}
  bool hasCtor(int paramCount) const noexcept override { return paramCount == 0; }
  IValue* ctor(std::span<GenericValue* const> params) const override {
    if (!params.empty()) return ObjectTypeCore::ctor(params);
    return static_cast<IValue*>(create_value_table().detach());
  }
  bool isValueMutable() const noexcept override { return true; }
};

class ValueTableRowType final : public ObjectTypeCore {
 public:
  ValueTableRowType() noexcept
      : ObjectTypeCore(kValueTableRowTypeCLSID, kValueTableRowTerm[0], kValueTableRowTerm[1]) {}
  bool isValueMutable() const noexcept override { return true; }
};

IType* registered(IType* type) {
  register_object_type(type);
  return type;
}

// The definitions are shared by every table and live as long as the process.
class TableDef final : public VTContextDefBase {
 public:
  explicit TableDef(bool hierarchical) noexcept : hierarchical_(hierarchical) {}

  HRESULT QueryInterface(const GUID& iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    if (iid != IUnknown::IID && iid != IContextDef::IID) {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    *object = static_cast<IContextDef*>(this);
    return S_OK;
  }
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }

 protected:
  bool useSubordinate() const override { return hierarchical_; }

 private:
  bool hierarchical_;
};

IContextDef* table_def(bool hierarchical) {
  static TableDef* const flat = new TableDef(false);
  static TableDef* const tree = new TableDef(true);
  return hierarchical ? tree : flat;
}

// ----- arguments

IValue* param_at(const std::vector<GenericValue*>& params, int index) noexcept {
  if (index < 0 || static_cast<std::size_t>(index) >= params.size() || params[index] == nullptr) return nullptr;
  return params[index]->_getIValue();
}

bool given(const std::vector<GenericValue*>& params, int index) noexcept {
  IValue* value = param_at(params, index);
  if (value == nullptr) return false;
  const Type::Code kind = value->type()->getTypeCode();
  return kind != Type::Undefined && kind != Type::Unspecified;
}

Type::Code kind_of(const std::vector<GenericValue*>& params, int index) noexcept {
  IValue* value = param_at(params, index);
  return value != nullptr ? value->type()->getTypeCode() : Type::Undefined;
}

// A whole number, for row numbers and offsets.
std::int64_t whole_number(const std::vector<GenericValue*>& params, int index) {
  if (kind_of(params, index) != Type::Number) parameter_type_mismatch(index);
  Numeric number;
  param_at(params, index)->getNumeric(number);
  long long whole = 0;
  if (!number.toInteger(whole)) script_error(__LINE__, "IDS_ERR_VT_INDEX_OUT_OF_RANGE");
  return whole;
}

avo::WString text(const std::vector<GenericValue*>& params, int index) {
  if (kind_of(params, index) != Type::String) parameter_type_mismatch(index);
  avo::WString out;
  param_at(params, index)->getString(out);
  return out;
}

bool flag(const std::vector<GenericValue*>& params, int index) {
  if (!given(params, index)) return false;
  if (kind_of(params, index) != Type::Boolean) parameter_type_mismatch(index);
  bool out = false;
  param_at(params, index)->getBoolean(out);
  return out;
}

constexpr bool is_blank(char16_t c) noexcept { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; }

std::u16string_view trimmed(std::u16string_view s) noexcept {
  while (!s.empty() && is_blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && is_blank(s.back())) s.remove_suffix(1);
  return s;
}

// Calls fn(item) for each comma-separated item of `list`, blanks around it removed. An empty list has
// no items; an empty item between commas is an error.
template <class Fn>
void for_each_item(std::u16string_view list, Fn&& fn) {
  if (trimmed(list).empty()) return;
  for (;;) {
    const std::size_t comma = list.find(u',');
    const std::u16string_view item = trimmed(list.substr(0, comma));
    if (item.empty()) script_error(__LINE__, "IDS_ERR_VT_BAD_COLUMN_LIST", list);
    fn(item);
    if (comma == std::u16string_view::npos) return;
    list.remove_prefix(comma + 1);
  }
}

std::int32_t column_by_code(const ValueTableBase& table, std::u16string_view code) {
  const std::int32_t id = table.columnIDByCode(code);
  if (id == -1) script_error(__LINE__, "IDS_ERR_VT_COLUMN_NOT_FOUND", code);
  return id;
}

// The column an argument names: a code (any case) or a visible position.
std::int32_t column_arg(const ValueTableBase& table, const std::vector<GenericValue*>& params, int index) {
  const WeakValue value(param_at(params, index));
  int id = -1;
  switch (table.columnIDByValue(&value, id)) {
    case ColumnIDByValueError::Found:
      return id;
    case ColumnIDByValueError::UnknownCode: {
      avo::WString code;
      value.getString(code);
      script_error(__LINE__, "IDS_ERR_VT_COLUMN_NOT_FOUND", code);
    }
    case ColumnIDByValueError::BadPosition:
      script_error(__LINE__, "IDS_ERR_VT_INDEX_OUT_OF_RANGE");
    default:
      parameter_type_mismatch(index);
  }
}

InterfacePtr<IValueArray> array_arg(const std::vector<GenericValue*>& params, int index) {
  IValue* value = param_at(params, index);
  InterfacePtr<IValueArray> array = value != nullptr ? InterfacePtr<IValue>(value).query<IValueArray>() : nullptr;
  if (!array) parameter_type_mismatch(index);
  return array;
}

Value array_value(const InterfacePtr<IValueArray>& array) { return Value(array.query<IValue>().get()); }

// A FindRows filter: column and value in turn, each column by code or position. A column given as
// anything else, or a column without its value, makes the whole filter malformed.
std::vector<VTFindParam> find_filter(const ValueTableBase& table, const IValueArray& filter) {
  const std::uint32_t count = filter.getCount();
  if (count % 2 != 0) script_error(__LINE__, "IDS_ERR_VT_BAD_FILTER");
  std::vector<VTFindParam> params;
  for (std::uint32_t i = 0; i < count; i += 2) {
    const Value column = filter.getAt(i);
    int id = -1;
    switch (table.columnIDByValue(&column, id)) {
      case ColumnIDByValueError::Found:
        params.push_back({id, filter.getAt(i + 1)});
        break;
      case ColumnIDByValueError::UnknownCode: {
        avo::WString code;
        column.getString(code);
        script_error(__LINE__, "IDS_ERR_VT_COLUMN_NOT_FOUND", code);
      }
      case ColumnIDByValueError::BadPosition:
        script_error(__LINE__, "IDS_ERR_VT_INDEX_OUT_OF_RANGE");
      default:
        script_error(__LINE__, "IDS_ERR_VT_BAD_FILTER");
    }
  }
  return params;
}

bool is_keyword(std::u16string_view word, std::u16string_view english, std::u16string_view russian) noexcept {
  return detail::compare_context_names(word, english) == 0 || detail::compare_context_names(word, russian) == 0;
}

// "Code1 desc, Code2": each item a column code and an optional direction, ascending by default.
std::vector<VTSortParam> sort_order(const ValueTableBase& table, std::u16string_view text) {
  std::vector<VTSortParam> order;
  for_each_item(text, [&](std::u16string_view item) {
    std::size_t blank = 0;
    while (blank < item.size() && !is_blank(item[blank])) ++blank;
    VTSortParam param{column_by_code(table, item.substr(0, blank)), false};
    const std::u16string_view direction = trimmed(item.substr(blank));
    if (is_keyword(direction, u"desc", u"Убыв")) {
      param.descending = true;
    } else if (!direction.empty() && !is_keyword(direction, u"asc", u"Возр")) {
      script_error(__LINE__, "IDS_ERR_VT_BAD_SORT_ORDER", item);
    }
    order.push_back(param);
  });
  if (order.empty()) script_error(__LINE__, "IDS_ERR_VT_BAD_SORT_ORDER", text);
  return order;
}

}  // namespace

IType* value_table_type() {
  static IType* const type = registered(new ValueTableType());
  return type;
}

IType* value_table_row_type() {
  static IType* const type = registered(new ValueTableRowType());
  return type;
}

namespace {

// Registered as the library loads, so that Type(kValueTableTypeCLSID) finds the type before any table
// exists rather than making a plain object type of that GUID, which would then block the registration.
[[maybe_unused]] const bool kTypesRegistered = (value_table_type(), value_table_row_type(), true);

}  // namespace

ValueTableRow* value_table_row(IValue* value) noexcept {
  if (value == nullptr || value->type() != value_table_row_type()) return nullptr;
  return static_cast<ValueTableRow*>(value);
}

// ----- ValueTable

ValueTable::ValueTable(bool hierarchical)
    : ObjectValueCore(value_table_type(), ImmortalType{}), table_(new ValueTableBase()), hierarchical_(hierarchical) {
  setIContextDef(table_def(hierarchical));
}

ValueTable::~ValueTable() = default;

InterfacePtr<ValueTable> create_value_table(bool hierarchical) {
  return InterfacePtr<ValueTable>(new ValueTable(hierarchical));
}

HRESULT ValueTable::QueryInterface(const GUID& iid, void** object) {
  if (object != nullptr && (iid == IContext_::IID || iid == IContextDef::IID)) {
    *object = static_cast<IContext_*>(this);
    AddRef();
    return S_OK;
  }
  return ObjectValueCore::QueryInterface(iid, object);
}

Value ValueTable::rowValue(LineIterator line) {
  return Value(static_cast<IValue*>(new ValueTableRow(this, std::move(line))));
}

namespace {

// The row of `table` an argument names: a row value of that table, or a row number.
std::uint32_t row_index(ValueTable& table, const std::vector<GenericValue*>& params, int index) {
  const ValueTableBase& base = *table.table();
  if (ValueTableRow* row = value_table_row(param_at(params, index))) {
    const std::uint32_t at = row->valid() ? row->line()->index() : kNoIndex;
    if (row->owner() != &table || at == kNoIndex || !(base.row(at) == row->line())) {
      script_error(__LINE__, "IDS_ERR_VT_ROW_NOT_IN_TABLE");
    }
    return at;
  }
  const std::int64_t at = whole_number(params, index);
  if (at < 0 || at >= base.getRowCount()) script_error(__LINE__, "IDS_ERR_VT_INDEX_OUT_OF_RANGE");
  return static_cast<std::uint32_t>(at);
}

void put(GenericValue* result, const GenericValue& value) {
  if (result != nullptr) result->assign(value);
}

}  // namespace

bool ValueTable::call(int method, GenericValue* result, const std::vector<GenericValue*>& params) {
  ValueTableBase& base = *table_;
  // The hierarchical form has the include-subordinates flag before Sort's comparison.
  const int compareParam = hierarchical_ ? 2 : 1;
  switch (method) {
    case VTContextDefBase::kCount:
      put(result, Value(base.getRowCount()));
      return true;
    case VTContextDefBase::kIndexOf: {
      ValueTableRow* row = value_table_row(param_at(params, 0));
      if (row == nullptr) parameter_type_mismatch(0);
      const std::uint32_t at = row->owner() == this && row->valid() ? row->line()->index() : kNoIndex;
      const bool here = at != kNoIndex && base.row(at) == row->line();
      put(result, here ? Value(at) : Value(-1));
      return true;
    }
    case VTContextDefBase::kAdd:
      put(result, rowValue(base.addRow()));
      return true;
    case VTContextDefBase::kInsert: {
      const std::int64_t at = whole_number(params, 0);
      if (at < 0 || at > base.getRowCount()) script_error(__LINE__, "IDS_ERR_VT_INDEX_OUT_OF_RANGE");
      put(result, rowValue(base.insertRow(static_cast<std::uint32_t>(at))));
      return true;
    }
    case VTContextDefBase::kDelete:
      base.deleteRow(row_index(*this, params, 0));
      return true;
    case VTContextDefBase::kClear:
      base.deleteRows();
      return true;
    case VTContextDefBase::kMove: {
      const std::uint32_t at = row_index(*this, params, 0);
      const std::int64_t offset = whole_number(params, 1);
      const std::int64_t target = static_cast<std::int64_t>(at) + offset;
      if (target < 0 || target >= base.getRowCount()) script_error(__LINE__, "IDS_ERR_VT_INDEX_OUT_OF_RANGE");
      base.moveRow(at, static_cast<std::int32_t>(offset));
      return true;
    }
    case VTContextDefBase::kFind: {
      std::vector<std::int32_t> columns;
      if (given(params, 1)) {
        for_each_item(text(params, 1),
                      [&](std::u16string_view code) { columns.push_back(column_by_code(base, code)); });
      }
      const WeakValue wanted(param_at(params, 0));
      LineIterator found = base.findValue(wanted, columns, hierarchical_ && flag(params, 2));
      put(result, found.valid() ? rowValue(found) : Value());
      return true;
    }
    case VTContextDefBase::kTotal: {
      const std::int32_t column = column_by_code(base, text(params, 0));
      put(result, base.columnTotal(column, hierarchical_ && flag(params, 1)));
      return true;
    }
    case VTContextDefBase::kSort: {
      const std::vector<VTSortParam> order = sort_order(base, text(params, 0));
      // No value type carries a comparison yet: only the default order can be asked for.
      if (given(params, compareParam)) parameter_type_mismatch(compareParam);
      base.sortTable(order, hierarchical_ && flag(params, 1), nullptr);
      return true;
    }
    case VTContextDefBase::kGet: {
      const std::int64_t at = whole_number(params, 0);
      if (at < 0 || at >= base.getRowCount()) script_error(__LINE__, "IDS_ERR_VT_INDEX_OUT_OF_RANGE");
      put(result, rowValue(base.row(static_cast<std::uint32_t>(at))));
      return true;
    }
    case VTContextDefBase::kLoadColumn: {
      const InterfacePtr<IValueArray> values = array_arg(params, 0);
      base.loadColumn(column_arg(base, params, 1), *values);
      return true;
    }
    case VTContextDefBase::kUnloadColumn:
      put(result, array_value(base.unloadColumn(column_arg(base, params, 0))));
      return true;
    case VTContextDefBase::kFindRows: {
      const std::vector<VTFindParam> filter = find_filter(base, *array_arg(params, 0));
      const bool deep = hierarchical_ && flag(params, 1);
      InterfacePtr<IValueArray> rows = create_value_array();
      for (const LineIterator& line : base.findRows(filter, deep)) rows->add(rowValue(line));
      put(result, array_value(rows));
      return true;
    }
    default:
      return false;
  }
}

}  // namespace core
