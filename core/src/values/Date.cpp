// Dates as seconds since 0001-01-01 00:00:00 in the proleptic Gregorian calendar.
//
// The tick count is the whole representation, so comparison and hashing are those of one integer and
// every field is computed on demand from the day number.

#include "core/Date.h"

#include "base/Calendar.h"
#include "base/SourcePosition.h"
#include "core/Exception.h"

namespace core {

namespace {

using calendar::kSecondsPerDay;

// Day number (days from 1970-01-01) of the empty date.
constexpr long long kFirstDay = calendar::days_from_civil(1, 1, 1);

static_assert(Date::kMaxTicks == (calendar::days_from_civil(10000, 1, 1) - kFirstDay) * kSecondsPerDay - 1);

[[noreturn]] void throw_illegal_argument(int line) {
  throw IllegalArgumentException(KERN83_SOURCE_FILE("Date"), line, ResourceKey{"IDS_ERR_ILLEGAL_ARGUMENT"});
}

}  // namespace

bool is_valid_date(const DateFields& f) noexcept {
  if (f.year < 1 || f.year > 9999 || f.month < 1 || f.month > 12) return false;
  if (f.day < 1 || f.day > calendar::days_in_month(f.year, f.month)) return false;
  return f.hour >= 0 && f.hour < 24 && f.minute >= 0 && f.minute < 60 && f.second >= 0 && f.second < 60;
}

bool make_date(const DateFields& f, Date& out) noexcept {
  if (!is_valid_date(f)) return false;
  const long long days = calendar::days_from_civil(f.year, f.month, f.day) - kFirstDay;
  out = Date::from_ticks(days * kSecondsPerDay + f.hour * 3600LL + f.minute * 60LL + f.second);  // in range
  return true;
}

Date::Date(int year, int month, int day, int hour, int minute, int second)
    : Date(DateFields{year, month, day, hour, minute, second}) {}

Date::Date(const DateFields& fields) {
  if (!make_date(fields, *this)) throw_illegal_argument(__LINE__);
}

Date Date::from_ticks(long long ticks) {
  if (ticks < 0 || ticks > kMaxTicks) throw_illegal_argument(__LINE__);
  return Date(ticks, 0);
}

DateFields Date::getFields() const noexcept {
  const calendar::CivilDay d = calendar::civil_from_days(ticks_ / kSecondsPerDay + kFirstDay);
  const int secondOfDay = static_cast<int>(ticks_ % kSecondsPerDay);
  return {static_cast<int>(d.year), d.month, d.day, secondOfDay / 3600, secondOfDay % 3600 / 60, secondOfDay % 60};
}

int Date::getDayOfWeek() const noexcept { return calendar::weekday_from_days(ticks_ / kSecondsPerDay + kFirstDay); }

}  // namespace core
