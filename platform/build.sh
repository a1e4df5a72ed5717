#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Builds Android's own libraries, servicemanager, its tools and the AIDL compiler for this host, once,
# and prints the folder they are installed in: the only line on standard output. See README.md.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"
# shellcheck source=platform/apt_suite.sh
. "$ROOT/platform/apt_suite.sh"

SOURCE_SUITE=trixie
SOURCE_PACKAGE=android-platform-tools
declare -A SOURCE_SHA256=(
  [android-platform-tools]=4893f6a85b205f1df2c35cde5d6ca3bedd5e9f19afdb3b5ac781e647aa2243f4
  [android-platform-external-libselinux]=d3d4fb747caf4371e7c25e0e38d49d7fefc9422afd81a5ae0ca07bc4404203ac)
SOURCE_FOLDERS=(
  external/fmtlib frameworks/native/NOTICE frameworks/native/cmds/dumpsys
  frameworks/native/cmds/service frameworks/native/cmds/servicemanager
  frameworks/native/libs/android_runtime_lazy frameworks/native/libs/binder
  frameworks/native/libs/binderdebug frameworks/native/libs/fakeservicemanager
  frameworks/native/services/utils
  libnativehelper/include_jni system/core/libcutils system/core/libprocessgroup
  system/core/libsystem system/core/libutils system/libbase system/logging/liblog)

AIDL_SUITE=forky
AIDL_UPSTREAM=14.0.0+r75
# What the AIDL compiler runs on: its own C library and all, newer than this machine's.
AIDL_LIBS_SUITE=trixie
AIDL_LIBS=(
  libc6 libstdc++6 libgcc-s1 libatomic1 zlib1g android-libbase android-liblog android-libcutils)

DOWNLOADS=$CACHE/downloads

need_programs() {
  local program
  for program in clang-14 clang++-14 cmake ninja patch xz flock dpkg-deb apt-get; do
    command -v "$program" >/dev/null || die "$program is missing; run ./dev setup"
  done
}

is_source_tarball() { [ -f "$1" ] && sha256sum --check --status <<<"${SOURCE_SHA256[$2]}  $1"; }

# source_tarball PACKAGE: prints its path; downloads it first if need be.
source_tarball() {
  local package=$1 tarball fetched
  tarball=$DOWNLOADS/$package-${SOURCE_SHA256[$package]:0:16}.orig.tar
  # GNU tar finds out by itself how it is compressed.
  [ "$package" != "$SOURCE_PACKAGE" ] || tarball+=.xz
  if ! is_source_tarball "$tarball" "$package"; then
    apt_suite_source "$SOURCE_SUITE" "$work/source-$package" "$package"
    fetched=("$work/source-$package"/*.orig.tar.*)
    is_source_tarball "${fetched[0]}" "$package" ||
      die "${fetched[0]##*/} from Debian $SOURCE_SUITE is not the version this was written for" \
        "(its sha256 is not ${SOURCE_SHA256[$package]}): try another mirror"
    mkdir -p "$DOWNLOADS"
    mv -f "${fetched[0]}" "$tarball"
  fi
  printf '%s\n' "$tarball"
}

unpack_source() {
  local tarball selinux patch
  tarball=$(source_tarball "$SOURCE_PACKAGE")
  selinux=$(source_tarball android-platform-external-libselinux)
  say "platform: unpack and patch the sources"
  mkdir -p "$work/src/external/selinux"
  run_logged platform-unpack tar -xf "$tarball" -C "$work/src" "${SOURCE_FOLDERS[@]/#/./}"
  run_logged platform-unpack-selinux tar -xf "$selinux" -C "$work/src/external/selinux" libselinux
  for patch in "$ROOT"/platform/patches/*.patch; do
    run_logged platform-patch patch --fuzz=0 -p1 -d "$work/src" -i "$patch"
  done
}

# aidl_packages: prints the folder with the .deb files; downloads them first if need be.
aidl_packages() {
  local folder
  folder=$DOWNLOADS/aidl-$(printf '%s\n' "$AIDL_SUITE" "$AIDL_LIBS_SUITE" "${AIDL_LIBS[@]}" | sha256sum | cut -c1-16)
  if [ ! -d "$folder" ]; then
    apt_suite_download "$AIDL_SUITE" "$work/debs" aidl
    apt_suite_download "$AIDL_LIBS_SUITE" "$work/debs" "${AIDL_LIBS[@]}"
    mkdir -p "$DOWNLOADS"
    mv "$work/debs" "$folder"
  fi
  printf '%s\n' "$folder"
}

# install_aidl: the compiler in a private root inside the prefix, and bin/aidl that starts it there.
install_aidl() {
  local debs deb root=$work/prefix/lib/aidl version libs
  debs=$(aidl_packages)
  mkdir -p "$root" "$work/prefix/bin"
  for deb in "$debs"/*.deb; do
    dpkg-deb -x "$deb" "$root"
  done
  version=$(dpkg-deb -f "$(printf '%s\n' "$debs"/aidl_*.deb)" Version)
  case $version in
    *"$AIDL_UPSTREAM"*) ;;
    *) say "platform: aidl is $version now; $AIDL_UPSTREAM is what this was written for" ;;
  esac
  libs=$(cd "$root" && printf '%s\n' usr/lib/*/ld-linux-*.so.*)
  sed -e "s|@LOADER@|$libs|" -e "s|@LIBS@|${libs%/*}|g" "$ROOT/platform/aidl.in" >"$work/prefix/bin/aidl"
  chmod 755 "$work/prefix/bin/aidl"
  # Character sets, documents and configuration are of no use to it; licences stay.
  rm -rf "${root:?}"/{etc,usr/lib/*/gconv,usr/share/{lintian,man,locale,bug}}
  "$work/prefix/bin/aidl" --help >"$LOGS/platform-aidl.log" 2>&1 ||
    die "the AIDL compiler does not start here; see $LOGS/platform-aidl.log"
}

build_libraries() {
  say "platform: build the libraries and programs (about a minute)"
  # The caller's own flags have no say: the result is kept under a key that does not know them.
  unset CFLAGS CXXFLAGS CPPFLAGS LDFLAGS DESTDIR
  run_logged platform-cmake cmake -G Ninja -S "$ROOT/platform" -B "$work/build" \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS_RELEASE="-O2 -DNDEBUG" \
    -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_INSTALL_PREFIX="$work/prefix" -DANDROID_SRC="$work/src" -DAIDL="$work/prefix/bin/aidl"
  run_logged platform-build ninja -C "$work/build"
  run_logged platform-install ninja -C "$work/build" install
}

# Everything here decides the result, but for the text for readers and the way to the mirror.
mapfile -t inputs < <(find "$ROOT/platform" -type f ! -name README.md ! -name apt_suite.sh | LC_ALL=C sort)
prefix=$CACHE/android-$(content_key "${inputs[@]}")

if [ ! -d "$prefix" ]; then
  need_programs
  # Two builds at once (a test beside a demo): the second waits and finds the work done.
  exec 8>"$CACHE/platform.lock"
  if ! flock -n 8; then
    say "platform: another build is under way; waiting for it"
    flock 8
  fi
fi
if [ ! -d "$prefix" ]; then
  rm -rf "$CACHE"/platform-build.* # of runs that were killed: the lock is ours
  work=$(mktemp -d "$CACHE/platform-build.XXXXXX")
  trap 'rm -rf "$work"' EXIT
  unpack_source
  install_aidl
  build_libraries
  chmod 755 "$work/prefix"
  mv -T "$work/prefix" "$prefix"
  say "platform: installed in $prefix"
fi
printf '%s\n' "$prefix"
