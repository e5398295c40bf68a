#pragma once
// The slim reader-writer lock: one 32-bit word, no heap, statically initialisable to 0.
//
// Word layout: bit 0 = held exclusively, bit 1 = somebody sleeps (or is about to sleep) on the word,
// bits 2.. = number of shared holders. A waiter first spins briefly on loads (short sections end
// before a sleep would pay off); then a waiting exclusive acquirer sets bit 1, which keeps new shared
// acquirers out, so a stream of readers cannot starve a writer. Releasing a word that has bit 1 set
// clears it and wakes every sleeper; they race again and re-set bit 1 if they must sleep once more.
//
// Not recursive in either mode: a thread taking it twice may deadlock (a writer may be waiting between).
// The uncontended paths are single atomic operations inlined here; only sleeping calls the OS.
//
// Orderings: taking the word is an acquire and giving it back a release, so what one holder wrote is
// seen by the next; nothing else is published through the word. A release must be a read-modify-write
// (not a plain store) because it has to see, in the same step, whether bit 1 asks it to wake sleepers.
// Setting and clearing bit 1 is relaxed: a sleeper's wait compares the word under the system's guard
// (the futex in the kernel, a parking place's lock on Windows), so a wake-up between its test and its
// sleep is not lost whatever the ordering.

#include <atomic>
#include <cstdint>

namespace core::platform {

using SlimWord = std::atomic<std::uint32_t>;

inline constexpr std::uint32_t kSlimExclusive = 1;
inline constexpr std::uint32_t kSlimWaiters = 2;
inline constexpr std::uint32_t kSlimReader = 4;

// Whether the system offers slim locks and their condition variable. Looked up once per process.
bool slim_locks_supported() noexcept;
// For tests: behave as on a system without them (slim_locks_supported answers false; on Windows the
// sleeps of wait_on_address become the fallback's polls), or, with false, as the system is again.
void simulate_missing_slim_locks(bool missing) noexcept;

// Out-of-line slow paths (they may sleep).
void slim_lock_exclusive_slow(SlimWord& word) noexcept;
void slim_lock_shared_slow(SlimWord& word) noexcept;
void slim_wake(SlimWord& word) noexcept;

inline bool slim_try_lock_exclusive(SlimWord& word) noexcept {
  std::uint32_t expected = 0;
  return word.compare_exchange_strong(expected, kSlimExclusive, std::memory_order_acquire, std::memory_order_relaxed);
}

inline bool slim_try_lock_shared(SlimWord& word) noexcept {
  std::uint32_t s = word.load(std::memory_order_relaxed);
  while ((s & (kSlimExclusive | kSlimWaiters)) == 0) {
    if (word.compare_exchange_weak(s, s + kSlimReader, std::memory_order_acquire, std::memory_order_relaxed))
      return true;
  }
  return false;
}

inline void slim_lock_exclusive(SlimWord& word) noexcept {
  if (!slim_try_lock_exclusive(word)) slim_lock_exclusive_slow(word);
}

inline void slim_lock_shared(SlimWord& word) noexcept {
  if (!slim_try_lock_shared(word)) slim_lock_shared_slow(word);
}

inline void slim_unlock_exclusive(SlimWord& word) noexcept {
  if (word.exchange(0, std::memory_order_release) != kSlimExclusive) slim_wake(word);
}

inline void slim_unlock_shared(SlimWord& word) noexcept {
  const std::uint32_t left = word.fetch_sub(kSlimReader, std::memory_order_release) - kSlimReader;
  if (left == kSlimWaiters) {
    // The last reader left and somebody sleeps: clear the flag (unless a newcomer already took the
    // lock, in which case its release wakes them) and wake everybody.
    std::uint32_t expected = kSlimWaiters;
    if (word.compare_exchange_strong(expected, 0, std::memory_order_relaxed)) slim_wake(word);
  }
}

}  // namespace core::platform
