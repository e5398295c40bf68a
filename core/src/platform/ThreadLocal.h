#pragma once
// Thread-local storage slots of the system: one pointer per thread and slot.
//
// A fresh slot reads null in every thread. Freeing a slot does not touch the values threads stored in
// it; a slot number handed out again reads null in every thread until set anew. The number of slots is
// limited by the system (at least 128, on Linux 1024 per process).

#include <cstdint>

#if defined(__unix__)
#include <pthread.h>
#endif

namespace core::platform {

inline constexpr std::uint32_t kNoTlsSlot = 0xFFFFFFFFu;

// A new slot, or kNoTlsSlot when none is left.
std::uint32_t tls_alloc() noexcept;
void tls_free(std::uint32_t slot) noexcept;

#if defined(__unix__)
// Inline: lock fast paths read and write their per-thread counts on every acquisition.
inline void* tls_get(std::uint32_t slot) noexcept { return pthread_getspecific(static_cast<pthread_key_t>(slot)); }
inline void tls_set(std::uint32_t slot, void* value) noexcept {
  pthread_setspecific(static_cast<pthread_key_t>(slot), value);
}
#else
void* tls_get(std::uint32_t slot) noexcept;
void tls_set(std::uint32_t slot, void* value) noexcept;
#endif

}  // namespace core::platform
