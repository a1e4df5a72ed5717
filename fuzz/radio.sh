#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# radio.sh [--steady] SEEDS_PROGRAM OUT OPTION...: fuzzes the virtual radio on the virtual device, with
# options of libFuzzer, and says how much of its code has run. OUT keeps the corpus, the log and what it
# found. --steady: on one processor whose time skips what is waited for, so that the same seed does the
# same, however busy this machine is. `./dev fuzz radio` and `./dev test` start it, once fuzz_radio and the
# module are built.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

steady=
if [ "$1" = --steady ]; then
  steady=$1
  shift
fi
seeds=$1 out=$2
shift 2
seconds=0
for option in "$@"; do
  case $option in -max_total_time=*) seconds=${option#*=} ;; esac
done
module=$ROOT/build/dev/radio-fuzz${VELTA_UWB_KERNEL:+-$VELTA_UWB_KERNEL}/mcps802154_sim.ko

rm -rf "$out/seeds" "$out/regressions" "$out/blocks" "$out/input"
mkdir -p "$out/corpus"
"$seeds" "$out/all-seeds" "$ROOT/sim/device/scenes"
mv "$out/all-seeds/radio" "$out/seeds"
rm -rf "$out/all-seeds"
cp "$ROOT/fuzz/radio.dict" "$out/"
inputs=(/out/corpus /out/seeds)
if [ -d "$ROOT/fuzz/regressions/radio" ]; then
  cp -r "$ROOT/fuzz/regressions/radio" "$out/regressions"
  inputs+=(/out/regressions)
fi

# How many blocks the compiler has counted, and how many of them have run. A block's number is the
# distance of its call's return from the function that is called (sim/radio/tests/coverage.c).
blocks() {
  local self
  self=$(nm "$module" | sed -n 's/ T __sanitizer_cov_trace_pc$//p')
  readelf -rW "$module" | python3 "$ROOT/fuzz/kernel_blocks.py" "$self" "$out/blocks"
}

status=0
"$ROOT/sim/device/vdev" run --fuzz ${steady:+"$steady"} --timeout $((seconds + 300)) --logs "$out/device" --out "$out" \
  --add "$ROOT/fuzz/radio_device.sh:/bin/fuzz-radio" -- fuzz-radio "$@" "${inputs[@]}" || status=$?
# The last input in the log of a kernel that has panicked.
if grep -aq 'Kernel panic' "$out/device/kernel.log"; then
  sed -n 's/.*fuzz \([0-9]*\): \([0-9a-f]*\).*/\1 \2/p' "$out/device/kernel.log" |
    awk '$1 == 0 { input = "" } { input = input $2 } END { printf "%s", input }' |
    python3 -c 'import sys; sys.stdout.buffer.write(bytes.fromhex(sys.stdin.read()))' >"$out/input"
  printf 'error: the kernel complained about the input %s; the logs are in %s\n' "$out/input" "$out/device" >&2
fi
executions=$(sed -n 's/^stat::number_of_executed_units: *//p;s/^Done \([0-9]*\) runs.*/\1/p' "$out/fuzz.log" | tail -n 1)
[ ! -s "$out/blocks" ] || printf 'radio: %d executions, %s\n' "${executions:-0}" "$(blocks)"
exit "$status"
