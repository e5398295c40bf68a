#pragma once
// Event-style semaphores.
//
//   ISemaphoreImpl          each raise releases exactly one waiter, present or future; raises do not
//                           accumulate (two raises with nobody waiting let one wait pass).
//   ISemaphoreOneTimeImpl   a gate: the first raise opens it for good, every present and later wait passes.
//   INamedSemaphoreImpl     as ISemaphoreImpl under a system-wide name, shared between processes; the side
//                           that opens an existing name may only raise.
//   CountedSemaphore        an ISemaphoreImpl with a work counter: wait passes at once while the counter is
//                           above 0 and does not consume it; consumers decrement after taking work.
//
//     core::CountedSemaphore work;
//     // producer:                       // consumer:
//     queue.push(job);                   while (work.wait(1000)) {
//     work.incrementCounter();             if (auto job = queue.tryPop()) { work.decrementCounter(); run(*job); }
//                                        }
//
// Waiting: `wait()` waits without limit, `wait(ms)` at most ms milliseconds (a negative value means no
// limit) and says whether the semaphore was raised. A wait that must block tells the process's suspend
// monitor (nexa::get_thread_suspend_monitor()) "about to block" and then "resumed"; one that passes at
// once tells it nothing. AddRef and Release do nothing: a semaphore belongs to whoever embeds it.
// Thread safety: every operation may be called from any thread.

#include <atomic>
#include <cstdint>
#include <string_view>

#include "avo/BasicString.h"
#include "core/Export.h"
#include "core/Interface.h"

namespace core {

// The semaphore interface: slots 0-2 as IUnknown, 3 wait(int), 4 wait(), 5 raise().
class ISemaphore : public IUnknown {
 public:
  static constexpr GUID IID = guid("71DF1A80-0F8F-11D4-9853-008048DA1252");
  // Waits at most `ms` milliseconds (negative: no limit); true when the semaphore was raised.
  virtual bool wait(int ms) = 0;
  // Waits without limit.
  virtual void wait() = 0;
  // Raises the semaphore: what that releases depends on the kind (see the top of this file).
  virtual void raise() = 0;

 protected:
  ~ISemaphore() = default;
};

// Common part of the semaphores: one system event.
class KERN83_API ISemaphoreBaseImpl : public ISemaphore {
 public:
  virtual ~ISemaphoreBaseImpl();
  ISemaphoreBaseImpl(const ISemaphoreBaseImpl&) = delete;
  ISemaphoreBaseImpl& operator=(const ISemaphoreBaseImpl&) = delete;

  // Answers only IUnknown and ISemaphore; any other id gives E_NOINTERFACE and sets *object to null.
  HRESULT QueryInterface(const GUID& iid, void** object) override;
  std::uint32_t AddRef() override { return 1; }
  std::uint32_t Release() override { return 1; }

  // ISemaphore, on the system event.
  bool wait(int ms) override;
  void wait() override;
  void raise() override;

  // The underlying system event (opaque).
  void* eventHandle() const noexcept { return event_; }

 protected:
  // Takes over `event` (a platform event made by the subclass).
  explicit ISemaphoreBaseImpl(void* event) noexcept : event_(event) {}

 private:
  void* event_;  // platform::Event, owned
};

// Each raise releases one waiter, present or future; raises do not accumulate.
class KERN83_API ISemaphoreImpl : public ISemaphoreBaseImpl {
 public:
  // Not raised.
  ISemaphoreImpl();
};

// A gate: the first raise opens it for good.
class KERN83_API ISemaphoreOneTimeImpl : public ISemaphoreBaseImpl {
 public:
  // Closed.
  ISemaphoreOneTimeImpl();
};

// Names are case-sensitive and system-wide. open = false creates the event (or joins an existing one of
// that name); open = true requires an existing one and may only raise it: its waits fail at once
// (return false, and wait() returns without waiting). Throws ThreadException (CreateFailed,
// "IDS_ERR_SYNC_OBJECT") when the system refuses or, with open = true, when no event has that name.
// The event lives as long as some process holds it.
class KERN83_API INamedSemaphoreImpl : public ISemaphoreBaseImpl {
 public:
  // Creates or joins (open false) or opens (open true) the event called `name`, as described above.
  INamedSemaphoreImpl(const avo::WString& name, bool open);

  // As ISemaphore's; on an opened event they fail at once.
  bool wait(int ms) override;
  void wait() override;
  // Whether this side opened an existing event (and may only raise it).
  bool isOpened() const noexcept { return opened_; }

 private:
  bool opened_;
};

// A semaphore with a work counter (see the top of this file).
class KERN83_API CountedSemaphore : public ISemaphoreBaseImpl {
 public:
  // Counter 0, not raised.
  CountedSemaphore();

  // Adds 1 to the counter, then raises the event.
  void incrementCounter() noexcept;
  // Subtracts 1. Throws IllegalStateException ("IDS_ERR_ILLEGAL_STATE", core/src/CountedSemaphore line
  // 37) when the counter is 0; the counter is then unchanged.
  void decrementCounter();
  // The counter now.
  std::int32_t counter() const noexcept { return counter_.load(std::memory_order_acquire); }

  // True at once while the counter is above 0 (without consuming it); otherwise waits for a raise.
  bool wait(int ms) override;
  void wait() override;

 private:
  std::atomic<std::int32_t> counter_{0};
};

}  // namespace core
