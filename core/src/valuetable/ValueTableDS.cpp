// ValueTableDS: the list interfaces over a ValueTableBase.
//
// A bookmark holds its line (lines are shared objects that keep their identity through inserts, moves
// and sorts), the serial number of the source that made it and the source's bookmark generation at the
// time. Resolving a bookmark checks the three: the generation rules out removed bookmarks, the serial
// bookmarks of other sources, and ValueTableCore::holds lines that have left the table. No registry is
// kept, so making and resolving a bookmark costs no lookup.
#include "core/ValueTableDS.h"

#include <atomic>
#include <functional>

#include "base/SourcePosition.h"
#include "core/Exception.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("ValueTableDS");

[[noreturn]] void illegal_argument(int line) {
  throw IllegalArgumentException(kSourceFile, line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
}

std::atomic<std::uint64_t> g_lastSerial{0};

class LineBookmark final : public RefCountedUnknown<0, Answers<IQ8Bookmark>, IQ8Bookmark, nexa::Allocated> {
 public:
  LineBookmark(ValueTableLine* line, std::uint64_t serial, std::uint64_t generation) noexcept
      : line_(line), identity_(line), serial_(serial), generation_(generation) {}

  // A released bookmark is equal to itself only.
  bool isEqual(const IQ8Bookmark* other) const noexcept override {
    if (other == this) return true;
    const auto* bookmark = dynamic_cast<const LineBookmark*>(other);
    return bookmark != nullptr && line_ && bookmark->line_ && identity_ == bookmark->identity_ &&
           serial_ == bookmark->serial_;
  }
  std::size_t hash() const noexcept override { return std::hash<const void*>{}(identity_); }

  // The line, when the bookmark was made by the source `serial` in its current `generation`.
  ValueTableLine* line(std::uint64_t serial, std::uint64_t generation) const noexcept {
    return serial == serial_ && generation == generation_ ? line_.get() : nullptr;
  }
  void forget() noexcept { line_.reset(); }

 private:
  NonmovableSharedPtr<ValueTableLine> line_;
  const void* identity_;
  std::uint64_t serial_;
  std::uint64_t generation_;
};

LineIterator iterator_on(ValueTableLine* line) { return LineIterator(NonmovableSharedPtr<ValueTableLine>(line)); }

}  // namespace

ValueTableDS::ValueTableDS(Q8SourceType type) : ValueTableBase(2000), type_(type), serial_(++g_lastSerial) {}

ValueTableDS::~ValueTableDS() = default;

HRESULT ValueTableDS::QueryInterface(const GUID& iid, void** object) {
  if (object == nullptr) return E_POINTER;
  void* found = nullptr;
  if (iid == IQ8DataSource::IID) {
    found = static_cast<IQ8DataSource*>(this);
  } else if (iid == IQ8DataSourceEdit::IID) {
    found = static_cast<IQ8DataSourceEdit*>(this);
  } else if (iid == IQ8RangeDataSource::IID) {
    found = static_cast<IQ8RangeDataSource*>(this);
  } else if (iid == IQ8ScrollInfo::IID) {
    found = static_cast<IQ8ScrollInfo*>(this);
  } else if (iid == IQ8DSColumnInfo::IID) {
    found = static_cast<IQ8DSColumnInfo*>(this);
  } else {
    return ValueTableBase::QueryInterface(iid, object);
  }
  AddRef();
  *object = found;
  return S_OK;
}

// ----- levels and bookmarks

ValueTablePage& ValueTableDS::level(const LineIterator& parent) const {
  auto& table = const_cast<ValueTableCore&>(core());
  if (parent == LineIterator()) return table;
  if (!table.holds(*parent)) illegal_argument(__LINE__);
  return parent->children();
}

// The page whose level holds `line`, a line of this table.
static ValueTablePage& level_of_line(ValueTableCore& table, const ValueTableLine& line) {
  ValueTableLine* parent = line.parentLine();
  return parent != nullptr ? parent->children() : table;
}

