// Text conversions of values on arbitrary text: a string value read as a boolean, a number and a date,
// a composite id read from its text form, and a number format applied to any text. Nothing may crash or
// throw; what converts must convert back to an equal value.
//
// The input is taken as UTF-16 code units, two bytes each (little-endian); an odd last byte is dropped.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "core/Numeric.h"
#include "core/Value.h"

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

void convert_string_value(const std::u16string& text) {
  const core::Value value(text);
  bool b = false;
  if (value.getBoolean(b)) check(core::Value(core::get_bool_format()->format(b)).getBoolean(b));

  core::Numeric n(7);
  if (value.getNumeric(n)) {
    core::Numeric back;
    check(core::Value(n.toString()).getNumeric(back) && back.compare(n) == 0);
  } else {
    check(n.isZero());
  }

  core::Date d(2000, 1, 1);
  if (value.getDate(d)) {
    avo::WString shown;
    check(core::Value(d).getString(shown) && shown.size() == 19);
  } else {
    check(d.isEmpty());
  }
}

void read_composite_id(const std::u16string& text) {
  core::CompositeID id;
  if (!core::CompositeID::fromString(text, id)) {
    check(id.empty());
    return;
  }
  core::CompositeID back;
  check(core::CompositeID::fromString(id.toString(), back) && back == id);
  check(id.toString().size() == text.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < size; i += 2) text.push_back(char16_t(data[i] | data[i + 1] << 8));
  convert_string_value(text);
  read_composite_id(text);
  const core::NumericFormat grouped(u',', u' ');
  check(grouped.apply(text).size() >= text.size());
  return 0;
}
