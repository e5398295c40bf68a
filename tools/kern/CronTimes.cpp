// Times for `kern cron next`.
//
// Why the listing searches again month by month: one library search gives up after five month, day or
// hour wraps, so it may report no time although a job polling the library would run later. A search
// that starts on the first minute of a month looks at that whole month (a pass ends only when a month
// runs out of matching days), and one that starts inside a month looks at the rest of it, so searching
// again from the last minute of each month misses no time. Searching from the end of each year only
// would miss some: "0 0 31 2,4,6,9,11,12 *" spends its five wraps on the short months and never reaches
// 31 December from 1 January.
//
// Why forty years end the search: which days of a year a schedule selects depends only on whether the
// year is a leap year and on the weekday of 1 January. Every run of 40 consecutive years has all 14
// such calendars (28 years do, unless a century year that is not a leap year, like 2100, lies inside),
// so a schedule that selects nothing in 40 years selects nothing ever. The parser refuses the
// schedules whose days never occur ("0 0 30 2 *"); what is left for the bound is a zone whose clocks
// skip the selected minutes every time ("30 0 29 2 *" where daylight time starts at midnight on
// 29 February), which would otherwise take some 95,000 searches to reach the year 10000.
#include "CronTimes.h"

#include <chrono>
#include <cstdio>

namespace kern::cron {

namespace {

constexpr int kYearsOfEveryCalendar = 40;

// Seconds from 1970-01-01 00:00:00 to the fields read as UTC.
long long utc_seconds(const core::DateFields& f) {
  using namespace std::chrono;
  const sys_days day{year{f.year} / f.month / f.day};
  return day.time_since_epoch().count() * 86400LL + f.hour * 3600LL + f.minute * 60LL + f.second;
}

// The digits of text[at, at + count) as a number, or -1.
int digits(std::string_view text, std::size_t at, std::size_t count) {
  if (at + count > text.size()) return -1;
  int value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    if (text[i] < '0' || text[i] > '9') return -1;
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

bool parse_offset(std::string_view text, int& seconds) {
  if (text == "Z") {
    seconds = 0;
    return true;
  }
  if (text.size() != 6 || (text[0] != '+' && text[0] != '-') || text[3] != ':') return false;
  const int hours = digits(text, 1, 2), minutes = digits(text, 4, 2);
  if (hours < 0 || hours > 23 || minutes < 0 || minutes > 59) return false;
  seconds = (text[0] == '-' ? -1 : 1) * (hours * 3600 + minutes * 60);
  return true;
}

}  // namespace

bool parse_time(std::string_view text, TimeText& out) {
  if (text.size() < 19 || text[4] != '-' || text[7] != '-' || (text[10] != ' ' && text[10] != 'T') || text[13] != ':' ||
      text[16] != ':') {
    return false;
  }
  TimeText time;
  time.fields = {digits(text, 0, 4),  digits(text, 5, 2),  digits(text, 8, 2),
                 digits(text, 11, 2), digits(text, 14, 2), digits(text, 17, 2)};
  if (!core::is_valid_date(time.fields)) return false;  // also refuses the -1 of a non-digit
  if (text.size() > 19) {
    if (!parse_offset(text.substr(19), time.offsetSeconds)) return false;
    time.hasOffset = true;
  }
  out = time;
  return true;
}

bool to_instant(const TimeText& time, long long& instant) {
  if (!time.hasOffset) return core::local_fields_to_time(time.fields, instant);
  instant = utc_seconds(time.fields) - time.offsetSeconds;
  return true;
}

std::string format_time(long long instant, bool iso) {
  core::DateFields f;
  if (!core::time_to_local_fields(instant, f)) return "none";
  char text[48];
  int length = std::snprintf(text, sizeof text, "%04d-%02d-%02d%c%02d:%02d:%02d", f.year, f.month, f.day,
                             iso ? 'T' : ' ', f.hour, f.minute, f.second);
  if (iso) {
    const long long offset = utc_seconds(f) - instant;
    const long long size = offset < 0 ? -offset : offset;
    length += std::snprintf(text + length, sizeof text - length, "%c%02lld:%02lld", offset < 0 ? '-' : '+', size / 3600,
                            size / 60 % 60);
    if (size % 60 != 0) std::snprintf(text + length, sizeof text - length, ":%02lld", size % 60);
  }
  return text;
}

long long next_run(const core::crontab* tab, long long time) {
  core::DateFields first;
  if (!core::time_to_local_fields(time, first)) return core::kCrontabNoTime;
  long long found = core::crontab_get_nearest_time(tab, time);
  for (long long query = time; found == core::kCrontabNoTime;) {
    // The month the failed search began in is that of the minute after its query time.
    core::DateFields began;
    if (!core::time_to_local_fields(query + 60, began)) return core::kCrontabNoTime;
    const core::DateFields nextMonth{began.month == 12 ? began.year + 1 : began.year, began.month % 12 + 1, 1};
    if (nextMonth.year >= kEndYear || nextMonth.year - first.year > kYearsOfEveryCalendar) {
      return core::kCrontabNoTime;
    }
    long long start;
    if (!core::local_fields_to_time(nextMonth, start) || start - 60 <= query) return core::kCrontabNoTime;
    query = start - 60;
    found = core::crontab_get_nearest_time(tab, query);
  }
  core::DateFields f;
  return core::time_to_local_fields(found, f) && f.year < kEndYear ? found : core::kCrontabNoTime;
}

}  // namespace kern::cron
