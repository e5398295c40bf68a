#!/usr/bin/env bash
# The kern tool's frame: version, help and man page, exit statuses, messages, write errors, language.
set -u
kern="$1"
fail() { echo "FAIL: $*" >&2; exit 1; }

out=$("$kern" --version) || fail "--version exits non-zero"
[[ "$out" =~ ^kern\ [0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "--version printed '$out'"

"$kern" --help | grep -q "^Usage: kern " || fail "--help has no usage line"
"$kern" --help | grep -q "Exit status" || fail "--help does not state the exit statuses"
"$kern" --man | head -1 | grep -q '^\.TH KERN 1' || fail "--man is no man page"

# Misuse: status 2, nothing on standard output, a "kern: " line on standard error.
for args in "" "no-such-command" "--no-such-option"; do
  # shellcheck disable=SC2086
  "$kern" $args >out.txt 2>err.txt
  status=$?
  [[ $status == 2 ]] || fail "'kern $args' exited $status"
  [[ -s out.txt ]] && fail "'kern $args' wrote to standard output"
  [[ -z "$args" ]] || grep -q "^kern: " err.txt || fail "'kern $args' said '$(cat err.txt)'"
done
[[ -s err.txt ]] || fail "no message for an unknown option"
rm -f out.txt err.txt

# A full disk is failed output.
if [[ -w /dev/full ]]; then
  "$kern" --version >/dev/full 2>/dev/null && fail "writing to /dev/full succeeded"
  [[ $? == 1 ]] || fail "writing to /dev/full did not exit 1"
fi
echo ok
