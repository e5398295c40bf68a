// Value tables at a million rows against the containers C++ code would otherwise keep rows in: a
// std::vector and a std::deque of rows (std::vector<Value>) holding the same values. bench/table_pandas.py
// asks the grouping, sorting and memory questions of pandas on the same data; `bench/run tables` runs
// both and writes their figures into docs/PERFORMANCE.md.
//
//     cmake --preset bench && cmake --build --preset bench -j2 --target ValueTable_bench
//     build/bench/bench/ValueTable_bench --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
//
// The data: kRows rows of 5 columns, Id (the row number), Group (0 to 999), Amount and Amount2 (amounts of
// 0.00 to 99999.99, each made from its decimal text) and Name (8 letters a to z). The draws come from a
// 64-bit LCG seeded with 42, taken per row in the order Group, Amount, Amount2, the 8 letters; the pandas
// script draws the same numbers in the same order. The values are made once: every container holds
// handles to the same value objects, so the containers differ only in how they hold them.
//
// Whole-table operations report ms and run a fixed few iterations. Group and sort change the table they
// work on, so each iteration works on a fresh copy made (and destroyed) with the timer paused. Random
// positions come from pre-drawn lists, so that every container sees the same positions.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/Numeric.h"
#include "core/Value.h"
#include "core/ValueTableBase.h"
#include "core/ValueTableDS.h"
#include "core/ValueTableStorage.h"
#include "nexa/Memory.h"

namespace {

using core::Value;
using Row = std::vector<Value>;
using Table = core::InterfacePtr<core::ValueTableBase>;

constexpr std::uint32_t kRows = 1000000;
enum Column : std::uint32_t { kId, kGroup, kAmount, kAmount2, kName, kColumns };

// A whole-table iteration takes 0.1 to 2 s: three of them per repetition.
void whole_table(benchmark::internal::Benchmark* b) { b->Unit(benchmark::kMillisecond)->Iterations(3); }
// A sort takes seconds: two iterations, run once whatever --benchmark_repetitions says, so that the run
// stays within a few minutes.
void sort_runs(benchmark::internal::Benchmark* b) { b->Unit(benchmark::kMillisecond)->Iterations(2)->Repetitions(1); }

// ---- Shared data ---------------------------------------------------------------------------------------

struct Lcg {
  std::uint64_t state;
  std::uint64_t next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return state >> 33;
  }
};

// What the heap holds for the whole process: the std containers (the peers' rows) allocate through
// std::allocator, which the nexa counters do not see, so this is the measure both sides are given.
std::uint64_t heap_bytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

std::uint64_t nexa_live_bytes() { return nexa::thread_allocated_bytes() - nexa::thread_freed_bytes(); }

Value amount_value(std::uint64_t cents) {
  char text[32];
  std::snprintf(text, sizeof text, "%llu.%02llu", static_cast<unsigned long long>(cents / 100),
                static_cast<unsigned long long>(cents % 100));
  return Value(core::Numeric().fromString(text));
}

struct Source {
  std::vector<Row> rows;
  std::uint64_t valueHeapBytes = 0;  // kept by the value objects alone
  std::uint64_t valueNexaBytes = 0;
  std::string check;  // sums and a name the pandas script prints too, to show the data is the same
};

const Source& source() {
  static const Source made = [] {
    Source s;
    std::vector<Value> values;
    values.reserve(std::size_t{kRows} * kColumns);  // before the count: only the value objects are measured
    const std::uint64_t heap = heap_bytes(), nexa = nexa_live_bytes();
    Lcg lcg{42};
    std::uint64_t groups = 0, cents = 0, cents2 = 0;
    char16_t name[8];
    for (std::uint32_t i = 0; i < kRows; ++i) {
      const std::uint64_t group = lcg.next() % 1000, amount = lcg.next() % 10000000, amount2 = lcg.next() % 10000000;
      for (char16_t& letter : name) letter = static_cast<char16_t>(u'a' + lcg.next() % 26);
      values.emplace_back(static_cast<int>(i));
      values.emplace_back(static_cast<int>(group));
      values.push_back(amount_value(amount));
      values.push_back(amount_value(amount2));
      values.emplace_back(std::u16string_view(name, 8));
      groups += group, cents += amount, cents2 += amount2;
    }
    s.valueHeapBytes = heap_bytes() - heap;
    s.valueNexaBytes = nexa_live_bytes() - nexa;
    s.rows.reserve(kRows);
    for (std::size_t i = 0; i < kRows; ++i) {
      s.rows.emplace_back(values.begin() + i * kColumns, values.begin() + (i + 1) * kColumns);
    }
    s.check = "Group sum " + std::to_string(groups) + ", Amount cents " + std::to_string(cents) + ", Amount2 cents " +
              std::to_string(cents2) + ", last Name " + std::string(name, name + 8);
    return s;
  }();
  return made;
}

