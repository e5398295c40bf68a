// RWRMutex: recursive read-write mutex with writer preference.
//
// readers_ counts the threads that hold at least one read lock; how many each holds is in its
// thread-local slot. So a thread's nested reads touch only its own slot, and "every reader is this
// thread" (upgrade) reads: readers_ == (this thread reads ? 1 : 0).
//
// No lock guards the grant decisions; they are made in the "announce, then check" style, so that of two
// threads racing for conflicting access at least one sees the other:
//  - a first read (the thread holds none) adds itself to readers_, then checks that no writer holds
//    (writer_) or waits (waitingWriters_); if one does, it takes its increment back and waits;
//  - a write claims writer_ by compare-and-swap, then checks that no other thread reads (plain grant
//    or upgrade); if not, it gives the claim back and waits,
//    counted in waitingWriters_ so that new readers stay out meanwhile (writer preference).
// A thread that already reads reads again without checks (no other thread can write meanwhile), and so
// does the writer; the writer re-enters its write the same way. Only the owning thread writes its
// thread-local count and, as the writer, writerRecursion_.
//
// Orderings: each side's announcement is a read-modify-write and its check a load of the other side's
// word, so the pair must not be reordered (store-load): both are sequentially consistent. On x86 that
// costs nothing beyond the locked instruction the announcement needs anyway; the checks are plain loads.
// The loads before an announcement are relaxed: they only spare a doomed read-modify-write, the decision
// is the check after it.
//
// Waiters spin a little, then register on the condition variable before they test again, and every
// change that can make somebody grantable (writer gone, claim given back, a thread's last read gone) is
// followed by wake_waiters(), which costs one load when nobody waits.
#include <new>

#include "core/Mutex.h"
#include "platform/ConditionVariable.h"
#include "platform/Diagnostics.h"
#include "platform/OsThread.h"
#include "platform/Sleep.h"
#include "platform/ThreadLocal.h"
#include "threads/LockChoice.h"

namespace core {

namespace {

static_assert(sizeof(platform::CondVar) <= 8 && alignof(platform::CondVar) <= 8);

constexpr auto kOrder = std::memory_order_seq_cst;

// Pause-and-retest rounds before a waiter sleeps. Critical sections guarded by these locks are short, so
// the holder usually leaves within a few hundred nanoseconds, far less than a sleep and a wake-up in the
// kernel cost both threads.
constexpr int kSpinTries = 100;

std::int32_t held_reads(std::uint32_t slot) noexcept {
  return static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(platform::tls_get(slot)));
}
void set_held_reads(std::uint32_t slot, std::int32_t count) noexcept {
  platform::tls_set(slot, reinterpret_cast<void*>(static_cast<std::intptr_t>(count)));
}

}  // namespace

// Hidden from the library's exported symbols, so that the fast paths call (or inline) it directly.
struct RWRMutexInternal {
  static platform::CondVar& condition(RWRMutex& m) noexcept {
    return *std::launder(reinterpret_cast<platform::CondVar*>(m.condition_));
  }

  static void wakeWaiters(RWRMutex& m) noexcept { condition(m).wakeAll(); }

  static bool tryClaim(RWRMutex& m, std::uint64_t self, std::int32_t held) noexcept {
    const std::int32_t mine = held > 0 ? 1 : 0;
    if (m.readers_.load(std::memory_order_relaxed) != mine) return false;
    std::uint64_t none = 0;
    if (!m.writer_.compare_exchange_strong(none, self, kOrder, std::memory_order_relaxed)) return false;
    if (m.readers_.load(kOrder) == mine) return true;
    m.writer_.store(0, kOrder);  // a reader slipped in: give the claim back
    wakeWaiters(m);
    return false;
  }

