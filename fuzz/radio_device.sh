#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# fuzz-radio [OPTION of libFuzzer]...: on the virtual device that `vdev run --fuzz` starts, fuzzes the
# virtual radio from /out/seeds, /out/corpus and /out/regressions, while the service runs. Then looks
# whether the kernel still has all its memory and nothing to complain about, and whether the radio
# ranges for the service as ever. A complaint in the middle ends the device, and its log has the
# input. The closing lines are those of the other tests.
set -u
passed=0 failed=0
debugfs=/sys/kernel/debug
service=$(cat /run/service.pid)

check() {
  name=$1
  shift
  if "$@"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "Failure: $name"
  fi
}

# How much the radio's code has allocated and not freed, as the kernel's allocator keeps account (slub_debug=U):
# a number of each caller, and where it was called from.
allocated() {
  cat $debugfs/slab/*/alloc_traces 2>/dev/null | awk -v RS= '/mcps802154_sim/ { n += $1 } END { print n + 0 }'
}
keeps_no_memory() {
  after=$(allocated)
  [ "$before" -gt 0 ] && [ "$after" -le "$before" ] && return
  echo "error: $before allocations before, $after after" >&2
  return 1
}
fuzz() {
  FUZZ_BLOCKS=/out/blocks fuzz_radio -print_final_stats=1 -timeout=60 -rss_limit_mb=0 -max_len=20000 \
    -artifact_prefix=/out/ -dict=/out/radio.dict "$@" >/out/fuzz.log 2>&1 && return
  tail -n 25 /out/fuzz.log >&2
  return 1
}
# The file says what the radio's was said: lines of it are warnings, of texts that it refused.
complains_of_nothing() {
  ! dmesg | grep -E 'BUG|WARNING: |Oops|general protection|blocked for more than|detected stall'
}
ranges() {
  echo 'tag 0x1234 0 3 0' >$debugfs/mcps802154_sim/world &&
    [ "$(timeout 30 uwbctl fira range -p 0x1234 -n 5 | grep -c ' mm ')" -eq 5 ]
}
still_runs() { [ "$(cat /run/service.pid)" = "$service" ] && kill -0 "$service"; }

# Interfaces that come and go would wait for every processor each time.
echo 1 >/sys/kernel/rcu_expedited
# Texts that are refused are warnings; what matters is worse.
dmesg -n 4
mkdir -p /out/corpus
check "it ranges beforehand" ranges
before=$(allocated)
check "the virtual radio was fuzzed" fuzz "$@"
check "the radio has freed what it has allocated" keeps_no_memory
check "the radio ranges afterwards" ranges
check "the service is the same" still_runs
check "the kernel has not complained" complains_of_nothing
echo "[  PASSED  ] $passed tests."
[ $failed -eq 0 ] || { echo "[  FAILED  ] $failed tests."; exit 1; }
