#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "core/Cron.h"
#include "platform/LocalTime.h"

namespace {

using core::crontab_get_nearest_time;
using core::crontab_parse;
using core::platform::ScopedTimeZone;

TEST(CronSearchTest, SharedScheduleSearchedFromManyThreads) {
  ScopedTimeZone tz(testing_support::kNewYork);
  const core::CrontabPtr tab = crontab_parse(u"0 9 * * Mon-Fri; 30 12 * * Sat; 0 0 29 2 *");
  std::vector<long long> expected;
  for (long long t = 1700000000; t < 1900000000; t += 7777777) expected.push_back(crontab_get_nearest_time(tab, t));
    // The same zone under another name starts with empty offset tables, so the threads race to fill them.
#if defined(_WIN32)
  ScopedTimeZone sameZone("EST+5EDT");
#else
  ScopedTimeZone sameZone(":America/New_York");
#endif
  std::vector<std::thread> threads;
  std::atomic<int> mismatches{0};
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([tab, &expected, &mismatches] {
      std::size_t k = 0;
      for (long long t = 1700000000; t < 1900000000; t += 7777777, ++k) {
        if (crontab_get_nearest_time(tab, t) != expected[k]) ++mismatches;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(mismatches.load(), 0);
}

}  // namespace
