#pragma once
// Monotonic time: never goes back, unaffected by changes of the wall clock.

#include <cstdint>

namespace core::platform {

// Milliseconds since an arbitrary start (system boot); does not wrap in practice.
std::uint64_t tick_count() noexcept;
// The same clock in nanoseconds, for deadlines that need more precision.
std::uint64_t monotonic_ns() noexcept;

}  // namespace core::platform
