// Windows: the process affinity mask, which the system applies to every thread of the process.
#include "platform/Processor.h"

#include <windows.h>

#include <bit>
#include <cstdint>

#include "base/LockGuard.h"
#include "platform/Mutex.h"

namespace core::platform {

namespace {

// The processors the process was allowed at its first affinity change: the set that n counts in, and
// the one n = 0 restores.
DWORD_PTR startup_mask() {
  static const DWORD_PTR mask = [] {
    DWORD_PTR process = 0, system = 0;
    if (!GetProcessAffinityMask(GetCurrentProcess(), &process, &system) || process == 0) {
      const unsigned n = processor_count();
      process = n >= 64 ? ~DWORD_PTR{0} : (DWORD_PTR{1} << n) - 1;
    }
    return process;
  }();
  return mask;
}

}  // namespace

unsigned processor_count() noexcept {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors > 0 ? static_cast<unsigned>(info.dwNumberOfProcessors) : 1u;
}

bool set_process_affinity(unsigned n) noexcept {
  static constinit Mutex mutex;
  detail::LockGuard guard(mutex);
  const DWORD_PTR all = startup_mask();
  DWORD_PTR chosen = all;
  if (n != 0 && n < static_cast<unsigned>(std::popcount(static_cast<std::uint64_t>(all)))) {
    chosen = 0;
    for (DWORD_PTR left = all; n > 0; --n) {
      const DWORD_PTR lowest = left & (~left + 1);
      chosen |= lowest;
      left &= ~lowest;
    }
  }
  return SetProcessAffinityMask(GetCurrentProcess(), chosen) != 0;
}

unsigned thread_affinity_count() noexcept {
  GROUP_AFFINITY affinity{};
  if (!GetThreadGroupAffinity(GetCurrentThread(), &affinity)) return processor_count();
  return static_cast<unsigned>(std::popcount(static_cast<std::uint64_t>(affinity.Mask)));
}

}  // namespace core::platform
