#include "core/Cron.h"

#include <gtest/gtest.h>

#include <climits>
#include <ctime>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/Resources.h"
#include "platform/LocalTime.h"

namespace {

using core::crontab;
using core::crontab_get_nearest_time;
using core::crontab_parse;
using core::kCrontabNoTime;
using core::platform::ScopedTimeZone;

std::vector<crontab> entries(const core::CrontabPtr& tab) {
  std::vector<crontab> out;
  for (const crontab* e = tab; e->minutes != 0; ++e) out.push_back(*e);
  return out;
}

constexpr std::uint64_t bits(std::initializer_list<int> list) {
  std::uint64_t m = 0;
  for (int i : list) m |= 1ULL << i;
  return m;
}

constexpr std::uint64_t kAnyMinute = ~0ULL;
constexpr std::uint32_t kAnyHour = ~0u, kAnyDay = ~0u;
constexpr std::uint16_t kAnyMonth = 0xFFFF;
constexpr std::uint8_t kAnyWeekday = 0xFF;

TEST(CronParseTest, FieldsCompileToMasks) {
  struct Case {
    const char16_t* text;
    crontab expected;
  } cases[] = {
      {u"*/15 * * * *", {bits({0, 15, 30, 45, 60}), kAnyHour, kAnyDay, kAnyMonth, kAnyWeekday}},
      {u"1-10/3 0 1 1 *", {bits({1, 4, 7, 10}), 1, 1, 1, 0}},
      {u"5,7,9/2 0 * * *", {bits({5, 7, 9}), 1, kAnyDay, kAnyMonth, kAnyWeekday}},
      {u"5,6/2 0 * * *", {bits({5}), 1, kAnyDay, kAnyMonth, kAnyWeekday}},
      {u"0 */5 * * *", {1, std::uint32_t(bits({0, 5, 10, 15, 20, 25, 30})), kAnyDay, kAnyMonth, kAnyWeekday}},
      {u"0 9 * * Mon-Fri", {1, 1u << 9, 0, kAnyMonth, 0x3E}},
      {u"0 0 1 * Sun", {1, 1, 1, kAnyMonth, 1}},
      {u"0 0 * * 7", {1, 1, 0, kAnyMonth, 0x81}},
      {u"0 0 * * 0-7", {1, 1, kAnyDay, kAnyMonth, kAnyWeekday}},
      {u"0 0 * * Mon-7", {1, 1, 0, kAnyMonth, kAnyWeekday}},  // 1..7 gains Sunday's bit 0
      {u"0 0 1-31 * *", {1, 1, 0x7FFFFFFF, kAnyMonth, 0}},    // "1-31" is a restriction
      {u"0 0 * jan *", {1, 1, kAnyDay, 1, kAnyWeekday}},
      {u"0 0 * MAR-mAy,dec/2 *", {1, 1, kAnyDay, std::uint16_t(bits({2, 4})), kAnyWeekday}},
      {u"0 0 29 2 *", {1, 1, 1u << 28, 2, 0}},
      {u"0 0 * * sat-sat/7", {1, 1, 0, kAnyMonth, 0x40}},
      {u"0 0 * * 1 extra words", {1, 1, 0, kAnyMonth, 2}},
      {u"* * * * */7", {kAnyMinute, kAnyHour, 0, kAnyMonth, 0x81}},  // "*" thinned to bits 0 and 7
      {u"*/60 * * * *", {bits({0, 60}), kAnyHour, kAnyDay, kAnyMonth, kAnyWeekday}},
      {u"007 * * * *", {1ULL << 7, kAnyHour, kAnyDay, kAnyMonth, kAnyWeekday}},
      {u"0\u30000\t*\u00A0*  *", {1, 1, kAnyDay, kAnyMonth, kAnyWeekday}},  // Unicode spaces separate
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(avo::to_std_utf8(c.text));
    unsigned long long position = 17;
    avo::WString text = u"untouched";
    const std::vector<crontab> got = entries(crontab_parse(c.text, &position, &text));
    EXPECT_EQ(position, ~0ULL);
    EXPECT_EQ(text, std::u16string(u"untouched"));
    core::CrontabParseError error{3, "stale"};
    EXPECT_EQ(entries(crontab_parse(c.text, error)).size(), 1u);
    EXPECT_EQ(error.position, ~0ULL);
    EXPECT_EQ(error.key, nullptr);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0].minutes, c.expected.minutes);
    EXPECT_EQ(got[0].hours, c.expected.hours);
    EXPECT_EQ(got[0].days_of_month, c.expected.days_of_month);
    EXPECT_EQ(got[0].months, c.expected.months);
    EXPECT_EQ(got[0].days_of_week, c.expected.days_of_week);
  }
}

