#include "platform/Mutex.h"

#include "nexa/Monitor.h"

namespace core::platform {

void Mutex::lockContended() noexcept {
  nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
  section_.enter();
}

}  // namespace core::platform
