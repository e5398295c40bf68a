// The line tree of ValueTablePage.
//
// Invariants:
//  - a page holds either lines (a leaf) or sub-pages (an inner node), never both; a page that held lines
//    and lost them all may hold neither;
//  - count_ is the number of lines in the page and all its sub-pages, on every page of the tree;
//  - a leaf holds at most maxPageSize() lines and an inner node at most fanOut() sub-pages once an
//    insertion has finished; a sub-page never stays empty (erasing its last line removes it);
//  - every line's owner_ is the leaf holding it and every sub-page's owner_ the page above; whatever
//    leaves the tree has its back pointer reset, since iterators may keep it alive.
// Insertion descends to the leaf, inserts, and splits on the way back up every page that became too
// big into two halves of contiguous lines (sub-pages); the top page, having no page above to take the
// second half, first moves its content into a new sub-page and becomes an inner node.
//
// Cached places: an inner node keeps the start row of each sub-page (starts_), found by bisection,
// shifted by inserts and erases below it, dropped when its list of sub-pages changes and then rebuilt by
// the next lookup; a rebuild also refreshes the sub-pages' position hints. A line's position hint is set where lines
// are placed in bulk (splits, merges) and by lookups; a plain insert or erase leaves the neighbours' hints off by one,
// which the outward search of positionOf absorbs.
#include <algorithm>

#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/ValueTableStorage.h"

