#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Makes what programs for another architecture (VELTA_UWB_ARCH) are built against and run with, from
# Debian's packages, and prints its folder. Nothing is installed on the machine.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

# What ./dev installs for this machine's own programs, and what the virtual device has of them.
PACKAGES=(
  libc6-dev libstdc++-12-dev libnl-3-dev libnl-genl-3-dev libseccomp-dev libncurses-dev libcli11-dev
  nlohmann-json3-dev libcpp-httplib-dev libeigen3-dev libgtest-dev libgmock-dev util-linux zlib1g)

[ -n "$CROSS" ] || die "programs for $ARCH need no folder of their own here"
sysroot=$CACHE/sysroot-$(content_key "${BASH_SOURCE[0]}")
if [ -d "$sysroot" ]; then
  echo "$sysroot"
  exit
fi
exec 9>"$CACHE/sysroot.lock"
flock 9
if [ ! -d "$sysroot" ]; then
  say "downloading what programs for $ARCH are built against (31 MB)"
  # A list that is missing need not be one of those that are wanted.
  run_quietly "sysroot-lists-$ARCH" apt_for_arch apt-get update || say "APT did not get all lists for $ARCH"
  run_logged "sysroot-packages-$ARCH" apt_for_arch apt-get -y --no-install-recommends --download-only \
    install "${PACKAGES[@]}" || die "APT has no packages for $ARCH"
  new=$(mktemp -d "$CACHE/sysroot-new.XXXXXX")
  trap 'rm -rf "$new"' EXIT
  for package in "$CACHE/apt-$ARCH"/cache/archives/*.deb; do
    dpkg-deb -x "$package" "$new"
  done
  rm -f "$CACHE/apt-$ARCH"/cache/archives/*.deb
  # Links from the root mean this folder's.
  find "$new" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
    ln -sfn "$(realpath -m --relative-to="$(dirname "$link")" "$new$(readlink "$link")")" "$link"
  done
  chmod 755 "$new"
  mv -T "$new" "$sysroot"
  trap - EXIT
fi
echo "$sysroot"
