#pragma once
// A condition variable that sleeps with either a critical section or a slim lock.
//
// A sleeper registers itself, notes the wake-up generation, releases its lock, sleeps until the
// generation moves (or the time runs out) and re-acquires the lock. `wakeAll` moves the generation and
// calls the OS only when somebody sleeps, so notifying an idle variable costs one atomic increment.
// Wake-ups may be spurious: callers re-test their condition in a loop.

#include <atomic>
#include <cstdint>

#include "core/Export.h"
#include "platform/CriticalSection.h"
#include "platform/SlimLock.h"
#include "platform/WaitOnAddress.h"

namespace core::platform {

class KERN83_API CondVar {
 public:
  CondVar() noexcept = default;
  CondVar(const CondVar&) = delete;
  CondVar& operator=(const CondVar&) = delete;

  // The caller holds `section` (once). Returns false when `timeoutMs` ran out (kInfinite: no limit).
  bool sleep(CriticalSection& section, unsigned timeoutMs) noexcept;
  // The caller holds `lock` in the given mode.
  bool sleep(SlimWord& lock, bool shared, unsigned timeoutMs) noexcept;
  void wakeAll() noexcept;

 private:
  std::uint32_t prepare() noexcept;
  bool block(std::uint32_t generation, unsigned timeoutMs) noexcept;

  std::atomic<std::uint32_t> generation_{0};
  std::atomic<std::uint32_t> sleepers_{0};
};

}  // namespace core::platform
