#pragma once
// Locks: a recursive mutex, read-write mutexes and a condition variable.
//
//   IMutexImpl           recursive mutual exclusion over a critical section (spin count 4000).
//   RWMutex              non-recursive read-write mutex run through a base-runtime mutex monitor; a slim
//                        reader-writer lock when the system offers one, else a spin word in which
//                        readers win over a waiting writer.
//   ConditionVariable    sleeps with an RWMutex (or polls, when locks are monitored or spinning).
//   RWRMutex             recursive read-write mutex with writer preference: a reader may read again
//                        while a writer waits, the only reader may upgrade to writing.
//   IRWMutexSimpleImpl   read-write lock whose writer may re-enter and read inside its write section.
//
//     core::RWRMutex tableLock;
//     tableLock.lockShared();       // many readers at once
//     ...
//     tableLock.unlockShared();
//     tableLock.lock();             // one writer; re-entrant
//     tableLock.unlock();
//
// Blocking and the suspend monitor: a lock constructed with a nexa::IThreadSuspendMonitor tells it
// "about to block" just before the calling thread may block and "resumed" right after, and tells it
// nothing when the lock is taken at once. RWRMutex uses the process's current monitor
// (nexa::get_thread_suspend_monitor()) in the same way. Spinning waits share one back-off schedule,
// spin_backoff().
//
// Unlocking checks nothing: releasing a lock one does not hold corrupts its counts, as with any
// unchecked lock. Thread safety: every operation may be called from any thread.

#include <atomic>
#include <cstdint>
#include <memory>

#include "core/Export.h"
#include "core/Interface.h"
#include "core/ThreadAnnotations.h"
#include "nexa/Monitor.h"

namespace core {

// One step of the back-off schedule shared by every spinning wait. `attempt` starts at 0 and grows by one
// per call: attempts 0-9 execute one processor pause, 10-19 fifty pauses, 20-23 yield (sleep 0 ms), 24-25
// sleep 1 ms, and every later attempt sleeps 10 ms.
KERN83_API void spin_backoff(unsigned int& attempt) noexcept;

// The lock interface of IMutexImpl: slots 0-2 as IUnknown, 3 lock, 4 unlock.
class IMutex : public IUnknown {
 public:
  static constexpr GUID IID = guid("5b0e6f38-2a0c-4b57-9d55-3f5d7a7a3c11");

  // Takes the mutex, waiting as long as it takes; gives one hold back.
  virtual void lock() = 0;
  virtual void unlock() = 0;

 protected:
  ~IMutex() = default;
};

// Recursive mutex. AddRef and Release do nothing: the object belongs to whoever embeds it.
// With a suspend monitor, `lock` first tries to take the section; only when that fails does it send
// "about to block", wait, and send "resumed". Without one it simply enters (spinning up to 4000 tries).
class KERN83_API KERN83_CAPABILITY("mutex") IMutexImpl : public IMutex {
 public:
  // Without and with a suspend monitor, which hears of every wait (see above).
  IMutexImpl() noexcept;
  explicit IMutexImpl(nexa::IThreadSuspendMonitor* monitor) noexcept;
  virtual ~IMutexImpl();
  IMutexImpl(const IMutexImpl&) = delete;
  IMutexImpl& operator=(const IMutexImpl&) = delete;

  // Answers IUnknown and IMutex; anything else gives E_NOINTERFACE and null.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }

  // Takes the mutex (once more, when this thread holds it already); gives one hold back.
  void lock() override KERN83_ACQUIRE();
  void unlock() override KERN83_RELEASE();
  // Takes the mutex only if that does not block; true when taken. Never notifies the monitor.
  bool tryLock() noexcept KERN83_TRY_ACQUIRE(true);

  // The suspend monitor given at construction, or null.
  nexa::IThreadSuspendMonitor* monitor() const noexcept { return monitor_; }

