// Windows: the performance counter, counting from the system's start. Milliseconds come from it too:
// GetTickCount64 moves in steps of the timer interrupt (up to 16 ms), too coarse for the waits measured
// with it.
#include "platform/TickCount.h"

#include <windows.h>

namespace core::platform {

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

std::uint64_t tick_count() noexcept { return monotonic_ns() / 1000000u; }

}  // namespace core::platform
