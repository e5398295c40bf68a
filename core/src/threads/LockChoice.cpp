#include "threads/LockChoice.h"

#include "platform/SlimLock.h"

namespace core::detail {

namespace {
// -1 = not asked yet; 0 = spin words; 1 = slim locks.
std::atomic<int> g_slim{-1};
}  // namespace

bool slim_locks_in_use() noexcept {
  int slim = g_slim.load(std::memory_order_relaxed);
  if (slim < 0) {
    slim = platform::slim_locks_supported() ? 1 : 0;
    int unknown = -1;
    g_slim.compare_exchange_strong(unknown, slim, std::memory_order_relaxed);
    slim = g_slim.load(std::memory_order_relaxed);
  }
  return slim != 0;
}

void set_lock_choice(LockChoice choice) noexcept {
  platform::simulate_missing_slim_locks(choice == LockChoice::Spin);
  switch (choice) {
    case LockChoice::System:
      g_slim.store(-1, std::memory_order_relaxed);
      break;
    case LockChoice::Slim:
      g_slim.store(1, std::memory_order_relaxed);
      break;
    case LockChoice::Spin:
      g_slim.store(0, std::memory_order_relaxed);
      break;
  }
}

}  // namespace core::detail
