// A row of a script value table: the table's named columns as the row's properties.
//
// Property i is the i-th named column in visible order, so property numbers shift when named columns
// are added, removed or moved; a script looks properties up by name, which follows the change.
#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ValueTableScript.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("ValueTableRow");

}  // namespace

ValueTableRow::ValueTableRow(ValueTable* owner, LineIterator line)
    : ObjectValueCore(value_table_row_type(), ImmortalType{}), owner_(owner), line_(std::move(line)) {}

ValueTableRow::~ValueTableRow() = default;

HRESULT ValueTableRow::QueryInterface(const GUID& iid, void** object) {
  if (object != nullptr && (iid == IContext_::IID || iid == IContextDef::IID)) {
    *object = static_cast<IContext_*>(this);
    AddRef();
    return S_OK;
  }
  return ObjectValueCore::QueryInterface(iid, object);
}

bool ValueTableRow::isEqual(IValue* other) const noexcept {
  const ValueTableRow* row = value_table_row(other);
  return row != nullptr && row->line_ == line_;
}

ValueTableLine& ValueTableRow::checkedLine() const {
  if (!line_.valid()) {
    throw IllegalArgumentException(kSourceFile, __LINE__, ResourceKey{"IDS_ERR_VT_ROW_NOT_IN_TABLE"});
  }
  return *line_;
}

int ValueTableRow::getNProps() { return static_cast<int>(owner_->table()->namedColumnsCount()); }

const char16_t* ValueTableRow::getPropName(int prop, int alias) {
  if (prop < 0 || alias < 0 || alias > 1) return nullptr;
  const ValueTableBase& table = *owner_->table();
  return table.columnCodeText(table.namedColumnID(static_cast<std::uint32_t>(prop)));
}

int ValueTableRow::findProp(std::u16string_view name) { return owner_->table()->namedColumnPos(name); }

bool ValueTableRow::getPropInfo(int prop, PropInfo& info) {
  if (!isPropReadable(prop)) return false;
  VTColumnInfo column;
  owner_->table()->columnInfo(owner_->table()->namedColumnID(static_cast<std::uint32_t>(prop)), column);
  info = PropInfo{true, true, 0, std::move(column.pattern)};
  return true;
}

bool ValueTableRow::getPropVal(int prop, GenericValue& out) {
  if (!isPropReadable(prop)) return false;
  const ValueTableLine& line = checkedLine();
  out.assign(line.get(owner_->table()->namedColumnID(static_cast<std::uint32_t>(prop))));
  return true;
}

bool ValueTableRow::setPropVal(int prop, const GenericValue& value) {
  if (!isPropWritable(prop)) return false;
  checkedLine().set(owner_->table()->namedColumnID(static_cast<std::uint32_t>(prop)), value);
  return true;
}

}  // namespace core
