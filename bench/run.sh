#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Measures the service beside its floors; `./dev bench` installs what it needs and calls this.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
# shellcheck source=scripts/common.sh
. scripts/common.sh

BUILD=build/bench
readonly SERVICE=hardware.velta.uwb-service
readonly FLOORS=(uwb_bare_package uwb_bare_service uwb_fira_floor)
readonly GUEST_GROUPS=(calls netlink sessions reports rate ranging footprint)

usage() {
  cat <<'TEXT'
usage: ./dev bench [OPTION]...

  --quick          two rounds, each shorter: under three minutes
  --smoke          one round of everything, as short as can be, of build/dev: do the benchmarks work?
  --rounds N       how often each figure is taken (5)
  --only LIST      calls,netlink,sessions,reports,rate,ranging,footprint,size,host (all of them)
  --service FILE   measure this binary of the service in place of this tree's
  --build DIR      measure the service in this build folder
  --rev REV        measure the service of another commit, built with the same flags
  --output FILE    the run's JSON (build/bench/result.json)
  --before FILE    JSON of an earlier run to compare with
  --page FILE      the page (docs/performance.md for a full run, else build/bench/performance.md)
  --real-time      the device's clock is the host's and it has two processors; wants a quiet machine

With --service, --build or --rev only what runs on the device is measured, and the binary's size:
netlink requests and instructions are of this tree's own classes.
TEXT
}

rounds=5
scale=1
mode=full
only=
service=
rev=
output=build/bench/result.json
before=
page=
steady=--steady
while [ $# -gt 0 ]; do
  case $1 in
    --rounds | --only | --service | --build | --rev | --output | --before | --page)
      [ $# -ge 2 ] || die "bench: $1 wants a value" ;;
  esac
  case $1 in
    --quick) mode=quick rounds=2 scale=0.25; shift ;;
    --smoke) mode=smoke rounds=1 scale=0.04; shift ;;
    --rounds) rounds=$2; shift 2 ;;
    --only) only=$2; shift 2 ;;
    --service) service=$2; shift 2 ;;
    --build) service=$2/bin/$SERVICE; shift 2 ;;
    --rev) rev=$2; shift 2 ;;
    --output) output=$2; shift 2 ;;
    --before) before=$2; shift 2 ;;
    --page) page=$2; shift 2 ;;
    --real-time) steady=; shift ;;
    --help | -h) usage; exit 0 ;;
    *) die "bench: unknown option '$1'; ./dev bench --help lists them" ;;
  esac
