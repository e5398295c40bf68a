// core::Thread: life cycle, processes, attaching, thread-local slots, per-thread settings.
#include "core/Thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "CountingSuspendMonitor.h"
#include "TestSupport.h"
#include "core/Exception.h"
#include "core/Numeric.h"
#include "core/Resources.h"
#include "platform/Sleep.h"
#include "platform/TickCount.h"

namespace {

using core::Process;
using core::SharedPtr;
using core::Thread;
using testing_support::CountingSuspendMonitor;

// Runs `body` on a foreign OS thread (one without a Thread object) and waits for it.
void on_foreign_thread(const std::function<void()>& body) { std::thread(body).join(); }

TEST(Thread, RunsItsBodyOnceOnAnotherThreadAsItsOwnCurrentThread) {
  std::atomic<int> runs{0};
  Thread* seenCurrent = nullptr;
  core::ExceptionsCount* seenCounter = nullptr;
  std::uint64_t seenId = 0;
  std::int32_t liveExceptions = 0;
  SharedPtr<Thread> thread = core::create_thread([&] {
    ++runs;
    seenCurrent = core::current_thread();
    seenCounter = core::current_ecxeptions_count();
    seenId = Thread::getId();
    core::IllegalStateException e(core::ResourceKey{"IDS_ERR_ILLEGAL_STATE"});
    liveExceptions = core::current_ecxeptions_count()->value();
  });
  EXPECT_EQ(thread->poolType(), Thread::FunctionPool);
  EXPECT_EQ(thread->exceptionsCount()->value(), 1) << "the thread holds its counter";
  const auto start = core::platform::tick_count();
  thread->join();  // before the start: returns at once
  EXPECT_LT(core::platform::tick_count() - start, 1000u);
  EXPECT_EQ(thread->state(), Thread::NotStarted);
  EXPECT_FALSE(thread->semaphore().wait(0));
  thread->start();
  thread->start();  // ignored: a thread runs at most once
  thread->join();
  thread->start();  // also ignored after the end
  thread->join();
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(thread->state(), Thread::Finished);
  EXPECT_FALSE(thread->isAlive());
  EXPECT_EQ(seenCurrent, thread.get());
  EXPECT_EQ(seenCounter, thread->exceptionsCount());
  EXPECT_EQ(liveExceptions, 2) << "exceptions made in the body count on the thread's counter";
  EXPECT_EQ(thread->exceptionsCount()->value(), 1);
  EXPECT_NE(seenId, Thread::getId());
  EXPECT_EQ(thread->rootProcess(), nullptr) << "the root process is cleared at the end";
  EXPECT_TRUE(thread->semaphore().wait(0));
}

TEST(Thread, MainThreadHasAThreadObjectAndForeignThreadsHaveNone) {
  Thread* main = core::current_thread();
  ASSERT_NE(main, nullptr);
  EXPECT_EQ(Thread::current(), main);
  EXPECT_EQ(main->state(), Thread::Running);
  EXPECT_EQ(Thread::getMainThreadId(), Thread::getId());
  EXPECT_EQ(Thread::getOSId(), Thread::getId());
  EXPECT_EQ(core::current_ecxeptions_count(), main->exceptionsCount());
  EXPECT_EQ(main->rootProcess(), Process::defaultProcess());
  on_foreign_thread([] {
    EXPECT_EQ(core::current_thread(), nullptr);
    EXPECT_EQ(core::current_ecxeptions_count(), nullptr);
    EXPECT_FALSE(Thread::interrupted());
    EXPECT_NE(Thread::getMainThreadId(), Thread::getId());
  });
}

TEST(Thread, InterruptSetsTheFlagThatTheThreadTestsAndClears) {
  std::atomic<bool> clearedAfterTest{false};
  SharedPtr<Thread> thread = core::create_thread([&] {
    while (!Thread::interrupted()) Thread::sleep(1);
    clearedAfterTest = !core::current_thread()->isInterrupted();
  });
  thread->start();
  EXPECT_TRUE(thread->isAlive());
  thread->interrupt();
  thread->join();
  EXPECT_TRUE(clearedAfterTest);
  EXPECT_FALSE(thread->isInterrupted());
}

TEST(Thread, JoiningUsesTheCallersWaitAndRefusesItself) {
  struct Waiter : Thread {
    std::atomic<int> waits{0};
    void wait(Thread* other) override {
      ++waits;
      Thread::wait(other);
    }
  };
  SharedPtr<Waiter> waiter(new Waiter);
  std::atomic<bool> release{false};
  SharedPtr<Thread> slow = core::create_thread([&] {
    while (!release) Thread::sleep(1);
  });
  bool joinSelfThrew = false;
  SharedPtr<Thread> joiner = core::create_thread([&] {
    core::ThreadAttach as(waiter.get(), nullptr);  // join runs as `waiter`
    slow->join();
  });
  SharedPtr<Thread> self = core::create_thread([&] {
    try {
      core::current_thread()->join();
    } catch (const core::IllegalStateException& e) {
      joinSelfThrew = e.messageKey() == "IDS_ERR_THREAD_JOIN_SELF";
    }
  });
  slow->start();
  joiner->start();
  self->start();
  Thread::sleep(20);
  release = true;
  joiner->join();
  self->join();
  EXPECT_EQ(waiter->waits, 1);
  EXPECT_EQ(slow->state(), Thread::Finished);
  EXPECT_TRUE(joinSelfThrew);
}

TEST(Thread, BelongsToTheStartersProcessWhileItRuns) {
  SharedPtr<Process> process(new Process);
  SharedPtr<core::AttachedThread> host(new core::AttachedThread(process.get(), nullptr));
  std::atomic<bool> release{false};
  SharedPtr<Thread> child;
  on_foreign_thread([&] {
    ASSERT_EQ(host->attach(), Thread::Running);
    child = core::create_thread([&] {
      while (!release) Thread::sleep(1);
    });
    child->start();
    host->detach();
  });
  EXPECT_EQ(child->rootProcess(), process.get());
  EXPECT_EQ(process->liveThreadCount(), 1u) << "the host left, the child still runs";
  EXPECT_EQ(process->liveThreads().front(), child);
  release = true;
  EXPECT_TRUE(process->waitForThreads(5000));
  EXPECT_EQ(process->liveThreadCount(), 0u);
  EXPECT_EQ(host->state(), Thread::Finished);
}

TEST(Thread, StartIsRefusedWhenTheProcessNoLongerAcceptsThreads) {
  SharedPtr<Process> process(new Process);
  SharedPtr<core::AttachedThread> host(new core::AttachedThread(process.get(), nullptr));
  SharedPtr<core::AttachedThread> late(new core::AttachedThread(process.get(), nullptr));
  std::atomic<int> runs{0};
  SharedPtr<Thread> refused = core::create_thread([&] { ++runs; });
  on_foreign_thread([&] {
    ASSERT_EQ(host->attach(), Thread::Running);
    process->setAcceptThreads(false);
    refused->start();
    host->detach();
  });
  EXPECT_EQ(refused->state(), Thread::Refused);
  EXPECT_TRUE(refused->isInterrupted());
  EXPECT_EQ(refused->rootProcess(), nullptr);
  EXPECT_TRUE(refused->semaphore().wait(0));
  refused->join();   // returns at once
  refused->start();  // not restarted
  EXPECT_EQ(runs, 0);
  on_foreign_thread([&] { EXPECT_EQ(late->attach(), Thread::Refused); });
  process->setAcceptThreads(true);
}

TEST(Thread, ExceptionsOfTheBodyGoToTheProcessHandler) {
  Process* process = Process::defaultProcess();
  const Process::ThreadExceptionHandler previous = process->threadExceptionHandler();
  std::atomic<int> badCalls{0};
  std::atomic<int> others{0};
  Thread* reported = nullptr;
  process->setThreadExceptionHandler([&](Thread& thread, std::exception_ptr error) {
    reported = &thread;
    try {
      std::rethrow_exception(error);
    } catch (const std::bad_function_call&) {
      ++badCalls;
    } catch (...) {
      ++others;
    }
  });
  SharedPtr<Thread> empty = core::create_thread(std::function<void()>());
  SharedPtr<Thread> throwing = core::create_thread([] { throw std::runtime_error("boom"); });
  empty->start();
  empty->join();
  EXPECT_EQ(reported, empty.get());
  throwing->start();
  throwing->join();
  process->setThreadExceptionHandler(previous);
  EXPECT_EQ(badCalls, 1);
  EXPECT_EQ(others, 1);
  EXPECT_EQ(throwing->state(), Thread::Finished);
}

TEST(Thread, AttachingMakesAForeignThreadCurrentUntilDetached) {
  SharedPtr<core::AttachedThread> attached(new core::AttachedThread(nullptr, nullptr));
  SharedPtr<core::CallingThread> calling(new core::CallingThread(nullptr, nullptr));
  SharedPtr<core::CallingThread> throwing(new core::CallingThread(nullptr, nullptr));
  on_foreign_thread([&] {
    EXPECT_EQ(attached->attach(), Thread::Running);
    EXPECT_EQ(core::current_thread(), attached.get());
    EXPECT_EQ(core::current_ecxeptions_count(), attached->exceptionsCount());
    EXPECT_EQ(attached->rootProcess(), Process::defaultProcess());
    attached->detach();
    EXPECT_EQ(core::current_thread(), nullptr);
    EXPECT_EQ(core::current_ecxeptions_count(), nullptr);

    Thread* inside = nullptr;
    calling->call([&] { inside = core::current_thread(); });
    EXPECT_EQ(inside, calling.get());
    EXPECT_EQ(core::current_thread(), nullptr);
    EXPECT_EQ(calling->state(), Thread::Finished);
    EXPECT_THROW(calling->call([] {}), core::ThreadException) << "a finished thread cannot attach again";
    // The body's exceptions pass on after detaching.
    EXPECT_THROW(throwing->call([] { throw std::runtime_error("inside"); }), std::runtime_error);
    EXPECT_EQ(core::current_thread(), nullptr);
    EXPECT_EQ(throwing->state(), Thread::Finished);

    {
      core::ThreadAttach as(attached.get(), nullptr);
      EXPECT_EQ(core::current_thread(), attached.get());
    }
    EXPECT_EQ(core::current_thread(), nullptr);
  });
  EXPECT_EQ(attached->state(), Thread::Finished);
  EXPECT_TRUE(attached->semaphore().wait(0));
}

// ----- Process threads

// Polls `done` until it holds; false after 10 s.
template <class F>
bool wait_for(F done) {
  const auto start = core::platform::tick_count();
  while (!done()) {
    if (core::platform::tick_count() - start > 10000) return false;
    Thread::sleep(1);
  }
  return true;
}

// A process thread whose body runs until told to quit and whose timer counts its ticks.
class Ticking : public core::ProcessThread {
 public:
  using ProcessThread::ProcessThread;

