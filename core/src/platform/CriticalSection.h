#pragma once
// A recursive critical section with a spin count.
//
// `enter` first tries to take the section up to `spinCount` times, pausing between tries, and only then
// blocks in the kernel: short critical sections of other threads are waited out without a context
// switch. The owning thread may enter again; every `enter` needs one `leave`.
//
// The native object is kept in place (no heap block) so that it can be embedded in public classes
// through kCriticalSectionSize bytes of storage.

#include <cstddef>

#include "core/Export.h"

namespace core::platform {

inline constexpr std::size_t kCriticalSectionSize = 48;
inline constexpr int kDefaultSpinCount = 4000;

class KERN83_API CriticalSection {
 public:
  explicit CriticalSection(int spinCount = kDefaultSpinCount) noexcept;
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void enter() noexcept;
  // Takes the section only if that does not block; true when taken.
  bool tryEnter() noexcept;
  void leave() noexcept;

  // The native mutex, for the condition variable of this layer.
  void* native() noexcept { return native_; }

 private:
  alignas(8) unsigned char native_[40];
  int spinCount_;
};

static_assert(sizeof(CriticalSection) <= kCriticalSectionSize);

}  // namespace core::platform
