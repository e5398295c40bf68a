#include "platform/ThreadLocal.h"

#include <pthread.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/Diagnostics.h"

namespace core::platform {

std::atomic<std::uint32_t> g_tlsGenerations[kMaxTlsSlots] = {};
__thread TlsBlock t_tlsBlock __attribute__((tls_model("initial-exec"))) = {nullptr, 0};

namespace {

// One bit per slot, set while the slot is handed out. Claimed by compare-and-swap, so allocation needs
// no lock. tls_free advances the generation before it clears the bit (release), and tls_alloc claims
// the bit with acquire: whoever gets the slot next sees the new generation.
constexpr std::uint32_t kBitsPerWord = 64;
std::atomic<std::uint64_t> g_used[kMaxTlsSlots / kBitsPerWord] = {};

void free_entries(void*) noexcept {
  std::free(t_tlsBlock.entries);
  t_tlsBlock = {nullptr, 0};
}

// The system key whose destructor frees an ending thread's entries. Without one (the system has none
// left) the entries of ending threads leak, which costs memory but breaks no promise.
void register_thread_cleanup() noexcept {
  static pthread_key_t key;
  static const bool made = pthread_key_create(&key, &free_entries) == 0;
  // Any non-null value makes the destructor run; setting it again during the destructor rounds of an
  // ending thread (a later destructor set a slot) runs it once more.
  if (made) pthread_setspecific(key, &t_tlsBlock);
}

}  // namespace

std::uint32_t tls_alloc() noexcept {
  for (std::uint32_t w = 0; w < kMaxTlsSlots / kBitsPerWord; ++w) {
    std::uint64_t used = g_used[w].load(std::memory_order_relaxed);
    while (used != ~std::uint64_t{0}) {
      const std::uint64_t bit = ~used & (used + 1);  // the lowest clear bit
      if (g_used[w].compare_exchange_weak(used, used | bit, std::memory_order_acquire, std::memory_order_relaxed)) {
        return w * kBitsPerWord + static_cast<std::uint32_t>(__builtin_ctzll(bit));
      }
    }
  }
  return kNoTlsSlot;
}

void tls_free(std::uint32_t slot) noexcept {
  if (slot >= kMaxTlsSlots) return;
  g_tlsGenerations[slot].fetch_add(1, std::memory_order_relaxed);
  g_used[slot / kBitsPerWord].fetch_and(~(std::uint64_t{1} << (slot % kBitsPerWord)), std::memory_order_release);
}

void tls_set_slow(std::uint32_t slot, void* value) noexcept {
  if (value == nullptr || slot >= kMaxTlsSlots) return;  // an entry beyond the end reads null already
  TlsBlock& block = t_tlsBlock;
  const std::uint32_t capacity = std::min(kMaxTlsSlots, std::max({slot + 1, block.capacity * 2, 16u}));
  auto* entries = static_cast<TlsEntry*>(std::calloc(capacity, sizeof(TlsEntry)));
  if (entries == nullptr) fatal_error("out of memory for thread-local slots");
  if (block.entries != nullptr) {
    std::memcpy(entries, block.entries, block.capacity * sizeof(TlsEntry));
    std::free(block.entries);
  } else {
    register_thread_cleanup();
  }
  block = {entries, capacity};
  entries[slot] = {value, g_tlsGenerations[slot].load(std::memory_order_relaxed)};
}

}  // namespace core::platform
