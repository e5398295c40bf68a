// CountedSemaphore: an auto-reset event plus a work counter. wait() does not consume the counter: it
// only says that work may be there; consumers decrement explicitly after taking it.
#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "core/Semaphore.h"
#include "platform/Event.h"

namespace core {

namespace {
// The source position of the underflow error is part of the interface: callers and logs match on it.
constexpr const char* kSourceFile = KERN83_SOURCE_FILE("CountedSemaphore");
constexpr int kUnderflowLine = 37;
}  // namespace

CountedSemaphore::CountedSemaphore() : ISemaphoreBaseImpl(new platform::Event(platform::Event::Reset::Auto, false)) {}

void CountedSemaphore::incrementCounter() noexcept {
  counter_.fetch_add(1, std::memory_order_acq_rel);
  raise();
}

void CountedSemaphore::decrementCounter() {
  std::int32_t value = counter_.load(std::memory_order_acquire);
  do {
    if (value <= 0) throw IllegalStateException(kSourceFile, kUnderflowLine, ResourceKey{"IDS_ERR_ILLEGAL_STATE"});
  } while (!counter_.compare_exchange_weak(value, value - 1, std::memory_order_acq_rel, std::memory_order_acquire));
}

bool CountedSemaphore::wait(int ms) {
  if (counter() > 0) return true;
  return ISemaphoreBaseImpl::wait(ms);
}

void CountedSemaphore::wait() {
  if (counter() > 0) return;
  ISemaphoreBaseImpl::wait();
}

}  // namespace core
