// RWRMutex: recursive read-write mutex with writer preference.
//
// readers_ counts the threads that hold at least one read lock; how many each holds is in its
// thread-local slot. So a thread's nested reads touch only its own slot, and "every reader is this
// thread" (upgrade) reads: readers_ == (this thread reads ? 1 : 0).
//
// No lock guards the grant decisions; they are made with sequentially consistent atomics in the
// "announce, then check" style, so that of two threads racing for conflicting access at least one sees
// the other:
//  - a first read (the thread holds none) adds itself to readers_, then checks that no writer holds
//    (writer_) or waits (waitingWriters_); if one does, it takes its increment back and waits;
//  - a write claims writer_ by compare-and-swap, then checks that no other thread reads (plain grant
//    or upgrade); if not, it gives the claim back and waits,
//    counted in waitingWriters_ so that new readers stay out meanwhile (writer preference).
// A thread that already reads reads again without checks (no other thread can write meanwhile), and so
// does the writer; the writer re-enters its write the same way. Only the owning thread writes its
// thread-local count and, as the writer, writerRecursion_.
//
// Waiters register on the condition variable before they test again, and every change that can make
// somebody grantable (writer gone, claim given back, a thread's last read gone) is followed by
// wakeWaiters(), which costs one load when nobody waits.
#include <new>

#include "core/Mutex.h"
#include "platform/ConditionVariable.h"
#include "platform/Diagnostics.h"
#include "platform/OsThread.h"
#include "platform/ThreadLocal.h"
#include "threads/LockChoice.h"

namespace core {

namespace {

static_assert(sizeof(platform::CondVar) <= 8 && alignof(platform::CondVar) <= 8);

platform::CondVar& condition_of(unsigned char* storage) {
  return *std::launder(reinterpret_cast<platform::CondVar*>(storage));
}

std::int32_t held_reads(std::uint32_t slot) noexcept {
  return static_cast<std::int32_t>(reinterpret_cast<std::intptr_t>(platform::tls_get(slot)));
}
void set_held_reads(std::uint32_t slot, std::int32_t count) noexcept {
  platform::tls_set(slot, reinterpret_cast<void*>(static_cast<std::intptr_t>(count)));
}

constexpr auto kOrder = std::memory_order_seq_cst;

}  // namespace

RWRMutex::RWRMutex() : tlsSlot_(platform::tls_alloc()), sleeps_(detail::slim_locks_in_use()) {
  // Deliberate: see the class comment.
  if (tlsSlot_ == platform::kNoTlsSlot) platform::fatal_error("no thread-local slot left for a RWRMutex");
  new (condition_) platform::CondVar();
}

RWRMutex::~RWRMutex() { platform::tls_free(tlsSlot_); }

std::int32_t RWRMutex::threadReaders() const noexcept { return held_reads(tlsSlot_); }

void RWRMutex::wakeWaiters() noexcept { condition_of(condition_).wakeAll(); }

// Waits until `condition()` holds; the condition may take the lock as a side effect (then it returns
// true). Tells the suspend monitor only when the first test fails.
template <class Condition>
void RWRMutex::waitUntil(Condition condition) {
  if (condition()) return;
  nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
  unsigned int attempt = 0;
  platform::CondVar& variable = condition_of(condition_);
  for (;;) {
    if (!sleeps_) {
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

bool RWRMutex::tryClaim(std::uint64_t self, std::int32_t held) noexcept {
  const std::int32_t mine = held > 0 ? 1 : 0;
  if (readers_.load(kOrder) != mine) return false;
  std::uint64_t none = 0;
  if (!writer_.compare_exchange_strong(none, self, kOrder, kOrder)) return false;
  if (readers_.load(kOrder) == mine) return true;
  writer_.store(0, kOrder);  // a reader slipped in: give the claim back
  wakeWaiters();
  return false;
}

void RWRMutex::lock() {
  const std::uint64_t self = platform::current_thread_id();
  if (writer_.load(std::memory_order_relaxed) == self) {  // only this thread can have stored its own id
    ++writerRecursion_;
    return;
  }
  const std::int32_t held = held_reads(tlsSlot_);
  if (!tryClaim(self, held)) {
    waitingWriters_.fetch_add(1, kOrder);
    waitUntil([&] { return tryClaim(self, held); });
    waitingWriters_.fetch_sub(1, kOrder);
  }
  writerRecursion_ = 1;
}

void RWRMutex::unlock() {
  if (--writerRecursion_ > 0) return;
  writer_.store(0, kOrder);
  wakeWaiters();
}

bool RWRMutex::tryFirstRead() noexcept {
  readers_.fetch_add(1, kOrder);
  if (writer_.load(kOrder) == 0 && waitingWriters_.load(kOrder) == 0) return true;
  readers_.fetch_sub(1, kOrder);  // a writer holds or waits: step back (it may wait for us to go)
  wakeWaiters();
  return false;
}

void RWRMutex::lockShared() {
  const std::int32_t held = held_reads(tlsSlot_);
  if (held > 0) {
    // A thread that already reads may always read again, even past a waiting writer.
  } else if (writer_.load(std::memory_order_relaxed) == platform::current_thread_id()) {
    readers_.fetch_add(1, kOrder);  // so may the writer
  } else {
    waitUntil([&] { return writer_.load(kOrder) == 0 && waitingWriters_.load(kOrder) == 0 && tryFirstRead(); });
  }
  set_held_reads(tlsSlot_, held + 1);
}

void RWRMutex::unlockShared() {
  const std::int32_t held = held_reads(tlsSlot_);
  set_held_reads(tlsSlot_, held - 1);
  if (held != 1) return;  // not the thread's last read: nobody else can become grantable
  readers_.fetch_sub(1, kOrder);
  wakeWaiters();
}

}  // namespace core
