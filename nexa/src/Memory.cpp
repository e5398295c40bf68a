#include "nexa/Memory.h"

#include <malloc.h>

#include <cstdlib>

// Plain integers: only the owning thread touches them. Initial-exec TLS on Linux: every allocation counts,
// and the default model for a shared library would make each count a call to __tls_get_addr. (MinGW
// emulates thread-locals; there is no cheaper model to ask for.)
#if defined(_WIN32)
#define NEXA_COUNTER __thread
#else
#define NEXA_COUNTER __thread __attribute__((tls_model("initial-exec")))
#endif

namespace {
NEXA_COUNTER std::uint64_t t_allocations = 0;
NEXA_COUNTER std::uint64_t t_frees = 0;
NEXA_COUNTER std::uint64_t t_allocated_bytes = 0;
NEXA_COUNTER std::uint64_t t_freed_bytes = 0;

// The usable size is what the block really occupies; asking it costs a read of the block's header.
std::size_t usable_size(void* block) noexcept {
#if defined(_WIN32)
  return _msize(block);
#else
  return malloc_usable_size(block);
#endif
}

void count_allocation(void* block) noexcept {
  ++t_allocations;
  t_allocated_bytes += usable_size(block);
}

void count_free(void* block) noexcept {
  ++t_frees;
  t_freed_bytes += usable_size(block);
}
}  // namespace

void* nexa_malloc(std::size_t size) {
  void* block = std::malloc(size == 0 ? 1 : size);
  if (block == nullptr) throw std::bad_alloc();
  count_allocation(block);
  return block;
}

void nexa_free(void* block) noexcept {
  if (block == nullptr) return;
  count_free(block);
  std::free(block);
}

void* nexa_realloc(void* block, std::size_t size) {
  if (block == nullptr) return nexa_malloc(size);
  if (size == 0) {
    nexa_free(block);
    return nullptr;
  }
  const std::size_t before = usable_size(block);
  void* moved = std::realloc(block, size);
  if (moved == nullptr) throw std::bad_alloc();
  if (moved != block) {
    ++t_allocations;
    ++t_frees;
  }
  t_freed_bytes += before;
  t_allocated_bytes += usable_size(moved);
  return moved;
}

namespace nexa {
std::uint64_t thread_allocations() noexcept { return t_allocations; }
std::uint64_t thread_frees() noexcept { return t_frees; }
std::uint64_t thread_allocated_bytes() noexcept { return t_allocated_bytes; }
std::uint64_t thread_freed_bytes() noexcept { return t_freed_bytes; }
}  // namespace nexa
