#pragma once
// A condition variable that sleeps with a critical section, with a slim lock, or with no lock at all.
//
// Protocol: a sleeper registers (`prepare`, which also notes the wake-up generation) BEFORE it tests its
// condition for the last time, then sleeps until the generation moves. A notifier changes the state the
// condition reads BEFORE it calls `wakeAll`. With both orders kept (all operations involved are
// sequentially consistent), either the sleeper sees the change, or the notifier sees the sleeper and
// moves the generation after the sleeper noted it, so the sleeper does not stay asleep. `wakeAll` calls
// the OS only when somebody is registered, so notifying an idle variable costs one load.
//
// The sleep forms with a lock keep that order by testing under the lock; lock-free users call
// prepare / block / cancel themselves. Wake-ups may be spurious: callers re-test their condition.

#include <atomic>
#include <cstdint>

#include "platform/CriticalSection.h"
#include "platform/Mutex.h"
#include "platform/SlimLock.h"
#include "platform/WaitOnAddress.h"

namespace core::platform {

class CondVar {
 public:
  CondVar() noexcept = default;
  CondVar(const CondVar&) = delete;
  CondVar& operator=(const CondVar&) = delete;

  // The caller holds `section` (entered once). Returns false when `timeoutMs` ran out (kInfinite: no
  // limit).
  bool sleep(CriticalSection& section, unsigned timeoutMs) noexcept;
  // The caller holds `mutex` (taken once).
  bool sleep(Mutex& mutex, unsigned timeoutMs) noexcept KERN83_REQUIRES(mutex) {
    return sleep(mutex.section_, timeoutMs);
  }
  // The caller holds `lock` in the given mode.
  bool sleep(SlimWord& lock, bool shared, unsigned timeoutMs) noexcept;

  // Lock-free use: prepare, test the condition, then either block with the generation or cancel.
  std::uint32_t prepare() noexcept;
  bool block(std::uint32_t generation, unsigned timeoutMs) noexcept;
  void cancel() noexcept { sleepers_.fetch_sub(1, std::memory_order_seq_cst); }

  void wakeAll() noexcept {
    if (sleepers_.load(std::memory_order_seq_cst) != 0) wakeSleepers();
  }

 private:
  void wakeSleepers() noexcept;

  std::atomic<std::uint32_t> generation_{0};
  std::atomic<std::uint32_t> sleepers_{0};
};

}  // namespace core::platform
