// kern table: exact CSV work on value tables. The manual is kManual below (`kern table --help`).
//
// The steps run on the library's value tables: the sort is the script method Sort with the user's text,
// grouping is the table's groupBy, find on a saved table is its findRows. Two shortcuts keep a million
// rows fast and small without changing a result:
//  - --find on CSV input tests each record's cell text before any value is made (CellMatch compares as
//    the table's find does), so rows that are not kept cost no values;
//  - --group-by without --sort groups the rows as they are read (Grouper), keeping only the group and
//    total columns, so memory follows the number of groups and not the number of rows.
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Command.h"
#include "Csv.h"
#include "TableFiles.h"
#include "TableModel.h"
#include "TableOutput.h"
#include "core/Exception.h"

namespace kern::table {
namespace {

constexpr const char* kManual = R"(
Synopsis:
  kern table (--csv FILE | --load FILE) [--find COL=VALUE] [--sort "COL [DESC|ASC], ..."]
             [--group-by COLS] [--total COLS] [--format text|csv] [--save FILE]

Reads a table, keeps the rows --find selects, sorts them, groups them and prints the result or saves it.
The steps run in this order: find, sort, group-by.

Input:
  --csv FILE   RFC 4180 CSV in UTF-8; "-" reads standard input. A UTF-8 byte-order mark is skipped,
               records end with CRLF or LF, a quoted field may hold commas and line breaks and writes a
               quotation mark as "", empty lines are skipped. The first record names the columns; every
               other record must have as many fields.
  --load FILE  a table written by --save; "-" reads standard input.

Cells: a cell that is a plain decimal number - an optional "-", digits, and optionally "." and digits
(12, -0.50, 007) - is a number, kept exactly; any other cell (" 12", "+1", ".5", "1e3", "1,5", the empty
cell) is a string. Each cell is typed on its own, so one column may hold both.

Columns: options name them as the header does, without regard to case. A name that is not an identifier
(letters, digits and "_", not starting with a digit) or that repeats an earlier name cannot be named;
its column is still printed and saved.

Steps:
  --find COL=VALUE  keeps the rows whose COL equals VALUE, VALUE typed as a cell: amount=1.50 finds 1.5
                    and 1.500; name=Ann finds the string "Ann" exactly (no case folding, no trimming).
  --sort TEXT       TEXT is "COL [DESC|ASC], ..." (the keywords in any case, also Убыв and Возр),
                    ascending by default. The sort is stable. Numbers come before strings; numbers
                    compare by value, strings by UTF-16 code units (not by language).
  --group-by COLS   COLS are names separated by commas. One row per distinct combination of their
                    values, in order of first appearance: the group columns, then the --total columns.
  --total COLS      the columns to sum, exactly. A string cell adds the number the library reads in it
                    (" 12", "+1", ".5" and "5." do; "1e3", "1,5" and "abc" add nothing). Without
                    --group-by all rows form one group (and no row is left when none was).

Output:
  --format text     (the default) an aligned table: widths in characters, numbers right-aligned; line
                    breaks and tabs inside a cell show as spaces.
  --format csv      RFC 4180: the names first, CRLF line ends, fields with , " CR or LF quoted, numbers in
                    canonical text (-0.50 prints -0.5).
  --save FILE       writes the result as list-stream text instead of printing ("-": standard output):
                    {1,{"name",...},{the value table's block}}. The file is written under a temporary
                    name and renamed at the end, so a run that fails leaves it as it was.

Limits: fewer than 2^32 rows. Memory: the rows kept (about 400 bytes per row of five short cells), except
that --group-by without --sort keeps only the groups and at most 65,536 rows waiting to join them.

Exit status: 0 done; 1 bad data or failed input/output (an unknown column, a malformed sort text, a record
with too many or too few fields, invalid UTF-8, a malformed quoted field, a file that cannot be read or
written); 2 a malformed command line. Messages are one line on standard error starting with "kern: ";
data errors name the line of the record.

Examples:
  kern table --csv sales.csv --group-by region --total amount,qty
  kern table --csv sales.csv --find region=North --sort "amount DESC, name" --format csv
  kern table --csv sales.csv --save sales.ls && kern table --load sales.ls --find amount=12.5
)";

struct Options {
  std::string csv, load, find, sort, groupBy, total, format = "text", save;
  CLI::Option *csvGiven = nullptr, *loadGiven = nullptr, *findGiven = nullptr, *sortGiven = nullptr,
              *saveGiven = nullptr;
};

// What the options ask for, checked for form.
struct Plan {
  bool find = false;
  std::string findColumn, findValue;
  bool sort = false;
  std::string sortText;
  std::vector<std::string> groups, totals;
  bool grouping() const { return !groups.empty() || !totals.empty(); }
};

// The plan's columns in one table: positions.
struct Columns {
  std::uint32_t find = 0;
  std::vector<std::uint32_t> grouped;  // the group columns, then the total columns
};

std::vector<std::string> name_list(const std::string& text, const char* option) {
  std::vector<std::string> names;
  if (text.empty()) return names;
  for (std::size_t from = 0;;) {
    const std::size_t comma = std::min(text.find(',', from), text.size());
    const std::size_t first = text.find_first_not_of(" \t", from);
    const std::size_t last = text.find_last_not_of(" \t", comma - 1);
    if (first >= comma || last == std::string::npos || last < first) {
      throw Failure{2, std::string(option) + ": an empty name in \"" + text + "\""};
    }
    names.push_back(text.substr(first, last - first + 1));
    if (comma == text.size()) return names;
    from = comma + 1;
  }
}

Plan make_plan(const Options& options) {
  if ((options.csvGiven->count() > 0) == (options.loadGiven->count() > 0)) {
    throw Failure{2, "one of --csv FILE and --load FILE is required"};
  }
  Plan plan;
  if (options.findGiven->count() > 0) {
    const std::size_t equals = options.find.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw Failure{2, "--find takes COL=VALUE, not \"" + options.find + "\""};
    }
    plan.find = true;
    plan.findColumn = options.find.substr(0, equals);
    plan.findValue = options.find.substr(equals + 1);
  }
  plan.sort = options.sortGiven->count() > 0;
  plan.sortText = options.sort;
  plan.groups = name_list(options.groupBy, "--group-by");
  plan.totals = name_list(options.total, "--total");
  return plan;
}

std::vector<std::string> names_at(const std::vector<std::string>& names, const std::vector<std::uint32_t>& at) {
  std::vector<std::string> picked;
  for (std::uint32_t position : at) picked.push_back(names[position]);
  return picked;
}

void sort_table(core::ValueTable& table, const std::string& text) {
  core::Value order(avo::from_utf8(text));
  try {
    table.call(core::VTContextDefBase::kSort, nullptr, {&order});
  } catch (const core::Exception& e) {
    throw Failure{1, std::string("--sort: ") + e.what()};
  }
}

Columns resolve(const Plan& plan, const core::ValueTableBase& table) {
  Columns columns;
  if (plan.find) columns.find = column_position(table, plan.findColumn, "--find");
  for (const std::string& name : plan.groups) {
    columns.grouped.push_back(column_position(table, name, "--group-by"));
  }
  for (const std::string& name : plan.totals) {
    columns.grouped.push_back(column_position(table, name, "--total"));
  }
  for (std::size_t i = 0; i < columns.grouped.size(); ++i) {
    for (std::size_t k = 0; k < i; ++k) {
      if (columns.grouped[k] != columns.grouped[i]) continue;
      const std::string& name = i < plan.groups.size() ? plan.groups[i] : plan.totals[i - plan.groups.size()];
      throw Failure{2, "--group-by, --total: the column \"" + name + "\" is named twice"};
    }
  }
  // The sort text is checked on an empty table with the same columns before any row is read.
  if (plan.sort) sort_table(*make_table(column_names(table)), plan.sortText);
  return columns;
}

// Adds the values of `lines` at the positions to `sink`, one row per line.
template <class Lines>
void feed(const core::ValueTableBase& table, const Lines& lines, const std::vector<std::uint32_t>& positions,
          RowSink& sink) {
  std::vector<std::uint32_t> slots;
  for (std::uint32_t position : positions) slots.push_back(table.core().columnAt(position).slot());
  std::vector<core::Value> row;
  for (const core::LineIterator& line : lines) {
    row.clear();
    for (std::uint32_t slot : slots) row.push_back(line->getAtPos(slot));
    sink.add(row);
  }
}

// The rows of a table as a range of line iterators.
struct AllLines {
  const core::ValueTableBase& table;
  struct Iterator {
    core::LineIterator line;
    const core::LineIterator& operator*() const { return line; }
    Iterator& operator++() {
      ++line;
      return *this;
    }
    bool operator!=(const Iterator&) const { return line.valid(); }
  };
  Iterator begin() const { return {table.core().lineAt(0)}; }
  Iterator end() const { return {}; }
};

std::vector<std::uint32_t> all_positions(std::size_t count) {
  std::vector<std::uint32_t> positions(count);
  for (std::uint32_t i = 0; i < count; ++i) positions[i] = i;
  return positions;
}

// Sorts and groups a table that holds the rows --find kept.
TablePtr sort_and_group(TablePtr table, const Plan& plan, const Columns& columns) {
  keep_until_exit(table);
  if (plan.sort) sort_table(*table, plan.sortText);
  if (!plan.grouping()) return table;
  const core::ValueTableBase& base = *table->table();
  Grouper grouper(make_table(names_at(column_names(base), columns.grouped)), plan.groups.size());
  feed(base, AllLines{base}, columns.grouped, grouper);
  return grouper.finish();
}

// Reads the records after the header into `sink`: the values at `positions` of each record --find keeps.
void read_rows(csv::Reader& reader, const std::string& label, std::size_t width, const Plan& plan,
               const Columns& columns, const std::vector<std::uint32_t>& positions, RowSink& sink) {
  std::optional<CellMatch> match;
  if (plan.find) match.emplace(plan.findValue);
  CellMaker cells(width);
  std::vector<core::Value> row;
  while (reader.next()) {
    if (reader.size() != width) {
      throw Failure{1, label + ": line " + std::to_string(reader.line()) + ": " + std::to_string(reader.size()) +
                           (reader.size() == 1 ? " field" : " fields") + " where the header has " +
                           std::to_string(width)};
    }
    if (match && !(*match)(reader.field(columns.find))) continue;
    for (std::uint32_t position : positions) row.push_back(cells.make(reader.field(position), position));
    sink.add(row);
    row.clear();
  }
}

TablePtr from_csv(const std::string& path, const Plan& plan) {
  const std::string label = file_label(path, false);
  try {
    csv::FileSource source(path);
    csv::Reader reader(source);
    if (!reader.next()) throw Failure{1, label + ": no header record (the input is empty)"};
    std::vector<std::string> names;
    for (std::size_t i = 0; i < reader.size(); ++i) names.emplace_back(reader.field(i));
    TablePtr table = make_table(names);
    const Columns columns = resolve(plan, *table->table());
    if (plan.grouping() && !plan.sort) {  // grouped as the rows come: no sort needs them all first
      Grouper grouper(make_table(names_at(names, columns.grouped)), plan.groups.size());
      read_rows(reader, label, names.size(), plan, columns, columns.grouped, grouper);
      return grouper.finish();
    }
    Collector collector(table);
    read_rows(reader, label, names.size(), plan, columns, all_positions(names.size()), collector);
    return sort_and_group(table, plan, columns);
  } catch (const csv::Error& e) {
    const std::string where = e.line() > 0 ? ": line " + std::to_string(e.line()) : "";
    throw Failure{1, label + where + ": " + e.what()};
  }
}

TablePtr from_saved(const std::string& path, const Plan& plan) {
  TablePtr table = load_table(path);
  const core::ValueTableBase& base = *table->table();
  const Columns columns = resolve(plan, base);
  if (plan.find) {
    const CellMatch match(plan.findValue);
    const std::vector<core::LineIterator> found = base.findRows({{base.columnID(columns.find), match.value()}}, false);
    Collector kept(make_table(column_names(base)));
    feed(base, found, all_positions(base.columnCount()), kept);
    keep_until_exit(table);
    table = kept.table();
  }
  return sort_and_group(table, plan, columns);
}

void execute(const Options& options) {
  const Plan plan = make_plan(options);
  const TablePtr result = options.csvGiven->count() > 0 ? from_csv(options.csv, plan) : from_saved(options.load, plan);
  keep_until_exit(result);
  if (options.saveGiven->count() > 0) return save_table(*result->table(), options.save);
  Output out(1, file_label("-", true));
  if (options.format == "csv") {
    write_csv(*result->table(), out);
  } else {
    write_text(*result->table(), out);
  }
}

int run(const Options& options) {
  try {
    execute(options);
    return 0;
  } catch (const Failure& failure) {
    std::cerr << "kern: " << failure.message << "\n";
    return failure.status;
  } catch (const core::Exception& e) {
    std::cerr << "kern: " << e.what() << "\n";
  } catch (const std::bad_alloc&) {
    std::cerr << "kern: out of memory\n";
  }
  return 1;
}

void setup(CLI::App& app, int& exitCode) {
  static Options options;
  CLI::App* table = app.add_subcommand("table", "Exact CSV work on value tables: find, sort, group and total");
  options.csvGiven =
      table->add_option("--csv", options.csv, "RFC 4180 CSV in UTF-8 (\"-\": standard input)")->type_name("FILE");
  options.loadGiven = table->add_option("--load", options.load, "A table saved by --save (\"-\": standard input)")
                          ->type_name("FILE")
                          ->excludes(options.csvGiven);
  options.findGiven =
      table->add_option("--find", options.find, "Keep the rows where COL equals VALUE")->type_name("COL=VALUE");
  options.sortGiven =
      table->add_option("--sort", options.sort, "A stable sort by the columns")->type_name("\"COL [DESC|ASC], ...\"");
  table->add_option("--group-by", options.groupBy, "One row per distinct combination of their values")
      ->type_name("COLS");
  table->add_option("--total", options.total, "The columns summed per group")->type_name("COLS");
  CLI::Option* format = table->add_option("--format", options.format, "text (the default) or csv")
                            ->type_name("FORMAT")
                            ->check(CLI::IsMember({"text", "csv"}));
  options.saveGiven =
      table->add_option("--save", options.save, "Write the result as a list stream instead (\"-\": standard output)")
          ->type_name("FILE")
          ->excludes(format);
  table->footer(kManual);
  table->callback([&exitCode] { exitCode = run(options); });
}

}  // namespace
}  // namespace kern::table

static kern::CommandRegistration registration{"table", &kern::table::setup};
