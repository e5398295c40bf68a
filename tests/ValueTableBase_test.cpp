#include "core/ValueTableBase.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "core/Context.h"
#include "core/Exception.h"

namespace {

using core::ColumnIDByValueError;
using core::InterfacePtr;
using core::LineIterator;
using core::Value;
using core::ValueTableBase;
using core::VTColumnInfo;
using core::VTLoadTypes;

const core::TypeDomainPattern kNumber{core::Type(core::Type::Number)};

InterfacePtr<ValueTableBase> make_table() { return InterfacePtr<ValueTableBase>(new ValueTableBase(3)); }

VTColumnInfo named(const char16_t* code, core::TypeDomainPattern pattern = {}) {
  return VTColumnInfo{code, u"", std::move(pattern), 0};
}

// Rows given as the values of every column in visible order.
void add_rows(ValueTableBase& table, const std::vector<std::vector<Value>>& rows) {
  for (const auto& values : rows) {
    LineIterator row = table.addRow();
    for (std::uint32_t p = 0; p < values.size(); ++p) row->setAt(p, values[p]);
  }
}

// One column's values in row order, as text.
std::string column_text(const ValueTableBase& table, std::int32_t id) {
  std::string text;
  for (std::uint32_t i = 0; i < table.getRowCount(); ++i) {
    avo::WString shown;
    table.getValue(i, id).getString(shown);
    text += std::string(shown.begin(), shown.end()) + " ";
  }
  return text;
}

TEST(ValueTableBaseTest, CodesAreFoundWithoutRegardToCaseInEitherLanguage) {
  auto table = make_table();
  const std::int32_t price = table->addColumn(named(u"Price"), -1);
  const std::int32_t name = table->addColumn(named(u"Наименование"), -1);
  const std::int32_t unnamed = table->addColumn(VTColumnInfo{}, -1);
  const struct {
    const char16_t* code;
    std::int32_t id;
  } cases[] = {
      {u"PRICE", price}, {u"price", price}, {u"НАИМЕНОВАНИЕ", name}, {u"Pric", -1}, {u"Prices", -1}, {u"", -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(table->columnIDByCode(c.code), c.id);
    EXPECT_EQ(table->columnID(std::u16string_view(c.code)), c.id);
  }
  EXPECT_EQ(table->namedColumnsCount(), 2u);
  EXPECT_EQ(table->namedColumnID(1), name);
  EXPECT_EQ(table->namedColumnID(2), -1);
  EXPECT_EQ(table->namedColumnCode(0, 1), u"Price");
  EXPECT_EQ(table->namedColumnCode(0, 2), u"");
  EXPECT_EQ(table->namedColumnPos(u"наименование"), 1);
  EXPECT_TRUE(table->columnCode(unnamed).empty());

  table->moveColumn(name, -1);  // named order follows the visible order
  EXPECT_EQ(table->namedColumnID(0), name);
  EXPECT_EQ(table->namedColumnPos(u"price"), 1);
}

TEST(ValueTableBaseTest, NewCodesMustBeUniqueIdentifiers) {
  auto table = make_table();
  const std::int32_t price = table->addColumn(named(u"Price"), -1);
  const struct {
    const char16_t* code;
    std::int32_t id;
    bool accepted;
  } cases[] =
      {
          {u"_x1", -1, true},    {u"Сумма_2", -1, true},  {u"", -1, false},
          {u"1st", -1, false},   {u"a b", -1, false},     {u"a-b", -1, false},
          {u"PRICE", -1, false}, {u"pRiCe", price, true},  // a column may change the case of its own code
      };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(table->checkNewCode(cases[i].id, cases[i].code), cases[i].accepted) << i;
  }
  EXPECT_THROW(table->addColumn(named(u"price"), -1), core::IllegalArgumentException);
  EXPECT_EQ(table->columnCount(), 1u);

  table->setColumnInfo(price, named(u"Cost"));  // renaming frees the old code
  EXPECT_EQ(table->columnIDByCode(u"price"), -1);
  EXPECT_EQ(table->columnIDByCode(u"COST"), price);
  EXPECT_TRUE(table->checkNewCode(-1, u"Price"));
  table->deleteColumn(price);
  EXPECT_EQ(table->columnIDByCode(u"cost"), -1);
  EXPECT_EQ(table->namedColumnsCount(), 0u);
}

TEST(ValueTableBaseTest, ColumnIDByValueTakesCodesAndPositions) {
  auto table = make_table();
  table->addColumn(named(u"A"), -1);
  const std::int32_t b = table->addColumn(named(u"B"), -1);
  const struct {
    Value value;
    ColumnIDByValueError error;
    int id;
  } cases[] = {
      {Value(u"b"), ColumnIDByValueError::Found, b},        {Value(1), ColumnIDByValueError::Found, b},
      {Value(u"C"), ColumnIDByValueError::UnknownCode, -7}, {Value(2), ColumnIDByValueError::BadPosition, -7},
      {Value(-1), ColumnIDByValueError::BadPosition, -7},   {Value(0.5), ColumnIDByValueError::BadPosition, -7},
      {Value(true), ColumnIDByValueError::WrongKind, -7},   {Value(), ColumnIDByValueError::WrongKind, -7},
  };
  for (const auto& c : cases) {
    int id = -7;
    EXPECT_EQ(table->columnIDByValue(&c.value, id), c.error);
    EXPECT_EQ(id, c.id);
  }
}

TEST(ValueTableBaseTest, ColumnChangesKeepValuesReachableById) {
  auto table = make_table();
  const std::int32_t a = table->addColumn(named(u"A"), -1);
  const std::int32_t b = table->addColumn(named(u"B"), -1);
  add_rows(*table, {{Value(1), Value(u"x")}, {Value(2), Value(u"y")}});
  const std::int32_t c = table->insertColumn(0, named(u"C"), -1);
  table->setValue(1, c, Value(7));
  table->moveColumn(b, -2);
  EXPECT_EQ(table->columnIndex(b), 0u);
  EXPECT_EQ(column_text(*table, a), "1 2 ");
  EXPECT_EQ(column_text(*table, b), "x y ");
  EXPECT_TRUE(table->getValueAt(1, 0).equals(u"y"));
  table->deleteColumn(a);  // later slots move down: the other columns must not notice
  EXPECT_EQ(column_text(*table, b), "x y ");
  EXPECT_TRUE(table->getValue(1, c).equals(7));
  EXPECT_THROW(table->getValue(0, a), core::IllegalArgumentException);
  table->setColumnCount(4);
  EXPECT_EQ(table->columnCount(), 4u);
  EXPECT_EQ(table->namedColumnsCount(), 2u);
  table->setColumnCount(1);
  EXPECT_EQ(table->columnIDByCode(u"C"), -1);
  table->deleteAllColumns();
  EXPECT_EQ(table->namedColumnsCount(), 0u);
  EXPECT_EQ(table->getRowCount(), 2u);
}

TEST(ValueTableBaseTest, RowMovesKeepTheLineAndItsIdentifier) {
  auto table = make_table();
  const std::int32_t n = table->addColumn(named(u"N"), -1);
  for (int i = 0; i < 8; ++i) table->setValue(table->addRow()->index(), n, Value(i));
  LineIterator held = table->row(1);
  const std::int32_t mark = table->rowBookmarkAt(1);
  table->moveRow(1, 5);
  EXPECT_EQ(column_text(*table, n), "0 2 3 4 5 6 1 7 ");
  EXPECT_TRUE(held.valid());
  EXPECT_EQ(held->index(), 6u);
  EXPECT_EQ(table->rowBookmarkAt(6), mark);
  table->moveRow(6, -6);
  EXPECT_EQ(column_text(*table, n), "1 0 2 3 4 5 6 7 ");
  EXPECT_THROW(table->moveRow(0, -1), core::IllegalArgumentException);
  EXPECT_THROW(table->moveRow(7, 1), core::IllegalArgumentException);
  EXPECT_THROW(table->setValue(8, n, Value(1)), core::IllegalArgumentException);
  EXPECT_FALSE(table->row(8).valid());
  EXPECT_EQ(table->rowBookmarkAt(8), -1);
  table->deleteRow(0);
  EXPECT_EQ(column_text(*table, n), "0 2 3 4 5 6 7 ");
}

TEST(ValueTableBaseTest, SortIsStableAndHonoursDescendingKeys) {
  auto table = make_table();
  const std::int32_t group = table->addColumn(named(u"Group"), -1);
  const std::int32_t tag = table->addColumn(named(u"Tag"), -1);
  add_rows(*table, {{Value(2), Value(u"a")},
                    {Value(1), Value(u"b")},
                    {Value(2), Value(u"c")},
                    {Value(10), Value(u"d")},
                    {Value(1), Value(u"e")},
                    {Value(2), Value(u"f")}});
  LineIterator d = table->row(3);
  table->sortTable({{group, false}}, false, nullptr);
  EXPECT_EQ(column_text(*table, tag), "b e a c f d ");  // 10 after 2: numbers, not text
  EXPECT_EQ(d->index(), 5u);
  table->sortTable({{group, true}}, false, nullptr);
  EXPECT_EQ(column_text(*table, tag), "d a c f b e ");  // equal keys keep their order when descending too
  table->sortTable({{group, false}, {tag, true}}, false, nullptr);
  EXPECT_EQ(column_text(*table, tag), "e b f c a d ");
  EXPECT_THROW(table->sortTable({{99, false}}, false, nullptr), core::IllegalArgumentException);
}

TEST(ValueTableBaseTest, DefaultOrderWithinAndAcrossKinds) {
  const struct {
    Value a, b;
    int sign;
  } cases[] = {
      {Value(2), Value(10), -1},
      {Value(core::Numeric(-1)), Value(0), -1},
      {Value(u"B"), Value(u"a"), -1},  // code units: capitals first
      {Value(u"ab"), Value(u"ab"), 0},
      {Value(false), Value(true), -1},
      {Value(core::Date(2020, 1, 1)), Value(core::Date(2019, 12, 31)), 1},
      {Value(), Value(false), -1},                       // Undefined < Boolean
      {Value(true), Value(0), -1},                       // Boolean < Number
      {Value(99), Value(u"1"), -1},                      // Number < String
      {Value(u"z"), Value(core::Date(2000, 1, 1)), -1},  // String < Date
  };
  for (const auto& c : cases) {
    const int order = core::compare_table_values(c.a, c.b);
    EXPECT_EQ((order > 0) - (order < 0), c.sign) << c.a.type().getTypeCode() << " " << c.b.type().getTypeCode();
    const int back = core::compare_table_values(c.b, c.a);
    EXPECT_EQ((back > 0) - (back < 0), -c.sign);
  }
}

// Orders strings by length: a caller's comparison replaces the default one.
class ByLength final : public core::ICompareValues {
 public:
  int compareValues(const core::GenericValue& a, const core::GenericValue& b) override {
    avo::WString x, y;
    a.getString(x);
    b.getString(y);
    return static_cast<int>(x.size()) - static_cast<int>(y.size());
  }
};

TEST(ValueTableBaseTest, SortUsesTheGivenComparisonAndReachesChildPages) {
  auto table = make_table();
  const std::int32_t word = table->addColumn(named(u"Word"), -1);
  add_rows(*table, {{Value(u"ccc")}, {Value(u"a")}, {Value(u"bb")}});
  ByLength byLength;
  table->sortTable({{word, false}}, false, &byLength);
  EXPECT_EQ(column_text(*table, word), "a bb ccc ");

  LineIterator parent = table->row(0);
  parent->children().add({Value(u"z")});
  parent->children().add({Value(u"y")});
  table->sortTable({{word, true}}, false, nullptr);
  EXPECT_TRUE(parent->children().lineAt(0)->get(word).equals(u"z"));  // children untouched without the flag
  table->sortTable({{word, false}}, true, nullptr);
  EXPECT_TRUE(parent->children().lineAt(0)->get(word).equals(u"y"));
}

TEST(ValueTableBaseTest, LoadFromCopiesColumnsAndRowsByLoadType) {
  auto source = make_table();
  const std::int32_t price = source->addColumn(VTColumnInfo{u"Price", u"Unit price", kNumber, 12}, -1);
  source->addColumn(named(u"Note"), -1);
  add_rows(*source, {{Value(5), Value(u"five")}, {Value(7), Value(u"seven")}});
  source->row(0)->children().add({Value(1), Value(u"child")});

  auto copy = make_table();
  copy->addColumn(named(u"Old"), -1);
  copy->loadFrom(source.get(), VTLoadTypes::ColumnsAndRows);
  ASSERT_EQ(copy->columnCount(), 2u);
  EXPECT_EQ(copy->columnIDByCode(u"old"), -1);
  VTColumnInfo info;
  ASSERT_TRUE(copy->columnInfo(copy->columnIDByCode(u"price"), info));
  EXPECT_EQ(info.title, u"Unit price");
  EXPECT_EQ(info.width, 12);
  EXPECT_TRUE(info.pattern.containsType(core::Type::Number));
  EXPECT_EQ(column_text(*copy, copy->columnIDByCode(u"note")), "five seven ");
  ASSERT_TRUE(copy->row(0)->hasChild());
  EXPECT_TRUE(copy->row(0)->children().lineAt(0)->getAt(1).equals(u"child"));
  source->setValue(0, price, Value(50));  // a copy, not a view
  EXPECT_TRUE(copy->getValueAt(0, 0).equals(5));

  auto byCode = make_table();
  const std::int32_t note = byCode->addColumn(named(u"NOTE"), -1);
  const std::int32_t extra = byCode->addColumn(named(u"Extra", kNumber), -1);
  byCode->loadFrom(source.get(), VTLoadTypes::Rows);
  EXPECT_EQ(column_text(*byCode, note), "five seven ");
  EXPECT_TRUE(byCode->getValue(1, extra).equals(0));  // the column's default
  byCode->loadFrom(source.get(), VTLoadTypes::AppendRows);
  EXPECT_EQ(column_text(*byCode, note), "five seven five seven ");
  byCode->loadFrom(byCode.get(), VTLoadTypes::AppendRows);
  EXPECT_EQ(byCode->getRowCount(), 8u);

  byCode->loadFrom(source.get(), VTLoadTypes::Columns);
  EXPECT_EQ(byCode->getRowCount(), 0u);
  EXPECT_EQ(byCode->columnCount(), 2u);
  EXPECT_NE(byCode->columnIDByCode(u"Price"), -1);
}

TEST(ValueTableBaseTest, InterfacesAreReachedThroughQueryInterface) {
  InterfacePtr<core::IValueTableBase> rows(new ValueTableBase());
  auto columns = rows.query<core::IValueTableColumns>();
  ASSERT_TRUE(columns);
  columns->addColumn(named(u"A"), -1);
  auto readOnly = columns.query<core::IValueTableBaseRO>();
  ASSERT_TRUE(readOnly);
  EXPECT_EQ(readOnly->columnCount(), 1u);
  EXPECT_FALSE(rows.query<core::IContextDef>());
}

}  // namespace