TEST(CronParseTest, EntriesSplitAtLineBreaksAndSemicolonsAndTrim) {
  const std::vector<crontab> got =
      entries(crontab_parse(avo::WString(u" \t0 1 * * *\r\n\u00A0;;  2 3 * * *  \n\n4 5 * * *;")));
  ASSERT_EQ(got.size(), 3u);
  EXPECT_EQ(got[0].hours, 1u << 1);
  EXPECT_EQ(got[1].minutes, 1u << 2);
  EXPECT_EQ(got[2].hours, 1u << 5);
  for (const char16_t* empty : {u"", u"  \n ; \r\n", static_cast<const char16_t*>(nullptr)}) {
    unsigned long long position = 0;
    core::CrontabPtr tab = crontab_parse(empty, &position);
    ASSERT_TRUE(tab);
    EXPECT_EQ(tab.get()[0].minutes, 0u);
    EXPECT_EQ(position, ~0ULL);
  }
}

TEST(CronParseTest, ErrorsReportTheFailingEntryAndGiveTheEmptySchedule) {
  struct Case {
    const char16_t* text;
    const char* key;
    unsigned long long position;
  } cases[] = {
      {u"0 0 * *", "IDS_CRONPARSE_VALUE_EXPECTED", 0},
      {u"0 0 * * 1-", "IDS_CRONPARSE_VALUE_EXPECTED", 0},
      {u"0, * * * *", "IDS_CRONPARSE_INVALID_VALUE", 0},
      {u"0,x * * * *", "IDS_CRONPARSE_INVALID_VALUE", 0},
      {u"1, 2 * * * *", "IDS_CRONPARSE_INVALID_VALUE", 0},
      {u"\u0663 * * * *", "IDS_CRONPARSE_INVALID_VALUE", 0},  // an Arabic-Indic digit
      {u"0 Mon * * *", "IDS_CRONPARSE_INVALID_VALUE", 0},     // names only where the field has them
      {u"* * * * */Mon", "IDS_CRONPARSE_INVALID_VALUE", 0},
      {u"60 * * * *", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"* 24 * * *", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"* * 0 * *", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"* * * 13 *", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"* * * * 8", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"*/0 * * * *", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"*/61 * * * *", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"* * * * */8", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"99999999999999999999999 * * * *", "IDS_CRONPARSE_OUT_OF_RANGE", 0},
      {u"5-1 * * * *", "IDS_CRONPARSE_INVALID_RANGE", 0},
      {u"0 0 * * Sat-Sun", "IDS_CRONPARSE_INVALID_RANGE", 0},
      {u"0 0 * January *", "IDS_CRONPARSE_UNEXPECTED_CHARACTER", 0},
      {u"*,5 * * * *", "IDS_CRONPARSE_UNEXPECTED_CHARACTER", 0},
      {u"1-2-3 * * * *", "IDS_CRONPARSE_UNEXPECTED_CHARACTER", 0},
      {u"0 0 * * 1x", "IDS_CRONPARSE_UNEXPECTED_CHARACTER", 0},
      {u"0 0 31 4,6 *", "IDS_CRONPARSE_NONEXISTENT_DATE", 0},
      {u"0 0 30 2 *", "IDS_CRONPARSE_NONEXISTENT_DATE", 0},
      {u"0 0 30,31 Feb *", "IDS_CRONPARSE_NONEXISTENT_DATE", 0},
      {u"0 0 * * *;bad", "IDS_CRONPARSE_INVALID_VALUE", 10},
      {u"0 0 * * *;  bad", "IDS_CRONPARSE_INVALID_VALUE", 12},
      {u"0 0 * * *\r\n \n 1 2 3 4 x", "IDS_CRONPARSE_INVALID_VALUE", 14},
      {u"1 2 3 4 x; 5-1 * * * *", "IDS_CRONPARSE_INVALID_VALUE", 0},  // parsing stops at the first
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(avo::to_std_utf8(c.text));
    unsigned long long position = 0;
    avo::WString text;
    core::CrontabPtr tab = crontab_parse(c.text, &position, &text);
    ASSERT_TRUE(tab);
    EXPECT_EQ(tab.get()[0].minutes, 0u) << "not the empty schedule";
    EXPECT_EQ(position, c.position);
    EXPECT_EQ(text, core::resource_string(c.key)) << c.key;
    EXPECT_EQ(crontab_get_nearest_time(tab, 1767243600LL), kCrontabNoTime);
    core::CrontabParseError error;
    EXPECT_EQ(crontab_parse(c.text, error).get()[0].minutes, 0u);
    EXPECT_STREQ(error.key, c.key);
    EXPECT_EQ(error.position, c.position);
  }
  // Valid neighbours of the nonexistent dates.
  for (const char16_t* valid : {u"0 0 29 2 *", u"0 0 31 4,7 *", u"0 0 30 2,4 *", u"0 0 31 4 Mon"}) {
    EXPECT_EQ(entries(crontab_parse(valid)).size(), 1u) << avo::to_std_utf8(valid);
  }
}

