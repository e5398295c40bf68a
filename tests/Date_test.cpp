#include "core/Date.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <random>

#include "TestSupport.h"
#include "core/Exception.h"
#include "platform/LocalTime.h"

namespace {

using core::Date;
using core::DateFields;

TEST(DateTest, EmptyAndLargestDatesAreTheEndsOfTheTickRange) {
  EXPECT_EQ(Date().getTicks(), 0);
  EXPECT_TRUE(Date().isEmpty());
  EXPECT_EQ(Date().getFields(), (DateFields{1, 1, 1, 0, 0, 0}));
  EXPECT_EQ(Date(1, 1, 1), Date());
  EXPECT_EQ(Date::max().getFields(), (DateFields{9999, 12, 31, 23, 59, 59}));
  EXPECT_EQ(Date(9999, 12, 31, 23, 59, 59), Date::max());
  EXPECT_EQ(Date::max().getTicks(), Date::kMaxTicks);
  EXPECT_EQ(Date(1970, 1, 1).getTicks(), 62135596800LL);
  EXPECT_EQ(Date(1, 1, 1).getDayOfWeek(), 1);     // a Monday in the proleptic calendar
  EXPECT_EQ(Date(2026, 1, 1).getDayOfWeek(), 4);  // a Thursday
}

// Walks every day of the range with the plain month-length rule and checks both directions of the
// conversion against it. The ticks grow with the calendar, so the order of dates (their ticks) follows it.
TEST(DateTest, EveryDayMatchesASimpleCalendarWalk) {
  int year = 1, month = 1, day = 1;
  const auto monthLength = [](int y, int m) {
    static const int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
    return m == 2 && leap ? 29 : lengths[m - 1];
  };
  for (long long index = 0; year < 10000; ++index) {
    const long long ticks = index * 86400 + (index % 86400);  // a different time of day each day
    Date d;
    ASSERT_TRUE(
        core::make_date({year, month, day, int(index % 86400 / 3600), int(index % 3600 / 60), int(index % 60)}, d));
    ASSERT_EQ(d.getTicks(), ticks) << year << "-" << month << "-" << day;
    ASSERT_EQ(Date::from_ticks(ticks).getFields(),
              (DateFields{year, month, day, int(index % 86400 / 3600), int(index % 3600 / 60), int(index % 60)}));
    ASSERT_EQ(d.getDayOfWeek(), int((index + 1) % 7));
    if (++day > monthLength(year, month)) {
      day = 1;
      if (++month > 12) month = 1, ++year;
    }
  }
}

TEST(DateTest, InvalidFieldsThrowOrReturnFalseAndLeaveTheTargetAlone) {
  const DateFields invalid[] = {
      {0, 1, 1},        {10000, 1, 1},       {2026, 0, 1},           {2026, 13, 1},          {2026, 1, 0},
      {2026, 1, 32},    {2026, 4, 31},       {2023, 2, 29},          {1900, 2, 29},          {2026, 1, 1, 24, 0, 0},
      {2026, 1, 1, -1}, {2026, 1, 1, 0, 60}, {2026, 1, 1, 0, 0, 60}, {2026, 1, 1, 0, 0, -1},
  };
  for (const DateFields& f : invalid) {
    SCOPED_TRACE(testing::Message() << f.year << "-" << f.month << "-" << f.day << " " << f.hour << ":" << f.minute
                                    << ":" << f.second);
    EXPECT_FALSE(core::is_valid_date(f));
    Date out(2020, 5, 5);
    EXPECT_FALSE(core::make_date(f, out));
    EXPECT_EQ(out, Date(2020, 5, 5));
    try {
      Date d(f);
      ADD_FAILURE() << "constructed " << d.getTicks();
    } catch (const core::IllegalArgumentException& e) {
      EXPECT_EQ(e.messageKey(), "IDS_ERR_ILLEGAL_ARGUMENT");
      EXPECT_EQ(e.sourceFile(), "core/src/Date");
    }
  }
  EXPECT_TRUE(core::is_valid_date({2000, 2, 29}));
  EXPECT_TRUE(core::is_valid_date({2024, 2, 29, 23, 59, 59}));
  EXPECT_THROW(Date::from_ticks(-1), core::IllegalArgumentException);
  EXPECT_THROW(Date::from_ticks(Date::kMaxTicks + 1), core::IllegalArgumentException);
}

// ---- Local time ------------------------------------------------------------------------------------------

using core::platform::ScopedTimeZone;

// The fields agree with localtime_r, and a reading converts back to an instant with the same reading: the
// instant itself, or the first occurrence of a reading that repeats when clocks go back.
TEST(LocalDateTest, FieldsAgreeWithTheCLibraryAndReadingsComeBack) {
  std::mt19937_64 random(83);
#if defined(_WIN32)
  for (const char* zone : {"UTC", testing_support::kNewYork, testing_support::kMoscow, "CET-1CEST"}) {
#else
  for (const char* zone : {"UTC", testing_support::kNewYork, testing_support::kMoscow, "Australia/Lord_Howe"}) {
#endif
    SCOPED_TRACE(zone);
    ScopedTimeZone tz(zone);
    for (int k = 0; k < 500; ++k) {
      const long long time = static_cast<long long>(random() % 4'100'000'000ULL);  // 1970 .. 2099
      std::tm tm;
      long offset = 0;
      ASSERT_TRUE(testing_support::c_local_time(time, tm, offset));
      DateFields f;
      ASSERT_TRUE(core::time_to_local_fields(time, f));
      ASSERT_EQ(f, (DateFields{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec}))
          << time;
      long long back = -1;
      ASSERT_TRUE(core::local_fields_to_time(f, back));
      DateFields again;
      ASSERT_TRUE(core::time_to_local_fields(back, again));
      EXPECT_EQ(again, f) << time;
      EXPECT_LE(back, time);
    }
  }
}

TEST(LocalDateTest, ReadingsCarryAndGapsMoveForward) {
  ScopedTimeZone tz(testing_support::kNewYork);
  struct Case {
    DateFields local;
    long long time;
    DateFields reads;
    const char* why;
  } cases[] = {
      {{2026, 1, 2, 9, 0, 0}, 1767362400, {2026, 1, 2, 9, 0, 0}, "winter: UTC-5"},
      {{2026, 3, 8, 2, 30, 0}, 1772955000, {2026, 3, 8, 3, 30, 0}, "spring forward: 02:30 is 03:30 EDT"},
      {{2026, 11, 1, 1, 30, 0}, 1793511000, {2026, 11, 1, 1, 30, 0}, "fall back: the 01:30 of EDT"},
      {{2026, 1, 32, 24, 60, 75}, 1770012075, {2026, 2, 2, 1, 1, 15}, "every field carries"},
      {{2026, 0, 1, 0, 0, 0}, 1764565200, {2025, 12, 1, 0, 0, 0}, "month 0 is December"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.why);
    long long time = 0;
    EXPECT_TRUE(core::local_fields_to_time(c.local, time));
    EXPECT_EQ(time, c.time);
    DateFields f;
    EXPECT_TRUE(core::time_to_local_fields(c.time, f));
    EXPECT_EQ(f, c.reads);
  }
}

TEST(LocalDateTest, OutOfRangeFailsAndLeavesTheTargetAlone) {
  DateFields f{2020, 5, 5};
  EXPECT_FALSE(core::time_to_local_fields(LLONG_MAX, f));
  EXPECT_FALSE(core::time_to_local_fields(LLONG_MIN, f));
  EXPECT_EQ(f, (DateFields{2020, 5, 5}));
  long long time = 42;
  EXPECT_FALSE(core::local_fields_to_time({INT_MAX, INT_MAX, 1}, time));
  EXPECT_FALSE(core::local_fields_to_time({INT_MIN, 1, 1}, time));
  EXPECT_EQ(time, 42);
}

}  // namespace
