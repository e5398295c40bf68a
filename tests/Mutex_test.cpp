// Locks: IMutexImpl, RWMutex (+ ConditionVariable), RWRMutex, IRWMutexSimpleImpl, the back-off schedule.
// The read-write locks run with slim locks and with the spin-word fallback.
#include "core/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "CountingSuspendMonitor.h"
#include "TestSupport.h"
#include "base/LockGuard.h"
#include "platform/Mutex.h"
#include "platform/Sleep.h"
#include "platform/TickCount.h"
#include "threads/LockChoice.h"

namespace {

using core::detail::LockChoice;
using testing_support::contend;
using testing_support::CountingSuspendMonitor;
using testing_support::settle;

TEST(SpinBackoff, FollowsTheSchedule) {
  unsigned int attempt = 0;
  for (int i = 0; i < 24; ++i) core::spin_backoff(attempt);  // pauses and yields only
  EXPECT_EQ(attempt, 24u);
  struct Row {
    unsigned int attempt;
    std::uint64_t atLeastNs;
  };
  for (const Row& row : {Row{24, 1000000}, Row{25, 1000000}, Row{26, 10000000}, Row{40, 10000000}}) {
    SCOPED_TRACE(row.attempt);
    attempt = row.attempt;
    const std::uint64_t start = core::platform::monotonic_ns();
    core::spin_backoff(attempt);
    EXPECT_GE(core::platform::monotonic_ns() - start, row.atLeastNs);
    EXPECT_EQ(attempt, row.attempt + 1);
  }
}

// ----- IMutexImpl

TEST(IMutexImpl, IsRecursiveAndAnswersItsInterfacesOnly) {
  core::IMutexImpl mutex;
  mutex.lock(), mutex.lock();
  bool other = true;
  std::thread([&] { other = mutex.tryLock(); }).join();
  EXPECT_FALSE(other);
  mutex.unlock();
  std::thread([&] { other = mutex.tryLock(); }).join();
  EXPECT_FALSE(other) << "one unlock of two locks keeps the mutex";
  mutex.unlock();
  std::thread([&] {
    other = mutex.tryLock();
    if (other) mutex.unlock();
  }).join();
  EXPECT_TRUE(other);

  void* out = &other;
  EXPECT_EQ(mutex.QueryInterface(core::IMutex::IID, &out), core::S_OK);
  EXPECT_EQ(out, static_cast<core::IMutex*>(&mutex));
  EXPECT_EQ(mutex.QueryInterface(core::guid("71DF1A80-0F8F-11D4-9853-008048DA1252"), &out), core::E_NOINTERFACE);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(mutex.AddRef(), mutex.Release()) << "reference counting is a no-op";
}

TEST(IMutexImpl, NotifiesItsMonitorOnlyWhenItBlocks) {
  CountingSuspendMonitor monitor;  // also the process's: must not be used by IMutexImpl
  CountingSuspendMonitor own;
  core::IMutexImpl watched(&own);
  core::IMutexImpl unwatched;
  watched.lock(), watched.lock(), watched.unlock(), watched.unlock();
  EXPECT_EQ(own.blocked(), 0);

  for (core::IMutexImpl* mutex : {&watched, &unwatched}) {
    mutex->lock();
    contend([&] { mutex->lock(), mutex->unlock(); }, [&] { mutex->unlock(); });
  }
  EXPECT_EQ(own.blocked(), 1);
  EXPECT_TRUE(own.paired());
  EXPECT_EQ(monitor.blocked(), 0) << "a mutex without a monitor tells nobody";
}

// The library's internal locks tell whichever monitor the process has when they block, including one
// installed after the lock was made (an IMutexImpl the library embeds gets the forwarding monitor).
TEST(InternalLocks, TellTheProcesssCurrentMonitorWhenTheyBlock) {
  core::platform::Mutex internal;
  core::IMutexImpl embedded(core::platform::process_suspend_monitor());
  CountingSuspendMonitor monitor;
  { core::detail::LockGuard uncontended(internal); }
  EXPECT_EQ(monitor.blocked(), 0);
  internal.lock();
  contend([&] { core::detail::LockGuard guard(internal); }, [&] { internal.unlock(); });
  embedded.lock();
  contend([&] { core::detail::LockGuard guard(embedded); }, [&] { embedded.unlock(); });
  EXPECT_EQ(monitor.blocked(), 2);
  EXPECT_TRUE(monitor.paired());
}

// ----- Read-write locks in both implementations

class ReadWriteLocks : public ::testing::TestWithParam<LockChoice> {
 protected:
  void SetUp() override { core::detail::set_lock_choice(GetParam()); }
  void TearDown() override { core::detail::set_lock_choice(LockChoice::System); }
  bool slim() const { return GetParam() == LockChoice::Slim; }
};

INSTANTIATE_TEST_SUITE_P(Both, ReadWriteLocks, ::testing::Values(LockChoice::Slim, LockChoice::Spin),
                         [](const ::testing::TestParamInfo<LockChoice>& param) {
                           return param.param == LockChoice::Slim ? "Slim" : "Spin";
                         });

// Runs readers and writers over `lock(write, acquire)` and checks that writers are alone and readers see
// no writer.
template <class Lock>
void stress_read_write(Lock&& lock) {
  std::atomic<int> readers{0};
  std::atomic<int> writers{0};
  std::atomic<bool> broken{false};
  long written = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        const bool write = (i + t) % 5 == 0;
        lock(write, true);
        if (write) {
          if (writers.fetch_add(1) != 0 || readers.load() != 0) broken = true;
          ++written;
          writers.fetch_sub(1);
        } else {
          readers.fetch_add(1);
          if (writers.load() != 0) broken = true;
          readers.fetch_sub(1);
        }
        lock(write, false);
      }
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_FALSE(broken);
  EXPECT_EQ(written, 4 * 400);
}

