// Promises, futures and group futures.
#include "core/Future.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "CountingSuspendMonitor.h"
#include "TestSupport.h"
#include "platform/Sleep.h"
#include "platform/TickCount.h"

namespace {

using core::IFuture;
using core::InterfacePtr;
using testing_support::CountingSuspendMonitor;
using Box = testing_support::RefCountedStub<>;  // a result object that counts its references

InterfacePtr<core::IExceptionObject> numeric_error() {
  return core::NumericException(core::NumericException::DivideByZero).object();
}

TEST(Promise, HandsTheResultToAWaiterOnAnotherThread) {
  Box box;
  InterfacePtr<core::IPromise> promise = core::create_promise();
  InterfacePtr<IFuture> future = promise->getFuture();
  EXPECT_EQ(promise->getFuture(), future) << "one future per promise";
  EXPECT_EQ(future->getState(), IFuture::Pending);
  std::thread producer([&] {
    core::platform::sleep_ms(20);
    EXPECT_TRUE(promise->setResult(&box));
  });
  future->wait();
  producer.join();
  EXPECT_TRUE(future->isDone());
  EXPECT_EQ(future->getState(), IFuture::Succeeded);
  {
    InterfacePtr<core::IUnknown> result = future->getResult();
    EXPECT_EQ(result.get(), &box);
    EXPECT_EQ(box.refs, 3u) << "the future's reference and ours";
  }
  EXPECT_FALSE(promise->setResult(nullptr)) << "completion happens once";
  EXPECT_FALSE(promise->setException(numeric_error().get()));
  EXPECT_FALSE(future->cancel());
  EXPECT_FALSE(future->getException());
  promise.reset();
  future.reset();
  EXPECT_EQ(box.refs, 1u);
}

TEST(Promise, FailureIsRaisedWithItsOwnType) {
  InterfacePtr<core::IPromise> promise = core::create_promise();
  ASSERT_TRUE(promise->setException(numeric_error().get()));
  InterfacePtr<IFuture> future = promise->getFuture();
  EXPECT_EQ(future->getState(), IFuture::Failed);
  EXPECT_THROW(future->getResult(), core::NumericException);
  ASSERT_TRUE(future->getException());
  EXPECT_EQ(future->getException()->exception().clsid(), core::NumericException::CLSID);
  EXPECT_THROW(promise->setException(nullptr), core::IllegalArgumentException);
}

TEST(Promise, AbandonedPromiseCancelsItsFuture) {
  InterfacePtr<IFuture> future;
  {
    InterfacePtr<core::IPromise> promise = core::create_promise();
    future = promise->getFuture();
  }
  EXPECT_TRUE(future->wait(1000));
  EXPECT_EQ(future->getState(), IFuture::Cancelled);
  try {
    future->getResult();
    FAIL() << "a cancelled future has no result";
  } catch (const core::CancelOperationException& e) {
    EXPECT_EQ(e.messageKey(), "IDS_ERR_FUTURE_CANCELLED");
  }
}

TEST(Future, CompletedFactories) {
  Box box;
  InterfacePtr<IFuture> succeeded = core::create_succeeded_future(&box);
  EXPECT_EQ(succeeded->getState(), IFuture::Succeeded);
  EXPECT_EQ(succeeded->getResult().get(), &box);
  EXPECT_EQ(core::create_succeeded_future(nullptr)->getResult().get(), nullptr);
  InterfacePtr<IFuture> failed = core::create_failed_future(numeric_error().get());
  EXPECT_EQ(failed->getState(), IFuture::Failed);
  EXPECT_THROW(failed->getResult(), core::NumericException);
  InterfacePtr<IFuture> cancelled = core::create_cancelled_future();
  EXPECT_EQ(cancelled->getState(), IFuture::Cancelled);
  EXPECT_THROW(cancelled->getResult(), core::CancelOperationException);
  for (IFuture* f : {succeeded.get(), failed.get(), cancelled.get()}) EXPECT_TRUE(f->wait(0));
}

TEST(Future, FailedFutureOfNullThrowsAtItsFixedPosition) {
  try {
    core::create_failed_future(nullptr);
    FAIL() << "no exception";
  } catch (const core::IllegalArgumentException& e) {
    EXPECT_EQ(e.messageKey(), "IDS_ERR_ILLEGAL_ARGUMENT");
    EXPECT_EQ(e.module(), "kern83");
    EXPECT_EQ(e.sourceFile(), "core/src/futureImpl");
    EXPECT_EQ(e.sourceLine(), 122);
  }
}

TEST(Future, TimedWaitsRunAgainstADeadlineAndNonPositiveLimitsOnlyTest) {
  CountingSuspendMonitor monitor;
  InterfacePtr<core::IPromise> promise = core::create_promise();
  InterfacePtr<IFuture> future = promise->getFuture();
  EXPECT_FALSE(future->wait(0));
  EXPECT_FALSE(future->wait(-5));
  EXPECT_EQ(monitor.blocked(), 0) << "testing is not waiting";
  const auto start = core::platform::monotonic_ns();
  EXPECT_FALSE(future->wait(30));
  EXPECT_GE(core::platform::monotonic_ns() - start, 30000000u);
  EXPECT_EQ(monitor.blocked(), 1);

  // Completion during a long wait ends it at once.
  std::thread completer([&] {
    core::platform::sleep_ms(20);
    promise->setResult(nullptr);
  });
  EXPECT_TRUE(future->wait(5000));
  completer.join();
  monitor.reset();
  EXPECT_TRUE(future->wait(1000));
  future->wait();
  EXPECT_EQ(monitor.blocked(), 0) << "a complete future never blocks";
  EXPECT_TRUE(monitor.paired());
}

TEST(Future, CancelCompletesAPendingFuture) {
  InterfacePtr<core::IPromise> promise = core::create_promise();
  InterfacePtr<IFuture> future = promise->getFuture();
  std::thread waiter([&] { future->wait(); });
  core::platform::sleep_ms(10);
  EXPECT_TRUE(future->cancel());
  waiter.join();
  EXPECT_FALSE(promise->setResult(nullptr));
  EXPECT_EQ(future->getState(), IFuture::Cancelled);
}

TEST(Future, CallbacksRunOnceOnCompletionOrAtOnce) {
  InterfacePtr<core::IPromise> promise = core::create_promise();
  InterfacePtr<IFuture> future = promise->getFuture();
  int calls = 0;
  IFuture* seen = nullptr;
  future->addCallback([&](IFuture& f) {
    ++calls;
    seen = &f;
  });
  EXPECT_EQ(calls, 0);
  promise->setResult(nullptr);
  promise->setResult(nullptr);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(seen, future.get());
  future->addCallback([&](IFuture& f) { calls += f.isDone() ? 10 : 100; });
  EXPECT_EQ(calls, 11);
}

// ----- Groups

TEST(GroupFuture, AnyCompletesLikeItsFirstMember) {
  Box box;
  std::vector<InterfacePtr<core::IPromise>> promises{core::create_promise(), core::create_promise()};
  InterfacePtr<core::IGroupFuture> group =
      core::create_any_complete_group_future({promises[0]->getFuture(), promises[1]->getFuture()});
  EXPECT_EQ(group->getCount(), 2u);
  EXPECT_EQ(group->getFuture(1), promises[1]->getFuture());
  EXPECT_FALSE(group->getFuture(2));
  EXPECT_FALSE(group->wait(0));
  EXPECT_EQ(group->getCompletedIndex(), -1);
  promises[1]->setResult(&box);
  EXPECT_TRUE(group->wait(1000));
  EXPECT_EQ(group->getCompletedIndex(), 1);
  EXPECT_EQ(group->getResult().get(), &box);
  promises[0]->setException(numeric_error().get());
  EXPECT_EQ(group->getState(), IFuture::Succeeded) << "later members change nothing";

  InterfacePtr<core::IPromise> failing = core::create_promise();
  InterfacePtr<core::IGroupFuture> failedGroup = core::create_any_complete_group_future({failing->getFuture()});
  failing->setException(numeric_error().get());
  EXPECT_THROW(failedGroup->getResult(), core::NumericException);
}

TEST(GroupFuture, AllWaitsForEveryMemberAndReportsTheFirstFailureInListOrder) {
  struct Row {
    const char* what;
    IFuture::State first, second, expected;
  };
  const Row rows[] = {
      {"both succeed", IFuture::Succeeded, IFuture::Succeeded, IFuture::Succeeded},
      {"one fails", IFuture::Succeeded, IFuture::Failed, IFuture::Failed},
      {"one cancelled", IFuture::Cancelled, IFuture::Succeeded, IFuture::Cancelled},
      {"failure beats cancellation", IFuture::Cancelled, IFuture::Failed, IFuture::Failed},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    InterfacePtr<core::IPromise> a = core::create_promise();
    InterfacePtr<core::IPromise> b = core::create_promise();
    InterfacePtr<core::IGroupFuture> group = core::create_all_complete_group_future({a->getFuture(), b->getFuture()});
    auto complete = [](core::IPromise& p, IFuture::State s) {
      if (s == IFuture::Succeeded) p.setResult(nullptr);
      if (s == IFuture::Failed) p.setException(numeric_error().get());
      if (s == IFuture::Cancelled) p.setCancelled();
    };
    complete(*b, row.second);
    EXPECT_FALSE(group->isDone()) << "one member is still pending";
    complete(*a, row.first);
    EXPECT_TRUE(group->isDone());
    EXPECT_EQ(group->getState(), row.expected);
    EXPECT_EQ(group->getCompletedIndex(), 0);
    EXPECT_EQ(static_cast<bool>(group->getException()), row.expected == IFuture::Failed);
  }
}

TEST(GroupFuture, EdgeCasesAndInterfaces) {
  EXPECT_EQ(core::create_all_complete_group_future({})->getState(), IFuture::Succeeded);
  EXPECT_EQ(core::create_any_complete_group_future({})->getState(), IFuture::Cancelled);
  EXPECT_THROW(core::create_all_complete_group_future({core::create_cancelled_future(), nullptr}),
               core::IllegalArgumentException);
  InterfacePtr<core::IGroupFuture> group = core::create_all_complete_group_future({core::create_cancelled_future()});
  EXPECT_TRUE(InterfacePtr<IFuture>(group).query<core::IGroupFuture>());
  EXPECT_FALSE(core::create_cancelled_future().query<core::IGroupFuture>());
  EXPECT_TRUE(core::create_promise().query<core::IPromise>());
  EXPECT_FALSE(core::create_promise().query<IFuture>()) << "promise and future are separate objects";
}

TEST(GroupFuture, StressManyMembersCompletedFromManyThreads) {
  constexpr int kMembers = 64;
  std::vector<InterfacePtr<core::IPromise>> promises;
  std::vector<InterfacePtr<IFuture>> futures;
  for (int i = 0; i < kMembers; ++i) {
    promises.push_back(core::create_promise());
    futures.push_back(promises.back()->getFuture());
  }
  InterfacePtr<core::IGroupFuture> all = core::create_all_complete_group_future(futures);
  InterfacePtr<core::IGroupFuture> any = core::create_any_complete_group_future(futures);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = t; i < kMembers; i += 4) promises[i]->setResult(nullptr);
    });
  }
  EXPECT_TRUE(all->wait(10000));
  for (auto& t : threads) t.join();
  EXPECT_EQ(all->getState(), IFuture::Succeeded);
  EXPECT_EQ(any->getState(), IFuture::Succeeded);
  EXPECT_GE(any->getCompletedIndex(), 0);
}

}  // namespace
