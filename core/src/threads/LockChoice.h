#pragma once
// Which lock implementation RWMutex, RWRMutex and ConditionVariable use: the system's slim
// reader-writer locks, or spin words and critical sections. The system is asked once per process and
// the answer is cached.
//
// Tests force either answer to exercise both paths; they must do so while no RWMutex, RWRMutex or
// ConditionVariable exists (a lock keeps working in the mode it was made in only for RWRMutex).

#include <atomic>

namespace core::detail {

// Whether slim locks are in use.
bool slim_locks_in_use() noexcept;

enum class LockChoice { System, Slim, Spin };
// Overrides (or, with System, restores) the answer. For tests. Spin also has the platform layer behave as
// on a system without slim locks (platform::simulate_missing_slim_locks), so that its fallback runs too.
void set_lock_choice(LockChoice choice) noexcept;

}  // namespace core::detail
