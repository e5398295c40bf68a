#include "charstream/Utf.h"

namespace core::detail {

namespace {

// Length of the sequence a lead byte starts (0: not a lead byte), and the range its second byte must
// lie in (which excludes overlong forms, surrogates and code points above U+10FFFF).
struct Lead {
  std::uint8_t length, low, high;
};

Lead lead_of(std::uint8_t b) noexcept {
  if (b < 0xC2) return {0, 0, 0};
  if (b < 0xE0) return {2, 0x80, 0xBF};
  if (b == 0xE0) return {3, 0xA0, 0xBF};
  if (b == 0xED) return {3, 0x80, 0x9F};
  if (b < 0xF0) return {3, 0x80, 0xBF};
  if (b == 0xF0) return {4, 0x90, 0xBF};
  if (b < 0xF4) return {4, 0x80, 0xBF};
  if (b == 0xF4) return {4, 0x80, 0x8F};
  return {0, 0, 0};
}

}  // namespace

std::size_t decode_utf8(const std::uint8_t*& in, const std::uint8_t* inEnd, char16_t* out, bool final) noexcept {
  const std::uint8_t* p = in;
  char16_t* o = out;
  while (p != inEnd) {
    const std::uint8_t b = *p;
    if (b < 0x80) {
      *o++ = b;
      ++p;
      continue;
    }
    const Lead lead = lead_of(b);
    if (lead.length == 0) {
      *o++ = kReplacement;
      ++p;
      continue;
    }
    // Check the continuation bytes that are there.
    std::size_t have = 1;
    std::uint32_t cp = b & (0xFF >> (lead.length + 1));
    bool broken = false;
    while (have < lead.length) {
      if (p + have == inEnd) break;
      const std::uint8_t c = p[have];
      const bool ok = have == 1 ? (c >= lead.low && c <= lead.high) : (c >= 0x80 && c <= 0xBF);
      if (!ok) {
        broken = true;
        break;
      }
      cp = cp << 6 | (c & 0x3F);
      ++have;
    }
    if (!broken && have < lead.length) {  // the input ends inside the sequence
      if (!final) break;
      broken = true;
    }
    if (broken) {
      *o++ = kReplacement;
      p += have;
      continue;
    }
    p += have;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      *o++ = static_cast<char16_t>(0xD800 + (cp >> 10));
      *o++ = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      *o++ = static_cast<char16_t>(cp);
    }
  }
  in = p;
  return static_cast<std::size_t>(o - out);
}

std::size_t encode_utf8(const char16_t* in, const char16_t* inEnd, std::uint8_t* out, char16_t& pending,
                        bool final) noexcept {
  std::uint8_t* o = out;
  auto put = [&o](std::uint32_t cp) {
    if (cp < 0x80) {
      *o++ = static_cast<std::uint8_t>(cp);
    } else if (cp < 0x800) {
      *o++ = static_cast<std::uint8_t>(0xC0 | cp >> 6);
      *o++ = static_cast<std::uint8_t>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
      *o++ = static_cast<std::uint8_t>(0xE0 | cp >> 12);
      *o++ = static_cast<std::uint8_t>(0x80 | (cp >> 6 & 0x3F));
      *o++ = static_cast<std::uint8_t>(0x80 | (cp & 0x3F));
    } else {
      *o++ = static_cast<std::uint8_t>(0xF0 | cp >> 18);
      *o++ = static_cast<std::uint8_t>(0x80 | (cp >> 12 & 0x3F));
      *o++ = static_cast<std::uint8_t>(0x80 | (cp >> 6 & 0x3F));
      *o++ = static_cast<std::uint8_t>(0x80 | (cp & 0x3F));
    }
  };
  for (const char16_t* p = in; p != inEnd; ++p) {
    const char16_t u = *p;
    if (pending != 0) {
      const char16_t high = pending;
      pending = 0;
      if (u >= 0xDC00 && u <= 0xDFFF) {
        put(0x10000 + ((std::uint32_t(high) - 0xD800) << 10) + (u - 0xDC00));
        continue;
      }
      put(kReplacement);
    }
    if (u >= 0xD800 && u <= 0xDBFF) {
      pending = u;
    } else if (u >= 0xDC00 && u <= 0xDFFF) {
      put(kReplacement);
    } else {
      put(u);
    }
  }
  if (final && pending != 0) {
    pending = 0;
    put(kReplacement);
  }
  return static_cast<std::size_t>(o - out);
}

}  // namespace core::detail
