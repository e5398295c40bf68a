#pragma once
// Sleeping on a 32-bit word until another thread changes it (Linux futex; WaitOnAddress elsewhere).
//
// The building block of the slim lock, the condition variable and the events: a waiter sleeps only
// while the word still holds the value it expects, so a change made between its test and its sleep is
// never lost. Wake-ups may be spurious; callers re-test their condition.
//
// `shared` words live in memory mapped by several processes; the others are private to this process
// (cheaper for the kernel to look up).

#include <atomic>
#include <cstdint>

namespace core::platform {

inline constexpr unsigned kInfinite = 0xFFFFFFFFu;

// Sleeps while `word` equals `expected`, at most `timeoutMs` (kInfinite: no limit). Returns false only
// when the time ran out; true on a wake-up, a changed word or a signal (callers re-test either way).
bool wait_on_address(std::atomic<std::uint32_t>& word, std::uint32_t expected, unsigned timeoutMs,
                     bool shared = false) noexcept;
// Wakes up to `count` sleepers of `word` (a negative count wakes all).
void wake_by_address(std::atomic<std::uint32_t>& word, int count, bool shared = false) noexcept;

}  // namespace core::platform
