#pragma once
// Times for `kern cron next`: the text of a time both ways, and the listing of the times a job runs.

#include <string>
#include <string_view>

#include "core/Cron.h"
#include "core/Date.h"

namespace kern::cron {

// No time from this year on is listed.
inline constexpr int kEndYear = 10000;

// A time as written: local fields, and the UTC offset when the text gave one.
struct TimeText {
  core::DateFields fields;
  bool hasOffset = false;
  int offsetSeconds = 0;  // east of UTC
};

// Reads "YYYY-MM-DD HH:MM:SS" or "YYYY-MM-DDTHH:MM:SS", either optionally followed by "Z" or an offset
// "+HH:MM" / "-HH:MM". Returns false, leaving `out` unchanged, for any other text and for a date or
// time that does not exist (2026-02-30, 24:00:00); years 1 to 9999.
bool parse_time(std::string_view text, TimeText& out);

// The instant of a time read by parse_time: with an offset exactly that instant, without one the local
// reading as core::local_fields_to_time takes it (a time in the gap moves forward, a repeated one is
// its first occurrence). Returns false when the instant is out of range.
bool to_instant(const TimeText& time, long long& instant);

// "YYYY-MM-DD HH:MM:SS" in local time, or with `iso` "YYYY-MM-DDTHH:MM:SS+HH:MM" (local time and its
// UTC offset; an offset with seconds, as some zones had before 1900, gets ":SS" too).
std::string format_time(long long instant, bool iso);

// The first time after `time` that the schedule selects and a job polling the library would run at:
// when a search finds nothing it searches again from the last minute of the month where that search
// began, month after month. Returns core::kCrontabNoTime when there is no such time before kEndYear,
// or when forty years of searches found nothing (see CronTimes.cpp).
long long next_run(const core::crontab* tab, long long time);

}  // namespace kern::cron
