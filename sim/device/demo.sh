#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# On the virtual device: ranges with two moving tags and compares each distance with the truth.
set -eu
world=/sys/kernel/debug/mcps802154_sim/world
lines=/tmp/demo.lines
reports=25
# Six standard deviations of the radio's noise are beyond chance; a microsecond of time is nothing.
sigmas=6

fail() {
  echo "demo: $*" >&2
  exit 1
}

[ -w "$world" ] || fail "no virtual radio: $world is missing"
# One tag walks past the radio, the other walks away from it. As a scene, so that the paths of one
# loaded before do not move them.
printf 'radio 0 0 0 0\ntag 0x1234 -3 2 0 1.2 0 0\ntag 0x5678 1 2 0.5 0 0.8 0\n' >/tmp/demo.scene
scene /tmp/demo.scene

# A pipe would hide the client's status.
status=0
{ uwbctl fira range --peer 0x1234 --peer 0x5678 --count "$reports" || echo $? >/tmp/demo.status; } |
  tee "$lines"
[ ! -f /tmp/demo.status ] || status=$(cat /tmp/demo.status)
[ "$status" -eq 0 ] || fail "uwbctl failed with status $status"

awk -v sigmas="$sigmas" -v expected="$reports" '
  function square(x) { return x * x }
  # The device'"'"'s awk has no mathematics: Newton'"'"'s method has.
  function root(v,  r, i) {
    if (v <= 0) return 0
    r = v > 1 ? v : 1
    for (i = 0; i < 60; i++) r = (r + v / r) / 2
    return r
  }
  NR == FNR && $1 == "time_ns" { now = $2 / 1e9; noise = $6 }
  NR == FNR && $1 == "radio" && $2 == 0 { rx = $3; ry = $4; rz = $5 }
  NR == FNR && $1 == "tag" { x[$2] = $3; y[$2] = $4; z[$2] = $5; vx[$2] = $6; vy[$2] = $7; vz[$2] = $8 }
  NR == FNR { next }
  $7 != "mm" { print "demo: a measurement without a distance: " $0 > "/dev/stderr"; bad = 1; next }
  {
    if (!($4 in blocks)) { blocks[$4] = 1; reports++ }
    measurements++
    t = $1 - now
    p = $5
    truth = root(square(x[p] + vx[p] * t - rx) + square(y[p] + vy[p] * t - ry) + square(z[p] + vz[p] * t - rz)) * 1000
    error = $6 - truth
    if (error < 0) error = -error
    if (error > worst) worst = error
  }
  END {
    if (!bad && (reports != expected || measurements != 2 * expected)) {
      print "demo: expected " expected " reports of two measurements" > "/dev/stderr"; bad = 1
    }
    if (worst > sigmas * noise) {
      print "demo: an error is beyond the noise of " noise " mm" > "/dev/stderr"; bad = 1
    }
    printf "demo: %d reports, %d measurements, worst distance error %.0f mm\n", reports, measurements, worst
    exit bad
  }' "$world" "$lines"
