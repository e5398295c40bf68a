#pragma once
// Processors: how many there are, and which ones the process may run on.

namespace core::platform {

// The number of logical processors the system reports (at least 1).
unsigned processor_count() noexcept;

// Restricts every thread of the process (and threads created later) to the first `n` processors it was
// allowed to use at start; n = 0 restores that start-up set, and n larger than the set uses all of it.
// Returns false when the system refused.
bool set_process_affinity(unsigned n) noexcept;

// How many processors the calling thread may run on now.
unsigned thread_affinity_count() noexcept;

}  // namespace core::platform
