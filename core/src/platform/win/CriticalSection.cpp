// Windows: the system's critical section with a spin count, made on first use.
#include "platform/CriticalSection.h"

#include <windows.h>

#include "platform/Sleep.h"

namespace core::platform {

static_assert(sizeof(CRITICAL_SECTION) == 40, "the storage in CriticalSection.h");

namespace {
enum : std::uint32_t { kNotMade = 0, kBeingMade = 1, kMade = 2 };
CRITICAL_SECTION* section_of(void* p) { return static_cast<CRITICAL_SECTION*>(p); }
}  // namespace

void* CriticalSection::make() noexcept {
  std::uint32_t expected = kNotMade;
  if (state_.compare_exchange_strong(expected, kBeingMade, std::memory_order_acquire)) {
    // Cannot fail on Vista and later (the system then makes its event on demand).
    InitializeCriticalSectionAndSpinCount(section_of(section_), static_cast<DWORD>(spinCount_));
    state_.store(kMade, std::memory_order_release);
  } else {
    while (state_.load(std::memory_order_acquire) != kMade) sleep_ms(0);
  }
  return section_;
}

void* CriticalSection::native() noexcept {
  return state_.load(std::memory_order_acquire) == kMade ? static_cast<void*>(section_) : make();
}

CriticalSection::~CriticalSection() {
  if (state_.load(std::memory_order_acquire) == kMade) DeleteCriticalSection(section_of(section_));
}

void CriticalSection::enter() noexcept { EnterCriticalSection(section_of(native())); }
bool CriticalSection::tryEnter() noexcept { return TryEnterCriticalSection(section_of(native())) != 0; }
void CriticalSection::leave() noexcept { LeaveCriticalSection(section_of(section_)); }

}  // namespace core::platform
