// crontab_parse on arbitrary text: never crashes, never throws, reports errors inside the text, and
// whatever it returns can be searched.
//
// The first byte picks how the rest becomes UTF-16: as raw code units, or byte by byte through a table
// that keeps ASCII and maps the upper half onto characters the parser treats specially (Unicode spaces
// and digits, letters whose case maps onto ASCII, lone surrogates).

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "core/Cron.h"
#include "platform/LocalTime.h"

namespace {

const char16_t kSpecial[] = {u'\u00A0', u'\u3000', u'\u2028', u'\u0085', u'\u0663',        u'\u0966',        u'\uFF11',
                             u'\u0131', u'\u017F', u'\u0130', u'\u212A', char16_t(0xD800), char16_t(0xDC00), u'\uFFFF'};

std::vector<char16_t> decode(const std::uint8_t* data, std::size_t size) {
  std::vector<char16_t> text;
  if (size == 0) return text;
  if (data[0] & 1) {
    for (std::size_t i = 1; i + 1 < size; i += 2) text.push_back(char16_t(data[i] | data[i + 1] << 8));
  } else {
    for (std::size_t i = 1; i < size; ++i) {
      text.push_back(data[i] < 0x80 ? char16_t(data[i]) : kSpecial[data[i] % (sizeof kSpecial / sizeof *kSpecial)]);
    }
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool zoneSet = (core::platform::set_time_zone("America/New_York"), true);
  (void)zoneSet;
  std::vector<char16_t> text = decode(data, size);
  std::size_t length = 0;
  while (length < text.size() && text[length] != 0) ++length;
  text.push_back(0);

  unsigned long long position = 0;
  avo::WString message;
  const core::CrontabPtr tab = core::crontab_parse(text.data(), &position, &message);
  if (!tab) std::abort();
  if (position != ~0ULL) {
    if (position >= length || message.empty() || tab.get()[0].minutes != 0) std::abort();
  } else if (!message.empty()) {
    std::abort();
  }
  for (const core::crontab* e = tab; e->minutes != 0; ++e) {
    if ((e->minutes & ((1ULL << 60) - 1)) == 0 || (e->hours & 0xFFFFFF) == 0 || (e->months & 0xFFF) == 0) {
      std::abort();  // a field that selects nothing in its range
    }
  }
  const long long from = 1767225600 + static_cast<long long>(size % 4096) * 86399;
  const long long next = core::crontab_get_nearest_time(tab, from);
  if (next != core::kCrontabNoTime && next <= from) std::abort();
  return 0;
}
