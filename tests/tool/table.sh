#!/usr/bin/env bash
# Protocol of `kern table`: exact output bytes and exit statuses. Usage: table.sh path/to/kern
set -u
kern="$1"
failures=0
dir="$(mktemp -d)"
trap 'rm -rf "$dir"' EXIT
f="$dir/in.csv"
windows=false
[ "${KERN83_TEST_SYSTEM:-linux}" = windows ] && windows=true

# run NAME EXPECTED_STATUS EXPECTED_OUTPUT -- ARGS...: standard output and error together, byte for byte.
run() {
  local name="$1" status="$2" want="$3"
  shift 4
  local out rc
  out="$("$kern" "$@" 2>&1; echo "rc=$?")"
  rc="${out##*rc=}"
  out="${out%rc=*}"
  if [ "$rc" != "$status" ] || [ "$out" != "$want" ]; then
    echo "FAIL: $name"
    echo "  status $rc (want $status)"
    echo "  output: $(printf '%q' "$out")"
    echo "  want:   $(printf '%q' "$want")"
    failures=$((failures + 1))
  fi
}
# input BYTES: writes the CSV file the next checks read.
input() { printf "$1" > "$f"; }

# Reading: a byte-order mark, CRLF and LF, quoted commas, quotation marks and line breaks, empty lines.
# Typing per cell: plain decimals are numbers in canonical text, everything else stays a string.
input '\xef\xbb\xbfid,note,amount\r\n1,"a, b",-0.50\r\n\r\n2,"say ""hi""",007\n3,"two\nlines",12.30\n4, 12,1.5e3'
run "CSV in, CSV out" 0 $'id,note,amount\r\n1,"a, b",-0.5\r\n2,"say ""hi""",7\r\n3,"two\nlines",12.3\r\n4, 12,1.5e3\r\n' \
  -- table --csv "$f" --format csv
run "text: numbers right, strings left, breaks as spaces" 0 \
  $'id  note       amount\n--  ---------  ------\n 1  a, b         -0.5\n 2  say "hi"        7\n 3  two lines    12.3\n 4   12        1.5e3\n' \
  -- table --csv "$f"
run "standard input" 0 $'a\r\n1\r\n""\r\n' -- table --csv - --format csv < <(printf 'a\n1\n""\n')

# Cyrillic names and values: matched without regard to case, aligned by characters.
input 'имя,сумма\nАнна,10\nБорис,2.5\nанна,-1\nАнна,0.50\n'
run "group in order of first appearance, exact totals" 0 $'имя    сумма\n-----  -----\nАнна    10.5\nБорис    2.5\nанна      -1\n' \
  -- table --csv "$f" --group-by ИМЯ --total Сумма
run "total without groups" 0 $'сумма\r\n12\r\n' -- table --csv "$f" --total сумма --format csv
run "find a string, exactly" 0 $'имя,сумма\r\nанна,-1\r\n' -- table --csv "$f" --find ИМЯ=анна --format csv

# Find compares numbers by value; the sort is stable and puts numbers before strings.
input 'id,k,v\n1,b,1.5\n2,a,2\n3,b,1.50\n4,10,2\n5,a,1.5\n6,9,x\n'
run "find a number" 0 $'id,k,v\r\n1,b,1.5\r\n3,b,1.5\r\n5,a,1.5\r\n' -- table --csv "$f" --find v=1.500 --format csv
run "stable sort" 0 $'id,k,v\r\n6,9,x\r\n4,10,2\r\n2,a,2\r\n5,a,1.5\r\n1,b,1.5\r\n3,b,1.5\r\n' \
  -- table --csv "$f" --sort k --format csv
run "two keys" 0 $'id,k,v\r\n1,b,1.5\r\n3,b,1.5\r\n5,a,1.5\r\n2,a,2\r\n4,10,2\r\n6,9,x\r\n' \
  -- table --csv "$f" --sort "K Desc, v" --format csv
run "find, sort, then group" 0 $'k,v\r\n10,2\r\na,2\r\n' -- table --csv "$f" --find v=2 --sort k --group-by k --total v --format csv
run "a total of non-numbers adds nothing" 0 $'k\r\n0\r\n' -- table --csv "$f" --find id=2 --total k --format csv

# Save and load: the same table back, and the steps on a loaded table give what they give on CSV.
"$kern" table --csv "$f" --save "$dir/t.ls" || { echo "FAIL: save"; failures=$((failures + 1)); }
run "round trip" 0 "$("$kern" table --csv "$f")"$'\n' -- table --load "$dir/t.ls"
run "steps on a loaded table" 0 $'k,v\r\n10,2\r\na,2\r\n' -- table --load "$dir/t.ls" --find V=2 --sort k --group-by k --total v --format csv
if $windows; then  # Wine opens /dev/fd/N in its server's process, where it is another file
  "$kern" table --csv "$f" --save - >"$dir/stdout.ls"
  run "save to standard output" 0 $'id,k,v\r\n1,b,1.5\r\n3,b,1.5\r\n5,a,1.5\r\n' \
    -- table --load "$dir/stdout.ls" --find v=1.5 --format csv
else
  run "save to standard output" 0 $'id,k,v\r\n1,b,1.5\r\n3,b,1.5\r\n5,a,1.5\r\n' \
    -- table --load <("$kern" table --csv "$f" --save -) --find v=1.5 --format csv
fi
run "not a saved table" 1 "kern: $f: not a table saved by kern table: line 1, column 1: expected \"{\""$'\n' -- table --load "$f"

# Grouping while reading, past 65,536 rows and with more groups than that, against sums in cents by awk.
awk 'BEGIN { print "g,h,amount"
  for (i = 1; i <= 150000; i++) printf "g%d,h%d,%d.%02d\n", (i * 7919) % 1001, i % 100003, i % 2000 - 1000, i % 100 }' > "$f"
