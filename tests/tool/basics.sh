#!/usr/bin/env bash
# The kern tool's frame: version, help, and a refusal of unknown subcommands.
set -u
kern="$1"
fail() { echo "FAIL: $*" >&2; exit 1; }

out=$("$kern" --version) || fail "--version exits non-zero"
[[ "$out" =~ ^kern\ [0-9]+\.[0-9]+\.[0-9]+$ ]] || fail "--version printed '$out'"

"$kern" --help | grep -q "Usage" || fail "--help has no usage line"

"$kern" no-such-command >/dev/null 2>&1 && fail "an unknown subcommand succeeded"
# A malformed command line: status 2 and one line, whatever the subcommand.
err=$("$kern" list check 2>&1)
[ $? = 2 ] && [ "$err" = "kern: file is required (see kern list check --help)" ] || fail "misuse printed '$err'"
echo ok
