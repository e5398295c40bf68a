#pragma once
// Schedule text as `kern cron` shows it to people: the entries and fields the library reads, the text
// it ignores, and which field an error lies in. The library reports only the failing entry's offset and
// a message key, so the tool reads the text again the way core/Cron.h describes it.

#include <string>
#include <string_view>
#include <vector>

#include "core/Cron.h"

namespace kern::cron {

// One entry of a schedule: where it starts (in UTF-16 code units, as the library counts) and its
// fields, the runs of non-blank characters. Blanks are what ICU's u_isspace calls space, as in the
// library.
struct Entry {
  std::size_t offset = 0;
  std::vector<std::u16string_view> fields;
  std::u16string_view rest;  // the text after the fifth field (empty when there is none)
};

// The entries of `text` as the library cuts them: at line feeds, carriage returns and ";", trimmed,
// empty ones skipped. The views point into `text`.
std::vector<Entry> read_entries(std::u16string_view text);

// Where a failed parse went wrong, for a message: "offset 10: field minute "bad"",
// "offset 2: field weekday missing" or "offset 0: fields day-of-month "30" and month "2"". Finds the
// field by parsing each of the entry's fields alone in a schedule of "*" fields.
std::string describe_error(std::u16string_view text, const core::CrontabParseError& error);

}  // namespace kern::cron
