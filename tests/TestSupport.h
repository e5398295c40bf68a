#pragma once
// Small helpers shared by the test programs: a counted interface object, timing helpers for tests that
// make another thread block, the exit code of a forked child, and a way to make mktime reproducible.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <thread>

#include "core/Interface.h"
#include "platform/Sleep.h"

namespace testing_support {

// An object of interface `I` that answers no query and counts its references; its maker holds the first.
template <class I = core::IUnknown>
struct RefCountedStub : I {
  virtual ~RefCountedStub() = default;
  core::HRESULT QueryInterface(const core::GUID&, void** object) override {
    *object = nullptr;
    return core::E_NOINTERFACE;
  }
  std::uint32_t AddRef() override { return ++refs; }
  std::uint32_t Release() override { return --refs; }
  std::atomic<std::uint32_t> refs{1};
};

// Gives a thread that should now be blocked the time to get there (and to get through, if it wrongly can).
inline void settle() { core::platform::sleep_ms(30); }

// Waits up to two seconds for `done`.
template <class F>
bool eventually(F done) {
  for (int i = 0; i < 2000 && !done(); ++i) core::platform::sleep_ms(1);
  return done();
}

// Runs `contender` on another thread while this one holds a lock, lets it block, then runs `release` and
// joins it.
template <class Contender, class Release>
void contend(Contender contender, Release release) {
  std::thread thread(contender);
  settle();
  release();
  thread.join();
}

// Waits for a forked child and returns its exit code, or -1 when it did not exit normally.
inline int exit_code(pid_t child) {
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
  return WEXITSTATUS(status);
}

// Leaves glibc's mktime starting its next call from `utcOffset`: converts an unambiguous instant near
// `near` that has that offset (mktime keeps the offset its last call ended with).
inline void prime_mktime(long long near, long utcOffset) {
  for (int k = 0; k < 64; ++k) {
    const std::time_t u = near + (k % 2 ? 1 : -1) * (k / 2) * 3 * 3600;
    std::tm tm;
    localtime_r(&u, &tm);
    if (tm.tm_gmtoff != utcOffset) continue;
    tm.tm_isdst = -1;
    if (std::mktime(&tm) == u) return;
  }
  FAIL() << "no instant to prime mktime with offset " << utcOffset << " near " << near;
}

}  // namespace testing_support