 private:
  friend struct IMutexImplInternal;  // lock and unlock inlined by the locks that embed one

  nexa::IThreadSuspendMonitor* monitor_;
  alignas(16) unsigned char section_[48];  // the platform critical section, constructed in place
};

// Non-recursive read-write mutex. The instance operations ask the mutex monitor (made by
// nexa::create_mutex_monitor for lock kind 1) to run the matching static operation on the lock word, so
// the base runtime observes every acquisition. The static forms may also be used directly on any
// zero-initialised pointer-sized storage.
//
// With a slim lock a waiting writer holds new readers back. In spin mode (no slim lock on the system)
// the word is WAFLAG for a writer plus RC_INCR per reader, and a writer enters only when the word is 0,
// so readers always win over a waiting writer: that preference is intended.
class KERN83_API KERN83_CAPABILITY("mutex") RWMutex {
 public:
  // The spin word's units: each reader adds RC_INCR, a writer sets WAFLAG.
  static constexpr std::uint32_t RC_INCR = 2;
  static constexpr std::uint32_t WAFLAG = 1;

  // Without and with a suspend monitor; either way with a mutex monitor for lock kind 1.
  RWMutex();
  explicit RWMutex(nexa::IThreadSuspendMonitor* monitor);
  ~RWMutex();
  RWMutex(const RWMutex&) = delete;
  RWMutex& operator=(const RWMutex&) = delete;

  // Exclusive and shared acquisition and release, each run by the mutex monitor.
  void lock() KERN83_ACQUIRE();
  void unlock() KERN83_RELEASE();
  void lockShared() KERN83_ACQUIRE_SHARED();
  void unlockShared() KERN83_RELEASE_SHARED();

