// The minimal process object: the set of live threads and the accept flag.
#include <algorithm>
#include <cstdio>
#include <exception>

#include "core/Thread.h"
#include "platform/TickCount.h"
#include "threads/ThreadInternal.h"

namespace core {

namespace {

// Writes what a thread's body threw to standard error; the thread still ends normally.
void report_to_stderr(Thread&, std::exception_ptr error) {
  const char* text = "unknown exception";
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kern83: a thread ended with an exception: %s\n", e.what());
    return;
  } catch (...) {
  }
  std::fprintf(stderr, "kern83: a thread ended with an %s\n", text);
}

}  // namespace

Process::Process() : handler_(&report_to_stderr) {}

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
  mutex_.lock();
  const bool accepting = accepting_;
  mutex_.unlock();
  return accepting;
}

void Process::setAcceptThreads(bool accept) {
  mutex_.lock();
  accepting_ = accept;
  mutex_.unlock();
}

std::size_t Process::liveThreadCount() const {
  mutex_.lock();
  const std::size_t count = threads_.size();
  mutex_.unlock();
  return count;
}

std::vector<SharedPtr<Thread>> Process::liveThreads() const {
  std::vector<SharedPtr<Thread>> result;
  mutex_.lock();
  result.reserve(threads_.size());
  for (const auto& entry : threads_) result.push_back(entry.second);
  mutex_.unlock();
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
  mutex_.lock();
  handler_ = std::move(handler);
  mutex_.unlock();
}

Process::ThreadExceptionHandler Process::threadExceptionHandler() const {
  mutex_.lock();
  ThreadExceptionHandler handler = handler_;
  mutex_.unlock();
  return handler;
}

bool Process::addThread(Thread* thread) {
  SharedPtr<Thread> reference(thread);  // taken before the lock: releasing never happens under it
  mutex_.lock();
  const bool accepted = accepting_;
  if (accepted) threads_.emplace(thread, std::move(reference));
  mutex_.unlock();
  return accepted;
}

void Process::removeThread(Thread* thread) {
  SharedPtr<Thread> reference;  // released after the lock: the last release may destroy the thread
  mutex_.lock();
  auto found = threads_.find(thread);
  if (found != threads_.end()) {
    reference = std::move(found->second);
    threads_.erase(found);
  }
  mutex_.unlock();
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
