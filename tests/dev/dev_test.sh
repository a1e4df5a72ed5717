#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# ./dev and its scripts in a checkout of their own, with substitutes of what builds, downloads and boots.
# Takes seconds. The closing lines are those of the other test binaries.
set -uo pipefail
SOURCE=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd -P)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset VELTA_UWB_LOGS VELTA_UWB_FOLLOWED XDG_CACHE_HOME
export VELTA_UWB_CACHE=$work/cache
passed=0 failed=0
status=0

# expect NAME STATUS TEXT: what the last run did; TEXT is a pattern that its output has.
expect() {
  if [ "$status" -eq "$2" ] && grep -qE -- "$3" "$work/output"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'Failure\nerror: %s: status %s, expected %s and "%s" in:\n' "$1" "$status" "$2" "$3"
    cat "$work/output"
  fi
}
# equal NAME ACTUAL EXPECTED
equal() {
  echo "$2" >"$work/output"
  status=0
  expect "$1" 0 "^$3\$"
}
# dev CHECKOUT ARGUMENT...
dev() {
  local checkout=$1
  shift
  status=0
  (cd "$checkout" && PATH="$work/bin:$PATH" ./dev "$@") >"$work/output" 2>&1 </dev/null || status=$?
}
substitute() {
  mkdir -p "${1%/*}"
  printf '#!/bin/sh\n%s\n' "$2" >"$1"
  chmod +x "$1"
}

checkout=$work/checkout
mkdir -p "$checkout"
cp -r "$SOURCE"/{dev,scripts,CMakePresets.json,.clang-tidy} "$checkout/"
echo "$work/android-1" >"$work/prefix"
substitute "$checkout/platform/build.sh" "cat '$work/prefix'"
substitute "$checkout/sim/device/setup.sh" "! [ -e '$work/no-kernel' ]"
substitute "$checkout/sim/device/build_module.sh" ''
# shellcheck disable=SC2016
substitute "$work/bin/dpkg-query" 'for p; do echo "installed $p"; done'
# Configures as CMake does: what a cache has already stays; the build leaves an object behind.
substitute "$work/bin/cmake" "
echo \"\$@\" >>'$work/cmake.log'
case \$1 in
  --preset)
    mkdir -p build/\$2
    [ -f build/\$2/CMakeCache.txt ] || echo \"prefix \$3\" >build/\$2/CMakeCache.txt
    echo \"CMAKE_HOME_DIRECTORY:INTERNAL=\$PWD\" >>build/\$2/CMakeCache.txt
    echo 'CMake Warning at CMakeLists.txt: something is odd'
    ;;
  --build)
    touch build/\$3/object
    echo '[3/7] Building something'
    [ ! -e '$work/slow' ] || sleep 2
    ;;
esac"

# ---- What a machine can be like ----

while IFS='|' read -r name variable pattern; do
  status=0
  env "$variable" "$checkout/dev" help >"$work/output" 2>&1 || status=$?
  expect "$name" 1 "$pattern"
done <<TABLE
a cache folder that cannot be made|VELTA_UWB_CACHE=/proc/cache|^error: the cache folder /proc/cache cannot be made
a cache folder with a space|VELTA_UWB_CACHE=$work/a cache|^error: .*no spaces
a read-only cache folder|VELTA_UWB_CACHE=/proc/sys|^error: the cache folder /proc/sys cannot be written
TABLE
status=0
env -u HOME -u VELTA_UWB_CACHE XDG_CACHE_HOME="$work/xdg" "$checkout/dev" help >"$work/output" 2>&1 || status=$?
expect "no HOME" 0 "$work/xdg/velta-uwb"
substitute "$work/bin/df" 'echo Avail; echo 7'
dev "$checkout" build
expect "a full disk" 1 '^error: the disk of .* is full: 7 MiB'
rm "$work/bin/df"

# ---- Build folders ----

