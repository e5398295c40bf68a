#pragma once
// Finding the next unit of interest in a run of UTF-16 code units, eight at a time where SSE2 is there
// (every x86-64). The scalar loops give the same answers and serve other processors.

#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace core::detail {

// The first unit in [p, e) that is at most `limit` (an ASCII value), or e.
inline const char16_t* find_at_most(const char16_t* p, const char16_t* e, char16_t limit) noexcept {
#if defined(__SSE2__)
  const __m128i bound = _mm_set1_epi16(static_cast<short>(limit));
  const __m128i zero = _mm_setzero_si128();
  for (; e - p >= 8; p += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    // Unsigned saturating subtraction is zero exactly for the units <= limit.
    const int mask = _mm_movemask_epi8(_mm_cmpeq_epi16(_mm_subs_epu16(v, bound), zero));
    if (mask != 0) return p + (__builtin_ctz(static_cast<unsigned>(mask)) >> 1);
  }
#endif
  while (p != e && *p > limit) ++p;
  return p;
}

// The length of [p, e) up to its first zero unit, and in `narrow` whether all those units are <= 255.
inline std::size_t measure_string(const char16_t* p, const char16_t* e, bool& narrow) noexcept {
  const char16_t* const start = p;
  unsigned wide = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF00));
  __m128i wideUnits = zero;
  for (; e - p >= 8; p += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    if (_mm_movemask_epi8(_mm_cmpeq_epi16(v, zero)) != 0) break;  // the zero is found below
    wideUnits = _mm_or_si128(wideUnits, _mm_and_si128(v, high));
  }
  wide = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi16(wideUnits, zero))) != 0xFFFF;
#endif
  for (; p != e && *p != 0; ++p) wide |= *p > 0xFF;
  narrow = wide == 0;
  return static_cast<std::size_t>(p - start);
}

}  // namespace core::detail
