// Finding the next minute a schedule selects.
//
// Each entry is searched on local calendar fields, normalised after every step through the platform's
// mktime-equivalent conversion, in at most five passes (a failed month, day or hour wrap ends a pass).
// The pass limit is deliberate and kept: callers rely on a rare date far ahead ("0 0 29 2 *" from March
// 2096) being reported as no time rather than paying for a long search.
//
// Speed comes from two shortcuts that give exactly the results of the step-by-step walk:
// - the converter answers in-range fields from its offset table without calling the C library;
// - the walk over days that do not match is done on the calendar in one jump when no change of UTC
//   offset lies on the way (then every skipped normalisation would have been "reading - offset" with
//   the same conversion hint, which is what the jump computes).

#include <climits>

#include "base/Calendar.h"
#include "core/Cron.h"
#include "platform/LocalTime.h"

namespace core {

namespace {

using platform::LocalTime;
using platform::LocalTimeConverter;

constexpr std::uint64_t kMinuteRange = (1ULL << 60) - 1;
constexpr std::uint32_t kHourRange = (1u << 24) - 1;
constexpr std::uint32_t kDayRange = 0x7FFFFFFFu;
constexpr std::uint16_t kMonthRange = 0xFFF;
constexpr std::uint8_t kWeekdayRange = 0x7F;
constexpr int kPasses = 5;

// The lowest set bit of `mask` at or above `from`, or -1.
int next_bit(std::uint64_t mask, int from) noexcept {
  if (from >= 64) return -1;
  const std::uint64_t rest = mask & (~0ULL << from);
  return rest == 0 ? -1 : __builtin_ctzll(rest);
}

class EntrySearch {
 public:
  EntrySearch(const crontab& entry, LocalTimeConverter& converter)
      : minutes_(entry.minutes & kMinuteRange),
        hours_(entry.hours & kHourRange),
        days_(entry.days_of_month & kDayRange),
        months_(entry.months & kMonthRange),
        weekdays_(entry.days_of_week & kWeekdayRange),
        converter_(converter) {}

  long long run(const LocalTime& start) noexcept {
    f_ = start;
    f_.second = 0;
    converter_.setHint(start.utcOffset);
    for (int pass = 0; pass < kPasses; ++pass) {
      if (f_.year > INT_MAX - 2) return kCrontabNoTime;
      if (!(months_ >> (f_.month - 1) & 1)) {
        f_.day = 1;
        f_.hour = f_.minute = 0;
        int month = next_bit(months_, f_.month);
        if (month < 0) {
          ++f_.year;
          month = next_bit(months_, 0);
        }
        f_.month = month + 1;
        if (!normalise()) return kCrontabNoTime;
      }
      bool sameMonth;
      if (!dayStep(sameMonth)) return kCrontabNoTime;
      if (!sameMonth) continue;
      const int hour = next_bit(hours_, f_.hour);
      if (hour < 0) {
        if (!nextDay()) return kCrontabNoTime;
        continue;
      }
      if (hour != f_.hour) {
        f_.hour = hour;
        f_.minute = 0;
      }
      const int minute = next_bit(minutes_, f_.minute);
      if (minute >= 0) {
        f_.minute = minute;
        return normalise() ? time_ : kCrontabNoTime;
      }
      f_.minute = f_.second = 0;
      ++f_.hour;
      if (!normalise()) return kCrontabNoTime;
    }
    return kCrontabNoTime;
  }

 private:
  bool normalise() noexcept { return converter_.toTime(f_, time_); }

  bool nextDay() noexcept {
    ++f_.day;
    f_.hour = f_.minute = 0;
    return normalise();
  }

  bool dayMatches() const noexcept { return (days_ >> (f_.day - 1) & 1) || (weekdays_ >> f_.weekday & 1); }

  // Moves to the first matching day from the current one on, at 00:00 when it moved; `sameMonth` is
  // false when the month ran out first (then the fields are the 1st of the next month).
  bool dayStep(bool& sameMonth) noexcept {
    sameMonth = true;
    if (dayMatches()) return true;
    if (jumpDays(sameMonth)) return true;
    while (!dayMatches()) {
      const int month = f_.month;
      if (!nextDay()) return false;
      if (f_.month != month) {
        sameMonth = false;
        return true;
      }
    }
    return true;
  }

  // The day walk in one step, when no change of offset lies between tomorrow 00:00 and the target.
  bool jumpDays(bool& sameMonth) noexcept {
    int offset;
    if (!converter_.getHint(offset)) return false;
    const int length = calendar::days_in_month(f_.year, f_.month);
    const int firstWeekday = static_cast<int>(calendar::floor_mod(f_.weekday - (f_.day - 1), 7));
    std::uint32_t byWeekday = (weekdays_ >> firstWeekday | weekdays_ << (7 - firstWeekday)) & kWeekdayRange;
    byWeekday |= byWeekday << 7 | byWeekday << 14 | byWeekday << 21 | byWeekday << 28;
    const std::uint32_t ahead = (length == 32 ? ~0u : (1u << length) - 1) & ~((1u << f_.day) - 1);
    const std::uint32_t candidates = (days_ | byWeekday) & ahead;
    const long long today = calendar::days_from_civil(f_.year, f_.month, f_.day);
    const int target = candidates != 0 ? __builtin_ctz(candidates) + 1 : length + 1;
    const long long first = (today + 1) * calendar::kSecondsPerDay - offset;
    const long long last = (today + target - f_.day) * calendar::kSecondsPerDay - offset;
    if (!converter_.hasUniformOffset(first, last, offset)) return false;
    if (!converter_.toLocal(last, f_)) return false;
    time_ = last;
    sameMonth = candidates != 0;
    return true;
  }

  const std::uint64_t minutes_;
  const std::uint32_t hours_;
  const std::uint32_t days_;
  const std::uint16_t months_;
  const std::uint8_t weekdays_;
  LocalTimeConverter& converter_;
  LocalTime f_;
  long long time_ = 0;
};

long long nearest(const crontab* tab, long long time, LocalTimeConverter& converter) noexcept {
  if (tab == nullptr || tab[0].minutes == 0 || time > LLONG_MAX - 60) return kCrontabNoTime;
  LocalTime start;
  if (!converter.toLocal(time + 60, start)) return kCrontabNoTime;
  long long best = kCrontabNoTime;
  for (const crontab* e = tab; e->minutes != 0; ++e) {
    const long long found = EntrySearch(*e, converter).run(start);
    if (found < best) best = found;
  }
  return best;
}

}  // namespace

long long crontab_get_nearest_time(const crontab* tab, long long time) noexcept {
  LocalTimeConverter converter;
  return nearest(tab, time, converter);
}

Date crontab_get_nearest_time(const crontab* tab, const Date& date) noexcept {
  LocalTimeConverter converter;
  const DateFields d = date.getFields();
  long long time = 0;
  if (d.year >= 1970) {
    LocalTime f;
    f.year = d.year;
    f.month = d.month;
    f.day = d.day;
    f.hour = d.hour;
    f.minute = d.minute;
    f.second = d.second;
    if (!converter.toTime(f, time)) time = 0;
  }
  const long long found = nearest(tab, time, converter);
  LocalTime f;
  Date result;
  if (found == kCrontabNoTime || !converter.toLocal(found, f) ||
      !make_date({f.year, f.month, f.day, f.hour, f.minute, 0}, result)) {
    return Date::max();
  }
  return result;
}

}  // namespace core
