#include "platform/CriticalSection.h"

#include <pthread.h>

#include "platform/Sleep.h"

namespace core::platform {

namespace {
static_assert(sizeof(pthread_mutex_t) <= 40 && alignof(pthread_mutex_t) <= 8);
pthread_mutex_t* mutex(void* native) { return static_cast<pthread_mutex_t*>(native); }
}  // namespace

CriticalSection::CriticalSection(int spinCount) noexcept : spinCount_(spinCount) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(mutex(native_), &attributes);
  pthread_mutexattr_destroy(&attributes);
}

CriticalSection::~CriticalSection() { pthread_mutex_destroy(mutex(native_)); }

void CriticalSection::enter() noexcept {
  pthread_mutex_t* m = mutex(native_);
  for (int i = 0; i < spinCount_; ++i) {
    if (pthread_mutex_trylock(m) == 0) return;
    cpu_pause();
  }
  pthread_mutex_lock(m);
}

bool CriticalSection::tryEnter() noexcept { return pthread_mutex_trylock(mutex(native_)) == 0; }

void CriticalSection::leave() noexcept { pthread_mutex_unlock(mutex(native_)); }

}  // namespace core::platform
