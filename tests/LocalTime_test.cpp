// The cached local-time conversion against the C library it stands for.

#include "platform/LocalTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <vector>

#include "TestSupport.h"

namespace {

using core::platform::LocalTime;
using core::platform::LocalTimeConverter;
using core::platform::ScopedTimeZone;
using testing_support::c_local_time;

#if defined(_WIN32)
// The C runtime's zones: a standard offset, and with a daylight-saving name the US rules.
const char* const kZones[] = {testing_support::kMoscow, testing_support::kNewYork, "CET-1CEST", "NZST-12NZDT", "UTC"};
#else
const char* const kZones[] = {"Europe/Moscow", "America/New_York", "Australia/Lord_Howe", "Pacific/Apia",
                              "Europe/London"};
#endif

[[maybe_unused]] std::tm to_tm(const LocalTime& f) {  // for the comparison with glibc's mktime
  std::tm tm{};
  tm.tm_year = f.year - 1900;
  tm.tm_mon = f.month - 1;
  tm.tm_mday = f.day;
  tm.tm_hour = f.hour;
  tm.tm_min = f.minute;
  tm.tm_sec = f.second;
  tm.tm_isdst = -1;
  return tm;
}

void expect_same(const LocalTime& f, const std::tm& tm, long utcOffset) {
  EXPECT_EQ(f.year, tm.tm_year + 1900);
  EXPECT_EQ(f.month, tm.tm_mon + 1);
  EXPECT_EQ(f.day, tm.tm_mday);
  EXPECT_EQ(f.hour, tm.tm_hour);
  EXPECT_EQ(f.minute, tm.tm_min);
  EXPECT_EQ(f.second, tm.tm_sec);
  EXPECT_EQ(f.weekday, tm.tm_wday);
  EXPECT_EQ(f.utcOffset, utcOffset);
  EXPECT_EQ(f.daylightSaving, tm.tm_isdst > 0);
}

// Instants where the offset changes, found by an hourly scan with the C library.
// Where the C library has no answer, the scan goes on from where it has one.
std::vector<long long> transitions(long long from, long long to) {
  std::vector<long long> out;
  std::tm tm;
  long offset = 0, at = 0;
  long long t = from;
  while (t < to && !c_local_time(t, tm, offset)) t += 3600;
  for (t += 3600; t < to; t += 3600) {
    if (!c_local_time(t, tm, at)) continue;
    if (at != offset) {
      long long a = t - 3600, b = t;
      while (b - a > 1) {
        const long long m = a + (b - a) / 2;
        c_local_time(m, tm, at);
        (at == offset ? a : b) = m;
      }
      out.push_back(b);
      c_local_time(t, tm, offset);
    }
  }
  return out;
}

TEST(LocalTimeTest, BreakDownMatchesLocaltimeEverywhere) {
  std::mt19937_64 rng(11);
  for (const char* zone : kZones) {
    SCOPED_TRACE(zone);
    ScopedTimeZone tz(zone);
    std::vector<long long> instants;
    std::uniform_int_distribution<long long> any(-4000000000LL, 7000000000LL);  // 1843 .. 2191
    for (int i = 0; i < 5000; ++i) instants.push_back(any(rng));
    for (long long t : transitions(-2500000000LL, 2500000000LL)) {
      for (long long d : {-3601LL, -1LL, 0LL, 1LL, 1799LL, 3600LL}) instants.push_back(t + d);
    }
    instants.push_back(-62135596800LL);  // 0001-01-01 UTC
    instants.push_back(253402300799LL);  // 9999-12-31 23:59:59 UTC
    LocalTimeConverter converter;
    for (long long t : instants) {
      SCOPED_TRACE(t);
      LocalTime f;
      ASSERT_TRUE(converter.toLocal(t, f));
      std::tm tm;
      long offset = 0;
      if (!c_local_time(t, tm, offset)) continue;
      expect_same(f, tm, offset);
      if (HasFailure()) return;
    }
  }
}

// Sequences of readings (ordinary ones, ones in gaps and repeats, ones with fields out of range) give
// what the same sequence of mktime calls gives once mktime starts from the converter's hint.
TEST(LocalTimeTest, NormalisingMatchesMktimeIncludingGapsAndRepeats) {
#if defined(_WIN32)
  GTEST_SKIP() << "compares with glibc's mktime, whose probing the converter reproduces on every system; the "
                  "Windows C runtime's _mktime64 resolves gaps and repeats its own way";
#else
  using testing_support::prime_mktime;
  std::mt19937_64 rng(5);
  for (const char* zone : kZones) {
    SCOPED_TRACE(zone);
    ScopedTimeZone tz(zone);
    std::vector<LocalTime> readings;
    std::uniform_int_distribution<long long> any(-2500000000LL, 4000000000LL);
    for (int i = 0; i < 3000; ++i) {
      LocalTime f;
      core::platform::local_time(any(rng), f);
      readings.push_back(f);
      f.month += int(rng() % 40) - 15;
      f.day += int(rng() % 100) - 40;
      f.hour += int(rng() % 80) - 30;
      f.minute += int(rng() % 200) - 80;
      f.second += int(rng() % 200) - 80;
      readings.push_back(f);
    }
    for (long long t : transitions(-1500000000LL, 2500000000LL)) {
      LocalTime before;
      core::platform::local_time(t - 1, before);
      for (int k = -6; k <= 6; ++k) {
        // Wall-clock readings around the change, taken with the offset from before it: some fall into
        // the gap or the repeat.
        LocalTime f;
        core::platform::local_time(t - 1 + k * 900, f);
        f.minute += (before.utcOffset - f.utcOffset) / 60;
        readings.push_back(f);
      }
    }
    for (std::size_t start = 0; start < readings.size(); start += 16) {
      LocalTimeConverter converter;
      long long anchor;
      LocalTime copy = readings[start];
      ASSERT_TRUE(LocalTimeConverter().toTime(copy, anchor));
      converter.setHint(copy.utcOffset);
      prime_mktime(anchor, copy.utcOffset);
      for (std::size_t i = start; i < std::min(readings.size(), start + 16); ++i) {
        LocalTime f = readings[i];
        SCOPED_TRACE(testing::Message() << "reading " << f.year << "-" << f.month << "-" << f.day << " " << f.hour
                                        << ":" << f.minute << ":" << f.second);
        std::tm tm = to_tm(f);
        const std::time_t expected = std::mktime(&tm);
        long long got;
        ASSERT_TRUE(converter.toTime(f, got));
        ASSERT_EQ(got, expected);
        expect_same(f, tm, tm.tm_gmtoff);
        if (HasFailure()) return;
      }
    }
  }
#endif
}

// With no hint, a reading in a repeat resolves to its first occurrence and one in a gap moves forward.
TEST(LocalTimeTest, FirstConversionPrefersTheOffsetFromTheDayBefore) {
  ScopedTimeZone tz(testing_support::kNewYork);
  struct Case {
    LocalTime reading;
    long long expected;
  } cases[] = {
      {{2026, 11, 1, 1, 30}, 1793511000},  // 01:30 EDT, not 01:30 EST
      {{2026, 3, 8, 2, 30}, 1772955000},   // no 02:30 that day: 03:30 EDT
      {{2026, 1, 1, 0, 0}, 1767243600},
  };
  for (Case& c : cases) {
    long long t;
    ASSERT_TRUE(core::platform::make_time(c.reading, t));
    EXPECT_EQ(t, c.expected);
  }
}

TEST(LocalTimeTest, ZoneChangesArePickedUpWithOrWithoutTheSeam) {
  ScopedTimeZone tz(testing_support::kMoscow);
  LocalTime f;
  ASSERT_TRUE(core::platform::local_time(0, f));
  EXPECT_EQ(f.hour, 3);
  // Behind the library's back, as mktime allows.
#if defined(_WIN32)
  _putenv_s("TZ", testing_support::kNewYork);
#else
  setenv("TZ", "America/New_York", 1);
#endif
  ASSERT_TRUE(core::platform::local_time(0, f));
  EXPECT_EQ(f.hour, 19);
  EXPECT_EQ(f.utcOffset, -18000);
  core::platform::set_time_zone("UTC");
  ASSERT_TRUE(core::platform::local_time(0, f));
  EXPECT_EQ(f.hour, 0);
  EXPECT_EQ(*core::platform::get_time_zone(), "UTC");
}

}  // namespace
