#pragma once
// The one way the library takes a lock for a scope: LockGuard holds a lock exclusively, SharedLockGuard
// holds a read-write lock shared. Both work with any of the library's locks (lock/unlock,
// lockShared/unlockShared), and clang's thread-safety analysis follows them.
//
//     detail::LockGuard guard(mutex_);   // mutex_ held until the end of the scope

#include "core/ThreadAnnotations.h"

namespace core::detail {

template <class Lock>
class KERN83_SCOPED_CAPABILITY LockGuard {
 public:
  explicit LockGuard(Lock& lock) KERN83_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
  ~LockGuard() KERN83_RELEASE() { lock_.unlock(); }
  LockGuard(const LockGuard&) = delete;
  LockGuard& operator=(const LockGuard&) = delete;

 private:
  Lock& lock_;
};

template <class Lock>
class KERN83_SCOPED_CAPABILITY SharedLockGuard {
 public:
  explicit SharedLockGuard(Lock& lock) KERN83_ACQUIRE_SHARED(lock) : lock_(lock) { lock_.lockShared(); }
  ~SharedLockGuard() KERN83_RELEASE() { lock_.unlockShared(); }
  SharedLockGuard(const SharedLockGuard&) = delete;
  SharedLockGuard& operator=(const SharedLockGuard&) = delete;

 private:
  Lock& lock_;
};

}  // namespace core::detail
