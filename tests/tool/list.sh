#!/usr/bin/env bash
# Protocol of `kern list`: exit statuses, exact output and messages, the JSON bridge, bounded memory.
# Usage: list.sh path/to/kern
set -u
kern="$1"
root="$(cd "$(dirname "$0")/../.." && pwd)"
failures=0
dir="$(mktemp -d)"
trap 'rm -rf "$dir"' EXIT
f="$dir/in"
e='Invalid data format in list stream'
windows=false
[ "${KERN83_TEST_SYSTEM:-linux}" = windows ] && windows=true
# The system's message for a missing file: strerror on Linux, the system's own text on Windows.
notFound='No such file or directory'
$windows && notFound="$("$kern" list check "$dir/none" 2>&1 | sed 's/^.*none: //')"

# check NAME WANT GOT: one comparison.
check() {
  if [ "$2" != "$3" ]; then
    echo "FAIL: $1"
    echo "  got:  $(printf '%q' "$3")"
    echo "  want: $(printf '%q' "$2")"
    failures=$((failures + 1))
  fi
}
# run NAME STATUS STDOUT STDERR -- ARGS...   (standard input is the caller's; STDOUT * is not compared)
run() {
  local name="$1" status="$2" out="$3" err="$4"
  shift 5
  "$kern" "$@" >"$dir/out" 2>"$dir/err"
  check "$name: status" "$status" "$?"
  [ "$out" = '*' ] || check "$name: standard output" "$out" "$(cat "$dir/out")"
  check "$name: standard error" "$err" "$(cat "$dir/err")"
}
# input BYTES: writes the file the next checks read.
input() { printf "$1" >"$f"; }

# ---- check: well-formed files, the error line, several files, standard input
input '{1,\n{2},3\n}'
run "canonical text" 0 '' '' -- list check "$f"
input '\xef\xbb\xbf  {"\xd0\x96", 0123abcd-0000-4000-8000-00000000ffff, YWJj\r\nZGVm, -1.5e2, 12.50}\n\n'
run "UTF-8 with BOM, blanks around" 0 '' '' -- list check "$f"
input '\xff\xfe{\x00"\x00\x16\x04"\x00}\x00'
run "UTF-16LE with BOM" 0 '' '' -- list check "$f"

while IFS='|' read -r name text want; do
  input "$text"
  run "$name" 1 '' "kern: $f:$want" -- list check "$f"
