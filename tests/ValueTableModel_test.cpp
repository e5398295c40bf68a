// Value tables against a vector of rows doing the same random work: inserts, erases, moves, sorts and
// group-bys, at leaf sizes from 2 to 2000, with values of every kind the sort keys tell apart.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "core/Numeric.h"
#include "core/ValueTableBase.h"

namespace {

using core::LineIterator;
using core::Numeric;
using core::Value;

constexpr std::uint32_t kColumns = 3;

struct Row {
  std::int32_t id;
  std::vector<Value> values;
};

Numeric number(const char* text) {
  Numeric made;
  made.fromString(text);
  return made;
}

// Values that meet every path of the sort keys: numbers inside and outside the exact 128-bit range, with
// many equal ones; strings shorter and longer than a key word, sharing prefixes, holding U+0000; and
// the other kinds.
Value random_value(std::mt19937& random) {
  static const Value kFew[] = {
      Value(number("0.01")),
      Value(number("-0.01")),
      Value(number("999999999999999999.999999999999999999")),
      Value(number("1000000000000000000")),    // an integer part too long for a key word
      Value(number("0.0000000000000000001")),  // a fraction too long
      Value(number("-123456789012345678901234567890")),
      Value(u"abcdefgh"),
      Value(u"abcdefghi"),
      Value(std::u16string_view(u"abcdefgh\0", 9)),
      Value(u"abc"),
      Value(std::u16string_view(u"ab\0c", 4)),
      Value(u""),
      Value(u"\u00e9t\u00e9"),
      Value(true),
      Value(false),
      Value(),
  };
  switch (random() % 3) {
    case 0:
      return kFew[random() % std::size(kFew)];
    case 1:
      return Value(static_cast<int>(random() % 21) - 10);
    default: {
      const std::string cents = std::to_string(random() % 2000) + "." + std::to_string(random() % 100);
      return Value(number(cents.c_str()));
    }
  }
}

class TableModel {
 public:
  explicit TableModel(std::uint32_t pageSize) : table_(new core::ValueTableBase(pageSize)) {
    for (std::uint32_t c = 0; c < kColumns; ++c) ids_.push_back(table_->addColumn(core::VTColumnInfo{}, -1));
  }

  core::ValueTableCore& core() { return table_->core(); }
  std::size_t size() const { return rows_.size(); }

  void insert(std::uint32_t index, std::mt19937& random) {
    std::vector<Value> values;
    for (std::uint32_t c = 0; c < kColumns; ++c) values.push_back(random_value(random));
    LineIterator made = core().insert(index, values);
    rows_.insert(rows_.begin() + index, Row{made->id(), values});
  }
  void erase(std::uint32_t index) {
    core().erase(index);
    rows_.erase(rows_.begin() + index);
  }
  void move(std::uint32_t from, std::uint32_t to) {
    core().moveLine(from, to);
    Row row = rows_[from];
    rows_.erase(rows_.begin() + from);
    rows_.insert(rows_.begin() + to, row);
  }
  void sort(const std::vector<std::pair<std::uint32_t, bool>>& keys) {
    std::vector<core::VTSortParam> params;
    for (const auto& [column, descending] : keys) params.push_back({ids_[column], descending});
    table_->sortTable(params, false, nullptr);
    std::stable_sort(rows_.begin(), rows_.end(), [&](const Row& a, const Row& b) {
      for (const auto& [column, descending] : keys) {
        const int order = core::compare_table_values(a.values[column], b.values[column]);
        if (order != 0) return descending ? order > 0 : order < 0;
      }
      return false;
    });
  }
  // Groups by `group`, totalling `total`; the third column is cleared.
  void groupBy(std::uint32_t group, std::uint32_t total) {
    core().groupBy({ids_[group]}, {ids_[total]});
    std::vector<Row> groups;
    std::vector<Numeric> sums;
    for (const Row& row : rows_) {
      auto found = std::find_if(groups.begin(), groups.end(),
                                [&](const Row& g) { return g.values[group].equals(row.values[group]); });
      if (found == groups.end()) {
        groups.push_back(row);
        sums.emplace_back();
        found = groups.end() - 1;
      }
      Numeric amount;
      if (row.values[total].getNumeric(amount)) sums[found - groups.begin()] += amount;
    }
    for (std::size_t g = 0; g < groups.size(); ++g) {
      for (std::uint32_t c = 0; c < kColumns; ++c) {
        if (c != group) groups[g].values[c] = c == total ? Value(sums[g]) : Value();
      }
    }
    rows_ = std::move(groups);
  }

