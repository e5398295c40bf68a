// kern cron: schedules from the command line.
//
//   kern cron next SCHEDULE [--from TIME] [--count N] [--iso] [--raw] [--tz ZONE]
//       the next N times the job runs, one per line (CronTimes.h), "none" when there is none.
//   kern cron check SCHEDULE
//       one line per entry: the five compiled masks, "*" or the values they select.
//
// The manuals are the k...Manual texts below (kern cron [COMMAND] --help); each claim in them is
// covered by tests/tool/cron.sh. A schedule that does not parse exits 1 with the entry's offset, the
// field at fault and the library's message; malformed options exit 2 through CLI11's validators.

#include "core/Cron.h"

#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "Command.h"
#include "CronText.h"
#include "CronTimes.h"
#include "core/Resources.h"

namespace {

const char* const kCronManual =
    R"manual(A schedule is one or more entries, separated by line feeds, carriage returns or ";"; blank
entries are skipped, and the job runs at every minute any entry selects. An entry is five fields
separated by blanks:

  minute         0-59
  hour           0-23
  day-of-month   1-31
  month          1-12 or Jan-Dec
  weekday        0-7 or Sun-Sat (0 and 7 are both Sunday)

Names are English three-letter abbreviations in any case ("mon", "FEB"). A field is "*" (every
value) or a comma-separated list of values and upward ranges ("1,5,10-20", "Mon-Fri"), optionally
followed by "/STEP". The step thins the whole field: of the values selected, those at a multiple of
STEP from the lowest stay. "*/15" is 0,15,30,45; "5-59/20" is 5,25,45; "1-5,10-20/5" is 1,11,16
(not 1-5 and 10,15,20). A step runs from 1 to the size of its field (60, 24, 31, 12, 7).

Text after the fifth field is ignored, with a warning on standard error: "0 0 12 * * ?", the
seconds-first form of other tools, reads as midnight on the 12th of every month.

Days: when both day fields are restricted, a day is selected if either field selects it
("0 0 1 * Mon" runs on the 1st and on every Monday); when one of them is "*", the other decides
alone ("0 9 * * Mon-Fri" runs on weekdays). A day field that selects every value it can hold counts
as "*": weekday 0-7 does, day-of-month 1-31 is a restriction. A schedule whose days never occur is
refused ("0 0 30 2 *", "0 0 31 4,6,9,11 *").

Times are whole minutes of the local clock in the time zone TZ names. When clocks go forward, a
time in the gap runs as much later as the gap is long ("30 2 * * *" runs at 03:30 on 2026-03-08 in
America/New_York); when the gap starts at midnight (America/Santiago, 2026-09-06) that day starts
after it and a job in the missing hour does not run that day. When clocks go back, a time of the
repeated hour runs once, in the first pass ("30 1 * * *" at 01:30 EDT on 2026-11-01); each search
starts at the real minute after the last run, so a schedule that runs at the last minute of the
first pass and selects the first minute of the hour goes on in the second pass ("* * * * *" runs
every real minute).

A schedule that does not parse: exit status 1 and on standard error
  kern: offset N: field NAME "TEXT": KEY: message
where N is where the failing entry starts (in UTF-16 code units), NAME the field (minute, hour,
day-of-month, month, weekday) and KEY one of IDS_CRONPARSE_VALUE_EXPECTED, IDS_CRONPARSE_INVALID_VALUE,
IDS_CRONPARSE_OUT_OF_RANGE, IDS_CRONPARSE_INVALID_RANGE, IDS_CRONPARSE_UNEXPECTED_CHARACTER; a missing
field reads 'field NAME missing', days that never occur (IDS_CRONPARSE_NONEXISTENT_DATE) read
'fields day-of-month "30" and month "2"'. Text after a fifth field gives
  kern: warning: offset N: text after the fifth field is ignored: "TEXT"
and does not change the exit status.

Exit status: 0 done (also when the answer is "none"); 1 a schedule that does not parse, or output
that could not be written; 2 misuse: no or an unknown command or option, --count that is not a
whole number, --from that is not a time, --tz that is not a time zone.)manual";

const char* const kNextManual =
    R"manual(Prints the next COUNT times the job runs after FROM, one per line, each search starting at the
