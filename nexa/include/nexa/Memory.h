#pragma once
// Memory of the base runtime "nexa83".
//
// Every allocation the library makes goes through nexa_malloc / nexa_free (directly, through nexa_new /
// nexa_delete, through nexa::Allocated or through nexa::StdAllocator), so a per-thread counter can tell
// whether a piece of code allocated at all:
//
//     const auto before = nexa::thread_allocations();
//     Value v = create_numeric_value(7);          // a shared singleton
//     assert(nexa::thread_allocations() == before);
//
// The counters are per calling thread, so other threads' work never disturbs a measurement.
// nexa_malloc throws std::bad_alloc when the system refuses (never returns null for a non-zero size).

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "nexa/Export.h"

// A block of `size` bytes, aligned as std::malloc aligns; throws std::bad_alloc, never returns null for a
// non-zero size. Counted for the calling thread.
NEXA_API void* nexa_malloc(std::size_t size);
// Frees a block of nexa_malloc or nexa_realloc; null does nothing.
NEXA_API void nexa_free(void* block) noexcept;
// Like realloc: a null block allocates, a zero size frees and returns null.
NEXA_API void* nexa_realloc(void* block, std::size_t size);

namespace nexa {

// Number of blocks allocated (nexa_malloc, and nexa_realloc that had to allocate) by the calling thread.
NEXA_API std::uint64_t thread_allocations() noexcept;
// Number of blocks freed by the calling thread.
NEXA_API std::uint64_t thread_frees() noexcept;
// Bytes of the blocks the calling thread allocated and freed, counted as the heap hands them out (a block
// of 20 bytes may count 24): the difference over a piece of code is the memory it kept.
NEXA_API std::uint64_t thread_allocated_bytes() noexcept;
NEXA_API std::uint64_t thread_freed_bytes() noexcept;

// Base for classes whose objects live on the nexa heap: `new` and `delete` of such objects are counted.
class Allocated {
 public:
  // Objects of derived classes come from nexa_malloc and go back to nexa_free.
  static void* operator new(std::size_t size) { return nexa_malloc(size); }
  static void operator delete(void* block) noexcept { nexa_free(block); }
};

// Standard allocator over nexa_malloc, so containers and strings are counted too.
template <class T>
struct StdAllocator {
  // What the standard asks of an allocator; it has no state, so every two compare equal.
  using value_type = T;
  StdAllocator() noexcept = default;
  template <class U>
  StdAllocator(const StdAllocator<U>&) noexcept {}  // NOLINT(google-explicit-constructor)
  // Room for `n` objects; std::bad_array_new_length when the size overflows, std::bad_alloc.
  T* allocate(std::size_t n) {
    if (n > std::size_t(-1) / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(nexa_malloc(n * sizeof(T)));
  }
  // Frees what allocate gave.
  void deallocate(T* p, std::size_t) noexcept { nexa_free(p); }
  // Always true: memory from one allocator may be freed by any other.
  template <class U>
  bool operator==(const StdAllocator<U>&) const noexcept {
    return true;
  }
};

}  // namespace nexa

// Constructs a T on the nexa heap; pair with nexa_delete.
template <class T, class... Args>
T* nexa_new(Args&&... args) {
  void* block = nexa_malloc(sizeof(T));
  try {
    return ::new (block) T(std::forward<Args>(args)...);
  } catch (...) {
    nexa_free(block);
    throw;
  }
}

// Destroys an object made by nexa_new, also through a pointer to a polymorphic base.
template <class T>
void nexa_delete(T* object) noexcept {
  if (object == nullptr) return;
  void* block;
  if constexpr (std::is_polymorphic_v<T>) {
    block = dynamic_cast<void*>(object);
  } else {
    block = object;
  }
  object->~T();
  nexa_free(block);
}

namespace nexa {

// std::unique_ptr over the nexa heap.
template <class T>
struct Delete {
  // nexa_delete(object).
  void operator()(T* object) const noexcept { nexa_delete(object); }
};
// The unique pointer over nexa_new and nexa_delete, and the nexa form of std::make_unique.
template <class T>
using UniquePtr = std::unique_ptr<T, Delete<T>>;
template <class T, class... Args>
UniquePtr<T> make_unique(Args&&... args) {
  return UniquePtr<T>(nexa_new<T>(std::forward<Args>(args)...));
}

}  // namespace nexa