TEST(CronParseTest, MessageFollowsTheThreadLanguage) {
  core::set_thread_resource_language("ru");
  avo::WString text;
  crontab_parse(u"60 * * * *", nullptr, &text);
  core::reset_thread_resource_language();
  EXPECT_EQ(text, std::u16string(u"Расписание: значение вне допустимого диапазона"));
}

long long nearest(const char16_t* schedule, long long from) {
  unsigned long long position;
  core::CrontabPtr tab = crontab_parse(schedule, &position);
  EXPECT_EQ(position, ~0ULL) << avo::to_std_utf8(schedule);
  return crontab_get_nearest_time(tab, from);
}

struct SearchCase {
  const char* zone;
  const char16_t* schedule;
  long long from;
  long long expected;
  const char* why;
};

TEST(CronSearchTest, KnownAnswers) {
  const SearchCase cases[] = {
    {testing_support::kMoscow, u"*/15 * * * *", 1767251250, 1767251700, "10:07:30 -> 10:15"},
    {testing_support::kMoscow, u"*/15 * * * *", 1767251700, 1767252600, "10:15 -> 10:30, never the query minute"},
    {testing_support::kNewYork, u"0 9 * * Mon-Fri; 30 12 * * Sat", 1767243600, 1767276000, "Thu 1 Jan -> 09:00"},
    {testing_support::kNewYork, u"0 9 * * Mon-Fri; 30 12 * * Sat", 1767366000, 1767461400, "Fri 10:00 -> Sat 12:30"},
    {testing_support::kNewYork, u"0 0 1 * Sun", 1767243600, 1767502800, "Sunday 4 Jan"},
    {testing_support::kNewYork, u"0 0 1 * Sun", 1774756800, 1775016000, "Sunday 29 Mar -> Wednesday 1 Apr"},
    {testing_support::kNewYork, u"0 0 * * 7", 1767243600, 1767502800, "7 is Sunday"},
    {testing_support::kNewYork, u"0 0 * * 0-7", 1767243600, 1767330000, "every day"},
    {testing_support::kMoscow, u"0 0 29 2 *", 3981387600, kCrontabNoTime, "from March 2096: five passes end in 2101"},
    {testing_support::kMoscow, u"0 0 29 2 *", 1835470800, 1961614800, "from March 2028: 29 Feb 2032"},
    // Spring forward: 02:30 does not exist; mktime moves it by the size of the gap.
    {testing_support::kNewYork, u"30 2 * * *", 1772902800, 1772955000, "02:30 -> 03:30 EDT"},
#if !defined(_WIN32)  // Moscow's daylight saving of 2010: the Windows C runtime has no zone history
    {"Europe/Moscow", u"30 2 * * *", 1269680400, 1269732600, "02:30 -> 03:30 MSD"},
#endif
    // Fall back: a repeated reading resolves toward the offset the search started in.
    {testing_support::kNewYork, u"30 1 * * *", 1793462400, 1793511000, "01:30 EDT, the first one"},
    {testing_support::kNewYork, u"*/15 * * * *", 1793511600, 1793511900, "01:40 EDT -> 01:45 EDT"},
    {testing_support::kNewYork, u"*/15 * * * *", 1793515800, 1793516400, "01:50 EST -> 02:00 EST"},
    {testing_support::kNewYork, u"0 1 * * *", 1793509800, 1793599200, "01:10 EDT: 01:00 EST is not reached"},
#if !defined(_WIN32)
    {"Europe/Moscow", u"30 2 * * *", 1288425600, 1288477800, "02:30 MSD, the first one"},
#endif
    // Day walks across a change of offset.
    {testing_support::kNewYork, u"0 0 * * Tue", 1772902800, 1773115200, "Sat 7 Mar EST -> Tue 10 Mar EDT"},
    {testing_support::kNewYork, u"0 0 3 * *", 1793462400, 1793682000, "31 Oct EDT -> 3 Nov EST"},
    {testing_support::kMoscow, u"0 0 1 1 *", 253402300799 - 10800, 253402300800 - 10800, "year 10000 is searched too"},
  };
  for (const SearchCase& c : cases) {
    SCOPED_TRACE(testing::Message() << c.zone << " " << avo::to_std_utf8(c.schedule) << ": " << c.why);
    ScopedTimeZone tz(c.zone);
    EXPECT_EQ(nearest(c.schedule, c.from), c.expected);
  }
}

