#include "charstream/MemoryCopy.h"

#include <cstring>

namespace core::detail {

// GCC's noipa: no inlining, cloning or value-range propagation into this function from its callers
// (clang does not propagate ranges into calls that way; noinline is enough there).
#if defined(__clang__)
__attribute__((noinline))
#else
__attribute__((noipa))
#endif
void copy_memory(void* to, const void* from, std::size_t size) noexcept {
  std::memcpy(to, from, size);
}

}  // namespace core::detail
