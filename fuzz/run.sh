#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# run.sh [NAME] [SECONDS | --runs N | --compare SECONDS]: fuzzes, from the seeds, from what earlier runs
# have found (build/fuzz/corpus) and from fuzz/regressions; then measures the lines that all of these
# reach. --runs goes on until there have been so many executions, counting those of earlier calls.
# --compare starts from the seeds alone, twice: by structure, and by any bytes. ./dev fuzz builds the
# fuzzers and starts this.
# shellcheck disable=SC2317 # What is done is called by its name.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

BUILD=$ROOT/build/fuzz
FUZZERS=(netlink_transport netlink_replies config_files uwbctl_files parcels)
# Twice as much in the same time. An error names no callers of malloc() and free(), which a second run of the
# input does; what was freed stays apart for one or two inputs, in memory that the processor's caches hold; and the
# log's lines are made, though never written, for one input of sixteen.
export ASAN_OPTIONS=malloc_context_size=0:quarantine_size_mb=1:allocator_release_to_os_interval_ms=-1
export FUZZ_LOG_ONE_IN=16
# Some write files.
[ ! -w /dev/shm ] || export TMPDIR=/dev/shm
readonly TURN_SECONDS=600
# How libFuzzer ends on a signal that asks it to.
readonly INTERRUPTED=72

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
  # The book-keeping of the entropic schedule costs more than the runs. Leaks are looked for at the end of a run,
  # not after each input; which one it was is told by a run of the corpus without that.
  printf '%s\n' -print_final_stats=1 -entropic=0 -timeout=25 -rss_limit_mb=2048 -malloc_limit_mb=512 -detect_leaks=0
  case $1 in
    netlink_*) echo "-dict=$ROOT/fuzz/netlink.dict" ;;
    *_files) echo "-dict=$ROOT/fuzz/files.dict" ;;
    # Four times a long seed; longer ones take longer and reach nothing else.
    parcels) echo -max_len=512 ;;
  esac
}

# covered NAME FOLDER...: "COVERED of LINES" of the files under test, reached by the inputs.
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

# play NAME CORPUS OPTION...: fuzzes; a failure names the input. The log is left in $log. INTERRUPTED when it was.
play() {
  local name=$1 corpus=$2 status=0 settings input inputs crashes=$BUILD/crashes/$1
  shift 2
  log=$BUILD/${corpus##*/}.log
  inputs=("$corpus" "$BUILD/seeds/$name")
  [ -d "$ROOT/fuzz/regressions/$name" ] && inputs+=("$ROOT/fuzz/regressions/$name")
  mkdir -p "$corpus" "$crashes"
  mapfile -t settings < <(options "$name")
  LLVM_PROFILE_FILE=/dev/null "$BUILD/bin/fuzz_$name" "${settings[@]}" "$@" \
    -artifact_prefix="$crashes/" "${inputs[@]}" >"$log" 2>&1 || status=$?
  case $status in 0 | "$INTERRUPTED") return "$status" ;; esac
  input=$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)
  grep -E 'ERROR:|runtime error|SUMMARY' "$log" | head -n 5 >&2 || true
  printf 'error: %s failed; the log is in %s\n' "$name" "$log" >&2
  printf 'error: to reproduce: %s %s\n' "$BUILD/bin/fuzz_$name" "${input:-(no input was written)}" >&2
  return 1
}

# figure NAME: one of the run's closing lines; edges: how many it has reached.
figure() { sed -n "s/^stat::$1: *//p" "$log"; }
edges() { grep -o 'cov: [0-9]*' "$log" | tail -n 1 | cut -d ' ' -f 2; }

# told NAME WHAT CORPUS: one line of a run's figures.
told() {
  printf '%-18s %s: %d executions, %d a second, %d edges, %s\n' "$1" "$2" "$(figure number_of_executed_units)" \
    "$(figure average_exec_per_sec)" "$(edges)" "$(covered "$1" "$3" "$BUILD/seeds/$1")"
}

# how_many NAME: the executions of all runs so far; count NAME: adds the last one's.
how_many() { cat "$BUILD/corpus/$1.executions" 2>/dev/null || echo 0; }
count() { echo $(($(how_many "$1") + $(figure number_of_executed_units))) >"$BUILD/corpus/$1.executions"; }

fuzz_for() {
  play "$1" "$BUILD/corpus/$1" -max_total_time="$2" && count "$1" && told "$1" "in $2 s" "$BUILD/corpus/$1"
}

# One turn of a fuzzer, whose executions are added to those of earlier ones; those until an interruption too.
take_turn() {
  local name=$1 wanted=$2 outcome=0
  play "$name" "$BUILD/corpus/$name" -max_total_time="$TURN_SECONDS" -runs=$((wanted - $(how_many "$name"))) || outcome=$?
  [ "$outcome" -ne 1 ] || return 1
  count "$name"
  say "$name: $(how_many "$name") of $wanted executions, $(figure average_exec_per_sec) a second, $(edges) edges"
  return "$outcome"
}

# fuzz_until WANTED NAME...: by turns, so that none waits for the slowest.
fuzz_until() {
  local wanted=$1 fuzzer left=yes
  shift
  while [ -n "$left" ]; do
    left=
    for fuzzer in "$@"; do
      [ "$(how_many "$fuzzer")" -lt "$wanted" ] || continue
      take_turn "$fuzzer" "$wanted" || return
      left=yes
    done
  done
}

compare() {
  local mutator corpus
  for mutator in structure bytes; do
    corpus=$BUILD/compared/$1-$mutator
    rm -rf "$corpus"
    FUZZ_MUTATOR=$mutator play "$1" "$corpus" -max_total_time="$2" -seed=1 || return 1
    told "$1" "by $mutator, in $2 s" "$corpus"
  done
}

# Read whole before it begins: a campaign takes hours, in which this file may change.
main() {
  name=all
  if [[ ${1-} =~ ^[a-z] ]]; then
    name=$1
    shift
  fi
  what=fuzz_for
  case ${1-} in
    --runs) what=fuzz_until && shift ;;
    --compare) what=compare && shift ;;
  esac
  amount=${1:-60} failed=0
  [[ $amount =~ ^[1-9][0-9]*$ ]] || die "not a number: $amount"
  [ "$name" = all ] || [ -x "$BUILD/bin/fuzz_$name" ] || die "no fuzzer '$name'; there are: ${FUZZERS[*]} radio"
  [ "$name" = all ] || FUZZERS=("$name")
  mkdir -p "$BUILD/corpus"
  "$BUILD/bin/fuzz_seeds" "$BUILD/seeds" "$ROOT/sim/device/scenes"
  if [ "$what" = fuzz_until ]; then
    fuzz_until "$amount" "${FUZZERS[@]}"
    exit
  fi
  for fuzzer in "${FUZZERS[@]}"; do
    "$what" "$fuzzer" "$amount" || failed=1
  done
  exit "$failed"
}
main "$@"; exit
