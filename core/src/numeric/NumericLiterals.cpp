// Numeric: the hexadecimal and binary literal factories and the automation DECIMAL conversion.
#include <algorithm>

#include "base/SourcePosition.h"
#include "core/Exception.h"
#include "numeric/NumericInternal.h"

namespace core {

using detail::NumericInternal;

namespace {

constexpr const char* kSourceFile = KERN83_SOURCE_FILE("NumericLiterals");

int hex_digit(char16_t c) noexcept {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

int binary_digit(char16_t c) noexcept { return (c == u'0' || c == u'1') ? c - u'0' : -1; }

// Reads "0<prefix><digits>" in base 2^bits. The value is accumulated exactly in base 10^9 limbs, a chunk
// of digits at a time (the chunk's weight stays below 10^9), so any length works.
template <int (*Digit)(char16_t)>
Numeric read_literal(const char16_t* text, std::size_t n, char16_t prefix, int bits, const char* key) {
  const auto fail = [&](int line) { throw IllegalArgumentException(kSourceFile, line, ResourceKey{key}); };
  if (text == nullptr || n < 3 || text[0] != u'0' || text[1] != prefix) fail(__LINE__);
  for (std::size_t i = 2; i < n; ++i) {
    if (Digit(text[i]) < 0) fail(__LINE__);
  }
  const std::size_t digits = n - 2;
  const int chunk = 29 / bits;  // 7 hexadecimal or 29 binary digits: a weight below 10^9
  // 2^bits < 10^(bits * 0.302), so digits * bits * 0.302 / 9 limbs hold the value; bits / 29 is above that.
  detail::Scratch limbs(digits * std::size_t(bits) / 29 + 2);
  std::size_t used = 0;
  for (std::size_t i = 2; i < n;) {
    const std::size_t take = std::min<std::size_t>(std::size_t(chunk), n - i);
    std::uint32_t value = 0;
    for (std::size_t k = 0; k < take; ++k) value = (value << bits) | std::uint32_t(Digit(text[i + k]));
    const std::uint64_t weight = std::uint64_t(1) << (bits * take);
    std::uint64_t carry = value;
    for (std::size_t j = 0; j < used; ++j) {
      const std::uint64_t p = limbs[j] * weight + carry;
      limbs[j] = static_cast<std::uint32_t>(p % detail::kBase64);
      carry = p / detail::kBase64;
    }
    for (; carry != 0; carry /= detail::kBase64) limbs[used++] = static_cast<std::uint32_t>(carry % detail::kBase64);
    i += take;
  }
  Numeric result;
  NumericInternal::assign(result, detail::trim(limbs.data(), std::int64_t(used), 0), 1);
  return result;
}

std::size_t length_of(const char16_t* text) noexcept {
  return text == nullptr ? 0 : std::char_traits<char16_t>::length(text);
}

}  // namespace

Numeric create_numeric_from_hex_literal_string(const avo::WString& text) {
  return read_literal<hex_digit>(text.data(), text.size(), u'x', 4, "IDS_ERR_INVALID_HEX_STRING_FORMAT");
}

Numeric create_numeric_from_hex_literal_string(const char16_t* text) {
  return read_literal<hex_digit>(text, length_of(text), u'x', 4, "IDS_ERR_INVALID_HEX_STRING_FORMAT");
}

Numeric create_numeric_from_binary_literal_string(const avo::WString& text) {
  return read_literal<binary_digit>(text.data(), text.size(), u'b', 1, "IDS_ERR_INVALID_BINARY_STRING_FORMAT");
}

Numeric create_numeric_from_binary_literal_string(const char16_t* text) {
  return read_literal<binary_digit>(text, length_of(text), u'b', 1, "IDS_ERR_INVALID_BINARY_STRING_FORMAT");
}

bool DECIMAL_to_numeric(const tagDEC& dec, Numeric& out) {
  // The 96-bit magnitude in decimal (at most 29 digits), most significant first.
  unsigned __int128 magnitude = (static_cast<unsigned __int128>(dec.Hi32) << 64) | dec.Lo64;
  char digits[40];
  std::size_t n = 0;
  do {
    digits[n++] = static_cast<char>('0' + static_cast<int>(magnitude % 10));
    magnitude /= 10;
  } while (magnitude != 0);
  std::reverse(digits, digits + n);

  // "-" when negative, then the digits with the point `scale` places from the right; a scale of at least
  // the digit count puts "0." and zeros in front.
  const bool negative = (dec.sign & 0x80) != 0;
  const std::size_t scale = dec.scale;
  const std::size_t body = scale == 0 ? n : (scale >= n ? 2 + scale : n + 1);
  char text[128];
  if ((negative ? 1 : 0) + body + 1 > sizeof(text)) return false;
  char* p = text;
  if (negative) *p++ = '-';
  if (scale == 0) {
    p = std::copy(digits, digits + n, p);
  } else if (scale >= n) {
    *p++ = '0';
    *p++ = '.';
    p = std::fill_n(p, scale - n, '0');
    p = std::copy(digits, digits + n, p);
  } else {
    p = std::copy(digits, digits + (n - scale), p);
    *p++ = '.';
    p = std::copy(digits + (n - scale), digits + n, p);
  }
  *p = '\0';
  out.fromString(text);
  return true;
}

}  // namespace core
