#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/File.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/ValueTableStorage.h"
#include "nexa/Memory.h"

namespace {

using core::LineIterator;
using core::TypeDomainPattern;
using core::Value;
using core::ValueTableCore;
using core::ValueTablePage;

const TypeDomainPattern kNumber{core::Type(core::Type::Number)};
const TypeDomainPattern kStringOrDate{core::Type(core::Type::String), core::Type(core::Type::Date)};

template <class Object>
std::u16string to_text(const Object& object) {
  auto writer = core::MemoryWriter::create();
  core::ListOutStream out(writer.get());
  object.serialize(core::create_out_persistence_storage(out).get());
  out.flush();
  return std::u16string(writer->text());
}

template <class Object>
void from_text(Object& object, std::u16string_view text) {
  auto reader = core::create_memory_reader(text);
  core::ListInStream in(reader.get());
  object.deserialize(core::create_in_persistence_storage(in).get());
}

void round_trip(const ValueTableCore& source, ValueTableCore& target, bool packed) {
  if (!packed) return from_text(target, to_text(source));
  auto file = core::create_memory_file();
  {
    core::ListOutStream out(static_cast<core::IFile*>(file.get()));
    source.serialize(core::create_out_persistence_storage(out).get());
    out.flush();
  }
  file->setPosition(0);
  core::ListInStream in(static_cast<core::IFile*>(file.get()));
  target.deserialize(core::create_in_persistence_storage(in).get());
}

// The whole tree as text: "id:values[children]" per line, so that two tables compare in one assertion.
std::string dump(const ValueTablePage& page) {
  std::string text;
  for (std::uint32_t i = 0; i < page.size(); ++i) {
    LineIterator line = page.lineAt(i);
    text += std::to_string(line->id()) + ":";
    for (std::uint32_t slot = 0; slot < line->size(); ++slot) {
      avo::WString shown;
      line->getAtPos(slot).getString(shown);
      text += std::string(shown.begin(), shown.end()) + ",";
    }
    if (line->hasChild()) text += "[" + dump(line->children()) + "]";
    text += ";";
  }
  return text;
}

// A table of three number columns with two lines, the first with a child line that has a child itself.
void fill_hierarchy(ValueTableCore& table) {
  for (int i = 0; i < 3; ++i) table.addColumn(-1, kNumber);
  LineIterator first = table.add({Value(1), Value(2), Value(3)});
  table.add({Value(4), Value(5), Value(6)});
  LineIterator child = first->children().add({Value(10), Value(20), Value(30)});
  child->children().add({Value(100), Value(200), Value(300)});
}

// Every leaf within the page size, and every line where the vector model says, found by number and by
// walking both ways across leaf borders.
void expect_matches(const ValueTableCore& table, const std::vector<std::int32_t>& model, std::uint32_t pageSize) {
  ASSERT_EQ(table.size(), model.size());
  for (std::uint32_t i = 0; i < model.size(); ++i) {
    LineIterator line = table.lineAt(i);
    ASSERT_TRUE(line.valid()) << i;
    ASSERT_EQ(line->id(), model[i]) << i;
    ASSERT_EQ(line->index(), i);
    ASSERT_TRUE(line.page()->lines());
    ASSERT_LE(line.page()->linesCount(), pageSize);
    ASSERT_EQ(line.page()->size(), line.page()->linesCount());
  }
  EXPECT_FALSE(table.lineAt(static_cast<std::uint32_t>(model.size())).valid());
  std::vector<std::int32_t> forward, backward;
  for (LineIterator it = table.lineAt(0); it.valid(); ++it) forward.push_back(it->id());
  for (LineIterator it = table.lineAt(table.size() - 1); it.valid(); --it) backward.push_back(it->id());
  std::reverse(backward.begin(), backward.end());
  EXPECT_EQ(forward, model);
  EXPECT_EQ(backward, model);
}

// Iterators held across inserts and erases elsewhere: each still stands on its own line, knows its index,
// and steps to the neighbours the vector model names.
void expect_held_follow(std::vector<LineIterator>& held, const std::vector<std::int32_t>& model, std::mt19937& random) {
  for (LineIterator& it : held) {
    const auto at = std::find(model.begin(), model.end(), it->id());
    ASSERT_EQ(it.valid(), at != model.end());
    if (!it.valid()) continue;
    const auto i = static_cast<std::int64_t>(at - model.begin());
    ASSERT_EQ(it->index(), i);
    const std::int64_t n = static_cast<std::int64_t>(random() % 9) - 4;
    LineIterator moved = it;
    moved + n;
    if (i + n < 0 || i + n >= static_cast<std::int64_t>(model.size())) {
      ASSERT_FALSE(moved.valid()) << i << "+" << n;
    } else {
      ASSERT_EQ(moved->id(), model[static_cast<std::size_t>(i + n)]) << i << "+" << n;
    }
  }
}

TEST(ValueTableTest, RandomInsertsAndErasesMatchAVectorModel) {
  for (std::uint32_t pageSize : {1u, 3u, 7u, 16u}) {
    SCOPED_TRACE(pageSize);
    ValueTableCore table(pageSize);
    std::vector<std::int32_t> model;
    std::vector<LineIterator> held;
    std::mt19937 random(pageSize);
    for (int step = 0; step < 1500; ++step) {
      const bool grow = model.size() < 5 || random() % 100 < (step < 900 ? 60 : 35);
      const auto index = static_cast<std::uint32_t>(random() % (model.size() + (grow ? 1 : 0)));
      if (step % 25 == 0 && index < model.size()) held.push_back(table.lineAt(index));
      if (grow) {
        LineIterator made = table.insert(index);
        model.insert(model.begin() + index, made->id());
      } else {
        LineIterator gone = table.lineAt(index);
        table.erase(index);
        EXPECT_FALSE(gone.valid());
        EXPECT_FALSE((++gone).valid());  // a line out of the table steps nowhere
        model.erase(model.begin() + index);
      }
      expect_held_follow(held, model, random);
      if (step % 50 == 0 || step > 1450) expect_matches(table, model, pageSize);
    }
    table.resize(2);
    model.resize(2);
    expect_matches(table, model, pageSize);
  }
}

TEST(ValueTableTest, OwnerlessPageAnswersDefaults) {
  core::SharedPtr<ValueTablePage> page(new ValueTablePage());
  EXPECT_EQ(page->maxPageSize(), 2000u);
  EXPECT_EQ(page->stamp(), 0u);
  page->change();
  EXPECT_EQ(page->stamp(), 0u);
  EXPECT_EQ(page->createLineID(), -1);
  LineIterator line = page->add({Value(1), Value(2)});
  EXPECT_EQ(line->id(), -1);
  EXPECT_TRUE(line->get(1).equals(2));  // outside a table, identifiers are slots
}

TEST(ValueTableTest, ChildPagesTakeIdentifiersFromTheTableAndIteratorsStayOnTheirLevel) {
  ValueTableCore table;
  fill_hierarchy(table);
  EXPECT_EQ(dump(table), "0:1,2,3,[2:10,20,30,[3:100,200,300,;];];1:4,5,6,;");
  LineIterator child = table.lineAt(0)->children().lineAt(0);
  EXPECT_EQ(child->children().lineAt(0)->level(), 2u);
  EXPECT_FALSE((++child).valid());  // the only line of its level: the parent's neighbour is not its own
}

TEST(ValueTableTest, EveryModificationChangesTheStamp) {
  ValueTableCore table;
  const core::VTColumn column = table.addColumn(-1, kNumber);
  table.add({Value(1)});
  LineIterator child = table.lineAt(0)->children().add({Value(2)});
  const std::vector<std::pair<const char*, std::function<void()>>> steps = {
      {"add", [&] { table.add(); }},
      {"set", [&] { table.lineAt(0)->set(column.id(), Value(5)); }},
      {"set in a child line", [&] { child->set(column.id(), Value(6)); }},
      {"erase", [&] { table.erase(1); }},
      {"add column", [&] { table.addColumn(-1, {}); }},
      {"move column", [&] { table.moveColumnAt(0, 1); }},
      {"clean column", [&] { table.cleanColumn(column); }},
      {"remove column", [&] { table.removeColumn(column); }},
      {"clear", [&] { table.clearLines(); }},
  };
  for (const auto& [name, step] : steps) {
    SCOPED_TRACE(name);
    const std::uint64_t before = table.stamp();
    step();
    EXPECT_NE(table.stamp(), before);
  }
}

TEST(ValueTableTest, ColumnMovesKeepSlotsAndRemovalShiftsLaterSlots) {
  ValueTableCore table;
  fill_hierarchy(table);
  EXPECT_EQ(table.columnID(0), 0);
  table.moveColumnAt(0, 2);  // positions 1, 2, 0; slots unchanged
  EXPECT_EQ(table.columnID(2), 0);
  EXPECT_TRUE(table.lineAt(0)->getAt(2).equals(1));
  EXPECT_TRUE(table.lineAt(0)->get(0).equals(1));

  table.removeColumn(table.column(1));  // slot 1: the former slot 2 moves down, in every level
  const std::string expected = "0:1,3,[2:10,30,[3:100,300,;];];1:4,6,;";
  EXPECT_EQ(dump(table), expected);
  EXPECT_EQ(table.column(2).slot(), 1u);
  EXPECT_TRUE(table.lineAt(0)->get(2).equals(3));
  EXPECT_EQ(table.addColumn(-1, {}).id(), 3);  // identifiers are not reused
  EXPECT_THROW(table.removeColumn(table.column(1)), core::IllegalArgumentException);
}

TEST(ValueTableTest, CleaningAndRetypingReachChildLines) {
  ValueTableCore table;
  fill_hierarchy(table);
  table.cleanColumnAt(0);
  EXPECT_EQ(dump(table), "0:0,2,3,[2:0,20,30,[3:0,200,300,;];];1:0,5,6,;");
  table.lineAt(1)->set(1, Value(u"text"));
  table.setTypeDomainPattern(1, TypeDomainPattern{core::Type(core::Type::String)});
  EXPECT_EQ(dump(table), "0:0,,3,[2:0,,30,[3:0,,300,;];];1:0,text,6,;");
}

TEST(ValueTableTest, MissingSlotsReadAsTheColumnDefault) {
  ValueTableCore table;
  LineIterator line = table.add();
  table.addColumn(-1, kNumber);
  table.addColumn(-1, {});
  EXPECT_TRUE(line->get(0).equals(0));
  EXPECT_TRUE(core::is_undefined_value(line->get(1)));
  line->set(1, Value(7));  // fills the missing slots before it
  EXPECT_EQ(line->size(), 2u);
  EXPECT_THROW(line->get(5), core::IllegalArgumentException);
}

TEST(ValueTableTest, TotalsFollowTheColumnType) {
  ValueTableCore empty;
  empty.addColumn(-1, kNumber);
  ValueTableCore table;
  fill_hierarchy(table);
  table.addColumn(-1, kStringOrDate);
  table.addColumn(-1, TypeDomainPattern{core::Type(core::Type::String), core::Type(core::Type::Number)});
  table.lineAt(0)->set(4, Value(u"7"));
  struct Case {
    const char* name;
    const ValueTableCore& table;
    std::int32_t column;
    bool children;
    Value expected;
  };
  const Case cases[] = {
      {"empty table", empty, 0, false, Value(0)},    {"unknown column", table, 42, false, Value(0)},
      {"numbers", table, 0, false, Value(5)},        {"numbers with children", table, 0, true, Value(115)},
      {"string and date", table, 3, false, Value()}, {"several types with the number", table, 4, false, Value(7)},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Value total = c.table.total(c.column, c.children);
    EXPECT_TRUE(total.type() == c.expected.type());
    EXPECT_TRUE(total.equals(c.expected));
  }
}

TEST(ValueTableTest, FindByValueAndByConditions) {
  ValueTableCore table;
  fill_hierarchy(table);
  table.add({Value(4), Value(0), Value(1)});
  auto ids = [](const std::vector<LineIterator>& found) {
    std::vector<std::int32_t> out;
    for (const LineIterator& it : found) out.push_back(it->id());
    return out;
  };
  EXPECT_EQ(ids(table.find(Value(4), {0}, false)), (std::vector<std::int32_t>{1, 4}));
  EXPECT_EQ(ids(table.find(Value(1), {}, false)), (std::vector<std::int32_t>{0, 4}));
  EXPECT_EQ(ids(table.find(Value(200), {}, true)), std::vector<std::int32_t>{3});
  EXPECT_EQ(ids(table.find({{0, Value(4)}, {2, Value(1)}}, false)), std::vector<std::int32_t>{4});
  EXPECT_THROW(table.find({{9, Value(4)}}, false), core::IllegalArgumentException);
}

TEST(ValueTableTest, CopyIsDeepAndKeepsIdentifiersCountersAndStamp) {
  ValueTableCore table(3);
  fill_hierarchy(table);
  ValueTableCore copy(table);
  EXPECT_EQ(dump(copy), dump(table));
  EXPECT_EQ(copy.stamp(), table.stamp());
  EXPECT_EQ(copy.maxPageSize(), 3u);
  EXPECT_EQ(copy.add()->id(), 4);
  EXPECT_EQ(copy.addColumn(-1, {}).id(), 3);
  copy.lineAt(0)->children().lineAt(0)->set(0, Value(99));
  EXPECT_TRUE(table.lineAt(0)->children().lineAt(0)->get(0).equals(10));
}

TEST(ValueTableTest, RoundTripKeepsLinesIdentifiersAndCounters) {
  for (const bool packed : {false, true}) {
    SCOPED_TRACE(packed ? "packed" : "text");
    ValueTableCore table(3);
    fill_hierarchy(table);
    for (int i = 0; i < 10; ++i) table.add({Value(i), Value(u"s"), Value()});
    table.moveColumnAt(2, -2);
    table.erase(2);
    ValueTableCore back(3);
    back.add();  // cleared by reading
    round_trip(table, back, packed);
    EXPECT_EQ(dump(back), dump(table));
    EXPECT_EQ(back.columnID(0), 2);
    EXPECT_EQ(back.column(2).slot(), 2u);
    EXPECT_EQ(back.addColumn(-1, {}).id(), 3);
    EXPECT_EQ(back.add()->id(), table.lastLineID() + 1);
  }
}

TEST(ValueTableTest, TextLayoutOfTheBlocks) {
  ValueTableCore table;
  table.addColumn(-1, {});
  LineIterator line = table.add({Value(5)});
  line->children();  // a child page that holds no lines is not written
  EXPECT_EQ(to_text(table), u"{2,1,0,0,\n{1,1,\n{2,0,1,\n{3,5},0\n}\n},0,0\n}");
}

TEST(ValueTableTest, ReadingHonoursVersionsCountsAndTrailingItems) {
  struct Case {
    const char* name;
    std::u16string text;
    std::string lines;
    std::int32_t nextLine;
  };
  const Case cases[] = {
      {"count 0 reads no line block", u"{2,0,{1,0,{2,9,0,0}},-1,-1}", "", 0},
      {"negative count", u"{2,0,{1,-3,{2,9,0,0}},-1,-1}", "", 0},
      {"version 1 line has no children item", u"{2,0,{1,1,{1,7,1,{3,5}}},-1,7}", "7:5,;", 8},
      {"empty child page", u"{2,0,{1,1,{2,7,0,1,{1,0}}},-1,7}", "7:;", 8},
      {"children", u"{2,0,{1,1,{2,7,0,1,{1,1,{2,8,0,0}}}},-1,8}", "7:[8:;];", 9},
      {"newer items skipped", u"{3,0,{2,1,{3,7,0,0,{x},\"y\"},5},-1,7,{z}}", "7:;", 8},
      {"stored counter below the ids read", u"{2,0,{1,1,{2,7,0,0}},-1,2}", "7:;", 8},
      {"version 1 table stops after the columns", u"{1,0,{1,1,{2,7,0,0}}}", "", 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ValueTableCore table;
    from_text(table, c.text);
    EXPECT_EQ(dump(table), c.lines);
    EXPECT_EQ(table.add()->id(), c.nextLine);
  }
}

TEST(ValueTableTest, MalformedStreamsThrowListStreamException) {
  const std::u16string cases[] = {
      u"{2,2,0,0,0,1,{1,0},1,-1}",       // two columns in one slot
      u"{2,2,0,0,1,0,{1,0},1,-1}",       // one identifier twice
      u"{2,1,1,0,{1,0},0,-1}",           // a slot beyond the count
      u"{2,1,0,-4,{1,0},0,-1}",          // a negative identifier
      u"{2,0,{1,2,{2,0,0,0}},-1,0}",     // fewer lines than counted
      u"{2,0,{1,1,{2,0,0,2}},-1,0}",     // has-children is not a boolean
      u"{2,0,{1,1,{2,0,1,{99}}},-1,0}",  // not a value
  };
  for (const auto& text : cases) {
    SCOPED_TRACE(std::string(text.begin(), text.end()));
    ValueTableCore table;
    EXPECT_THROW(from_text(table, text), core::ListStreamException);
  }
}

TEST(ValueTableTest, EveryTruncationOfAValidStreamThrowsListStreamException) {
  ValueTableCore table(2);
  fill_hierarchy(table);
  table.add({Value(u"a \"quoted\" text"), Value(1.5), Value()});
  const std::u16string text = to_text(table);
  for (std::size_t length = 0; length < text.size(); ++length) {
    ValueTableCore back;
    EXPECT_THROW(from_text(back, std::u16string_view(text).substr(0, length)), core::ListStreamException) << length;
  }
}

TEST(ValueTableTest, DeeplyNestedChildPagesAreRefused) {
  std::u16string text = u"{2,0,";
  for (int i = 0; i < 600; ++i) text += u"{1,1,{2,0,0,1,";
  text += u"{1,0}";
  for (int i = 0; i < 600; ++i) text += u"}}";
  text += u",-1,0}";
  ValueTableCore table;
  EXPECT_THROW(from_text(table, text), core::ListStreamException);
}

}  // namespace

// ----- the blocks on disk

// A table of several leaves, levels and value kinds, after column moves and removals and erased lines.
void fill_golden(ValueTableCore& table) {
  for (int i = 0; i < 4; ++i) table.addColumn(-1, i == 3 ? kStringOrDate : TypeDomainPattern{});
  core::Numeric big;
  big.fromString("-123456789012345678901234567890.000000000000000000000000001");
  const Value kinds[] = {Value(7), Value(-0.5), Value(big), Value(u"Zeile ü"), Value(true), Value(), Value(u"")};
  for (int i = 0; i < 12; ++i) {
    LineIterator line = table.add({kinds[i % 7], Value(i), kinds[(i + 3) % 7]});
    if (i % 4 == 1) line->children().add({Value(i * 100), kinds[i % 7]})->children().add({Value(u"deep")});
  }
  table.moveColumnAt(3, -2);
  table.removeColumnAt(0);
  table.erase(5);
  table.insert(2, {Value(u"inserted")});
}

std::string read_file(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The text and packed forms of a table stay byte for byte as files written by earlier builds have them,
// and those files read back to the same table.
TEST(ValueTableTest, BlocksMatchTheGoldenFiles) {
  ValueTableCore table(3);
  fill_golden(table);
  const std::u16string text = to_text(table);
  auto file = core::create_memory_file();
  {
    core::ListOutStream out(static_cast<core::IFile*>(file.get()));
    table.serialize(core::create_out_persistence_storage(out).get());
    out.flush();
  }
  const std::string packed(reinterpret_cast<const char*>(file->getData()), file->getSize());
  const std::string textFile = "golden/value_table.txt", packedFile = "golden/value_table.bin";
  if (std::getenv("KERN83_WRITE_GOLDEN") != nullptr) {
    std::ofstream(textFile, std::ios::binary) << avo::to_std_utf8(text);
    std::ofstream(packedFile, std::ios::binary) << packed;
  }
  EXPECT_EQ(avo::to_std_utf8(text), read_file(textFile));
  EXPECT_EQ(packed, read_file(packedFile));

  ValueTableCore back(3);
  from_text(back, avo::from_utf8(read_file(textFile)));
  EXPECT_EQ(dump(back), dump(table));
}

// A table of a few lines takes a few hundred bytes: leaves grow with the table.
TEST(ValueTableTest, SmallTablesStaySmall) {
  const auto live = [] { return nexa::thread_allocated_bytes() - nexa::thread_freed_bytes(); };
  const auto before = live();
  ValueTableCore table;
  for (int i = 0; i < 2; ++i) table.addColumn(-1, {});
  for (int i = 0; i < 3; ++i) table.add({Value(true), Value()});
  EXPECT_LT(live() - before, 1024u);
}

// The protected addressing of the tree, as a derived table uses it.
class ExposedTable : public ValueTableCore {
 public:
  using ValueTableCore::ValueTableCore;
  using ValueTablePage::beginPageRef;
  using ValueTablePage::endPageRef;
  using ValueTablePage::lineRef;
  using ValueTablePage::pageRef;
  using ValueTablePage::selfRef;
};

TEST(ValueTableTest, PlacesOfLinesAndPagesInTheTree) {
  ExposedTable table(3);
  for (int i = 0; i < 20; ++i) table.add({Value(i)});
  table.erase(4);
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    ValueTablePage* leaf = nullptr;
    std::uint32_t inLeaf = 0;
    const auto at = table.lineRef(i, &leaf, &inLeaf);
    const LineIterator line = table.lineAt(i);
    ASSERT_EQ(leaf, line.page()) << i;
    EXPECT_EQ(*at, &*line) << i;
    EXPECT_LT(inLeaf, leaf->linesCount());
  }
  ValueTablePage* leaf = &table;
  std::uint32_t inLeaf = 0;
  table.lineRef(table.size(), &leaf, &inLeaf);
  EXPECT_EQ(leaf, nullptr);
  EXPECT_EQ(inLeaf, core::kNoIndex);

  ASSERT_TRUE(table.pages());
  for (auto sub = table.beginPageRef(); sub != table.endPageRef(); ++sub) EXPECT_EQ(table.pageRef(sub->get()), sub);
  ValueTablePage stranger;
  EXPECT_EQ(table.pageRef(&stranger), table.endPageRef());
  EXPECT_EQ(table.selfRef(), ValueTablePage::Pages::const_iterator());
}
