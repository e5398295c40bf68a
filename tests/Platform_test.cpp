// The OS seam, where the layer above does not already check the same behaviour: slim-lock modes, condition
// variables on both lock kinds (one wake for all sleepers), manual events, TLS, processors, OS threads. The critical
// section, waiting writers, auto-reset and named events are checked through IMutexImpl, RWMutex and the semaphores.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/ConditionVariable.h"
#include "platform/CriticalSection.h"
#include "platform/Event.h"
#include "platform/OsThread.h"
#include "platform/Processor.h"
#include "platform/SlimLock.h"
#include "platform/ThreadLocal.h"
#include "platform/TickCount.h"

namespace {

using namespace core::platform;

TEST(SlimLock, ModesExcludeEachOther) {
  SlimWord word{0};
  slim_lock_shared(word);
  EXPECT_TRUE(slim_try_lock_shared(word));
  EXPECT_FALSE(slim_try_lock_exclusive(word));
  slim_unlock_shared(word), slim_unlock_shared(word);
  EXPECT_EQ(word.load(), 0u);
  slim_lock_exclusive(word);
  EXPECT_FALSE(slim_try_lock_shared(word));
  EXPECT_FALSE(slim_try_lock_exclusive(word));
  slim_unlock_exclusive(word);
  EXPECT_TRUE(slim_try_lock_exclusive(word));
  slim_unlock_exclusive(word);
}

TEST(CondVar, TimesOutWithoutNotification) {
  CondVar condition;
  CriticalSection section;
  section.enter();
  const auto start = tick_count();
  EXPECT_FALSE(condition.sleep(section, 30));
  EXPECT_GE(tick_count() - start, 29u);
  section.leave();
  SlimWord word{0};
  slim_lock_shared(word);
  EXPECT_FALSE(condition.sleep(word, true, 10));
  EXPECT_EQ(word.load(), kSlimReader) << "the shared hold must be back after the sleep";
  slim_unlock_shared(word);
}

TEST(CondVar, WakeAllWakesSleepersOfBothLockKinds) {
  CondVar condition;
  CriticalSection section;
  SlimWord word{0};
  bool ready = false;  // guarded by section for the first sleeper, by word for the second
  bool readyToo = false;
  std::atomic<int> woken{0};
  std::thread a([&] {
    section.enter();
    while (!ready) condition.sleep(section, kInfinite);
    section.leave();
    ++woken;
  });
  std::thread b([&] {
    slim_lock_exclusive(word);
    while (!readyToo) condition.sleep(word, false, kInfinite);
    slim_unlock_exclusive(word);
    ++woken;
  });
  sleep_ms(20);
  section.enter();
  ready = true;
  section.leave();
  slim_lock_exclusive(word);
  readyToo = true;
  slim_unlock_exclusive(word);
  condition.wakeAll();
  a.join();
  b.join();
  EXPECT_EQ(woken, 2);
}

TEST(Event, ManualResetStaysSetUntilReset) {
  Event event(Event::Reset::Manual, true);
  EXPECT_TRUE(event.wait(0));
  EXPECT_TRUE(event.wait(0));
  event.reset();
  EXPECT_FALSE(event.wait(0));
}

TEST(ThreadLocal, SlotsArePerThreadAndAReusedSlotReadsNull) {
  const std::uint32_t slot = tls_alloc();
  ASSERT_NE(slot, kNoTlsSlot);
  int here = 1;
  tls_set(slot, &here);
  void* seenElsewhere = &here;
  std::thread([&] { seenElsewhere = tls_get(slot); }).join();
  EXPECT_EQ(seenElsewhere, nullptr);
  EXPECT_EQ(tls_get(slot), &here);
  tls_free(slot);
  const std::uint32_t again = tls_alloc();
  ASSERT_NE(again, kNoTlsSlot);
  EXPECT_EQ(tls_get(again), nullptr);
  tls_free(again);
}

// A thread's entries grow when it sets a slot beyond their end; every value set before must survive,
// in the main thread and in threads whose entries are freed when they end.
TEST(ThreadLocal, ValuesSurviveTheGrowthOfAThreadsEntries) {
  std::vector<std::uint32_t> slots;
  for (int i = 0; i < 100; ++i) {
    slots.push_back(tls_alloc());
    ASSERT_NE(slots.back(), kNoTlsSlot);
  }
  auto fill_and_check = [&] {
    int wrong = 0;
    for (std::size_t i = 0; i < slots.size(); ++i) tls_set(slots[i], &slots[i]);
    for (std::size_t i = 0; i < slots.size(); ++i) wrong += tls_get(slots[i]) != &slots[i];
    return wrong;
  };
  int wrongElsewhere = -1;
  std::thread([&] { wrongElsewhere = fill_and_check(); }).join();
  EXPECT_EQ(wrongElsewhere, 0);
  EXPECT_EQ(fill_and_check(), 0);
  for (std::uint32_t slot : slots) tls_free(slot);
}

TEST(ThreadLocal, HandsOutAtMostTheLimitAndReusesAFreedSlot) {
  std::vector<std::uint32_t> slots;
  for (std::uint32_t slot = tls_alloc(); slot != kNoTlsSlot; slot = tls_alloc()) slots.push_back(slot);
  EXPECT_LE(slots.size(), kMaxTlsSlots);
  EXPECT_GT(slots.size(), kMaxTlsSlots / 2) << "the library itself holds few slots";
  tls_free(slots.back());
  EXPECT_EQ(tls_alloc(), slots.back());
  for (std::uint32_t slot : slots) tls_free(slot);
}

TEST(Processors, AffinityRestrictsAndRestoresEveryThread) {
  const unsigned before = thread_affinity_count();
  ASSERT_GE(processor_count(), 1u);
  std::atomic<bool> stop{false};
  std::atomic<unsigned> seenByOther{0};
  std::thread other([&] {
    while (!stop) sleep_ms(1);
    seenByOther = thread_affinity_count();
  });
  ASSERT_TRUE(set_process_affinity(1));
  EXPECT_EQ(thread_affinity_count(), 1u);
  stop = true;
  other.join();
  EXPECT_EQ(seenByOther, 1u) << "a thread that existed before the change is restricted too";
  ASSERT_TRUE(set_process_affinity(0));
  EXPECT_EQ(thread_affinity_count(), before);
  ASSERT_TRUE(set_process_affinity(100000));
  EXPECT_EQ(thread_affinity_count(), before);
}

TEST(OsThread, RunsJoinsAndHasItsOwnId) {
  struct Box {
    std::uint64_t id = 0;
  } box;
  OsThreadHandle handle{};
  ASSERT_TRUE(start_os_thread([](void* raw) { static_cast<Box*>(raw)->id = current_thread_id(); }, &box, &handle));
  join_os_thread(handle);
  EXPECT_NE(box.id, 0u);
  EXPECT_NE(box.id, current_thread_id());
#if !defined(_WIN32)  // Linux: the main thread's id is the process id, and a forked child has its own
  EXPECT_EQ(current_thread_id(), static_cast<std::uint64_t>(getpid())) << "the test body runs on the main thread";
  const std::uint64_t parent = current_thread_id();
  const pid_t child = fork();
  if (child == 0)
    _exit(current_thread_id() == static_cast<std::uint64_t>(getpid()) && current_thread_id() != parent ? 0 : 1);
  EXPECT_EQ(testing_support::exit_code(child), 0);
#endif
}

}  // namespace
