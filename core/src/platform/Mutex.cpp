#include "platform/Mutex.h"

namespace core::platform {

namespace {
class ProcessSuspendMonitor final : public nexa::IThreadSuspendMonitor {
 public:
  void aboutToBlock() override {
    if (nexa::IThreadSuspendMonitor* monitor = nexa::get_thread_suspend_monitor()) monitor->aboutToBlock();
  }
  void resumed() override {
    if (nexa::IThreadSuspendMonitor* monitor = nexa::get_thread_suspend_monitor()) monitor->resumed();
  }
};
}  // namespace

nexa::IThreadSuspendMonitor* process_suspend_monitor() noexcept {
  static ProcessSuspendMonitor* const monitor = new ProcessSuspendMonitor;  // never destroyed: locks outlive exit
  return monitor;
}

void Mutex::lockContended() noexcept {
  nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
  section_.enter();
}

}  // namespace core::platform
