#include "platform/Event.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

#include "base/LockGuard.h"
#include "platform/Sleep.h"

namespace core::platform {

// The shared part of an event. For a named event it lives in shared memory, so the mutex and condition
// are process-shared, and the mutex is robust: a process dying inside it does not block the others.
//
// Invariant: releases <= waiters. `set` on an auto-reset event with more waiters than pending releases
// hands one more release to the sleepers; otherwise it leaves the event signalled for the next waiter.
struct KERN83_CAPABILITY("mutex") Event::State {
  pthread_mutex_t mutex;
  pthread_cond_t condition;
  std::uint32_t manual;
  std::uint32_t signalled;
  std::uint32_t waiters;
  std::uint32_t releases;

  void init(bool manualReset, bool isSignalled, bool shared) {
    pthread_mutexattr_t ma;
    pthread_mutexattr_init(&ma);
    pthread_condattr_t ca;
    pthread_condattr_init(&ca);
    pthread_condattr_setclock(&ca, CLOCK_MONOTONIC);
    if (shared) {
      pthread_mutexattr_setpshared(&ma, PTHREAD_PROCESS_SHARED);
      pthread_mutexattr_setrobust(&ma, PTHREAD_MUTEX_ROBUST);
      pthread_condattr_setpshared(&ca, PTHREAD_PROCESS_SHARED);
    }
    pthread_mutex_init(&mutex, &ma);
    pthread_cond_init(&condition, &ca);
    pthread_mutexattr_destroy(&ma);
    pthread_condattr_destroy(&ca);
    manual = manualReset ? 1 : 0;
    signalled = isSignalled ? 1 : 0;
    waiters = 0;
    releases = 0;
  }

  void destroy() {
    pthread_cond_destroy(&condition);
    pthread_mutex_destroy(&mutex);
  }

  void lock() KERN83_ACQUIRE() {
    if (pthread_mutex_lock(&mutex) == EOWNERDEAD) pthread_mutex_consistent(&mutex);
  }
  void unlock() KERN83_RELEASE() { pthread_mutex_unlock(&mutex); }

  // Sleeps on the condition until `deadline` (null: no limit); false when it passed.
  bool sleep(const timespec* deadline) KERN83_REQUIRES(this) {
    const int rc = deadline == nullptr ? pthread_cond_wait(&condition, &mutex)
                                       : pthread_cond_timedwait(&condition, &mutex, deadline);
    if (rc == EOWNERDEAD) pthread_mutex_consistent(&mutex);
    return rc != ETIMEDOUT;
  }
};

namespace {

timespec deadline_after(unsigned ms) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  now.tv_sec += static_cast<time_t>(ms / 1000);
  now.tv_nsec += static_cast<long>(ms % 1000) * 1000000L;
  if (now.tv_nsec >= 1000000000L) {
    now.tv_sec += 1;
    now.tv_nsec -= 1000000000L;
  }
  return now;
}

}  // namespace

Event::Event(Reset reset, bool signalled) : state_(new State), mapping_(nullptr) {
  state_->init(reset == Reset::Manual, signalled, false);
}

Event::Event(State* state, Mapping* mapping) noexcept : state_(state), mapping_(mapping) {}

bool Event::wait(unsigned timeoutMs) noexcept {
  State& s = *state_;
  timespec deadline{};
  const timespec* limit = nullptr;
  if (timeoutMs != kInfinite) {
    deadline = deadline_after(timeoutMs);
    limit = &deadline;
  }
  detail::LockGuard guard(s);
  bool passed = true;
  if (s.manual != 0) {
    while (s.signalled == 0 && passed) passed = s.sleep(limit);
    passed = s.signalled != 0;
  } else if (s.signalled != 0) {
    s.signalled = 0;
  } else if (timeoutMs == 0) {
    passed = false;
  } else {
    ++s.waiters;
    while (s.releases == 0 && passed) passed = s.sleep(limit);
    passed = s.releases != 0;  // a release that arrived as the time ran out is still ours
    if (passed) --s.releases;
    --s.waiters;
  }
  return passed;
}

void Event::set() noexcept {
  State& s = *state_;
  detail::LockGuard guard(s);
  if (s.manual != 0) {
    s.signalled = 1;
    pthread_cond_broadcast(&s.condition);
  } else if (s.waiters > s.releases) {
    ++s.releases;
    pthread_cond_signal(&s.condition);
  } else {
    s.signalled = 1;
  }
}

void Event::reset() noexcept {
  State& s = *state_;
  detail::LockGuard guard(s);
  s.signalled = 0;
}

