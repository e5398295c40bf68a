// RefCountedUnknown shared between threads. Run under ThreadSanitizer in CI: a decrement without acquire-
// release ordering shows up there as a race between a holder's last write and the destructor's read.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "core/Interface.h"

namespace {

using core::GUID;
using core::IUnknown;

constexpr int kThreads = 4;
constexpr int kRounds = 20000;

struct ITally : IUnknown {
  static constexpr GUID IID = core::guid("3c7d2e91-5a4b-4f60-9e18-7b2a6c5d4e01");
  virtual void note(int thread) = 0;

 protected:
  ~ITally() = default;
};

// Each thread writes its own slot without synchronisation; only the reference count orders those writes
// before the destructor reads them.
class Tally final : public core::RefCountedUnknown<1, core::Answers<ITally>, ITally> {
 public:
  Tally(std::atomic<int>& destroyed, std::atomic<long>& total) : destroyed_(destroyed), total_(total) {}
  void note(int thread) override { ++notes_[thread]; }

 private:
  ~Tally() override {
    long sum = 0;
    for (long n : notes_) sum += n;
    total_.store(sum);
    destroyed_.fetch_add(1);
  }

  std::atomic<int>& destroyed_;
  std::atomic<long>& total_;
  long notes_[kThreads] = {};
};

TEST(RefCountedUnknownConcurrency, HoldersOnSeveralThreadsDestroyTheObjectOnceAfterTheirLastWrite) {
  std::atomic<int> destroyed{0};
  std::atomic<long> total{0};
  std::atomic<int> lastReleases{0};
  auto* tally = new Tally(destroyed, total);  // the creator's reference, given to the threads below
  for (int t = 1; t < kThreads; ++t) tally->AddRef();

  testing_support::StartLine start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      start.arriveAndWait();
      for (int i = 0; i < kRounds; ++i) {
        void* out = nullptr;
        ASSERT_EQ(tally->QueryInterface(ITally::IID, &out), core::S_OK);
        static_cast<ITally*>(out)->note(t);
        tally->AddRef();
        static_cast<ITally*>(out)->Release();
        tally->Release();
      }
      if (tally->Release() == 0) lastReleases.fetch_add(1);
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(lastReleases.load(), 1);
  EXPECT_EQ(destroyed.load(), 1);
  EXPECT_EQ(total.load(), long{kThreads} * kRounds);
}

}  // namespace
