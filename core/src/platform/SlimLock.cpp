// The slow paths of the slim lock, over the wait on an address of the system (posix/ or win/
// WaitOnAddress.cpp, which also say whether slim locks are supported).
#include "platform/SlimLock.h"

#include "platform/Sleep.h"
#include "platform/WaitOnAddress.h"

namespace core::platform {

namespace {
// Pause-and-reload rounds before a waiter flags the word and sleeps. Sections under these locks are
// short: the holder usually leaves within a few hundred nanoseconds, far less than what a sleep and a
// wake-up in the kernel cost both threads.
constexpr int kSpinTries = 100;
}  // namespace

void slim_lock_exclusive_slow(SlimWord& word) noexcept {
  std::uint32_t s = word.load(std::memory_order_relaxed);
  int spins = kSpinTries;
  for (;;) {
    if ((s & ~kSlimWaiters) == 0) {
      // Free: take it, keeping the waiters flag so that our release wakes the others.
      if (word.compare_exchange_weak(s, s | kSlimExclusive, std::memory_order_acquire, std::memory_order_relaxed))
        return;
      continue;
    }
    if (spins-- > 0) {
      cpu_pause();
      s = word.load(std::memory_order_relaxed);
      continue;
    }
    if ((s & kSlimWaiters) == 0 &&
        !word.compare_exchange_weak(s, s | kSlimWaiters, std::memory_order_relaxed, std::memory_order_relaxed))
      continue;
    wait_on_address(word, s | kSlimWaiters, kInfinite);
    s = word.load(std::memory_order_relaxed);
  }
}

void slim_lock_shared_slow(SlimWord& word) noexcept {
  std::uint32_t s = word.load(std::memory_order_relaxed);
  int spins = kSpinTries;
  for (;;) {
    if ((s & (kSlimExclusive | kSlimWaiters)) == 0 || s == kSlimWaiters) {
      // Free of writers. With only the waiters flag left (a release is about to wake everybody), take
      // it too: somebody must make progress, and the flag stays for the others.
      if (word.compare_exchange_weak(s, s + kSlimReader, std::memory_order_acquire, std::memory_order_relaxed)) return;
      continue;
    }
    if (spins-- > 0) {
      cpu_pause();
      s = word.load(std::memory_order_relaxed);
      continue;
    }
    if ((s & kSlimWaiters) == 0 &&
        !word.compare_exchange_weak(s, s | kSlimWaiters, std::memory_order_relaxed, std::memory_order_relaxed))
      continue;
    wait_on_address(word, s | kSlimWaiters, kInfinite);
    s = word.load(std::memory_order_relaxed);
  }
}

void slim_wake(SlimWord& word) noexcept { wake_by_address(word, -1); }

}  // namespace core::platform