TEST(CronSearchTest, NoScheduleAndTheEndOfTimeGiveNoTime) {
  EXPECT_EQ(crontab_get_nearest_time(static_cast<const crontab*>(nullptr), 0), kCrontabNoTime);
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u""), 0), kCrontabNoTime);
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u"* * * * *"), LLONG_MAX - 59), kCrontabNoTime);
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u"* * * * *"), LLONG_MAX), kCrontabNoTime);
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u"* * * * *"), LLONG_MIN), kCrontabNoTime);
}

TEST(CronSearchTest, DateOverloadReadsLocalTimeAndClampsToTheLargestDate) {
  ScopedTimeZone tz(testing_support::kNewYork);
  core::CrontabPtr tab = crontab_parse(u"0 9 * * Mon-Fri");
  EXPECT_EQ(crontab_get_nearest_time(tab, core::Date(2026, 1, 2, 9, 0, 45)), core::Date(2026, 1, 5, 9, 0));
  // Before 1970 the search starts at the epoch: 1969-12-31 19:00 in New York, a Wednesday.
  EXPECT_EQ(crontab_get_nearest_time(tab, core::Date(1900, 6, 1)), core::Date(1970, 1, 1, 9, 0));
  EXPECT_EQ(crontab_get_nearest_time(tab, core::Date()), core::Date(1970, 1, 1, 9, 0));
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u"0 0 29 2 *"), core::Date(2096, 3, 1)), core::Date::max());
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u"0 0 1 1 *"), core::Date(9999, 12, 31, 23, 59)), core::Date::max());
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u"x"), core::Date(2026, 1, 1)), core::Date::max());
  // A gap reading in the query: 02:30 on the spring-forward day is 03:30 EDT.
  EXPECT_EQ(crontab_get_nearest_time(crontab_parse(u"*/15 * * * *"), core::Date(2026, 3, 8, 2, 30)),
            core::Date(2026, 3, 8, 3, 45));
}

#if !defined(_WIN32)
using testing_support::prime_mktime;

// ---- The whole search against a plain walk over localtime_r and mktime -------------------------------

long long reference_entry(const crontab& e, long long time) {
  const std::time_t start = time + 60;
  std::tm tm;
  localtime_r(&start, &tm);
  tm.tm_sec = 0;
  prime_mktime(start, tm.tm_gmtoff);
  const auto normalise = [&tm] {
    tm.tm_isdst = -1;
    return static_cast<long long>(std::mktime(&tm));
  };
  for (int pass = 0; pass < 5; ++pass) {
    if (!(e.months >> tm.tm_mon & 1)) {
      tm.tm_mday = 1;
      tm.tm_hour = tm.tm_min = 0;
      int m = tm.tm_mon + 1;
      while (m < 12 && !(e.months >> m & 1)) ++m;
      if (m == 12) {
        ++tm.tm_year;
        for (m = 0; !(e.months >> m & 1);) ++m;
      }
      tm.tm_mon = m;
      normalise();
    }
    bool monthChanged = false;
    while (!(e.days_of_month >> (tm.tm_mday - 1) & 1) && !(e.days_of_week >> tm.tm_wday & 1)) {
      const int month = tm.tm_mon;
      ++tm.tm_mday;
      tm.tm_hour = tm.tm_min = 0;
      normalise();
      if ((monthChanged = tm.tm_mon != month)) break;
    }
    if (monthChanged) continue;
    int h = tm.tm_hour;
    while (h < 24 && !(e.hours >> h & 1)) ++h;
    if (h == 24) {
      ++tm.tm_mday;
      tm.tm_hour = tm.tm_min = 0;
      normalise();
      continue;
    }
    if (h != tm.tm_hour) tm.tm_hour = h, tm.tm_min = 0;
    int m = tm.tm_min;
    while (m < 60 && !(e.minutes >> m & 1)) ++m;
    if (m < 60) {
      tm.tm_min = m;
      return normalise();
    }
    tm.tm_min = tm.tm_sec = 0;
    ++tm.tm_hour;
    normalise();
  }
  return kCrontabNoTime;
}
#endif