dev "$checkout" build
expect "warnings of a configuration are shown" 0 '^CMake Warning at'
dev "$checkout" build
equal "what is configured is not configured again" "$(grep -c -- --preset\ dev\ -D "$work/cmake.log")" 1
touch "$work/slow"
status=0
(cd "$checkout" && TERM=vt100 PATH="$work/bin:$PATH" script -qec './dev build' /dev/null) >"$work/output" 2>&1 || status=$?
expect "a terminal is told what is done of how much" 0 '3 of 7: building \(dev\)'
rm "$work/slow"
echo "$work/android-2" >"$work/prefix"
dev "$checkout" build
equal "another platform is taken" "$(grep -c "prefix.*android-2" "$checkout/build/dev/CMakeCache.txt")" 1
cp -r "$checkout" "$work/copy"
touch "$work/copy/build/dev/foreign"
dev "$work/copy" build
expect "a foreign build folder is named" 0 "built in $checkout; it is removed"
equal "a foreign build folder is removed" "$(find "$work/copy/build" -name foreign)" ""
touch "$work/no-kernel"
dev "$checkout" build
expect "a failure beside the build is one of the build" 1 '^error: the virtual device could not be set up'
rm "$work/no-kernel"
rm -rf "$checkout/build"
ln -s /proc/sys "$checkout/build"
dev "$checkout" build
expect "a read-only build folder" 1 '^error: the build folder .* cannot be written'
rm "$checkout/build"

# ---- Logs and the cache ----

for _ in 1 2 3 4 5 6 7; do dev "$checkout" build; done
latest=$(readlink "$work"/cache/logs/checkout-*/latest)
dev "$checkout" help
equal "where nothing was logged nothing is kept" "$(readlink "$work"/cache/logs/checkout-*/latest)" "$latest"
for folder in "$work"/cache/logs/*; do
  equal "logs of ${folder##*/}" "$(($(find "$folder" -mindepth 1 -maxdepth 1 -type d | wc -l) <= 6))" 1
done
equal "checkouts have logs of their own" "$(find "$work/cache/logs" -mindepth 1 -maxdepth 1 | wc -l)" 2
touch "$work/cache/of-somebody-else"
mkdir -p "$work/cache/"{downloads,android-1,blueprint-1,sbom-1}
dev "$checkout" clean --cache
equal "clean --cache removes what is ours" "$(ls "$work/cache")" of-somebody-else

# ---- clang-tidy only where something changed ----

cd "$checkout" || exit 1
git init -q . && mkdir -p net build/dev aidl/hardware/velta/uwb aidl/include
touch net/mcps802154.h aidl/hardware/velta/uwb/A.aidl aidl/include/a.h
mkdir -p "$work/android-1/include"
echo "VeltaAndroid_DIR:PATH=$work/android-1/lib/cmake/VeltaAndroid" >build/dev/CMakeCache.txt
echo build >.gitignore
echo '[]' >build/dev/compile_commands.json
printf '#include "net/low.h"\n' >net/high.h
touch net/low.h net/other.cpp
printf '#include "high.h"\n' >net/user.cpp
git add -A && git -c user.name=x -c user.email=x commit -qm x
substitute "$work/bin/clang-tidy" "case \$1 in --version) ;; *) eval echo \\\${\$#} >>'$work/tidy.log'; ! grep -q bad \"\$4\" ;; esac"
tidied() {
  : >"$work/tidy.log"
  status=0
  PATH="$work/bin:$PATH" scripts/lint.sh tidy "$@" >"$work/output" 2>&1 || status=$?
  files=$(LC_ALL=C sort "$work/tidy.log" | tr '\n' ' ')
}
tidied
equal "at first all are checked" "$files" "net/other.cpp net/user.cpp "
tidied
equal "what passed is not checked again" "$files" ""
echo // >>net/low.h
tidied
equal "a header's includers are checked, however indirect" "$files" "net/user.cpp "
echo bad >>net/other.cpp
tidied
expect "a finding fails" 1 'error: clang-tidy: net/other.cpp'
git -c user.name=x -c user.email=x commit -qam y
touch "$work/until"
tidied "$work/until"
expect "what is left unchecked is told" 3 'checked 1 of 2'

printf '[  PASSED  ] %s tests.\n' "$passed"
[ "$failed" -eq 0 ] || { printf '[  FAILED  ] %s tests.\n' "$failed"; exit 1; }