done <<'EOF'
missing separator|{1 2}|1:4: Invalid data format in list stream: expected "," or "}"
missing separator after a list|{1,\n  {2}\n  3}|3:3: Invalid data format in list stream: expected "," or "}"
two lists|{1}{2}|1:4: Invalid data format in list stream: expected the end of the input
empty file||1:1: Invalid data format in list stream: expected "{"
empty item|{1,,2}|1:4: Invalid data format in list stream: expected an item
unterminated string|{"abc,1}\n|2:1: Invalid data format in list stream: expected a closing quotation mark
bad escape|{"a"\\00x1"}|1:8: Invalid data format in list stream: expected four hexadecimal digits
not an item|{{1},\n  hello world}|2:3: Invalid data format in list stream: expected an item (a list, a string, a number, a GUID or Base64 data)
EOF

printf '{1}' >"$dir/good.ls"
printf '{1 2}' >"$dir/bad1.ls"
printf '{\n,}' >"$dir/bad2.ls"
run "several files, each fault once" 1 '' "kern: $dir/bad1.ls:1:4: $e: expected \",\" or \"}\"
kern: $dir/bad2.ls:2:1: $e: expected an item or \"}\"" -- list check "$dir/good.ls" "$dir/bad1.ls" "$dir/good.ls" "$dir/bad2.ls"
run "standard input" 1 '' "kern: -:1:4: $e: expected \",\" or \"}\"" -- list check - <"$dir/bad1.ls"
run "missing file" 1 '' "kern: $dir/none: $notFound" -- list check "$dir/good.ls" "$dir/none"
LANG=ru_RU.UTF-8 run "message language" 1 '' "kern: -:1:4: Неверный формат данных в потоке списка: expected \",\" or \"}\"" \
  -- list check - <"$dir/bad1.ls"

# ---- misuse: status 2, the parser's message
for args in "list" "list check" "list fmt --bogus $f" "list to-json $f $f"; do
  # shellcheck disable=SC2086
  "$kern" $args >"$dir/out" 2>"$dir/err"
  check "'kern $args': status" 2 "$?"
  check "'kern $args': a kern: line" "kern: " "$(head -c 6 "$dir/err")"
done

# The manual: every subcommand's help, in the man page too.
for command in check fmt to-json from-json; do
  "$kern" list $command --help | grep -q "Exit status" || check "$command --help states the exit statuses" yes no
  "$kern" --man | grep -q "^\.SH \"KERN LIST $(echo $command | tr a-z A-Z)\"" || check "man page section for $command" yes no
done

# ---- fmt
input '{ 1 ,{ "a""b" ,{}}, "\xf0\x9f\x98\x80" ,YWJj\r\nZGVm }'
run "indented" 0 $'{\n  1,\n  {\n    "a""b",\n    {}\n  },\n  ""\\d83d"\\de00",\n  YWJj\n  ZGVm\n}' '' -- list fmt "$f"
# The "}" of a list that held a list goes on a new line, however many items follow the inner list.
run "compact" 0 $'{1,\n{"a""b",\n{}\n},""\\d83d"\\de00",YWJj\r\nZGVm\n}' '' -- list fmt --compact - <"$f"
input '{"A"\\0041"""}'
run "compact rewrites strings" 0 '{"AA"""}' '' -- list fmt --compact "$f"
input '{1,{2 3}}'
run "fmt stops at the fault" 1 $'{\n  1,\n  {' "kern: $f:1:7: $e: expected \",\" or \"}\"" -- list fmt "$f"

# ---- write errors
if [ -w /dev/full ]; then
  printf '[1]' >"$dir/one.json"
  for args in "fmt $f" "fmt --compact $f" "to-json $f" "from-json $dir/one.json"; do
    # shellcheck disable=SC2086
    "$kern" list $args >/dev/full 2>"$dir/err"
    check "'$args' to a full disk: status" 1 "$?"
    check "'$args' to a full disk: message" "kern: cannot write standard output" "$(cat "$dir/err")"
  done
fi

# ---- JSON: every kind of item, both ways
input '{"a""\\b"\\d83d"\\de00"\\d800\t\x01é", 12.50, -0, 1E+5, +7, 007, 1., .5, inf, -NaN, \xd9\xa3,
0123ABCD-0000-4000-8000-00000000ffff, YWJj, QUJDRA==, YWJj\r\nZGVm, YWJj\r\n, {}}'
json='["a\"\\b😀\ud800\t\u0001é",12.50,-0,1E+5,{"number":"+7"},{"number":"007"},{"number":"1."},{"number":".5"},{"number":"inf"},{"number":"-NaN"},{"number":"٣"},{"guid":"0123ABCD-0000-4000-8000-00000000ffff"},{"base64":"YWJj"},{"base64":"QUJDRA=="},{"raw":"YWJj\r\nZGVm"},{"raw":"YWJj\r\n"},
[]
]'
run "to-json" 0 "$json" '' -- list to-json "$f"
"$kern" list fmt --compact "$f" >"$dir/want"
printf '%s' "$json" | "$kern" list from-json - >"$dir/got"
check "from-json of to-json is the compact text" "$(od -c "$dir/want")" "$(od -c "$dir/got")"
b64=$(printf 'x%.0s' $(seq 48) | base64 -w0)  # 64 characters: the writer breaks the line after them
run "base64 gets the writer's line breaks" 0 $'{1,\n{'"$b64"$'\r\n,'"$b64"$'\r\n}\n}' '' -- list from-json - <<<"[1,[{\"base64\":\"$b64\"},{\"raw\":\"$b64\\r\\n\"}]]"
run "true, false, escapes, a zero unit" 0 '{1,0,"q""/"\d83d"\de00","ab"}' '' -- list from-json - \
  <<<' [ true , false,"q\"\/\ud83d\ude00", "ab\u0000cd" ] '

# Malformed JSON: the output up to the fault has been written; the message says where and why.
while IFS='|' read -r name text want; do
  printf "$text" | "$kern" list from-json - >/dev/null 2>"$dir/err"
  check "from-json, $name: status" 1 "$?"
  check "from-json, $name: message" "kern: -:$want" "$(cat "$dir/err")"
