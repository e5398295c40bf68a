#pragma once
// Thread-local storage slots: one pointer per thread and slot, read and written on lock fast paths.
//
// A fresh slot reads null in every thread. Freeing a slot does not touch the values threads stored in
// it; a slot number handed out again reads null in every thread until set anew. At most kMaxTlsSlots
// slots exist at once.
//
// The slots are the library's own rather than the system's keys (pthread_getspecific is a call into the
// C library on every access): each thread has an array of entries reached through one initial-exec
// thread-local variable, so a get or a set is a few loads and a store, also inside libkern83.so, where
// the default (global-dynamic) model would cost a call to __tls_get_addr. The array grows when a thread
// first sets a slot beyond its end and is freed when the thread ends.
//
// Invariants: an entry counts only while its generation equals the slot's current generation, which
// tls_free advances; so the values of a slot's previous life read null. Only the owning thread reads or
// writes its entries; the generations are written under the allocator's lock and read without it (a
// thread uses a slot only after its allocation happened-before, through whatever handed it the slot).
//
// Windows uses the system's slots (TlsAlloc; TlsFree clears a slot in every thread): MinGW-w64 emulates
// thread-local variables through a call per access and frees them before other destructors of an ending
// thread run, so an entry array would be neither fast nor safe there.

#include <atomic>
#include <cstdint>

namespace core::platform {

inline constexpr std::uint32_t kNoTlsSlot = 0xFFFFFFFFu;

// A new slot, or kNoTlsSlot when none is left.
std::uint32_t tls_alloc() noexcept;
void tls_free(std::uint32_t slot) noexcept;

#if defined(_WIN32)

// What the system hands out: TLS_MINIMUM_AVAILABLE plus TLS_EXPANSION_SLOTS.
inline constexpr std::uint32_t kMaxTlsSlots = 1088;

void* tls_get(std::uint32_t slot) noexcept;
void tls_set(std::uint32_t slot, void* value) noexcept;

#else

inline constexpr std::uint32_t kMaxTlsSlots = 1024;

struct TlsEntry {
  void* value;
  std::uint32_t generation;
};

// The calling thread's entries (null until it first sets a slot) and how many there are.
struct TlsBlock {
  TlsEntry* entries;
  std::uint32_t capacity;
};

extern std::atomic<std::uint32_t> g_tlsGenerations[kMaxTlsSlots];
extern __thread TlsBlock t_tlsBlock __attribute__((tls_model("initial-exec")));

// Grows the calling thread's block to hold `slot`, then sets it. Stops the process when memory runs out
// (a lock could not record a holder).
void tls_set_slow(std::uint32_t slot, void* value) noexcept;

inline void* tls_get(std::uint32_t slot) noexcept {
  const TlsBlock& block = t_tlsBlock;
  if (slot >= block.capacity) return nullptr;
  const TlsEntry& entry = block.entries[slot];
  return entry.generation == g_tlsGenerations[slot].load(std::memory_order_relaxed) ? entry.value : nullptr;
}

inline void tls_set(std::uint32_t slot, void* value) noexcept {
  TlsBlock& block = t_tlsBlock;
  if (slot >= block.capacity) {
    tls_set_slow(slot, value);
    return;
  }
  block.entries[slot] = {value, g_tlsGenerations[slot].load(std::memory_order_relaxed)};
}

#endif

}  // namespace core::platform