for key in g h; do
  want="$(awk -F, -v key=$key 'function canon(c,  a, s) {
      s = c < 0 ? "-" : ""; a = c < 0 ? -c : c
      if (a % 100 == 0) return s int(a / 100)
      return a % 10 == 0 ? s int(a / 100) "." (a % 100) / 10 : s sprintf("%d.%02d", int(a / 100), a % 100) }
    NR > 1 { split($3, p, "."); c = p[1] * 100 + (substr($3, 1, 1) == "-" ? -p[2] : p[2]); k = key == "g" ? $1 : $2
      if (!(k in sum)) order[n++] = k; sum[k] += c }
    END { print key ",amount"; for (i = 0; i < n; i++) print order[i] "," canon(sum[order[i]]) }' "$f")"
  got="$("$kern" table --csv "$f" --group-by $key --total amount --format csv | tr -d '\r')"
  [ "$got" = "$want" ] || { echo "FAIL: grouping by $key differs from awk"; failures=$((failures + 1)); }
done

# Data errors: status 1, one line naming the problem and the line of the record.
input 'a,b\n1,"x\ny"\n2\n'
run "too few fields" 1 "kern: $f: line 4: 1 field where the header has 2"$'\n' -- table --csv "$f"
input 'a,b\n1,2,3\n'
run "too many fields" 1 "kern: $f: line 2: 3 fields where the header has 2"$'\n' -- table --csv "$f"
input 'a\n"ok\n\xff"\n'
run "invalid UTF-8" 1 "kern: $f: line 3: invalid UTF-8"$'\n' -- table --csv "$f"
input 'a,b\n1,x"y\n'
run "stray quotation mark" 1 "kern: $f: line 2: a quotation mark inside an unquoted field (quote the field and double the mark)"$'\n' -- table --csv "$f"
input 'a,b\n1,"x\n'
run "unclosed quote" 1 "kern: $f: line 2: a quoted field is not closed"$'\n' -- table --csv "$f"
input ''
run "empty input" 1 "kern: $f: no header record (the input is empty)"$'\n' -- table --csv "$f"
input 'a,b\n1,2\n'
run "unknown column" 1 $'kern: --group-by: no column "c"\n' -- table --csv "$f" --group-by c
run "malformed sort text" 1 $'kern: --sort: Invalid sort order: a upward\n' -- table --csv "$f" --sort "a upward"
run "unknown sort column" 1 $'kern: --sort: Column not found: c\n' -- table --csv "$f" --sort "a, c"
input 'a,A,unit price\n1,2,3\n'
run "names options cannot name" 1 \
  $'kern: --find: no column "unit price" that options can name (the name is no identifier, or an earlier column has it)\n' \
  -- table --csv "$f" --find "unit price=3" --total a
run "the first of two equal names" 0 $'a\r\n1\r\n' -- table --csv "$f" --total A --format csv
run "missing file" 1 "kern: $dir/none: No such file or directory"$'\n' -- table --csv "$dir/none"
run "directory" 1 "kern: $dir: Is a directory"$'\n' -- table --load "$dir"
out="$("$kern" table --csv "$f" 2>&1 >/dev/full)"
[ $? = 1 ] && [ "$out" = "kern: standard output: No space left on device" ] || { echo "FAIL: write error: $out"; failures=$((failures + 1)); }

# Usage errors: status 2.
run "no input" 2 $'kern: one of --csv FILE and --load FILE is required\n' -- table
run "two inputs" 2 $'kern: --csv excludes --load (see kern table --help)\n' -- table --csv "$f" --load "$f"
run "bad format" 2 $'kern: --format: xml not in {text,csv} (see kern table --help)\n' -- table --csv "$f" --format xml
run "save and format" 2 $'kern: --format excludes --save (see kern table --help)\n' -- table --csv "$f" --save x --format csv
run "find without value" 2 $'kern: --find takes COL=VALUE, not "a"\n' -- table --csv "$f" --find a
run "empty name" 2 $'kern: --total: an empty name in "a,"\n' -- table --csv "$f" --total a,
run "a column twice" 2 $'kern: --group-by, --total: the column "A" is named twice\n' -- table --csv "$f" --group-by a --total A
run "extra argument" 2 $'kern: The following argument was not expected: x (see kern table --help)\n' -- table --csv "$f" x

# A failing run leaves --save's file as it was and no temporary file behind.
echo kept > "$dir/out.ls"
run "failure keeps the file" 1 $'kern: --sort: Column not found: c\n' -- table --csv "$f" --sort c --save "$dir/out.ls"
[ "$(cat "$dir/out.ls")" = kept ] && [ "$(ls "$dir" | grep -c tmp)" = 0 ] || { echo "FAIL: --save file touched"; failures=$((failures + 1)); }
# A device is written in place, never replaced by a file.
if $windows; then
  echo "skipped: --save into a pipe (Wine does not open named pipes of the host)"
else
  mkfifo "$dir/pipe"
  timeout 20 cat "$dir/pipe" >"$dir/from-pipe" &
  "$kern" table --csv "$f" --save "$dir/pipe" && wait && [ -p "$dir/pipe" ] && [ -s "$dir/from-pipe" ] ||
    { echo "FAIL: --save into a pipe"; failures=$((failures + 1)); }
fi
run "unwritable target" 1 "kern: $dir/no/out.ls: No such file or directory"$'\n' -- table --csv "$f" --save "$dir/no/out.ls"

"$kern" table --help | grep -q "Exit status: 0 done" || { echo "FAIL: --help has no manual"; failures=$((failures + 1)); }

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "kern table: all checks passed"
