#include "platform/OsThread.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <new>

namespace core::platform {

namespace {

struct Start {
  void (*body)(void*);
  void* argument;
};

void* trampoline(void* raw) {
  Start start = *static_cast<Start*>(raw);
  delete static_cast<Start*>(raw);
  start.body(start.argument);
  return nullptr;
}

}  // namespace

bool start_os_thread(void (*body)(void*), void* argument, OsThreadHandle* handle) noexcept {
  auto* start = new (std::nothrow) Start{body, argument};
  if (start == nullptr) return false;
  pthread_t thread{};
  if (pthread_create(&thread, nullptr, &trampoline, start) != 0) {
    delete start;
    return false;
  }
  *handle = static_cast<OsThreadHandle>(thread);
  return true;
}

void join_os_thread(OsThreadHandle handle) noexcept { pthread_join(static_cast<pthread_t>(handle), nullptr); }

void detach_os_thread(OsThreadHandle handle) noexcept { pthread_detach(static_cast<pthread_t>(handle)); }

// The kernel id never changes for a thread: ask once. The child of a fork runs with a copy of the forking
// thread's cache, which names the parent's thread, so the cache is cleared in the child.
__thread std::uint64_t t_currentThreadId __attribute__((tls_model("initial-exec"))) = 0;

namespace {
const int g_forkHandler = pthread_atfork(nullptr, nullptr, [] { t_currentThreadId = 0; });
}  // namespace

std::uint64_t current_thread_id_slow() noexcept {
  t_currentThreadId = static_cast<std::uint64_t>(syscall(SYS_gettid));
  return t_currentThreadId;
}

ThreadTimes current_thread_times() noexcept {
  rusage usage{};
  if (getrusage(RUSAGE_THREAD, &usage) != 0) return {};
  auto ms = [](const timeval& t) {
    return static_cast<std::uint64_t>(t.tv_sec) * 1000u + static_cast<std::uint64_t>(t.tv_usec) / 1000u;
  };
  return {ms(usage.ru_utime), ms(usage.ru_stime)};
}

}  // namespace core::platform
