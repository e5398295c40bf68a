// Reading schedule text again as the library reads it (core/src/cron/CronParse.cpp does the same cuts).
#include "CronText.h"

#include <unicode/uchar.h>

#include "avo/BasicString.h"

namespace kern::cron {

namespace {

constexpr const char* kFieldNames[] = {"minute", "hour", "day-of-month", "month", "weekday"};

bool is_blank(char16_t c) { return u_isspace(c); }
bool is_separator(char16_t c) { return c == u'\n' || c == u'\r' || c == u';'; }

std::u16string_view trim(std::u16string_view text) {
  while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
  return text;
}

Entry read_entry(std::u16string_view text, std::size_t offset) {
  Entry entry;
  entry.offset = offset;
  std::size_t i = 0;
  while (i < text.size()) {
    if (entry.fields.size() == 5) {
      entry.rest = text.substr(i);
      break;
    }
    const std::size_t start = i;
    while (i < text.size() && !is_blank(text[i])) ++i;
    entry.fields.push_back(text.substr(start, i - start));
    while (i < text.size() && is_blank(text[i])) ++i;
  }
  return entry;
}

// Whether the field parses in the given position of an otherwise all-"*" entry.
bool field_parses(std::u16string_view field, std::size_t position) {
  std::u16string probe;
  for (std::size_t i = 0; i < 5; ++i) {
    if (i != 0) probe += u' ';
    probe += i == position ? field : std::u16string_view(u"*");
  }
  core::CrontabParseError error;
  core::crontab_parse(probe.c_str(), error);
  return error.key == nullptr;
}

std::string quoted(std::u16string_view text) { return '"' + avo::to_std_utf8(text) + '"'; }

}  // namespace

std::vector<Entry> read_entries(std::u16string_view text) {
  std::vector<Entry> entries;
  std::size_t begin = 0;
  while (begin <= text.size()) {
    std::size_t end = begin;
    while (end < text.size() && !is_separator(text[end])) ++end;
    const std::u16string_view piece = text.substr(begin, end - begin);
    const std::u16string_view entry = trim(piece);
    if (!entry.empty()) entries.push_back(read_entry(entry, begin + (entry.data() - piece.data())));
    begin = end + 1;
  }
  return entries;
}

std::string describe_error(std::u16string_view text, const core::CrontabParseError& error) {
  std::string where = "offset " + std::to_string(error.position);
  for (const Entry& entry : read_entries(text)) {
    if (entry.offset != error.position) continue;
    for (std::size_t i = 0; i < entry.fields.size(); ++i) {
      if (!field_parses(entry.fields[i], i)) return where + ": field " + kFieldNames[i] + " " + quoted(entry.fields[i]);
    }
    if (entry.fields.size() < 5) return where + ": field " + kFieldNames[entry.fields.size()] + " missing";
    return where + ": fields day-of-month " + quoted(entry.fields[2]) + " and month " + quoted(entry.fields[3]);
  }
  return where;
}

}  // namespace kern::cron