[[maybe_unused]] std::u16string random_field(std::mt19937_64& rng, int min, int max, const char16_t* const* names) {
  const auto value = [&](int v) -> std::u16string {
    if (names != nullptr && v <= 6 + min && rng() % 2) return names[v - min];
    return std::u16string(1, u'0' + v / 10).substr(v < 10) + char16_t(u'0' + v % 10);
  };
  const auto pick = [&] { return min + int(rng() % (max - min + 1)); };
  switch (rng() % 6) {
    case 0:
      return u"*";
    case 1:
      return u"*/" + value(1 + int(rng() % 12)).substr(0);
    case 2:
      return value(pick());
    case 3: {
      int a = pick(), b = pick();
      if (a > b) std::swap(a, b);
      return value(a) + u"-" + value(b) + (rng() % 2 ? u"/" + value(1 + int(rng() % 4)) : u"");
    }
    default:
      return value(pick()) + u"," + value(pick()) + u"," + value(pick());
  }
}

TEST(CronSearchTest, MatchesAPlainWalkOverTheCLibrary) {
#if defined(_WIN32)
  GTEST_SKIP() << "the walk normalises with glibc's mktime, whose probing the search reproduces on every system; "
                  "the Windows C runtime's _mktime64 resolves gaps and repeats its own way";
#else
  static const char16_t* const kMonths[] = {u"jan", u"feb", u"mar", u"apr", u"may", u"jun", u"jul"};
  static const char16_t* const kDays[] = {u"sun", u"mon", u"tue", u"wed", u"thu", u"fri", u"sat"};
  std::mt19937_64 rng(2026);
  int compared = 0, found = 0;
  for (const char* zone : {testing_support::kNewYork, testing_support::kMoscow}) {
    SCOPED_TRACE(zone);
    ScopedTimeZone tz(zone);
    for (int i = 0; i < 3000; ++i) {
      std::u16string text = random_field(rng, 0, 59, nullptr) + u" " + random_field(rng, 0, 23, nullptr) + u" " +
                            random_field(rng, 1, 31, nullptr) + u" " + random_field(rng, 1, 12, kMonths) + u" " +
                            random_field(rng, 0, 7, kDays);
      // Hours around the DST changes, and day walks that cross them.
      if (i % 3 == 0) text = u"*/" + std::u16string(1, char16_t(u'1' + rng() % 9)) + u" 0-3 * * *";
      if (i % 3 == 1) {
        text = random_field(rng, 0, 59, nullptr) + u" " + std::u16string(1, char16_t(u'0' + rng() % 4)) +
               (rng() % 2 ? u" * * " + std::u16string(1, char16_t(u'0' + rng() % 8))
                          : u" " + std::u16string(1, char16_t(u'1' + rng() % 9)) + u" * *");
      }
      core::CrontabPtr tab = crontab_parse(text.c_str());
      if (tab.get()[0].minutes == 0) continue;
      // Around the DST changes of 1985..2030 in both zones, and anywhere.
      const int year = 1985 + int(rng() % 45);
      const int month = (rng() % 2) ? 3 : 10;
      std::tm near{};
      near.tm_year = year - 1900, near.tm_mon = month - 1, near.tm_mday = 20 + int(rng() % 15), near.tm_isdst = -1;
      long long from = static_cast<long long>(std::mktime(&near)) + long(rng() % (4 * 86400));
      if (i % 4 == 0) from = 400000000 + long(rng() % 1600000000);
      SCOPED_TRACE(testing::Message() << avo::to_std_utf8(text) << " from " << from);
      long long expected = kCrontabNoTime;
      for (const crontab* e = tab; e->minutes != 0; ++e) expected = std::min(expected, reference_entry(*e, from));
      ASSERT_EQ(crontab_get_nearest_time(tab, from), expected);
      ++compared;
      found += expected != kCrontabNoTime;
    }
  }
  EXPECT_GT(compared, 4000);
  EXPECT_GT(found, compared / 2);
#endif
}

}  // namespace
