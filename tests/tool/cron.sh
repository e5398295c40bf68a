#!/usr/bin/env bash
# Protocol of `kern cron`: exact output lines and exit statuses. Usage: cron.sh path/to/kern
set -u
kern="$1"
failures=0

# check NAME EXPECTED_STATUS EXPECTED_STDOUT EXPECTED_STDERR_PATTERN -- ARGS...
check() {
  local name="$1" status="$2" stdout="$3" stderr="$4"
  shift 5
  local out err rc
  out="$("$kern" "$@" 2>/tmp/kern-cron-err.$$)"
  rc=$?
  err="$(cat /tmp/kern-cron-err.$$)"
  rm -f /tmp/kern-cron-err.$$
  if [ "$rc" != "$status" ] || [ "$out" != "$stdout" ] || ! grep -qE -- "$stderr" <<<"$err$( [ -z "$err" ] && echo '<none>')"; then
    echo "FAIL: $name"
    echo "  status $rc (want $status)"
    echo "  stdout: $out"
    echo "  want:   $stdout"
    echo "  stderr: $err (want /$stderr/)"
    failures=$((failures + 1))
  fi
}

# Zones: IANA names on Linux; on Windows the C runtime's form "standard name, hours west, daylight
# name", whose daylight saving follows the US rules, and which knows no other rules and no history.
windows=false
[ "${KERN83_TEST_SYSTEM:-linux}" = windows ] && windows=true
if $windows; then newYork=EST5EDT moscow=MSK-3; else newYork=America/New_York moscow=Europe/Moscow; fi
skip() { echo "skipped: $1"; }

export TZ=$newYork

check "weekdays from new year" 0 $'2026-01-01 09:00:00\n2026-01-02 09:00:00\n2026-01-05 09:00:00' '<none>' -- \
  cron next "0 9 * * Mon-Fri" --from "2026-01-01 00:00:00" --count 3
check "two entries, the nearer wins" 0 $'2026-01-02 09:00:00\n2026-01-03 12:30:00\n2026-01-05 09:00:00' '<none>' -- \
  cron next "0 9 * * Mon-Fri; 30 12 * * Sat" --from "2026-01-02 08:59:59" --count 3
check "query minute never matches" 0 $'2026-01-01 10:30:00' '<none>' -- \
  cron next "*/15 * * * *" --from "2026-01-01 10:15:00"
check "spring forward gap moves by an hour" 0 $'2026-03-08 03:30:00\n2026-03-09 02:30:00' '<none>' -- \
  cron next "30 2 * * *" --from "2026-03-07 12:00:00" --count 2
# Leaving 01:xx EDT the walk normalises 02:00 to EST and goes on to the next day: the repeated hour is
# not visited a second time.
check "fall back repeat" 0 $'2026-11-01 01:45:00\n2026-11-02 01:00:00\n2026-11-02 01:15:00' '<none>' -- \
  cron next "0,15,30,45 1 * * *" --from "2026-11-01 01:40:00" --count 3
check "default count is one" 0 '2026-06-01 00:00:00' '<none>' -- cron next "0 0 1 6 *" --from "2026-01-01 00:00:00"
check "the query minute is never selected" 0 '2026-01-02 09:00:00' '<none>' -- \
  cron next "0 9 * * *" --from "2026-01-01 09:00:30"
check "either day" 0 $'2026-01-05 00:00:00\n2026-01-12 00:00:00\n2026-01-19 00:00:00\n2026-01-26 00:00:00\n2026-02-01 00:00:00' \
  '<none>' -- cron next "0 0 1 * Mon" --from "2026-01-01 00:00:00" --count 5

# One library search gives up after five wraps; the listing searches on as a polling job would.
feb29=$'2028-02-29 00:00:00\n2032-02-29 00:00:00\n2036-02-29 00:00:00'
check "29 February, year after year" 0 "$feb29" '<none>' -- \
  cron next "0 0 29 2 *" --from "2026-01-01 00:00:00" --count 3
check "29 February, one search each" 0 $'2028-02-29 00:00:00\nnone' '<none>' -- \
  cron next "0 0 29 2 *" --from "2026-01-01 00:00:00" --count 3 --raw
check "29 February from 2028-03-01" 0 "${feb29#*$'\n'}" '<none>' -- \
  cron next "0 0 29 2 *" --from "2028-03-01 00:00:00" --count 2
