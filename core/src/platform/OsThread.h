#pragma once
// OS threads: creation, joining, ids and per-thread processor times.

#include <cstdint>

namespace core::platform {

using OsThreadHandle = std::uintptr_t;

// Starts `body(argument)` on a new thread. Returns false (and starts nothing) when the system refuses.
bool start_os_thread(void (*body)(void*), void* argument, OsThreadHandle* handle) noexcept;
// Waits for the thread to end and frees its handle.
void join_os_thread(OsThreadHandle handle) noexcept;
// Frees the handle; the thread goes on and cleans up after itself.
void detach_os_thread(OsThreadHandle handle) noexcept;

// The calling thread's system-wide id (the kernel's thread id). Never 0. A plain thread-local load after
// the first call on a thread: locks compare owners with it on every acquisition.
std::uint64_t current_thread_id_slow() noexcept;
extern __thread std::uint64_t t_currentThreadId __attribute__((tls_model("initial-exec")));
inline std::uint64_t current_thread_id() noexcept {
  const std::uint64_t id = t_currentThreadId;
  return id != 0 ? id : current_thread_id_slow();
}

// Processor time the calling thread spent in user and in kernel mode, in milliseconds.
struct ThreadTimes {
  std::uint64_t userMs = 0;
  std::uint64_t kernelMs = 0;
};
ThreadTimes current_thread_times() noexcept;

}  // namespace core::platform