done
[[ $rounds =~ ^[1-9][0-9]*$ ]] || die "bench: --rounds wants a number, not '$rounds'"
[ -z "$before" ] || [ -f "$before" ] || die "bench: there is no $before"
for group in ${only//,/ }; do
  [[ " ${GUEST_GROUPS[*]} size host " == *" $group "* ]] || die "bench: there is no figure '$group'"
done
[ "$mode" != smoke ] || BUILD=build/dev  # What ./dev test has built anyway.
if [ -z "$page" ]; then
  page=build/bench/performance.md
  if [ "$mode" = full ] && [ -z "$only$service$rev" ]; then page=docs/performance.md; fi
fi

# wants GROUP: is it to be measured?
wants() {
  if [ -n "$only" ]; then
    [[ ",$only," == *",$1,"* ]]
  elif [ -n "$other" ]; then
    [ "$1" != host ] && [ "$1" != netlink ]
  fi
}

# build_tree SOURCE BUILD TARGET: as a device gets it, unused sections left out, so that neither
# side carries what it does not use.
build_tree() {
  local name=bench-${2//\//-} flags="-ffunction-sections -fdata-sections" android key
  android=$(platform/build.sh) || die "Android's libraries could not be built"
  key="$ROOT $android $(content_key "$1/CMakePresets.json")"
  # Whatever is in its cache may be of another checkout, or of other libraries.
  if [ "$(cat "$2/.configured" 2>/dev/null)" != "$key" ]; then
    rm -f "$2/CMakeCache.txt" "$2/.configured"
    run_logged "$name-configure" cmake --preset release -S "$1" -B "$2" \
      -DCMAKE_PREFIX_PATH="$android" -DCMAKE_C_FLAGS="$flags" \
      -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="-fuse-ld=lld -Wl,--gc-sections" ||
      die "cmake could not configure $1"
    printf '%s' "$key" >"$2/.configured"
  fi
  run_logged "$name" cmake --build "$2" --target "$3" || die "the build of $1 failed"
}

# emit NAME UNIT KIND LIMIT OURS FLOOR: a sample of the footprint, which is the same in each round.
emit() {
  printf '{"group":"footprint","name":"%s","unit":"%s","goal":{"kind":"%s","limit":%s},"round":0,"ours":%s,"floor":%s}\n' "$@"
}

stripped_size() {
  strip -o "$work/stripped" "$1"
  stat -c %s "$work/stripped"
}

say "building (bench)"
if [ "$mode" = smoke ]; then
  run_logged bench cmake --build "$BUILD" --target bench || die "the build of the benchmarks failed"
else
  build_tree . "$BUILD" bench
  run_logged bench-programs cmake --build "$BUILD" --target device_programs || die "the device's programs could not be built"
fi
sim/device/build_module.sh "$BUILD/radio${VELTA_UWB_KERNEL:+-$VELTA_UWB_KERNEL}" || die "the virtual radio could not be built"
what="this tree, $(git describe --always --dirty)"
other=$service$rev
if [ -n "$rev" ]; then
  tree=$BUILD/rev/$(git rev-parse --short "$rev^{commit}") || die "bench: there is no commit $rev"
  say "building the service of $rev"
  mkdir -p "$tree/source"
  git archive "$rev" | tar -x -C "$tree/source"
  build_tree "$tree/source" "$tree/build" "$SERVICE"
  service=$tree/build/bin/$SERVICE
  what="commit $(git rev-parse --short "$rev^{commit}")"
elif [ -n "$service" ]; then
  [ -x "$service" ] || die "bench: there is no service $service"
  what="a binary, sha256 $(sha256sum "$service" | cut -c1-16)"
else
  service=$BUILD/bin/$SERVICE
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
samples=$work/samples
: >"$samples"
status=0

groups=()
for group in "${GUEST_GROUPS[@]}"; do
  if wants "$group"; then groups+=("$group"); fi
done
if [ ${#groups[@]} -gt 0 ]; then
  adds=(--add "$service:/bin/measured-service")
  for floor in "${FLOORS[@]}"; do adds+=(--add "$BUILD/bin/$floor:/bin/$floor"); done
  if strace=$(command -v strace); then adds+=(--add "$strace:/bin/strace"); fi
  say "measuring on the virtual device"
  # The floors have no domain of their own: nobody is confined.
  # shellcheck disable=SC2086
  sim/device/vdev run --unconfined --build "$BUILD" --no-service $steady --timeout 3600 --logs "$LOGS/bench" \
    "${adds[@]}" -- uwb_bench --rounds "$rounds" --scale "$scale" \
    --service measured-service "${groups[@]}" >"$samples" || status=$?
fi
if wants size; then
  ours=$(stripped_size "$service")
  emit "size" bytes "ratio at most" 1.1 "$ours" "$(stripped_size "$BUILD/bin/uwb_bare_package")" >>"$samples"
  emit "size, against one bare interface" bytes none 0 "$ours" \
    "$(stripped_size "$BUILD/bin/uwb_bare_service")" >>"$samples"
fi
if wants host; then
  say "counting instructions on this machine"
  if [ "$mode" = smoke ]; then
    "$BUILD/bin/uwb_host_bench" check || status=$?
  else
    "$BUILD/bin/uwb_host_bench" "$rounds" >>"$samples" || status=$?
  fi
fi

meta=(
  --meta "service=$what"
  --meta "rounds=$rounds$([ "$mode" = full ] || echo ", $mode: shorter than a full run")"
  --meta "date=$(date -u +%F)"
  --meta "virtual device=$(qemu-system-x86_64 --version | sed -n '1s/ (.*//p'), emulation, kernel $(<"$(sim/device/setup.sh)/release"), $(
    [ -z "$steady" ] && echo "two processors, real time" ||
      echo "one processor, 4 ns for each instruction, idle time skipped")"
  --meta "host=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1), $(nproc) processors"
  --meta "compiler=$(clang++ --version | head -n 1), release flags, unused sections collected"
)
mkdir -p "$(dirname "$output")"
"$BUILD/bin/uwb_bench_report" "$output" --samples "$samples" "${meta[@]}" --page "$page" \
  --notes bench/report/notes.md \
  ${before:+--before "$before"} | tee "$work/table" || status=$?
if [ "$mode" != full ]; then say "$mode: $rounds round(s), shorter than a full run: only an impression"; fi
say "the run is in $output, the page in $page"
[ "$status" -eq 0 ] || die "not everything could be measured"
# What ./dev test counts.
if [ "$mode" = smoke ]; then echo "[  PASSED  ] 1 test."; fi
