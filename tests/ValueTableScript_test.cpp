#include "core/ValueTableScript.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/CharStream.h"
#include "core/Exception.h"
#include "core/ListStream.h"
#include "core/Persistence.h"
#include "core/Resources.h"

namespace {

using core::GenericValue;
using core::IContext_;
using core::InterfacePtr;
using core::Value;
using core::ValueTable;

const core::TypeDomainPattern kNumber{core::Type(core::Type::Number)};

std::string utf8(std::u16string_view text) {
  std::string out;
  for (char16_t c : text) out += c < 0x80 ? static_cast<char>(c) : '?';
  return out;
}

InterfacePtr<IContext_> context_of(const GenericValue& value) {
  void* object = nullptr;
  if (value._getIValue()->QueryInterface(IContext_::IID, &object) != core::S_OK) return nullptr;
  return InterfacePtr<IContext_>(static_cast<IContext_*>(object), core::adopt_ref);
}

// Calls a method the way the script engine does: found by name, missing arguments filled with their
// defaults, a result asked for only from functions.
Value invoke(IContext_* context, std::u16string_view name, std::vector<Value> args = {}) {
  const int method = context->findMethod(name);
  if (method == -1) throw std::runtime_error("no method " + utf8(name));
  const std::size_t given = args.size();
  args.resize(std::max<std::size_t>(given, static_cast<std::size_t>(context->getNParams(method))));
  for (std::size_t i = given; i < args.size(); ++i) context->getParamDefValue(method, static_cast<int>(i), &args[i]);
  std::vector<GenericValue*> params;
  for (Value& arg : args) params.push_back(&arg);
  Value result;
  if (!context->call(method, context->hasRetVal(method) ? &result : nullptr, params)) {
    throw std::runtime_error("call refused: " + utf8(name));
  }
  return result;
}

Value prop(const GenericValue& row, std::u16string_view name) {
  auto context = context_of(row);
  Value out;
  if (!context->getPropVal(context->findProp(name), out)) throw std::runtime_error("no property " + utf8(name));
  return out;
}

void set_prop(const GenericValue& row, std::u16string_view name, const Value& value) {
  auto context = context_of(row);
  if (!context->setPropVal(context->findProp(name), value)) throw std::runtime_error("no property " + utf8(name));
}

// The key of the message a call raised, or "" when it raised nothing.
template <class Fn>
std::string raised_key(Fn&& fn) {
  try {
    fn();
  } catch (const core::Exception& e) {
    return e.messageKey();
  }
  return "";
}

// A table with the columns Code (untyped), Amount (number) and an unnamed one, and rows given as
// (code, amount) pairs.
struct Fixture {
  InterfacePtr<ValueTable> table = core::create_value_table();