TEST_P(ReadWriteLocks, RWMutexExcludesWritersFromEverybody) {
  core::RWMutex mutex;
  stress_read_write([&](bool write, bool acquire) {
    if (write) {
      acquire ? mutex.lock() : mutex.unlock();
    } else {
      acquire ? mutex.lockShared() : mutex.unlockShared();
    }
  });
}

TEST_P(ReadWriteLocks, RWMutexNotifiesOnlyWhenItBlocks) {
  CountingSuspendMonitor monitor;
  core::RWMutex mutex(&monitor);
  mutex.lock(), mutex.unlock();
  mutex.lockShared(), mutex.lockShared(), mutex.unlockShared(), mutex.unlockShared();
  EXPECT_EQ(monitor.blocked(), 0);

  mutex.lockShared();
  contend([&] { mutex.lock(), mutex.unlock(); }, [&] { mutex.unlockShared(); });
  mutex.lock();
  contend([&] { mutex.lockShared(), mutex.unlockShared(); }, [&] { mutex.unlock(); });
  EXPECT_EQ(monitor.blocked(), 2);
  EXPECT_TRUE(monitor.paired());
}

TEST_P(ReadWriteLocks, RWMutexWaitingWriterAndNewReaders) {
  core::RWMutex mutex;
  mutex.lockShared();
  std::atomic<bool> writerIn{false};
  std::thread writer([&] {
    mutex.lock();
    writerIn = true;
    mutex.unlock();
  });
  settle();
  std::atomic<bool> readerIn{false};
  std::thread reader([&] {
    mutex.lockShared();
    readerIn = true;
    mutex.unlockShared();
  });
  settle();
  if (slim()) {
    EXPECT_FALSE(readerIn) << "with a slim lock a waiting writer holds new readers back";
  } else {
    EXPECT_TRUE(readerIn) << "in spin mode readers win over a waiting writer";
  }
  EXPECT_FALSE(writerIn);
  mutex.unlockShared();
  writer.join();
  reader.join();
  EXPECT_TRUE(writerIn && readerIn);
}

