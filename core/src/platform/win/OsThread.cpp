// Windows: threads of the C runtime (_beginthreadex, so that its per-thread state is set up and freed).
#include "platform/OsThread.h"

#include <process.h>
#include <windows.h>

#include <new>

namespace core::platform {

namespace {

struct Start {
  void (*body)(void*);
  void* argument;
};

unsigned __stdcall trampoline(void* raw) {
  Start start = *static_cast<Start*>(raw);
  delete static_cast<Start*>(raw);
  start.body(start.argument);
  return 0;
}

std::uint64_t milliseconds(const FILETIME& t) {  // FILETIME counts 100 ns
  return ((static_cast<std::uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime) / 10000u;
}

}  // namespace

bool start_os_thread(void (*body)(void*), void* argument, OsThreadHandle* handle) noexcept {
  auto* start = new (std::nothrow) Start{body, argument};
  if (start == nullptr) return false;
  const std::uintptr_t thread = _beginthreadex(nullptr, 0, &trampoline, start, 0, nullptr);
  if (thread == 0) {
    delete start;
    return false;
  }
  *handle = thread;
  return true;
}

void join_os_thread(OsThreadHandle handle) noexcept {
  WaitForSingleObject(reinterpret_cast<HANDLE>(handle), INFINITE);
  CloseHandle(reinterpret_cast<HANDLE>(handle));
}

void detach_os_thread(OsThreadHandle handle) noexcept { CloseHandle(reinterpret_cast<HANDLE>(handle)); }

ThreadTimes current_thread_times() noexcept {
  FILETIME created, exited, kernel, user;
  if (!GetThreadTimes(GetCurrentThread(), &created, &exited, &kernel, &user)) return {};
  return {milliseconds(user), milliseconds(kernel)};
}

}  // namespace core::platform