InterfacePtr<IQ8Bookmark> ValueTableDS::getBookmark(const LineIterator& line) const {
  if (line == LineIterator() || !core().holds(*line)) return nullptr;
  return InterfacePtr<IQ8Bookmark>(new LineBookmark(line.operator->(), serial_, generation_));
}

LineIterator ValueTableDS::lineOf(const IQ8Bookmark* bookmark) const {
  const auto* mark = dynamic_cast<const LineBookmark*>(bookmark);
  ValueTableLine* line = mark != nullptr ? mark->line(serial_, generation_) : nullptr;
  return line != nullptr && core().holds(*line) ? iterator_on(line) : LineIterator();
}

LineIterator ValueTableDS::getKey(const IQ8Bookmark* bookmark) const { return lineOf(bookmark); }

void ValueTableDS::releaseBookmark(IQ8Bookmark* bookmark) const noexcept {
  if (auto* mark = dynamic_cast<LineBookmark*>(bookmark); mark != nullptr && mark->line(serial_, generation_)) {
    mark->forget();
  }
}

void ValueTableDS::removeBookmarks() noexcept { ++generation_; }

// ----- row operations at any level

std::uint32_t ValueTableDS::baseGetRowCount(const LineIterator& parent) const { return level(parent).size(); }

LineIterator ValueTableDS::baseRow(const LineIterator& parent, std::uint32_t index) const {
  return level(parent).lineAt(index);
}

Value ValueTableDS::baseGetValue(const LineIterator& parent, std::uint32_t row, std::int32_t columnID) const {
  return checkedRow(level(parent), row)->get(columnID);
}

Value ValueTableDS::baseGetValueAt(const LineIterator& parent, std::uint32_t row, std::uint32_t position) const {
  return checkedRow(level(parent), row)->getAt(position);
}

void ValueTableDS::baseSetValue(const LineIterator& parent, std::uint32_t row, std::int32_t columnID,
                                const GenericValue& value) {
  LineIterator line = checkedRow(level(parent), row);
  line->set(columnID, value);
  notifyChangeCellIfNecessary(line, columnID);
}

void ValueTableDS::baseSetValueAt(const LineIterator& parent, std::uint32_t row, std::uint32_t position,
                                  const GenericValue& value) {
  LineIterator line = checkedRow(level(parent), row);
  line->setAt(position, value);
  notifyChangeCellIfNecessary(line, columnID(position));
}

LineIterator ValueTableDS::baseAddRow(const LineIterator& parent) {
  LineIterator line = level(parent).add();
  notifyAddLineIfNecessary(line);
  return line;
}

LineIterator ValueTableDS::baseInsertRow(const LineIterator& parent, std::uint32_t index) {
  LineIterator line = level(parent).insert(index);
  notifyAddLineIfNecessary(line);
  return line;
}

void ValueTableDS::baseDeleteRow(const LineIterator& parent, std::uint32_t index) {
  removeLine(checkedRow(level(parent), index));
}

void ValueTableDS::baseDeleteRowAt(const LineIterator& parent, const LineIterator& row) {
  level(parent);  // checks the parent
  const ValueTableLine* parentLine = parent == LineIterator() ? nullptr : parent.operator->();
  if (row == LineIterator() || !core().holds(*row) || row->parentLine() != parentLine) illegal_argument(__LINE__);
  removeLine(row);
}

void ValueTableDS::baseDeleteRows(const LineIterator& parent) {
  ValueTablePage& page = level(parent);
  if (page.empty()) return;
  page.clearLines();
  if (edit_ && !core().holds(*edit_->line)) edit_.reset();
  notifyRefreshIfNecessary();
}

void ValueTableDS::baseMoveRow(const LineIterator& parent, std::uint32_t index, std::int32_t offset) {
  moveRowIn(level(parent), index, offset);
  if (offset != 0) notifyRefreshIfNecessary();
}

void ValueTableDS::baseSetRowCount(const LineIterator& parent, std::uint32_t count) {
  ValueTablePage& page = level(parent);
  if (page.size() == count) return;
  page.resize(count);
  if (edit_ && !core().holds(*edit_->line)) edit_.reset();
  notifyRefreshIfNecessary();
}

