#pragma once
// The exception state each thread keeps: its deferred exception (defer_exception) and the counter of
// live exceptions of the thread object that runs it (null on a thread without one).

#include <exception>

#include "base/ThreadSlots.h"
#include "core/Exception.h"

namespace core::detail {

struct ThreadExceptions {
  std::exception_ptr deferred;       // only the owning thread touches it
  ExceptionsCount* count = nullptr;  // set once, by the thread object, before the thread runs
};

const ThreadSlot<ThreadExceptions>& thread_exceptions_slot();

// Gives the thread whose state is `slots` the exception counter `count` (not owned).
inline void set_exceptions_count(ThreadSlots& slots, ExceptionsCount* count) {
  thread_exceptions_slot().of(slots).count = count;
}

}  // namespace core::detail
