// Semaphores: the event kinds, the counted semaphore, named semaphores across processes.
#include "core/Semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "CountingSuspendMonitor.h"
#include "TestSupport.h"
#include "core/Exception.h"
#include "core/Mutex.h"

#if defined(_WIN32)
// As <windows.h> declares it; that header's macros would clash with the library's COM-like names.
extern "C" __declspec(dllimport) unsigned long __stdcall GetModuleFileNameA(void* module, char* path,
                                                                            unsigned long size);
#endif

namespace {

using testing_support::CountingSuspendMonitor;
using testing_support::settle;

// Starts three threads that each wait once on `semaphore` and count their passage in `passed`.
template <class Semaphore>
std::vector<std::thread> three_waiters(Semaphore& semaphore, std::atomic<int>& passed) {
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      semaphore.wait();
      ++passed;
    });
  }
  return waiters;
}

TEST(ISemaphoreBaseImpl, AnswersOnlyItsTwoInterfaceIds) {
  core::ISemaphoreImpl semaphore;
  struct Row {
    core::GUID id;
    core::HRESULT expected;
    const char* what;
  };
  const Row rows[] = {
      {core::guid("00000000-0000-0000-C000-000000000046"), core::S_OK, "unknown"},
      {core::guid("71DF1A80-0F8F-11D4-9853-008048DA1252"), core::S_OK, "semaphore"},
      {core::guid("71DF1A80-0F8F-11D4-9853-008048DA1253"), core::E_NOINTERFACE, "last digit off"},
      {core::guid("00000000-0000-0000-0000-000000000000"), core::E_NOINTERFACE, "null id"},
      {core::IMutex::IID, core::E_NOINTERFACE, "another lock interface"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    void* out = &semaphore;  // garbage that must be overwritten
    EXPECT_EQ(semaphore.QueryInterface(row.id, &out), row.expected);
    EXPECT_EQ(out, row.expected == core::S_OK ? static_cast<core::ISemaphore*>(&semaphore) : nullptr);
  }
  EXPECT_NE(semaphore.eventHandle(), nullptr);
}

TEST(ISemaphoreImpl, EachRaiseReleasesOneWaiterAndRaisesDoNotAccumulate) {
  core::ISemaphoreImpl semaphore;
  EXPECT_FALSE(semaphore.wait(0));
  semaphore.raise(), semaphore.raise();
  EXPECT_TRUE(semaphore.wait(0));
  EXPECT_FALSE(semaphore.wait(20));

  std::atomic<int> passed{0};
  std::vector<std::thread> waiters = three_waiters(semaphore, passed);
  settle();
  semaphore.raise();
  settle();
  EXPECT_EQ(passed, 1);
  semaphore.raise(), semaphore.raise();
  for (auto& t : waiters) t.join();
  EXPECT_EQ(passed, 3);
}

TEST(ISemaphoreOneTimeImpl, OpensForGood) {
  core::ISemaphoreOneTimeImpl gate;
  EXPECT_FALSE(gate.wait(10));
  std::atomic<int> passed{0};
  std::vector<std::thread> waiters = three_waiters(gate, passed);
  settle();
  gate.raise();
  for (auto& t : waiters) t.join();
  EXPECT_EQ(passed, 3);
  EXPECT_TRUE(gate.wait(0));
  gate.wait();
}

TEST(Semaphores, TellTheSuspendMonitorOnlyWhenAWaitBlocks) {
  CountingSuspendMonitor monitor;
  core::ISemaphoreImpl semaphore;
  core::ISemaphoreOneTimeImpl gate;
  core::CountedSemaphore counted;
  semaphore.raise(), semaphore.wait();  // signalled: passes at once
  EXPECT_FALSE(semaphore.wait(0));      // a zero wait never blocks
  gate.raise(), gate.wait();
  counted.incrementCounter();
  EXPECT_TRUE(counted.wait(1000));
  EXPECT_EQ(monitor.blocked(), 0);

  EXPECT_FALSE(semaphore.wait(10));  // times out: blocked once
  std::thread raiser([&] {
    settle();
    semaphore.raise();
  });
  semaphore.wait();
  raiser.join();
  EXPECT_EQ(monitor.blocked(), 2);
  EXPECT_TRUE(monitor.paired());
}

TEST(CountedSemaphore, WaitDoesNotConsumeTheCounter) {
  core::CountedSemaphore semaphore;
  semaphore.incrementCounter(), semaphore.incrementCounter();
  EXPECT_TRUE(semaphore.wait(0) && semaphore.wait(0) && semaphore.wait(0));
  EXPECT_EQ(semaphore.counter(), 2);
  semaphore.decrementCounter(), semaphore.decrementCounter();
  EXPECT_EQ(semaphore.counter(), 0);
  // The raise of the increments is still pending on the event: one wait passes on it, then it blocks.
  semaphore.wait(0);
  EXPECT_FALSE(semaphore.wait(10));
}

TEST(CountedSemaphore, DecrementBelowZeroThrowsAtItsFixedPosition) {
  core::CountedSemaphore semaphore;
  try {
    semaphore.decrementCounter();
    FAIL() << "no exception";
  } catch (const core::IllegalStateException& e) {
    EXPECT_EQ(e.messageKey(), "IDS_ERR_ILLEGAL_STATE");
    EXPECT_EQ(e.module(), "kern83");
    EXPECT_EQ(e.sourceFile(), "core/src/CountedSemaphore");
    EXPECT_EQ(e.sourceLine(), 37);
  }
  EXPECT_EQ(semaphore.counter(), 0) << "the failed decrement changed nothing";
}

TEST(CountedSemaphore, ProducersAndConsumersAccountForEveryItem) {
  core::CountedSemaphore work;
  std::atomic<int> queued{0};
  std::atomic<int> taken{0};
  constexpr int kItems = 2000;
  std::vector<std::thread> threads;
  for (int p = 0; p < 2; ++p) {
    threads.emplace_back([&] {
      for (int i = 0; i < kItems / 2; ++i) {
        // Counted before it is published: a consumer that takes it then always finds the counter above
        // 0 (the other order lets a decrement overtake its increment and throw).
        work.incrementCounter();
        ++queued;
      }
    });
  }
  for (int c = 0; c < 2; ++c) {
    threads.emplace_back([&] {
      while (taken.load() < kItems) {
        if (!work.wait(5)) continue;
        // Take an item if one is there: the counter says how many are.
        int available = queued.load();
        while (available > 0 && !queued.compare_exchange_weak(available, available - 1)) {
        }
        if (available > 0) {
          work.decrementCounter();
          ++taken;
        }
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(taken, kItems);
  EXPECT_EQ(work.counter(), 0);
}

// ----- Named semaphores

std::u16string unique_name(const char* what) {
  const std::string text = std::string("semaphore-test.") + what + "." + std::to_string(testing_support::process_id());
  return std::u16string(text.begin(), text.end());
}

TEST(INamedSemaphoreImpl, OpenerRaisesAndCannotWait) {
  const avo::WString name(unique_name("local").c_str());
  core::INamedSemaphoreImpl owner(name, false);
  core::INamedSemaphoreImpl opener(name, true);
  EXPECT_TRUE(opener.isOpened());
  EXPECT_FALSE(owner.wait(0));
  opener.raise();
  EXPECT_TRUE(owner.wait(1000));
  owner.raise();
  EXPECT_FALSE(opener.wait(0)) << "the opening side may only raise";
  opener.wait();  // returns at once
  EXPECT_TRUE(owner.wait(0)) << "...so the raise is still there for the owner";
}

TEST(INamedSemaphoreImpl, OpeningAMissingOrVanishedNameThrows) {
  const avo::WString gone(unique_name("gone").c_str());
  { core::INamedSemaphoreImpl owner(gone, false); }  // the name goes away with its last holder
  for (const avo::WString& name : {avo::WString(unique_name("missing").c_str()), gone}) {
    try {
      core::INamedSemaphoreImpl opener(name, true);
      ADD_FAILURE() << "opened a name nobody holds";
    } catch (const core::ThreadException& e) {
      EXPECT_EQ(e.reason(), core::ThreadException::CreateFailed);
      EXPECT_EQ(e.messageKey(), "IDS_ERR_SYNC_OBJECT");
    }
  }
}

TEST(INamedSemaphoreImpl, RaisesReachAnotherProcess) {
#if defined(_WIN32)
  // Windows has no fork: the child is this program again, running this test alone with the name in its
  // environment, which tells it to open the name and raise.
  if (const char* childName = std::getenv("KERN83_SEMAPHORE_CHILD"); childName != nullptr && *childName != '\0') {
    const std::string text(childName);
    core::INamedSemaphoreImpl opener(avo::WString(std::u16string(text.begin(), text.end()).c_str()), true);
    opener.raise();
    return;
  }
  const std::string text = std::string("semaphore-test.child.") + std::to_string(testing_support::process_id());
  const avo::WString name(std::u16string(text.begin(), text.end()).c_str());
  core::INamedSemaphoreImpl owner(name, false);
  char self[1024];
  ASSERT_GT(GetModuleFileNameA(nullptr, self, sizeof self), 0u);
  _putenv_s("KERN83_SEMAPHORE_CHILD", text.c_str());
  const std::intptr_t child =
      _spawnl(_P_NOWAIT, self, self, "--gtest_filter=INamedSemaphoreImpl.RaisesReachAnotherProcess", nullptr);
  _putenv_s("KERN83_SEMAPHORE_CHILD", "");
  ASSERT_NE(child, -1);
  EXPECT_TRUE(owner.wait(20000)) << "the child's raise must arrive";
  int status = -1;
  _cwait(&status, child, 0);
  EXPECT_EQ(status, 0);
#else
  const avo::WString name(unique_name("fork").c_str());
  core::INamedSemaphoreImpl owner(name, false);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int code = 0;
    try {
      core::INamedSemaphoreImpl opener(name, true);
      opener.raise();
    } catch (...) {
      code = 2;
    }
    _exit(code);
  }
  EXPECT_TRUE(owner.wait(5000)) << "the child's raise must arrive";
  EXPECT_EQ(testing_support::exit_code(child), 0);
#endif
}

}  // namespace
