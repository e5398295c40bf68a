// The thread-pool service: one pool per pool type runs started threads on worker OS threads.
//
// A pool never queues a thread behind another: when no idle worker is free for a new job, it starts a
// worker for it, so threads that wait for each other cannot deadlock on the pool. Finished workers wait
// for the next job up to the idle timeout; beyond the idle limit they end at once.
//
// Pools and their workers live until the process ends (workers are detached; the pools are never
// destroyed, so a worker never touches a destroyed pool during exit).
#include <deque>

#include "base/LockGuard.h"
#include "core/Thread.h"
#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"
#include "platform/OsThread.h"
#include "platform/Processor.h"
#include "platform/TickCount.h"
#include "threads/ThreadInternal.h"

namespace core {

namespace {

class Pool {
 public:
  Pool() : maxIdle_(static_cast<int>(platform::processor_count())) {}

  void configure(int maxIdle, int idleTimeoutMs, bool reuse) {
    {
      detail::LockGuard guard(mutex_);
      if (maxIdle >= 0) maxIdle_ = maxIdle;
      if (idleTimeoutMs >= 0) idleTimeoutMs_ = static_cast<unsigned>(idleTimeoutMs);
      reuse_ = reuse;
    }
    condition_.wakeAll();  // idle workers re-read the limits
  }

  bool submit(const SharedPtr<Thread>& thread) {
    bool idleWorkerFree = false;
    {
      detail::LockGuard guard(mutex_);
      jobs_.push_back(thread);
      idleWorkerFree = jobs_.size() <= idle_;
    }
    if (idleWorkerFree) {
      condition_.wakeAll();
      return true;
    }
    platform::OsThreadHandle handle{};
    if (platform::start_os_thread(&Pool::workerMain, this, &handle)) {
      platform::detach_os_thread(handle);
      return true;
    }
    detail::LockGuard guard(mutex_);  // take the job back: nobody will run it
    for (auto it = jobs_.begin(); it != jobs_.end(); ++it) {
      if (it->get() == thread.get()) {
        jobs_.erase(it);
        break;
      }
    }
    return false;
  }

 private:
  static void workerMain(void* raw) { static_cast<Pool*>(raw)->work(); }

  void work() {
    for (;;) {
      SharedPtr<Thread> job = take();
      if (!job) return;
      detail::ThreadAccess::threadMain(*job);
      job.reset();  // the pool's reference goes before the worker looks for more work
      if (!reuse()) return;
    }
  }

  bool reuse() {
    detail::LockGuard guard(mutex_);
    return reuse_;
  }

  // The next job, or null when the worker should end (idle limit or idle timeout reached).
  SharedPtr<Thread> take() {
    detail::LockGuard guard(mutex_);
    const std::uint64_t start = platform::tick_count();
    while (jobs_.empty()) {
      const std::uint64_t idleFor = platform::tick_count() - start;
      if (idle_ >= static_cast<std::size_t>(maxIdle_) || idleFor >= idleTimeoutMs_) return nullptr;
      ++idle_;
      condition_.sleep(mutex_, static_cast<unsigned>(idleTimeoutMs_ - idleFor));
      --idle_;
    }
    SharedPtr<Thread> job = std::move(jobs_.front());
    jobs_.pop_front();
    return job;
  }

  platform::Mutex mutex_;
  platform::CondVar condition_;
  std::deque<SharedPtr<Thread>> jobs_ KERN83_GUARDED_BY(mutex_);
  std::size_t idle_ KERN83_GUARDED_BY(mutex_) = 0;  // workers sleeping in take()
  int maxIdle_ KERN83_GUARDED_BY(mutex_);
  unsigned idleTimeoutMs_ KERN83_GUARDED_BY(mutex_) = 30000;
  bool reuse_ KERN83_GUARDED_BY(mutex_) = true;
};

Pool& pool(Thread::PoolType type) {
  static Pool* const pools = new Pool[Thread::kPoolTypeCount];  // never destroyed, see above
  return pools[type];
}

}  // namespace

namespace detail {

bool submit_to_pool(const SharedPtr<Thread>& thread) noexcept {
  const int type = thread->poolType();
  return pool(static_cast<Thread::PoolType>(type >= 0 && type < Thread::kPoolTypeCount ? type : 0)).submit(thread);
}

void ThreadAccess::runBody(Thread& thread, Process* process) {
  run_reporting(thread, process, [&thread] { thread.run(); });
}

void ThreadAccess::threadMain(Thread& thread) {
  SharedPtr<Thread> keep(&thread);
  Thread* previous = bind_thread(&thread);
  Process* process = thread.rootProcess();
  runBody(thread, process);
  thread.clearTLSData();
  SharedPtr<Process> root = finish(thread);
  if (root) removeFromProcess(*root, &thread);
  bind_thread(previous);
  thread.semaphore_.raise();
}

// The timer ends before the state becomes Finished: join() returns at once for a finished thread, and
// once it has returned no onTimer call may run any more. Another thread may start a timer while the
// last one is being ended (doStartTimer accepts while the state is Running), hence the loop.
SharedPtr<Process> ThreadAccess::finish(Thread& thread) {
  for (;;) {
    SharedPtr<Thread> timer;
    {
      LockGuard guard(thread.mutex_);
      if (!thread.timer_) {
        thread.state_ = Thread::Finished;
        return std::move(thread.rootProcess_);
      }
      timer = std::move(thread.timer_);
    }
    end_timer(*timer);
  }
}

}  // namespace detail

void set_thread_mode(Thread::PoolType type, int maxIdleWorkers, int idleTimeoutMs, bool reuseWorkers) {
  if (type <= Thread::NoPool || type >= Thread::kPoolTypeCount) return;
  pool(type).configure(maxIdleWorkers, idleTimeoutMs, reuseWorkers);
}

}  // namespace core
