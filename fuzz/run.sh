#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# run.sh [NAME|all] [SECONDS]: fuzzes, from the seeds, from what earlier runs have found
# (build/fuzz/corpus) and from fuzz/regressions; then measures the lines that all of these reach.
# ./dev fuzz builds the fuzzers and starts this.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

BUILD=$ROOT/build/fuzz
FUZZERS=(netlink_replies netlink_transport config_files uwbctl_files parcels)

# What each fuzzer is for: the lines that are counted.
files_under_test() {
  case $1 in
    netlink_replies) echo net/{base,ccc}_region_utils.cpp net/fira_re*.cpp net/{ieee_utils,mcps_*}.cpp net/nl_attr.h ;;
    netlink_transport) echo net/nl_{socket,message_reader}.cpp ;;
    config_files) echo net/{config_utils,regular_file}.cpp hal/country_calibration.cpp host/{properties_file,service_options}.cpp ;;
    uwbctl_files) echo uwbctl/client/{session,measurement,text}.cpp uwbctl/recording/{recording,statistics}.cpp uwbctl/report/*.cpp uwbctl/world/{replay,scene*}.cpp ;;
    parcels) echo hal/*.cpp ;;
  esac
}

# What it tells about an input that ends it; limits are for a machine that is busy.
options() {
  printf '%s\n' -timeout=10 -rss_limit_mb=2048 -malloc_limit_mb=512
  case $1 in
    parcels) echo -entropic=0 ;; # Its book-keeping costs more than the runs.
    netlink_*) echo "-dict=$ROOT/fuzz/netlink.dict" ;;
    *_files) echo "-dict=$ROOT/fuzz/files.dict" ;;
  esac
}

# covered NAME FOLDER...: "COVERED/LINES" of the files under test, reached by the inputs.
covered() {
  local name=$1 program=$BUILD/bin/fuzz_$1 profile=$BUILD/profiles/$1
  shift
  mkdir -p "$BUILD/profiles"
  LLVM_PROFILE_FILE=$profile.raw "$program" -runs=0 "$@" >"$profile.log" 2>&1
  llvm-profdata merge -sparse "$profile.raw" -o "$profile.data"
  (cd "$BUILD" && llvm-cov report "$program" -instr-profile="$profile.data") >"$profile.txt" 2>/dev/null
  # The compiler was started in the build folder, and llvm-cov leaves out what all names begin with.
  (cd "$ROOT" && files_under_test "$name") | tr ' ' '\n' |
    awk '{ sub(/^(\.\.\/)+/, "", $1) }
      NR == FNR { wanted[$1] = 1; next }
      $1 in wanted { lines += $8; missed += $9 }
      END { printf "%d of %d lines (%.0f %%)\n", lines - missed, lines, 100 * (lines - missed) / lines }' \
      - "$profile.txt"
}

fuzz_one() {
  local name=$1 seconds=$2 status=0
  local corpus=$BUILD/corpus/$name log=$BUILD/$name.log crashes=$BUILD/crashes/$name
  local settings inputs=("$corpus" "$BUILD/seeds/$name")
  [ -d "$ROOT/fuzz/regressions/$name" ] && inputs+=("$ROOT/fuzz/regressions/$name")
  mkdir -p "$corpus" "$crashes"
  mapfile -t settings < <(options "$name")
  LLVM_PROFILE_FILE=/dev/null "$BUILD/bin/fuzz_$name" "${settings[@]}" -print_final_stats=1 \
    -max_total_time="$seconds" -artifact_prefix="$crashes/" "${inputs[@]}" >"$log" 2>&1 || status=$?
  if [ "$status" -ne 0 ]; then
    local input
    input=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
    grep -E 'ERROR:|runtime error|SUMMARY' "$log" | head -n 5 >&2 || true
    printf 'error: %s failed; the log is in %s\n' "$name" "$log" >&2
    printf 'error: to reproduce: %s %s\n' "$BUILD/bin/fuzz_$name" "${input:-(no input was written)}" >&2
    return 1
  fi
  local runs rate edges
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
  edges=$(grep -o 'cov: [0-9]*' "$log" | tail -n 1)
  printf '%-18s %9d executions in %d s, %6d a second, %s edges, %s\n' "$name" "$runs" "$seconds" "$rate" \
    "${edges#cov: }" "$(covered "$name" "${inputs[@]}")"
}

name=${1:-all} seconds=${2:-60} failed=0
[[ $seconds =~ ^[1-9][0-9]*$ ]] || die "not a number of seconds: $seconds"
[ "$name" = all ] || [ -x "$BUILD/bin/fuzz_$name" ] || die "no fuzzer '$name'; there are: ${FUZZERS[*]}"
"$BUILD/bin/fuzz_seeds" "$BUILD/seeds" "$ROOT/sim/device/scenes"
for fuzzer in "${FUZZERS[@]}"; do
  if [ "$name" = all ] || [ "$name" = "$fuzzer" ]; then fuzz_one "$fuzzer" "$seconds" || failed=1; fi
done
exit "$failed"
