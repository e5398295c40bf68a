#include "platform/TickCount.h"

#include <ctime>

namespace core::platform {

std::uint64_t monotonic_ns() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000000u + static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t tick_count() noexcept { return monotonic_ns() / 1000000u; }

}  // namespace core::platform
