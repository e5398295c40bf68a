#pragma once
// Globally unique identifiers, in the automation layout: one 32-bit field, two 16-bit fields and eight
// bytes. Text form: 36 characters, lowercase hexadecimal, 8-4-4-4-12, no braces:
//
//     core::GUID id;
//     core::guid_from_string(u"71df1a80-0f8f-11d4-9853-008048da1252", id);  // true
//     core::guid_to_string(id);                                            // the same text
//
// Parsing accepts upper- and lowercase digits and nothing else; formatting always writes lowercase.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "avo/BasicString.h"
#include "core/Export.h"

// The automation GUID layout, outside any namespace as the platform's binary interfaces declare it; the
// library names it core::GUID.
struct _GUID {
  // In the order of the text form: 8, 4 and 4 hexadecimal digits, then the bytes of the last 4 and 12.
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};

// All 128 bits equal.
constexpr bool operator==(const _GUID& a, const _GUID& b) noexcept {
  if (a.Data1 != b.Data1 || a.Data2 != b.Data2 || a.Data3 != b.Data3) return false;
  for (int i = 0; i < 8; ++i) {
    if (a.Data4[i] != b.Data4[i]) return false;
  }
  return true;
}

namespace core {

// A GUID: the first 8 hex digits of the text form are Data1, then Data2, Data3 and the eight bytes.
using GUID = ::_GUID;

// All zero: the "no class", "no type" identifier.
inline constexpr GUID kNullGuid{};

// Length of the text form.
inline constexpr std::size_t kGuidTextLength = 36;

// Parses exactly 36 characters of the 8-4-4-4-12 form. Returns false (and leaves `out` unchanged) on
// any other text.
KERN83_API bool guid_from_string(std::u16string_view text, GUID& out) noexcept;
KERN83_API bool guid_from_string(std::string_view text, GUID& out) noexcept;

// Writes the 36-character lowercase form into `out` (no terminating zero).
KERN83_API void guid_to_chars(const GUID& id, char16_t out[kGuidTextLength]) noexcept;
// The same as a string.
KERN83_API avo::WString guid_to_string(const GUID& id);

// A 64-bit mix of all 128 bits.
KERN83_API std::size_t guid_hash(const GUID& id) noexcept;

namespace detail {
constexpr int hex_value(char16_t c) noexcept {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  return -1;
}

// Parses the 8-4-4-4-12 form from any character sequence; false on malformed text.
template <class C>
constexpr bool parse_guid(const C* text, std::size_t length, GUID& out) noexcept {
  if (length != kGuidTextLength) return false;
  std::uint8_t bytes[16] = {};
  std::size_t nibble = 0;
  for (std::size_t i = 0; i < length; ++i) {
    const bool dashPosition = i == 8 || i == 13 || i == 18 || i == 23;
    if (dashPosition) {
      if (text[i] != C('-')) return false;
      continue;
    }
    const int v = hex_value(static_cast<char16_t>(text[i]));
    if (v < 0) return false;
    bytes[nibble / 2] = static_cast<std::uint8_t>(bytes[nibble / 2] << 4 | v);
    ++nibble;
  }
  out.Data1 = std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16 | std::uint32_t(bytes[2]) << 8 | bytes[3];
  out.Data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  out.Data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  for (int i = 0; i < 8; ++i) out.Data4[i] = bytes[8 + i];
  return true;
}
}  // namespace detail

// A GUID from its literal text, for constants in code: `constexpr GUID id = guid("...")`. Malformed text
// does not compile.
consteval GUID guid(std::string_view text) {
  GUID id{};
  if (!detail::parse_guid(text.data(), text.size(), id)) throw "malformed GUID literal";
  return id;
}

}  // namespace core

template <>
struct std::hash<_GUID> {
  std::size_t operator()(const _GUID& id) const noexcept { return core::guid_hash(id); }
};
