// Lock costs next to the standard primitives they stand in for.
//   Uncontended lock + unlock:  IMutexImpl vs recursive pthread mutex; RWMutex, RWRMutex and
//                               IRWMutexSimpleImpl (exclusive and shared) vs std::shared_mutex and
//                               pthread_rwlock; RWRMutex's re-entrant read vs std::shared_mutex's shared lock.
//   Read-mostly throughput:     2 threads, one write in 16 operations, a short critical section.
// This program links libkern83.so, as programs do: our calls go through the PLT like the peers' calls
// into the C library, and the locks' thread-local accesses use the model the shared library was built
// with.
#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sys/resource.h>
#include <time.h>

#include <atomic>
#include <cstdint>
#include <shared_mutex>
#include <thread>

#include "core/Mutex.h"

namespace {

// ----- Uncontended

class PthreadRecursive {
 public:
  PthreadRecursive() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  ~PthreadRecursive() { pthread_mutex_destroy(&mutex_); }
  void lock() { pthread_mutex_lock(&mutex_); }
  void unlock() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_;
};

class PthreadRwlock {
 public:
  PthreadRwlock() { pthread_rwlock_init(&lock_, nullptr); }
  ~PthreadRwlock() { pthread_rwlock_destroy(&lock_); }
  void lock() { pthread_rwlock_wrlock(&lock_); }
  void unlock() { pthread_rwlock_unlock(&lock_); }
  void lockShared() { pthread_rwlock_rdlock(&lock_); }
  void unlockShared() { pthread_rwlock_unlock(&lock_); }

