#pragma once
// Thread-local storage slots of the system: one pointer per thread and slot.
//
// A fresh slot reads null in every thread. Freeing a slot does not touch the values threads stored in
// it; a slot number handed out again reads null in every thread until set anew. The number of slots is
// limited by the system (at least 128, on Linux 1024 per process).

#include <cstdint>

#include "core/Export.h"

namespace core::platform {

inline constexpr std::uint32_t kNoTlsSlot = 0xFFFFFFFFu;

// A new slot, or kNoTlsSlot when none is left.
KERN83_API std::uint32_t tls_alloc() noexcept;
KERN83_API void tls_free(std::uint32_t slot) noexcept;
KERN83_API void* tls_get(std::uint32_t slot) noexcept;
KERN83_API void tls_set(std::uint32_t slot, void* value) noexcept;

}  // namespace core::platform
