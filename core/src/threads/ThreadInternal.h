#pragma once
// What the pool service and the thread kinds need of Thread and Process beyond their interface.

#include "core/Thread.h"

namespace core::detail {

struct ThreadAccess {
  // Runs `thread`'s body on the calling OS thread, then finishes it: its timer ended, state Finished,
  // out of its process, root process cleared, completion semaphore raised.
  static void threadMain(Thread& thread);
  // Runs run() through the process's exception handler, if any.
  static void runBody(Thread& thread, Process* process);
  static bool addToProcess(Process& process, Thread* thread) { return process.addThread(thread); }
  static void removeFromProcess(Process& process, Thread* thread) { process.removeThread(thread); }
  static ThreadSlots& slots(Thread& thread) noexcept { return *thread.slots_; }

  // ----- Timers of ProcessThreads (ProcessThread.cpp)
  // Starts `timer` (pool TimerPool, belonging to `owner`'s process without being a member of its live
  // set) as `owner`'s timer, when `owner` runs and has none. False when it did not. Throws
  // ThreadException (CreateFailed) when the system gives no OS thread.
  static bool startTimer(Thread& owner, const SharedPtr<Thread>& timer);
  // `owner`'s timer interval for its timer `timer`; when that is 0, `timer` stops being the owner's
  // timer in the same step, so that a doStartTimer after setTimerInterval never finds it in the way.
  static unsigned timerInterval(Thread& owner, Thread* timer);
  // Forgets `timer` as `owner`'s timer, if it still is.
  static void dropTimer(Thread& owner, Thread* timer);
  // Calls `owner`'s onTimer through the exception handler of `process` (reported as `owner`'s).
  static void tick(ProcessThread& owner, Process* process);

 private:
  // Ends the thread's timers and marks it Finished; hands back its root process.
  static SharedPtr<Process> finish(Thread& thread);
};

// Calls `body`; what it throws goes to `process`'s exception handler as `thread`'s. Without a process or
// handler the exception passes on (and ends the program when it leaves a thread).
template <class Body>
void run_reporting(Thread& thread, Process* process, const Body& body) {
  Process::ThreadExceptionHandler handler;
  if (process != nullptr) handler = process->threadExceptionHandler();
  if (!handler) {
    body();
    return;
  }
  try {
    body();
  } catch (...) {
    handler(thread, std::current_exception());
  }
}

// Stops a timer that startTimer started and waits until it has ended.
void end_timer(Thread& timer);

// Makes `thread` (null: none) the calling OS thread's Thread object, its per-thread state the current
// one, and returns the thread bound before. The caller keeps `thread` alive while it is bound.
Thread* bind_thread(Thread* thread) noexcept;

// The process a thread started now by the calling thread belongs to: the calling thread's root process,
// else the default process.
Process* calling_root_process() noexcept;

// Hands a started thread to the pool of its type, which runs ThreadAccess::threadMain on a worker.
// False when no worker could be had (the system refused a new OS thread).
bool submit_to_pool(const SharedPtr<Thread>& thread) noexcept;

}  // namespace core::detail
