// RWRMutex: recursive read-write mutex with writer preference.
//
// Invariants (all changes of writer_, writerRecursion_ and waitingWriters_ happen under the guard held
// exclusively; readers_ changes atomically):
//  - readers_ is the sum over threads of the counts in their thread-local slots;
//  - writer_ != 0 implies that readers_ equals the writer's own count (others are never granted a read
//    while a writer holds, and a writer is granted only when all readers are itself);
//  - writerRecursion_ > 0 exactly while writer_ != 0.
//
// Fast paths that skip the guard: a thread that already reads may add or drop a read that is not its
// last (it cannot make anybody grantable: while it reads, no other thread may write), and the writer may
// re-enter or leave a nested write. Only the owning thread ever writes its slot or (as the writer)
// writerRecursion_.
#include <cstdlib>
#include <new>

#include "core/Mutex.h"
#include "platform/ConditionVariable.h"
#include "platform/CriticalSection.h"
#include "platform/OsThread.h"
#include "platform/SlimLock.h"
#include "platform/ThreadLocal.h"
#include "threads/LockChoice.h"

namespace core {

namespace {

struct SlimGuard {
  platform::SlimWord word{0};
  platform::CondVar condition;
};
static_assert(sizeof(SlimGuard) <= 48 && sizeof(platform::CriticalSection) <= 48);

std::intptr_t held_reads(std::uint32_t slot) noexcept {
  return reinterpret_cast<std::intptr_t>(platform::tls_get(slot));
}
void set_held_reads(std::uint32_t slot, std::intptr_t count) noexcept {
  platform::tls_set(slot, reinterpret_cast<void*>(count));
}

}  // namespace

// The internal guard: taken around every grant decision. In slim mode a refused thread sleeps on the
// condition variable; in fallback mode it leaves the critical section, backs off and comes back.
class RWRMutex::Guard {
 public:
  Guard(RWRMutex& m, bool shared) : m_(m), shared_(shared && m.slim_) {
    if (m_.slim_) {
      if (shared_) {
        platform::slim_lock_shared(slim().word);
      } else {
        platform::slim_lock_exclusive(slim().word);
      }
    } else {
      section().enter();
    }
  }
  ~Guard() {
    if (!m_.slim_) {
      section().leave();
    } else if (shared_) {
      platform::slim_unlock_shared(slim().word);
    } else {
      platform::slim_unlock_exclusive(slim().word);
    }
  }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

  // Waits (with the guard) until `grantable()` holds, telling the suspend monitor when it must wait.
  template <class Grantable>
  void waitUntil(Grantable grantable) {
    if (grantable()) return;
    nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
    unsigned int attempt = 0;
    do {
      if (m_.slim_) {
        slim().condition.sleep(slim().word, shared_, platform::kInfinite);
      } else {
        section().leave();
        spin_backoff(attempt);
        section().enter();
      }
    } while (!grantable());
  }

  static void wakeAll(RWRMutex& m) noexcept {
    if (m.slim_) std::launder(reinterpret_cast<SlimGuard*>(m.guard_))->condition.wakeAll();
  }

 private:
  SlimGuard& slim() { return *std::launder(reinterpret_cast<SlimGuard*>(m_.guard_)); }
  platform::CriticalSection& section() {
    return *std::launder(reinterpret_cast<platform::CriticalSection*>(m_.guard_));
  }

  RWRMutex& m_;
  bool shared_;
};

RWRMutex::RWRMutex() : tlsSlot_(platform::tls_alloc()), slim_(detail::slim_locks_in_use()) {
  if (tlsSlot_ == platform::kNoTlsSlot) std::abort();  // deliberate: see the class comment
  if (slim_) {
    new (guard_) SlimGuard();
  } else {
    new (guard_) platform::CriticalSection(platform::kDefaultSpinCount);
  }
}

RWRMutex::~RWRMutex() {
  if (!slim_) std::launder(reinterpret_cast<platform::CriticalSection*>(guard_))->~CriticalSection();
  platform::tls_free(tlsSlot_);
}

std::int32_t RWRMutex::threadReaders() const noexcept { return static_cast<std::int32_t>(held_reads(tlsSlot_)); }

void RWRMutex::lock() {
  const std::uint64_t self = platform::current_thread_id();
  if (writer_.load(std::memory_order_relaxed) == self) {  // only this thread can have stored its own id
    ++writerRecursion_;
    return;
  }
  grantWrite(self);
}

void RWRMutex::grantWrite(std::uint64_t self) {
  Guard guard(*this, false);
  ++waitingWriters_;
  const std::int32_t mine = static_cast<std::int32_t>(held_reads(tlsSlot_));
  guard.waitUntil([&] {
    const std::int32_t readers = readers_.load(std::memory_order_acquire);
    if (readers > 0) return readers == mine;  // upgrade: every read is this thread's
    const std::uint64_t writer = writer_.load(std::memory_order_relaxed);
    return writer == 0 || writer == self;
  });
  ++writerRecursion_;
  --waitingWriters_;
  writer_.store(self, std::memory_order_relaxed);
}

void RWRMutex::unlock() {
  if (writerRecursion_ > 1) {
    --writerRecursion_;
    return;
  }
  {
    Guard guard(*this, false);
    if (--writerRecursion_ == 0) writer_.store(0, std::memory_order_relaxed);
  }
  Guard::wakeAll(*this);
}

void RWRMutex::lockShared() {
  const std::intptr_t held = held_reads(tlsSlot_);
  if (held > 0) {
    // A thread that already reads may always read again, even past a waiting writer.
    readers_.fetch_add(1, std::memory_order_relaxed);
    set_held_reads(tlsSlot_, held + 1);
    return;
  }
  grantRead(platform::current_thread_id(), held);
}

void RWRMutex::grantRead(std::uint64_t self, std::intptr_t held) {
  Guard guard(*this, true);
  guard.waitUntil([&] {
    const std::uint64_t writer = writer_.load(std::memory_order_relaxed);
    if (writer == self) return true;
    if (writer != 0) return false;
    return held > 0 || waitingWriters_ == 0;
  });
  readers_.fetch_add(1, std::memory_order_acq_rel);
  set_held_reads(tlsSlot_, held + 1);
}

void RWRMutex::unlockShared() {
  const std::intptr_t held = held_reads(tlsSlot_);
  if (held > 1) {
    readers_.fetch_sub(1, std::memory_order_relaxed);
    set_held_reads(tlsSlot_, held - 1);
    return;
  }
  release(true, held);
}

void RWRMutex::release(bool shared, std::intptr_t held) {
  {
    Guard guard(*this, shared);
    readers_.fetch_sub(1, std::memory_order_acq_rel);
    set_held_reads(tlsSlot_, held - 1);
  }
  Guard::wakeAll(*this);
}

}  // namespace core
