// Costs of value tables against a vector of rows and a deque of rows holding the same values: building
// 200,000 rows of 4 values, walking them reading every value, reaching rows by number at random, and
// inserting and erasing a row in the middle.
//
//     cmake --preset bench && cmake --build --preset bench -j2 --target ValueTable_bench
//     build/bench/bench/ValueTable_bench --benchmark_repetitions=3 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <cstdint>
#include <deque>
#include <random>
#include <vector>

#include "core/ValueTableStorage.h"

namespace {

using core::Value;
using Row = std::vector<Value>;

constexpr std::uint32_t kRows = 200000;
constexpr std::uint32_t kColumns = 4;

// The values are made once, so that every container is timed on holding them, not on making them.
const std::vector<Row>& source_rows() {
  static const std::vector<Row> rows = [] {
    std::vector<Row> made;
    made.reserve(kRows);
    for (std::uint32_t i = 0; i < kRows; ++i) {
      made.push_back({Value(static_cast<int>(i)), Value(u"row"), Value(i % 2 == 0), Value(static_cast<int>(i) * 7)});
    }
    return made;
  }();
  return rows;
}

const std::vector<std::uint32_t>& random_indexes() {
  static const std::vector<std::uint32_t> indexes = [] {
    std::mt19937 random(42);
    std::vector<std::uint32_t> made(4096);
    for (auto& index : made) index = static_cast<std::uint32_t>(random() % kRows);
    return made;
  }();
  return indexes;
}

core::ValueTableCore& filled_table() {
  static core::ValueTableCore& table = []() -> core::ValueTableCore& {
    auto* made = new core::ValueTableCore(2000);  // kept for the whole run
    for (std::uint32_t c = 0; c < kColumns; ++c) made->addColumn(-1, {});
    for (const Row& row : source_rows()) made->add(row);
    return *made;
  }();
  return table;
}

template <class Rows>
Rows filled_rows() {
  const auto& source = source_rows();
  return Rows(source.begin(), source.end());
}

// ---- Building ------------------------------------------------------------------------------------------

void BM_AddRows_ValueTable(benchmark::State& state) {
  for (auto _ : state) {
    core::ValueTableCore table(2000);
    for (std::uint32_t c = 0; c < kColumns; ++c) table.addColumn(-1, {});
    for (const Row& row : source_rows()) table.add(row);
    benchmark::DoNotOptimize(table.size());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_AddRows_ValueTable)->Unit(benchmark::kMillisecond);

template <class Rows>
void BM_AddRows_Peer(benchmark::State& state) {
  for (auto _ : state) {
    Rows rows;
    for (const Row& row : source_rows()) rows.push_back(row);
    benchmark::DoNotOptimize(rows.size());
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_AddRows_Peer<std::vector<Row>>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AddRows_Peer<std::deque<Row>>)->Unit(benchmark::kMillisecond);

// ---- Walking every row, reading every value ------------------------------------------------------------

void BM_Walk_ValueTable(benchmark::State& state) {
  const core::ValueTableCore& table = filled_table();
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
  const Rows rows = filled_rows<Rows>();
  for (auto _ : state) {
    for (const Row& row : rows) {
      for (std::uint32_t c = 0; c < kColumns; ++c) {
        Value value = row[c];
        benchmark::DoNotOptimize(value);
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK(BM_Walk_Peer<std::vector<Row>>)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Walk_Peer<std::deque<Row>>)->Unit(benchmark::kMillisecond);

// ---- A row by number, at random ------------------------------------------------------------------------

void BM_RowByIndex_ValueTable(benchmark::State& state) {
  const core::ValueTableCore& table = filled_table();
  const auto& indexes = random_indexes();
  std::size_t i = 0;
  for (auto _ : state) {
    Value value = table.lineAt(indexes[i])[0];
    benchmark::DoNotOptimize(value);
    i = (i + 1) % indexes.size();
  }
}
BENCHMARK(BM_RowByIndex_ValueTable);

template <class Rows>
void BM_RowByIndex_Peer(benchmark::State& state) {
  const Rows rows = filled_rows<Rows>();
  const auto& indexes = random_indexes();
  std::size_t i = 0;
  for (auto _ : state) {
    Value value = rows[indexes[i]][0];
    benchmark::DoNotOptimize(value);
    i = (i + 1) % indexes.size();
  }
}
BENCHMARK(BM_RowByIndex_Peer<std::vector<Row>>);
BENCHMARK(BM_RowByIndex_Peer<std::deque<Row>>);

// The number of a line held by an iterator (the peers know it from the position they hold).
void BM_LineIndex_ValueTable(benchmark::State& state) {
  const core::ValueTableCore& table = filled_table();
  std::vector<core::LineIterator> held;
  for (std::uint32_t index : random_indexes()) held.push_back(table.lineAt(index));
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(held[i]->index());
    i = (i + 1) % held.size();
  }
}
BENCHMARK(BM_LineIndex_ValueTable);

// ---- Insert and erase in the middle --------------------------------------------------------------------

void BM_InsertEraseMiddle_ValueTable(benchmark::State& state) {
  core::ValueTableCore table(2000);
  for (std::uint32_t c = 0; c < kColumns; ++c) table.addColumn(-1, {});
  for (const Row& row : source_rows()) table.add(row);
  const Row& row = source_rows().front();
  for (auto _ : state) {
    table.insert(kRows / 2, row);
    table.erase(kRows / 2 + 1);
  }
}
BENCHMARK(BM_InsertEraseMiddle_ValueTable);

template <class Rows>
void BM_InsertEraseMiddle_Peer(benchmark::State& state) {
  Rows rows = filled_rows<Rows>();
  const Row& row = source_rows().front();
  for (auto _ : state) {
    rows.insert(rows.begin() + kRows / 2, row);
    rows.erase(rows.begin() + kRows / 2 + 1);
  }
}
BENCHMARK(BM_InsertEraseMiddle_Peer<std::vector<Row>>);
BENCHMARK(BM_InsertEraseMiddle_Peer<std::deque<Row>>);

}  // namespace

BENCHMARK_MAIN();
