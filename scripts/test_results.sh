# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# What came of tests, counted from their closing lines. Source it after scripts/common.sh.

# A test binary's closing lines, added up in $passed, $failed and $skipped.
passed=0 failed=0 skipped=0
sum_of() {
  awk -v mark="[$1]" 'index($0, mark) == 1 && match(substr($0, 14), /^[0-9]+ test/) {
    sum += substr($0, 14); found = 1 } END { if (found) print sum }' "$2"
}
# count_gtest NAME LOG STATUS
count_gtest() {
  local name=$1 log=$2 status=$3 p f s
  # One log may have more than one run. Nothing at all is not 0.
  p=$(sum_of '  PASSED  ' "$log") f=$(sum_of '  FAILED  ' "$log") s=$(sum_of '  SKIPPED ' "$log")
  # In brief gtest closes with no line of these: each failure has one of its own.
  [ -n "$f" ] || f=$(grep -cE '^\[  FAILED  \] .* \([0-9]+ ms\)$' "$log") || f=
  # A binary that died before its closing lines is one failure.
  if [ "$status" -ne 0 ] && [ -z "$f" ]; then f=1; fi
  # Nor is it a success that no test ran.
  if [ "${p:-0}" -eq 0 ] && [ -z "$f" ]; then f=1; fi
  passed=$((passed + ${p:-0})) failed=$((failed + ${f:-0})) skipped=$((skipped + ${s:-0}))
  # In one line: other tests may have theirs at the same time.
  say "$name: ${p:-0} passed, ${f:-0} failed, ${s:-0} skipped"
  [ "${f:-0}" -eq 0 ] || list_failed "$name" "$log"
}

# list_failed NAME [LOG]: one more of those that end_tests names, whichever process found it.
list_failed() { printf '%s\n' "$1${2:+: $2}" >>"$LOGS/failed"; }

# end_tests [WHICH]: tells what came of all, and fails when something did.
end_tests() {
  if [ -s "$LOGS/failed" ]; then
    say "failed:"
    sed 's/^/  /' "$LOGS/failed" >&2
  fi
  say "the logs are in $LOGS"
  echo "tests${1:+ $1}: $passed passed, $failed failed, $skipped skipped"
  [ "$failed" -eq 0 ] && [ "$skipped" -eq 0 ]
}

# run_tests NAME COMMAND...: runs a test binary with its output in a log, shown when it fails.
run_tests() {
  local name=$1 log=$LOGS/$1.log status=0
  shift
  "$@" >"$log" 2>&1 || status=$?
  report_tests "$name" "$status"
}

# report_tests NAME STATUS: what came of it.
report_tests() {
  local log=$LOGS/$1.log
  if [ "$2" -ne 0 ]; then
    # Of an assertion all that it says.
    awk '/Failure$/ { in_it = 1 }
      in_it || /^\[  FAILED|error:|ERROR:|runtime error/ { print substr($0, 1, 300) }
      /^\[/ { in_it = 0 }' "$log" | sed 's/, where GetParam() = [0-9]*-byte object <[^>]*>//' | head -n 60 >&2
    say "$1 failed (status $2); the whole log is in $log"
  fi
  count_gtest "$1" "$log" "$2"
}

# check NAME COMMAND...: one more thing that passes or fails; the command has said why.
check() {
  local name=$1
  shift
  if "$@"; then
    say "$name: passed"
    passed=$((passed + 1))
  else
    say "$name: failed"
    failed=$((failed + 1))
    list_failed "$name"
  fi
}