TEST_P(ReadWriteLocks, RWMutexStaticFormsWorkOnPlainStorage) {
  std::uintptr_t storage = 0;
  core::RWMutex::lock(&storage, nullptr);
  if (!slim()) {
    EXPECT_EQ(storage, core::RWMutex::WAFLAG);
  }
  core::RWMutex::unlock(&storage, nullptr);
  core::RWMutex::lockShared(&storage, nullptr), core::RWMutex::lockShared(&storage, nullptr);
  if (!slim()) {
    EXPECT_EQ(storage, 2 * core::RWMutex::RC_INCR);
  }
  core::RWMutex::unlockShared(&storage, nullptr), core::RWMutex::unlockShared(&storage, nullptr);
  EXPECT_EQ(storage, 0u);
}

TEST_P(ReadWriteLocks, ConditionVariableHandsOverAValue) {
  for (bool monitored : {false, true}) {
    SCOPED_TRACE(monitored);
    nexa::set_use_mutex_monitor(monitored);  // monitored locks make the variable poll
    core::RWMutex mutex;
    core::ConditionVariable condition(mutex);
    int value = 0;
    unsigned int attempts = 0;
    std::thread producer([&] {
      core::platform::sleep_ms(20);
      mutex.lock();
      value = 42;
      mutex.unlock();
      condition.notifyAll();
    });
    mutex.lockShared();
    while (value == 0) condition.wait(true, attempts, 1000);
    mutex.unlockShared();
    producer.join();
    EXPECT_EQ(value, 42);
    EXPECT_GE(attempts, 1u);
    if (slim() && !monitored) {
      EXPECT_LE(attempts, 3u) << "a sleeping wait is woken, not polled";
    }
  }
  nexa::set_use_mutex_monitor(false);
}

TEST_P(ReadWriteLocks, ConditionVariableSleepTimesOut) {
  if (!slim()) GTEST_SKIP() << "the polling variable ignores the timeout by design";
  CountingSuspendMonitor monitor;
  core::RWMutex mutex(&monitor);
  core::ConditionVariable condition(mutex);
  unsigned int attempts = 0;
  mutex.lock();
  const auto start = core::platform::tick_count();
  condition.wait(false, attempts, 30);
  EXPECT_GE(core::platform::tick_count() - start, 29u);
  mutex.unlock();
  EXPECT_EQ(attempts, 1u);
  EXPECT_EQ(monitor.blocked(), 1);
  EXPECT_TRUE(monitor.paired());
}

// ----- RWRMutex

TEST_P(ReadWriteLocks, RWRMutexExcludesWritersFromEverybody) {
  core::RWRMutex mutex;
  stress_read_write([&](bool write, bool acquire) {
    // Writers re-enter once and read inside their write section; readers re-enter once.
    if (write && acquire) {
      mutex.lock(), mutex.lock(), mutex.lockShared();
    } else if (write) {
      mutex.unlockShared(), mutex.unlock(), mutex.unlock();
    } else if (acquire) {
      mutex.lockShared(), mutex.lockShared();
    } else {
      mutex.unlockShared(), mutex.unlockShared();
    }
  });
  EXPECT_EQ(mutex.readers(), 0);
  EXPECT_EQ(mutex.writer(), 0u);
}

TEST_P(ReadWriteLocks, RWRMutexReaderReentersPastAWaitingWriterWhileNewReadersQueue) {
  core::RWRMutex mutex;
  std::atomic<int> order{0};
  std::atomic<int> writerAt{0};
  std::atomic<int> newReaderAt{0};
  mutex.lockShared();
  std::thread writer([&] {
    mutex.lock();
    writerAt = ++order;
    mutex.unlock();
  });
  settle();  // the writer now waits for our read lock
  std::thread newReader([&] {
    mutex.lockShared();
    newReaderAt = ++order;
    mutex.unlockShared();
  });
  settle();
  EXPECT_EQ(order, 0) << "neither the writer nor a new reader may be in";
  mutex.lockShared();  // re-entry must not deadlock behind the waiting writer
  EXPECT_EQ(mutex.threadReaders(), 2);
  EXPECT_EQ(mutex.readers(), 1) << "one reading thread";
  mutex.unlockShared(), mutex.unlockShared();
  writer.join();
  newReader.join();
  EXPECT_EQ(writerAt, 1) << "writer preference: the waiting writer goes before the new reader";
  EXPECT_EQ(newReaderAt, 2);
}

