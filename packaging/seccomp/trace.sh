#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Traces the service through the whole test run on the virtual device and prints the system calls that it
# made, a line each: what system_calls has. Takes some minutes and wants strace and ./dev build.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
# Tests that fail because a traced service is slow do not matter: what it called counts.
"$ROOT/sim/device/vdev" run --unconfined --timeout 1200 --logs "$out/logs" --out "$out" \
  --add "$(command -v strace):/bin/strace" --add "$ROOT/tests/device/run.sh:/bin/run-device-tests" -- sh -c '
    export SERVICE_UNDER="strace -D -f -qq -c -A -U name -o /out/calls"
    export GTEST_FILTER="-*AccessTest.*" # They want it confined.
    service-stop && service-start && dumpsys hardware.velta.uwb.IUwb/default && run-device-tests' >&2 || true
awk '/^[a-z_0-9]+$/ && !/^(syscall|total)$/' "$out/calls" | LC_ALL=C sort -u