void ValueTableDS::baseSortTable(const LineIterator& parent, const std::vector<VTSortParam>& params,
                                 bool includeChildren, ICompareValues* compare) {
  sortLevel(level(parent), params, includeChildren, compare);
  notifyRefreshIfNecessary();
}

LineIterator ValueTableDS::baseFindValue(const LineIterator& parent, const GenericValue& value,
                                         const std::vector<std::int32_t>& columnIDs, bool includeChildren) const {
  return findValueIn(level(parent), value, columnIDs, includeChildren);
}

std::vector<LineIterator> ValueTableDS::baseFindRows(const LineIterator& parent, const std::vector<VTFindParam>& params,
                                                     bool includeChildren) const {
  return level(parent).find(params, includeChildren);
}

Value ValueTableDS::baseColumnTotal(const LineIterator& parent, std::int32_t columnID, bool includeChildren) const {
  return level(parent).total(columnID, includeChildren);
}

void ValueTableDS::baseLoadFrom(const LineIterator& parent, IValueTableBaseRO* source, VTLoadTypes type) {
  if (parent == LineIterator()) {
    ValueTableBase::loadFrom(source, type);
  } else {
    if (type == VTLoadTypes::ColumnsAndRows || type == VTLoadTypes::Columns) illegal_argument(__LINE__);
    loadRowsInto(level(parent), source, type == VTLoadTypes::AppendRows);
  }
  if (edit_ && !core().holds(*edit_->line)) edit_.reset();
  notifyRefreshIfNecessary();
}

std::int32_t ValueTableDS::baseRowBookmarkAt(const LineIterator& parent, std::uint32_t index) const {
  LineIterator line = level(parent).lineAt(index);
  return line.valid() ? line->id() : -1;
}

InterfacePtr<IValueArray> ValueTableDS::unloadColumn(const LineIterator& parent, std::int32_t columnID) const {
  return unloadColumnOf(level(parent), columnID);
}

void ValueTableDS::loadColumn(const LineIterator& parent, std::int32_t columnID, const IValueArray& values) {
  loadColumnInto(level(parent), columnID, values);
  notifyRefreshIfNecessary();
}

void ValueTableDS::removeLine(const LineIterator& line) {
  notifyDeleteLineIfNecessary(line);
  level_of_line(const_cast<ValueTableCore&>(core()), *line).erase(line->index());
  if (edit_ && !core().holds(*edit_->line)) edit_.reset();
}

// ----- columns: the table interfaces, followed by a refresh

std::int32_t ValueTableDS::addColumn(const VTColumnInfo& info, std::int32_t id) {
  const std::int32_t made = ValueTableBase::addColumn(info, id);
  notifyRefreshIfNecessary();
  return made;
}

std::int32_t ValueTableDS::insertColumn(std::uint32_t position, const VTColumnInfo& info, std::int32_t id) {
  const std::int32_t made = ValueTableBase::insertColumn(position, info, id);
  notifyRefreshIfNecessary();
  return made;
}

void ValueTableDS::deleteColumn(std::int32_t id) {
  ValueTableBase::deleteColumn(id);
  notifyRefreshIfNecessary();
}

void ValueTableDS::deleteAllColumns() {
  ValueTableBase::deleteAllColumns();
  notifyRefreshIfNecessary();
}

void ValueTableDS::moveColumn(std::int32_t id, std::int32_t offset) {
  ValueTableBase::moveColumn(id, offset);
  notifyRefreshIfNecessary();
}

void ValueTableDS::setColumnCount(std::uint32_t count) {
  ValueTableBase::setColumnCount(count);
  notifyRefreshIfNecessary();
}

void ValueTableDS::setColumnInfo(std::int32_t id, const VTColumnInfo& info) {
  ValueTableBase::setColumnInfo(id, info);
  notifyRefreshIfNecessary();
}

// ----- reading

