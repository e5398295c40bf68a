// RWMutex and its ConditionVariable.
//
// The static operations are the lock kind 1 of the base runtime's mutex monitor: RWMutex's instance
// operations go through the monitor, which calls back here. The lock word is a slim lock when slim locks
// are in use (looked up once per process), else a spin word: WAFLAG = writer, RC_INCR per reader.
#include <new>

#include "core/Mutex.h"
#include "platform/ConditionVariable.h"
#include "platform/SlimLock.h"
#include "threads/LockChoice.h"

namespace core {

namespace {

platform::SlimWord& word_of(void* storage) { return *static_cast<platform::SlimWord*>(storage); }

// Spin mode, shared: the reader's increment stays in place while it waits for the writer to leave.
// Out of line, like every path that may wait, so that the slim fast paths need no stack frame.
[[gnu::noinline]] void spin_lock_shared(platform::SlimWord& word, nexa::IThreadSuspendMonitor* monitor) {
  if ((word.fetch_add(RWMutex::RC_INCR, std::memory_order_acquire) & RWMutex::WAFLAG) == 0) return;
  nexa::SuspendScope blocked(monitor);
  unsigned int attempt = 0;
  while ((word.load(std::memory_order_acquire) & RWMutex::WAFLAG) != 0) spin_backoff(attempt);
}

bool spin_try_lock(platform::SlimWord& word) {
  std::uint32_t expected = 0;
  return word.compare_exchange_strong(expected, RWMutex::WAFLAG, std::memory_order_acquire, std::memory_order_relaxed);
}

[[gnu::noinline]] void spin_lock_contended(platform::SlimWord& word, nexa::IThreadSuspendMonitor* monitor) {
  nexa::SuspendScope blocked(monitor);
  unsigned int attempt = 0;
  do {
    spin_backoff(attempt);
  } while (!spin_try_lock(word));
}

[[gnu::noinline]] void slim_lock_notifying(platform::SlimWord& word, nexa::IThreadSuspendMonitor* monitor,
                                           bool shared) {
  nexa::SuspendScope blocked(monitor);
  if (shared) {
    platform::slim_lock_shared(word);
  } else {
    platform::slim_lock_exclusive(word);
  }
}

// The operations themselves. They are hidden, so the kind's table below points at them directly and the
// exported static forms inline them: a call through the monitor reaches the lock word without another
// hop through the PLT.
void lock_word(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept {
  platform::SlimWord& word = word_of(storage);
  if (detail::slim_locks_in_use()) {
    if (!platform::slim_try_lock_exclusive(word)) slim_lock_notifying(word, monitor, false);
  } else if (!spin_try_lock(word)) {
    spin_lock_contended(word, monitor);
  }
}

void lock_word_shared(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept {
  platform::SlimWord& word = word_of(storage);
  if (!detail::slim_locks_in_use()) {
    spin_lock_shared(word, monitor);
  } else if (!platform::slim_try_lock_shared(word)) {
    slim_lock_notifying(word, monitor, true);
  }
}

void unlock_word(void* storage, nexa::IThreadSuspendMonitor*) noexcept {
  platform::SlimWord& word = word_of(storage);
  if (detail::slim_locks_in_use()) {
    platform::slim_unlock_exclusive(word);
  } else {
    word.fetch_sub(RWMutex::WAFLAG, std::memory_order_release);
  }
}

void unlock_word_shared(void* storage, nexa::IThreadSuspendMonitor*) noexcept {
  platform::SlimWord& word = word_of(storage);
  if (detail::slim_locks_in_use()) {
    platform::slim_unlock_shared(word);
  } else {
    word.fetch_sub(RWMutex::RC_INCR, std::memory_order_release);
  }
}

const nexa::MutexOperations kOperations{&lock_word, &unlock_word, &lock_word_shared, &unlock_word_shared};
constexpr int kMutexKind = 1;

std::unique_ptr<nexa::IMutexMonitor> make_monitor(void* storage, nexa::IThreadSuspendMonitor* monitor) {
  static const bool registered = (nexa::register_mutex_kind(kMutexKind, &kOperations), true);
  (void)registered;
  return nexa::create_mutex_monitor(storage, monitor, kMutexKind);
}

}  // namespace

RWMutex::RWMutex() : RWMutex(nullptr) {}

RWMutex::RWMutex(nexa::IThreadSuspendMonitor* monitor)
    : mutexMonitor_(make_monitor(&word_, monitor)), suspendMonitor_(monitor) {}

RWMutex::~RWMutex() = default;

void RWMutex::lock() { mutexMonitor_->lock(); }
void RWMutex::unlock() { mutexMonitor_->unlock(); }
void RWMutex::lockShared() { mutexMonitor_->lockShared(); }
void RWMutex::unlockShared() { mutexMonitor_->unlockShared(); }

void RWMutex::lock(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept { lock_word(storage, monitor); }
void RWMutex::unlock(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept { unlock_word(storage, monitor); }
void RWMutex::lockShared(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept {
  lock_word_shared(storage, monitor);
}
void RWMutex::unlockShared(void* storage, nexa::IThreadSuspendMonitor* monitor) noexcept {
  unlock_word_shared(storage, monitor);
}

// ----- ConditionVariable

namespace {
static_assert(sizeof(platform::CondVar) <= 8 && alignof(platform::CondVar) <= 8);
platform::CondVar& condition_of(unsigned char* storage) {
  return *std::launder(reinterpret_cast<platform::CondVar*>(storage));
}
}  // namespace

ConditionVariable::ConditionVariable(RWMutex& mutex) noexcept
    : mutex_(mutex), sleeps_(detail::slim_locks_in_use() && !nexa::use_mutex_monitor()) {
  // The platform variable is trivially destructible; it is made in every mode so that the storage is
  // always initialised, but only the sleeping mode uses it.
  new (condition_) platform::CondVar();
}

void ConditionVariable::wait(bool shared, unsigned int& attempt, unsigned int timeoutMs) {
  if (sleeps_ && !nexa::use_mutex_monitor()) {
    ++attempt;
    nexa::SuspendScope blocked(mutex_.suspendMonitor());
    condition_of(condition_).sleep(word_of(mutex_.storage()), shared, timeoutMs);
    return;
  }
  nexa::IMutexMonitor& monitor = mutex_.mutexMonitor();
  if (shared) {
    monitor.unlockShared();
  } else {
    monitor.unlock();
  }
  spin_backoff(attempt);
  if (shared) {
    monitor.lockShared();
  } else {
    monitor.lock();
  }
}

void ConditionVariable::notifyAll() noexcept {
  if (sleeps_) condition_of(condition_).wakeAll();
}

}  // namespace core
