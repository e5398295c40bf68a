#include "platform/ThreadLocal.h"

#include <pthread.h>

namespace core::platform {

std::uint32_t tls_alloc() noexcept {
  pthread_key_t key{};
  if (pthread_key_create(&key, nullptr) != 0) return kNoTlsSlot;
  return static_cast<std::uint32_t>(key);
}

// glibc keeps a sequence number per key, so a recreated key reads null in threads that stored a value
// under its previous life: the "reads null until set anew" promise holds.
void tls_free(std::uint32_t slot) noexcept { pthread_key_delete(static_cast<pthread_key_t>(slot)); }

}  // namespace core::platform
