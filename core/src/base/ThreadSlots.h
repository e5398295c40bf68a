#pragma once
// Per-thread state of the families, each in a slot the family registers for itself.
//
// A family that keeps something per thread (the deferred exception, the numeric round mode, the
// resource language, ...) declares one static ThreadSlot<T> for it. Every thread's state is a
// ThreadSlots block holding one T per registered slot, made on first access from the T's default
// constructor and destroyed with the block:
//
//     struct RoundState { int mode = -1; };
//     const detail::ThreadSlot<RoundState>& round_slot() {
//       static const detail::ThreadSlot<RoundState> slot;  // registered on first use
//       return slot;
//     }
//     round_slot().current().mode = 1;                     // the calling thread's RoundState
//
// Whose block is "current": a thread object of the threads family owns a block and binds it to the OS
// thread that runs it (bind_thread_slots), so the state belongs to the thread object, whichever OS thread
// runs it.
// An OS thread with nothing bound uses a block of its own, made on first use and destroyed when the OS
// thread ends.
//
// Thread safety: making a slot's T is safe from any thread (the first one made wins). The T itself is
// the family's business: state only the owning thread touches needs no lock; state that other threads
// set through a thread object (a resource language) carries its own lock.

#include <atomic>
#include <cstddef>

namespace core::detail {

class ThreadSlots;

// What a block needs to know to make and destroy one slot's object.
struct ThreadSlotType {
  void* (*make)();
  void (*destroy)(void*) noexcept;
};

inline constexpr std::size_t kMaxThreadSlots = 8;

// Registers a slot and returns its index. At most kMaxThreadSlots slots exist in a process: one more
// throws std::length_error (a family added a slot without raising the limit).
std::size_t register_thread_slot(const ThreadSlotType* type);

class ThreadSlots {
 public:
  ThreadSlots() noexcept = default;
  ~ThreadSlots();
  ThreadSlots(const ThreadSlots&) = delete;
  ThreadSlots& operator=(const ThreadSlots&) = delete;

  // The object of slot `index`, made now if this block has none yet. Throws what making it throws
  // (std::bad_alloc); the block is then unchanged.
  void* get(std::size_t index) {
    void* object = objects_[index].load(std::memory_order_acquire);
    return object != nullptr ? object : make(index);
  }

 private:
  void* make(std::size_t index);

  std::atomic<void*> objects_[kMaxThreadSlots] = {};
};

// The calling thread's current block: the bound one, else the OS thread's own.
ThreadSlots& current_thread_slots();

#if defined(_WIN32)
// The calling OS thread's own block on Windows, made on first use and destroyed at the thread's end by the
// platform layer (platform/win/ThreadSlotsBlock.cpp): MinGW frees emulated thread-locals before it runs
// their destructors, so the block cannot be a thread_local object there.
ThreadSlots& own_thread_slots();
#endif

// Makes `slots` (null: none, so the OS thread's own block is used again) the calling thread's current
// block and returns the one bound before. The caller keeps `slots` alive while it is bound.
ThreadSlots* bind_thread_slots(ThreadSlots* slots) noexcept;

// One registered slot holding a T per thread. Declare it as a function-local static, so that it is
// registered before its first use whatever the order in which files initialise their statics.
template <class T>
class ThreadSlot {
 public:
  ThreadSlot() : index_(register_thread_slot(&kType)) {}
  ThreadSlot(const ThreadSlot&) = delete;
  ThreadSlot& operator=(const ThreadSlot&) = delete;

  // The calling thread's T.
  T& current() const { return of(current_thread_slots()); }
  // The T in `slots`.
  T& of(ThreadSlots& slots) const { return *static_cast<T*>(slots.get(index_)); }

 private:
  static void* make() { return new T(); }
  static void destroy(void* object) noexcept { delete static_cast<T*>(object); }
  static constexpr ThreadSlotType kType{&make, &destroy};

  std::size_t index_;
};

}  // namespace core::detail