  // The same directly on a lock word `storage`, telling `monitor` (null: nobody) of every wait.
  static void lock(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept;
  static void unlock(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept;
  static void lockShared(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept;
  static void unlockShared(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept;

  // The mutex monitor made at construction, and the suspend monitor given then (or null).
  nexa::IMutexMonitor& mutexMonitor() const noexcept { return *mutexMonitor_; }
  nexa::IThreadSuspendMonitor* suspendMonitor() const noexcept { return suspendMonitor_; }
  // The lock word (a slim lock or the spin word).
  void* storage() noexcept { return &word_; }

 private:
  std::unique_ptr<nexa::IMutexMonitor> mutexMonitor_;
  nexa::IThreadSuspendMonitor* suspendMonitor_;
  alignas(8) std::atomic<std::uint32_t> word_{0};  // pointer-sized slot: the padding after it is the rest
};

// Condition variable over an RWMutex. When slim locks are in use and the base runtime does not monitor
// locks (nexa::use_mutex_monitor() is false) it really sleeps; otherwise `wait` is a poll step: it
// releases the mutex through its monitor, takes one back-off step and re-acquires, ignoring the timeout.
// Either way callers re-test their condition in a loop:
//
//     unsigned int attempt = 0;
//     mutex.lock();
//     while (!ready) condition.wait(false, attempt, 100);
//     mutex.unlock();
class KERN83_API ConditionVariable {
 public:
  // A condition over `mutex`, which outlives it.
  explicit ConditionVariable(RWMutex& mutex) noexcept;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  // The caller holds the mutex, shared or exclusively as `shared` says, and holds it again on return.
  // Sleeping notifies the mutex's suspend monitor; the attempt counter grows by one per call.
  void wait(bool shared, unsigned int& attempt, unsigned int timeoutMs);
  // Wakes every sleeper (does nothing in poll mode, where nobody sleeps).
  void notifyAll() noexcept;

 private:
  RWMutex& mutex_;
  alignas(8) unsigned char condition_[8];  // the platform condition variable
  bool sleeps_;
};

// Recursive read-write mutex with writer preference.
//   lock        granted when nobody reads and there is no writer other than this thread, or when this
//               thread is the only reader (upgrade).
//   lockShared  granted to the writer itself, to a thread that already reads (even while a writer
//               waits), and to others only while no writer holds or waits.
// Per-thread reader counts live in a thread-local slot, so re-entry and upgrade need no search and a
// re-entrant read touches no shared memory. Construction when no thread-local slot is left (at most 1024
// exist at once) stops the process (deliberately: the lock could not keep its promise). A thread that may
// not be granted spins briefly, then sleeps on a condition variable when slim locks are in use, else it
// polls with the back-off schedule; either way it tells the process's suspend monitor before and after.
class KERN83_API KERN83_CAPABILITY("mutex") RWRMutex {
 public:
  RWRMutex();
  ~RWRMutex();
  RWRMutex(const RWRMutex&) = delete;
  RWRMutex& operator=(const RWRMutex&) = delete;

  // Exclusive and shared acquisition by the rules above; each release gives back one acquisition of the
  // calling thread.
  void lock() KERN83_ACQUIRE();
  void unlock() KERN83_RELEASE();
  void lockShared() KERN83_ACQUIRE_SHARED();
  void unlockShared() KERN83_RELEASE_SHARED();

  // Diagnostics: how many threads hold read locks, the writer's thread id (0 = none), and how many read
  // locks the calling thread holds.
  std::int32_t readers() const noexcept { return readers_.load(std::memory_order_acquire); }
  std::uint64_t writer() const noexcept { return writer_.load(std::memory_order_acquire); }
  std::int32_t threadReaders() const noexcept;

 private:
  friend struct RWRMutexInternal;  // the grant logic, kept out of the exported symbols

  alignas(8) unsigned char condition_[8];  // the platform condition variable waiters sleep on
  std::uint32_t tlsSlot_;
  std::atomic<std::int32_t> readers_{0};  // threads holding read locks (counts per thread are in TLS)
  std::atomic<std::uint64_t> writer_{0};
  std::int32_t writerRecursion_ = 0;
  std::atomic<std::int32_t> waitingWriters_{0};
  bool sleeps_;  // slim locks in use: waiters sleep; else they poll
};

// Read-write lock whose writer may re-enter and may read inside its write section (such reads are free
// and not counted). Writers hold the inner IMutexImpl for the whole write section, so a reader that
// meets a writer sleeps on it until the writer is done.
class KERN83_API KERN83_CAPABILITY("mutex") IRWMutexSimpleImpl {
 public:
  // The spin word's units: each reader adds RC_INCR, a writer sets WAFLAG.
  static constexpr std::uint32_t RC_INCR = 2;
  static constexpr std::uint32_t WAFLAG = 1;

  // Without and with a suspend monitor, given to the inner mutex that waiting readers and writers sleep on.
  IRWMutexSimpleImpl() noexcept;
  explicit IRWMutexSimpleImpl(nexa::IThreadSuspendMonitor* monitor) noexcept;
  IRWMutexSimpleImpl(const IRWMutexSimpleImpl&) = delete;
  IRWMutexSimpleImpl& operator=(const IRWMutexSimpleImpl&) = delete;

  // A read section, shared with other readers; free and uncounted inside this thread's write section.
  void acquireReaderLock() KERN83_ACQUIRE_SHARED();
  void releaseReaderLock() KERN83_RELEASE_SHARED();
  // The write section holds the inner mutex from acquireWriterLock to releaseWriterLock, across calls,
  // which the thread-safety analysis cannot follow inside these two.
  void acquireWriterLock() KERN83_ACQUIRE() KERN83_NO_THREAD_SAFETY_ANALYSIS;
  void releaseWriterLock() KERN83_RELEASE() KERN83_NO_THREAD_SAFETY_ANALYSIS;

 private:
  std::atomic<std::uint32_t> word_{0};
  IMutexImpl inner_;
  std::atomic<std::uint64_t> owner_{0};
  std::int32_t recursion_ = 0;
};

}  // namespace core
