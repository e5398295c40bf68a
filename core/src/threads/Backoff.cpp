#include "core/Mutex.h"
#include "platform/Sleep.h"

namespace core {

void spin_backoff(unsigned int& attempt) noexcept {
  const unsigned int step = attempt++;
  if (step < 10) {
    platform::cpu_pause();
  } else if (step < 20) {
    for (int i = 0; i < 50; ++i) platform::cpu_pause();
  } else if (step < 24) {
    platform::sleep_ms(0);
  } else if (step < 26) {
    platform::sleep_ms(1);
  } else {
    platform::sleep_ms(10);
  }
}

}  // namespace core
