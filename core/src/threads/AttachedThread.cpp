// Foreign OS threads taking part as library threads: AttachedThread, CallingThread, ThreadAttach.
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
  mutex().lock();
  if (stateLocked() != NotStarted) {
    mutex().unlock();
    return;
  }
  if (!detail::ThreadAccess::addToProcess(*process_, this)) {
    setStateLocked(Refused);
    setInterruptedLocked(true);
    mutex().unlock();
    semaphore().raise();
    return;
  }
  setStateLocked(Running);
  setInterruptedLocked(false);
  setRootProcessLocked(process_.get());
  mutex().unlock();
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
  mutex().lock();
  setStateLocked(Finished);
  setRootProcessLocked(nullptr);
  mutex().unlock();
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
