#pragma once
// Cron schedules: when a background job runs.
//
// A schedule is text of one or more entries, separated by line breaks or ";". An entry has five fields
// separated by whitespace: minutes (0-59), hours (0-23), days of the month (1-31), months (1-12 or
// Jan..Dec) and days of the week (0-7 or Sun..Sat; 0 and 7 are both Sunday). A field is "*" or a list
// of values and ranges ("1,5,10-20", "Mon-Fri"), optionally thinned by a step ("*/15", "1-10/3"). When
// both day fields are restricted a day matches if either matches. Times are whole minutes in the local
// time of the machine.
//
//     unsigned long long at = 0;
//     avo::WString why;
//     core::CrontabPtr tab = core::crontab_parse(u"0 9 * * Mon-Fri; 30 12 * * Sat", &at, &why);
//     long long next = core::crontab_get_nearest_time(tab, now);  // the first matching minute after now
//
// A text that does not parse gives the empty schedule (it never matches), the offset of the failing
// entry and the message, or its resource key for callers that print or translate it themselves;
// nothing is thrown.
//
// Thread safety: a parsed crontab is immutable; any number of threads may search it at once. CrontabPtr
// copies share the array through an atomic reference count.

#include <cstdint>
#include <memory>

#include "avo/BasicString.h"
#include "core/Date.h"
#include "core/Export.h"

namespace core {

// One entry of a compiled schedule. Bit i of a mask selects minute i, hour i, day of the month i + 1,
// month i + 1 (January = bit 0) or weekday i (Sunday = 0 .. Saturday = 6; bit 7 is Sunday written as 7).
// A field written as "*" has every bit of its mask set, also those past the field's range. A compiled
// schedule is an array of entries ended by an entry whose masks are all zero (a real entry always has
// a minute).
//
// Day fields are reconciled after parsing: a "*" day of the month beside a restricted weekday becomes 0
// (only the weekday decides) and a "*" weekday beside a restricted day of the month becomes 0; with both
// restricted, a weekday mask holding bit 7 gets bit 0 too. "All bits set" is what counts as "*", so the
// weekday "0-7" is "*" while the day of the month "1-31" is a restriction.
struct crontab {
  // The masks of the five fields, in the order of the text.
  std::uint64_t minutes;
  std::uint32_t hours;
  std::uint32_t days_of_month;
  std::uint16_t months;
  std::uint8_t days_of_week;
};

// Shared owner of a compiled schedule (the array of entries and its terminator). Copyable and movable;
// get() and the conversion give the array; an empty pointer is no schedule at all, which every search
// treats as the empty schedule.
class CrontabPtr : public std::shared_ptr<crontab> {
 public:
  using std::shared_ptr<crontab>::shared_ptr;
  // No schedule, or the array `p` owns.
  CrontabPtr() noexcept = default;
  CrontabPtr(std::shared_ptr<crontab> p) noexcept : std::shared_ptr<crontab>(std::move(p)) {}  // NOLINT

  // The array (borrowed), for the search functions; null for no schedule.
  operator crontab*() const noexcept { return get(); }  // NOLINT(google-explicit-constructor)
};

// Compiles a schedule (a zero-terminated text; null is the empty text).
// Returns the compiled entries; a text with no entries gives a schedule of the terminator alone.
// `errorPosition` (may be null) is set to all ones first; when an entry does not parse, parsing stops,
// the result is the empty schedule (the terminator alone), `errorPosition` is the offset (in UTF-16 code
// units) of the failing entry's first character and `errorText` (may be null) its message in the
// calling thread's language. The message keys: "IDS_CRONPARSE_VALUE_EXPECTED",
// "IDS_CRONPARSE_INVALID_VALUE", "IDS_CRONPARSE_OUT_OF_RANGE", "IDS_CRONPARSE_INVALID_RANGE",
// "IDS_CRONPARSE_UNEXPECTED_CHARACTER", "IDS_CRONPARSE_NONEXISTENT_DATE". Never throws.
KERN83_API CrontabPtr crontab_parse(const char16_t* text, unsigned long long* errorPosition = nullptr,
                                    avo::WString* errorText = nullptr) noexcept;
// The same for a string (up to its first zero code unit, like the text overload).
KERN83_API CrontabPtr crontab_parse(const avo::WString& text, unsigned long long* errorPosition = nullptr,
                                    avo::WString* errorText = nullptr) noexcept;

// Why a schedule text did not parse.
struct CrontabParseError {
  // The offset (in UTF-16 code units) of the failing entry's first character; all ones when it parsed.
  unsigned long long position = ~0ULL;
  // The message's resource key, one of the "IDS_CRONPARSE_..." keys above (resource_string in
  // core/Resources.h gives its text); null when the text parsed. A literal: valid for the whole run.
  const char* key = nullptr;
};

// crontab_parse reporting the failure as a position and a resource key instead of a message. `error`
// is overwritten on every call, also on success. Never throws.
KERN83_API CrontabPtr crontab_parse(const char16_t* text, CrontabParseError& error) noexcept;

// The result of crontab_get_nearest_time when the schedule selects no time.
inline constexpr long long kCrontabNoTime = 9223372036854775807LL;

// The first minute after the minute of `time` that the schedule selects, in seconds since
// 1970-01-01 00:00:00 UTC (the query minute itself never matches). Each entry is searched in local
// time through at most five month/day/hour wraps; an entry whose match lies further away yields
// nothing, so a rare date far ahead ("0 0 29 2 *" from March 2096) is reported as no time.
// Returns kCrontabNoTime for the empty schedule, a null pointer, or no match. Never throws.
KERN83_API long long crontab_get_nearest_time(const crontab* tab, long long time) noexcept;

// The same on dates read as local time: a date from 1970 on is converted to an instant (0 when it
// cannot be), an earlier one searches from 0. Returns the found minute (seconds 0), or Date::max() when
// there is none or it lies beyond the last date. Never throws.
KERN83_API Date crontab_get_nearest_time(const crontab* tab, const Date& date) noexcept;

}  // namespace core
