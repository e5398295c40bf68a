#!/usr/bin/env bash
# The kern tool's frame: version, help and man page, exit statuses, messages, write errors.
set -u
kern="$1"
fail() { echo "FAIL: $*" >&2; exit 1; }
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

out=$("$kern" --version) || fail "--version exits non-zero"
[[ "$out" =~ ^kern\ [0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "--version printed '$out'"

"$kern" --help | grep -q "^Usage: kern " || fail "--help has no usage line"
"$kern" --help | grep -q "Exit status" || fail "--help does not state the exit statuses"
"$kern" --man | head -1 | grep -q '^\.TH KERN 1' || fail "--man is no man page"

# Misuse: status 2, nothing on standard output, one "kern: " line on standard error naming the manual.
for args in "" "no-such-command" "--no-such-option"; do
  # shellcheck disable=SC2086
  "$kern" $args >"$dir/out" 2>"$dir/err"
  status=$?
  [[ $status == 2 ]] || fail "'kern $args' exited $status"
  [[ -s "$dir/out" ]] && fail "'kern $args' wrote to standard output"
  [[ -z "$args" ]] || grep -q "^kern: .* (see kern --help)$" "$dir/err" || fail "'kern $args' said '$(cat "$dir/err")'"
done
err=$("$kern" list check 2>&1)
[ $? = 2 ] && [[ "$err" == "kern: "*"(see kern list check --help)" ]] || fail "misuse printed '$err'"

# A full disk is failed output.
if [[ -w /dev/full ]]; then
  "$kern" --version >/dev/full 2>/dev/null && fail "writing to /dev/full succeeded"
  [[ $? == 1 ]] || fail "writing to /dev/full did not exit 1"
fi
echo ok
