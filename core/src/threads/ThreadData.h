#pragma once
// Library state kept per OS thread.
//
// Every thread that calls into the library gets one ThreadData, created on first use and destroyed when
// the thread ends. Threads the library knows (the process's main thread, threads of core::Thread,
// attached threads) also have a Thread object; while it is bound, `thread` points at it and
// `exceptionsCount` at its counter. Foreign threads have neither, so `current_ecxeptions_count()` answers
// null there.
//
// Only the owning thread reads or writes its ThreadData, except `exceptionsCount`, whose counter other
// threads may read (it is atomic).

#include <cstdint>
#include <exception>
#include <vector>

#include "core/Export.h"

namespace core {
class ExceptionsCount;
class Thread;
}  // namespace core

namespace core::detail {

struct ThreadData {
  Thread* thread = nullptr;                    // bound Thread object, not owned
  ExceptionsCount* exceptionsCount = nullptr;  // the bound thread's counter, not owned
  std::exception_ptr deferredException;        // slot of defer_exception
  std::vector<std::uint32_t> numericLimits;    // stack of NumericLimits, innermost last
  int roundMode = -1;                          // the thread's NumericRoundMode; -1 = process default
};

// The calling thread's data (created on first use).
KERN83_API ThreadData& thread_data() noexcept;

// Makes `thread` (null: none) the calling OS thread's Thread object, with its exception counter, and
// returns the one bound before. The caller keeps `thread` alive while it is bound.
KERN83_API Thread* bind_thread(Thread* thread) noexcept;

}  // namespace core::detail
