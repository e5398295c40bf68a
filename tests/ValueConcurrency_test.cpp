// Values shared between threads: counts, singletons, the last release, formats and type lookups. Run under
// ThreadSanitizer in CI; every test ends with a deterministic check.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "core/Value.h"
#include "nexa/Memory.h"

namespace {

using core::IValue;
using core::Value;
using core::WeakValue;

constexpr int kThreads = 4;
constexpr int kRounds = 20000;

constexpr core::GUID kTestClass = core::guid("5e1f8a90-7b6c-4d3e-a2f1-0c9b8a7d6e5f");

class TrackedValue final : public core::ObjectValueCore {
 public:
  explicit TrackedValue(std::atomic<int>& destroyed)
      : ObjectValueCore(core::Type(kTestClass).getIType()), destroyed_(destroyed) {}
  ~TrackedValue() override { destroyed_.fetch_add(1); }

 private:
  std::atomic<int>& destroyed_;
};

template <class F>
void run_threads(F body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(body, t);
  for (std::thread& thread : threads) thread.join();
}

TEST(ValueConcurrency, ConcurrentCopiesLeaveTheCountWhereItWas) {
  std::atomic<int> destroyed{0};
  auto* object = new TrackedValue(destroyed);
  const Value shared(object);
  const std::int32_t start = object->refCount();
  run_threads([&](int) {
    for (int i = 0; i < kRounds; ++i) {
      Value copy(shared);
      Value other = copy;
      other = shared;
      WeakValue borrowed(shared._getIValue());
      WeakValue owned(shared);
      EXPECT_TRUE(borrowed.equals(owned));
      Value moved(std::move(copy));
    }
  });
  EXPECT_EQ(object->refCount(), start);
  EXPECT_EQ(destroyed.load(), 0);
}

TEST(ValueConcurrency, TheLastReleaseDestroysOnceWhateverThreadMakesIt) {
  std::atomic<int> destroyed{0};
  std::vector<Value> handles;
  for (int round = 0; round < 200; ++round) {
    Value v(new TrackedValue(destroyed));
    handles.assign(kThreads, v);
    v.clear();  // only the threads' copies keep it alive now
    run_threads([&](int t) { handles[static_cast<std::size_t>(t)].clear(); });
  }
  EXPECT_EQ(destroyed.load(), 200);
}

TEST(ValueConcurrency, SingletonsAreSharedWithoutAllocation) {
  (void)Value::undefined();
  std::atomic<int> threadsThatAllocated{0};
  run_threads([&](int t) {
    const auto before = nexa::thread_allocations();
    for (int i = 0; i < kRounds; ++i) {
      Value b = (i + t) % 2 == 0;
      Value u;
      Value n(core::create_null_value(), core::adopt_ref);
      Value s(u"");
      b.assign(i % 3 == 0);
      if (!u.equals(Value::undefined()) || n.equals(u) || !s.equals(u"")) threadsThatAllocated.fetch_add(1000);
    }
    if (nexa::thread_allocations() != before) threadsThatAllocated.fetch_add(1);
  });
  EXPECT_EQ(threadsThatAllocated.load(), 0);
}

TEST(ValueConcurrency, StringHashIsTheSameFromEveryThread) {
  const Value text(u"a string long enough to be hashed in several words");
  std::vector<std::int32_t> seen(kThreads);
  run_threads([&](int t) {
    std::int32_t h = 0;
    for (int i = 0; i < 100; ++i) h = text.hashCode();
    seen[static_cast<std::size_t>(t)] = h;
  });
  for (std::int32_t h : seen) EXPECT_EQ(h, text.hashCode());
}

TEST(ValueConcurrency, FormatsChangeWhileOtherThreadsConvert) {
  std::atomic<bool> stop{false};
  std::atomic<int> unexpected{0};
  std::thread writer([&] {
    for (int i = 0; i < 500; ++i) {
      core::set_process_bool_format(i % 2 == 0 ? core::create_bool_format(u"Yes", u"No") : nullptr);
    }
    stop = true;
  });
  run_threads([&](int t) {
    if (t == 0) core::set_thread_bool_format(core::create_bool_format(u"Да", u"Нет"));
    for (int i = 0; i < 2000 || !stop; ++i) {
      avo::WString text;
      Value(true).getString(text);
      const bool ok =
          t == 0 ? text == std::u16string(u"Да") : text == std::u16string(u"Yes") || text == std::u16string(u"true");
      if (!ok) unexpected.fetch_add(1);
    }
    core::reset_thread_bool_format();
  });
  writer.join();
  core::set_process_bool_format(nullptr);
  EXPECT_EQ(unexpected.load(), 0);
}

TEST(ValueConcurrency, ObjectTypesByGuidAreMadeOnce) {
  const core::GUID clsid = core::guid("5e1f8a90-7b6c-4d3e-a2f1-0c9b8a7d6e50");
  std::vector<core::IType*> seen(kThreads);
  run_threads([&](int t) { seen[static_cast<std::size_t>(t)] = core::Type(clsid).getIType(); });
  for (core::IType* type : seen) EXPECT_EQ(type, seen.front());
}

}  // namespace