  static bool tryFirstRead(RWRMutex& m) noexcept {
    if (m.writer_.load(std::memory_order_relaxed) != 0 || m.waitingWriters_.load(std::memory_order_relaxed) != 0) {
      return false;
    }
    m.readers_.fetch_add(1, kOrder);
    if (m.writer_.load(kOrder) == 0 && m.waitingWriters_.load(kOrder) == 0) return true;
    m.readers_.fetch_sub(1, kOrder);  // a writer holds or waits: step back (it may wait for us to go)
    wakeWaiters(m);
    return false;
  }

  // Waits until `condition()` holds; the condition may take the lock as a side effect (then it returns
  // true). The caller has tested it once already. The suspend monitor hears of the wait only when the
  // spinning did not do: from then on the thread may sleep.
  template <class Condition>
  static void waitUntil(RWRMutex& m, Condition condition) {
    for (int i = 0; i < kSpinTries; ++i) {
      platform::cpu_pause();
      if (condition()) return;
    }
    nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
    unsigned int attempt = 0;
    platform::CondVar& variable = RWRMutexInternal::condition(m);
    for (;;) {
      if (!m.sleeps_) {
        spin_backoff(attempt);
        if (condition()) return;
        continue;
      }
      const std::uint32_t generation = variable.prepare();
      if (condition()) {
        variable.cancel();
        return;
      }
      variable.block(generation, platform::kInfinite);
    }
  }

  [[gnu::noinline]] static void lockSlow(RWRMutex& m, std::uint64_t self, std::int32_t held) {
    m.waitingWriters_.fetch_add(1, kOrder);
    waitUntil(m, [&] { return tryClaim(m, self, held); });
    m.waitingWriters_.fetch_sub(1, kOrder);
  }

  [[gnu::noinline]] static void firstReadSlow(RWRMutex& m) {
    if (m.writer_.load(std::memory_order_relaxed) == platform::current_thread_id()) {
      m.readers_.fetch_add(1, kOrder);  // the writer may read; only this thread can have stored its own id
      return;
    }
    waitUntil(m, [&] { return tryFirstRead(m); });
  }
};

RWRMutex::RWRMutex() : tlsSlot_(platform::tls_alloc()), sleeps_(detail::slim_locks_in_use()) {
  // Deliberate: see the class comment.
  if (tlsSlot_ == platform::kNoTlsSlot) platform::fatal_error("no thread-local slot left for a RWRMutex");
  new (condition_) platform::CondVar();
}

RWRMutex::~RWRMutex() { platform::tls_free(tlsSlot_); }

std::int32_t RWRMutex::threadReaders() const noexcept { return held_reads(tlsSlot_); }

void RWRMutex::lock() {
  const std::uint64_t self = platform::current_thread_id();
  if (writer_.load(std::memory_order_relaxed) == self) {  // only this thread can have stored its own id
    ++writerRecursion_;
    return;
  }
  const std::int32_t held = held_reads(tlsSlot_);
  if (!RWRMutexInternal::tryClaim(*this, self, held)) RWRMutexInternal::lockSlow(*this, self, held);
  writerRecursion_ = 1;
}

void RWRMutex::unlock() {
  if (--writerRecursion_ > 0) return;
  writer_.store(0, kOrder);
  RWRMutexInternal::wakeWaiters(*this);
}

void RWRMutex::lockShared() {
  // A thread that already reads may always read again, even past a waiting writer.
  const std::int32_t held = held_reads(tlsSlot_);
  if (held == 0 && !RWRMutexInternal::tryFirstRead(*this)) RWRMutexInternal::firstReadSlow(*this);
  set_held_reads(tlsSlot_, held + 1);
}

void RWRMutex::unlockShared() {
  const std::int32_t held = held_reads(tlsSlot_);
  set_held_reads(tlsSlot_, held - 1);
  if (held != 1) return;  // not the thread's last read: nobody else can become grantable
  readers_.fetch_sub(1, kOrder);
  RWRMutexInternal::wakeWaiters(*this);
}

}  // namespace core
