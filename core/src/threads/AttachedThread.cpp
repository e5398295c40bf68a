// Foreign OS threads taking part as library threads: AttachedThread, CallingThread, ThreadAttach.
#include "base/LockGuard.h"
#include "core/Thread.h"
#include "platform/OsThread.h"
#include "threads/ThreadInternal.h"

namespace core {

AttachedThread::AttachedThread(Process* process, SCOM_Process* scomProcess)
    : Thread(NoPool), process_(process != nullptr ? process : Process::defaultProcess()), scomProcess_(scomProcess) {}

AttachedThread::~AttachedThread() {
  // Destroyed while still bound on this OS thread: leave the thread as it was before attach.
  if (attachedTo_ != 0 && attachedTo_ == platform::current_thread_id()) detail::bind_thread(previous_);
}

void AttachedThread::doStart() {
  bool accepted = false;
  {
    detail::LockGuard guard(mutex());
    if (stateLocked() != NotStarted) return;
    accepted = detail::ThreadAccess::addToProcess(*process_, this);
    setStateLocked(accepted ? Running : Refused);
    setInterruptedLocked(!accepted);
    if (accepted) setRootProcessLocked(process_.get());
  }
  if (!accepted) {
    semaphore().raise();
    return;
  }
  previous_ = detail::bind_thread(this);
  attachedTo_ = platform::current_thread_id();
}

Thread::State AttachedThread::attach() {
  start();
  return state();
}

void AttachedThread::detach() {
  if (attachedTo_ == 0) return;
  SharedPtr<Thread> keep(this);  // leaving the process's set may drop the last other reference
  clearTLSData();
  {
    detail::LockGuard guard(mutex());
    setStateLocked(Finished);
    setRootProcessLocked(nullptr);
  }
  detail::ThreadAccess::removeFromProcess(*process_, this);
  detail::bind_thread(previous_);
  previous_ = nullptr;
  attachedTo_ = 0;
  semaphore().raise();
}

CallingThread::CallingThread(Process* process, SCOM_Process* scomProcess) : AttachedThread(process, scomProcess) {}

void CallingThread::doStart() { AttachedThread::doStart(); }

void CallingThread::call(std::function<void()> body) {
  const bool attachHere = current_thread() != this;
  if (attachHere && attach() != Running) {
    throw ThreadException(ThreadException::StartRefused, ResourceKey{"IDS_ERR_THREAD_REFUSED"});
  }
  SharedPtr<Thread> keep(this);
  try {
    body();
  } catch (...) {
    if (attachHere) detach();
    throw;
  }
  if (attachHere) detach();
}

ThreadAttach::ThreadAttach(Thread* thread, SCOM_Process*) : previous_(detail::bind_thread(thread)) {}

ThreadAttach::~ThreadAttach() { detail::bind_thread(previous_); }

}  // namespace core
