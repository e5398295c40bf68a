#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include "avo/BasicString.h"

namespace avo {

namespace {
constexpr UChar32 kReplacement = 0xFFFD;
}

WString from_utf8(std::string_view utf8) {
  WString out;
  out.reserve(utf8.size());
  const auto* bytes = reinterpret_cast<const uint8_t*>(utf8.data());
  const int32_t length = static_cast<int32_t>(utf8.size());
  // ICU's UTF-8 macros report ill-formed sequences as negative code points; they are replaced, never
  // dropped, so the text keeps its length in characters as far as possible.
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U8_NEXT(bytes, i, length, c);
    if (c < 0) c = kReplacement;
    if (U_IS_BMP(c)) {
      out.push_back(static_cast<char16_t>(c));
    } else {
      out.push_back(static_cast<char16_t>(U16_LEAD(c)));
      out.push_back(static_cast<char16_t>(U16_TRAIL(c)));
    }
  }
  return out;
}

namespace {
template <class Out>
Out utf16_to_utf8(std::u16string_view utf16) {
  Out out;
  out.reserve(utf16.size());
  const int32_t length = static_cast<int32_t>(utf16.size());
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U16_NEXT(utf16.data(), i, length, c);
    if (U_IS_SURROGATE(c)) c = kReplacement;
    uint8_t buffer[U8_MAX_LENGTH];
    int32_t n = 0;
    U8_APPEND_UNSAFE(buffer, n, c);  // c is a scalar value here, so it always fits
    out.append(reinterpret_cast<const char*>(buffer), static_cast<std::size_t>(n));
  }
  return out;
}
}  // namespace

String to_utf8(std::u16string_view utf16) { return utf16_to_utf8<String>(utf16); }
std::string to_std_utf8(std::u16string_view utf16) { return utf16_to_utf8<std::string>(utf16); }

}  // namespace avo
