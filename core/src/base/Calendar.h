#pragma once
// Proleptic Gregorian calendar arithmetic on day numbers, shared by Date and the local-time conversion.
//
// Day numbers count days from 1970-01-01 (day 0); negative numbers are earlier days. The functions are
// exact for every year a 32-bit int can hold (the intermediate values fit in 64 bits), need no tables
// beyond the month lengths, and never fail. Months are 1..12, days 1..31; the callers normalise first.

#include <cstdint>

namespace core::calendar {

inline constexpr long long kSecondsPerDay = 86400;

constexpr bool is_leap_year(long long year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr int days_in_month(long long year, int month) noexcept {
  constexpr int kLengths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && is_leap_year(year) ? 29 : kLengths[month - 1];
}

// The day number of year-month-day. The year is counted from March so that the leap day comes last and
// a 400-year era of 146097 days repeats exactly.
constexpr long long days_from_civil(long long year, int month, int day) noexcept {
  year -= month <= 2;
  const long long era = (year >= 0 ? year : year - 399) / 400;
  const long long yearOfEra = year - era * 400;                                          // 0..399
  const long long dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;  // 0..365
  const long long dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

struct CivilDay {
  long long year;
  int month;
  int day;
};

// The inverse of days_from_civil.
constexpr CivilDay civil_from_days(long long days) noexcept {
  days += 719468;
  const long long era = (days >= 0 ? days : days - 146096) / 146097;
  const long long dayOfEra = days - era * 146097;  // 0..146096
  const long long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const long long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);  // 0..365
  const long long monthIndex = (5 * dayOfYear + 2) / 153;                                      // 0..11
  const int day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
  const int month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
  return {yearOfEra + era * 400 + (month <= 2), month, day};
}

// 0 = Sunday .. 6 = Saturday (day 0, 1970-01-01, was a Thursday).
constexpr int weekday_from_days(long long days) noexcept {
  const long long w = (days + 4) % 7;
  return static_cast<int>(w < 0 ? w + 7 : w);
}

// Floor division and modulo for seconds into days.
constexpr long long floor_div(long long a, long long b) noexcept {
  const long long q = a / b;
  return q - ((a % b != 0) && ((a < 0) != (b < 0)));
}
constexpr long long floor_mod(long long a, long long b) noexcept { return a - floor_div(a, b) * b; }

static_assert(days_from_civil(1970, 1, 1) == 0);
static_assert(days_from_civil(2000, 3, 1) == 11017);
static_assert(civil_from_days(-719162).year == 1 && civil_from_days(-719162).month == 1);
static_assert(weekday_from_days(days_from_civil(2026, 1, 1)) == 4);  // a Thursday

}  // namespace core::calendar
