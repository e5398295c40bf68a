#pragma once
// OS threads: creation, joining, ids and per-thread processor times.

#include <cstdint>

#if defined(_WIN32)
// As <windows.h> declares it (which this header leaves out of the many files that include it).
extern "C" __declspec(dllimport) unsigned long __stdcall GetCurrentThreadId();
#endif

namespace core::platform {

using OsThreadHandle = std::uintptr_t;

// Starts `body(argument)` on a new thread. Returns false (and starts nothing) when the system refuses.
bool start_os_thread(void (*body)(void*), void* argument, OsThreadHandle* handle) noexcept;
// Waits for the thread to end and frees its handle.
void join_os_thread(OsThreadHandle handle) noexcept;
// Frees the handle; the thread goes on and cleans up after itself.
void detach_os_thread(OsThreadHandle handle) noexcept;

// The calling thread's system-wide id (the kernel's thread id). Never 0. Cheap: locks compare owners with
// it on every acquisition. On Linux a plain thread-local load after the first call on a thread; on
// Windows a read of the thread's environment block.
#if defined(_WIN32)
inline std::uint64_t current_thread_id() noexcept { return ::GetCurrentThreadId(); }
#else
std::uint64_t current_thread_id_slow() noexcept;
extern __thread std::uint64_t t_currentThreadId __attribute__((tls_model("initial-exec")));
inline std::uint64_t current_thread_id() noexcept {
  const std::uint64_t id = t_currentThreadId;
  return id != 0 ? id : current_thread_id_slow();
}
#endif

// Processor time the calling thread spent in user and in kernel mode, in milliseconds.
struct ThreadTimes {
  std::uint64_t userMs = 0;
  std::uint64_t kernelMs = 0;
};
ThreadTimes current_thread_times() noexcept;

}  // namespace core::platform
