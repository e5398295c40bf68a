#pragma once
// Monitors through which the base runtime observes blocking and locking.
//
// IThreadSuspendMonitor: every wait of the library that may block tells the current suspend monitor
// just before it blocks (aboutToBlock) and just after it resumes (resumed), so a host can account for
// or suspend blocked threads. A wait that returns without blocking calls neither. Install one with
// set_thread_suspend_monitor (tests do, to count notifications); by default there is none.
//
// IMutexMonitor: a read-write lock of the library does not lock itself but asks its mutex monitor to
// run the lock operation registered for its kind, so the base runtime sees every acquisition.
//
//     static const nexa::MutexOperations ops{&MyLock::lock, &MyLock::unlock, ...};
//     nexa::register_mutex_kind(1, ops);
//     auto monitor = nexa::create_mutex_monitor(&word, nexa::get_thread_suspend_monitor(), 1);
//     monitor->lock();
//
// Thread safety: all functions here may be called from any thread; a monitor object itself serves the
// lock it was made for, from any thread.

#include <atomic>
#include <cstdint>
#include <memory>

#include "nexa/Export.h"

namespace nexa {

// Told before and after every wait of the library that blocks (see the top of this file). Called from
// the blocking thread, possibly from many threads at once: an implementation must be thread-safe.
class IThreadSuspendMonitor {
 public:
  virtual ~IThreadSuspendMonitor() = default;
  virtual void aboutToBlock() = 0;  // slot 1: the calling thread is about to block
  virtual void resumed() = 0;       // slot 2: the calling thread runs again
};

// The process's suspend monitor, or null. The pointer is not owned.
NEXA_API IThreadSuspendMonitor* get_thread_suspend_monitor() noexcept;
NEXA_API void set_thread_suspend_monitor(IThreadSuspendMonitor* monitor) noexcept;

// Brackets one blocking wait: notifies the monitor (if any) on entry and on exit.
class SuspendScope {
 public:
  // `monitor` may be null: then the scope tells nobody.
  explicit SuspendScope(IThreadSuspendMonitor* monitor) noexcept : monitor_(monitor) {
    if (monitor_ != nullptr) monitor_->aboutToBlock();
  }
  ~SuspendScope() {
    if (monitor_ != nullptr) monitor_->resumed();
  }
  SuspendScope(const SuspendScope&) = delete;
  SuspendScope& operator=(const SuspendScope&) = delete;

 private:
  IThreadSuspendMonitor* monitor_;
};

// Runs the lock operations of one lock (see create_mutex_monitor): exclusive and shared, each with its
// release.
class IMutexMonitor {
 public:
  virtual ~IMutexMonitor() = default;
  virtual void lock() = 0;          // slot 1: exclusive
  virtual void unlock() = 0;        // slot 2
  virtual void lockShared() = 0;    // slot 3: shared
  virtual void unlockShared() = 0;  // slot 4
};

// The lock operations of one kind of lock: each takes the lock storage and the suspend monitor.
struct MutexOperations {
  // Exclusive lock and its release, shared lock and its release; none may be null.
  void (*lock)(void* storage, IThreadSuspendMonitor* monitor);
  void (*unlock)(void* storage, IThreadSuspendMonitor* monitor);
  void (*lockShared)(void* storage, IThreadSuspendMonitor* monitor);
  void (*unlockShared)(void* storage, IThreadSuspendMonitor* monitor);
};

// Lock kinds are 1 to kMaxMutexKinds - 1 (0 is no kind).
constexpr int kMaxMutexKinds = 8;

// Registers the operations of a lock kind (1 .. kMaxMutexKinds - 1); the table must outlive the process.
NEXA_API void register_mutex_kind(int kind, const MutexOperations* operations) noexcept;

// A monitor running the operations of `kind` on `storage`. Throws std::invalid_argument for a kind
// that has no registered operations.
NEXA_API std::unique_ptr<IMutexMonitor> create_mutex_monitor(void* storage, IThreadSuspendMonitor* monitor, int kind);

// Whether the base runtime watches locks closely (then condition variables poll instead of sleeping).
NEXA_API bool use_mutex_monitor() noexcept;
NEXA_API void set_use_mutex_monitor(bool on) noexcept;

}  // namespace nexa
