#include "threads/ThreadData.h"

#include "core/Thread.h"
#include "platform/OsThread.h"

namespace core::detail {

ThreadData& thread_data() noexcept {
  thread_local ThreadData data;
  return data;
}

Thread* bind_thread(Thread* thread) noexcept {
  ThreadData& data = thread_data();
  Thread* previous = data.thread;
  data.thread = thread;
  data.exceptionsCount = thread != nullptr ? thread->exceptionsCount() : nullptr;
  return previous;
}

namespace {

// The process's main thread as the library sees it: running from the start, run by no pool, a member of
// no live-thread set (nobody joins it).
class MainThread final : public Thread {
 public:
  MainThread() : Thread(NoPool) {
    mutex().lock();
    setStateLocked(Running);
    setRootProcessLocked(Process::defaultProcess());
    mutex().unlock();
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

}  // namespace core::detail
