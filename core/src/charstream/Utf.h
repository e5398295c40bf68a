#pragma once
// UTF-8 and UTF-16 conversion in blocks, for the text file streams. Decoding never fails: ill-formed
// input becomes U+FFFD, one per maximal ill-formed subpart (the Unicode recommendation), so a byte that
// could start a sequence is never swallowed by a broken one before it.

#include <cstddef>
#include <cstdint>

namespace core::detail {

inline constexpr char16_t kReplacement = 0xFFFD;

// Decodes UTF-8 from [in, inEnd) into `out`, which has room for at least inEnd - in units. Stops
// before an incomplete sequence at the end of the input unless `final` (then it becomes U+FFFD).
// Returns the number of units stored; `in` is advanced past what was used.
std::size_t decode_utf8(const std::uint8_t*& in, const std::uint8_t* inEnd, char16_t* out, bool final) noexcept;

// Encodes [in, inEnd) as UTF-8 into `out` (room for 3 bytes per unit). A high surrogate at the very
// end is kept in `pending` for the next call (or written as U+FFFD when `final`); unpaired surrogates
// become U+FFFD. Returns the number of bytes stored.
std::size_t encode_utf8(const char16_t* in, const char16_t* inEnd, std::uint8_t* out, char16_t& pending,
                        bool final) noexcept;

}  // namespace core::detail