  explicit Fixture(std::vector<std::pair<const char16_t*, int>> rows = {}) {
    table->table()->addColumn({u"Code", u"", {}, 0}, -1);
    table->table()->addColumn({u"Amount", u"", kNumber, 0}, -1);
    table->table()->addColumn({}, -1);
    for (const auto& [code, amount] : rows) {
      Value row = call(u"Add");
      set_prop(row, u"Code", Value(code));
      set_prop(row, u"Amount", Value(amount));
    }
  }
  Value call(std::u16string_view name, std::vector<Value> args = {}) {
    return invoke(table.get(), name, std::move(args));
  }
  std::size_t count() { return static_cast<std::size_t>(numeric(call(u"Count"))); }
  static long long numeric(const Value& v) {
    core::Numeric n;
    v.getNumeric(n);
    return static_cast<long long>(n);
  }
  // The codes of the rows in row order.
  std::string codes() {
    std::string out;
    for (std::uint32_t i = 0; i < table->table()->getRowCount(); ++i) {
      avo::WString code;
      prop(call(u"Get", {Value(i)}), u"code").getString(code);
      out += utf8(code);
    }
    return out;
  }
};

core::InterfacePtr<core::IValueArray> array_of(const GenericValue& value) {
  return InterfacePtr<core::IValue>(value._getIValue()).query<core::IValueArray>();
}

Value array_value(const std::vector<Value>& values) {
  return Value(core::create_value_array(values).query<core::IValue>().get());
}

// The values of an array as text, "a|1|" for {"a", 1, Undefined}.
std::string joined(const GenericValue& array) {
  auto items = array_of(array);
  if (!items) return "<not an array>";
  std::string out;
  for (std::uint32_t i = 0; i < items->getCount(); ++i) {
    avo::WString text;
    items->getAt(i).getString(text);
    out += (i ? "|" : "") + utf8(text);
  }
  return out;
}

// A value after a trip through a text list stream.
Value through_stream(const Value& value) {
  auto writer = core::MemoryWriter::create();
  core::ListOutStream out(writer.get());
  value.serialize(core::create_out_persistence_storage(out).get());
  out.flush();
  auto reader = core::create_memory_reader(writer->text());
  core::ListInStream in(reader.get());
  Value back;
  core::GenericValue::deserialize(core::create_in_persistence_storage(in).get(), back);
  return back;
}

// Name lookup itself is the definition's, tested with it; here the table answers through it.
TEST(ValueTableScriptTest, AddAppendsARowValue) {
  Fixture t;
  for (std::size_t expected = 1; expected <= 2; ++expected) {
    const Value row = t.call(expected == 1 ? u"ADD" : u"добавить");
    EXPECT_EQ(t.count(), expected);
    EXPECT_EQ(row.type(), core::Type(core::kValueTableRowTypeCLSID));
    EXPECT_EQ(t.numeric(t.call(u"Индекс", {row})), static_cast<long long>(expected - 1));
  }
  EXPECT_EQ(t.table->getIContextDef()->getNMethods(), 14);
}

TEST(ValueTableScriptTest, RowPropertiesAreTheNamedColumnsByCodeInAnyCase) {
  Fixture t({{u"a", 0}});
  Value row = t.call(u"Get", {Value(0)});
  auto context = context_of(row);
  ASSERT_EQ(context->getNProps(), 2);                                     // the unnamed column is not a property
  EXPECT_EQ(std::u16string_view(context->getPropName(1, 1)), u"Amount");  // the code in both languages
  EXPECT_EQ(context->findProp(u"AMOUNT"), 1);
  EXPECT_EQ(context->findProp(u"Amoun"), -1);
  core::PropInfo info;
  ASSERT_TRUE(context->getPropInfo(1, info));  // a column's types are its property's types
  EXPECT_TRUE(info.readable && info.writable && info.types == kNumber);
  EXPECT_FALSE(context->getPropInfo(2, info));

  set_prop(row, u"amount", Value(5));
  set_prop(t.call(u"Add"), u"AMOUNT", Value(7));
  EXPECT_TRUE(prop(row, u"Amount").equals(5));
  EXPECT_TRUE(t.call(u"Total", {Value(u"amount")}).equals(12));
  EXPECT_TRUE(t.call(u"Итог", {Value(u"Amount")}).equals(12));
  // A row value is the line itself: a value written through one is read through another.
  set_prop(t.call(u"Get", {Value(0)}), u"Code", Value(u"b"));
  EXPECT_TRUE(prop(row, u"code").equals(u"b"));
}

TEST(ValueTableScriptTest, FindAnswersTheFirstMatchingRowOrUndefined) {
  Fixture t({{u"x", 1}, {u"2", 2}, {u"y", 2}, {u"z", 3}});
  const struct {
    Value value;
    const char16_t* columns;
    int row;  // -1: Undefined
  } cases[] = {
      {Value(2), u"", 1},  {Value(u"y"), u"code", 2}, {Value(u"y"), u"Amount", -1}, {Value(3), u" Code , Amount ", 3},
      {Value(4), u"", -1}, {Value(u"2"), u"Code", 1}, {Value(u"2"), u"Amount", -1},
  };
  for (const auto& c : cases) {
    Value found = t.call(u"Найти", {c.value, Value(c.columns)});
    if (c.row < 0) {
      EXPECT_TRUE(core::is_undefined_value(found)) << utf8(c.columns);
    } else {
      EXPECT_TRUE(found.equals(t.call(u"Get", {Value(c.row)}))) << utf8(c.columns);
    }
  }
  EXPECT_EQ(raised_key([&] { t.call(u"Find", {Value(1), Value(u"Code, Price")}); }), "IDS_ERR_VT_COLUMN_NOT_FOUND");
  EXPECT_EQ(raised_key([&] { t.call(u"Find", {Value(1), Value(u"Code,,Amount")}); }), "IDS_ERR_VT_BAD_COLUMN_LIST");
  EXPECT_EQ(raised_key([&] { t.call(u"Find", {Value(1), Value(7)}); }), "IDS_ERR_PARAMETER_TYPE_MISMATCH");
}

TEST(ValueTableScriptTest, SortTakesCodesWithDirectionsInEitherLanguage) {
  const struct {
    const char16_t* text;
    const char* order;
  } cases[] = {
      {u"Amount", "cabd"},    {u"Amount Убыв, Code", "bdac"},     {u"Amount desc, Code desc", "dbac"},
      {u"code возр", "abcd"}, {u"Amount asc, code Убыв", "cadb"}, {u"  Code   Desc ", "dcba"},
  };
  for (const auto& c : cases) {
    Fixture t({{u"c", 1}, {u"b", 3}, {u"a", 2}, {u"d", 3}});
    t.call(u"Сортировать", {Value(c.text)});
    EXPECT_EQ(t.codes(), c.order) << utf8(c.text);
  }
  const struct {
    Value text;
    const char* key;
  } errors[] = {
      {Value(u"Amount sideways"), "IDS_ERR_VT_BAD_SORT_ORDER"},
      {Value(u"Amount desc asc"), "IDS_ERR_VT_BAD_SORT_ORDER"},
      {Value(u""), "IDS_ERR_VT_BAD_SORT_ORDER"},
      {Value(u"Price"), "IDS_ERR_VT_COLUMN_NOT_FOUND"},
      {Value(1), "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
  };
  for (const auto& e : errors) {
    Fixture t({{u"b", 1}, {u"a", 2}});
    EXPECT_EQ(raised_key([&] { t.call(u"Sort", {e.text}); }), e.key);
    EXPECT_EQ(t.codes(), "ba");  // a refused order leaves the rows alone
  }
}

TEST(ValueTableScriptTest, DeleteAndMoveTakeARowOrItsNumber) {
  const struct {
    const char16_t* method;
    bool byRow;  // pass the row value instead of its number
    int row;
    int offset;
    const char* after;
  } cases[] = {
      {u"Delete", false, 0, 0, "bcd"}, {u"Удалить", true, 3, 0, "abc"},    {u"Delete", true, 1, 0, "acd"},
      {u"Move", false, 0, 3, "bcda"},  {u"Сдвинуть", true, 3, -2, "adbc"}, {u"Move", true, 2, 0, "abcd"},
  };
  for (const auto& c : cases) {
    Fixture t({{u"a", 1}, {u"b", 2}, {u"c", 3}, {u"d", 4}});
    std::vector<Value> args{c.byRow ? t.call(u"Get", {Value(c.row)}) : Value(c.row), Value(c.offset)};
    t.call(c.method, args);
    EXPECT_EQ(t.codes(), c.after) << utf8(c.method) << " " << c.row;
  }
}

TEST(ValueTableScriptTest, RowArgumentsOutsideTheTableRaise) {
  Fixture t({{u"a", 1}, {u"b", 2}});
  Fixture other({{u"x", 1}});
  Value gone = t.call(u"Add");
  t.call(u"Delete", {gone});
  const struct {
    const char* what;
    std::function<void()> call;
    const char* key;
  } cases[] = {
      {"Get past the end", [&] { t.call(u"Get", {Value(2)}); }, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"Get negative", [&] { t.call(u"Получить", {Value(-1)}); }, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"Get fraction", [&] { t.call(u"Get", {Value(0.5)}); }, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"Get by text", [&] { t.call(u"Get", {Value(u"1")}); }, "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
      {"Insert past the end", [&] { t.call(u"Insert", {Value(3)}); }, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"Delete a foreign row", [&] { t.call(u"Delete", {other.call(u"Get", {Value(0)})}); },
       "IDS_ERR_VT_ROW_NOT_IN_TABLE"},
      {"Delete a deleted row", [&] { t.call(u"Delete", {gone}); }, "IDS_ERR_VT_ROW_NOT_IN_TABLE"},
      {"Delete past the end", [&] { t.call(u"Delete", {Value(2)}); }, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"Move past the end",
       [&] {
         t.call(u"Move", {Value(1), Value(1)});
       },
       "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"Move before the start",
       [&] {
         t.call(u"Move", {Value(0), Value(-1)});
       },
       "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"Move by text",
       [&] {
         t.call(u"Move", {Value(0), Value(u"1")});
       },
       "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
      {"IndexOf a number", [&] { t.call(u"IndexOf", {Value(0)}); }, "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
      {"read a deleted row", [&] { prop(gone, u"Code"); }, "IDS_ERR_VT_ROW_NOT_IN_TABLE"},
      {"Total of no column", [&] { t.call(u"Total", {Value(u"Price")}); }, "IDS_ERR_VT_COLUMN_NOT_FOUND"},
  };
  for (const auto& c : cases) EXPECT_EQ(raised_key(c.call), c.key) << c.what;
  EXPECT_EQ(t.codes(), "ab");
  EXPECT_TRUE(t.call(u"IndexOf", {gone}).equals(-1));
  EXPECT_TRUE(t.call(u"IndexOf", {other.call(u"Get", {Value(0)})}).equals(-1));
}

TEST(ValueTableScriptTest, UnloadedColumnsLoadBackThroughAListStream) {
  Fixture t({{u"a", 1}, {u"b", 2}, {u"c", 3}});
  const Value amounts = t.call(u"UnloadColumn", {Value(u"AMOUNT")});
  const Value codes = t.call(u"ВыгрузитьКолонку", {Value(0)});
  EXPECT_EQ(joined(amounts), "1|2|3");
  EXPECT_EQ(joined(codes), "a|b|c");

  // Rows beyond the array keep their values; elements beyond the rows are ignored.
  Fixture longer({{u"w", 7}, {u"x", 8}, {u"y", 9}, {u"z", 10}});
  longer.call(u"LoadColumn", {through_stream(amounts), Value(u"Amount")});
  longer.call(u"ЗагрузитьКолонку", {through_stream(codes), Value(0)});
  EXPECT_EQ(joined(longer.call(u"UnloadColumn", {Value(1)})), "1|2|3|10");
  EXPECT_EQ(longer.codes(), "abcz");
  Fixture shorter({{u"p", 5}});
  shorter.call(u"LoadColumn", {amounts, Value(u"amount")});
  EXPECT_EQ(joined(shorter.call(u"UnloadColumn", {Value(u"Amount")})), "1");

  // The unloaded array is a copy: changing it leaves the table alone.
  array_of(amounts)->setAt(0, Value(100));
  EXPECT_EQ(joined(t.call(u"UnloadColumn", {Value(u"Amount")})), "1|2|3");
  EXPECT_EQ(joined(Fixture().call(u"UnloadColumn", {Value(u"Code")})), "");
}

TEST(ValueTableScriptTest, ColumnLoadingRejectsItsArgumentsBeforeChangingAnything) {
  Fixture t({{u"a", 1}, {u"b", 2}});
  const Value values = array_value({Value(8), Value(9)});
  const struct {
    const char* what;
    std::vector<Value> args;
    const char* key;
  } loads[] = {
      {"a number for the array", {Value(1), Value(u"Amount")}, "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
      {"a row for the array", {t.call(u"Get", {Value(0)}), Value(u"Amount")}, "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
      {"no such column", {values, Value(u"Price")}, "IDS_ERR_VT_COLUMN_NOT_FOUND"},
      {"a position past the columns", {values, Value(3)}, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"a fractional position", {values, Value(0.5)}, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"a negative position", {values, Value(-1)}, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"a boolean column", {values, Value(true)}, "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
  };
  for (const auto& c : loads) {
    EXPECT_EQ(raised_key([&] { t.call(u"LoadColumn", c.args); }), c.key) << c.what;
    EXPECT_EQ(raised_key([&] { t.call(u"UnloadColumn", {c.args[1]}); }), c.args[1].equals(u"Amount") ? "" : c.key)
        << c.what;
  }
  EXPECT_EQ(joined(t.call(u"UnloadColumn", {Value(u"Amount")})), "1|2");
  EXPECT_EQ(t.codes(), "ab");
}

// Every line of `page` in table order, each line's children right after it when `deep`.
void walk(const core::ValueTablePage& page, bool deep, std::vector<core::LineIterator>& out) {
  for (std::uint32_t i = 0; i < page.size(); ++i) {
    core::LineIterator line = page.lineAt(i);
    out.push_back(line);
    if (deep && line->hasChild()) walk(line->children(), deep, out);
  }
}

void fill_randomly(core::ValueTablePage& page, const std::vector<std::int32_t>& columns, std::mt19937& random,
                   int depth) {
  // Few distinct values, so that filters of two or three conditions still find rows; the string "1" and
  // True must not be taken for the number 1.
  const Value pool[] = {Value(0), Value(1), Value(2), Value(u"1"), Value(true)};
  const int lines = static_cast<int>(random() % 6);
  for (int i = 0; i < lines; ++i) {
    core::LineIterator line = page.add();
    for (std::int32_t column : columns) line->set(column, pool[random() % (column == columns[1] ? 3 : 5)]);
    if (depth < 2 && random() % 3 == 0) fill_randomly(line->children(), columns, random, depth + 1);
  }
}

TEST(ValueTableScriptTest, FindRowsAgreesWithAScanOfEveryLine) {
  std::mt19937 random(8);
  const Value pool[] = {Value(0), Value(1), Value(2), Value(u"1"), Value(true)};
  std::size_t hits[2] = {0, 0};  // rows found without and with child lines, so the test cannot pass empty
  const char16_t* names[][2] = {{u"Code", u"cODE"}, {u"Amount", u"AMOUNT"}, {u"Note", u"note"}};
  for (int round = 0; round < 60; ++round) {
    InterfacePtr<ValueTable> table = core::create_value_table(true);
    std::vector<std::int32_t> columns;
    columns.push_back(table->table()->addColumn({u"Code", u"", {}, 0}, -1));
    columns.push_back(table->table()->addColumn({u"Amount", u"", kNumber, 0}, -1));
    columns.push_back(table->table()->addColumn({u"Note", u"", {}, 0}, -1));
    fill_randomly(table->table()->core(), columns, random, 0);
    for (int query = 0; query < 20; ++query) {
      // Conditions on random columns, named by code in either case or by position; a column may repeat.
      std::vector<Value> filter;
      std::vector<std::pair<std::int32_t, Value>> conditions;
      for (int n = static_cast<int>(random() % 4); n > 0; --n) {
        const unsigned column = random() % 3;
        const unsigned naming = random() % 3;
        filter.push_back(naming == 2 ? Value(column) : Value(names[column][naming]));
        filter.push_back(pool[random() % 5]);
        conditions.emplace_back(columns[column], filter.back());
      }
      for (const bool deep : {false, true}) {
        std::vector<core::LineIterator> lines;
        walk(table->table()->core(), deep, lines);
        std::vector<core::LineIterator> expected;
        for (const core::LineIterator& line : lines) {
          const bool hit = std::all_of(conditions.begin(), conditions.end(),
                                       [&](const auto& c) { return line->get(c.first).equals(c.second); });
          if (hit) expected.push_back(line);
        }
        hits[deep] += expected.size();
        const Value found = invoke(table.get(), u"FindRows", {array_value(filter), Value(deep)});
        auto rows = array_of(found);
        ASSERT_TRUE(rows != nullptr);
        ASSERT_EQ(rows->getCount(), expected.size()) << "round " << round << " query " << query << " deep " << deep;
        for (std::uint32_t i = 0; i < rows->getCount(); ++i) {
          core::ValueTableRow* row = core::value_table_row(rows->getAt(i)._getIValue());
          ASSERT_TRUE(row != nullptr);
          EXPECT_TRUE(row->owner() == table.get());
          EXPECT_TRUE(row->line() == expected[i]) << "round " << round << " query " << query << " row " << i;
        }
      }
    }
  }
  EXPECT_GT(hits[0], 0u);
  EXPECT_GT(hits[1], hits[0]);
}

TEST(ValueTableScriptTest, FindRowsRejectsMalformedFilters) {
  Fixture t({{u"a", 1}, {u"b", 2}});
  const struct {
    const char* what;
    std::vector<Value> args;
    const char* key;
  } cases[] = {
      {"a column without its value",
       {array_value({Value(u"Code"), Value(u"a"), Value(u"Amount")})},
       "IDS_ERR_VT_BAD_FILTER"},
      {"no such column", {array_value({Value(u"Price"), Value(1)})}, "IDS_ERR_VT_COLUMN_NOT_FOUND"},
      {"a position past the columns", {array_value({Value(3), Value(1)})}, "IDS_ERR_VT_INDEX_OUT_OF_RANGE"},
      {"a column given as a boolean", {array_value({Value(true), Value(1)})}, "IDS_ERR_VT_BAD_FILTER"},
      {"a string for the filter", {Value(u"Code")}, "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
      {"no filter", {Value()}, "IDS_ERR_PARAMETER_TYPE_MISMATCH"},
  };
  for (const auto& c : cases) EXPECT_EQ(raised_key([&] { t.call(u"FindRows", c.args); }), c.key) << c.what;
  // The flat form takes no flag and finds in the table's own level only.
  EXPECT_EQ(t.table->getNParams(t.table->findMethod(u"НайтиСтроки")), 1);
  const Value found = t.call(u"FindRows", {array_value({Value(u"amount"), Value(2)})});
  ASSERT_EQ(array_of(found)->getCount(), 1u);
  EXPECT_TRUE(array_of(found)->getAt(0).equals(t.call(u"Get", {Value(1)})));
  EXPECT_EQ(array_of(t.call(u"FindRows", {array_value({})}))->getCount(), 2u);
}

TEST(ValueTableScriptTest, InsertPlacesTheRowAndClearEmptiesTheTable) {
  Fixture t({{u"a", 1}, {u"b", 2}});
  set_prop(t.call(u"Insert", {Value(1)}), u"Code", Value(u"x"));
  set_prop(t.call(u"Вставить", {Value(3)}), u"Code", Value(u"y"));
  EXPECT_EQ(t.codes(), "axby");
  t.call(u"Очистить");
  EXPECT_EQ(t.count(), 0u);
  EXPECT_TRUE(t.call(u"Total", {Value(u"Amount")}).equals(0));
}

TEST(ValueTableScriptTest, HierarchicalFormTakesTheSubordinatesFlag) {
  InterfacePtr<ValueTable> table = core::create_value_table(true);
  const std::int32_t amount = table->table()->addColumn({u"Amount", u"", kNumber, 0}, -1);
  Value row = invoke(table.get(), u"Add");
  set_prop(row, u"Amount", Value(2));
  core::value_table_row(row._getIValue())->line()->children().add()->set(amount, Value(5));

  EXPECT_EQ(table->getNParams(table->findMethod(u"Find")), 3);
  EXPECT_TRUE(invoke(table.get(), u"Total", {Value(u"Amount")}).equals(2));
  EXPECT_TRUE(invoke(table.get(), u"Total", {Value(u"Amount"), Value(true)}).equals(7));
  EXPECT_TRUE(core::is_undefined_value(invoke(table.get(), u"Find", {Value(5)})));
  EXPECT_FALSE(core::is_undefined_value(invoke(table.get(), u"Find", {Value(5), Value(u""), Value(true)})));
}

TEST(ValueTableScriptTest, TablesAndRowsAreObjectValuesNamedByTheirType) {
  Fixture t({{u"a", 1}, {u"b", 2}});
  Value table(static_cast<core::IValue*>(t.table.get()));
  Value first = t.call(u"Get", {Value(0)});
  const struct {
    Value value;
    const char16_t* english;
    const char16_t* russian;
  } cases[] = {
      {table, u"ValueTable", u"ТаблицаЗначений"},
      {first, u"ValueTableRow", u"СтрокаТаблицыЗначений"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.value.type().getTypeCode(), core::Type::Object);
    avo::WString shown;
    EXPECT_TRUE(c.value.getString(shown));
    EXPECT_EQ(shown, c.english);
    core::set_thread_resource_language("ru");
    c.value.getString(shown);
    core::reset_thread_resource_language();
    EXPECT_EQ(shown, c.russian);
  }

  EXPECT_TRUE(first.equals(t.call(u"Get", {Value(0)})));
  EXPECT_EQ(first.hashCode(), t.call(u"Get", {Value(0)}).hashCode());
  EXPECT_FALSE(first.equals(t.call(u"Get", {Value(1)})));
  EXPECT_FALSE(first.equals(table));
  EXPECT_TRUE(table.equals(table));
  EXPECT_FALSE(table.equals(Value(static_cast<core::IValue*>(Fixture().table.get()))));

  Value made(core::Type(core::kValueTableTypeCLSID).ctor({}), core::adopt_ref);
  ASSERT_EQ(made.type(), table.type());
  EXPECT_TRUE(invoke(context_of(made).get(), u"Count").equals(0));
}

class TableDef : public testing_support::RefCountedStub<core::VTContextDefBase> {
 public:
  explicit TableDef(bool hierarchical) : hierarchical_(hierarchical) {}

 protected:
  bool useSubordinate() const override { return hierarchical_; }

 private:
  bool hierarchical_;
};

// What getParamDefValue gives, as text: "-" for no default, "U" for Undefined, else the value's string.
std::string defaults(core::IContextDef& def, int method) {
  std::string text;
  for (int param = 0; param < def.getNParams(method) + 1; ++param) {
    Value out(u"untouched");
    if (!def.getParamDefValue(method, param, &out)) {
      text += "-";
    } else if (core::is_undefined_value(out)) {
      text += "U";
    } else if (out.type().getTypeCode() == core::Type::Boolean) {
      text += out.equals(false) ? "F" : "T";
    } else {
      avo::WString shown;
      out.getString(shown);
      text += "'" + std::string(shown.begin(), shown.end()) + "'";
    }
  }
  return text;
}

TEST(VTContextDefTest, MethodsOfTheFlatAndTheHierarchicalTable) {
  struct Case {
    const char16_t* english;
    const char16_t* russian;
    int flatParams, treeParams;
    bool returns;
    const char* flatDefaults;  // one mark per parameter and one past the last
    const char* treeDefaults;
  };
  const Case cases[] = {
      {u"Count", u"Количество", 0, 0, true, "-", "-"},
      {u"IndexOf", u"Индекс", 1, 1, true, "--", "--"},
      {u"Add", u"Добавить", 0, 0, true, "-", "-"},
      {u"Insert", u"Вставить", 1, 1, true, "--", "--"},
      {u"Delete", u"Удалить", 1, 1, false, "--", "--"},
      {u"Clear", u"Очистить", 0, 0, false, "-", "-"},
      {u"Move", u"Сдвинуть", 2, 2, false, "---", "---"},
      {u"Find", u"Найти", 2, 3, true, "-''-", "-''F-"},
      {u"FindRows", u"НайтиСтроки", 1, 2, true, "--", "-F-"},
      {u"Total", u"Итог", 1, 2, true, "--", "-F-"},
      {u"Sort", u"Сортировать", 2, 3, false, "-U-", "-FU-"},
      {u"LoadColumn", u"ЗагрузитьКолонку", 2, 2, false, "---", "---"},
      {u"UnloadColumn", u"ВыгрузитьКолонку", 1, 1, true, "--", "--"},
      {u"Get", u"Получить", 1, 1, true, "--", "--"},
  };
  TableDef flat(false), tree(true);
  ASSERT_EQ(flat.getNMethods(), 14);
  for (int i = 0; i < 14; ++i) {
    const Case& c = cases[i];
    SCOPED_TRACE(i);
    EXPECT_EQ(std::u16string_view(flat.getMethodName(i, 0)), c.english);
    EXPECT_EQ(std::u16string_view(flat.getMethodName(i, 1)), c.russian);
    EXPECT_EQ(flat.getMethodName(i, 2), nullptr);
    EXPECT_EQ(flat.getNParams(i), c.flatParams);
    EXPECT_EQ(tree.getNParams(i), c.treeParams);
    EXPECT_EQ(flat.hasRetVal(i), c.returns);
    EXPECT_EQ(defaults(flat, i), c.flatDefaults);
    EXPECT_EQ(defaults(tree, i), c.treeDefaults);
    EXPECT_EQ(tree.findMethod(c.russian), i);
  }
  EXPECT_EQ(flat.getMethodName(14, 0), nullptr);
  EXPECT_EQ(flat.findMethod(u"findrows"), 8);
  EXPECT_EQ(flat.findMethod(u"НАЙТИСТРОКИ"), 8);
  EXPECT_EQ(flat.findMethod(u"FindRow"), -1);
}

}  // namespace
