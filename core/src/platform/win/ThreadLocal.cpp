// Windows: TlsAlloc. TlsFree clears the slot in every thread, so a slot handed out again reads null.
#include "platform/ThreadLocal.h"

#include <windows.h>

namespace core::platform {

static_assert(TLS_OUT_OF_INDEXES == kNoTlsSlot);

std::uint32_t tls_alloc() noexcept { return TlsAlloc(); }
void tls_free(std::uint32_t slot) noexcept { TlsFree(slot); }
void* tls_get(std::uint32_t slot) noexcept { return TlsGetValue(slot); }
void tls_set(std::uint32_t slot, void* value) noexcept { TlsSetValue(slot, value); }

}  // namespace core::platform
