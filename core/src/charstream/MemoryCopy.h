#pragma once
// memcpy for short copies of run-time length. When GCC can bound a copy's length (a length byte, a
// capped chunk) it expands memcpy inline as "rep movsq", which costs tens of cycles to start; the C
// library's memcpy is much faster for the runs of a few dozen bytes that strings and runs of text are.
// This call cannot be seen through, so the library's memcpy is what runs.

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace core::detail {

void copy_memory(void* to, const void* from, std::size_t size) noexcept;

// The same for the short runs of strings, without a call: 16 bytes at a time, the last block
// overlapping the one before. The ranges must not overlap.
inline void copy_short(void* to, const void* from, std::size_t size) noexcept {
#if defined(__SSE2__)
  if (size >= 16 && size <= 256) {
    auto* d = static_cast<std::uint8_t*>(to);
    const auto* s = static_cast<const std::uint8_t*>(from);
    const __m128i last = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + size - 16));
    for (std::size_t i = 0; i + 16 < size; i += 16) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)));
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + size - 16), last);
    return;
  }
#endif
  copy_memory(to, from, size);
}

}  // namespace core::detail
