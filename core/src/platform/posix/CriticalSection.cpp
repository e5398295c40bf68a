#include "platform/CriticalSection.h"

#include "platform/Sleep.h"
#include "platform/WaitOnAddress.h"

namespace core::platform {

void CriticalSection::enterContended() noexcept {
  // Spin on reads (cheap, no cache-line ping-pong) and try only when the section looks free.
  for (int i = 0; i < spinCount_; ++i) {
    cpu_pause();
    std::uint32_t expected = 0;
    if (word_.load(std::memory_order_relaxed) == 0 &&
        word_.compare_exchange_weak(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      return;
    }
  }
  // Sleep. Taking the word as 2 (rather than 1) is conservative: our release will wake a possible sleeper.
  while (word_.exchange(2, std::memory_order_acquire) != 0) wait_on_address(word_, 2, kInfinite);
}

void CriticalSection::wakeOne() noexcept { wake_by_address(word_, 1); }

}  // namespace core::platform
