#!/usr/bin/env bash
# Protocol of `kern list`: exit statuses and exact output. Usage: list.sh path/to/kern
set -u
kern="$1"
failures=0
dir="$(mktemp -d)"
trap 'rm -rf "$dir"' EXIT

# run NAME EXPECTED_STATUS EXPECTED_STDOUT -- ARGS...   ({} in ARGS stands for the file $dir/in)
run() {
  local name="$1" status="$2" want="$3"
  shift 4
  local out rc
  out="$("$kern" "$@" 2>&1)"
  rc=$?
  if [ "$rc" != "$status" ] || [ "$out" != "$want" ]; then
    echo "FAIL: $name"
    echo "  status $rc (want $status)"
    echo "  output: $(printf '%q' "$out")"
    echo "  want:   $(printf '%q' "$want")"
    failures=$((failures + 1))
  fi
}
# input BYTES: writes the file the next checks read.
input() { printf "$1" > "$dir/in"; }
f="$dir/in"

input '{1,\n{2},3\n}'
run "canonical text" 0 '' -- list check "$f"
input '\xef\xbb\xbf  {"\xd0\x96", 0123abcd-0000-4000-8000-00000000ffff, YWJj\r\nZGVm, -1.5e2, 12.50}\n\n'
run "UTF-8 with BOM, blanks around" 0 '' -- list check "$f"
input '\xff\xfe{\x00"\x00\x16\x04"\x00}\x00'
run "UTF-16LE with BOM" 0 '' -- list check "$f"
input '{}'
run "empty list" 0 '' -- list check "$f"

input '{1 2}'
run "missing separator" 1 "$f:1:4: error: line 1, column 4: expected \",\" or \"}\"" -- list check "$f"
input '{1,\n  {2}\n  3}'
run "missing separator after a list" 1 "$f:3:3: error: line 3, column 3: expected \",\" or \"}\"" -- list check "$f"
input '{1}{2}'
run "two lists" 1 "$f:1:4: error: line 1, column 4: expected the end of the input" -- list check "$f"
input ''
run "empty file" 1 "$f:1:1: error: line 1, column 1: expected \"{\"" -- list check "$f"
input '{1,,2}'
run "empty item" 1 "$f:1:4: error: line 1, column 4: expected an item" -- list check "$f"
input '{"abc,1}\n'
run "unterminated string" 1 "$f:2:1: error: line 2, column 1: expected a closing quotation mark" -- list check "$f"
input '{"a"\\00x1"}'
run "bad escape" 1 "$f:1:8: error: line 1, column 8: expected four hexadecimal digits" -- list check "$f"
input '{{1},\n  hello world}'
run "not an item" 1 "$f:2:3: error: line 2, column 3: expected an item (a list, a string, a number, a GUID or Base64 data)" -- list check "$f"
input '{1,{2}'
run "unclosed list" 1 "$f:1:7: error: line 1, column 7: expected \",\" or \"}\"" -- list check "$f"
run "missing file" 1 "$dir/none: error: No such file or directory" -- list check "$dir/none"

input '{ 1 ,{ "a""b" ,{}}, "\xf0\x9f\x98\x80" ,YWJj\r\nZGVm }'
run "indented" 0 $'{\n  1,\n  {\n    "a""b",\n    {}\n  },\n  ""\\d83d"\\de00",\n  YWJj\n  ZGVm\n}' -- list fmt "$f"
# The "}" of a list that held a list goes on a new line, however many items follow the inner list.
run "compact" 0 $'{1,\n{"a""b",\n{}\n},""\\d83d"\\de00",YWJj\r\nZGVm\n}' -- list fmt --compact "$f"
input '{"A"\\0041"""}'
run "compact rewrites strings" 0 '{"AA"""}' -- list fmt --compact "$f"
input '{1 2}'
run "fmt of a malformed file" 1 "$f:1:4: error: line 1, column 4: expected \",\" or \"}\"" -- list fmt "$f"

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "kern list: all checks passed"
