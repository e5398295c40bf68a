// IRWMutexSimpleImpl: spin word (WAFLAG = writer, RC_INCR per reader) plus an inner mutex that a writer
// holds for its whole write section. A reader that meets the writer flag takes its increment back and
// sleeps on the inner mutex, so readers do not spin through long write sections; a writer spins with
// back-off only until the readers that were already inside have drained.
#include "base/LockGuard.h"
#include "core/Mutex.h"
#include "platform/OsThread.h"
#include "threads/MutexInternal.h"

namespace core {

IRWMutexSimpleImpl::IRWMutexSimpleImpl() noexcept : IRWMutexSimpleImpl(nullptr) {}

IRWMutexSimpleImpl::IRWMutexSimpleImpl(nexa::IThreadSuspendMonitor* monitor) noexcept : inner_(monitor) {}

void IRWMutexSimpleImpl::acquireReaderLock() {
  if (owner_.load(std::memory_order_relaxed) == platform::current_thread_id()) return;  // free inside a write
  if ((word_.fetch_add(RC_INCR, std::memory_order_acquire) & WAFLAG) == 0) return;
  word_.fetch_sub(RC_INCR, std::memory_order_relaxed);
  detail::LockGuard writerDone(inner_);  // the writer holds it: sleep until the write section ends
  word_.fetch_add(RC_INCR, std::memory_order_acquire);
}

void IRWMutexSimpleImpl::releaseReaderLock() {
  if (owner_.load(std::memory_order_relaxed) == platform::current_thread_id()) return;
  word_.fetch_sub(RC_INCR, std::memory_order_release);
}

void IRWMutexSimpleImpl::acquireWriterLock() {
  const std::uint64_t self = platform::current_thread_id();
  if (owner_.load(std::memory_order_relaxed) == self) {
    ++recursion_;
    return;
  }
  IMutexImplInternal::lock(inner_);
  std::uint32_t expected = 0;
  if (!word_.compare_exchange_strong(expected, WAFLAG, std::memory_order_acquire, std::memory_order_relaxed)) {
    // Readers that got in before us are still inside: wait for them to leave.
    nexa::SuspendScope blocked(inner_.monitor());
    unsigned int attempt = 0;
    do {
      spin_backoff(attempt);
      expected = 0;
    } while (!word_.compare_exchange_weak(expected, WAFLAG, std::memory_order_acquire, std::memory_order_relaxed));
  }
  owner_.store(self, std::memory_order_relaxed);
  recursion_ = 1;
}

void IRWMutexSimpleImpl::releaseWriterLock() {
  if (--recursion_ > 0) return;
  owner_.store(0, std::memory_order_relaxed);
  word_.fetch_sub(WAFLAG, std::memory_order_release);
  IMutexImplInternal::unlock(inner_);
}

}  // namespace core
