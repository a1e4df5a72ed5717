#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Runs the unit tests here and the device tests on the virtual device, built with counters, and prints
# how many lines of each room they reach, each alone and together; and what neither reaches, into a file.
# ./dev coverage builds and starts this. With a filter (./dev coverage 'FaultTest.*') only those of the device tests, by
# event: for who looks at a few lines.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

filter=${1-}
BUILD=$ROOT/build/coverage
PROFILES=$BUILD/profiles
ROOMS=(diagnostics hal host looper net)
rm -rf "$PROFILES"
mkdir -p "$PROFILES"/{unit,device}

# Counters are in a file all the time (%c): most of these processes end by a signal.
run_unit_tests() {
  local tests
  for tests in net_tests hal_tests; do
    LLVM_PROFILE_FILE="$PROFILES/unit/%m%c.profraw" "$BUILD/bin/$tests" --gtest_brief=1 >"$LOGS/coverage-$tests.log" 2>&1 ||
      say "$tests failed; see $LOGS/coverage-$tests.log"
  done
}

# The host's folders cannot be mapped there; and who may write profiles is not confined. Counting takes time, which
# --steady makes no difference to the tests.
run_device_tests() {
  # shellcheck disable=SC2016 # The device expands it.
  "$ROOT/sim/device/vdev" run --steady --unconfined --build "$BUILD" --timeout 3600 --logs "$LOGS/coverage-device" \
    --add "$ROOT/build/dev/bin/uwbctl:/bin/uwbctl" --add "$ROOT/build/dev/bin/uwb_conformance:/bin/uwb_conformance" \
    --out "$PROFILES/device" --add "$ROOT/tests/device/run.sh:/bin/run-device-tests" -- sh -c '
      mkdir /tmp/profiles
      export LLVM_PROFILE_FILE=/tmp/profiles/%m%c.profraw
      # Without what wants it confined, or a second processor.
      export GTEST_FILTER="$0-*AccessTest.*:CountryTest.SampleFilesCalibrateTheRadio"
      service-stop && service-start
      status=0
      if [ -n "$0" ]; then device_tests --gtest_brief=1; else run-device-tests; fi || status=$?
      service-stop
      cp /tmp/profiles/* /out/
      exit $status' "$filter" >"$LOGS/coverage-device.log" 2>&1 ||
    say "device tests failed; see $LOGS/coverage-device.log"
}

# table NAME PROGRAM...: lines and lines reached of each source, as the programs' counters have them.
table() {
  local name=$1 program objects=() profiles=("$PROFILES/$1"/*.profraw)
  [ "$name" != all ] || profiles=("$PROFILES"/{unit,device}/*.profraw)
  shift
  for program in "${@:2}"; do objects+=(-object "$BUILD/bin/$program"); done
  llvm-profdata merge -sparse "${profiles[@]}" -o "$PROFILES/$name.data"
  (cd "$BUILD" && llvm-cov export -summary-only "$BUILD/bin/$1" "${objects[@]}" -instr-profile="$PROFILES/$name.data") \
    >"$PROFILES/$name.json" 2>/dev/null
}

say "coverage: unit tests"
run_unit_tests
say "coverage: device tests"
run_device_tests
table unit net_tests hal_tests
table device hardware.velta.uwb-service device_tests
table all hardware.velta.uwb-service device_tests net_tests hal_tests
python3 - "$PROFILES" "$ROOT" "${ROOMS[@]}" <<'PYTHON'
import json, os, sys
profiles, root, rooms = sys.argv[1], sys.argv[2], sys.argv[3:]

def lines(name):
    rows = {room: [0, 0] for room in rooms}
    for file in json.load(open(f'{profiles}/{name}.json'))['data'][0]['files']:
        path = os.path.relpath(os.path.normpath(os.path.join(root, 'build/coverage', file['filename'])), root)
        room = path.split('/')[0]
        if room in rows:
            rows[room][0] += file['summary']['lines']['count']
            rows[room][1] += file['summary']['lines']['covered']
    return rows

tables = {name: lines(name) for name in ('unit', 'device', 'all')}
print('| room | lines | unit tests | device tests | together |\n|---|---|---|---|---|')
for room in rooms:
    total = tables['all'][room][0]
    share = [f"{100 * tables[name][room][1] / total:.0f} %" if total else '-' for name in tables]
    print(f'| `{room}/` | {total} | ' + ' | '.join(share) + ' |')
PYTHON
(cd "$BUILD" && llvm-cov show "$BUILD/bin/hardware.velta.uwb-service" -object "$BUILD/bin/net_tests" \
  -object "$BUILD/bin/hal_tests" -instr-profile="$PROFILES/all.data" -show-line-counts-or-regions=0) 2>/dev/null |
  grep -E '^/|^ *[0-9]+\| +0\|' >"$PROFILES/missing.txt" || true
say "the lines that neither reaches: $PROFILES/missing.txt"
