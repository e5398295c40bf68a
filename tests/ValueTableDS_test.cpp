// The value table as a list control sees it: a recording control double edits a three-level tree
// through the list interfaces, and bookmarks are checked against a model of line identities through
// thousands of random inserts, erases, moves and sorts.
#include "core/ValueTableDS.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "core/Exception.h"

namespace {

using core::AddLineModes;
using core::InterfacePtr;
using core::IQ8Bookmark;
using core::LineIterator;
using core::Value;
using core::ValueTableDS;

InterfacePtr<ValueTableDS> make_source(core::Q8SourceType type = core::Q8SourceType::Tree) {
  InterfacePtr<ValueTableDS> source(new ValueTableDS(type));
  source->addColumn({u"Name", {}, {}, 0}, -1);
  source->addColumn({u"Key", {}, {}, 0}, -1);
  return source;
}

// A list control that writes down what it is told, naming lines by their Name cell.
class RecordingControl final : public core::IQ8DataSourceListener {
 public:
  explicit RecordingControl(ValueTableDS& source) : source_(source) {}

  void lineAdded(IQ8Bookmark* line) override { record("add", line); }
  void lineChanged(IQ8Bookmark* line) override { record("change", line); }
  void cellChanged(IQ8Bookmark* line, std::int32_t columnID) override {
    record("cell " + std::to_string(columnID), line);
  }
  void lineDeleted(IQ8Bookmark* line) override { record("delete", line); }
  void refreshed() override { heard.push_back("refresh"); }

  // What was heard since the last call.
  std::vector<std::string> take() { return std::exchange(heard, {}); }

  std::vector<std::string> heard;