const std::vector<Row>& rows() { return source().rows; }

// Positions below `bound`, uniform (up to a bias of 1 in 2000 from the modulo), from a stream of their own.
std::vector<std::uint32_t> random_positions(std::uint32_t bound, std::uint64_t seed) {
  Lcg lcg{seed};
  std::vector<std::uint32_t> made(1 << 16);
  for (auto& position : made) position = static_cast<std::uint32_t>(lcg.next() % bound);
  return made;
}

template <class Kind = core::ValueTableBase>
core::InterfacePtr<Kind> empty_table() {
  const core::TypeDomainPattern number{core::Type(core::Type::Number)};
  const core::TypeDomainPattern string{core::Type(core::Type::String)};
  core::InterfacePtr<Kind> table(new Kind());
  for (const char16_t* code : {u"Id", u"Group", u"Amount", u"Amount2"}) table->addColumn({code, code, number, 0}, -1);
  table->addColumn({u"Name", u"Name", string, 0}, -1);
  return table;
}

template <class Kind = core::ValueTableBase>
core::InterfacePtr<Kind> filled_table() {
  core::InterfacePtr<Kind> table = empty_table<Kind>();
  for (const Row& row : rows()) table->core().add(row);
  return table;
}

// Never changed: walked, read and copied by the benchmarks below. Kept for the whole run.
const core::ValueTableBase& shared_table() {
  static const Table table = filled_table();
  return *table;
}

template <class Rows>
const Rows& shared_rows() {
  static const Rows made(rows().begin(), rows().end());
  return made;
}

// ---- Building: rows copied from the made rows, then the container destroyed ----------------------------
// Table: core().add(row) per row. Vector: reserve, then push_back(row). Deque: push_back(row).

void BM_Build_ValueTable(benchmark::State& state) {
  const auto& made = rows();  // the first call makes them: not to be timed
  for (auto _ : state) {
    Table table = empty_table();
    for (const Row& row : made) table->core().add(row);
    benchmark::DoNotOptimize(table->getRowCount());
  }
}
BENCHMARK(BM_Build_ValueTable)->Apply(whole_table);

template <class Rows>
void BM_Build_Peer(benchmark::State& state) {
  const auto& from = rows();
  for (auto _ : state) {
    Rows made;
    if constexpr (requires { made.reserve(kRows); }) made.reserve(kRows);
    for (const Row& row : from) made.push_back(row);
    benchmark::DoNotOptimize(made.size());
  }
}
BENCHMARK(BM_Build_Peer<std::vector<Row>>)->Apply(whole_table);
BENCHMARK(BM_Build_Peer<std::deque<Row>>)->Apply(whole_table);

// ---- Walking every row, copying out every value --------------------------------------------------------
// Table: a LineIterator from line 0, it[position] for each column, ++it. Peers: range-for over the rows.

