#include "threads/ThreadData.h"

#include "core/Exception.h"

namespace core::detail {

ThreadData& thread_data() noexcept {
  thread_local ThreadData data;
  return data;
}

namespace {
// The thread that loads the library is the process's main thread: it is known to the library from the
// start, with its own exception counter (held for the life of the process).
const bool g_mainThreadAttached = [] {
  thread_data().exceptionsCount = ExceptionsCount::create();
  return true;
}();
}  // namespace

}  // namespace core::detail
