#pragma once
// The tables of `kern table`: value tables made from CSV columns, the values of CSV cells, and the two
// ends rows go to (a table that keeps them, or a grouping that totals them as they come).
//
//     kern::table::TablePtr table = kern::table::make_table({"id", "amount"});
//     kern::table::CellMaker cells(2);                  // values for two columns
//     kern::table::Collector rows(table);
//     std::vector<core::Value> row{cells.make("1", 0), cells.make("12.50", 1)};
//     rows.add(row);                                   // the table has a row 1, 12.5
//
// A column takes its CSV name as its title, and as its code (the name options find it by, without
// regard to case) when the name is an identifier that no earlier column has; other columns have no code
// and options cannot name them.
//
// Thread safety: one thread at a time.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/Numeric.h"
#include "core/Value.h"
#include "core/ValueTableScript.h"

namespace kern::table {

using TablePtr = core::InterfacePtr<core::ValueTable>;

// A failure of the run: the exit status and the message (without the "kern: " prefix).
struct Failure {
  int status;
  std::string message;
};

// A new table with one untyped column per name (UTF-8), in order.
TablePtr make_table(const std::vector<std::string>& names);
// The titles of the table's columns in visible order, as UTF-8.
std::vector<std::string> column_names(const core::ValueTableBase& table);
// Keeps the table alive until the process exits. The process ends right after its result is written,
// and freeing a million lines one by one takes longer than sorting them; the tables stay reachable from
// a static list, so that leak checkers do not count them.
void keep_until_exit(TablePtr table);
// The visible position of the column with this code (any case); throws Failure (status 1) naming
// `option` when there is none, and saying why when a column has the name as its title only.
std::uint32_t column_position(const core::ValueTableBase& table, std::string_view name, const char* option);

// The values of CSV cells: a Number when the text is a plain decimal number (csv::is_plain_decimal),
// otherwise a String. The text must be well-formed UTF-8, and a number must be followed by a byte that
// ends it (csv::Reader's fields are).
//
// Values are immutable, so a column whose cells repeat (a group, a quantity) shares one value per text:
// each column remembers up to 16,384 texts and their values, and stops looking when after 16,384 cells
// fewer than a quarter were shared (ids, amounts, names), so such columns cost a hash per cell only that
// long.
class CellMaker {
 public:
  explicit CellMaker(std::size_t columns) : columns_(columns) {}
  core::Value make(std::string_view text, std::size_t column);
  // The value of `text`, made anew.
  core::Value make(std::string_view text);

 private:
  struct Entry {
    std::uint64_t hash;
    std::string text;
    core::Value value;
  };
  struct Column {
    // Open addressing over `entries`: the top half of the text's hash and the entry's number plus one,
    // or 0 for a free slot; kept at most half full.
    std::vector<std::uint64_t> slots;
    std::vector<Entry> entries;
    std::uint32_t lookups = 0;
    std::uint32_t hits = 0;
    bool off = false;
  };
  static void grow(Column& column);

  std::vector<Column> columns_;
  std::u16string utf16_;
};

// `COL=VALUE` of --find as a test on cell text: a cell matches when the value the cell becomes equals
// the value VALUE becomes, as the table's find compares them (numbers by value, strings exactly).
class CellMatch {
 public:
  explicit CellMatch(const std::string& wanted);
  bool operator()(std::string_view cell) const;
  // VALUE as a cell value, for finding in a table.
  const core::Value& value() const noexcept { return value_; }

 private:
  bool number_;
  std::string text_;
  core::Numeric numeric_;
  core::Value value_;
};

// Where rows go. Each row holds one value per column of the receiving table, in its visible order; the
// table takes its own references, so the caller may fill the same vector again.
class RowSink {
 public:
  virtual ~RowSink() = default;
  virtual void add(const std::vector<core::Value>& row) = 0;
};

// Appends the rows to a table.
class Collector final : public RowSink {
 public:
  explicit Collector(TablePtr table) : table_(std::move(table)) {}
  void add(const std::vector<core::Value>& row) override;
  const TablePtr& table() const noexcept { return table_; }

 private:
  TablePtr table_;
};

// Groups the rows as they come: the table's first `groups` columns are the group columns and the rest
// the total columns. The table is grouped each time it has doubled since the last grouping, so it holds
// at most about twice the rows the result has (and 65,536 at least) and the work stays linear. Groups
// keep the order of their first row, and totals are the table's exact sums, so the result is the one
// grouping all rows at once gives.
class Grouper final : public RowSink {
 public:
  Grouper(TablePtr table, std::size_t groups);
  void add(const std::vector<core::Value>& row) override;
  // Groups what is left; the table is the result.
  const TablePtr& finish();

 private:
  void group();

  TablePtr table_;
  std::vector<std::int32_t> groupIDs_;
  std::vector<std::int32_t> totalIDs_;
  std::uint32_t limit_;
};

}  // namespace kern::table
