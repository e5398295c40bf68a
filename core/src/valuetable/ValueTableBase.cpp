// ValueTableBase: rows and named columns over a ValueTableCore.
//
// The core keeps identifiers, positions, slots and types; this object adds per column its code, title
// and width (texts_) and an index from code to identifier (codes_) that matches codes the way script
// names are matched, so that a column found as "Цена" is also found as "ЦЕНА". Both maps change only
// together with the core's columns.
#include "core/ValueTableBase.h"

#include <unicode/uchar.h>

#include <algorithm>

#include "base/SourcePosition.h"
#include "context/ContextNames.h"
#include "core/Exception.h"
#include "valuetable/ValueKeys.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("ValueTableBase");

[[noreturn]] void illegal_argument(int line) {
  throw IllegalArgumentException(kSourceFile, line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
}

// Letters of any script, digits and underscores, not starting with a digit. Surrogate pairs are taken
// whole, so letters outside the basic plane count as letters.
bool is_identifier(std::u16string_view code) {
  if (code.empty()) return false;
  for (std::size_t i = 0; i < code.size(); ++i) {
    UChar32 c = code[i];
    if (U16_IS_LEAD(c) && i + 1 < code.size() && U16_IS_TRAIL(code[i + 1])) {
      c = U16_GET_SUPPLEMENTARY(c, code[++i]);
    }
    const bool letter = u_isalpha(c) || c == u'_';
    if (!letter && (i == 0 || !u_isdigit(c))) return false;
  }
  return true;
}

template <class T>
int three_way(const T& a, const T& b) {
  return a < b ? -1 : (b < a ? 1 : 0);
}

}  // namespace

int compare_table_values(const GenericValue& a, const GenericValue& b) {
  const Type::Code kind = a.type().getTypeCode();
  const Type::Code other = b.type().getTypeCode();
  if (kind != other) return three_way(kind, other);
  switch (kind) {
    case Type::Boolean: {
      bool x = false, y = false;
      a.getBoolean(x);
      b.getBoolean(y);
      return three_way(x, y);
    }
    case Type::Number: {
      Numeric x, y;
      a.getNumeric(x);
      b.getNumeric(y);
      return x.compare(y);
    }
    case Type::String: {
      avo::WString x, y;
      a.getString(x);
      b.getString(y);
      return x.compare(y) < 0 ? -1 : (x == y ? 0 : 1);
    }
    case Type::Date: {
      Date x, y;
      a.getDate(x);
      b.getDate(y);
      return three_way(x, y);
    }
    default:
      return 0;
  }
}

std::size_t ValueTableBase::FoldedHash::operator()(const avo::WString& code) const noexcept {
  return detail::hash_context_name(code);
}

bool ValueTableBase::FoldedEqual::operator()(const avo::WString& a, const avo::WString& b) const noexcept {
  return detail::compare_context_names(a, b) == 0;
}

ValueTableBase::ValueTableBase(std::uint32_t maxPageSize) : core_(maxPageSize) {}

ValueTableBase::~ValueTableBase() = default;

// ----- columns

VTColumn ValueTableBase::columnByID(std::int32_t id) const {
  const VTColumn found = core_.column(id);
  if (!found.valid()) illegal_argument(__LINE__);
  return found;
}

bool ValueTableBase::tableColumnInfo(std::int32_t id, VTColumnInfo& out) const {
  const std::uint32_t position = core_.columnIndex(id);
  if (position == kNoIndex) return false;
  const auto text = texts_.find(id);
  out.code = text != texts_.end() ? text->second.code : avo::WString();
  out.title = text != texts_.end() ? text->second.title : avo::WString();
  out.width = text != texts_.end() ? text->second.width : 0;
  out.pattern = core_.columnOrder()->at(position).pattern;
  return true;
}

bool ValueTableBase::columnInfo(std::int32_t id, VTColumnInfo& out) const { return tableColumnInfo(id, out); }

bool ValueTableBase::isColumnWritable(std::int32_t id) const { return core_.column(id).valid(); }

avo::WString ValueTableBase::columnCode(std::int32_t id) const {
  const auto text = texts_.find(id);
  return text != texts_.end() ? text->second.code : avo::WString();
}

