#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# tools/init_verifier/build.sh PREFIX: Android's host_init_verifier for this machine, from the platform's sources, built
# once (seconds). Prints its path; that is how it is used, as Android's build does:
#   host_init_verifier [--property-contexts=FILE] SCRIPT.rc
# PREFIX is where Android's libraries are (platform/build.sh). It wants libprotobuf-dev, protobuf-compiler, libcap-dev
# and libselinux1-dev.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"
# shellcheck source=platform/apt_suite.sh
. "$ROOT/platform/apt_suite.sh"

prefix=$1
source=$ROOT/tools/init_verifier
mapfile -t inputs < <(find "$source" -type f | LC_ALL=C sort)
verifier=$CACHE/init-verifier-$(content_key "${inputs[@]}" <(echo "${prefix##*/}"))
if [ -x "$verifier" ]; then
  echo "$verifier"
  exit
fi
work=$(mktemp -d "$CACHE/init-verifier.XXXXXX")
trap 'rm -rf "$work"' EXIT
tools=$(apt_suite_kept_source trixie android-platform-tools)
selinux=$(apt_suite_kept_source trixie android-platform-external-libselinux)
mkdir -p "$work/src/external/selinux"
tar -xf "$tools" -C "$work/src" ./system/core/{init,property_service,libcutils/include}
tar -xf "$selinux" -C "$work/src/external/selinux" libselinux/include
build() {
  cmake -G Ninja -S "$source" -B "$work/build" -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_UNITY_BUILD=ON \
    -DCMAKE_UNITY_BUILD_BATCH_SIZE=10 -DCMAKE_PREFIX_PATH="$prefix" -DANDROID_SRC="$work/src" &&
    cmake --build "$work/build"
}
say "building Android's checker of init scripts"
run_logged init-verifier build
mv "$work/build/host_init_verifier" "$verifier"
echo "$verifier"
