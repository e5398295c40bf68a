#!/usr/bin/env bash
# Protocol of `kern calc`: exact output lines and exit statuses. Usage: calc.sh path/to/kern
set -u
kern="$1"
failures=0
err=$(mktemp)
trap 'rm -f "$err"' EXIT

fail() {
  echo "FAIL: $1"
  shift
  printf '  %s\n' "$@"
  failures=$((failures + 1))
}

# value EXPR EXPECTED [OPTIONS...]: prints EXPECTED, nothing on stderr, status 0.
value() {
  local expr="$1" want="$2"
  shift 2
  local out rc
  out=$("$kern" calc "$@" -- "$expr" 2>"$err")
  rc=$?
  [ "$rc" = 0 ] && [ "$out" = "$want" ] && [ ! -s "$err" ] ||
    fail "$expr" "status $rc, stdout '$out' (want '$want'), stderr '$(cat "$err")'"
}

# error EXPR KEY [TEXT]: nothing on stdout, "kern: KEY: ..." on stderr, status 1.
error() {
  local expr="$1" key="$2" text="${3:-}"
  local out rc line
  out=$("$kern" calc -- "$expr" 2>"$err")
  rc=$?
  line=$(cat "$err")
  [ "$rc" = 1 ] && [ -z "$out" ] && [[ "$line" == "kern: $key: "?* ]] && { [ -z "$text" ] || [ "$line" = "kern: $key: $text" ]; } ||
    fail "$expr" "status $rc, stdout '$out', stderr '$line' (want key $key ${text:+text '$text'})"
}

# Exact quotients and the canonical text.
value '1/3' 0.333333333333333333333333333
value '2/3' 0.666666666666666666666666667
value '-2/3' -0.666666666666666666666666667
value '1/123456789012' 0.000000000008100000072922680656508309
value '0.1 + 0.2' 0.3
value '999999999 + 1' 1000000000
value '10 - 10.00' 0
value '1.50 * 2' 3
value '2 - 3 - 4' -5
value '64 / 4 / 2' 8
value '2 + 3 * 4' 14
value '(2 + 3) * 4' 20
value '-7 % 2' -1
value '7 % -2' 1
value '1 % 0.000000000000000000000000006' -0.000000000000000000000000002
value '--3' 3
value '2 * -3' -6
value '.5 + 5.' 5.5
value $'\t 12.50\r' 12.5
value '007' 7
value '0x1F + 0b101' 36
value '0xffffffffffffffffffffffffffffffff' 340282366920938463463374607431768211455
value '123456789012345678901234567890 * 987654321098765432109876543210' \
  121932631137021795226185032733622923332237463801111263526900

# Functions and rounding modes.
value 'round(2.5, 0, 0)' 2
value 'round(2.5, 0, 1)' 3
value 'round(-0.005, 2, 0)' 0
value 'round(-0.005, 2, 1)' -0.01
value 'round(2.5000000001, 0, 0)' 3
value 'round(1234, -2)' 1200
value 'round(1/3, 5)' 0.33333
value 'round(2.5, 0)' 3
value 'round(2.5, 0)' 2 --mode 0
value 'round(2.5, 0)' 3 --mode 1
value 'round(2.5, 0, 1)' 3 --mode 0
value 'round(1.5, 2.0, 1.0)' 1.5
value 'floor(-1.5)' -2
value 'floor(1.5)' 1
value 'abs(-0.25)' 0.25
value 'pow(2, 10)' 1024
value 'pow(2, -1)' 0.5
value 'pow(2, 0)' 1
value 'pow(4, 0.5)' 2
value 'pow(1, 999999999)' 1
value 'pow(-1, 999999999)' -1
value 'pow(1.1, 3)' 1.331
value 'round( pow( 3 , 2 ) / 7 , 4 )' 1.2857

# Errors: library keys, the calculator's own keys, syntax columns.
error '1/0' IDS_NUMERROR_DIVIDEBYZERO 'Division by zero'
error '5 % (1 - 1)' IDS_NUMERROR_DIVIDEBYZERO
error 'pow(-8, 1/3)' IDS_NUMERROR_NEGATIVEPOW
error 'pow(0, -0.5)' IDS_NUMERROR_DIVIDEBYZERO
error 'pow(10, 400.5)' IDS_NUMERROR_OVERFLOW
error '0xG1' IDS_ERR_INVALID_HEX_STRING_FORMAT
error '0x' IDS_ERR_INVALID_HEX_STRING_FORMAT
error '0b102' IDS_ERR_INVALID_BINARY_STRING_FORMAT
error 'round(2.5, 0, 2)' IDS_ERR_ILLEGAL_ARGUMENT
error 'round(2.5, 0.5)' IDS_ERR_ILLEGAL_ARGUMENT
error 'round(2.5, 3000000000)' IDS_ERR_ILLEGAL_ARGUMENT
error 'pow(1.5, 999999999)' IDS_CALC_TOO_LARGE
error 'pow(0.5, 999999999)' IDS_CALC_TOO_LARGE
error 'pow(10, 10000)' IDS_CALC_TOO_LARGE
error 'pow(2, -40000)' IDS_CALC_TOO_LARGE
error "1$(printf '0%.0s' {1..10000})" IDS_CALC_TOO_LARGE
error "$(printf '9%.0s' {1..6000}) * $(printf '9%.0s' {1..6000})" IDS_CALC_TOO_LARGE
error '1 +' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 4'
error '(1' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 3'
error '1e5' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 2'
error '1.2.3' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 4'
error '.' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 1'
error '+1' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 1'
error '' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 1'
error '2 ** 3' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 4'
error 'sqrt(4)' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 1'
error 'round(1)' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 8'
error 'pow(1, 2, 3)' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 9'
error '1/0 + ' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 7'
error '3 × 2' IDS_CALC_SYNTAX_ERROR 'Syntax error at column 3'
error "$(printf '(%.0s' {1..257})1$(printf ')%.0s' {1..257})" IDS_CALC_TOO_DEEP 'The expression nests too deeply at column 258'
if [ "${KERN83_TEST_SYSTEM:-linux}" = windows ]; then
  echo "skipped: 100,000 signs in one argument (a Windows command line holds 32,767 characters)"