bool ValueTableDS::getCellValue(const IQ8Bookmark* line, std::int32_t columnID, Value& out) const {
  const auto* mark = dynamic_cast<const LineBookmark*>(line);
  const ValueTableLine* held = mark != nullptr ? mark->line(serial_, generation_) : nullptr;
  if (held == nullptr || !core().holds(*held)) return false;
  const VTColumn column = core().column(columnID);
  if (!column.valid()) return false;
  out = held->getAtPos(column.slot());
  return true;
}

bool ValueTableDS::getLineInfo(const IQ8Bookmark* line, Q8LineInfo& out) const {
  LineIterator found = lineOf(line);
  if (!found.valid()) return false;
  out.level = found->level();
  out.index = found->index();
  out.id = found->id();
  out.hasChildren = found->hasChild();
  return true;
}

InterfacePtr<IQ8Bookmark> ValueTableDS::getLinkedBookmark(const IQ8Bookmark* line, Q8Link link) const {
  auto& table = const_cast<ValueTableCore&>(core());
  LineIterator found = lineOf(line);
  if (line != nullptr && !found.valid()) return nullptr;
  switch (link) {
    case Q8Link::Next:
      return found.valid() ? getBookmark(++found) : nullptr;
    case Q8Link::Previous:
      return found.valid() ? getBookmark(--found) : nullptr;
    case Q8Link::Parent:
      return found.valid() && found->parentLine() != nullptr ? getBookmark(iterator_on(found->parentLine())) : nullptr;
    case Q8Link::FirstChild:
      return found.valid() && found->hasChild() ? getBookmark(found->children().lineAt(0)) : nullptr;
    case Q8Link::LastChild:
      return found.valid() && found->hasChild() ? getBookmark(found->children().lineAt(found->children().size() - 1))
                                                : nullptr;
    case Q8Link::First:
    case Q8Link::Last: {
      ValueTablePage& page = found.valid() ? level_of_line(table, *found) : table;
      if (page.empty()) return nullptr;
      return getBookmark(page.lineAt(link == Q8Link::First ? 0 : page.size() - 1));
    }
  }
  return nullptr;
}

std::vector<InterfacePtr<IQ8Bookmark>> ValueTableDS::getBookmarkRange(const IQ8Bookmark* from,
                                                                      std::int32_t count) const {
  std::vector<InterfacePtr<IQ8Bookmark>> range;
  LineIterator line = lineOf(from);
  const std::int64_t wanted = count == 0 ? pageSize_ : count;
  const std::int64_t step = wanted > 0 ? 1 : -1;
  range.reserve(static_cast<std::size_t>(std::min<std::int64_t>(wanted * step, 4096)));
  for (std::int64_t i = 0; i < wanted * step && line.valid(); ++i, line + step) range.push_back(getBookmark(line));
  return range;
}

std::uint32_t ValueTableDS::getScrollPos(const IQ8Bookmark* line) const {
  LineIterator found = lineOf(line);
  return found.valid() ? found->index() : kNoIndex;
}

InterfacePtr<IQ8Bookmark> ValueTableDS::getLineByScrollPos(const IQ8Bookmark* parent, std::uint32_t position) const {
  if (parent == nullptr) return getBookmark(core().lineAt(position));
  LineIterator found = lineOf(parent);
  if (!found.valid() || !found->hasChild()) return nullptr;
  return getBookmark(found->children().lineAt(position));
}

std::uint32_t ValueTableDS::getApproxLinesCnt(const IQ8Bookmark* parent) const {
  if (parent == nullptr) return core().size();
  LineIterator found = lineOf(parent);
  return found.valid() && found->hasChild() ? found->children().size() : 0;
}

// ----- editing

