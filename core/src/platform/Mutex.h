#pragma once
// The lock of the library's own internal state (registries, process-wide defaults, per-thread settings
// other threads may set): a recursive critical section with spin count 4000 that, when the calling
// thread really has to wait, tells the process's current suspend monitor before it blocks and after it
// resumes. Taking a free lock notifies nothing.
//
// It is constant-initialised, so a lock at namespace scope is usable from any static initialiser. Take
// it through detail::LockGuard.

#include "core/ThreadAnnotations.h"
#include "nexa/Monitor.h"
#include "platform/CriticalSection.h"

namespace core::platform {

// A suspend monitor that passes each notification on to the process's current one (if any), so that a
// lock made with a fixed monitor (an IMutexImpl the library embeds) follows the monitor installed later.
nexa::IThreadSuspendMonitor* process_suspend_monitor() noexcept;

class CondVar;

class KERN83_CAPABILITY("mutex") Mutex {
 public:
  constexpr Mutex() noexcept = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() KERN83_ACQUIRE() {
    if (!section_.tryEnter()) lockContended();
  }
  void unlock() KERN83_RELEASE() { section_.leave(); }

 private:
  friend class CondVar;  // sleeps with the section
  void lockContended() noexcept;

  CriticalSection section_;
};

}  // namespace core::platform
