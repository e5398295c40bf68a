#include <gtest/gtest.h>

#include <thread>

#include "avo/BasicString.h"
#include "nexa/Memory.h"
#include "nexa/Monitor.h"

namespace {

TEST(NexaMemory, CountsAllocationsAndFreesOfTheCallingThreadOnly) {
  const auto allocations = nexa::thread_allocations();
  const auto frees = nexa::thread_frees();
  const auto allocatedBytes = nexa::thread_allocated_bytes();
  const auto freedBytes = nexa::thread_freed_bytes();
  void* block = nexa_realloc(nullptr, 8);  // a null block allocates
  ASSERT_NE(block, nullptr);
  block = nexa_realloc(block, 1 << 20);        // large enough to move
  EXPECT_EQ(nexa_realloc(block, 0), nullptr);  // size zero frees
  nexa_free(nullptr);                          // not counted
  EXPECT_GE(nexa::thread_allocations() - allocations, 1u);
  EXPECT_EQ(nexa::thread_allocations() - allocations, nexa::thread_frees() - frees);
  EXPECT_GE(nexa::thread_allocated_bytes() - allocatedBytes, (1u << 20) + 8);
  EXPECT_EQ(nexa::thread_allocated_bytes() - allocatedBytes, nexa::thread_freed_bytes() - freedBytes);

  std::uint64_t seenInOtherThread = 0;
  const auto before = nexa::thread_allocations();
  std::thread([&] {
    nexa_free(nexa_malloc(4));
    seenInOtherThread = nexa::thread_allocations();
  }).join();
  EXPECT_EQ(seenInOtherThread, 1u);
  EXPECT_EQ(nexa::thread_allocations(), before);
}

struct Base {
  virtual ~Base() = default;
  int base = 1;
};
struct Other {
  virtual ~Other() = default;
  int other = 2;
};
struct Derived : Other, Base {
  explicit Derived(int* destroyed) : destroyed_(destroyed) {}
  ~Derived() override { ++*destroyed_; }
  int* destroyed_;
};

TEST(NexaMemory, DeleteThroughSecondBaseFreesTheWholeBlock) {
  int destroyed = 0;
  const auto frees = nexa::thread_frees();
  Base* object = nexa_new<Derived>(&destroyed);
  nexa_delete(object);  // the Base subobject does not start the block
  EXPECT_EQ(destroyed, 1);
  EXPECT_EQ(nexa::thread_frees() - frees, 1u);
}

TEST(AvoString, Utf8RoundTripKeepsSupplementaryCharactersAndReplacesIllFormedInput) {
  const std::string text = "Число \xF0\x9F\x98\x80 end";
  const avo::WString wide = avo::from_utf8(text);
  EXPECT_EQ(wide, std::u16string(u"Число \U0001F600 end"));
  EXPECT_EQ(avo::to_std_utf8(wide), text);
  EXPECT_EQ(avo::from_utf8("a\xFF"
                           "b"),
            std::u16string(u"a\uFFFDb"));
  const char16_t lone[] = {u'x', 0xD800, u'y'};
  EXPECT_EQ(avo::to_std_utf8(std::u16string_view(lone, 3)), "x\xEF\xBF\xBDy");
  // Strings live on the counted heap.
  const auto before = nexa::thread_allocations();
  avo::WString s(100, u'x');
  EXPECT_EQ(nexa::thread_allocations() - before, 1u);
}

class CountingMonitor : public nexa::IThreadSuspendMonitor {
 public:
  void aboutToBlock() override { ++blocks; }
  void resumed() override { ++resumes; }
  int blocks = 0;
  int resumes = 0;
};

TEST(NexaMonitor, SuspendScopeNotifiesOnEntryAndExit) {
  CountingMonitor monitor;
  {
    nexa::SuspendScope scope(&monitor);
    EXPECT_EQ(monitor.blocks, 1);
    EXPECT_EQ(monitor.resumes, 0);
  }
  EXPECT_EQ(monitor.resumes, 1);
  nexa::SuspendScope none(nullptr);  // no monitor: nothing to call
}

int g_lockCalls = 0;
void count_lock(void* storage, nexa::IThreadSuspendMonitor*) {
  ++*static_cast<int*>(storage);
  ++g_lockCalls;
}
void count_unlock(void* storage, nexa::IThreadSuspendMonitor*) { --*static_cast<int*>(storage); }
const nexa::MutexOperations kCountingOps{&count_lock, &count_unlock, &count_lock, &count_unlock};

TEST(NexaMonitor, MutexMonitorRunsTheRegisteredOperationsOnItsStorage) {
  nexa::register_mutex_kind(7, &kCountingOps);
  int word = 0;
  auto monitor = nexa::create_mutex_monitor(&word, nullptr, 7);
  monitor->lock();
  monitor->lockShared();
  EXPECT_EQ(word, 2);
  monitor->unlockShared();
  monitor->unlock();
  EXPECT_EQ(word, 0);
  EXPECT_EQ(g_lockCalls, 2);
  EXPECT_THROW(nexa::create_mutex_monitor(&word, nullptr, 6), std::invalid_argument);
}

}  // namespace