check "29 February from 2028-02-29" 0 "${feb29#*$'\n'}" '<none>' -- \
  cron next "0 0 29 2 *" --from "2028-02-29 00:00:00" --count 2
check "29 February across 2100" 0 $'2104-02-29 00:00:00\n2108-02-29 00:00:00' '<none>' -- \
  cron next "0 0 29 2 *" --from "2096-03-01 00:00:00" --count 2
check "29 February too far for one search" 0 'none' '<none>' -- \
  cron next "0 0 29 2 *" --from "2096-03-01 00:00:00" --count 3 --raw
check "nothing from the year 10000 on" 0 'none' '<none>' -- cron next "0 0 29 2 *" --from "9996-03-01 00:00:00"
# Five short months use up the wraps before 31 December: searching again only from each new year would
# never find it.
check "31 December after five short months" 0 $'2026-12-31 00:00:00\n2027-12-31 00:00:00\n2028-12-31 00:00:00' \
  '<none>' -- cron next "0 0 31 2,4,6,9,11,12 *" --from "2026-01-01 00:00:00" --count 3
check "30 April" 0 $'2027-04-30 00:00:00\n2028-04-30 00:00:00' '<none>' -- \
  cron next "0 0 30 4 *" --from "2026-05-01 00:00:00" --count 2
check "31 February never occurs" 1 '' \
  '^kern: offset 0: fields day-of-month "31" and month "2": IDS_CRONPARSE_NONEXISTENT_DATE: .+' -- \
  cron next "0 0 31 2 *"
# Daylight time that starts at midnight on 29 February skips 00:30 every time: forty years of searches
# end the listing at once instead of running on to the year 10000.
rule='AAA3BBB,59/0,300/0'
if $windows; then
  skip "bounded search: a zone whose daylight time starts on 29 February needs a POSIX rule"
else
  out=$(TZ=$rule timeout 5 "$kern" cron next "30 0 29 2 *" --from "2026-01-01 00:00:00")
  rc=$?
  [ "$rc" = 0 ] && [ "$out" = none ] || { echo "FAIL: bounded search: status $rc, stdout '$out'"; failures=$((failures + 1)); }
  TZ=$rule check "the same zone, an hour later" 0 '2028-02-29 01:30:00' '<none>' -- \
    cron next "30 1 29 2 *" --from "2026-01-01 00:00:00"
fi

# ISO times carry the offset, which tells the two passes of the repeated hour apart.
check "ISO across the autumn change" 0 $'2026-11-01T01:30:00-04:00\n2026-11-02T01:30:00-05:00' '<none>' -- \
  cron next "30 1 * * *" --from "2026-10-31T12:00:00" --count 2 --iso
check "every minute runs in both passes" 0 \
  $'2026-11-01T01:59:00-04:00\n2026-11-01T01:00:00-05:00\n2026-11-01T01:01:00-05:00' '<none>' -- \
  cron next "* * * * *" --from "2026-11-01T01:58:00-04:00" --count 3 --iso
check "--from in the second pass" 0 '2026-11-01T02:00:00-05:00' '<none>' -- \
  cron next "*/30 * * * *" --from "2026-11-01T01:30:00-05:00" --iso
check "--from in UTC" 0 '2026-03-08T03:30:00-04:00' '<none>' -- \
  cron next "30 2 * * *" --from "2026-03-08T06:00:00Z" --iso
check "--tz over TZ" 0 '2026-11-01T01:30:00+03:00' '<none>' -- \
  cron next "30 1 * * *" --tz $moscow --from "2026-10-31T12:00:00" --iso
if $windows; then
  skip "midnight gap: Santiago's rules are not the US ones"
else
  check "midnight gap skips the day" 0 $'2026-09-05 00:30:00\n2026-09-07 00:30:00' '<none>' -- \
    cron next "30 0 * * *" --tz America/Santiago --from "2026-09-04 12:00:00" --count 2
fi

# A schedule that does not parse is bad data: the entry's offset, the field, the library's message.
check "bad second entry" 1 '' '^kern: offset 10: field minute "bad": IDS_CRONPARSE_INVALID_VALUE: .+' -- \
  cron next "0 0 * * *;bad"