  // Every line where the model has it, knowing its index, with its values; every leaf within the page size.
  void expectMatches(std::uint32_t pageSize) {
    ASSERT_EQ(core().size(), rows_.size());
    std::uint32_t index = 0;
    for (LineIterator line = core().lineAt(0); line.valid(); ++line, ++index) {
      ASSERT_LT(index, rows_.size());
      ASSERT_EQ(line->id(), rows_[index].id) << index;
      ASSERT_EQ(line->index(), index);
      ASSERT_LE(line.page()->linesCount(), pageSize);
      for (std::uint32_t c = 0; c < kColumns; ++c) {
        ASSERT_TRUE(line->getAt(c).equals(rows_[index].values[c])) << "row " << index << " column " << c;
      }
    }
    ASSERT_EQ(index, rows_.size());
  }

 private:
  core::InterfacePtr<core::ValueTableBase> table_;
  std::vector<std::int32_t> ids_;
  std::vector<Row> rows_;
};

TEST(ValueTableModel, RandomWorkMatchesAVectorOfRows) {
  for (const std::uint32_t pageSize : {2u, 3u, 7u, 2000u}) {
    SCOPED_TRACE(pageSize);
    TableModel model(pageSize);
    std::mt19937 random(pageSize);
    const std::uint32_t typical = pageSize == 2000 ? 5000 : 300;
    for (std::uint32_t i = 0; i < typical; ++i) model.insert(static_cast<std::uint32_t>(model.size()), random);
    for (int step = 0; step < 1200; ++step) {
      const auto size = static_cast<std::uint32_t>(model.size());
      const std::uint32_t op = random() % 100;
      if (op < 40 || size < 10) {
        model.insert(static_cast<std::uint32_t>(random() % (size + 1)), random);
      } else if (op < 80) {
        model.erase(static_cast<std::uint32_t>(random() % size));
      } else if (op < 92) {
        model.move(static_cast<std::uint32_t>(random() % size), static_cast<std::uint32_t>(random() % size));
      } else if (op < 99) {
        std::vector<std::pair<std::uint32_t, bool>> keys;
        for (std::uint32_t k = 0, n = 1 + random() % 3; k < n; ++k)
          keys.emplace_back(random() % kColumns, random() % 2);
        model.sort(keys);
      } else {
        const std::uint32_t group = random() % kColumns;
        model.groupBy(group, (group + 1 + random() % 2) % kColumns);
      }
      if (step % 100 == 0 || op >= 92) {
        SCOPED_TRACE(step);
        ASSERT_NO_FATAL_FAILURE(model.expectMatches(pageSize));
      }
    }
  }
}

// Totals stay exact past the range of the 128-bit running sum, and a group of one line still totals
// to a number when its value is not one.
TEST(ValueTableModel, GroupTotalsAreExactAndAlwaysNumbers) {
  core::ValueTableCore table(7);
  table.addColumn(-1, {});
  table.addColumn(-1, {});
  const Numeric huge = number("999999999999999999.999999999999999999");
  Numeric expected;
  for (int i = 0; i < 1500; ++i) {
    const Numeric amount = i % 3 == 0 ? -huge : huge;
    table.add({Value(1), Value(amount)});
    expected += amount;
  }
  table.add({Value(2), Value(u"5")});     // a string that reads as a number
  table.add({Value(3), Value(u"five")});  // one that does not
  table.add({Value(4), Value(number("1e3"))});
  const LineIterator merged = table.lineAt(1);  // held: it leaves the table with its values
  table.groupBy({0}, {1});
  EXPECT_FALSE(merged.valid());
  EXPECT_TRUE(merged->getAtPos(1).equals(huge));
  ASSERT_EQ(table.size(), 4u);
  EXPECT_TRUE(table.lineAt(0)->get(1).equals(expected));
  EXPECT_TRUE(table.lineAt(1)->get(1).equals(5));
  EXPECT_TRUE(table.lineAt(2)->get(1).equals(0));
  EXPECT_TRUE(table.lineAt(3)->get(1).equals(1));  // "1e3" reads as 1: no exponents
}

}  // namespace
