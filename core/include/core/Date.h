#pragma once
// Dates: a calendar date and a time of day to the second, with no time zone attached.
//
// A Date is what a wall clock and a calendar read: year, month, day, hour, minute, second in the
// proleptic Gregorian calendar (the Gregorian rules applied to every year back to year 1). Its range is
// 0001-01-01 00:00:00 (the empty date) to 9999-12-31 23:59:59 (the largest date). Which zone a date is
// read in is the caller's business; core::crontab_get_nearest_time, for one, reads it as the machine's
// local time.
//
//     core::Date d(2026, 2, 28, 9, 30);         // 2026-02-28 09:30:00; throws on a bad field
//     core::Date next = core::Date::from_ticks(d.getTicks() + 86400);   // 2026-03-01 09:30:00
//     core::DateFields f = next.getFields();    // f.month == 3, f.day == 1
//     core::Date out;
//     core::make_date({2026, 2, 29}, out);      // false: 2026 is not a leap year; out is unchanged
//
// Local readings and instants (seconds since 1970-01-01 00:00:00 UTC) convert both ways in the process's
// time zone:
//
//     long long at;
//     core::local_fields_to_time({2026, 3, 8, 2, 30}, at);  // TZ=America/New_York: 03:30 EDT, the gap skipped
//     core::DateFields back;
//     core::time_to_local_fields(at, back);                 // back.hour == 3, back.minute == 30
//
// Tick count: seconds since 0001-01-01 00:00:00 (so the empty date is tick 0 and the largest date is
// kMaxTicks = 315537897599). Dates compare by their tick count.
//
// Thread safety: a Date is a plain value; concurrent reads are safe, writes need the caller's lock.

#include <compare>

#include "core/Export.h"

namespace core {

// The fields of a date, each in its natural unit: month 1..12, day 1..31, hour 0..23, minute 0..59,
// second 0..59. The defaults are those of the empty date.
struct DateFields {
  int year = 1;    // 1..9999 for a valid date
  int month = 1;   // 1..12
  int day = 1;     // 1..31
  int hour = 0;    // 0..23
  int minute = 0;  // 0..59
  int second = 0;  // 0..59

  // Field by field.
  friend bool operator==(const DateFields&, const DateFields&) = default;
};

class Date;

// Whether every field is in its range and the day exists in that month and year (years 1..9999).
KERN83_API bool is_valid_date(const DateFields& fields) noexcept;
// Stores the date with these fields in `out` and returns true; on invalid fields returns false and
// leaves `out` unchanged. Never throws.
KERN83_API bool make_date(const DateFields& fields, Date& out) noexcept;

// ---- Local time: fields as the machine's clock reads them in the process's time zone (the TZ
// environment variable, else the system default; looked up on every call, so a zone switched with
// setenv("TZ") applies to the next call). Instants are seconds since 1970-01-01 00:00:00 UTC, the times
// core/Cron.h works with. Both functions may be called from any thread; changing TZ while another
// thread converts is as unsafe as it is for the C library.

// The local fields of the instant `time`, as localtime_r gives them. Returns true and stores them in
// `out`; returns false, leaving `out` unchanged, when the local year does not fit an int. The year may
// lie outside a Date's range (is_valid_date tells), and `second` is 60 during a leap second in zones
// that count them ("right/..."). Never throws.
KERN83_API bool time_to_local_fields(long long time, DateFields& out) noexcept;

// The instant of the local reading `fields`, as mktime gives it with tm_isdst = -1. The fields need not
// be in range: they carry into the next unit (minute 60 is the next hour, 32 January is 1 February,
// month 0 is December of the year before). A reading inside a daylight-saving gap moves forward by the
// size of the gap (02:30 on the night clocks jump from 02:00 to 03:00 is 03:30), and a reading that
// occurs twice (the repeated hour when clocks go back) is its first occurrence. Returns true and
// stores the instant in `time`; returns false, leaving `time` unchanged, when the result is out of
// range. Never throws.
KERN83_API bool local_fields_to_time(const DateFields& fields, long long& time) noexcept;

// A calendar date with a time of day to the second; see the top of this file. A value type.
class KERN83_API Date {
 public:
  // Seconds from the empty date to the largest date (9999-12-31 23:59:59).
  static constexpr long long kMaxTicks = 315537897599LL;

  // The empty date, 0001-01-01 00:00:00.
  constexpr Date() noexcept = default;
  // The date with these fields. Throws IllegalArgumentException ("IDS_ERR_ILLEGAL_ARGUMENT") when a
  // field is outside its range or the day does not exist in that month (29 February of a common year).
  Date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0);
  explicit Date(const DateFields& fields);

  // The date `ticks` seconds after the empty date. Throws IllegalArgumentException when ticks is
  // outside 0..kMaxTicks.
  static Date from_ticks(long long ticks);
  // The largest date, 9999-12-31 23:59:59.
  static constexpr Date max() noexcept { return Date(kMaxTicks, 0); }

  // Seconds since the empty date.
  constexpr long long getTicks() const noexcept { return ticks_; }
  // Whether this is the empty date (tick count 0).
  constexpr bool isEmpty() const noexcept { return ticks_ == 0; }

  // The fields, all at once or one at a time.
  DateFields getFields() const noexcept;
  int getYear() const noexcept { return getFields().year; }
  int getMonth() const noexcept { return getFields().month; }
  int getDay() const noexcept { return getFields().day; }
  int getHour() const noexcept { return static_cast<int>(ticks_ % 86400 / 3600); }
  int getMinute() const noexcept { return static_cast<int>(ticks_ % 3600 / 60); }
  int getSecond() const noexcept { return static_cast<int>(ticks_ % 60); }
  // 0 = Sunday .. 6 = Saturday.
  int getDayOfWeek() const noexcept;

  // Earlier dates are less.
  friend constexpr bool operator==(const Date&, const Date&) noexcept = default;
  friend constexpr std::strong_ordering operator<=>(const Date&, const Date&) noexcept = default;

 private:
  constexpr Date(long long ticks, int) noexcept : ticks_(ticks) {}

  long long ticks_ = 0;
};

}  // namespace core
