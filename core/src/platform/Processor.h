#pragma once
// Processors: how many there are, and which ones the process may run on.

#include "core/Export.h"

namespace core::platform {

// The number of logical processors the system reports (at least 1).
KERN83_API unsigned processor_count() noexcept;

// Restricts every thread of the process (and threads created later) to the first `n` processors it was
// allowed to use at start; n = 0 restores that start-up set, and n larger than the set uses all of it.
// Returns false when the system refused.
KERN83_API bool set_process_affinity(unsigned n) noexcept;

// How many processors the calling thread may run on now.
KERN83_API unsigned thread_affinity_count() noexcept;

}  // namespace core::platform