// texts_ is node based: the string stays where it is while other columns come and go.
const char16_t* ValueTableBase::columnCodeText(std::int32_t id) const noexcept {
  const auto text = texts_.find(id);
  return text != texts_.end() && !text->second.code.empty() ? text->second.code.c_str() : nullptr;
}

std::int32_t ValueTableBase::columnIDByCode(std::u16string_view code) const {
  const auto found = codes_.find(avo::WString(code));
  return found != codes_.end() ? found->second : -1;
}

bool ValueTableBase::checkNewCode(std::int32_t id, std::u16string_view code) const {
  if (!is_identifier(code)) return false;
  const std::int32_t holder = columnIDByCode(code);
  return holder == -1 || (id != -1 && holder == id);
}

std::int32_t ValueTableBase::addColumn(const VTColumnInfo& info, std::int32_t id) {
  return insertColumn(core_.getColumnCount(), info, id);
}

std::int32_t ValueTableBase::insertColumn(std::uint32_t position, const VTColumnInfo& info, std::int32_t id) {
  if (!info.code.empty() && !checkNewCode(-1, info.code)) illegal_argument(__LINE__);
  return insertTableColumn(position, info, id);
}

std::int32_t ValueTableBase::insertTableColumn(std::uint32_t position, const VTColumnInfo& info, std::int32_t id) {
  const std::int32_t made = core_.insertColumn(position, id, info.pattern).id();
  texts_[made] = ColumnText{info.code, info.title, info.width};
  if (!info.code.empty()) codes_.emplace(info.code, made);
  return made;
}

void ValueTableBase::forgetColumn(std::int32_t id) {
  const auto text = texts_.find(id);
  if (text == texts_.end()) return;
  if (!text->second.code.empty()) codes_.erase(text->second.code);
  texts_.erase(text);
}

void ValueTableBase::deleteColumn(std::int32_t id) {
  core_.removeColumn(columnByID(id));
  forgetColumn(id);
}

void ValueTableBase::deleteAllColumns() {
  core_.clearColumns();
  texts_.clear();
  codes_.clear();
}

void ValueTableBase::moveColumn(std::int32_t id, std::int32_t offset) { core_.moveColumn(columnByID(id), offset); }

void ValueTableBase::setColumnCount(std::uint32_t count) {
  while (core_.getColumnCount() < count) addColumn(VTColumnInfo{}, -1);
  while (core_.getColumnCount() > count) deleteColumn(core_.columnID(core_.getColumnCount() - 1));
}

void ValueTableBase::setColumnInfo(std::int32_t id, const VTColumnInfo& info) {
  columnByID(id);
  if (!info.code.empty() && !checkNewCode(id, info.code)) illegal_argument(__LINE__);
  forgetColumn(id);
  texts_[id] = ColumnText{info.code, info.title, info.width};
  if (!info.code.empty()) codes_.emplace(info.code, id);
  core_.setTypeDomainPattern(id, info.pattern);
}

// ----- named columns

std::uint32_t ValueTableBase::namedColumnsCount() const { return static_cast<std::uint32_t>(codes_.size()); }

std::int32_t ValueTableBase::namedColumnID(std::uint32_t i) const {
  for (std::uint32_t position = 0; position < core_.getColumnCount(); ++position) {
    const std::int32_t id = core_.columnID(position);
    if (!columnCode(id).empty() && i-- == 0) return id;
  }
  return -1;
}

avo::WString ValueTableBase::namedColumnCode(std::uint32_t i, int language) const {
  return language == 0 || language == 1 ? columnCode(namedColumnID(i)) : avo::WString();
}

std::int32_t ValueTableBase::namedColumnPos(std::u16string_view name) const {
  const std::int32_t id = columnIDByCode(name);
  if (id == -1) return -1;
  std::int32_t named = 0;
  for (std::uint32_t position = 0; core_.columnID(position) != id; ++position) {
    if (!columnCode(core_.columnID(position)).empty()) ++named;
  }
  return named;
}

