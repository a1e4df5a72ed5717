#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Checks that every room includes only what it may: arrows between rooms run one way. One line for each
# include that may not be, and exit status 1.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

status=0
# room ROOM [ALLOWED]...: includes of our own files from ROOM lie in ROOM or begin with one of ALLOWED.
room() {
  local room=$1 allowed file line name bad=
  shift
  while IFS=: read -r file line name; do
    name=${name#*\"} name=${name%%\"*}
    bad=yes
    for allowed in "$room/" "${room#sim/radio/}/" "$@"; do
      case $name in "$allowed"*) bad= ;; esac
    done
    case $name in */*) ;; *) bad= ;; esac # Beside it.
    if [ -n "$bad" ]; then
      echo "error: $file:$line: $room/ may not use $name" >&2
      status=1
    fi
  done < <(grep -rn '^#include "' "$room" --include='*.cpp' --include='*.h' --include='*.c' || true)
}

room looper
room diagnostics looper/
room net looper/
room hal net/ looper/ diagnostics/
room host net/ # The choices of an integrator are of net's types.
room conformance net/ # A client, which also asks the kernel itself.
room uwbctl/client
room uwbctl/ranging uwbctl/client/
room uwbctl/recording uwbctl/client/
room uwbctl/world uwbctl/client/ uwbctl/recording/
room uwbctl/locate uwbctl/client/ uwbctl/world/ uwbctl/ranging/
room uwbctl/live uwbctl/client/ uwbctl/recording/
room uwbctl/report uwbctl/client/ uwbctl/recording/
room uwbctl/serve uwbctl/client/ uwbctl/ranging/ uwbctl/recording/ uwbctl/report/ uwbctl/world/ uwbctl/locate/ version/
room uwbctl/commands uwbctl/ version/
room sim/radio/wire net/mcps802154.h
room sim/radio/world net/mcps802154.h wire/
room sim/radio/core net/mcps802154.h wire/ world/
room sim/radio/modes net/mcps802154.h wire/ world/ core/
room sim/radio/tests net/mcps802154.h wire/ world/ core/ modes/
room soak bench/ # A client; the drawing of sessions and the guest's files are those of the benchmarks.
exit $status
