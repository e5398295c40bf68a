#include "platform/Processor.h"

#include <dirent.h>
#include <sched.h>
#include <unistd.h>

#include <cstdlib>

#include "base/LockGuard.h"
#include "platform/Mutex.h"

namespace core::platform {

namespace {

// The processors the process was allowed at its first affinity change: the set that n counts in, and
// the one n = 0 restores.
const cpu_set_t& startup_set() {
  static const cpu_set_t set = [] {
    cpu_set_t s;
    CPU_ZERO(&s);
    if (sched_getaffinity(0, sizeof s, &s) != 0) {
      for (unsigned i = 0; i < processor_count() && i < CPU_SETSIZE; ++i) CPU_SET(i, &s);
    }
    return s;
  }();
  return set;
}

// Linux keeps an affinity per thread: apply the set to every thread of the process that exists now (new
// threads inherit it from their creator).
bool apply_to_all_threads(const cpu_set_t& set) {
  bool ok = sched_setaffinity(0, sizeof set, &set) == 0;
  if (DIR* tasks = opendir("/proc/self/task")) {
    while (dirent* entry = readdir(tasks)) {
      const long tid = std::strtol(entry->d_name, nullptr, 10);
      if (tid > 0) sched_setaffinity(static_cast<pid_t>(tid), sizeof set, &set);  // a thread may just end
    }
    closedir(tasks);
  }
  return ok;
}

}  // namespace

unsigned processor_count() noexcept {
  const long n = sysconf(_SC_NPROCESSORS_ONLN);
  return n > 0 ? static_cast<unsigned>(n) : 1u;
}

bool set_process_affinity(unsigned n) noexcept {
  static constinit Mutex mutex;
  detail::LockGuard guard(mutex);
  const cpu_set_t& all = startup_set();
  if (n == 0 || n >= static_cast<unsigned>(CPU_COUNT(&all))) return apply_to_all_threads(all);
  cpu_set_t chosen;
  CPU_ZERO(&chosen);
  unsigned taken = 0;
  for (int cpu = 0; cpu < CPU_SETSIZE && taken < n; ++cpu) {
    if (CPU_ISSET(cpu, &all)) {
      CPU_SET(cpu, &chosen);
      ++taken;
    }
  }
  return apply_to_all_threads(chosen);
}

unsigned thread_affinity_count() noexcept {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) != 0) return processor_count();
  return static_cast<unsigned>(CPU_COUNT(&set));
}

}  // namespace core::platform