InterfacePtr<IQ8Bookmark> ValueTableDS::addLine(const IQ8Bookmark* at, AddLineModes mode) {
  auto& table = const_cast<ValueTableCore&>(core());
  LineIterator place = lineOf(at);
  if (at != nullptr && !place.valid()) return nullptr;
  if (!place.valid() && mode != AddLineModes::AtEnd) return nullptr;
  if (mode == AddLineModes::AsChild && type_ != Q8SourceType::Tree) return nullptr;
  endEdit();
  LineIterator line;
  switch (mode) {
    case AddLineModes::Before:
      line = level_of_line(table, *place).insert(place->index());
      break;
    case AddLineModes::After:
      line = level_of_line(table, *place).insert(place->index() + 1);
      break;
    case AddLineModes::AtEnd:
      line = (place.valid() ? level_of_line(table, *place) : table).add();
      break;
    case AddLineModes::AsChild:
      line = place->children().add();
      break;
  }
  beginEdit(line);
  edit_->added = true;
  notifyAddLineIfNecessary(line);
  return getBookmark(line);
}

bool ValueTableDS::deleteLine(const IQ8Bookmark* line) {
  LineIterator found = lineOf(line);
  if (!found.valid()) return false;
  removeLine(found);
  return true;
}

bool ValueTableDS::startEditLine(const IQ8Bookmark* line) {
  LineIterator found = lineOf(line);
  if (!found.valid()) return false;
  if (!edit_ || !(edit_->line == found)) beginEdit(found);
  return true;
}

void ValueTableDS::beginEdit(const LineIterator& line) {
  endEdit();
  Edit edit{line, {}, false};
  edit.saved.reserve(columnCount());
  for (std::uint32_t position = 0; position < columnCount(); ++position) {
    edit.saved.emplace_back(columnID(position), line->getAt(position));
  }
  edit_ = std::move(edit);
}

void ValueTableDS::endEdit() { edit_.reset(); }

bool ValueTableDS::finishEditLine(const IQ8Bookmark* line) {
  LineIterator found = lineOf(line);
  if (!found.valid() || !edit_ || !(edit_->line == found)) return false;
  endEdit();
  return true;
}

bool ValueTableDS::cancelEditLine(const IQ8Bookmark* line) {
  LineIterator found = lineOf(line);
  if (!found.valid() || !edit_ || !(edit_->line == found)) return false;
  Edit edit = std::move(*edit_);
  edit_.reset();
  if (edit.added) {
    removeLine(found);
    return true;
  }
  for (const auto& [id, value] : edit.saved) {
    if (column(id).valid()) found->set(id, value);
  }
  notifyChangeLineIfNecessary(found);
  return true;
}

bool ValueTableDS::setCellValue(const IQ8Bookmark* line, std::int32_t columnID, const GenericValue& value) {
  LineIterator found = lineOf(line);
  if (!found.valid() || !column(columnID).valid()) return false;
  found->set(columnID, value);
  notifyChangeCellIfNecessary(found, columnID);
  return true;
}

// ----- notifications

bool ValueTableDS::mayNotify() {
  if (listener_ == nullptr || !notifyNecessary()) return false;
  if (locks_ > 0) {
    heldBack_ = true;
    return false;
  }
  return true;
}

void ValueTableDS::notifyAddLineIfNecessary(const LineIterator& line) {
  if (mayNotify()) listener_->lineAdded(getBookmark(line).get());
}

void ValueTableDS::notifyChangeLineIfNecessary(const LineIterator& line) {
  if (mayNotify()) listener_->lineChanged(getBookmark(line).get());
}

void ValueTableDS::notifyChangeCellIfNecessary(const LineIterator& line, std::int32_t columnID) {
  if (mayNotify()) listener_->cellChanged(getBookmark(line).get(), columnID);
}

void ValueTableDS::notifyDeleteLineIfNecessary(const LineIterator& line) {
  if (mayNotify()) listener_->lineDeleted(getBookmark(line).get());
}

void ValueTableDS::notifyRefreshIfNecessary() {
  if (mayNotify()) listener_->refreshed();
}

void ValueTableDS::lockNotification(bool lock) {
  if (lock) {
    ++locks_;
    return;
  }
  if (locks_ == 0 || --locks_ > 0 || !heldBack_) return;
  heldBack_ = false;
  notifyRefreshIfNecessary();
}

}  // namespace core