// ----- Named events

// The shared-memory block of a named event. `ready` is written last by the creator, so an opener never
// uses a half-initialised block; `holders` counts the Event objects of all processes; the last one marks
// the block dead and removes the name, and a late opener that finds a dead block retries.
namespace {
constexpr std::uint32_t kReady = 0x6b657631;  // "kev1"
constexpr std::uint32_t kDead = 0x64656164;   // "dead"

struct SharedBlock {
  std::atomic<std::uint32_t> ready;
  std::uint32_t holders;
  Event::State state;
};

// Shared-memory names allow one leading slash and no other; long names are hashed to stay within the
// system's limit.
std::string shm_name(std::string_view name) {
  std::string result = "/kern83.event.";
  if (name.size() > 200) {
    result += std::to_string(std::hash<std::string_view>{}(name));
    return result;
  }
  for (char c : name) result += (c == '/' || c == '\0') ? '_' : c;
  return result;
}
}  // namespace

struct Event::Mapping {
  std::string name;
  SharedBlock* block;
};

namespace {

// Maps the block behind `fd` once its creator has finished it; null on failure or a dead block.
SharedBlock* attach_block(int fd) {
  struct stat info {};
  for (int attempt = 0; attempt < 1000; ++attempt) {  // the creator sizes it right after creating it
    if (fstat(fd, &info) != 0) return nullptr;
    if (static_cast<std::size_t>(info.st_size) >= sizeof(SharedBlock)) break;
    sleep_ms(1);
  }
  if (static_cast<std::size_t>(info.st_size) < sizeof(SharedBlock)) return nullptr;
  void* memory = mmap(nullptr, sizeof(SharedBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) return nullptr;
  auto* block = static_cast<SharedBlock*>(memory);
  for (int attempt = 0; attempt < 1000 && block->ready.load(std::memory_order_acquire) == 0; ++attempt) sleep_ms(1);
  bool alive = false;
  if (block->ready.load(std::memory_order_acquire) == kReady) {
    detail::LockGuard guard(block->state);
    alive = block->ready.load(std::memory_order_relaxed) == kReady;
    if (alive) ++block->holders;
  }
  if (!alive) {
    munmap(memory, sizeof(SharedBlock));
    return nullptr;
  }
  return block;
}

SharedBlock* create_block(int fd) {
  if (ftruncate(fd, sizeof(SharedBlock)) != 0) return nullptr;
  void* memory = mmap(nullptr, sizeof(SharedBlock), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) return nullptr;
  auto* block = static_cast<SharedBlock*>(memory);
  block->holders = 1;
  block->state.init(false, false, true);
  block->ready.store(kReady, std::memory_order_release);
  return block;
}

}  // namespace

std::unique_ptr<Event> Event::openOrCreate(std::string_view name, bool mayCreate) {
  const std::string path = shm_name(name);
  for (int attempt = 0; attempt < 16; ++attempt) {
    int fd = -1;
    bool created = false;
    if (mayCreate) {
      fd = shm_open(path.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
      created = fd >= 0;
    }
    if (fd < 0) fd = shm_open(path.c_str(), O_RDWR, 0);
    if (fd < 0) {
      if (errno == ENOENT && mayCreate) continue;  // vanished between the two opens
      return nullptr;
    }
    SharedBlock* block = created ? create_block(fd) : attach_block(fd);
    close(fd);
    if (block != nullptr) {
      auto* mapping = new Event::Mapping{path, block};
      return std::unique_ptr<Event>(new Event(&block->state, mapping));
    }
    if (created) {
      shm_unlink(path.c_str());
      return nullptr;
    }
    if (!mayCreate) return nullptr;
    sleep_ms(1);  // a dead block whose name is about to go: try again
  }
  return nullptr;
}

std::unique_ptr<Event> Event::createNamed(std::string_view name) { return openOrCreate(name, true); }
std::unique_ptr<Event> Event::openNamed(std::string_view name) { return openOrCreate(name, false); }

Event::~Event() {
  if (mapping_ == nullptr) {
    state_->destroy();
    delete state_;
    return;
  }
  SharedBlock* block = mapping_->block;
  bool last = false;
  {
    detail::LockGuard guard(block->state);
    last = --block->holders == 0;
    if (last) block->ready.store(kDead, std::memory_order_relaxed);
  }
  if (last) shm_unlink(mapping_->name.c_str());
  munmap(block, sizeof(SharedBlock));
  delete mapping_;
}

}  // namespace core::platform