ColumnIDByValueError ValueTableBase::columnIDByValue(const GenericValue* value, int& id) const {
  const Type::Code kind = value != nullptr ? value->type().getTypeCode() : Type::Undefined;
  if (kind == Type::String) {
    avo::WString code;
    value->getString(code);
    const std::int32_t found = columnIDByCode(code);
    if (found == -1) return ColumnIDByValueError::UnknownCode;
    id = found;
    return ColumnIDByValueError::Found;
  }
  if (kind == Type::Number) {
    Numeric number;
    value->getNumeric(number);
    const Numeric whole = number.round(0, NumericRoundMode::Round15as20);
    if (whole.compare(number) != 0 || whole.sign() < 0 || whole.compare(Numeric(core_.getColumnCount())) >= 0) {
      return ColumnIDByValueError::BadPosition;
    }
    id = core_.columnID(static_cast<unsigned int>(whole));
    return ColumnIDByValueError::Found;
  }
  return ColumnIDByValueError::WrongKind;
}

// ----- rows

InterfacePtr<IValueArray> ValueTableBase::unloadColumn(std::int32_t id) const { return unloadColumnOf(core_, id); }

void ValueTableBase::loadColumn(std::int32_t id, const IValueArray& values) { loadColumnInto(core_, id, values); }

InterfacePtr<IValueArray> ValueTableBase::unloadColumnOf(const ValueTablePage& level, std::int32_t id) const {
  const std::uint32_t slot = columnByID(id).slot();
  std::vector<Value> values;
  values.reserve(level.size());
  for (LineIterator line = level.lineAt(0); line.valid(); ++line) values.push_back(line->getAtPos(slot));
  return create_value_array(values);
}

void ValueTableBase::loadColumnInto(ValueTablePage& level, std::int32_t id, const IValueArray& values) {
  columnByID(id);
  const std::uint32_t count = values.getCount();
  LineIterator line = level.lineAt(0);
  for (std::uint32_t i = 0; i < count && line.valid(); ++i, ++line) line->set(id, values.getAt(i));
}

LineIterator ValueTableBase::checkedRow(const ValueTablePage& level, std::uint32_t index) const {
  LineIterator line = level.lineAt(index);
  if (!line.valid()) illegal_argument(__LINE__);
  return line;
}

Value ValueTableBase::getValue(std::uint32_t row, std::int32_t columnID) const {
  return checkedRow(core_, row)->get(columnID);
}

Value ValueTableBase::getValueAt(std::uint32_t row, std::uint32_t position) const {
  return checkedRow(core_, row)->getAt(position);
}

void ValueTableBase::setValue(std::uint32_t row, std::int32_t columnID, const GenericValue& value) {
  checkedRow(core_, row)->set(columnID, value);
}

void ValueTableBase::setValueAt(std::uint32_t row, std::uint32_t position, const GenericValue& value) {
  checkedRow(core_, row)->setAt(position, value);
}

LineIterator ValueTableBase::findValue(const GenericValue& value, const std::vector<std::int32_t>& columnIDs,
                                       bool includeChildren) const {
  return findValueIn(core_, value, columnIDs, includeChildren);
}

LineIterator ValueTableBase::findValueIn(const ValueTablePage& level, const GenericValue& value,
                                         const std::vector<std::int32_t>& columnIDs, bool includeChildren) const {
  std::vector<std::uint32_t> slots;
  for (std::int32_t id : columnIDs) slots.push_back(columnByID(id).slot());
  std::vector<LineIterator> found = level.find(value, slots, includeChildren);
  return found.empty() ? LineIterator() : found.front();
}

std::vector<LineIterator> ValueTableBase::findRows(const std::vector<VTFindParam>& params, bool includeChildren) const {
  return core_.find(params, includeChildren);
}

Value ValueTableBase::columnTotal(std::int32_t columnID, bool includeChildren) const {
  return core_.total(columnID, includeChildren);
}

std::int32_t ValueTableBase::rowBookmarkAt(std::uint32_t index) const {
  LineIterator line = core_.lineAt(index);
  return line.valid() ? line->id() : -1;
}

void ValueTableBase::deleteRow(std::uint32_t index) {
  checkedRow(core_, index);
  core_.erase(index);
}

void ValueTableBase::moveRow(std::uint32_t index, std::int32_t offset) { moveRowIn(core_, index, offset); }

void ValueTableBase::moveRowIn(ValueTablePage& level, std::uint32_t index, std::int32_t offset) {
  const std::int64_t target = static_cast<std::int64_t>(index) + offset;
  if (index >= level.size() || target < 0 || target >= level.size()) illegal_argument(__LINE__);
  level.moveLine(index, static_cast<std::uint32_t>(target));
}

// ----- sorting and loading

