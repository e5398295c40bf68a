#include "platform/ConditionVariable.h"

namespace core::platform {

std::uint32_t CondVar::prepare() noexcept {
  sleepers_.fetch_add(1, std::memory_order_seq_cst);
  return generation_.load(std::memory_order_seq_cst);
}

bool CondVar::block(std::uint32_t generation, unsigned timeoutMs) noexcept {
  const bool woken = wait_on_address(generation_, generation, timeoutMs);
  sleepers_.fetch_sub(1, std::memory_order_seq_cst);
  return woken || generation_.load(std::memory_order_relaxed) != generation;
}

// With a lock, the sleeper registers while it still holds the lock under which it tested; the notifier
// changed the state under the same lock. So the registration precedes any change it did not see.
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

void CondVar::wakeSleepers() noexcept {
  generation_.fetch_add(1, std::memory_order_seq_cst);
  wake_by_address(generation_, -1);
}

}  // namespace core::platform
