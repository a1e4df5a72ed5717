#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# On the virtual device: the commands of the documents' terminal session, with what they print.
# A prompt stands before each; one that fails ends the session.
set -eu
# The last of the frames of a live table, which an empty line separates.
last_frame() {
  awk 'BEGIN { RS = "" } { last = $0 } END { print last }'
}
show() {
  echo "# $*"
  "$@"
  echo
}
refused() {
  echo "# $*"
  "$@" && exit 1
  echo
}
export LANG=C.UTF-8

show scene walk
show uwbctl ifaces
show uwbctl info wpan0
echo "# uwbctl fira range -p 0x1234 -p 0x00aa --angles azimuth       (the table as it stands after 40 reports)"
uwbctl fira range -p 0x1234 -p 0x00aa --angles azimuth -n 40 --table | last_frame
echo
show uwbctl fira range -p 0x1234 -n 3
show uwbctl fira range -p 0x1234 -n 2 --json
show uwbctl fira range -p 0x1234 -n 2 --csv
refused uwbctl fira range -p 0x1234 -c 7
refused uwbctl info wpan7
show uwbctl ccc -t 1
show uwbctl simple -p 0x1234 -n 3
show uwbctl country JP
refused uwbctl fira range -p 0x1234 -c 5
echo "# uwbctl record walk.jsonl -p 0x1234 -p 0x00aa -n 150 --plain | tail -n 2"
uwbctl record /out/walk.jsonl -p 0x1234 -p 0x00aa -n 150 --plain | tail -n 2
