#include "base/ThreadSlots.h"

#include <stdexcept>

namespace core::detail {

namespace {

// Written once per slot, before its index is handed out; read by blocks when they make or destroy.
const ThreadSlotType* g_types[kMaxThreadSlots] = {};
std::atomic<std::size_t> g_slotCount{0};

thread_local ThreadSlots* t_bound = nullptr;

ThreadSlots& own_slots() {
#if defined(_WIN32)
  return own_thread_slots();
#else
  thread_local ThreadSlots own;
  return own;
#endif
}

}  // namespace

std::size_t register_thread_slot(const ThreadSlotType* type) {
  const std::size_t index = g_slotCount.fetch_add(1, std::memory_order_acq_rel);
  if (index >= kMaxThreadSlots) throw std::length_error("kern83: more per-thread slots than kMaxThreadSlots");
  g_types[index] = type;
  return index;
}

ThreadSlots::~ThreadSlots() {
  for (std::size_t i = 0; i < kMaxThreadSlots; ++i) {
    if (void* object = objects_[i].load(std::memory_order_acquire)) g_types[i]->destroy(object);
  }
}

void* ThreadSlots::make(std::size_t index) {
  void* made = g_types[index]->make();
  void* expected = nullptr;
  if (objects_[index].compare_exchange_strong(expected, made, std::memory_order_acq_rel)) return made;
  g_types[index]->destroy(made);  // another thread made it first
  return expected;
}

ThreadSlots& current_thread_slots() { return t_bound != nullptr ? *t_bound : own_slots(); }

ThreadSlots* bind_thread_slots(ThreadSlots* slots) noexcept {
  ThreadSlots* previous = t_bound;
  t_bound = slots;
  return previous;
}

}  // namespace core::detail
