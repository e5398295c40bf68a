// The minimal process object: the set of live threads and the accept flag.
#include <algorithm>
#include <exception>
#include <string>

#include "base/LockGuard.h"
#include "core/Thread.h"
#include "platform/Diagnostics.h"
#include "platform/Mutex.h"
#include "platform/TickCount.h"
#include "threads/ThreadInternal.h"

namespace core {

namespace {

// Reports what a thread's body threw on the process's diagnostics; the thread still ends normally.
void report_to_stderr(Thread&, std::exception_ptr error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    platform::write_diagnostic(std::string("a thread ended with an exception: ") + e.what());
  } catch (...) {
    platform::write_diagnostic("a thread ended with an unknown exception");
  }
}

}  // namespace

Process::Process() : mutex_(platform::process_suspend_monitor()), handler_(&report_to_stderr) {}

Process::~Process() = default;

Process* Process::defaultProcess() noexcept {
  static Process* const process = [] {
    auto* p = new Process;
    p->acquire();  // held for the life of the program
    return p;
  }();
  return process;
}

bool Process::acceptsThreads() const {
  detail::LockGuard guard(mutex_);
  return accepting_;
}

void Process::setAcceptThreads(bool accept) {
  detail::LockGuard guard(mutex_);
  accepting_ = accept;
}

std::size_t Process::liveThreadCount() const {
  detail::LockGuard guard(mutex_);
  return threads_.size();
}

std::vector<SharedPtr<Thread>> Process::liveThreads() const {
  std::vector<SharedPtr<Thread>> result;
  detail::LockGuard guard(mutex_);
  result.reserve(threads_.size());
  for (const auto& entry : threads_) result.push_back(entry.second);
  return result;
}

bool Process::waitForThreads(unsigned int timeoutMs) {
  const std::uint64_t start = platform::tick_count();
  for (const SharedPtr<Thread>& thread : liveThreads()) {
    const std::uint64_t spent = platform::tick_count() - start;
    const int left = spent >= timeoutMs ? 0 : static_cast<int>(std::min<std::uint64_t>(timeoutMs - spent, 0x7FFFFFFF));
    if (!thread->semaphore().wait(left)) return false;
  }
  return true;
}

void Process::setThreadExceptionHandler(ThreadExceptionHandler handler) {
  ThreadExceptionHandler previous = std::move(handler);  // the old one is destroyed outside the lock
  detail::LockGuard guard(mutex_);
  handler_.swap(previous);
}

Process::ThreadExceptionHandler Process::threadExceptionHandler() const {
  detail::LockGuard guard(mutex_);
  return handler_;
}

bool Process::addThread(Thread* thread) {
  SharedPtr<Thread> reference(thread);  // taken before the lock: releasing never happens under it
  detail::LockGuard guard(mutex_);
  if (!accepting_) return false;
  threads_.emplace(thread, std::move(reference));
  return true;
}

void Process::removeThread(Thread* thread) {
  SharedPtr<Thread> reference;  // released after the lock: the last release may destroy the thread
  detail::LockGuard guard(mutex_);
  auto found = threads_.find(thread);
  if (found == threads_.end()) return;
  reference = std::move(found->second);
  threads_.erase(found);
}

namespace detail {

Process* calling_root_process() noexcept {
  if (Thread* caller = current_thread()) {
    if (Process* process = caller->rootProcess()) return process;
  }
  return Process::defaultProcess();
}

}  // namespace detail

}  // namespace core
