// Windows: sleeping on a word with the system's slim locks and condition variables, looked up once in
// kernel32 (they exist since Vista; older systems get the fallback below).
//
// Sleepers of all words share kBuckets parking places, chosen by the word's address. A sleeper tests the
// word and falls asleep under its bucket's lock (SleepConditionVariableSRW releases the lock and sleeps in
// one step); a waker has changed the word before, and takes and drops the lock before it wakes the bucket.
// So a sleeper either saw the change, or was asleep when the wake-up came. Sleepers of other words in the
// same bucket wake too and re-test: wake-ups may be spurious anyway.
//
// Fallback, when the entry points are missing (or tests simulate that): a sleep is a poll, one
// millisecond, after which the caller re-tests. Wakers still wake the buckets when the system has them,
// so switching the simulation while threads sleep loses nobody.
//
// Words shared between processes are not supported here: Windows events are the system's own objects.
#include "platform/WaitOnAddress.h"

#include <windows.h>

#include <atomic>
#include <cstdint>

#include "platform/SlimLock.h"
#include "platform/TickCount.h"

namespace core::platform {

namespace {

struct SlimApi {
  decltype(&AcquireSRWLockExclusive) acquire = nullptr;
  decltype(&ReleaseSRWLockExclusive) release = nullptr;
  decltype(&SleepConditionVariableSRW) sleep = nullptr;
  decltype(&WakeAllConditionVariable) wakeAll = nullptr;
  bool found = false;
};

template <class F>
void look_up(HMODULE module, const char* name, F& out) {
  out = reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

const SlimApi& slim_api() noexcept {
  static const SlimApi api = [] {
    SlimApi a;
    if (HMODULE kernel = GetModuleHandleW(L"kernel32.dll")) {
      look_up(kernel, "AcquireSRWLockExclusive", a.acquire);
      look_up(kernel, "ReleaseSRWLockExclusive", a.release);
      look_up(kernel, "SleepConditionVariableSRW", a.sleep);
      look_up(kernel, "WakeAllConditionVariable", a.wakeAll);
    }
    a.found = a.acquire != nullptr && a.release != nullptr && a.sleep != nullptr && a.wakeAll != nullptr;
    return a;
  }();
  return api;
}

std::atomic<bool> g_simulateMissing{false};

constexpr std::size_t kBuckets = 64;

struct alignas(64) Bucket {
  SRWLOCK lock = SRWLOCK_INIT;
  CONDITION_VARIABLE sleepers = CONDITION_VARIABLE_INIT;
};

Bucket g_buckets[kBuckets];

Bucket& bucket_of(const void* address) noexcept {
  const auto a = reinterpret_cast<std::uintptr_t>(address);
  return g_buckets[((a >> 2) ^ (a >> 9)) % kBuckets];
}

bool poll(std::atomic<std::uint32_t>& word, std::uint32_t expected, unsigned timeoutMs) noexcept {
  if (word.load(std::memory_order_seq_cst) != expected) return true;
  if (timeoutMs == 0) return false;
  Sleep(1);
  return timeoutMs > 1;
}

}  // namespace

bool slim_locks_supported() noexcept { return slim_api().found && !g_simulateMissing.load(std::memory_order_relaxed); }

void simulate_missing_slim_locks(bool missing) noexcept { g_simulateMissing.store(missing, std::memory_order_relaxed); }

bool wait_on_address(std::atomic<std::uint32_t>& word, std::uint32_t expected, unsigned timeoutMs, bool) noexcept {
  if (!slim_locks_supported()) return poll(word, expected, timeoutMs);
  const SlimApi& api = slim_api();
  Bucket& bucket = bucket_of(&word);
  bool woken = true;
  api.acquire(&bucket.lock);
  if (word.load(std::memory_order_seq_cst) == expected) {
    woken = api.sleep(&bucket.sleepers, &bucket.lock, timeoutMs, 0) != 0 || GetLastError() != ERROR_TIMEOUT;
  }
  api.release(&bucket.lock);
  return woken;
}

void wake_by_address(std::atomic<std::uint32_t>& word, int, bool) noexcept {
  const SlimApi& api = slim_api();
  if (!api.found) return;  // everybody polls
  Bucket& bucket = bucket_of(&word);
  api.acquire(&bucket.lock);
  api.release(&bucket.lock);
  api.wakeAll(&bucket.sleepers);
}

}  // namespace core::platform