time before it: "YYYY-MM-DD HH:MM:SS" in local time, or with --iso "YYYY-MM-DDTHH:MM:SS+HH:MM",
local time and its UTC offset, which tells the two passes of a repeated hour apart. The minute of
FROM itself is never selected: from 09:00:30 the next run of "0 9 * * *" is tomorrow's.

The times are those of a job that polls the library. One library search looks at most five
month, day or hour wraps ahead and reports nothing beyond ("0 0 29 2 *" from 2096-03-01); then the
search is made again from the last minute of the month where it began, month after month. "none"
(and nothing after it) means that the schedule selects no time before the year 10000; a search
that found nothing in 40 years stops there, since 40 years hold every kind of calendar year.
With --raw each time is the answer of one library search, and "none" means that search gave up.

FROM is "YYYY-MM-DD HH:MM:SS" or "YYYY-MM-DDTHH:MM:SS" in local time (a time in a gap moves
forward, a repeated one is its first pass), either optionally followed by "Z" or "+HH:MM"/"-HH:MM"
for that exact instant. ZONE is what TZ takes: a zone name of /usr/share/zoneinfo
("Europe/Moscow") or a POSIX rule ("EST5EDT,M3.2.0,M11.1.0").

Examples:
  kern cron next '0 9 * * Mon-Fri' --count 5
  kern cron next '0 0 29 2 *' --from '2096-03-01 00:00:00'
      2104-02-29 00:00:00
  kern cron next '30 1 * * *' --tz America/New_York --from 2026-10-31T12:00:00 --iso --count 2
      2026-11-01T01:30:00-04:00
      2026-11-02T01:30:00-05:00)manual";

const char* const kCheckManual =
    R"manual(Prints one line per entry, in order: its five fields as the library compiled them, separated by
spaces, each "*" when it selects every value (written "*", "*/1", or weekday 0-7), else the
values it selects in ascending order, comma-separated. A day field written "*" beside a restricted
other day field shows "*" too: the other field decides. Weekday 7 shows as 0,7.

Example:
  kern cron check '0 9 * * Mon-Fri; */30 12 1,15 Feb 7'
      0 9 * * 1,2,3,4,5
      0,30 12 1,15 2 0,7)manual";

// Parses the schedule, warning about ignored text; on failure writes why and returns null.
core::CrontabPtr parse_or_report(const std::string& schedule, int& exitCode) {
  const avo::WString text = avo::from_utf8(schedule);
  core::CrontabParseError error;
  core::CrontabPtr tab = core::crontab_parse(text.c_str(), error);
  if (error.key != nullptr) {
    exitCode = kern::fail(kern::cron::describe_error(text, error) + ": " + error.key + ": " +
                          avo::to_std_utf8(core::resource_string(error.key)));
    return nullptr;
  }
  for (const kern::cron::Entry& entry : kern::cron::read_entries(text)) {
    if (!entry.rest.empty()) {
      std::cerr << "kern: warning: offset " << entry.offset << ": text after the fifth field is ignored: \""
                << avo::to_std_utf8(entry.rest) << "\"\n";
    }
  }
  return tab;
}

// "*" for a mask that selects every value, and for a day field the other day field decides for (the
// library clears it, see core/Cron.h); else the values.
std::string field_text(std::uint64_t mask, std::uint64_t full, int first, int last, int base) {
  if (mask == full || mask == 0) return "*";
  std::string out;
  for (int v = first; v <= last; ++v) {
    if (mask >> (v - base) & 1) out += (out.empty() ? "" : ",") + std::to_string(v);
  }
  return out;
}

std::string entry_text(const core::crontab& e) {
  return field_text(e.minutes, ~0ULL, 0, 59, 0) + " " + field_text(e.hours, 0xFFFFFFFFu, 0, 23, 0) + " " +
         field_text(e.days_of_month, 0xFFFFFFFFu, 1, 31, 1) + " " + field_text(e.months, 0xFFFFu, 1, 12, 1) + " " +
         field_text(e.days_of_week, 0xFFu, 0, 7, 0);
}

