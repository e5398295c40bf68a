#pragma once
// Small helpers shared by the test programs: a counted interface object, timing helpers for tests that
// make another thread block, and the exit code of a forked child.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
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

}  // namespace testing_support
