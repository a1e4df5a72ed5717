#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Android's own tests of what platform/build.sh has built: on this machine, and on the virtual device those that want a
# binder driver. Once for each build of the platform (several minutes): `passed` says of which build, when and how many
# passed, and so does the cache of a machine that has run them. --again runs them all the same, and writes `passed`
# anew. `excluded` has what cannot run here, and why.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
HERE=$ROOT/tests/platform
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"
# shellcheck source=scripts/test_results.sh
. "$ROOT/scripts/test_results.sh"
# shellcheck source=platform/apt_suite.sh
. "$ROOT/platform/apt_suite.sh"

HOST_TESTS=(libutils_test libbase_test libbase_result_constraint_test libcutils_test liblog_host_test binderUnitTest
  binderRpcWireProtocolTest binderTextOutputTest binderUtilsHostTest dumpsys_test fakeservicemanager_test
  servicemanager_test)
DEVICE_TESTS=(libbinder_ndk_unit_test binderLibTest binderSafeInterfaceTest binderClearBufTest binderDriverInterfaceTest
  binderStabilityTest)
FOLDERS=(frameworks/native/cmds/dumpsys frameworks/native/cmds/servicemanager frameworks/native/libs/binder
  frameworks/native/libs/binderdebug frameworks/native/libs/fakeservicemanager frameworks/native/services/utils
  libnativehelper/include_jni system/core/libcutils system/core/libutils system/libbase
  system/logging/liblog)

android=$("$ROOT/platform/build.sh")
key=$(content_key "$HERE"/{CMakeLists.txt,excluded} <(basename "$android"))
stamp=$CACHE/platform-tests-$key

# tell FILE: what a run came to.
tell() {
  local date passed excluded
  read -r _ date passed excluded <"$1"
  say "Android's own tests of this build of the platform: $passed passed on $date, $excluded cannot run here"
}
if [ "${1-}" != --again ]; then
  for record in "$HERE/passed" "$stamp"; do
    if [ -f "$record" ] && [ "$(cut -d' ' -f1 "$record")" = "$key" ]; then
      tell "$record"
      # One check: that this build is known to be good. Its tests were not run this time.
      echo "[  PASSED  ] 1 test."
      exit
    fi
  done
fi

# excluded_of PROGRAM: a filter without what cannot run.
excluded_of() { awk -v program="$1" '$1 == program { all = all ":" $2 } END { print "-" substr(all, 2) }' "$HERE/excluded"; }

work=$(mktemp -d "$CACHE/platform-tests.XXXXXX")
trap 'rm -rf "$work"' EXIT
sha256=$(sed -n 's/.*\[android-platform-tools\]=//p' "$ROOT/platform/build.sh")
tarball=$CACHE/downloads/android-platform-tools-${sha256:0:16}.orig.tar.xz
if [ ! -f "$tarball" ]; then
  apt_suite_source trixie "$work/source" android-platform-tools
  tarball=$(echo "$work"/source/*.orig.tar.xz)
  sha256sum --check --status <<<"$sha256  $tarball" || die "${tarball##*/} is not what the platform is built from"
fi
say "Android's own tests: unpack and build (several minutes)"
mkdir "$work/src"
tar -xf "$tarball" -C "$work/src" "${FOLDERS[@]/#/./}"
for patch in "$ROOT"/platform/patches/*.patch; do
  run_logged platform-tests-patch patch --fuzz=0 -p1 -d "$work/src" -i "$patch"
done
# A service that is there on any device; theirs is there on phones.
sed -i '/kExistingNonNdkService\[\] =/s/SurfaceFlinger/manager/' \
  "$work/src/frameworks/native/libs/binder/ndk/tests/libbinder_ndk_unit_test.cpp"
run_logged platform-tests-cmake cmake -G Ninja -S "$HERE" -B "$work/build" -DCMAKE_C_COMPILER=clang-14 \
  -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld -DANDROID_SRC="$work/src" \
  -DCMAKE_PREFIX_PATH="$android"
run_logged platform-tests-build ninja -C "$work/build" || die "Android's tests could not be built"

# run_one_by_one PROGRAM: its tests set what holds for the rest of a process.
run_one_by_one() {
  local test status=0
  while read -r test; do
    "$1" --gtest_brief=1 --gtest_filter="$test" || status=$?
  done < <("$1" --gtest_list_tests | awk '/^[^ ]/ { suite = $1 } /^  / { print suite $1 }')
  return "$status"
}

cd "$work"
for program in "${HOST_TESTS[@]}"; do
  start=(timeout 600)
  case $program in liblog_host_test | dumpsys_test) start=(run_one_by_one) ;; esac
  run_tests "platform-$program" "${start[@]}" "$work/build/bin/$program" --gtest_brief=1 \
    --gtest_filter="$(excluded_of "$program")"
done

# With names and domains of their own: nobody is confined.
adds=()
script="cd /tmp; status=0;"
for program in "${DEVICE_TESTS[@]}"; do
  adds+=(--add "$work/build/bin/$program:/bin/$program")
  script+=" echo 'running $program'; /bin/$program --gtest_brief=1 --gtest_filter='$(excluded_of "$program")' || status=1;"
done
run_tests platform-on-device "$ROOT/sim/device/vdev" run --unconfined --no-service --timeout 900 \
  --logs "$LOGS/platform-tests" "${adds[@]}" -- sh -c "$script exit \$status"

[ "$failed" -eq 0 ] || die "Android's own tests: $passed passed, $failed failed"
# What skips itself, and what is left out.
excluded=$((skipped + $(grep -cv -e '^#' -e '^[^ ]* [*] ' "$HERE/excluded")))
echo "$key $(date +%F) $passed $excluded" >"$stamp"
[ "${1-}" != --again ] || cp "$stamp" "$HERE/passed"
tell "$stamp"
echo "[  PASSED  ] $passed tests."
