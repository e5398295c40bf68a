#pragma once
// Strings of the base runtime.
//
// avo::BasicString<C> is a standard string whose memory comes from the nexa heap (so it is seen by the
// allocation counters). The platform's text is UTF-16: avo::WString holds char16_t code units; the
// narrow form avo::String holds bytes (UTF-8 where it is text).
//
//     avo::WString name = avo::from_utf8("Число");
//     std::string shown = avo::to_utf8(name);
//
// Conversions never throw on bad input: ill-formed UTF-8 or unpaired surrogates become U+FFFD.
// A WString compares equal to a std::u16string with the same code units (and a String to a std::string).

#include <string>
#include <string_view>

#include "nexa/Export.h"
#include "nexa/Memory.h"

namespace avo {

// A standard string on the nexa heap.
template <class C = char16_t>
using BasicString = std::basic_string<C, std::char_traits<C>, nexa::StdAllocator<C>>;

// The platform's text: UTF-16 code units.
using WString = BasicString<char16_t>;
// Bytes, or UTF-8 text.
using String = BasicString<char>;

// UTF-8 bytes to UTF-16 code units.
NEXA_API WString from_utf8(std::string_view utf8);
// UTF-16 code units to UTF-8 bytes.
NEXA_API String to_utf8(std::u16string_view utf16);
NEXA_API std::string to_std_utf8(std::u16string_view utf16);

}  // namespace avo

namespace nexa {
// Found by argument-dependent lookup (the allocator lives here): lets an avo string meet a standard
// string of the same character type without a copy.
template <class C, class A>
requires(!std::is_same_v<A, StdAllocator<C>>) bool operator==(
    const std::basic_string<C, std::char_traits<C>, StdAllocator<C>>& a,
    const std::basic_string<C, std::char_traits<C>, A>& b) noexcept {
  return std::basic_string_view<C>(a) == std::basic_string_view<C>(b);
}
template <class C, class A>
requires(!std::is_same_v<A, StdAllocator<C>>) bool operator==(
    const std::basic_string<C, std::char_traits<C>, A>& a,
    const std::basic_string<C, std::char_traits<C>, StdAllocator<C>>& b) noexcept {
  return std::basic_string_view<C>(a) == std::basic_string_view<C>(b);
}
}  // namespace nexa
