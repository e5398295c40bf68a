// Hexadecimal and binary literals: any text either gives a number that prints and reads back, or raises
// IllegalArgumentException with its key; nothing else may escape.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "core/Exception.h"
#include "core/Numeric.h"

namespace {

void check(bool ok) {
  if (!ok) std::abort();
}

template <class F>
void run(F&& make, const char* key, const std::u16string& text) {
  try {
    const core::Numeric n = make(avo::WString(text.begin(), text.end()));
    check(n.sign() >= 0 && n.getScale() <= 0);
    avo::String canonical;
    n.toString(canonical);
    core::Numeric back;
    back.fromString(canonical.c_str());
    check(back.compare(n) == 0);
  } catch (const core::IllegalArgumentException& e) {
    check(e.messageKey() == key);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Bytes as code units (so the prefixes are easy to reach), and byte pairs as code units.
  std::u16string bytes(data, data + size);
  std::u16string units(size / 2, u'\0');
  std::memcpy(units.data(), data, units.size() * 2);
  for (const std::u16string* text : {&bytes, &units}) {
    run([](const avo::WString& t) { return core::create_numeric_from_hex_literal_string(t); },
        "IDS_ERR_INVALID_HEX_STRING_FORMAT", *text);
    run([](const avo::WString& t) { return core::create_numeric_from_binary_literal_string(t); },
        "IDS_ERR_INVALID_BINARY_STRING_FORMAT", *text);
  }
  return 0;
}
