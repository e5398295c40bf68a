// The OS seam: locks, condition variables, events (also across processes), TLS, time, processors.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "platform/ConditionVariable.h"
#include "platform/CriticalSection.h"
#include "platform/Event.h"
#include "platform/OsThread.h"
#include "platform/Processor.h"
#include "platform/Sleep.h"
#include "platform/SlimLock.h"
#include "platform/ThreadLocal.h"
#include "platform/TickCount.h"

namespace {

using namespace core::platform;
using testing_support::exit_code;

TEST(CriticalSection, IsRecursiveAndExcludesOtherThreads) {
  CriticalSection section(100);
  section.enter(), section.enter();
  bool otherGotIt = true;
  std::thread([&] { otherGotIt = section.tryEnter(); }).join();
  EXPECT_FALSE(otherGotIt);
  section.leave();
  std::thread([&] { otherGotIt = section.tryEnter(); }).join();
  EXPECT_FALSE(otherGotIt) << "one leave of two enters must keep the section";
  section.leave();
  std::thread([&] {
    otherGotIt = section.tryEnter();
    if (otherGotIt) section.leave();
  }).join();
  EXPECT_TRUE(otherGotIt);
}

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

TEST(SlimLock, WaitingWriterKeepsNewReadersOut) {
  SlimWord word{0};
  slim_lock_shared(word);
  std::atomic<bool> writerIn{false};
  std::thread writer([&] {
    slim_lock_exclusive(word);
    writerIn = true;
    slim_unlock_exclusive(word);
  });
  ASSERT_TRUE(testing_support::eventually([&] { return (word.load() & kSlimWaiters) != 0; }));
  EXPECT_FALSE(slim_try_lock_shared(word)) << "a reader must queue behind the waiting writer";
  EXPECT_FALSE(writerIn);
  slim_unlock_shared(word);
  writer.join();
  EXPECT_TRUE(writerIn);
  EXPECT_EQ(word.load(), 0u);
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

TEST(Event, AutoResetReleasesOneWaiterPerSignalAndDoesNotAccumulate) {
  Event event(Event::Reset::Auto, false);
  EXPECT_FALSE(event.wait(0));
  event.set(), event.set();
  EXPECT_TRUE(event.wait(0));
  EXPECT_FALSE(event.wait(10)) << "two signals with nobody waiting release only one";

  // Every sleeping waiter gets its own release, even when the signals come back to back.
  std::atomic<int> passed{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) waiters.emplace_back([&] { passed += event.wait(kInfinite) ? 1 : 0; });
  sleep_ms(30);
  event.set(), event.set(), event.set();
  for (auto& t : waiters) t.join();
  EXPECT_EQ(passed, 3);
  EXPECT_FALSE(event.wait(0));
}

TEST(Event, ManualResetPassesEveryoneUntilReset) {
  Event event(Event::Reset::Manual, false);
  const auto start = tick_count();
  EXPECT_FALSE(event.wait(25));
  EXPECT_GE(tick_count() - start, 24u);
  std::atomic<int> passed{0};
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) waiters.emplace_back([&] { passed += event.wait(kInfinite) ? 1 : 0; });
  event.set();
  for (auto& t : waiters) t.join();
  EXPECT_EQ(passed, 3);
  EXPECT_TRUE(event.wait(0));
  event.reset();
  EXPECT_FALSE(event.wait(0));
  Event open(Event::Reset::Manual, true);
  EXPECT_TRUE(open.wait(0));
}

std::string unique_name(const char* what) {
  return std::string("platform-test.") + what + "." + std::to_string(getpid());
}

TEST(NamedEvent, OpeningAMissingNameFails) {
  EXPECT_EQ(Event::openNamed(unique_name("missing")), nullptr);
  // The name goes away with its last holder.
  const std::string name = unique_name("gone");
  {
    auto event = Event::createNamed(name);
    ASSERT_NE(event, nullptr);
  }
  EXPECT_EQ(Event::openNamed(name), nullptr);
}

TEST(NamedEvent, SignalsAcrossProcesses) {
  const std::string name = unique_name("fork");
  auto event = Event::createNamed(name);
  ASSERT_NE(event, nullptr);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // The child opens the parent's event, signals it, then waits for the parent's answer.
    auto opened = Event::openNamed(name);
    if (opened == nullptr) _exit(2);
    opened->set();
    sleep_ms(50);
    _exit(opened->wait(5000) ? 0 : 3);
  }
  EXPECT_TRUE(event->wait(5000)) << "the child's signal must arrive";
  sleep_ms(100);  // let the child go back to waiting (a signal with nobody waiting would also do)
  event->set();
  EXPECT_EQ(exit_code(child), 0);
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
  EXPECT_EQ(current_thread_id(), static_cast<std::uint64_t>(getpid())) << "the test body runs on the main thread";
  // A forked child has its own.
  const std::uint64_t parent = current_thread_id();
  const pid_t child = fork();
  if (child == 0)
    _exit(current_thread_id() == static_cast<std::uint64_t>(getpid()) && current_thread_id() != parent ? 0 : 1);
  EXPECT_EQ(exit_code(child), 0);
}

}  // namespace
