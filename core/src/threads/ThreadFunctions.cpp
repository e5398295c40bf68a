// create_thread and the free helpers of the threads family.
#include <utility>

#include "core/Thread.h"
#include "nexa/Monitor.h"
#include "platform/Processor.h"
#include "platform/Sleep.h"
#include "platform/TickCount.h"

namespace core {

namespace {

class FunctionThread final : public Thread {
 public:
  explicit FunctionThread(std::function<void()> body) : Thread(FunctionPool), body_(std::move(body)) {}

  // The body is moved out first, so whatever it captured is released when it returns, not when the
  // thread object goes.
  void run() override {
    std::function<void()> body = std::move(body_);
    body_ = nullptr;
    body();  // an empty function throws std::bad_function_call here, inside the thread
  }

 private:
  std::function<void()> body_;
};

}  // namespace

SharedPtr<Thread> create_thread(const std::function<void()>& body) {
  return SharedPtr<Thread>(new FunctionThread(body));
}

SharedPtr<Thread> create_thread(std::function<void()>&& body) {
  return SharedPtr<Thread>(new FunctionThread(std::move(body)));
}

bool wait_unique(Thread* thread, unsigned int timeoutMs) {
  const std::uint64_t start = platform::tick_count();
  while (thread != nullptr && thread->refcount() > 1) {
    {
      nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
      platform::sleep_ms(10);
    }
    if (platform::tick_count() - start >= timeoutMs) return false;
  }
  platform::sleep_ms(0);
  return true;
}

bool wait_unique(const SharedPtr<Thread>& thread, unsigned int timeoutMs) {
  return wait_unique(thread.get(), timeoutMs);
}

unsigned int hardware_concurrency() noexcept { return platform::processor_count(); }

bool set_processor_affinity(unsigned int n) noexcept { return platform::set_process_affinity(n); }

}  // namespace core
