// The thread object bound to each OS thread, and the process's main thread.
#include "base/LockGuard.h"
#include "base/ThreadSlots.h"
#include "core/Thread.h"
#include "platform/OsThread.h"
#include "threads/ThreadInternal.h"

namespace core {

namespace {
thread_local Thread* t_thread = nullptr;
}  // namespace

Thread* Thread::current() noexcept { return t_thread; }
Thread* current_thread() noexcept { return t_thread; }

namespace detail {

Thread* bind_thread(Thread* thread) noexcept {
  Thread* previous = t_thread;
  t_thread = thread;
  bind_thread_slots(thread != nullptr ? &ThreadAccess::slots(*thread) : nullptr);
  return previous;
}

namespace {

// The process's main thread as the library sees it: running from the start, run by no pool, a member of
// no live-thread set (nobody joins it).
class MainThread final : public Thread {
 public:
  MainThread() : Thread(NoPool) {
    LockGuard guard(mutex());
    setStateLocked(Running);
    setRootProcessLocked(Process::defaultProcess());
  }
};

// The thread that loads the library is the process's main thread: it gets its Thread object (and so its
// exception counter) from the start. The object is held for the life of the process.
Thread* const g_mainThread = [] {
  auto* main = new MainThread();
  main->acquire();
  Thread::s_mainThreadId = platform::current_thread_id();
  bind_thread(main);
  return main;
}();

}  // namespace

}  // namespace detail

}  // namespace core
