#pragma once
// Which lock implementation RWMutex, RWRMutex and ConditionVariable use: the system's slim
// reader-writer locks, or spin words and critical sections. The system is asked once per process and
// the answer is cached; reading the cached answer is one load, inlined into the lock fast paths.
//
// Tests force either answer to exercise both paths; they must do so while no RWMutex, RWRMutex or
// ConditionVariable exists (a lock keeps working in the mode it was made in only for RWRMutex).

#include <atomic>

namespace core::detail {

// -1 = not asked yet; 0 = spin words; 1 = slim locks. Relaxed: the answer is a constant of the process
// (tests change it only while no lock exists), so no other memory depends on when it is seen.
extern std::atomic<int> g_slimLocks;

// Asks the system and caches the answer.
bool ask_slim_locks() noexcept;

// Whether slim locks are in use.
inline bool slim_locks_in_use() noexcept {
  const int slim = g_slimLocks.load(std::memory_order_relaxed);
  return slim > 0 || (slim < 0 && ask_slim_locks());
}

enum class LockChoice { System, Slim, Spin };
// Overrides (or, with System, restores) the answer. For tests. Spin also has the platform layer behave as
// on a system without slim locks (platform::simulate_missing_slim_locks), so that its fallback runs too.
void set_lock_choice(LockChoice choice) noexcept;

}  // namespace core::detail