  void run() override {
    ran = true;
    while (!quit) Thread::sleep(1);
    bodyEnded = true;
  }
  void onTimer() override {
    inTick = true;
    tickPool = core::current_thread()->poolType();
    tickRoot = core::current_thread()->rootProcess();
    ++ticks;
    if (throwOnce.exchange(false)) {
      inTick = false;
      throw std::runtime_error("tick");
    }
    if (holdTick && !held.exchange(true)) {  // the thread's end meets this tick in progress
      while (!bodyEnded) Thread::sleep(1);
      Thread::sleep(20);
    }
    inTick = false;
  }
  // Polls for at least `n` ticks in all; false after 10 s.
  bool waitForTicks(int n) const {
    return wait_for([&] { return ticks >= n; });
  }

  std::atomic<bool> ran{false}, quit{false}, bodyEnded{false};
  std::atomic<bool> inTick{false}, throwOnce{false}, holdTick{false}, held{false};
  std::atomic<int> ticks{0};
  std::atomic<int> tickPool{-1};
  std::atomic<Process*> tickRoot{nullptr};
};

TEST(ProcessThread, RunsInItsOwnProcessNotTheStarters) {
  SharedPtr<Process> process(new Process);
  SharedPtr<Ticking> thread(new Ticking(process.get()));
  EXPECT_TRUE(thread->isProcess());
  EXPECT_FALSE(core::create_thread([] {})->isProcess());
  EXPECT_EQ(thread->poolType(), Thread::ProcessPool);
  EXPECT_EQ(SharedPtr<Ticking>(new Ticking(nullptr))->process(), Process::defaultProcess());
  thread->start();  // by the main thread, a thread of the default process
  EXPECT_EQ(thread->rootProcess(), process.get());
  const std::vector<SharedPtr<Thread>> live = process->liveThreads();
  ASSERT_EQ(live.size(), 1u) << "no timer without an interval, and the timer is never a member";
  EXPECT_EQ(live.front().get(), thread.get());
  for (const SharedPtr<Thread>& other : Process::defaultProcess()->liveThreads()) EXPECT_NE(other.get(), thread.get());
  thread->quit = true;
  thread->join();
  EXPECT_EQ(process->liveThreadCount(), 0u);
  EXPECT_EQ(thread->ticks, 0);
}

TEST(ProcessThread, IsRefusedWhenItsProcessDoesNotAcceptThreads) {
  SharedPtr<Process> process(new Process);
  process->setAcceptThreads(false);  // the starter's process still accepts
  SharedPtr<Ticking> thread(new Ticking(process.get()));
  thread->setTimerInterval(1);
  thread->start();
  EXPECT_EQ(thread->state(), Thread::Refused);
  EXPECT_TRUE(thread->semaphore().wait(0));
  thread->doStartTimer();  // not running: no timer
  Thread::sleep(20);
  EXPECT_FALSE(thread->ran);
  EXPECT_EQ(thread->ticks, 0);
  EXPECT_TRUE(core::wait_unique(thread.get(), 0)) << "nothing holds the refused thread";
}

TEST(ProcessThread, TimerTicksNoFasterThanTheIntervalUntilJoinEndsIt) {
  SharedPtr<Process> process(new Process);
  SharedPtr<Ticking> thread(new Ticking(process.get()));
  thread->setTimerInterval(10);
  const auto start = core::platform::tick_count();
  thread->start();
  ASSERT_TRUE(thread->waitForTicks(5));
  const int ticks = thread->ticks;
  EXPECT_GE(core::platform::tick_count() - start + 2, ticks * 10u) << "every tick waits the interval";
  EXPECT_EQ(thread->tickPool, Thread::TimerPool) << "onTimer runs on the timer's own thread";
  EXPECT_EQ(thread->tickRoot, process.get());
  EXPECT_EQ(process->liveThreadCount(), 1u);
  thread->holdTick = true;
  ASSERT_TRUE(wait_for([&] { return thread->held.load(); }));
  thread->quit = true;
  thread->join();
  EXPECT_FALSE(thread->inTick) << "join returns only after the timer has ended";
  const int atJoin = thread->ticks;
  Thread::sleep(40);
  EXPECT_EQ(thread->ticks, atJoin);
  EXPECT_TRUE(core::wait_unique(thread.get(), 5000)) << "the timer let go of its thread";
}

TEST(ProcessThread, TimerStopsAtIntervalZeroOrInterruptAndReportsWhatOnTimerThrows) {
  const Process::ThreadExceptionHandler previous = Process::defaultProcess()->threadExceptionHandler();
  std::atomic<Thread*> reported{nullptr};
  Process::defaultProcess()->setThreadExceptionHandler([&](Thread& t, std::exception_ptr) { reported = &t; });
  SharedPtr<Ticking> thread(new Ticking(nullptr));
  thread->throwOnce = true;
  thread->start();  // interval 0: no timer
  Thread::sleep(30);
  EXPECT_EQ(thread->ticks, 0);
  thread->setTimerInterval(5);
  thread->doStartTimer();
  ASSERT_TRUE(thread->waitForTicks(3)) << "the timer goes on after onTimer threw";
  EXPECT_EQ(reported, thread.get()) << "reported as the thread's, not the timer's";
  // A wait in progress when the change comes ends in one more tick at most.
  for (bool interrupt : {false, true}) {
    SCOPED_TRACE(interrupt);
    if (interrupt) {
      thread->setTimerInterval(5);
      thread->doStartTimer();
      ASSERT_TRUE(thread->waitForTicks(thread->ticks + 2));
      thread->interrupt();
    } else {
      thread->setTimerInterval(0);
    }
    const int atStop = thread->ticks;
    Thread::sleep(50);
    EXPECT_LE(thread->ticks - atStop, 1);
  }
  thread->quit = true;
  thread->join();
  Process::defaultProcess()->setThreadExceptionHandler(previous);
  EXPECT_TRUE(core::wait_unique(thread.get(), 5000));
}

// ----- Thread-local slots

struct Counted : Thread::TLSData {
  explicit Counted(std::atomic<int>* destroyed) : destroyed_(destroyed) {}
  ~Counted() override { ++*destroyed_; }
  std::atomic<int>* destroyed_;
};

TEST(ThreadTls, AStaleEntryOfAReusedSlotIsDestroyedAndReadsNull) {
  Thread* self = core::current_thread();
  std::atomic<int> destroyed{0};
  const Thread::TLSIndex first = Thread::allocTLS();
  self->setTLSValue(first, new Counted(&destroyed));
  ASSERT_NE(self->getTLSValue(first), nullptr);
  Thread::freeTLS(first);
  const Thread::TLSIndex second = Thread::allocTLS();
  EXPECT_EQ(second.slot, first.slot) << "the freed slot is reused";
  EXPECT_GT(second.generation, first.generation);
  EXPECT_EQ(self->getTLSValue(second), nullptr);
  EXPECT_EQ(destroyed, 1) << "the earlier owner's data is destroyed on first touch";
  EXPECT_EQ(self->getTLSValue(first), nullptr) << "the old index no longer finds anything either";
  Thread::freeTLS(second);
}

TEST(ThreadTls, SlotsAreReusedMostRecentlyFreedFirst) {
  const Thread::TLSIndex a = Thread::allocTLS();
  const Thread::TLSIndex b = Thread::allocTLS();
  const Thread::TLSIndex c = Thread::allocTLS();
  Thread::freeTLS(a);
  Thread::freeTLS(b);
  EXPECT_EQ(Thread::allocTLS().slot, b.slot);
  EXPECT_EQ(Thread::allocTLS().slot, a.slot);
  Thread::freeTLS(c);  // the highest slot lowers the high-water mark instead
  const Thread::TLSIndex again = Thread::allocTLS();
  EXPECT_EQ(again.slot, c.slot);
  Thread::freeTLS(again);
  Thread::freeTLS(a);
  Thread::freeTLS(b);
}

TEST(ThreadTls, SetReplacesAndTheThreadsDataDiesWithItsBody) {
  std::atomic<int> destroyed{0};
  const Thread::TLSIndex index = Thread::allocTLS();
  const Thread::TLSIndex other = Thread::allocTLS();
  int destroyedInBody = -1;
  Thread::TLSData* seenByOtherThread = nullptr;
  SharedPtr<Thread> thread = core::create_thread([&] {
    Thread* self = core::current_thread();
    self->setTLSValue(index, new Counted(&destroyed));
    self->setTLSValue(index, new Counted(&destroyed));  // replaces and destroys the first
    self->setTLSValue(other, new Counted(&destroyed));
    destroyedInBody = destroyed;
  });
  thread->start();
  thread->join();
  seenByOtherThread = core::current_thread()->getTLSValue(index);
  EXPECT_EQ(destroyedInBody, 1);
  EXPECT_EQ(destroyed, 3) << "the rest goes when the body ends";
  EXPECT_EQ(seenByOtherThread, nullptr) << "entries are per thread";
  core::current_thread()->clearTLSData();
  Thread::freeTLS(index);
  Thread::freeTLS(other);
}

// ----- Settings

using Format = testing_support::RefCountedStub<>;

TEST(ThreadSettings, OwnValueElseTheProcessDefault) {
  Format processFormat;
  Format threadFormat;
  SharedPtr<Thread> thread = core::create_thread([] {});
  EXPECT_FALSE(thread->getNumericFormat());
  Thread::setDefaultNumericFormat(&processFormat);
  EXPECT_EQ(thread->getNumericFormat().get(), &processFormat);
  thread->setNumericFormat(&threadFormat);
  EXPECT_EQ(thread->getNumericFormat().get(), &threadFormat);
  EXPECT_FALSE(thread->getDateFormat());
  thread->resetNumericFormat();
  EXPECT_EQ(thread->getNumericFormat().get(), &processFormat);
  Thread::setDefaultNumericFormat(nullptr);
  thread->setTimeZone(&threadFormat);
  thread->setBoolFormat(&threadFormat);
  thread.reset();
  EXPECT_EQ(threadFormat.refs, 1u) << "settings are released with the thread";
  EXPECT_EQ(processFormat.refs, 1u);

  SharedPtr<Thread> other = core::create_thread([] {});
  EXPECT_EQ(other->getBeginningOfCentury(), Thread::getDefaultBeginningOfCentury());
  other->setBeginningOfCentury(1930);
  EXPECT_EQ(other->getBeginningOfCentury(), 1930);
  other->resetBeginningOfCentury();
  EXPECT_EQ(other->getBeginningOfCentury(), 1950);
}

TEST(ThreadSettings, TheResourceLocaleIsTheThreadsLanguageForMessages) {
  std::u16string inThread;
  std::string languageInThread;
  SharedPtr<Thread> thread = core::create_thread([&] {
    core::set_thread_resource_language("ru");  // lands in the Thread object
    languageInThread = core::current_thread()->getResourceLocale();
    const avo::WString text = core::resource_string("IDS_ERR_ILLEGAL_STATE");
    inThread.assign(text.begin(), text.end());
  });
  thread->start();
  thread->join();
  EXPECT_EQ(languageInThread, "ru");
  EXPECT_EQ(thread->getResourceLocale(), "ru");
  EXPECT_EQ(inThread, u"Недопустимое состояние");

  Thread* main = core::current_thread();
  main->setResourceLocale("ru");
  EXPECT_EQ(core::get_resource_language(), "ru");
  main->resetResourceLocale();
  core::set_process_resource_language("ru");
  EXPECT_EQ(core::get_resource_language(), "ru") << "no own setting: the process default";
  core::set_process_resource_language("en");
  EXPECT_EQ(core::get_resource_language(), "en");
}

// What a body leaves in its thread's state (round mode, limits, deferred exception, language) belongs to its
// Thread object: the next body, even on the same pool worker, starts clean, and a foreign thread gets its
// own state back when a Thread it attached is detached.
TEST(ThreadSettings, PerThreadStateBelongsToTheThreadObject) {
  core::set_thread_mode(Thread::FunctionPool, 1, 60000, true);  // a second body may reuse the worker
  SharedPtr<Thread> first = core::create_thread([] {
    core::set_default_round_mode(core::Round15as10);
    core::set_thread_resource_language("ru");
    try {
      throw std::runtime_error("parked");
    } catch (...) {
      core::defer_exception();
    }
  });
  first->start();
  first->join();
  bool deferred = true;
  core::NumericRoundMode mode = core::Round15as10;
  std::string language;
  SharedPtr<Thread> second = core::create_thread([&] {
    deferred = core::have_deferred_exception();
    mode = core::get_default_round_mode();
    language = core::get_resource_language();
  });
  second->start();
  second->join();
  EXPECT_FALSE(deferred);
  EXPECT_EQ(mode, core::Round15as20) << "the process default";
  EXPECT_EQ(language, "en");
  EXPECT_EQ(first->getResourceLocale(), "ru") << "kept by the first thread's object";
  core::set_thread_mode(Thread::FunctionPool, static_cast<int>(core::hardware_concurrency()), 30000, true);

  on_foreign_thread([] {
    core::set_default_round_mode(core::Round15as10);
    SharedPtr<core::AttachedThread> attached(new core::AttachedThread(nullptr, nullptr));
    attached->attach();
    EXPECT_EQ(core::get_default_round_mode(), core::Round15as20) << "the attached thread's own state";
    attached->detach();
    EXPECT_EQ(core::get_default_round_mode(), core::Round15as10) << "the foreign thread's state again";
  });
}

// Another thread may change a thread's language while that thread reads it (ThreadSanitizer checks the
// lock).
TEST(ThreadSettings, TheLanguageMayBeSetFromAnotherThreadWhileTheThreadReadsIt) {
  std::atomic<bool> stop{false};
  std::atomic<int> reads{0};
  SharedPtr<Thread> reader = core::create_thread([&] {
    while (!stop.load()) {
      const std::string language = core::get_resource_language();
      EXPECT_TRUE(language == "en" || language == "ru") << language;
      ++reads;
    }
  });
  reader->start();
  for (int i = 0; i < 2000; ++i) reader->setResourceLocale(i % 2 == 0 ? "ru" : "en");
  while (reads.load() == 0) Thread::yield();
  stop = true;
  reader->join();
}

TEST(ThreadSettings, SafeModeFeedsTheStatisticsSlot) {
  Thread* self = core::current_thread();
  EXPECT_FALSE(self->getSafeMode());
  self->setSafeMode(u"untracked", true);
  EXPECT_TRUE(self->getSafeMode());
  const Thread::TLSIndex index = Thread::allocTLS();
  self->setStatisticTlsIndex(index);
  self->setSafeMode(u"module", true);
  Thread::sleep(15);
  self->setSafeMode(u"module", false);
  self->setSafeMode(u"module", true);
  self->setSafeMode(u"other", false);
  EXPECT_FALSE(self->getSafeMode());
  auto* stats = dynamic_cast<Thread::SafeModeStatistics*>(self->getTLSValue(index));
  ASSERT_NE(stats, nullptr);
  const auto* safe = stats->find(u"module", true);
  ASSERT_NE(safe, nullptr);
  EXPECT_EQ(safe->switches, 2u);
  EXPECT_GE(safe->ticks, 14u);
  EXPECT_EQ(stats->find(u"untracked", true), nullptr);
  ASSERT_NE(stats->find(u"other", false), nullptr);
  self->setStatisticTlsIndex({});
  self->setTLSValue(index, nullptr);
  Thread::freeTLS(index);
}

// ----- Free functions

TEST(WaitUnique, WaitsWhileOthersHoldReferencesAndTimesOutAfterOneSleep) {
  CountingSuspendMonitor monitor;
  SharedPtr<Thread> thread = core::create_thread([] {});
  SharedPtr<Thread> other = thread;
  const auto start = core::platform::tick_count();
  EXPECT_FALSE(core::wait_unique(thread, 0));
  EXPECT_GE(core::platform::tick_count() - start, 9u);
  EXPECT_EQ(monitor.blocked(), 1);
  EXPECT_TRUE(monitor.paired());
  // Returns once the last other reference goes.
  std::thread releaser([&] {
    core::platform::sleep_ms(30);
    other.reset();
  });
  EXPECT_TRUE(core::wait_unique(thread.get(), 5000));
  releaser.join();
  monitor.reset();
  EXPECT_TRUE(core::wait_unique(thread, 0));
  EXPECT_EQ(monitor.blocked(), 0) << "nothing to wait for, so no notification";
}

TEST(Thread, SleepAndYieldTellTheSuspendMonitor) {
  CountingSuspendMonitor monitor;
  Thread::sleep(2);
  Thread::yield();
  EXPECT_EQ(monitor.blocked(), 2);
  EXPECT_TRUE(monitor.paired());
}

TEST(Thread, ProcessorCountAndAffinity) {
  const unsigned int processors = core::hardware_concurrency();
  EXPECT_GE(processors, 1u);
  EXPECT_TRUE(core::set_processor_affinity(1));
  EXPECT_EQ(core::hardware_concurrency(), processors) << "the system's count is unaffected";
  EXPECT_TRUE(core::set_processor_affinity(0));
}

TEST(ThreadPool, EveryStartedThreadRunsAtOnceWhateverTheMode) {
  // Threads that wait for each other: a pool that queued them behind a limit would never finish.
  for (bool reuse : {true, false}) {
    SCOPED_TRACE(reuse);
    core::set_thread_mode(Thread::FunctionPool, reuse ? 1 : 0, 1000, reuse);
    core::set_thread_mode(Thread::NoPool, 0, 0, false);  // ignored
    constexpr int kThreads = 8;
    std::atomic<int> arrived{0};
    std::vector<SharedPtr<Thread>> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.push_back(core::create_thread([&] {
        ++arrived;
        while (arrived < kThreads) Thread::sleep(1);
      }));
      threads.back()->start();
    }
    for (auto& t : threads) t->join();
    EXPECT_EQ(arrived, kThreads);
  }
  core::set_thread_mode(Thread::FunctionPool, static_cast<int>(core::hardware_concurrency()), 30000, true);
}

TEST(ThreadPool, StressManyShortThreadsAllFinishAndLeaveTheProcess) {
  core::IMutexImpl mutex;
  long counter = 0;
  std::vector<SharedPtr<Thread>> threads;
  for (int i = 0; i < 64; ++i) {
    threads.push_back(core::create_thread([&] {
      for (int k = 0; k < 100; ++k) {
        mutex.lock();
        ++counter;
        mutex.unlock();
      }
    }));
    threads.back()->start();
  }
  for (auto& t : threads) t->join();
  EXPECT_EQ(counter, 6400);
  for (auto& t : threads) EXPECT_EQ(t->state(), Thread::Finished);
  EXPECT_TRUE(Process::defaultProcess()->waitForThreads(5000));
  for (auto& t : threads) EXPECT_TRUE(core::wait_unique(t, 5000)) << "the pool lets go of finished threads";
}

}  // namespace
