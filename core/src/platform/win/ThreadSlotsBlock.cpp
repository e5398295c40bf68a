// The OS thread's own per-thread block on Windows. MinGW frees a thread's emulated thread-locals before
// it runs their destructors, so a thread_local block would be destroyed from freed memory. The block is
// made on the heap instead and destroyed by the destructor of a key of the C runtime's threads, which
// runs at the end of every thread that set it.
#include <pthread.h>

#include "base/ThreadSlots.h"

namespace core::detail {

namespace {

pthread_key_t own_slots_key() {
  static const pthread_key_t key = [] {
    pthread_key_t k{};
    pthread_key_create(&k, [](void* block) { delete static_cast<ThreadSlots*>(block); });
    return k;
  }();
  return key;
}

}  // namespace

ThreadSlots& own_thread_slots() {
  thread_local ThreadSlots* own = nullptr;
  if (own == nullptr) {
    own = new ThreadSlots;
    pthread_setspecific(own_slots_key(), own);
  }
  return *own;
}

}  // namespace core::detail
