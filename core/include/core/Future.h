#pragma once
// Futures and promises: a value (or failure) that becomes available later, possibly on another thread.
//
// A promise is the producing side, its future the consuming side. A future completes once, in one of
// three ways: succeeded (with a result object, possibly null), failed (with an exception object), or
// cancelled. Group futures complete when any / all of a list of futures have completed.
//
//     core::InterfacePtr<core::IPromise> promise = core::create_promise();
//     core::InterfacePtr<core::IFuture> future = promise->getFuture();
//     worker->post([promise] { promise->setResult(compute().get()); });
//     if (future->wait(500)) use(future->getResult());   // at most half a second
//
// Waiting: wait(ms) waits until the future completes or until the deadline `ms` milliseconds after the
// call, whichever comes first; a non-positive ms only tests. A wait that must sleep tells the process's
// suspend monitor (nexa::get_thread_suspend_monitor()) before and after.
//
// A promise whose last reference goes while its future is still pending cancels the future, so that no
// waiter waits forever for a producer that is gone.
//
// Thread safety: every operation may be called from any thread; completion happens once, the first
// completing call wins and later ones return false.

#include <cstddef>
#include <functional>
#include <vector>

#include "core/Exception.h"
#include "core/Export.h"
#include "core/Interface.h"

namespace core {

// The consuming side: see the top of this file.
class IFuture : public IUnknown {
 public:
  static constexpr GUID IID = guid("3f9a0c52-6e1d-4b8a-9c47-2d5e8f1a7b60");
  // Pending until it completes in one of the three other ways; it never changes after that.
  enum State { Pending = 0, Succeeded = 1, Failed = 2, Cancelled = 3 };

  // The state now (does not wait).
  virtual State getState() = 0;
  // True once the future has completed (in any way).
  virtual bool isDone() = 0;
  // Waits without limit until the future completes.
  virtual void wait() = 0;
  // Waits at most `ms` milliseconds (see above); true when the future has completed.
  virtual bool wait(int ms) = 0;
  // Waits for completion, then: the result of a succeeded future (new reference, may be null); throws
  // the exception of a failed one (with its own type); throws CancelOperationException (ByCaller,
  // "IDS_ERR_FUTURE_CANCELLED") for a cancelled one.
  virtual InterfacePtr<IUnknown> getResult() = 0;
  // The exception of a failed future; empty otherwise. Does not wait.
  virtual InterfacePtr<IExceptionObject> getException() = 0;
  // Completes a pending future as cancelled; false when it had completed already.
  virtual bool cancel() = 0;
  // Calls `callback` once the future has completed: at once (on the calling thread) when it already
  // has, else on the thread that completes it, after waiters have been released.
  virtual void addCallback(std::function<void(IFuture& future)> callback) = 0;

 protected:
  ~IFuture() = default;
};

// The producing side: completes its future once.
class IPromise : public IUnknown {
 public:
  static constexpr GUID IID = guid("8c1e4d27-5a3b-4f96-b0d2-7e6a9c3f1d85");

  // The future of this promise (always the same object).
  virtual InterfacePtr<IFuture> getFuture() = 0;
  // Complete the future; each returns false (and changes nothing) when it had completed already.
  virtual bool setResult(IUnknown* result) = 0;
  // Throws IllegalArgumentException ("IDS_ERR_ILLEGAL_ARGUMENT", core/src/futureImpl line 122) for null.
  virtual bool setException(IExceptionObject* error) = 0;
  // Completes the future as cancelled.
  virtual bool setCancelled() = 0;

 protected:
  ~IPromise() = default;
};

// A future over a list of futures. Its own completion:
//   any: when the first listed future completes, in the same way (result, exception or cancellation);
//        an empty list is cancelled at once.
//   all: when every listed future has completed: failed with the exception of the first failed future
//        in list order if any failed, else cancelled if any was cancelled, else succeeded with a null
//        result; an empty list succeeds at once.
// Cancelling a group cancels the group only, not the listed futures.
class IGroupFuture : public IFuture {
 public:
  static constexpr GUID IID = guid("c47b2e91-0d3f-4a6c-8e15-9b2f6d4a0c38");

  // The listed futures: their number, and one of them.
  virtual std::size_t getCount() = 0;
  virtual InterfacePtr<IFuture> getFuture(std::size_t index) = 0;  // empty for an index out of range
  // The index of the listed future whose completion completed the group, or -1 (not yet, or empty).
  virtual int getCompletedIndex() = 0;

 protected:
  ~IGroupFuture() = default;
};

// A new promise with a pending future.
KERN83_API InterfacePtr<IPromise> create_promise();
// Futures that are complete on creation.
KERN83_API InterfacePtr<IFuture> create_succeeded_future(IUnknown* result);
// Throws IllegalArgumentException ("IDS_ERR_ILLEGAL_ARGUMENT", core/src/futureImpl line 122) for null.
KERN83_API InterfacePtr<IFuture> create_failed_future(IExceptionObject* error);
// A future cancelled on creation.
KERN83_API InterfacePtr<IFuture> create_cancelled_future();
// Null entries throw IllegalArgumentException ("IDS_ERR_ILLEGAL_ARGUMENT").
KERN83_API InterfacePtr<IGroupFuture> create_any_complete_group_future(std::vector<InterfacePtr<IFuture>> futures);
KERN83_API InterfacePtr<IGroupFuture> create_all_complete_group_future(std::vector<InterfacePtr<IFuture>> futures);

}  // namespace core
