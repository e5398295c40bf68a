// Linux: the futex system call.
#include "platform/WaitOnAddress.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

#include "platform/SlimLock.h"

namespace core::platform {

// Futexes exist on every supported kernel: there is nothing to look up, and nothing else to fall back to.
namespace {
std::atomic<bool> g_simulateMissing{false};
}  // namespace

bool slim_locks_supported() noexcept { return !g_simulateMissing.load(std::memory_order_relaxed); }
void simulate_missing_slim_locks(bool missing) noexcept { g_simulateMissing.store(missing, std::memory_order_relaxed); }

namespace {

long futex(std::atomic<std::uint32_t>& word, int op, std::uint32_t value, const timespec* timeout) noexcept {
  static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));
  return syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), op, value, timeout, nullptr, 0);
}

}  // namespace

bool wait_on_address(std::atomic<std::uint32_t>& word, std::uint32_t expected, unsigned timeoutMs,
                     bool shared) noexcept {
  const int op = shared ? FUTEX_WAIT : (FUTEX_WAIT | FUTEX_PRIVATE_FLAG);
  if (timeoutMs == kInfinite) {
    futex(word, op, expected, nullptr);
    return true;
  }
  // FUTEX_WAIT takes a relative timeout on the monotonic clock.
  const timespec limit{static_cast<time_t>(timeoutMs / 1000), static_cast<long>(timeoutMs % 1000) * 1000000L};
  return !(futex(word, op, expected, &limit) != 0 && errno == ETIMEDOUT);
}

void wake_by_address(std::atomic<std::uint32_t>& word, int count, bool shared) noexcept {
  const int op = shared ? FUTEX_WAKE : (FUTEX_WAKE | FUTEX_PRIVATE_FLAG);
  futex(word, op, static_cast<std::uint32_t>(count < 0 ? INT_MAX : count), nullptr);
}

}  // namespace core::platform
