#include "platform/Sleep.h"

#include <sched.h>

#include <cerrno>
#include <ctime>

namespace core::platform {

void sleep_ms(unsigned ms) noexcept {
  if (ms == 0) {
    sched_yield();
    return;
  }
  timespec left{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1000000L};
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace core::platform
