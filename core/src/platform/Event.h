#pragma once
// Events: a flag that threads wait for, signalled by another thread (or process).
//
// An auto-reset event releases exactly one waiter per `set`: a waiter that is already sleeping, or, when
// nobody waits, the next one to come (then the event stays signalled until that one passes). Signals do
// not accumulate. A manual-reset event stays signalled until `reset`: every present and later wait
// passes.
//
// Named events live under a system-wide name (Linux: in shared memory; Windows: the system's named events),
// so that another process can open the same event and signal it. The object disappears with its last holder; a process
// that opens the name after that finds nothing (or creates a new event).

#include <memory>
#include <string_view>

#include "platform/WaitOnAddress.h"

namespace core::platform {

class Event {
 public:
  enum class Reset { Auto, Manual };

  // An event of this process only.
  Event(Reset reset, bool signalled);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  // Creates the auto-reset event `name`, or opens it when it exists. Null when the system refuses.
  static std::unique_ptr<Event> createNamed(std::string_view name);
  // Opens the existing event `name`; null when there is none.
  static std::unique_ptr<Event> openNamed(std::string_view name);

  // Waits until signalled or `timeoutMs` ran out (kInfinite: no limit); true when signalled.
  bool wait(unsigned timeoutMs) noexcept;
  void set() noexcept;
  void reset() noexcept;

  struct State;
  struct Mapping;

 private:
  Event(State* state, Mapping* mapping) noexcept;
  static std::unique_ptr<Event> openOrCreate(std::string_view name, bool mayCreate);
  State* state_;
  Mapping* mapping_;  // null for an unnamed event
};

}  // namespace core::platform
