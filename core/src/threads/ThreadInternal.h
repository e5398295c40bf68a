#pragma once
// What the pool service and the attaching kinds need of Thread and Process beyond their interface.

#include "core/Thread.h"

namespace core::detail {

struct ThreadAccess {
  // Runs `thread`'s body on the calling OS thread, then finishes it: state Finished, out of its
  // process, root process cleared, completion semaphore raised.
  static void threadMain(Thread& thread);
  // Runs run() through the process's exception handler, if any.
  static void runBody(Thread& thread, Process* process);
  static bool addToProcess(Process& process, Thread* thread) { return process.addThread(thread); }
  static void removeFromProcess(Process& process, Thread* thread) { process.removeThread(thread); }
  static ThreadSlots& slots(Thread& thread) noexcept { return *thread.slots_; }
};

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
