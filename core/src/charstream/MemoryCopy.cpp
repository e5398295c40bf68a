#include "charstream/MemoryCopy.h"

#include <cstring>

namespace core::detail {

// noipa: no inlining, cloning or value-range propagation into this function from its callers.
__attribute__((noipa)) void copy_memory(void* to, const void* from, std::size_t size) noexcept {
  std::memcpy(to, from, size);
}

}  // namespace core::detail