 private:
  void record(const std::string& what, IQ8Bookmark* line) {
    Value name;
    avo::WString text;
    if (source_.getCellValue(line, 0, name)) name.getString(text);
    heard.push_back(what + " " + std::string(text.begin(), text.end()));
  }
  ValueTableDS& source_;
};

using Heard = std::vector<std::string>;

TEST(ValueTableDS, AControlEditsEveryLevelOfATreeAndHearsEachChange) {
  InterfacePtr<ValueTableDS> source = make_source();
  RecordingControl control(*source);
  source->setListener(&control);

  auto top = source->addLine(nullptr, AddLineModes::AtEnd);
  source->setCellValue(top.get(), 0, Value(u"a"));
  EXPECT_TRUE(source->finishEditLine(top.get()));
  auto child = source->addLine(top.get(), AddLineModes::AsChild);
  source->setCellValue(child.get(), 0, Value(u"b"));
  auto grandchild = source->addLine(child.get(), AddLineModes::AsChild);  // finishes b's edit
  source->setCellValue(grandchild.get(), 0, Value(u"c"));
  auto before = source->addLine(grandchild.get(), AddLineModes::Before);
  source->setCellValue(before.get(), 0, Value(u"d"));
  EXPECT_EQ(control.take(), (Heard{"add ", "cell 0 a", "add ", "cell 0 b", "add ", "cell 0 c", "add ", "cell 0 d"}));

  core::Q8LineInfo info;
  ASSERT_TRUE(source->getLineInfo(grandchild.get(), info));
  EXPECT_EQ(info.level, 2u);
  EXPECT_EQ(info.index, 1u);
  EXPECT_EQ(source->getScrollPos(before.get()), 0u);
  EXPECT_TRUE(source->getLinkedBookmark(grandchild.get(), core::Q8Link::Parent)->isEqual(child.get()));
  EXPECT_TRUE(source->getLinkedBookmark(child.get(), core::Q8Link::LastChild)->isEqual(grandchild.get()));

  // Cancelling an added line removes it; cancelling an edit of an older line restores its cells.
  EXPECT_TRUE(source->cancelEditLine(before.get()));
  EXPECT_FALSE(source->getKey(before.get()).valid());
  EXPECT_TRUE(source->startEditLine(child.get()));
  source->setCellValue(child.get(), 0, Value(u"x"));
  source->setCellValue(child.get(), 1, Value(7));
  EXPECT_TRUE(source->cancelEditLine(child.get()));
  EXPECT_FALSE(source->cancelEditLine(child.get()));  // nothing in edit any more
  Value name;
  EXPECT_TRUE(source->getCellValue(child.get(), 0, name));
  EXPECT_TRUE(name.equals(Value(u"b")));
  EXPECT_EQ(control.take(), (Heard{"delete d", "cell 0 x", "cell 1 x", "change b"}));

  // Deleting a line takes its child lines: their bookmarks report deleted lines.
  auto after = source->addLine(top.get(), AddLineModes::After);
  source->setCellValue(after.get(), 0, Value(u"e"));
  EXPECT_TRUE(source->deleteLine(child.get()));
  EXPECT_FALSE(source->deleteLine(grandchild.get()));
  EXPECT_FALSE(source->getCellValue(grandchild.get(), 0, name));
  EXPECT_EQ(source->getScrollPos(grandchild.get()), core::kNoIndex);
  EXPECT_EQ(source->getScrollPos(after.get()), 1u);
  EXPECT_EQ(control.take(), (Heard{"add ", "cell 0 e", "delete b"}));

  // Locked, nothing is heard; unlocking after held-back changes asks for one refresh.
  source->lockNotification(true);
  source->lockNotification(true);
  source->setCellValue(top.get(), 0, Value(u"f"));
  source->addLine(nullptr, AddLineModes::AtEnd);
  source->lockNotification(false);
  EXPECT_TRUE(source->notificationLocked());
  EXPECT_TRUE(control.take().empty());
  source->lockNotification(false);
  EXPECT_EQ(control.take(), (Heard{"refresh"}));
  source->lockNotification(true);
  source->lockNotification(false);
  EXPECT_TRUE(control.take().empty());

  // The table interfaces and the base operations notify too.
  source->baseSetValue({}, 0, 0, Value(u"g"));
  LineIterator first = source->baseRow({}, 0);
  source->baseAddRow(first);
  source->sortTable({{1, false}}, true, nullptr);
  source->deleteRow(2);
  EXPECT_EQ(control.take(), (Heard{"cell 0 g", "add ", "refresh", "delete "}));
  source->loadFrom(make_source().get(), core::VTLoadTypes::ColumnsAndRows);  // columns and rows: one refresh
  EXPECT_EQ(control.take(), (Heard{"refresh"}));
}

// A control that is hidden wants nothing.
class HiddenSource : public ValueTableDS {
 protected:
  bool notifyNecessary() const override { return false; }
};

TEST(ValueTableDS, NoNotificationWhenNoneIsNecessary) {
  InterfacePtr<ValueTableDS> source(new HiddenSource);
  RecordingControl control(*source);
  source->setListener(&control);
  source->addColumn({u"Name", {}, {}, 0}, -1);
  source->lockNotification(true);
  auto line = source->addLine(nullptr, AddLineModes::AtEnd);
  source->lockNotification(false);
  source->setCellValue(line.get(), 0, Value(1));
  EXPECT_TRUE(control.heard.empty());
}

TEST(ValueTableDS, ListSourcesRefuseChildLinesAndForeignBookmarks) {
  InterfacePtr<ValueTableDS> list = make_source(core::Q8SourceType::List);
  InterfacePtr<ValueTableDS> other = make_source();
  auto line = list->addLine(nullptr, AddLineModes::AtEnd);
  EXPECT_FALSE(list->addLine(line.get(), AddLineModes::AsChild));
  EXPECT_FALSE(list->addLine(nullptr, AddLineModes::Before));
  EXPECT_FALSE(other->getKey(line.get()).valid());
  Value cell;
  EXPECT_FALSE(other->getCellValue(line.get(), 0, cell));
  EXPECT_FALSE(list->getCellValue(line.get(), 99, cell));
  EXPECT_FALSE(list->setCellValue(line.get(), 99, Value(1)));

  // Released and removed bookmarks lead nowhere; new ones do.
  auto again = list->getBookmark(list->getKey(line.get()));
  EXPECT_TRUE(again->isEqual(line.get()));
  EXPECT_EQ(again->hash(), line->hash());
  list->releaseBookmark(again.get());
  EXPECT_FALSE(list->getKey(again.get()).valid());
  EXPECT_FALSE(again->isEqual(line.get()));
  list->removeBookmarks();
  EXPECT_FALSE(list->getKey(line.get()).valid());
  EXPECT_TRUE(list->getKey(list->getLineByScrollPos(nullptr, 0).get()).valid());
}

TEST(ValueTableDS, BaseOperationsWorkOnTheLevelTheParentNames) {
  InterfacePtr<ValueTableDS> source = make_source();
  LineIterator parent = source->baseAddRow({});
  for (int i = 0; i < 4; ++i) source->baseSetValue(parent, source->baseAddRow(parent)->index(), 1, Value(i % 2));
  EXPECT_EQ(source->baseGetRowCount({}), 1u);
  EXPECT_EQ(source->baseGetRowCount(parent), 4u);
  EXPECT_EQ(source->baseFindRows(parent, {{1, Value(1)}}, false).size(), 2u);
  EXPECT_TRUE(source->baseColumnTotal({}, 1, true).equals(Value(2)));
  EXPECT_TRUE(source->baseColumnTotal(parent, 1, false).equals(Value(2)));

  InterfacePtr<core::IValueArray> keys = source->unloadColumn(parent, 1);
  ASSERT_EQ(keys->getCount(), 4u);
  source->baseSortTable(parent, {{1, true}}, false, nullptr);
  EXPECT_TRUE(source->baseGetValue(parent, 0, 1).equals(Value(1)));
  source->loadColumn(parent, 1, *keys);
  EXPECT_TRUE(source->baseGetValue(parent, 0, 1).equals(Value(0)));

  // A level's rows load from the table itself without reading what they write.
  source->baseLoadFrom(parent, source.get(), core::VTLoadTypes::AppendRows);
  EXPECT_EQ(source->baseGetRowCount(parent), 5u);
  EXPECT_EQ(source->baseGetRowCount(source->baseRow(parent, 4)), 4u);

  LineIterator child = source->baseRow(parent, 0);
  EXPECT_THROW(source->baseDeleteRowAt({}, child), core::IllegalArgumentException);
  EXPECT_THROW(source->baseLoadFrom(parent, source.get(), core::VTLoadTypes::Columns), core::IllegalArgumentException);
  source->baseDeleteRowAt(parent, child);
  EXPECT_EQ(source->baseGetRowCount(parent), 4u);
  source->baseDeleteRow({}, 0);
  EXPECT_THROW(source->baseGetRowCount(parent), core::IllegalArgumentException);  // a parent gone
}

// Bookmarks against a model: top-level lines and child lines named by tags, some of them bookmarked.
TEST(ValueTableDS, BookmarksFollowTheirLinesThroughRandomChanges) {
  InterfacePtr<ValueTableDS> source = make_source();
  std::mt19937 random(20261125);
  std::vector<int> top;                      // tags of the top level in order
  std::map<int, std::vector<int>> children;  // tags of each top line's child lines
  std::map<int, InterfacePtr<IQ8Bookmark>> marks;
  int nextTag = 0;
  auto remember = [&](const LineIterator& line, int tag) {
    line->set(0, Value(tag));
    line->set(1, Value(static_cast<int>(random() % 50)));
    if (random() % 4 == 0) marks[tag] = source->getBookmark(line);
  };
  auto add_top = [&](std::uint32_t index) {
    const int tag = nextTag++;
    remember(source->baseInsertRow({}, index), tag);
    top.insert(top.begin() + std::min<std::size_t>(index, top.size()), tag);
  };
  for (int i = 0; i < 4000; ++i) add_top(static_cast<std::uint32_t>(top.size()));

  auto check = [&] {
    std::map<int, std::uint32_t> places;  // tag -> place in its level, for the lines in the table
    for (std::uint32_t i = 0; i < top.size(); ++i) places[top[i]] = i;
    for (const auto& [parent, lines] : children) {
      for (std::uint32_t i = 0; i < lines.size(); ++i) places[lines[i]] = i;
    }
    for (const auto& [tag, mark] : marks) {
      const auto place = places.find(tag);
      const bool alive = place != places.end();
      ASSERT_EQ(source->getScrollPos(mark.get()), alive ? place->second : core::kNoIndex) << "line " << tag;
      Value cell;
      ASSERT_EQ(source->getCellValue(mark.get(), 0, cell), alive);
      if (alive) {
        ASSERT_TRUE(cell.equals(Value(tag)));
      }
    }
  };

  for (int step = 0; step < 10000; ++step) {
    const std::uint32_t size = static_cast<std::uint32_t>(top.size());
    const std::uint32_t pick = static_cast<std::uint32_t>(random() % size);
    switch (random() % 10) {
      case 0:
      case 1:
      case 2:
        add_top(static_cast<std::uint32_t>(random() % (size + 1)));
        break;
      case 3:
      case 4: {
        const auto gone = children.find(top[pick]);
        if (gone != children.end()) children.erase(gone);
        source->baseDeleteRow({}, pick);
        top.erase(top.begin() + pick);
        break;
      }
      case 5:
      case 6: {
        const std::uint32_t target = static_cast<std::uint32_t>(random() % size);
        source->baseMoveRow({}, pick, static_cast<std::int32_t>(target) - static_cast<std::int32_t>(pick));
        const int tag = top[pick];
        top.erase(top.begin() + pick);
        top.insert(top.begin() + target, tag);
        break;
      }
      case 7:
      case 8: {
        const int tag = nextTag++;
        remember(source->baseAddRow(source->baseRow({}, pick)), tag);
        children[top[pick]].push_back(tag);
        break;
      }
      default: {
        if (step % 50 != 0) break;  // sorts are dear: a few hundred of them
        std::map<int, Value> keys;
        for (std::uint32_t i = 0; i < size; ++i) keys[top[i]] = source->baseGetValue({}, i, 1);
        std::stable_sort(top.begin(), top.end(),
                         [&](int a, int b) { return core::compare_table_values(keys[a], keys[b]) < 0; });
        source->baseSortTable({}, {{1, false}}, false, nullptr);
      }
    }
    if (step % 500 == 0) check();
    if (step % 1000 == 0 && marks.size() > 400) {  // the control lets old bookmarks go
      for (auto it = marks.begin(); it != marks.end();) it = random() % 2 ? marks.erase(it) : std::next(it);
    }
  }
  check();
}

}  // namespace
