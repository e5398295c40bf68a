// Decimal text: fromString (both character types) and fromStream must agree, never throw, stop inside the
// text, and produce a number in normal form whose canonical text reads back as the same number.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "charstream/StringStreams.h"
#include "core/Numeric.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

void check_normal_form(const core::Numeric& n) {
  check(n.getCapacity() >= 4 && n.getCapacity() >= static_cast<std::uint32_t>(n.getCount()));
  check(n.usesInlineLimbs() == (n.getCapacity() == 4));
  if (n.getCount() == 0) {
    check(n.getScale() == 0 && n.getSignByte() == 1);
    return;
  }
  check(n.getSignByte() == 1 || n.getSignByte() == -1);
  const std::uint32_t* limbs = n.getLimbs();
  check(limbs[0] != 0 && limbs[n.getCount() - 1] != 0);
  for (int i = 0; i < n.getCount(); ++i) check(limbs[i] < core::Numeric::kBase);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);  // NUL-terminated by c_str()
  core::Numeric narrow;
  const char* end = nullptr;
  narrow.fromString(text.c_str(), &end);
  check(end >= text.c_str() && end <= text.c_str() + size);
  check_normal_form(narrow);

  // Every byte widened to a code unit: the same number, stopped at the same place.
  std::u16string wide(text.begin(), text.end());
  for (char16_t& c : wide) c = static_cast<unsigned char>(c);
  core::Numeric fromWide;
  const char16_t* wideEnd = nullptr;
  fromWide.fromString(wide.c_str(), &wideEnd);
  check(fromWide.compare(narrow) == 0 && wideEnd - wide.c_str() == end - text.c_str());

  // Pairs of bytes as code units (any value, surrogates and >= 256 included) must not crash either.
  std::u16string units(size / 2, u'\0');
  std::memcpy(units.data(), data, units.size() * 2);
  core::Numeric fromUnits;
  fromUnits.fromString(units.c_str());
  check_normal_form(fromUnits);

  // The reader reads exactly what the scanner accepts.
  auto reader =
      core::detail::create_string_reader(std::u16string_view(wide).substr(0, std::size_t(end - text.c_str())));
  core::Numeric streamed;
  streamed.fromStream(reader.get());
  check(streamed.compare(narrow) == 0);

  // The canonical text is a fixed point.
  avo::String canonical;
  narrow.toString(canonical);
  core::Numeric again;
  const char* againEnd = nullptr;
  again.fromString(canonical.c_str(), &againEnd);
  check(again.compare(narrow) == 0 && std::size_t(againEnd - canonical.c_str()) == canonical.size());
  check(again.hashCode() == narrow.hashCode());
  char prefix[16];
  const unsigned n = narrow.digits(prefix, sizeof(prefix));
  check(canonical.compare(0, n, prefix) == 0 && (n == canonical.size() || n == sizeof(prefix) - 1));
  return 0;
}