namespace {

// A line's sort key under the default order: the parts of the first `Inline` columns, and the line's
// number in the level, which finds its values and the parts of further columns.
template <std::size_t Inline>
struct LineKey {
  detail::KeyPart parts[Inline];
  std::uint32_t row;
};

// The default order: keys made once per line from the values the lines hold (borrowed; the lines keep
// them during the sort), compared without a reference count or a copy. The first two columns' parts
// travel with the lines being sorted, so that ties on the first column rarely leave the sorted array.
template <std::size_t Inline>
void sort_by_keys(ValueTablePage& page, const std::vector<std::uint32_t>& slots, const std::vector<bool>& descending) {
  const std::size_t columns = slots.size();
  std::vector<const IValue*> values;  // `columns` per line
  values.reserve(page.size() * columns);
  std::vector<detail::KeyPart> rest;  // the parts beyond Inline, columns - Inline per line
  rest.reserve(page.size() * (columns - Inline));
  std::vector<Value> defaults;  // values of slots a line does not hold, kept alive for the sort
  auto keyOf = [&](const ValueTableLine& line, std::uint32_t row) {
    LineKey<Inline> key;
    key.row = row;
    for (std::size_t i = 0; i < columns; ++i) {
      const IValue* value = line.peekAtPos(slots[i]);
      if (value == nullptr) {
        defaults.push_back(line.getAtPos(slots[i]));
        value = defaults.back()._getIValue();
      }
      values.push_back(value);
      (i < Inline ? key.parts[i] : rest.emplace_back()) = detail::make_key_part(value);
    }
    return key;
  };
  auto partOf = [&](const LineKey<Inline>& key, std::size_t i) -> const detail::KeyPart& {
    return i < Inline ? key.parts[i] : rest[key.row * (columns - Inline) + i - Inline];
  };
  // Lines equal in every column keep their order: the row number decides last, so no two keys tie.
  // The values are looked up only when the parts leave the order open.
  auto less = [&](const LineKey<Inline>& a, const LineKey<Inline>& b) {
    for (std::size_t i = 0; i < columns; ++i) {
      const detail::KeyPart& x = partOf(a, i);
      int order = detail::compare_key_words(x, partOf(b, i));
      if (order == detail::kUndecided) {
        order = detail::compare_key_values(x.kind, values[a.row * columns + i], values[b.row * columns + i]);
      }
      if (order != 0) return descending[i] ? order > 0 : order < 0;
    }
    return a.row < b.row;
  };
  page.sortLinesByDistinctKeys(keyOf, less);
}

// A given comparison may be anything, so it sees each line's values as Values, taken once per line.
void sort_by_comparison(ValueTablePage& page, const std::vector<std::uint32_t>& slots,
                        const std::vector<bool>& descending, ICompareValues& compare) {
  auto keyOf = [&](const ValueTableLine& line) {
    std::vector<Value> key;
    key.reserve(slots.size());
    for (std::uint32_t slot : slots) key.push_back(line.getAtPos(slot));
    return key;
  };
  auto less = [&](const std::vector<Value>& a, const std::vector<Value>& b) {
    for (std::size_t i = 0; i < a.size(); ++i) {
      const int order = compare.compareValues(a[i], b[i]);
      if (order != 0) return descending[i] ? order > 0 : order < 0;
    }
    return false;
  };
  page.sortLines(keyOf, less);
}

// Sorts one level and, when asked, every child page below it.
void sort_level(ValueTablePage& page, const std::vector<std::uint32_t>& slots, const std::vector<bool>& descending,
                ICompareValues* compare, bool includeChildren) {
  if (compare != nullptr) {
    sort_by_comparison(page, slots, descending, *compare);
  } else {
    if (slots.size() == 1) {
      sort_by_keys<1>(page, slots, descending);
    } else {
      sort_by_keys<2>(page, slots, descending);
    }
  }
  if (!includeChildren) return;
  for (LineIterator line = page.lineAt(0); line.valid(); ++line) {
    if (line->hasChild()) sort_level(line->children(), slots, descending, compare, true);
  }
}

}  // namespace

void ValueTableBase::sortTable(const std::vector<VTSortParam>& params, bool includeChildren, ICompareValues* compare) {
  sortLevel(core_, params, includeChildren, compare);
}

