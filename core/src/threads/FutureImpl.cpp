// Promises, futures and group futures.
//
// Every future keeps its completion in a FutureState: a critical section, a condition variable, the
// state, the result or exception, and the callbacks to run on completion. The state is shared with the
// promise (which completes it) and with the callbacks a group registers on its members, so that a group
// and its members never hold each other: member -> callback -> group state; group -> member.
#include <utility>

#include "base/LockGuard.h"
#include "base/SourcePosition.h"
#include "core/Future.h"
#include "nexa/Monitor.h"
#include "platform/ConditionVariable.h"
#include "platform/Mutex.h"
#include "platform/TickCount.h"

namespace core {

namespace {

// The source position of the null-exception error is part of the interface.
constexpr const char* kSourceFile = KERN83_SOURCE_FILE("futureImpl");
constexpr int kNullExceptionLine = 122;
constexpr int kNullMemberLine = 123;

void require_exception(IExceptionObject* error) {
  if (error == nullptr) {
    throw IllegalArgumentException(kSourceFile, kNullExceptionLine, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
}

class FutureState : public Refcountable<FutureState, AtomicCounter> {
 public:
  // Completes the state; false when it had completed before. Callbacks run after the waiters are woken,
  // outside the lock.
  bool complete(IFuture::State state, IUnknown* result, IExceptionObject* error) {
    std::vector<std::function<void()>> callbacks;
    {
      detail::LockGuard guard(mutex_);
      if (state_ != IFuture::Pending) return false;
      state_ = state;
      result_ = result;
      error_ = error;
      callbacks.swap(callbacks_);
    }
    condition_.wakeAll();
    for (auto& callback : callbacks) callback();
    return true;
  }

  IFuture::State state() {
    detail::LockGuard guard(mutex_);
    return state_;
  }

  // Waits until completion or `deadlineNs` on the monotonic clock (0: no limit); true when complete.
  bool waitUntil(std::uint64_t deadlineNs) {
    detail::LockGuard guard(mutex_);
    if (state_ == IFuture::Pending && deadlineNs != 1) {
      nexa::SuspendScope blocked(nexa::get_thread_suspend_monitor());
      while (state_ == IFuture::Pending) {
        unsigned limit = platform::kInfinite;
        if (deadlineNs != 0) {
          const std::uint64_t now = platform::monotonic_ns();
          if (now >= deadlineNs) break;
          limit = static_cast<unsigned>((deadlineNs - now + 999999) / 1000000);  // round up: never wake early
        }
        condition_.sleep(mutex_, limit);
      }
    }
    return state_ != IFuture::Pending;
  }

  InterfacePtr<IUnknown> result() {
    detail::LockGuard guard(mutex_);
    return result_;
  }

  InterfacePtr<IExceptionObject> error() {
    detail::LockGuard guard(mutex_);
    return error_;
  }

  // Runs `callback` at once when complete, else keeps it for completion.
  void addCallback(std::function<void()> callback) {
    {
      detail::LockGuard guard(mutex_);
      if (state_ == IFuture::Pending) {
        callbacks_.push_back(std::move(callback));
        return;
      }
    }
    callback();
  }

 private:
  platform::Mutex mutex_;
  platform::CondVar condition_;
  IFuture::State state_ KERN83_GUARDED_BY(mutex_) = IFuture::Pending;
  InterfacePtr<IUnknown> result_ KERN83_GUARDED_BY(mutex_);
  InterfacePtr<IExceptionObject> error_ KERN83_GUARDED_BY(mutex_);
  std::vector<std::function<void()>> callbacks_ KERN83_GUARDED_BY(mutex_);
};

// A future answers IFuture and its own interface (IFuture itself or one derived from it).
template <class Interface>
class FutureBase : public RefCountedUnknown<0, Answers<IFuture, Interface>, Interface> {
 public:
  explicit FutureBase(SharedPtr<FutureState> state) : state_(std::move(state)) {}

  IFuture::State getState() override { return state_->state(); }
  bool isDone() override { return state_->state() != IFuture::Pending; }
  void wait() override { state_->waitUntil(0); }
  bool wait(int ms) override {
    // The limit becomes an absolute deadline, so spurious wake-ups do not extend the wait. 1 = test only.
    const std::uint64_t deadline = ms <= 0 ? 1 : platform::monotonic_ns() + static_cast<std::uint64_t>(ms) * 1000000u;
    return state_->waitUntil(deadline);
  }

  InterfacePtr<IUnknown> getResult() override {
    state_->waitUntil(0);
    const IFuture::State state = state_->state();
    if (state == IFuture::Failed) state_->error()->raise();
    if (state == IFuture::Cancelled) {
      throw CancelOperationException(CancelOperationException::ByCaller, ResourceKey{"IDS_ERR_FUTURE_CANCELLED"});
    }
    return state_->result();
  }

  InterfacePtr<IExceptionObject> getException() override { return state_->error(); }
  bool cancel() override { return state_->complete(IFuture::Cancelled, nullptr, nullptr); }

  void addCallback(std::function<void(IFuture&)> callback) override {
    InterfacePtr<IFuture> self(static_cast<IFuture*>(this));  // kept until the callback has run
    state_->addCallback([self, callback = std::move(callback)] { callback(*self); });
  }

 protected:
  SharedPtr<FutureState> state_;
};

class Future final : public FutureBase<IFuture> {
 public:
  using FutureBase::FutureBase;
};

class Promise final : public RefCountedUnknown<0, Answers<IPromise>, IPromise> {
 public:
  Promise() : state_(new FutureState), future_(new Future(state_)) {}
  // A promise given up while its future is pending cancels it (no-op when complete).
  ~Promise() override { state_->complete(IFuture::Cancelled, nullptr, nullptr); }

  InterfacePtr<IFuture> getFuture() override { return future_; }
  bool setResult(IUnknown* result) override { return state_->complete(IFuture::Succeeded, result, nullptr); }
  bool setException(IExceptionObject* error) override {
    require_exception(error);
    return state_->complete(IFuture::Failed, nullptr, error);
  }
  bool setCancelled() override { return state_->complete(IFuture::Cancelled, nullptr, nullptr); }

 private:
  SharedPtr<FutureState> state_;
  InterfacePtr<IFuture> future_;
};

InterfacePtr<IFuture> completed_future(IFuture::State state, IUnknown* result, IExceptionObject* error) {
  SharedPtr<FutureState> completion(new FutureState);
  completion->complete(state, result, error);
  return InterfacePtr<IFuture>(new Future(std::move(completion)));
}

// ----- Groups

// What the members' callbacks update: the group's completion and the bookkeeping of "all".
class GroupState : public Refcountable<GroupState, AtomicCounter> {
 public:
  GroupState(bool all, std::size_t count) : all_(all), remaining_(count) {}

  void memberCompleted(std::size_t index, IFuture& member) {
    if (!all_) {
      if (completion->complete(member.getState(),
                               member.getState() == IFuture::Succeeded ? member.getResult().get() : nullptr,
                               member.getException().get())) {
        completedIndex_.store(static_cast<int>(index));
      }
      return;
    }
    InterfacePtr<IExceptionObject> failure;
    bool cancelled = false;
    {
      detail::LockGuard guard(mutex_);
      if (member.getState() == IFuture::Failed && (firstFailed_ < 0 || static_cast<int>(index) < firstFailed_)) {
        firstFailed_ = static_cast<int>(index);
        failure_ = member.getException();
      }
      if (member.getState() == IFuture::Cancelled) anyCancelled_ = true;
      if (--remaining_ != 0) return;
      failure = failure_;
      cancelled = anyCancelled_;
    }
    const IFuture::State state = failure ? IFuture::Failed : cancelled ? IFuture::Cancelled : IFuture::Succeeded;
    if (completion->complete(state, nullptr, failure.get())) completedIndex_.store(static_cast<int>(index));
  }

  int completedIndex() const { return completedIndex_.load(); }

  const SharedPtr<FutureState> completion{new FutureState};

 private:
  const bool all_;
  platform::Mutex mutex_;
  std::size_t remaining_ KERN83_GUARDED_BY(mutex_);
  int firstFailed_ KERN83_GUARDED_BY(mutex_) = -1;
  InterfacePtr<IExceptionObject> failure_ KERN83_GUARDED_BY(mutex_);
  bool anyCancelled_ KERN83_GUARDED_BY(mutex_) = false;
  std::atomic<int> completedIndex_{-1};
};

class GroupFuture final : public FutureBase<IGroupFuture> {
 public:
  GroupFuture(SharedPtr<GroupState> group, std::vector<InterfacePtr<IFuture>> members)
      : FutureBase(group->completion), group_(std::move(group)), members_(std::move(members)) {}

  std::size_t getCount() override { return members_.size(); }
  InterfacePtr<IFuture> getFuture(std::size_t index) override {
    return index < members_.size() ? members_[index] : InterfacePtr<IFuture>();
  }
  int getCompletedIndex() override { return group_->completedIndex(); }

 private:
  SharedPtr<GroupState> group_;
  std::vector<InterfacePtr<IFuture>> members_;
};

InterfacePtr<IGroupFuture> create_group(std::vector<InterfacePtr<IFuture>> members, bool all) {
  for (const auto& member : members) {
    if (!member) throw IllegalArgumentException(kSourceFile, kNullMemberLine, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
  }
  SharedPtr<GroupState> group(new GroupState(all, members.size()));
  if (members.empty()) group->completion->complete(all ? IFuture::Succeeded : IFuture::Cancelled, nullptr, nullptr);
  InterfacePtr<IGroupFuture> future(new GroupFuture(group, members));
  for (std::size_t i = 0; i < members.size(); ++i) {
    members[i]->addCallback([group, i](IFuture& member) { group->memberCompleted(i, member); });
  }
  return future;
}

}  // namespace

InterfacePtr<IPromise> create_promise() { return InterfacePtr<IPromise>(new Promise); }

InterfacePtr<IFuture> create_succeeded_future(IUnknown* result) {
  return completed_future(IFuture::Succeeded, result, nullptr);
}

InterfacePtr<IFuture> create_failed_future(IExceptionObject* error) {
  require_exception(error);
  return completed_future(IFuture::Failed, nullptr, error);
}

InterfacePtr<IFuture> create_cancelled_future() { return completed_future(IFuture::Cancelled, nullptr, nullptr); }

InterfacePtr<IGroupFuture> create_any_complete_group_future(std::vector<InterfacePtr<IFuture>> futures) {
  return create_group(std::move(futures), false);
}

InterfacePtr<IGroupFuture> create_all_complete_group_future(std::vector<InterfacePtr<IFuture>> futures) {
  return create_group(std::move(futures), true);
}

}  // namespace core
