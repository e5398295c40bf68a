// kern cron: schedules from the command line.
//
//   kern cron next "SCHEDULE" [--from "YYYY-MM-DD HH:MM:SS"] [--count N]
//       the next N matching minutes (default 1) in local time, one per line as "YYYY-MM-DD HH:MM:SS",
//       each search starting from the previous result; "none" (and nothing more) when there is none.
//       --from is local time and defaults to now.
//   kern cron check "SCHEDULE"
//       one line per entry: the five masks as comma-separated lists of the values they select
//       (minutes, hours, days of the month, months, weekdays 0-7), "-" for an empty mask.
//
// A schedule that does not parse: exit status 2 and one line on standard error,
//   error: offset <N>: <IDS key>: <message text>
// A malformed --from: exit status 1 and a line on standard error.

#include "core/Cron.h"

#include <chrono>
#include <cstdio>
#include <iostream>
#include <string>

#include "Command.h"
#include "core/Date.h"
#include "core/Resources.h"

namespace {

// Parses the schedule or reports why not (and sets the exit status).
core::CrontabPtr parse_or_report(const std::string& schedule, int& exitCode) {
  core::CrontabParseError error;
  core::CrontabPtr tab = core::crontab_parse(avo::from_utf8(schedule).c_str(), error);
  if (error.key == nullptr) return tab;
  const avo::WString message = core::resource_string(error.key);
  std::cerr << "error: offset " << error.position << ": " << error.key << ": " << avo::to_std_utf8(message) << "\n";
  exitCode = 2;
  return nullptr;
}

bool parse_from(const std::string& text, long long& time) {
  int y, mo, d, h, mi, s, used = 0;
  if (text.size() != 19 ||
      std::sscanf(text.c_str(), "%4d-%2d-%2d %2d:%2d:%2d%n", &y, &mo, &d, &h, &mi, &s, &used) != 6 || used != 19 ||
      text[4] != '-' || text[7] != '-' || text[10] != ' ' || text[13] != ':' || text[16] != ':') {
    return false;
  }
  for (std::size_t i : {0, 1, 2, 3, 5, 6, 8, 9, 11, 12, 14, 15, 17, 18}) {
    if (text[i] < '0' || text[i] > '9') return false;
  }
  const core::DateFields fields{y, mo, d, h, mi, s};
  return core::is_valid_date(fields) && core::local_fields_to_time(fields, time);
}

std::string format_local(long long time) {
  core::DateFields f;
  if (!core::time_to_local_fields(time, f)) return "none";
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d %02d:%02d:%02d", f.year, f.month, f.day, f.hour, f.minute,
                f.second);
  return buffer;
}

std::string list(std::uint64_t mask, int first, int last, int base) {
  std::string out;
  for (int v = first; v <= last; ++v) {
    if (mask >> (v - base) & 1) out += (out.empty() ? "" : ",") + std::to_string(v);
  }
  return out.empty() ? "-" : out;
}

void setup(CLI::App& app, int& exitCode) {
  CLI::App* cron = app.add_subcommand("cron", "Cron schedules: next times and compiled masks");
  cron->require_subcommand(1);

  struct NextOptions {
    std::string schedule, from;
    long long count = 1;
  };
  static NextOptions next;
  CLI::App* nextCommand = cron->add_subcommand("next", "Print the next times the schedule selects (local time)");
  nextCommand->add_option("schedule", next.schedule, "Schedule text")->required();
  nextCommand->add_option("--from", next.from, "Start, local time \"YYYY-MM-DD HH:MM:SS\" (default: now)");
  nextCommand->add_option("--count", next.count, "How many times to print (default 1)")->check(CLI::NonNegativeNumber);
  nextCommand->callback([&exitCode] {
    core::CrontabPtr tab = parse_or_report(next.schedule, exitCode);
    if (!tab) return;
    long long time;
    if (next.from.empty()) {
      time =
          std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
    } else if (!parse_from(next.from, time)) {
      std::cerr << "error: --from wants a local time \"YYYY-MM-DD HH:MM:SS\", not \"" << next.from << "\"\n";
      exitCode = 1;
      return;
    }
    for (long long i = 0; i < next.count; ++i) {
      time = core::crontab_get_nearest_time(tab, time);
      if (time == core::kCrontabNoTime) {
        std::cout << "none\n";
        break;
      }
      std::cout << format_local(time) << "\n";
    }
  });

  static std::string checked;
  CLI::App* checkCommand = cron->add_subcommand("check", "Print the compiled masks of each entry");
  checkCommand->add_option("schedule", checked, "Schedule text")->required();
  checkCommand->callback([&exitCode] {
    core::CrontabPtr tab = parse_or_report(checked, exitCode);
    if (!tab) return;
    for (const core::crontab* e = tab; e->minutes != 0; ++e) {
      std::cout << list(e->minutes, 0, 59, 0) << " " << list(e->hours, 0, 23, 0) << " "
                << list(e->days_of_month, 1, 31, 1) << " " << list(e->months, 1, 12, 1) << " "
                << list(e->days_of_week, 0, 7, 0) << "\n";
    }
  });
}

}  // namespace

static kern::CommandRegistration registration{"cron", &setup};