TEST_P(ReadWriteLocks, RWRMutexOnlyReaderMayUpgrade) {
  core::RWRMutex mutex;
  mutex.lockShared();
  mutex.lock();  // the only reader: upgrade at once
  EXPECT_NE(mutex.writer(), 0u);
  mutex.unlock();
  EXPECT_EQ(mutex.writer(), 0u);

  // With a second reader present the upgrade waits for it.
  std::atomic<bool> otherReads{false};
  std::atomic<bool> upgraded{false};
  std::atomic<bool> upgradedBeforeRelease{false};
  std::thread other([&] {
    mutex.lockShared();
    otherReads = true;
    settle();
    upgradedBeforeRelease = upgraded.load();
    mutex.unlockShared();
  });
  ASSERT_TRUE(testing_support::eventually([&] { return otherReads.load(); }));
  mutex.lock();
  upgraded = true;
  mutex.unlock(), mutex.unlockShared();
  other.join();
  EXPECT_FALSE(upgradedBeforeRelease) << "a second reader blocks the upgrade";
  EXPECT_EQ(mutex.readers(), 0);
}

TEST_P(ReadWriteLocks, RWRMutexTellsTheMonitorOnlyWhenItWaits) {
  core::RWRMutex mutex;
  CountingSuspendMonitor monitor;
  mutex.lock(), mutex.lockShared(), mutex.unlockShared(), mutex.unlock();
  mutex.lockShared(), mutex.lockShared(), mutex.unlockShared(), mutex.unlockShared();
  EXPECT_EQ(monitor.blocked(), 0);
  mutex.lock();
  contend([&] { mutex.lockShared(), mutex.unlockShared(); }, [&] { mutex.unlock(); });
  EXPECT_EQ(monitor.blocked(), 1);
  EXPECT_TRUE(monitor.paired());
}

// ----- IRWMutexSimpleImpl

TEST(IRWMutexSimpleImpl, WriterReadsFreelyAndNestedWritesNeedAsManyReleases) {
  core::IRWMutexSimpleImpl mutex;
  mutex.acquireWriterLock(), mutex.acquireWriterLock();
  mutex.acquireReaderLock(), mutex.releaseReaderLock();  // inside the own write section: free
  mutex.releaseWriterLock();
  std::atomic<bool> readerIn{false};
  contend(
      [&] {
        mutex.acquireReaderLock();
        readerIn = true;
        mutex.releaseReaderLock();
      },
      [&] {
        EXPECT_FALSE(readerIn) << "one release of two nested writes keeps the lock";
        mutex.releaseWriterLock();
      });
  EXPECT_TRUE(readerIn);
}

TEST(IRWMutexSimpleImpl, WriterWaitsForReadersToDrain) {
  CountingSuspendMonitor monitor;
  core::IRWMutexSimpleImpl mutex(&monitor);
  mutex.acquireReaderLock(), mutex.acquireReaderLock();
  EXPECT_EQ(monitor.blocked(), 0);
  std::atomic<bool> writerIn{false};
  contend(
      [&] {
        mutex.acquireWriterLock();
        writerIn = true;
        mutex.releaseWriterLock();
      },
      [&] {
        EXPECT_FALSE(writerIn);
        mutex.releaseReaderLock(), mutex.releaseReaderLock();
      });
  EXPECT_TRUE(writerIn);
  EXPECT_EQ(monitor.blocked(), 1);
  EXPECT_TRUE(monitor.paired());
}

TEST(IRWMutexSimpleImpl, StressKeepsReadersAndWritersApart) {
  core::IRWMutexSimpleImpl mutex;
  stress_read_write([&](bool write, bool acquire) {
    if (write) {
      acquire ? mutex.acquireWriterLock() : mutex.releaseWriterLock();
    } else {
      acquire ? mutex.acquireReaderLock() : mutex.releaseReaderLock();
    }
  });
}

}  // namespace