done <<'EOF'
not an array|{"guid":"x"}|1:1: expected "[": the document is one array
missing comma|[1 2]|1:4: expected "," or "]"
trailing comma|[1,]|1:4: expected a value
two documents|[1]\n [2]|2:2: expected the end of the input
null|[1,\n  null]|2:3: null has no list-stream form
bad literal|[tru]|1:2: expected a value
leading zero|[01]|1:3: expected "," or "]"
bare point|[1.]|1:4: expected a digit
unknown tag|[{"date":"20240101"}]|1:3: expected a tag: "number", "guid", "base64" or "raw"
two members|[{"guid":"0123abcd-0000-4000-8000-00000000ffff","x":1}]|1:48: expected "}": a tagged object has one member
bad GUID|[{"guid": "0123abcd"}]|1:11: expected a GUID: 36 characters, hexadecimal digits in groups 8-4-4-4-12
not a number|[{"number": "12x"}]|1:13: expected the text of a number (an optional sign; digits, a point, an exponent; inf, nan)
bad base64|[{"base64": "YWJ\\r\\nj"}]|1:13: expected Base64 data without line breaks (A-Z a-z 0-9 + /, "=" padding)
bad raw|[{"raw": " YWJj"}]|1:10: expected the text of a number, a GUID or Base64 data as it stands
control character|["a\tb"]|1:4: expected an escape (\n, \t, \u0000...) instead of a control character in a string
bad escape|["\\x"]|1:4: expected an escape: \" \\ \/ \b \f \n \r \t or \u and four hexadecimal digits
ill-formed UTF-8|["é", "\xc3("]|1:8: ill-formed UTF-8
unterminated|["abc|1:6: expected a closing quotation mark
EOF

# Round trips over real data: the golden files, the examples and the benchmark rows' layout.
for file in "$root"/tests/golden/*.txt "$root"/examples/*.ls; do
  "$kern" list fmt --compact "$file" >"$dir/want" 2>"$dir/want.err"
  want_status=$?
  "$kern" list to-json "$file" 2>"$dir/got.err" | "$kern" list from-json - >"$dir/got" 2>>"$dir/got.err"
  if [ "$want_status" = 0 ]; then
    check "round trip of $(basename "$file")" "$(md5sum <"$dir/want")" "$(md5sum <"$dir/got")"
  else
    check "to-json of malformed $(basename "$file") fails like fmt" "$(cat "$dir/want.err")" "$(head -1 "$dir/got.err")"
  fi
done
if command -v jq >/dev/null; then
  "$kern" list to-json "$root/examples/table.ls" | jq '.[1][1][1] = "edited"' | "$kern" list from-json - >"$dir/got"
  check "edited through jq" '{1,{"N","edited"},{"S","text with a ""quote"" and cyrillic Привет"}},' \
    "$(grep -a -A3 '^{1,$' "$dir/got" | tr -d '\n')"
fi

# ---- bounded memory: under a cap of 100 MB, which a formatter holding the whole output exceeds on the
# flat file (about 5 times its size) and, indented, on the deep one (10^12 bytes of indentation). Within
# the cap: some 40 MB of libraries and a few MB of buffers.
levels=1000000
python3 -c "import sys; sys.stdout.write('{' * $levels + '}' * $levels)" >"$dir/deep.ls"
python3 -c "
import sys
sys.stdout.write('{')
for i in range(600000): sys.stdout.write('{%d,\"row %d \"\"quoted\"\"\",12345.%02d},\n' % (i, i, i % 100))
sys.stdout.write('{}}')" >"$dir/flat.ls"
# A sanitizer build reserves terabytes of address space for its shadow memory, and Wine reserves the
# Windows address space up front: no cap is possible there.
cap=100000
ldd "$kern" 2>/dev/null | grep -Eq 'lib(a|t)san' && cap=unlimited
$windows && cap=unlimited && echo "skipped: the memory cap (Wine cannot start under one)"
for mode in "fmt" "fmt --compact" "to-json"; do
  # shellcheck disable=SC2086
  (ulimit -v $cap && "$kern" list $mode "$dir/deep.ls" >/dev/null 2>"$dir/err")
  check "$mode of $levels levels: status" 1 "$?"
  check "$mode of $levels levels: message" "kern: $dir/deep.ls:1:10001: $e: expected at most 10000 nested lists" \
    "$(cat "$dir/err")"
  # shellcheck disable=SC2086
  (ulimit -v $cap && "$kern" list $mode "$dir/flat.ls" >"$dir/flat.out")
  check "$mode of a large flat file under the cap" 0 "$?"
done
(ulimit -v $cap && "$kern" list from-json "$dir/flat.out" | cmp -s - <("$kern" list fmt --compact "$dir/flat.ls"))
check "from-json of a large file under the cap" 0 "$?"
python3 -c "import sys; sys.stdout.write('[' * 10001 + ']' * 10001)" >"$dir/deep.json"
run "from-json depth limit" 1 '*' "kern: $dir/deep.json:1:10001: expected at most 10000 nested arrays" -- \
  list from-json "$dir/deep.json"
head -c 10000 "$dir/deep.ls" >"$dir/limit.ls"
tail -c 10000 "$dir/deep.ls" >>"$dir/limit.ls"
run "exactly at the limit" 0 '' '' -- list check "$dir/limit.ls"

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "kern list: all checks passed"