else
  error "$(printf -- '-%.0s' {1..100000})1" IDS_CALC_TOO_DEEP 'The expression nests too deeply at column 258'
fi

# Both levels of nesting just below the limit still work.
value "$(printf '(%.0s' {1..256})1$(printf ')%.0s' {1..256})" 1
value "$(printf -- '-%.0s' {1..256})1" 1

# Batch: one output line per input line, blank lines echoed empty, failures counted in the status.
out=$(printf '1/3\n\n  \n1/0\n(\nround(2.5,0)\r\n0x\n2/3' | "$kern" calc --batch --mode 0 2>"$err")
rc=$?
want=$'0.333333333333333333333333333\n\n\nerror: IDS_NUMERROR_DIVIDEBYZERO: Division by zero
error: IDS_CALC_SYNTAX_ERROR: Syntax error at column 2\n2
error: IDS_ERR_INVALID_HEX_STRING_FORMAT: Invalid hexadecimal literal\n0.666666666666666666666666667'
[ "$rc" = 1 ] && [ "$out" = "$want" ] && [ ! -s "$err" ] || fail "batch" "status $rc" "stdout: $out"

out=$(printf '1+1\n2*2\n' | "$kern" calc --batch)
rc=$?
[ "$rc" = 0 ] && [ "$out" = $'2\n4' ] || fail "batch without failures" "status $rc, stdout: $out"

out=$("$kern" calc --batch </dev/null)
rc=$?
[ "$rc" = 0 ] && [ -z "$out" ] || fail "batch of nothing" "status $rc, stdout: $out"

# A driver writes a line and waits for its answer: the answer must not sit in a buffer.
coproc CALC { "$kern" calc --batch; }
calc_pid=$CALC_PID  # bash unsets CALC_PID as soon as the coprocess has ended
echo '6 * 7' >&"${CALC[1]}"
if read -r -t 10 answer <&"${CALC[0]}"; then
  [ "$answer" = 42 ] || fail "interactive batch" "answer '$answer'"
else
  fail "interactive batch" "no answer within 10 s"
fi
exec {CALC[1]}>&-
wait "$calc_pid" || fail "interactive batch" "status $?"

# Without an expression the calculator reads standard input as --batch does.
out=$(printf '1/3\n\n1/0\n' | "$kern" calc 2>"$err")
rc=$?
[ "$rc" = 1 ] && [ "$out" = $'0.333333333333333333333333333\n\nerror: IDS_NUMERROR_DIVIDEBYZERO: Division by zero' ] &&
  [ ! -s "$err" ] || fail "standard input without --batch" "status $rc" "stdout: $out"

# Messages follow the environment's language; LC_ALL wins over LANG.
out=$(LC_ALL='' LC_MESSAGES='' LANG=ru_RU.UTF-8 "$kern" calc 1/0 2>&1)
[ "$out" = "kern: IDS_NUMERROR_DIVIDEBYZERO: Деление на ноль" ] || fail "Russian message" "got '$out'"
out=$(printf '1/0\n' | LC_ALL=C LANG=ru_RU.UTF-8 "$kern" calc --batch)
[ "$out" = "error: IDS_NUMERROR_DIVIDEBYZERO: Division by zero" ] || fail "LC_ALL over LANG" "got '$out'"

# Command-line misuse: status 2, nothing on standard output, "kern: " lines on standard error.
misuse() {
  local want="$1" out rc
  shift
  out=$("$kern" "$@" </dev/null 2>"$err")
  rc=$?
  [ "$rc" = 2 ] && [ -z "$out" ] && grep -q "^kern: $want" "$err" ||
    fail "misuse: kern $*" "status $rc, stdout '$out', stderr '$(cat "$err")'"
}
misuse 'The following argument was not expected: --bacth' calc --bacth 1
misuse 'The following argument was not expected: -x' calc -x
misuse '--mode: 2 not in' calc --mode 2 1
misuse 'one expression expected' calc 1 2
misuse '--batch reads' calc --batch 1
misuse '--mode' calc --mode

# An expression may start with a minus; after "--" even one that looks like an option is an expression.
out=$("$kern" calc '-abs(3)')
[ "$out" = -3 ] || fail "expression starting with a minus, without --" "stdout '$out'"
out=$("$kern" calc '-5 + 3')
[ "$out" = -2 ] || fail "negative number first, without --" "stdout '$out'"
"$kern" calc -- --bacth >/dev/null 2>"$err"
rc=$?
[ "$rc" = 1 ] && grep -q '^kern: IDS_CALC_SYNTAX_ERROR' "$err" || fail "word after --" "status $rc"

# Output that cannot be written is a failure, also for endless input.
if [ -w /dev/full ]; then
  "$kern" calc 1 >/dev/full 2>"$err"
  rc=$?
  [ "$rc" = 1 ] && grep -q '^kern: cannot write standard output' "$err" || fail "calc 1 >/dev/full" "status $rc"
  timeout 10 bash -c "yes 1 | '$kern' calc >/dev/full 2>/dev/null"
  rc=$?
  [ "$rc" = 1 ] || fail "endless input to /dev/full" "status $rc"
fi

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "kern calc: all checks passed"
