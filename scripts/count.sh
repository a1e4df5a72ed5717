#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# How much of the code tests the rest: lines that are neither blank nor comment alone, of what git has.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# lines PATHSPEC...
lines() {
  git ls-files -z -- "$@" | xargs -0r cat | grep -cvE '^[[:space:]]*((//|/?\*|#|--).*)?$' || true
}
code=('*.cpp' '*.h' '*.c' '*.aidl' '*.java' '*.rs' '*.py' '*.pl' '*.sh' '*.lua' '*CMakeLists.txt' '*.cmake' '*.bp')
# The frozen copy of the interface is nobody's work.
code+=(dev sim/device/vdev 'sim/device/guest/*' 'packaging/*' '*Kbuild' ':!*.md' ':!aidl/aidl_api')
tests=('tests/*' 'fuzz/replay_main.cpp' ':!*.pcapng' ':!*.xml')

test_lines=$(lines "${tests[@]}")
all=$(lines "${code[@]}")
tools=$(lines 'bench/*.cpp' 'bench/*.h' 'bench/*.sh' 'bench/CMakeLists.txt' 'fuzz/*.cpp' 'fuzz/*.h' 'fuzz/*.sh' \
  'fuzz/CMakeLists.txt' 'soak/*' ':!fuzz/replay_main.cpp')
product=$((all - test_lines - tools))
printf 'product %6d lines\ntests   %6d lines, %d %% of it\n' "$product" "$test_lines" $((100 * test_lines / product))
printf 'tools   %6d lines (benchmarks, fuzzers, soak), in neither\n' "$tools"
