#pragma once
// IMutexImpl's lock and unlock, inline for the locks of the library that embed one. Inside
// libkern83.so a call to the exported member would go through the PLT and could not be inlined, which
// costs a lock fast path as much as one of its atomic operations.

#include <new>

#include "core/Mutex.h"
#include "platform/CriticalSection.h"

namespace core {

struct IMutexImplInternal {
  static platform::CriticalSection& section(IMutexImpl& mutex) noexcept {
    return *std::launder(reinterpret_cast<platform::CriticalSection*>(mutex.section_));
  }

  static void lock(IMutexImpl& mutex) {
    platform::CriticalSection& entered = section(mutex);
    if (mutex.monitor_ == nullptr) {
      entered.enter();
      return;
    }
    // Notify only when the thread really has to wait.
    if (entered.tryEnter()) return;
    nexa::SuspendScope blocked(mutex.monitor_);
    entered.enter();
  }

  static void unlock(IMutexImpl& mutex) noexcept { section(mutex).leave(); }
};

}  // namespace core
