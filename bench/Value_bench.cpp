// Costs of values: handle copies against std::shared_ptr, number creation, equality and hashing.
//
//     cmake --preset bench && cmake --build --preset bench -j2 --target Value_bench
//     build/bench/bench/Value_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/Numeric.h"
#include "core/Value.h"
#include "nexa/Memory.h"
#include "values/Builtins.h"

namespace {

using core::Value;

const char16_t kText[] = u"The quick brown fox jumps over it";  // 33 code units

// Allocations per iteration, reported next to the time so that "never allocates" shows in the table.
void report_allocations(benchmark::State& state, std::uint64_t before) {
  state.counters["allocs/iter"] =
      benchmark::Counter(static_cast<double>(nexa::thread_allocations() - before), benchmark::Counter::kAvgIterations);
}

// ---- Handle copy and destruction -----------------------------------------------------------------------

// With two threads both copy the same object, so its counter's cache line moves between the cores.
void BM_ValueCopy(benchmark::State& state) {
  static const Value shared(kText);
  for (auto _ : state) {
    Value copy(shared);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_ValueCopy)->ThreadRange(1, 2);

void BM_SharedPtrCopy(benchmark::State& state) {
  static const auto shared = std::make_shared<std::u16string>(kText);
  for (auto _ : state) {
    std::shared_ptr<std::u16string> copy(shared);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_SharedPtrCopy)->ThreadRange(1, 2);

// Singletons skip the counter: no shared write, so two threads do not contend.
void BM_ValueCopySingleton(benchmark::State& state) {
  static const Value shared(true);
  for (auto _ : state) {
    Value copy(shared);
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(BM_ValueCopySingleton)->ThreadRange(1, 2);

void BM_WeakValueBorrow(benchmark::State& state) {
  const Value shared(kText);
  for (auto _ : state) {
    core::WeakValue borrowed(shared._getIValue());
    benchmark::DoNotOptimize(borrowed);
  }
}
BENCHMARK(BM_WeakValueBorrow);

// ---- Number creation -----------------------------------------------------------------------------------

void BM_CreateNumberSmall(benchmark::State& state) {
  const auto before = nexa::thread_allocations();
  int i = 0;
  for (auto _ : state) {
    Value v(i);
    benchmark::DoNotOptimize(v);
    i = i == 9 ? 0 : i + 1;
  }
  report_allocations(state, before);
}
BENCHMARK(BM_CreateNumberSmall);

void BM_CreateNumberLarge(benchmark::State& state) {
  const auto before = nexa::thread_allocations();
  long long i = 1234567;
  for (auto _ : state) {
    Value v(i);
    benchmark::DoNotOptimize(v);
    ++i;
  }
  report_allocations(state, before);
}
BENCHMARK(BM_CreateNumberLarge);

void BM_CreateNumberFromNumeric36(benchmark::State& state) {
  core::Numeric n;
  n.fromString("123456789012345678901234567.123456789");
  const auto before = nexa::thread_allocations();
  for (auto _ : state) {
    Value v(n);
    benchmark::DoNotOptimize(v);
  }
  report_allocations(state, before);
}
BENCHMARK(BM_CreateNumberFromNumeric36);

void BM_MakeSharedNumericPeer(benchmark::State& state) {
  for (auto _ : state) {
    auto p = std::make_shared<long long>(1234567);
    benchmark::DoNotOptimize(p);
  }
}
BENCHMARK(BM_MakeSharedNumericPeer);

// ---- Equality and hashing ------------------------------------------------------------------------------

void BM_NumberEquals(benchmark::State& state) {
  const Value a(1234567.25), b(1234567.25);
  for (auto _ : state) benchmark::DoNotOptimize(a.equals(b));
}
BENCHMARK(BM_NumberEquals);

void BM_NumberHash(benchmark::State& state) {
  const Value a(1234567.25);
  for (auto _ : state) benchmark::DoNotOptimize(a.hashCode());
}
BENCHMARK(BM_NumberHash);

void BM_StringEquals(benchmark::State& state) {
  const Value a(kText), b(kText);
  for (auto _ : state) benchmark::DoNotOptimize(a.equals(b));
}
BENCHMARK(BM_StringEquals);

void BM_StdU16StringEqualsPeer(benchmark::State& state) {
  const std::u16string a(kText), b(kText);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(a == b);
  }
}
BENCHMARK(BM_StdU16StringEqualsPeer);

// Hashing a string's text every time on both sides: the function a string value's hashCode runs (once,
// then it keeps the result) against std::hash on the same 33 code units.
void BM_StringHashText(benchmark::State& state) {
  const std::u16string a(kText);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(core::detail::hash_bytes(a.data(), a.size() * sizeof(char16_t)));
  }
}
BENCHMARK(BM_StringHashText);

void BM_StdHashU16StringPeer(benchmark::State& state) {
  const std::u16string a(kText);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);
    benchmark::DoNotOptimize(std::hash<std::u16string_view>()(a));
  }
}
BENCHMARK(BM_StdHashU16StringPeer);

// A hash kept beside the text on both sides: hashCode of a string value (an interface call that reads
// the hash computed by the first call) against a string that keeps its std::hash in an inline member.
void BM_StringHashCached(benchmark::State& state) {
  const Value a(kText);
  for (auto _ : state) benchmark::DoNotOptimize(a.hashCode());
}
BENCHMARK(BM_StringHashCached);

class CachedHashString {
 public:
  explicit CachedHashString(std::u16string_view text) : text_(text) {}
  std::size_t hash() const {
    if (hash_ == 0) hash_ = std::hash<std::u16string_view>()(text_) | 1u;
    return hash_;
  }

 private:
  std::u16string text_;
  mutable std::size_t hash_ = 0;  // 0: not computed yet
};

void BM_StdHashCachedPeer(benchmark::State& state) {
  const CachedHashString a(kText);
  for (auto _ : state) {
    benchmark::DoNotOptimize(a);  // the hash is read from memory each time, as through a handle
    benchmark::DoNotOptimize(a.hash());
  }
}
BENCHMARK(BM_StdHashCachedPeer);

// First hash of a fresh value: allocation of the value plus the hash itself.
void BM_StringCreateAndHash(benchmark::State& state) {
  for (auto _ : state) {
    Value a(kText);
    benchmark::DoNotOptimize(a.hashCode());
  }
}
BENCHMARK(BM_StringCreateAndHash);

}  // namespace

BENCHMARK_MAIN();