void ValueTableBase::sortLevel(ValueTablePage& level, const std::vector<VTSortParam>& params, bool includeChildren,
                               ICompareValues* compare) {
  std::vector<std::uint32_t> slots;
  std::vector<bool> descending;
  for (const VTSortParam& param : params) {
    slots.push_back(columnByID(param.columnID).slot());
    descending.push_back(param.descending);
  }
  if (slots.empty()) return;
  sort_level(level, slots, descending, compare, includeChildren);
}

void ValueTableBase::loadFrom(IValueTableBaseRO* source, VTLoadTypes type) {
  if (source == nullptr) illegal_argument(__LINE__);
  if (source == static_cast<IValueTableBaseRO*>(this)) {
    // Loading a table into itself changes nothing, except that appending doubles the rows.
    if (type == VTLoadTypes::AppendRows) {
      const std::uint32_t rows = core_.size();
      for (std::uint32_t i = 0; i < rows; ++i) {
        LineIterator from = core_.lineAt(i);
        LineIterator to = core_.add();
        for (std::uint32_t p = 0; p < core_.getColumnCount(); ++p) to->setAt(p, from->getAt(p));
      }
    }
    return;
  }
  if (type == VTLoadTypes::ColumnsAndRows || type == VTLoadTypes::Columns) {
    core_.clearLines();
    ValueTableBase::deleteAllColumns();  // one change for a subclass to report, not two
    for (std::uint32_t position = 0; position < source->columnCount(); ++position) {
      VTColumnInfo info;
      source->columnInfo(source->columnID(position), info);
      insertTableColumn(core_.getColumnCount(), info, -1);
    }
    if (type == VTLoadTypes::Columns) return;
  }
  loadRowsInto(core_, source, type == VTLoadTypes::AppendRows);
}

void ValueTableBase::loadRowsInto(ValueTablePage& level, IValueTableBaseRO* source, bool append) {
  if (source == nullptr) illegal_argument(__LINE__);
  if (source == static_cast<IValueTableBaseRO*>(this) && &level != &core_) {
    // The level is part of the source: copy from a snapshot, so that the copy never reads what it wrote.
    InterfacePtr<ValueTableBase> snapshot(new ValueTableBase(core_.maxPageSize()));
    snapshot->loadFrom(this, VTLoadTypes::ColumnsAndRows);
    loadRowsInto(level, snapshot.get(), append);
    return;
  }
  if (!append) level.clearLines();
  copyRowsFrom(source, level);
}

namespace {

// Copies the lines of `from` (and their child lines) to the end of `to`; pairs hold (source column,
// target column) identifiers.
void copy_lines(const ValueTablePage& from, ValueTablePage& to,
                const std::vector<std::pair<std::int32_t, std::int32_t>>& pairs) {
  for (std::uint32_t i = 0; i < from.size(); ++i) {
    LineIterator source = from.lineAt(i);
    LineIterator target = to.add();
    for (const auto& [sourceID, targetID] : pairs) target->set(targetID, source->get(sourceID));
    if (source->hasChild()) copy_lines(source->children(), target->children(), pairs);
  }
}

}  // namespace

// Columns are matched by code: unnamed columns match the unnamed column at the same position, so that a
// copy of a table with unnamed columns keeps their values.
void ValueTableBase::copyRowsFrom(IValueTableBaseRO* source, ValueTablePage& level) {
  std::vector<std::pair<std::int32_t, std::int32_t>> pairs;
  for (std::uint32_t position = 0; position < core_.getColumnCount(); ++position) {
    const std::int32_t id = core_.columnID(position);
    const avo::WString code = columnCode(id);
    const std::int32_t sourceID =
        code.empty() ? (position < source->columnCount() && source->columnCode(source->columnID(position)).empty()
                            ? source->columnID(position)
                            : -1)
                     : source->columnID(std::u16string_view(code));
    if (sourceID != -1) pairs.emplace_back(sourceID, id);
  }
  const std::uint32_t rows = source->getRowCount();
  for (std::uint32_t i = 0; i < rows; ++i) {
    LineIterator from = source->row(i);
    LineIterator target = level.add();
    for (const auto& [sourceID, targetID] : pairs) target->set(targetID, from->get(sourceID));
    if (from->hasChild()) copy_lines(from->children(), target->children(), pairs);
  }
}

}  // namespace core
