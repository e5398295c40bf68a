// Cron schedules: parse cost and next-time search cost, in two time zones, beside a plain search that
// normalises with the C library's mktime at every step (what the table-driven conversion replaces).
// croniter's figures for the same schedules and start instants: bench/cron_croniter.py.

#include <benchmark/benchmark.h>

#include <climits>
#include <ctime>
#include <string>
#include <vector>

#include "core/Cron.h"
#include "platform/LocalTime.h"

namespace {

// The same schedules and instants as bench/cron_schedules.py.
std::string twenty_entries() {
  std::string text;
  for (int k = 0; k < 20; ++k) {
    if (k) text += "; ";
    text += std::to_string(k * 7 % 60) + " " + std::to_string(k * 5 % 24) + " ";
    text += k % 3 == 0 ? std::to_string(k % 28 + 1) + " * *" : "* * " + std::to_string(k % 7);
  }
  return text;
}

struct Schedule {
  const char* name;
  std::string text;
};
const std::vector<Schedule>& schedules() {
  static const std::vector<Schedule> all = {{"every15", "*/15 * * * *"},
                                            {"weekdays", "0 9 * * Mon-Fri; 30 12 * * Sat"},
                                            {"feb29", "0 0 29 2 *"},
                                            {"entries20", twenty_entries()}};
  return all;
}
const char* const kZones[] = {"Europe/Moscow", "America/New_York"};

std::vector<long long> starts() {
  std::vector<long long> out;
  for (long long i = 0; i < 256; ++i) out.push_back(1767225600 + (i * 2654435761LL) % 63072000);
  return out;
}

core::CrontabPtr compile(const std::string& text) { return core::crontab_parse(avo::from_utf8(text)); }

void BM_CronParse(benchmark::State& state) {
  const Schedule& s = schedules()[state.range(0)];
  const avo::WString text = avo::from_utf8(s.text);
  for (auto _ : state) benchmark::DoNotOptimize(core::crontab_parse(text));
  state.SetLabel(s.name);
}

void BM_CronNearest(benchmark::State& state) {
  const Schedule& s = schedules()[state.range(0)];
  core::platform::ScopedTimeZone zone(kZones[state.range(1)]);
  const core::CrontabPtr tab = compile(s.text);
  const std::vector<long long> from = starts();
  for (long long t : from) benchmark::DoNotOptimize(core::crontab_get_nearest_time(tab, t));  // fill the tables
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(core::crontab_get_nearest_time(tab, from[i]));
    i = (i + 1) & 255;
  }
  state.SetLabel(std::string(s.name) + " " + kZones[state.range(1)]);
}

// The same five-pass walk with a localtime_r + mktime call at every step.
long long plain_entry(const core::crontab& e, long long time) {
  const std::time_t start = time + 60;
  std::tm tm;
  localtime_r(&start, &tm);
  tm.tm_sec = 0;
  const auto normalise = [&tm] {
    tm.tm_isdst = -1;
    return static_cast<long long>(std::mktime(&tm));
  };
  for (int pass = 0; pass < 5; ++pass) {
    if (!(e.months >> tm.tm_mon & 1)) {
      tm.tm_mday = 1, tm.tm_hour = tm.tm_min = 0;
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
      ++tm.tm_mday, tm.tm_hour = tm.tm_min = 0;
      normalise();
      if ((monthChanged = tm.tm_mon != month)) break;
    }
    if (monthChanged) continue;
    int h = tm.tm_hour;
    while (h < 24 && !(e.hours >> h & 1)) ++h;
    if (h == 24) {
      ++tm.tm_mday, tm.tm_hour = tm.tm_min = 0;
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
    tm.tm_min = tm.tm_sec = 0, ++tm.tm_hour;
    normalise();
  }
  return LLONG_MAX;
}

void BM_CronNearestPlainMktime(benchmark::State& state) {
  const Schedule& s = schedules()[state.range(0)];
  core::platform::ScopedTimeZone zone(kZones[state.range(1)]);
  const core::CrontabPtr tab = compile(s.text);
  const std::vector<long long> from = starts();
  std::size_t i = 0;
  for (auto _ : state) {
    long long best = LLONG_MAX;
    for (const core::crontab* e = tab; e->minutes != 0; ++e) best = std::min(best, plain_entry(*e, from[i]));
    benchmark::DoNotOptimize(best);
    i = (i + 1) & 255;
  }
  state.SetLabel(std::string(s.name) + " " + kZones[state.range(1)]);
}

BENCHMARK(BM_CronParse)->DenseRange(0, 3);
BENCHMARK(BM_CronNearest)->ArgsProduct({{0, 1, 2, 3}, {0, 1}});
BENCHMARK(BM_CronNearestPlainMktime)->ArgsProduct({{0, 1, 2, 3}, {0, 1}});

}  // namespace

BENCHMARK_MAIN();
