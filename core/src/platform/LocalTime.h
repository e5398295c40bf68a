#pragma once
// The machine's local time: instants (seconds since 1970-01-01 00:00:00 UTC) to and from local calendar
// fields, with the results of the C library's localtime_r and mktime (tm_isdst = -1).
//
// mktime normalises: fields out of their range carry into the next unit (minute 60 is the next hour,
// day 32 of January is 1 February), a reading inside a daylight-saving gap moves by the size of the gap,
// and a reading that occurs twice (the repeated hour when clocks go back) resolves to one of its two
// instants. Which one depends on the probe mktime starts from: glibc starts from the UTC offset its
// previous call ended with. LocalTimeConverter keeps that hint per converter instead of per process, so
// a sequence of conversions on one converter gives exactly what the same sequence of mktime calls gives
// when mktime's previous call ended with the converter's starting hint.
//
// Speed: each time zone gets a lazily built table of its UTC offsets (blocks of about 12 days, filled
// by sampling localtime_r every hour and bisecting each change to the second), so a conversion costs a
// table lookup and calendar arithmetic instead of a C library call. The table assumes two changes of
// offset are at least an hour apart (tzdata's closest pair is days apart). Zones whose local fields are
// not "instant + offset" (leap-second "right/" zones) and instants outside the years -200..10600 use the
// C library directly; the results are the same, only slower.
//
// The zone is the C library's: the TZ environment variable, else the system default. Every converter
// reads TZ when it is made (as mktime does on every call) and calls tzset when it changed, so a zone
// switched with set_time_zone or with setenv("TZ") is picked up by the next converter. Changing TZ
// while another thread converts is as unsafe as it is for the C library.
//
// Thread safety: converters are per thread (cheap to make); the shared offset tables are filled under a
// lock and read without one.

#include <optional>
#include <string>

namespace core::platform {

// Local calendar fields. As input to a conversion any values are allowed (they carry); as output they
// are in range: month 1..12, day 1..31, hour 0..23, minute 0..59, second 0..60 (60 only in leap-second
// zones).
struct LocalTime {
  int year = 1970;
  int month = 1;
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int weekday = 4;              // output: 0 = Sunday .. 6 = Saturday
  int utcOffset = 0;            // output: seconds east of UTC
  bool daylightSaving = false;  // output: the zone reports daylight-saving time
};

class LocalTimeConverter {
 public:
  // Binds to the process's current time zone (reads TZ; calls tzset if it changed since the last look).
  LocalTimeConverter() noexcept;

  // localtime_r: the local fields of `time`. False when the local year does not fit an int.
  bool toLocal(long long time, LocalTime& out) noexcept;

  // mktime with tm_isdst = -1: the instant of `fields` (any values), which are replaced by the
  // normalised fields. False (fields unchanged) when the result is out of range.
  // The first call of a converter without setHint starts from the offset in force one day before the
  // reading, so an ambiguous reading resolves to its first occurrence and a reading in a gap moves
  // forward; later calls continue from where the previous one ended, as mktime does.
  bool toTime(LocalTime& fields, long long& time) noexcept;

  // Makes the next toTime start from `utcOffset` (seconds east of UTC), as if mktime's previous call had
  // ended at an instant with that offset.
  void setHint(int utcOffset) noexcept {
    guess_ = -static_cast<long long>(utcOffset);
    haveGuess_ = true;
  }

  // The offset the next toTime starts from; false before the first toTime or setHint.
  bool getHint(int& utcOffset) const noexcept {
    utcOffset = static_cast<int>(-guess_);
    return haveGuess_;
  }

  // True when every instant of [from, to] has the UTC offset `utcOffset` (no change of offset within).
  // May answer false when it cannot tell cheaply (outside the tables).
  bool hasUniformOffset(long long from, long long to, int utcOffset) noexcept;

 private:
  bool answerFromTable(LocalTime& fields, long long wanted, long long& time) noexcept;

  void* zone_;
  long long guess_ = 0;  // mktime's first probe is (local reading as if UTC) + guess_
  bool haveGuess_ = false;
};

// One-off conversions on a fresh converter.
bool local_time(long long time, LocalTime& out) noexcept;
bool make_time(LocalTime& fields, long long& time) noexcept;

// The process's time zone: sets (or, for null, unsets) TZ and calls tzset. Tests switch zones with it.
void set_time_zone(const char* tz);
// The TZ value, or nothing when TZ is unset.
std::optional<std::string> get_time_zone();

// Switches the process's time zone for a scope and restores the previous TZ at its end.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* tz) : previous_(get_time_zone()) { set_time_zone(tz); }
  ~ScopedTimeZone() { set_time_zone(previous_ ? previous_->c_str() : nullptr); }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  std::optional<std::string> previous_;
};

}  // namespace core::platform
