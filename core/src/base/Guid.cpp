#include "core/Guid.h"

namespace core {

namespace {
constexpr char kHexDigits[] = "0123456789abcdef";

template <class C>
void write_hex(C*& out, std::uint64_t value, int digits) noexcept {
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) *out++ = C(kHexDigits[(value >> shift) & 0xF]);
}
}  // namespace

bool guid_from_string(std::u16string_view text, GUID& out) noexcept {
  return detail::parse_guid(text.data(), text.size(), out);
}

bool guid_from_string(std::string_view text, GUID& out) noexcept {
  return detail::parse_guid(text.data(), text.size(), out);
}

void guid_to_chars(const GUID& id, char16_t out[kGuidTextLength]) noexcept {
  char16_t* p = out;
  write_hex(p, id.Data1, 8);
  *p++ = u'-';
  write_hex(p, id.Data2, 4);
  *p++ = u'-';
  write_hex(p, id.Data3, 4);
  *p++ = u'-';
  write_hex(p, id.Data4[0], 2);
  write_hex(p, id.Data4[1], 2);
  *p++ = u'-';
  for (int i = 2; i < 8; ++i) write_hex(p, id.Data4[i], 2);
}

avo::WString guid_to_string(const GUID& id) {
  char16_t text[kGuidTextLength];
  guid_to_chars(id, text);
  return avo::WString(text, kGuidTextLength);
}

std::size_t guid_hash(const GUID& id) noexcept {
  std::uint64_t high = std::uint64_t(id.Data1) << 32 | std::uint64_t(id.Data2) << 16 | id.Data3;
  std::uint64_t low = 0;
  for (int i = 0; i < 8; ++i) low = low << 8 | id.Data4[i];
  // Two rounds of a 64-bit multiplicative mix so that ids differing in one field spread over all bits.
  std::uint64_t h = high * 0x9E3779B97F4A7C15ull ^ low;
  h ^= h >> 32;
  h *= 0xD6E8FEB86659FD93ull;
  h ^= h >> 32;
  return static_cast<std::size_t>(h);
}

}  // namespace core
