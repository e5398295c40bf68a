#pragma once
// A suspend monitor for tests: counts "about to block" and "resumed" notifications, checks that every
// thread's notifications pair up (never resumed without blocking first), and installs itself as the
// process's monitor for its lifetime.
#include <atomic>

#include "nexa/Monitor.h"

namespace testing_support {

class CountingSuspendMonitor final : public nexa::IThreadSuspendMonitor {
 public:
  CountingSuspendMonitor() : previous_(nexa::get_thread_suspend_monitor()) { nexa::set_thread_suspend_monitor(this); }
  ~CountingSuspendMonitor() override { nexa::set_thread_suspend_monitor(previous_); }

  void aboutToBlock() override {
    ++depth();
    blocked_.fetch_add(1);
  }
  void resumed() override {
    if (--depth() < 0) unpaired_.fetch_add(1);
    resumed_.fetch_add(1);
  }

  int blocked() const { return blocked_.load(); }
  int resumed() const { return resumed_.load(); }
  // True when every notification so far was one half of a pair.
  bool paired() const { return unpaired_.load() == 0 && blocked_.load() == resumed_.load(); }
  void reset() {
    blocked_ = 0;
    resumed_ = 0;
    unpaired_ = 0;
  }

 private:
  static int& depth() {
    thread_local int value = 0;
    return value;
  }
  nexa::IThreadSuspendMonitor* previous_;
  std::atomic<int> blocked_{0};
  std::atomic<int> resumed_{0};
  std::atomic<int> unpaired_{0};
};

}  // namespace testing_support
