// ProcessThread and its timer.
//
// The timer and the thread hold references to each other while the timer runs: the thread in timer_,
// the timer in owner_. The cycle ends on every path: the thread's end takes timer_ and waits for the
// timer, a timer that stops by itself drops timer_ first, and either way the timer lets go of its owner
// when its body returns.
#include <algorithm>
#include <climits>

#include "base/LockGuard.h"
#include "core/Exception.h"
#include "core/Semaphore.h"
#include "core/Thread.h"
#include "threads/ThreadInternal.h"

namespace core {

namespace detail {

namespace {

class ThreadTimer final : public Thread {
 public:
  explicit ThreadTimer(ProcessThread& owner) : Thread(TimerPool), owner_(&owner) {}

  // Ends the timer at its current wait, or after the tick in progress.
  void stop() { stop_.raise(); }

  void run() override {
    ProcessThread& owner = *owner_;
    // An interval of 0 drops the timer as it is read, so the loop just ends then.
    for (unsigned interval = ThreadAccess::timerInterval(owner, this); interval != 0;
         interval = ThreadAccess::timerInterval(owner, this)) {
      if (stop_.wait(static_cast<int>(std::min<unsigned>(interval, INT_MAX)))) break;
      if (!owner.isAlive() || owner.isInterrupted() || ThreadAccess::timerInterval(owner, this) == 0) break;
      ThreadAccess::tick(owner, rootProcess());
    }
    ThreadAccess::dropTimer(owner, this);
    owner_.reset();
  }

 private:
  SharedPtr<ProcessThread> owner_;
  ISemaphoreImpl stop_;  // a raise before the wait still ends the next wait
};

}  // namespace

void end_timer(Thread& timer) {
  static_cast<ThreadTimer&>(timer).stop();
  timer.semaphore().wait();
}

bool ThreadAccess::startTimer(Thread& owner, const SharedPtr<Thread>& timer) {
  LockGuard guard(owner.mutex_);
  if (owner.state_ != Thread::Running || owner.timer_) return false;
  Thread& t = *timer;
  {
    LockGuard timerGuard(t.mutex_);
    t.state_ = Thread::Running;
    t.rootProcess_ = owner.rootProcess_;  // threads that onTimer starts belong to the owner's process
  }
  // Submitted under the owner's lock, which the timer's first step takes: it finds itself installed,
  // and a failed submission leaves nothing behind for the owner's end to wait for.
  if (!submit_to_pool(timer)) {
    throw ThreadException(ThreadException::CreateFailed, ResourceKey{"IDS_ERR_THREAD_CREATE"});
  }
  owner.timer_ = timer;
  return true;
}

unsigned ThreadAccess::timerInterval(Thread& owner, Thread* timer) {
  SharedPtr<Thread> dropped;  // released outside the lock
  LockGuard guard(owner.mutex_);
  if (owner.timerInterval_ == 0 && owner.timer_.get() == timer) dropped = std::move(owner.timer_);
  return owner.timerInterval_;
}

void ThreadAccess::dropTimer(Thread& owner, Thread* timer) {
  SharedPtr<Thread> dropped;
  LockGuard guard(owner.mutex_);
  if (owner.timer_.get() == timer) dropped = std::move(owner.timer_);
}

void ThreadAccess::tick(ProcessThread& owner, Process* process) {
  run_reporting(owner, process, [&owner] { owner.onTimer(); });
}

}  // namespace detail

ProcessThread::ProcessThread(Process* process)
    : Thread(ProcessPool), process_(process != nullptr ? process : Process::defaultProcess()) {}

ProcessThread::~ProcessThread() = default;

void ProcessThread::doStart() {
  if (!startIn(*process_)) return;
  if (getTimerInterval() != 0) doStartTimer();
}

void ProcessThread::doStartTimer() {
  if (getTimerInterval() == 0) return;
  detail::ThreadAccess::startTimer(*this, SharedPtr<Thread>(new detail::ThreadTimer(*this)));
}

void ProcessThread::onTimer() {}

}  // namespace core