void BM_Walk_ValueTable(benchmark::State& state) {
  const core::ValueTableCore& table = shared_table().core();
  for (auto _ : state) {
    for (core::LineIterator it = table.lineAt(0); it.valid(); ++it) {
      for (std::uint32_t c = 0; c < kColumns; ++c) {
        Value value = it[c];
        benchmark::DoNotOptimize(value);
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_Walk_ValueTable)->Unit(benchmark::kMillisecond);

template <class Rows>
void BM_Walk_Peer(benchmark::State& state) {
  const Rows& made = shared_rows<Rows>();
  for (auto _ : state) {
    for (const Row& row : made) {
      for (const Value& cell : row) {
        Value value = cell;
        benchmark::DoNotOptimize(value);
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_Walk_Peer<std::vector<Row>>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Walk_Peer<std::deque<Row>>)->Unit(benchmark::kMillisecond);

// ---- A row by number, reading its first value ----------------------------------------------------------
// Table: core().lineAt(i)[0]. Peers: rows[i][0]. The numbers are uniform over the rows; the argument is
// how many different ones are visited in turn: 65,536 leave every visit a walk through memory, 4,096 let
// the rows visited stay in the caches, so that the figure is the cost of the lookup itself.

std::vector<std::uint32_t> row_numbers(const benchmark::State& state) {
  std::vector<std::uint32_t> made = random_positions(kRows, 7);
  made.resize(static_cast<std::size_t>(state.range(0)));
  return made;
}

void BM_RowByIndex_ValueTable(benchmark::State& state) {
  const core::ValueTableCore& table = shared_table().core();
  const auto indexes = row_numbers(state);
  std::size_t i = 0;
  for (auto _ : state) {
    Value value = table.lineAt(indexes[i])[0];
    benchmark::DoNotOptimize(value);
    i = (i + 1) % indexes.size();
  }
}
BENCHMARK(BM_RowByIndex_ValueTable)->Arg(65536)->Arg(4096);

template <class Rows>
void BM_RowByIndex_Peer(benchmark::State& state) {
  const Rows& made = shared_rows<Rows>();
  const auto indexes = row_numbers(state);
  std::size_t i = 0;
  for (auto _ : state) {
    Value value = made[indexes[i]][0];
    benchmark::DoNotOptimize(value);
    i = (i + 1) % indexes.size();
  }
}
BENCHMARK(BM_RowByIndex_Peer<std::vector<Row>>)->Arg(65536)->Arg(4096);
BENCHMARK(BM_RowByIndex_Peer<std::deque<Row>>)->Arg(65536)->Arg(4096);

// ---- Insert a row at a random place, erase one at another ----------------------------------------------
// One iteration is a pair, so the size stays kRows. Table: core().insert(i, row), core().erase(j). Peers:
// insert(begin() + i, row), erase(begin() + j). Each container is built once and kept for the
// repetitions: only its size matters, and that does not change.

template <class Container, class InsertErase>
void insert_erase(benchmark::State& state, Container& container, InsertErase&& insertErase) {
  static const auto inserts = random_positions(kRows + 1, 11);
  static const auto erases = random_positions(kRows + 1, 13);
  const Row& row = rows().front();
  std::size_t i = 0;
  for (auto _ : state) {
    insertErase(container, inserts[i], erases[i], row);
    i = (i + 1) % inserts.size();
  }
}

void BM_InsertErase_ValueTable(benchmark::State& state) {
  static const Table table = filled_table();
  insert_erase(state, table->core(), [](core::ValueTableCore& t, std::uint32_t at, std::uint32_t from, const Row& row) {
    t.insert(at, row);
    t.erase(from);
  });
}
BENCHMARK(BM_InsertErase_ValueTable)->Iterations(20000);

template <class Rows>
void BM_InsertErase_Peer(benchmark::State& state) {
  static Rows made(rows().begin(), rows().end());
  insert_erase(state, made, [](Rows& r, std::uint32_t at, std::uint32_t from, const Row& row) {
    r.insert(r.begin() + at, row);
    r.erase(r.begin() + from);
  });
}
// The vector moves half its rows per insert and per erase on average: a few hundred pairs say enough.
BENCHMARK(BM_InsertErase_Peer<std::vector<Row>>)->Unit(benchmark::kMicrosecond)->Iterations(300);
BENCHMARK(BM_InsertErase_Peer<std::deque<Row>>)->Unit(benchmark::kMicrosecond)->Iterations(500);

// ---- Group by one column, totalling Amount and Amount2 --------------------------------------------------
// Table: core().groupBy on a copy of the shared table (ValueTableCore's copy constructor, not timed): one
// line left per group, in order of first appearance, with exact totals. Peer: an std::unordered_map from
// the group value to two Numeric sums, over the vector of rows; its destruction is not timed either. The
// keys: Group (1,000 groups) and Name (nearly every row a group of its own).

void BM_GroupBy_ValueTable(benchmark::State& state, Column key) {
  const core::ValueTableCore& shared = shared_table().core();
  const std::vector<std::int32_t> groupColumns{shared.columnID(key)};
  const std::vector<std::int32_t> totalColumns{shared.columnID(kAmount), shared.columnID(kAmount2)};
  for (auto _ : state) {
    state.PauseTiming();
    auto table = std::make_unique<core::ValueTableCore>(shared);
    state.ResumeTiming();
    table->groupBy(groupColumns, totalColumns);
    benchmark::DoNotOptimize(table->size());
    state.PauseTiming();
    table.reset();
    state.ResumeTiming();
  }
}
BENCHMARK_CAPTURE(BM_GroupBy_ValueTable, Group, kGroup)->Apply(whole_table);
BENCHMARK_CAPTURE(BM_GroupBy_ValueTable, Name, kName)->Apply(whole_table);

struct Sums {
  core::Numeric amount, amount2;
};

void BM_GroupBy_UnorderedMap(benchmark::State& state, Column key) {
  const auto& made = shared_rows<std::vector<Row>>();
  for (auto _ : state) {
    auto groups = std::make_unique<std::unordered_map<Value, Sums>>();
    core::Numeric number;
    for (const Row& row : made) {
      Sums& sums = (*groups)[row[key]];
      if (row[kAmount].getNumeric(number)) sums.amount += number;
      if (row[kAmount2].getNumeric(number)) sums.amount2 += number;
    }
    benchmark::DoNotOptimize(groups->size());
    state.PauseTiming();
    groups.reset();
    state.ResumeTiming();
  }
}
BENCHMARK_CAPTURE(BM_GroupBy_UnorderedMap, Group, kGroup)->Apply(whole_table);
BENCHMARK_CAPTURE(BM_GroupBy_UnorderedMap, Name, kName)->Apply(whole_table);

// ---- Stable sort --------------------------------------------------------------------------------------
// Table: sortTable on a table filled anew (not timed) per iteration. Peer: std::stable_sort of a copy of
// the vector of rows (not timed), comparing with compare_table_values, the table's own order. Keys:
// Amount; Name; Group then Amount descending.

struct SortKey {
  Column column;
  bool descending;
};
const std::vector<SortKey> kByAmount{{kAmount, false}};
const std::vector<SortKey> kByName{{kName, false}};
const std::vector<SortKey> kByGroupAmountDesc{{kGroup, false}, {kAmount, true}};

void BM_Sort_ValueTable(benchmark::State& state, const std::vector<SortKey>& keys) {
  std::vector<core::VTSortParam> params;
  for (const SortKey& key : keys) params.push_back({shared_table().columnID(key.column), key.descending});
  for (auto _ : state) {
    state.PauseTiming();
    Table table = filled_table();
    state.ResumeTiming();
    table->sortTable(params, false, nullptr);
    state.PauseTiming();
    table.reset();
    state.ResumeTiming();
  }
}
BENCHMARK_CAPTURE(BM_Sort_ValueTable, Amount, kByAmount)->Apply(sort_runs);
BENCHMARK_CAPTURE(BM_Sort_ValueTable, Name, kByName)->Apply(sort_runs);
BENCHMARK_CAPTURE(BM_Sort_ValueTable, Group_AmountDesc, kByGroupAmountDesc)->Apply(sort_runs);

void BM_Sort_VectorOfRows(benchmark::State& state, const std::vector<SortKey>& keys) {
  const auto less = [&keys](const Row& a, const Row& b) {
    for (const SortKey& key : keys) {
      const int order = core::compare_table_values(a[key.column], b[key.column]);
      if (order != 0) return key.descending ? order > 0 : order < 0;
    }
    return false;
  };
  for (auto _ : state) {
    state.PauseTiming();
    auto made = std::make_unique<std::vector<Row>>(shared_rows<std::vector<Row>>());
    state.ResumeTiming();
    std::stable_sort(made->begin(), made->end(), less);
    state.PauseTiming();
    made.reset();
    state.ResumeTiming();
  }
}
BENCHMARK_CAPTURE(BM_Sort_VectorOfRows, Amount, kByAmount)->Apply(sort_runs);
BENCHMARK_CAPTURE(BM_Sort_VectorOfRows, Name, kByName)->Apply(sort_runs);
BENCHMARK_CAPTURE(BM_Sort_VectorOfRows, Group_AmountDesc, kByGroupAmountDesc)->Apply(sort_runs);

// ---- A list control's window: 50 lines at a random scroll position, every cell read -------------------
// Source (a ValueTableDS holding the rows): getLineByScrollPos for the first line, getBookmarkRange for the
// 50, getCellValue for each of their 5 cells, so the figure per cell includes finding the window. Peer: the
// vector of rows, made[p + i][c]. items_per_second counts cells.

constexpr std::uint32_t kWindow = 50;

void BM_CellWindow_ValueTableDS(benchmark::State& state) {
  static const auto table = filled_table<core::ValueTableDS>();
  static const auto positions = random_positions(kRows - kWindow, 17);
  std::size_t i = 0;
  Value value;
  for (auto _ : state) {
    const auto first = table->getLineByScrollPos(nullptr, positions[i]);
    for (const auto& line : table->getBookmarkRange(first.get(), kWindow)) {
      for (std::int32_t c = 0; c < static_cast<std::int32_t>(kColumns); ++c) {
        table->getCellValue(line.get(), c, value);
        benchmark::DoNotOptimize(value);
      }
    }
    i = (i + 1) % positions.size();
  }
  state.SetItemsProcessed(state.iterations() * kWindow * kColumns);
}
BENCHMARK(BM_CellWindow_ValueTableDS);

void BM_CellWindow_Peer(benchmark::State& state) {
  const auto& made = shared_rows<std::vector<Row>>();
  static const auto positions = random_positions(kRows - kWindow, 17);
  std::size_t i = 0;
  Value value;
  for (auto _ : state) {
    for (std::uint32_t line = positions[i]; line < positions[i] + kWindow; ++line) {
      for (std::uint32_t c = 0; c < kColumns; ++c) {
        value = made[line][c];
        benchmark::DoNotOptimize(value);
      }
    }
    i = (i + 1) % positions.size();
  }
  state.SetItemsProcessed(state.iterations() * kWindow * kColumns);
}
BENCHMARK(BM_CellWindow_Peer);

// ---- A bookmarked line found again after 100,000 inserts elsewhere ------------------------------------
// 65,536 bookmarks on random lines of a ValueTableDS, then 100,000 rows inserted at random places (not
// timed); timed: getScrollPos of the bookmarks in turn (the bookmark resolved to its line, and the line's
// row number found). There is no peer: a vector of rows has no mark that survives inserts.

void BM_BookmarkLookup_ValueTableDS(benchmark::State& state) {
  static const auto table = filled_table<core::ValueTableDS>();
  static const auto marks = [] {
    std::vector<core::InterfacePtr<core::IQ8Bookmark>> made;
    for (std::uint32_t position : random_positions(kRows, 19))
      made.push_back(table->getLineByScrollPos(nullptr, position));
    const auto inserts = random_positions(kRows, 23);
    for (std::uint32_t i = 0; i < 100000; ++i) table->core().insert(inserts[i % inserts.size()], rows()[i]);
    return made;
  }();
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(table->getScrollPos(marks[i].get()));
    i = (i + 1) % marks.size();
  }
}
BENCHMARK(BM_BookmarkLookup_ValueTableDS);

// ---- Memory per row -----------------------------------------------------------------------------------
// What building the container from the made rows keeps on the heap ("structure": the values are shared
// with the made rows, not copied), plus what the value objects themselves take ("values", measured when
// they were made). nexa_bytes_per_row is the part of both that the library's own counters see. The time
// is that of building, which BM_Build measures better.

void report_memory(benchmark::State& state, std::uint64_t structureHeap, std::uint64_t structureNexa) {
  const Source& s = source();
  const double rowCount = kRows;
  state.counters["values_bytes_per_row"] = static_cast<double>(s.valueHeapBytes) / rowCount;
  state.counters["structure_bytes_per_row"] = static_cast<double>(structureHeap) / rowCount;
  state.counters["bytes_per_row"] = static_cast<double>(s.valueHeapBytes + structureHeap) / rowCount;
  state.counters["nexa_bytes_per_row"] = static_cast<double>(s.valueNexaBytes + structureNexa) / rowCount;
}

void BM_Memory_ValueTable(benchmark::State& state) {
  rows();  // made before the count starts
  for (auto _ : state) {
    const std::uint64_t heap = heap_bytes(), nexa = nexa_live_bytes();
    Table table = filled_table();
    report_memory(state, heap_bytes() - heap, nexa_live_bytes() - nexa);
  }
  state.SetLabel(source().check);
}
BENCHMARK(BM_Memory_ValueTable)->Unit(benchmark::kMillisecond)->Iterations(1);

template <class Rows>
void BM_Memory_Peer(benchmark::State& state) {
  rows();
  for (auto _ : state) {
    const std::uint64_t heap = heap_bytes(), nexa = nexa_live_bytes();
    Rows made;
    if constexpr (requires { made.reserve(kRows); }) made.reserve(kRows);
    for (const Row& row : rows()) made.push_back(row);
    report_memory(state, heap_bytes() - heap, nexa_live_bytes() - nexa);
  }
}
BENCHMARK(BM_Memory_Peer<std::vector<Row>>)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_Memory_Peer<std::deque<Row>>)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
