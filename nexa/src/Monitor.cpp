#include "nexa/Monitor.h"

#include <stdexcept>

namespace nexa {

namespace {

std::atomic<IThreadSuspendMonitor*> g_suspendMonitor{nullptr};
std::atomic<const MutexOperations*> g_kinds[kMaxMutexKinds] = {};
std::atomic<bool> g_useMutexMonitor{false};

class MutexMonitor final : public IMutexMonitor {
 public:
  MutexMonitor(void* storage, IThreadSuspendMonitor* monitor, const MutexOperations* ops)
      : storage_(storage), monitor_(monitor), ops_(ops) {}

  void lock() override { ops_->lock(storage_, monitor_); }
  void unlock() override { ops_->unlock(storage_, monitor_); }
  void lockShared() override { ops_->lockShared(storage_, monitor_); }
  void unlockShared() override { ops_->unlockShared(storage_, monitor_); }

 private:
  void* storage_;
  IThreadSuspendMonitor* monitor_;
  const MutexOperations* ops_;
};

}  // namespace

IThreadSuspendMonitor* get_thread_suspend_monitor() noexcept {
  return g_suspendMonitor.load(std::memory_order_acquire);
}

void set_thread_suspend_monitor(IThreadSuspendMonitor* monitor) noexcept {
  g_suspendMonitor.store(monitor, std::memory_order_release);
}

void register_mutex_kind(int kind, const MutexOperations* operations) noexcept {
  if (kind > 0 && kind < kMaxMutexKinds) g_kinds[kind].store(operations, std::memory_order_release);
}

std::unique_ptr<IMutexMonitor> create_mutex_monitor(void* storage, IThreadSuspendMonitor* monitor, int kind) {
  const MutexOperations* ops =
      (kind > 0 && kind < kMaxMutexKinds) ? g_kinds[kind].load(std::memory_order_acquire) : nullptr;
  if (ops == nullptr) throw std::invalid_argument("nexa83: no lock operations registered for this kind");
  return std::make_unique<MutexMonitor>(storage, monitor, ops);
}

bool use_mutex_monitor() noexcept { return g_useMutexMonitor.load(std::memory_order_relaxed); }
void set_use_mutex_monitor(bool on) noexcept { g_useMutexMonitor.store(on, std::memory_order_relaxed); }

}  // namespace nexa