check "bad range" 1 '' '^kern: offset 0: field minute "5-1": IDS_CRONPARSE_INVALID_RANGE: .+' -- cron check "5-1 * * * *"
check "bad step" 1 '' '^kern: offset 3: field weekday "Mon-Fri/8": IDS_CRONPARSE_OUT_OF_RANGE' -- \
  cron check " ; 0 9 * * Mon-Fri/8"
check "never occurs" 1 '' 'fields day-of-month "30" and month "2": IDS_CRONPARSE_NONEXISTENT_DATE' -- \
  cron next "0 0 30 2 *" --from "2026-01-01 00:00:00"
check "too few fields" 1 '' '^kern: offset 2: field weekday missing: IDS_CRONPARSE_VALUE_EXPECTED' -- \
  cron check $'\n\n0 0 * *'
LC_ALL='' LC_MESSAGES='' LANG=ru_RU.UTF-8 check "Russian message" 1 '' \
  '^kern: offset 0: field minute "x": IDS_CRONPARSE_INVALID_VALUE: Расписание: неверное значение$' -- \
  cron check "x * * * *"

# Text after the fifth field is ignored, with a warning: a six-field schedule is not what it seems.
check "six fields" 0 '2026-01-12 00:00:00' \
  '^kern: warning: offset 11: text after the fifth field is ignored: "\? x"$' -- \
  cron next "0 0 1 1 *; 0 0 12 * * ? x" --from "2026-01-01 00:00:00"
check "six fields in check" 0 '0 0 12 * *' 'offset 0: text after the fifth field' -- cron check "0 0 12 * * ?"

# Misuse: status 2 and the reason.
check "count not a number" 2 '' '^kern: --count: "abc" is not a whole number' -- cron next "* * * * *" --count abc
check "negative count" 2 '' '^kern: --count: "-1" is not a whole number' -- cron next "* * * * *" --count -1
check "malformed --from" 2 '' '^kern: --from: "2026-02-30 00:00:00" is not a time' -- \
  cron next "* * * * *" --from "2026-02-30 00:00:00"
check "malformed offset" 2 '' '^kern: --from: ' -- cron next "* * * * *" --from "2026-01-01T00:00:00+5"
check "unknown zone" 2 '' '^kern: --tz: unknown time zone "Nowhere/City"' -- cron next "* * * * *" --tz Nowhere/City
check "no command" 2 '' '^kern: A subcommand is required' -- cron
check "no schedule" 2 '' '^kern: SCHEDULE is required' -- cron check

# Output that cannot be written ends even a long listing.
if [ -w /dev/full ]; then
  timeout 10 "$kern" cron next "* * * * *" --count 1000000000 >/dev/full 2>/tmp/kern-cron-err.$$
  rc=$?
  grep -q '^kern: cannot write standard output$' /tmp/kern-cron-err.$$ && [ "$rc" = 1 ] ||
    { echo "FAIL: /dev/full: status $rc"; failures=$((failures + 1)); }
  rm -f /tmp/kern-cron-err.$$
fi

# Fields as compiled: "*" for every value, also for the day field the other one decides for.
check "masks of two entries" 0 $'0 9 * * 1,2,3,4,5\n0,30 12 1,15 2 0,7' '<none>' -- \
  cron check "0 9 * * Mon-Fri; */30 12 1,15 Feb 7"
days=$(seq -s, 1 31)
check "full masks and steps" 0 \
  $'* * * * *\n* * * * *\n0 0 1 * 1\n'"1,11,16 0 $days * *"$'\n5,25,45 * * 2,3,4 0,1' '<none>' -- \
  cron check $'* * * * *\r*/1 * * * 0-7\n0 0 1 * Mon;1-5,10-20/5 0 1-31 * *;5-59/20 * * feb,MAR-apr sun,MON'

TZ=$moscow check "Moscow has no DST today" 0 $'2026-03-29 02:30:00' '<none>' -- \
  cron next "30 2 * * *" --from "2026-03-28 12:00:00"
if $windows; then
  skip "Moscow 2010 gap: the C runtime has no zone history"
else
  TZ=$moscow check "Moscow 2010 gap" 0 $'2010-03-28 03:30:00' '<none>' -- \
    cron next "30 2 * * *" --from "2010-03-27 12:00:00"
fi

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "kern cron: all checks passed"