// A zone TZ can name: a file of the zone database, or a POSIX rule (those have a digit: "EST5EDT").
// The Windows C runtime knows the rule form only, and takes any other name for UTC.
std::string check_zone(const std::string& zone) {
#if defined(_WIN32)
  if (zone.find_first_of("0123456789") != std::string::npos) return {};
  return "unknown time zone \"" + zone + "\"";
#else
  const bool file = !zone.empty() && zone[0] == ':';
  const std::string name = file ? zone.substr(1) : zone;
  if (!file && name.find_first_of("0123456789") != std::string::npos) return {};
  const char* dir = std::getenv("TZDIR");
  const std::string path =
      name.empty() || name[0] == '/' ? name : std::string(dir && *dir ? dir : "/usr/share/zoneinfo") + "/" + name;
  std::error_code error;
  return std::filesystem::is_regular_file(path, error) ? std::string() : "unknown time zone \"" + zone + "\"";
#endif
}

std::string check_count(const std::string& text) {
  try {
    std::size_t used = 0;
    if (!text.empty() && text[0] != '-' && text[0] != '+' && std::stoll(text, &used) >= 0 && used == text.size()) {
      return {};
    }
  } catch (const std::exception&) {
  }
  return "\"" + text + "\" is not a whole number from 0 to " + std::to_string(LLONG_MAX);
}

struct NextOptions {
  std::string schedule, from, zone;
  long long count = 1;
  bool iso = false, raw = false;
};

void run_next(const NextOptions& next, int& exitCode) {
  if (!next.zone.empty()) {
#if defined(_WIN32)
    _putenv_s("TZ", next.zone.c_str());
#else
    setenv("TZ", next.zone.c_str(), 1);
#endif
  }
  core::CrontabPtr tab = parse_or_report(next.schedule, exitCode);
  if (!tab) return;
  long long time =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
  kern::cron::TimeText from;
  if (!next.from.empty() && (!kern::cron::parse_time(next.from, from) || !kern::cron::to_instant(from, time))) {
    exitCode = kern::misuse("--from: \"" + next.from + "\" is out of range", "kern cron next");
    return;
  }
  for (long long i = 0; i < next.count && std::cout; ++i) {
    time = next.raw ? core::crontab_get_nearest_time(tab, time) : kern::cron::next_run(tab, time);
    if (time == core::kCrontabNoTime) {
      std::cout << "none\n";
      break;
    }
    std::cout << kern::cron::format_time(time, next.iso) << "\n";
  }
}

void setup(CLI::App& app, int& exitCode) {
  CLI::App* cron = app.add_subcommand("cron", "Cron schedules: the times a job runs, the compiled fields");
  cron->footer(kCronManual);
  cron->require_subcommand(1);

  static NextOptions next;
  CLI::App* nextCommand = cron->add_subcommand("next", "Print the next times the job runs");
  nextCommand->footer(kNextManual);
  nextCommand->add_option("SCHEDULE", next.schedule, "The schedule (kern cron --help)")->required();
  nextCommand->add_option("--from", next.from, "Start after this time (default: now)")
      ->check(CLI::Validator(
          [](std::string& text) {
            kern::cron::TimeText time;
            return kern::cron::parse_time(text, time)
                       ? std::string()
                       : "\"" + text + "\" is not a time YYYY-MM-DD HH:MM:SS or YYYY-MM-DDTHH:MM:SS[Z|+HH:MM]";
          },
          "TIME"));
  nextCommand->add_option("--count", next.count, "How many times to print (default 1)")
      ->check(CLI::Validator(check_count, "COUNT"));
  nextCommand->add_flag("--iso", next.iso, "Print ISO 8601 times with their UTC offset");
  nextCommand->add_flag("--raw", next.raw, "One library search per time, no search beyond it");
  nextCommand->add_option("--tz", next.zone, "Time zone, as TZ=ZONE (default: TZ)")
      ->check(CLI::Validator(check_zone, "ZONE"));
  nextCommand->callback([&exitCode] { run_next(next, exitCode); });

  static std::string checked;
  CLI::App* checkCommand = cron->add_subcommand("check", "Print the compiled fields of each entry");
  checkCommand->footer(kCheckManual);
  checkCommand->add_option("SCHEDULE", checked, "The schedule (kern cron --help)")->required();
  checkCommand->callback([&exitCode] {
    core::CrontabPtr tab = parse_or_report(checked, exitCode);
    if (!tab) return;
    for (const core::crontab* e = tab; e->minutes != 0; ++e) std::cout << entry_text(*e) << "\n";
  });
}

}  // namespace

static kern::CommandRegistration registration{"cron", &setup};
