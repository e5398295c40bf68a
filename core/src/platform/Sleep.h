#pragma once
// Giving up the processor: a pause instruction for spin loops, and sleeping.

namespace core::platform {

// One processor pause (spin-wait hint); cheap, never leaves user mode.
inline void cpu_pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield");
#endif
}

// Sleeps at least `ms` milliseconds; 0 only yields the rest of the time slice.
void sleep_ms(unsigned ms) noexcept;

}  // namespace core::platform
