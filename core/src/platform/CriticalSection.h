#pragma once
// A recursive critical section with a spin count.
//
// `enter` takes a free section with one atomic operation (inlined here). A taken one is first waited
// for by spinning up to `spinCount` tries, and only then does the thread sleep in the kernel: short
// critical sections of other threads are waited out without a context switch. The owning thread may
// enter again; every `enter` needs one `leave`.
//
// The word is 0 (free), 1 (taken) or 2 (taken, and somebody may sleep on it): a release that finds 2
// wakes one sleeper. `owner_` is written only by the owner and read by others only to compare with
// their own id, which can never match a value they did not write; `recursion_` is the owner's alone.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "platform/OsThread.h"

namespace core::platform {

inline constexpr std::size_t kCriticalSectionSize = 48;
inline constexpr int kDefaultSpinCount = 4000;

#if defined(_WIN32)

// Windows: the system's critical section (InitializeCriticalSectionAndSpinCount), made on first use, since
// the constructor must stay constexpr for locks at namespace scope. The system section is recursive and
// spins the same way before it sleeps.
class CriticalSection {
 public:
  explicit constexpr CriticalSection(int spinCount = kDefaultSpinCount) noexcept : spinCount_(spinCount) {}
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void enter() noexcept;
  bool tryEnter() noexcept;
  void leave() noexcept;

  // The system's CRITICAL_SECTION.
  void* native() noexcept;

 private:
  void* make() noexcept;

  std::atomic<std::uint32_t> state_{0};  // 0: not made, 1: being made, 2: made
  int spinCount_;
  alignas(8) unsigned char section_[40] = {};
};

#else

class CriticalSection {
 public:
  explicit constexpr CriticalSection(int spinCount = kDefaultSpinCount) noexcept : spinCount_(spinCount) {}
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void enter() noexcept {
    const std::uint64_t self = current_thread_id();
    if (owner_.load(std::memory_order_relaxed) == self) {
      ++recursion_;
      return;
    }
    std::uint32_t expected = 0;
    if (!word_.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      enterContended();
    }
    owner_.store(self, std::memory_order_relaxed);
    recursion_ = 1;
  }

  // Takes the section only if that does not block; true when taken.
  bool tryEnter() noexcept {
    const std::uint64_t self = current_thread_id();
    if (owner_.load(std::memory_order_relaxed) == self) {
      ++recursion_;
      return true;
    }
    std::uint32_t expected = 0;
    if (!word_.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed)) {
      return false;
    }
    owner_.store(self, std::memory_order_relaxed);
    recursion_ = 1;
    return true;
  }

  void leave() noexcept {
    if (--recursion_ != 0) return;
    owner_.store(0, std::memory_order_relaxed);
    if (word_.exchange(0, std::memory_order_release) == 2) wakeOne();
  }

 private:
  void enterContended() noexcept;
  void wakeOne() noexcept;

  std::atomic<std::uint32_t> word_{0};
  std::uint32_t recursion_ = 0;
  std::atomic<std::uint64_t> owner_{0};
  int spinCount_;
};

#endif

static_assert(sizeof(CriticalSection) <= kCriticalSectionSize);

}  // namespace core::platform
