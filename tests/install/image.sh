#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# image.sh LIBRARY...: makes a disk with a small Debian system, once: systemd, time zones, dpkg, DKMS with its compiler,
# and the packages named, which are those that ours depend on. Nothing of ours is on it. Prints the image's path. Needs
# no privileges.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"
# shellcheck source=platform/apt_suite.sh
. "$ROOT/platform/apt_suite.sh"

SUITE=bookworm
PACKAGES=systemd-sysv,udev,kmod,passwd,tzdata,dkms,libelf1
# libelf1 is what the kernel's own build tools run on. Modules of the kernel beside those that the virtual device loads.
MODULES=(virtio_pci virtio_blk virtio_console 9pnet_virtio 9p ext4 binder_linux ieee802154_socket mac802154 autofs4)

# The kernel is the virtual device's own, as a package would have put it there, with its headers.
pack() {
  local work=$1 kernel=$2 release=$3 root=$1/root list file headers
  mkdir "$root"
  tar -xf "$work/root.tar" -C "$root"
  rm -rf "$root"/var/cache/apt "$root"/usr/share/{locale,doc}/*
  mkdir -p "$root/usr/lib/modules/$release" "$root/usr/src"
  list=$(for file in "${MODULES[@]}"; do
    modprobe -d "$kernel" -S "$release" --show-depends "$file" || exit
  done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }')
  while read -r file; do
    install -D -m 644 "$file" "$root/usr/${file#"$kernel/"}"
  done <<<"$list"
  cp "$kernel/lib/modules/$release"/modules.{builtin,builtin.modinfo,order} "$root/usr/lib/modules/$release/"
  depmod -b "$root" "$release"
  cp -a "$kernel/usr/src/." "$root/usr/src/"
  cp -a "$kernel"/usr/lib/linux-kbuild-* "$root/usr/lib/"
  headers=/usr/src/linux-headers-$release
  # They name each other by where they are on this machine.
  grep -rlI "$kernel/usr/src" "$root$headers" --include=Makefile | xargs -r sed -i "s,$kernel/usr/src,/usr/src,g"
  ln -sfn "$headers" "$root/usr/lib/modules/$release/build"
  ln -sfn "/usr/src/linux-headers-${release%-amd64}-common" "$root/usr/lib/modules/$release/source"
  echo uwb-host >"$root/etc/hostname"
  echo 'LANG=C.UTF-8' >"$root/etc/default/locale"
  : >"$root/etc/machine-id"
  truncate -s 1400M "$work/image"
  mke2fs -q -t ext4 -O ^has_journal -d "$root" "$work/image"
}
if [ "${1-}" = pack ]; then
  pack "${@:2}"
  exit
fi

base=$("$ROOT/sim/device/setup.sh")
kernel=$(dirname "$(readlink -f "$base/vmlinux")")
release=$(<"$base/release")
image=$CACHE/device/debian-$(content_key "${BASH_SOURCE[0]}" "$base/release" <(echo "$kernel" "$@")).ext4
if [ -f "$image" ]; then
  echo "$image"
  exit 0
fi

work=$(mktemp -d "$CACHE/device/debian-new.XXXXXX")
trap 'rm -rf "$work"' EXIT
say "packages: a Debian $SUITE system (250 MB of downloads)"
mirror=$(apt_suite_mirrors | head -n 1)
run_logged debian-packages mmdebstrap --variant=essential --include="$(IFS=,; echo "$PACKAGES,$*")" --format=tar \
  --skip=output/dev "$SUITE" "$work/root.tar" \
  "deb [signed-by=$(apt_suite_keyring_)] $mirror $SUITE main" || die "no Debian system could be made"

say "packages: the system's disk"
# Owners are not this script's to set, but of files in the image.
PATH=$PATH:/usr/sbin:/sbin run_logged debian-disk fakeroot "${BASH_SOURCE[0]}" pack "$work" "$kernel" "$release" ||
  die "the disk could not be made"
mv "$work/image" "$image"
echo "$image"
