#include "platform/ConditionVariable.h"

namespace core::platform {

// The sleeper counts itself and reads the generation while it still holds its lock; a notifier changes
// the guarded state under the same lock before it calls wakeAll. So either the notifier's increment of
// the generation comes after our read (the futex sees a changed word and does not sleep, or is woken),
// or the notifier's change came before we took the lock and we would not have decided to sleep.
std::uint32_t CondVar::prepare() noexcept {
  sleepers_.fetch_add(1, std::memory_order_seq_cst);
  return generation_.load(std::memory_order_seq_cst);
}

bool CondVar::block(std::uint32_t generation, unsigned timeoutMs) noexcept {
  const bool woken = wait_on_address(generation_, generation, timeoutMs);
  sleepers_.fetch_sub(1, std::memory_order_relaxed);
  return woken || generation_.load(std::memory_order_relaxed) != generation;
}

bool CondVar::sleep(CriticalSection& section, unsigned timeoutMs) noexcept {
  const std::uint32_t generation = prepare();
  section.leave();
  const bool woken = block(generation, timeoutMs);
  section.enter();
  return woken;
}

bool CondVar::sleep(SlimWord& lock, bool shared, unsigned timeoutMs) noexcept {
  const std::uint32_t generation = prepare();
  if (shared) {
    slim_unlock_shared(lock);
  } else {
    slim_unlock_exclusive(lock);
  }
  const bool woken = block(generation, timeoutMs);
  if (shared) {
    slim_lock_shared(lock);
  } else {
    slim_lock_exclusive(lock);
  }
  return woken;
}

void CondVar::wakeAll() noexcept {
  generation_.fetch_add(1, std::memory_order_seq_cst);
  if (sleepers_.load(std::memory_order_seq_cst) != 0) wake_by_address(generation_, -1);
}

}  // namespace core::platform
