#include "threads/LockChoice.h"

#include "platform/SlimLock.h"

namespace core::detail {

std::atomic<int> g_slimLocks{-1};

bool ask_slim_locks() noexcept {
  int unknown = -1;
  g_slimLocks.compare_exchange_strong(unknown, platform::slim_locks_supported() ? 1 : 0, std::memory_order_relaxed);
  return g_slimLocks.load(std::memory_order_relaxed) != 0;
}

void set_lock_choice(LockChoice choice) noexcept {
  platform::simulate_missing_slim_locks(choice == LockChoice::Spin);
  switch (choice) {
    case LockChoice::System:
      g_slimLocks.store(-1, std::memory_order_relaxed);
      break;
    case LockChoice::Slim:
      g_slimLocks.store(1, std::memory_order_relaxed);
      break;
    case LockChoice::Spin:
      g_slimLocks.store(0, std::memory_order_relaxed);
      break;
  }
}

}  // namespace core::detail