namespace core {

namespace {

constexpr char kSourceFile[] = KERN83_SOURCE_FILE("PageTree");
constexpr std::uint32_t kOwnerlessPageSize = 2000;

}  // namespace

ValueTablePage::ValueTablePage() noexcept = default;

ValueTablePage::~ValueTablePage() { releaseAll(); }

std::uint32_t ValueTablePage::maxPageSize() const {
  return owner_ != nullptr ? owner_->maxPageSize() : kOwnerlessPageSize;
}

std::uint64_t ValueTablePage::stamp() const { return owner_ != nullptr ? owner_->stamp() : 0; }

void ValueTablePage::change() {
  if (owner_ != nullptr) owner_->change();
}

std::int32_t ValueTablePage::createLineID() {
  if (owner_ != nullptr) return owner_->createLineID();
  if (parent_ != nullptr && parent_->owner_ != nullptr) return parent_->owner_->createLineID();
  return -1;
}

const ColumnOrder* ValueTablePage::columnOrder() const {
  if (owner_ != nullptr) return owner_->columnOrder();
  if (parent_ != nullptr && parent_->owner_ != nullptr) return parent_->owner_->columnOrder();
  return nullptr;
}

// ----- public line operations

LineIterator ValueTablePage::add(const std::vector<Value>& values) { return insert(kNoIndex, values); }

LineIterator ValueTablePage::add(std::vector<Value>&& values) { return insert(kNoIndex, std::move(values)); }

LineIterator ValueTablePage::insert(std::uint32_t index, const std::vector<Value>& values) {
  const LinePtr line = newLine(createLineID(), values.size());
  for (const Value& value : values) line->appendSlot(value);
  return insert(index, line);
}

LineIterator ValueTablePage::insert(std::uint32_t index, std::vector<Value>&& values) {
  return insert(index, createLineID(), std::move(values));
}

LineIterator ValueTablePage::add(std::int32_t id, std::vector<Value> values) {
  return insert(kNoIndex, id, std::move(values));
}

LineIterator ValueTablePage::insert(std::uint32_t index, std::int32_t id, std::vector<Value> values) {
  const LinePtr line = newLine(id, values.size());
  for (Value& value : values) line->appendSlot(std::move(value));
  return insert(index, line);
}

// Room for every column, so that values set later need no second block.
ValueTablePage::LinePtr ValueTablePage::newLine(std::int32_t id, std::size_t values) const {
  return ValueTableLine::make(id, std::max(columnCount(), static_cast<std::uint32_t>(values)));
}

LineIterator ValueTablePage::add(const LinePtr& line) { return insert(kNoIndex, line); }

LineIterator ValueTablePage::insert(std::uint32_t index, const LinePtr& line) {
  if (!line || line->owner_ != nullptr) {
    throw IllegalArgumentException(kSourceFile, __LINE__, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  index = std::min(index, count_);
  ValueTablePage* top = lineRoot();
  if (top != this) return top->insert(top->startIndex(this) + index, line);
  LineIterator made(line);
  const bool appending = index == count_;
  insertLine(index, line.get());
  if (lines_ ? lines_->size() > leafLimit() : pages_->size() > fanOut()) pushDown(appending);
  tableRoot()->change();
  return made;
}

LineIterator ValueTablePage::lineAt(std::uint32_t index) const {
  std::uint32_t inLeaf = 0;
  ValueTablePage* leaf = lineRef(index, inLeaf);
  return leaf != nullptr ? LineIterator((*leaf->lines_)[inLeaf], leaf, inLeaf) : LineIterator();
}

std::uint32_t ValueTablePage::columnCount() const {
  const ColumnOrder* order = columnOrder();
  return order != nullptr ? order->size() : 0;
}

void ValueTablePage::erase(std::uint32_t index) {
  if (index >= count_) return;
  ValueTablePage* top = lineRoot();
  if (top != this) return top->erase(top->startIndex(this) + index);
  removeLine(index)->release();  // the leaf's reference
  tableRoot()->change();
}

void ValueTablePage::clear() { clearLines(); }

void ValueTablePage::clearLines() {
  ValueTablePage* top = lineRoot();
  if (top != this) {
    while (count_ > 0) erase(count_ - 1);
    return;
  }
  releaseAll();
  tableRoot()->change();
}

void ValueTablePage::resize(std::uint32_t count) {
  while (count_ < count) add();
  while (count_ > count) erase(count_ - 1);
}

void ValueTablePage::moveLine(std::uint32_t from, std::uint32_t to) {
  if (from >= count_ || to >= count_) {
    throw IllegalArgumentException(kSourceFile, __LINE__, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  if (from == to) return;
  LinePtr line = lineAt(from).line_;
  erase(from);
  insert(to, std::move(line));
}

// Leaves keep their sizes, so no count or start row changes; the lines change owner and place.
void ValueTablePage::placeLines(const std::vector<ValueTableLine*>& order) {
  std::size_t next = 0;
  placeLines(order, next);
  afterSort();
  tableRoot()->change();
}

void ValueTablePage::placeLines(const std::vector<ValueTableLine*>& order, std::size_t& next) {
  if (pages_) {
    for (const auto& page : *pages_) page->placeLines(order, next);
    return;
  }
  if (!lines_) return;
  Lines& lines = *lines_;
  for (std::size_t at = 0; at < lines.size(); ++at) {
    // Each line is written (its owner and place) in an order unrelated to where it lies in memory.
    constexpr std::size_t kAhead = 16;
    if (next + kAhead < order.size()) __builtin_prefetch(order[next + kAhead], 1);
    ValueTableLine* line = order[next++];
    lines[at] = line;
    initOwner(line);
    line->positionHint_ = static_cast<std::uint32_t>(at);
  }
}

std::uint32_t ValueTablePage::linesCount() const noexcept {
  return lines_ ? static_cast<std::uint32_t>(lines_->size()) : 0;
}

std::uint32_t ValueTablePage::pagesCount() const noexcept {
  return pages_ ? static_cast<std::uint32_t>(pages_->size()) : 0;
}

// ----- addressing

std::uint32_t ValueTablePage::index(const ValueTableLine* line) const {
  ValueTablePage* leaf = line != nullptr ? line->owner_ : nullptr;
  if (leaf == nullptr) return kNoIndex;
  const std::uint32_t start = startIndex(leaf);
  return start == kNoIndex ? kNoIndex : start + leaf->positionOf(line);
}

std::uint32_t ValueTablePage::startIndex(const ValueTablePage* page) const {
  std::uint32_t start = 0;
  for (const ValueTablePage* p = page; p != this; p = p->owner_) {
    if (p == nullptr || p->owner_ == nullptr) return kNoIndex;
    p->owner_->ensureStarts();
    start += p->owner_->starts_[p->positionHint_];
  }
  return start;
}

ValueTablePage* ValueTablePage::lineRef(std::uint32_t index, std::uint32_t& indexInPage) const {
  if (index >= count_) return nullptr;
  const ValueTablePage* page = this;
  while (page->pages_) page = (*page->pages_)[page->subPageOf(index)].get();
  indexInPage = index;
  return const_cast<ValueTablePage*>(page);
}

ValueTablePage::Lines::const_iterator ValueTablePage::lineRef(std::uint32_t index, ValueTablePage** page,
                                                              std::uint32_t* indexInPage) const {
  std::uint32_t inLeaf = kNoIndex;
  ValueTablePage* leaf = lineRef(index, inLeaf);
  if (page != nullptr) *page = leaf;
  if (indexInPage != nullptr) *indexInPage = leaf != nullptr ? inLeaf : kNoIndex;
  return leaf != nullptr ? leaf->lines_->cbegin() + inLeaf : Lines::const_iterator();
}

ValueTablePage::Pages::const_iterator ValueTablePage::pageRef(const ValueTablePage* subPage) const {
  if (!pages_ || subPage == nullptr || subPage->owner_ != this) return endPageRef();
  ensureStarts();  // makes every sub-page's position hint its place
  return pages_->cbegin() + subPage->positionHint_;
}

ValueTablePage::Pages::const_iterator ValueTablePage::selfRef() const {
  return owner_ != nullptr ? owner_->pageRef(this) : Pages::const_iterator();
}

void ValueTablePage::ensureStarts() const {
  if (!pages_ || starts_.size() == pages_->size()) return;
  starts_.resize(pages_->size());
  std::uint32_t start = 0;
  for (std::uint32_t k = 0; k < pages_->size(); ++k) {
    starts_[k] = start;
    start += (*pages_)[k]->count_;
    (*pages_)[k]->positionHint_ = k;
  }
}

std::size_t ValueTablePage::subPageOf(std::uint32_t& index) const {
  ensureStarts();
  const auto k =
      static_cast<std::size_t>(std::upper_bound(starts_.begin(), starts_.end(), index) - starts_.begin()) - 1;
  index -= starts_[k];
  return k;
}

// The counts of sub-page k changed by `delta`: the later sub-pages start that much further on.
void ValueTablePage::shiftStarts(std::size_t k, int delta) noexcept {
  for (std::size_t j = k + 1; j < starts_.size(); ++j) starts_[j] += static_cast<std::uint32_t>(delta);
}

// Outward from the hint: lines shifted by inserts or erases near them are a few places away.
std::uint32_t ValueTablePage::positionOf(const ValueTableLine* line) const noexcept {
  const Lines& lines = *lines_;
  const std::size_t n = lines.size();
  const std::size_t hint = std::min<std::size_t>(line->positionHint_, n - 1);
  std::size_t at = hint;
  for (std::size_t d = 0; d < n; ++d) {
    if (hint + d < n && lines[hint + d] == line) {
      at = hint + d;
      break;
    }
    if (d <= hint && lines[hint - d] == line) {
      at = hint - d;
      break;
    }
  }
  line->positionHint_ = static_cast<std::uint32_t>(at);
  return line->positionHint_;
}

ValueTablePage::Lines::const_iterator ValueTablePage::beginLineRef() const {
  return lines_ ? lines_->cbegin() : Lines::const_iterator();
}

ValueTablePage::Lines::const_iterator ValueTablePage::endLineRef() const {
  return lines_ ? lines_->cend() : Lines::const_iterator();
}

ValueTablePage::Pages::const_iterator ValueTablePage::beginPageRef() const {
  return pages_ ? pages_->cbegin() : Pages::const_iterator();
}

ValueTablePage::Pages::const_iterator ValueTablePage::endPageRef() const {
  return pages_ ? pages_->cend() : Pages::const_iterator();
}

ValueTablePage* ValueTablePage::tableRoot() const noexcept {
  ValueTablePage* page = lineRoot();
  while (page->parent_ != nullptr && page->parent_->owner_ != nullptr) page = page->parent_->owner_->lineRoot();
  return page;
}

ValueTableLine* ValueTablePage::lineParent(const ValueTableLine* line) noexcept {
  return line != nullptr && line->owner_ != nullptr ? line->owner_->lineRoot()->parent_ : nullptr;
}

bool ValueTablePage::valid(const ValueTableLine* line) const noexcept { return line != nullptr && valid(line->owner_); }

bool ValueTablePage::valid(const ValueTablePage* page) const noexcept {
  for (; page != nullptr; page = page->owner_) {
    if (page == this) return true;
  }
  return false;
}

void ValueTablePage::initOwner(ValueTableLine* line) noexcept { line->owner_ = this; }

void ValueTablePage::resetOwner(ValueTableLine* line) noexcept { line->owner_ = nullptr; }

// ----- tree shape

// A leaf split off a full one belongs to a large table: its array is made for a full leaf (and the line
// that makes it split) at once, so that it never moves while the leaf lives. The first leaf of a table
// grows with it, so that small tables stay small.
nexa::UniquePtr<ValueTablePage::Lines> ValueTablePage::newLines() const {
  auto lines = nexa::make_unique<Lines>();
  lines->reserve(std::size_t{leafLimit()} + 1);
  return lines;
}

std::uint32_t ValueTablePage::leafLimit() const { return std::max<std::uint32_t>(maxPageSize(), 1); }

std::uint32_t ValueTablePage::fanOut() const {
  // Three at least, so that splitting a full inner node always leaves two legal halves.
  return std::max<std::uint32_t>(maxPageSize(), 3);
}

void ValueTablePage::insertLine(std::uint32_t index, ValueTableLine* line) {
  const bool appending = index == count_;
  ++count_;
  if (!pages_) {
    if (!lines_) lines_ = nexa::make_unique<Lines>();
    lines_->insert(lines_->begin() + index, line);
    line->acquire();  // the leaf's own reference
    initOwner(line);
    line->positionHint_ = index;
    return;
  }
  // An index on the border of two sub-pages goes to the start of the later one; only the last sub-page
  // takes an index equal to its count (appending).
  const std::size_t k = subPageOf(index);
  ValueTablePage& sub = *(*pages_)[k];
  sub.insertLine(index, line);
  shiftStarts(k, +1);
  const bool overfull = sub.lines_ ? sub.lines_->size() > leafLimit() : sub.pages_->size() > fanOut();
  if (overfull) splitSubPage(k, appending);
}

void ValueTablePage::splitSubPage(std::size_t k, bool appending) {
  countsChanged();
  SharedPtr<ValueTablePage> right = (*pages_)[k]->splitOff(appending);
  pages_->insert(pages_->begin() + static_cast<std::ptrdiff_t>(k) + 1, std::move(right));
}

// Moves the upper part of this page's lines (sub-pages) into a new page under the same owner.
SharedPtr<ValueTablePage> ValueTablePage::splitOff(bool appending) {
  SharedPtr<ValueTablePage> right(new ValueTablePage());
  right->owner_ = owner_;
  auto splitPoint = [appending](std::size_t size) {
    return static_cast<std::ptrdiff_t>(appending ? std::max<std::size_t>(size * 3 / 4, 1) : size / 2);
  };
  if (lines_) {
    const auto half = lines_->begin() + splitPoint(lines_->size());
    right->lines_ = newLines();
    right->lines_->assign(half, lines_->end());
    lines_->erase(half, lines_->end());
    right->adoptLines(0);
    right->count_ = static_cast<std::uint32_t>(right->lines_->size());
  } else {
    countsChanged();
    const auto half = pages_->begin() + splitPoint(pages_->size());
    right->pages_ = nexa::make_unique<Pages>(half, pages_->end());
    pages_->erase(half, pages_->end());
    for (const auto& page : *right->pages_) {
      page->owner_ = right.get();
      right->count_ += page->count_;
    }
  }
  count_ -= right->count_;
  return right;
}

void ValueTablePage::pushDown(bool appending) {
  SharedPtr<ValueTablePage> down(new ValueTablePage());
  down->owner_ = this;
  down->count_ = count_;
  down->lines_ = std::move(lines_);
  down->pages_ = std::move(pages_);
  if (down->lines_) {
    for (ValueTableLine* line : *down->lines_) down->initOwner(line);
  } else {
    for (const auto& page : *down->pages_) page->owner_ = down.get();
  }
  countsChanged();
  pages_ = nexa::make_unique<Pages>();
  pages_->push_back(std::move(down));
  splitSubPage(0, appending);
}

void ValueTablePage::replaceLines(const std::vector<LinePtr>& lines) {
  releaseAll();
  for (const LinePtr& line : lines) {
    insertLine(count_, line.get());
    if (lines_ ? lines_->size() > leafLimit() : pages_->size() > fanOut()) pushDown(true);
  }
}

ValueTableLine* ValueTablePage::removeLine(std::uint32_t index) {
  --count_;
  if (lines_) {
    const auto at = lines_->begin() + index;
    ValueTableLine* line = *at;
    // The line and then its values are fetched while the leaf closes the gap and the pages above update
    // their counts: the caller's release will need them, and both lie anywhere in memory.
    __builtin_prefetch(line, 1);
    lines_->erase(at);
    resetOwner(line);
    line->prefetchValues();
    return line;
  }
  const std::size_t k = subPageOf(index);
  ValueTableLine* line = (*pages_)[k]->removeLine(index);
  shiftStarts(k, -1);
  if ((*pages_)[k]->count_ == 0) {
    countsChanged();
    (*pages_)[k]->owner_ = nullptr;
    pages_->erase(pages_->begin() + static_cast<std::ptrdiff_t>(k));
    if (pages_->empty()) pages_.reset();
  } else {
    mergeLeaves(k);
  }
  return line;
}

// Joins the leaf at k with a neighbouring leaf when both together fill at most three quarters of a
// page, so that erasing does not leave long runs of nearly empty leaves; the margin keeps a split and
// a merge from alternating on the same border.
void ValueTablePage::mergeLeaves(std::size_t k) {
  const std::uint32_t limit = std::max<std::uint32_t>(maxPageSize() * 3 / 4, 1);
  auto joinable = [&](std::size_t a) {
    const ValueTablePage& left = *(*pages_)[a];
    const ValueTablePage& right = *(*pages_)[a + 1];
    return left.lines_ && right.lines_ && left.count_ + right.count_ <= limit;
  };
  std::size_t a = k;
  if (!(k + 1 < pages_->size() && joinable(k))) {
    if (k == 0 || !joinable(k - 1)) return;
    a = k - 1;
  }
  ValueTablePage& left = *(*pages_)[a];
  ValueTablePage& right = *(*pages_)[a + 1];
  const auto joined = static_cast<std::uint32_t>(left.lines_->size());
  left.lines_->insert(left.lines_->end(), right.lines_->begin(), right.lines_->end());
  left.adoptLines(joined);
  left.count_ += right.count_;
  countsChanged();
  right.lines_.reset();
  right.count_ = 0;
  right.owner_ = nullptr;
  pages_->erase(pages_->begin() + static_cast<std::ptrdiff_t>(a) + 1);
}

void ValueTablePage::releaseAll() noexcept {
  if (lines_) {
    const Lines& lines = *lines_;
    for (std::size_t i = 0; i < lines.size(); ++i) {
      prefetchAhead(lines, i);
      resetOwner(lines[i]);
      lines[i]->release();
    }
  }
  if (pages_) {
    for (const auto& page : *pages_) {
      page->releaseAll();
      page->owner_ = nullptr;
    }
  }
  lines_.reset();
  pages_.reset();
  countsChanged();
  count_ = 0;
}

void ValueTablePage::adoptLines(std::uint32_t from) noexcept {
  for (std::uint32_t at = from; at < lines_->size(); ++at) {
    ValueTableLine* line = (*lines_)[at];
    initOwner(line);
    line->positionHint_ = at;
  }
}

}  // namespace core
