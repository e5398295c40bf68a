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

export TZ=America/New_York

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
check "29 February within five passes" 0 $'2032-02-29 00:00:00' '<none>' -- \
  cron next "0 0 29 2 *" --from "2028-03-01 00:00:00"
check "29 February too far: none and nothing after" 0 'none' '<none>' -- \
  cron next "0 0 29 2 *" --from "2096-03-01 00:00:00" --count 3
check "default count is one" 0 '2026-06-01 00:00:00' '<none>' -- cron next "0 0 1 6 *" --from "2026-01-01 00:00:00"

check "bad second entry" 2 '' '^error: offset 10: IDS_CRONPARSE_INVALID_VALUE: .+' -- cron next "0 0 * * *;bad"
check "bad range" 2 '' '^error: offset 0: IDS_CRONPARSE_INVALID_RANGE: .+' -- cron check "5-1 * * * *"
check "never occurs" 2 '' '^error: offset 0: IDS_CRONPARSE_NONEXISTENT_DATE: .+' -- cron next "0 0 30 2 *" --from "2026-01-01 00:00:00"
check "too few fields" 2 '' 'offset 2: IDS_CRONPARSE_VALUE_EXPECTED' -- cron check $'\n\n0 0 * *'
check "malformed --from" 1 '' 'YYYY-MM-DD' -- cron next "* * * * *" --from "2026-02-30 00:00:00"

check "masks of two entries" 0 $'0 9 - 1,2,3,4,5,6,7,8,9,10,11,12 1,2,3,4,5\n0,30 12 1,15 2 0,7' '<none>' -- \
  cron check "0 9 * * Mon-Fri; */30 12 1,15 Feb 7"

TZ=Europe/Moscow check "Moscow has no DST today" 0 $'2026-03-29 02:30:00' '<none>' -- \
  cron next "30 2 * * *" --from "2026-03-28 12:00:00"
TZ=Europe/Moscow check "Moscow 2010 gap" 0 $'2010-03-28 03:30:00' '<none>' -- \
  cron next "30 2 * * *" --from "2010-03-27 12:00:00"

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "kern cron: all checks passed"
