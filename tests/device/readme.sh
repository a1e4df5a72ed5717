#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# On the virtual device: every line of the README's blocks that begins with uwbctl, scene or tag, in order,
# as a reader would type it. What stands in brackets is left out, and so is what follows two spaces. A
# line with a pipe is for the host, a word alone only tells how it is used. What goes on for ever is ended after three seconds, as by Ctrl-C.
set -u
passed=0 failed=0
cd /tmp || exit

sed -n 's/^  *\(\(uwbctl\|scene\|tag\) .*\)/\1/p' /README.md |
  sed -e '/|/d' -e '/^uwbctl --/d' -e 's/   *.*//' -e 's/\[[^]]*\]//g' -e 's/ *$//' -e '/ /!d' | awk '!seen[$0]++' >/tmp/lines
while read -r line; do
  timeout -s INT 3 sh -c "$line" </dev/null >/tmp/output 2>&1
  status=$?
  # 143 and 130: it was ended. What hangs has said nothing until then.
  case $status in
    0) ;;
    130 | 143) [ -s /tmp/output ] || status=failed ;;
    *) status=failed ;;
  esac
  if grep -q '(0x[0-9a-f][0-9a-f])$' /tmp/output; then status=failed; fi
  if [ "$status" != failed ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "Failure: $line"
    sed 's/^/  error: /' /tmp/output
  fi
done </tmp/lines
[ "$passed" -ge 10 ] || { echo "error: the README has only $passed lines that work; are its blocks where they were?"; failed=$((failed + 1)); }
echo "[  PASSED  ] $passed tests."
[ $failed -eq 0 ] || { echo "[  FAILED  ] $failed tests."; exit 1; }
