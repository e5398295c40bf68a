// Windows: GetTickCount64 (GetTickCount without the wrap after 49.7 days) and the performance counter,
// both counting from the system's start.
#include "platform/TickCount.h"

#include <windows.h>

namespace core::platform {

std::uint64_t tick_count() noexcept { return GetTickCount64(); }

std::uint64_t monotonic_ns() noexcept {
  static const std::uint64_t frequency = [] {
    LARGE_INTEGER f;
    QueryPerformanceFrequency(&f);  // never fails since Windows XP
    return static_cast<std::uint64_t>(f.QuadPart);
  }();
  LARGE_INTEGER now;
  QueryPerformanceCounter(&now);
  const auto ticks = static_cast<std::uint64_t>(now.QuadPart);
  // In two parts, so that the product does not overflow after a few hours of uptime.
  return ticks / frequency * 1000000000u + ticks % frequency * 1000000000u / frequency;
}

}  // namespace core::platform