 private:
  pthread_rwlock_t lock_;
};

void BM_IMutexImpl(benchmark::State& state) {
  core::IMutexImpl mutex;
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}
BENCHMARK(BM_IMutexImpl);

void BM_PthreadRecursiveMutex(benchmark::State& state) {
  PthreadRecursive mutex;
  for (auto _ : state) {
    mutex.lock();
    mutex.unlock();
  }
}
BENCHMARK(BM_PthreadRecursiveMutex);

template <class Lock>
void exclusive(benchmark::State& state) {
  Lock lock;
  for (auto _ : state) {
    lock.lock();
    lock.unlock();
  }
}

template <class Lock>
void shared(benchmark::State& state) {
  Lock lock;
  for (auto _ : state) {
    lock.lockShared();
    lock.unlockShared();
  }
}

struct StdShared : std::shared_mutex {
  void lockShared() { lock_shared(); }
  void unlockShared() { unlock_shared(); }
};

struct SimpleWriter : core::IRWMutexSimpleImpl {
  void lock() { acquireWriterLock(); }
  void unlock() { releaseWriterLock(); }
  void lockShared() { acquireReaderLock(); }
  void unlockShared() { releaseReaderLock(); }
};

void BM_RWMutexExclusive(benchmark::State& state) { exclusive<core::RWMutex>(state); }
void BM_RWRMutexExclusive(benchmark::State& state) { exclusive<core::RWRMutex>(state); }
void BM_IRWMutexSimpleWriter(benchmark::State& state) { exclusive<SimpleWriter>(state); }
void BM_StdSharedMutexExclusive(benchmark::State& state) { exclusive<StdShared>(state); }
void BM_PthreadRwlockWrite(benchmark::State& state) { exclusive<PthreadRwlock>(state); }
BENCHMARK(BM_RWMutexExclusive);
BENCHMARK(BM_RWRMutexExclusive);
BENCHMARK(BM_IRWMutexSimpleWriter);
BENCHMARK(BM_StdSharedMutexExclusive);
BENCHMARK(BM_PthreadRwlockWrite);

void BM_RWMutexShared(benchmark::State& state) { shared<core::RWMutex>(state); }
void BM_RWRMutexShared(benchmark::State& state) { shared<core::RWRMutex>(state); }
void BM_IRWMutexSimpleReader(benchmark::State& state) { shared<SimpleWriter>(state); }
void BM_StdSharedMutexShared(benchmark::State& state) { shared<StdShared>(state); }
void BM_PthreadRwlockRead(benchmark::State& state) { shared<PthreadRwlock>(state); }
BENCHMARK(BM_RWMutexShared);
BENCHMARK(BM_RWRMutexShared);
BENCHMARK(BM_IRWMutexSimpleReader);
BENCHMARK(BM_StdSharedMutexShared);
BENCHMARK(BM_PthreadRwlockRead);

// The static form on a plain word: the same lock without the mutex monitor in between, which shows what
// the monitor's two indirect calls cost the instance operations.
void BM_RWMutexStaticShared(benchmark::State& state) {
  std::uintptr_t storage = 0;
  for (auto _ : state) {
    core::RWMutex::lockShared(&storage, nullptr);
    core::RWMutex::unlockShared(&storage, nullptr);
  }
}
BENCHMARK(BM_RWMutexStaticShared);

// The floor under every lock here: one compare-and-swap to take a word and a plain release store to
// free it, inline, no call. What a locked read-modify-write costs differs between processors, and with it
// how much the calls and bookkeeping around the atomic operations weigh in the ratios above.
void BM_ReferenceCasAndStore(benchmark::State& state) {
  std::atomic<std::uint32_t> word{0};
  for (auto _ : state) {
    std::uint32_t expected = 0;
    word.compare_exchange_strong(expected, 1, std::memory_order_acquire, std::memory_order_relaxed);
    word.store(0, std::memory_order_release);
  }
  benchmark::DoNotOptimize(word);
}
BENCHMARK(BM_ReferenceCasAndStore);

// A read taken while the thread already reads: the case RWRMutex is built for.
void BM_RWRMutexRecursiveShared(benchmark::State& state) {
  core::RWRMutex lock;
  lock.lockShared();
  for (auto _ : state) {
    lock.lockShared();
    lock.unlockShared();
  }
  lock.unlockShared();
}
BENCHMARK(BM_RWRMutexRecursiveShared);

// ----- Read-mostly, 2 threads

double seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

long preemptions() {
  rusage usage{};
  getrusage(RUSAGE_THREAD, &usage);
  return usage.ru_nivcsw;
}

// The figure means something only while both threads run at once; on a shared machine another process
// may take a thread's core. Each thread reports how often per second it was preempted (involuntary
// context switches; sleeping on a contended lock is voluntary and not counted), averaged over the
// threads: near 0, they ran side by side.
template <class Lock>
void read_mostly(benchmark::State& state) {
  static Lock* lock = nullptr;
  static long value = 0;
  if (state.thread_index() == 0) lock = new Lock;
  long sum = 0;
  unsigned i = 0;
  const double start = seconds();
  const long preemptedBefore = preemptions();
  for (auto _ : state) {
    if ((++i & 15) == 0) {
      lock->lock();
      ++value;
      lock->unlock();
    } else {
      lock->lockShared();
      sum += value;
      lock->unlockShared();
    }
  }
  benchmark::DoNotOptimize(sum);
  const double preempted = static_cast<double>(preemptions() - preemptedBefore);
  state.counters["preemptions_per_s"] =
      benchmark::Counter(preempted / (seconds() - start), benchmark::Counter::kAvgThreads);
  state.SetItemsProcessed(state.iterations());
  // Every thread has left the loop here (the loop ends with a barrier of all threads).
  if (state.thread_index() == 0) delete lock;
}

void BM_ReadMostlyRWMutex(benchmark::State& state) { read_mostly<core::RWMutex>(state); }
void BM_ReadMostlyRWRMutex(benchmark::State& state) { read_mostly<core::RWRMutex>(state); }
void BM_ReadMostlyIRWMutexSimple(benchmark::State& state) { read_mostly<SimpleWriter>(state); }
void BM_ReadMostlyStdSharedMutex(benchmark::State& state) { read_mostly<StdShared>(state); }
void BM_ReadMostlyPthreadRwlock(benchmark::State& state) { read_mostly<PthreadRwlock>(state); }
BENCHMARK(BM_ReadMostlyRWMutex)->Threads(2)->UseRealTime();
BENCHMARK(BM_ReadMostlyRWRMutex)->Threads(2)->UseRealTime();
BENCHMARK(BM_ReadMostlyIRWMutexSimple)->Threads(2)->UseRealTime();
BENCHMARK(BM_ReadMostlyStdSharedMutex)->Threads(2)->UseRealTime();
BENCHMARK(BM_ReadMostlyPthreadRwlock)->Threads(2)->UseRealTime();

}  // namespace

// glibc drops the bus lock from its mutex operations while a process has never had a second thread, a
// shortcut no program using this library gets. Start (and end) one thread first, so every lock here
// pays for real atomic operations.
int main(int argc, char** argv) {
  std::thread([] {}).join();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
