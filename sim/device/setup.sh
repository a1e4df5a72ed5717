#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Makes what the virtual device needs from outside, once: Debian's stock kernel, the headers that
# match it, iwpan, mandoc and a static busybox, and packs the part of the guest's file system that never
# changes. Prints the folder that holds it all:
#
#   vmlinux              the kernel, as QEMU starts it without a boot loader
#   modules.list         the kernel's modules that the guest loads, in order
#   headers              what an out-of-tree module builds against (symlink)
#   base.cpio            busybox, kernel modules, iwpan, mandoc
#   iwpan, mandoc        the same programs, whose libraries come from the machine
#   bash                 for whoever adds it
#   release              the kernel's release, as `uname -r` says it
#
# VELTA_UWB_ARCH names another architecture than this machine's, VELTA_UWB_KERNEL another Debian suite
# to take the kernel from, such as trixie or bookworm-backports.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

# shellcheck source=platform/apt_suite.sh
. "$ROOT/platform/apt_suite.sh"

DEVICE=$CACHE/device
KERNEL_SUITE=${VELTA_UWB_KERNEL:-}
# What the guest loads at boot, without what those need in turn.
BOOT_MODULES=(virtio_pci virtio_console 9pnet_virtio 9p binder_linux ieee802154_socket mac802154)
# Loaded only where a port is forwarded.
NET_MODULES=(virtio_net)
# There to compare with the kernel's own simulated radio, to see what goes over netlink, for a unit test.
OTHER_MODULES=(mac802154_hwsim nlmon tun)

# The script's own text is part of the key, so that a change here makes a new base.
key=$(content_key "${BASH_SOURCE[0]}")
current=$DEVICE/base-$key${KERNEL_SUITE:+-$KERNEL_SUITE}
if [ -f "$current/complete" ]; then
  echo "$current"
  exit 0
fi

mkdir -p "$DEVICE"
exec 9>"$DEVICE/lock"
flock 9
if [ -f "$current/complete" ]; then
  echo "$current"
  exit 0
fi

for tool in apt-get apt-cache dpkg-deb xz depmod modprobe "$OBJCOPY" cpio; do
  PATH=$PATH:/usr/sbin:/sbin command -v "$tool" >/dev/null ||
    die "$tool is missing; ./dev setup installs it"
done
PATH=$PATH:/usr/sbin:/sbin

# APT state of our own: an unprivileged user can refresh it, and a stale system list cannot
# name package files that the mirror no longer has. The sources are the machine's own.
APT_STATE=$DEVICE/apt
apt_machine() {
  local verb=$1
  shift
  "$verb" -o Dir::State::lists="$APT_STATE/lists" -o Dir::Cache="$APT_STATE/cache" \
    -o APT::Sandbox::User="$(id -un)" -o APT::Status-Fd=1 "$@"
}

# For what the device is made of, and for its kernel.
apt_device() { if [ -n "$CROSS" ]; then apt_for_arch "$@"; else apt_machine "$@"; fi; }
apt_kernel() {
  local verb=$1
  shift
  if [ -n "$KERNEL_SUITE" ]; then
    "$verb" -c "$CACHE/apt/$KERNEL_SUITE/apt.conf" "$@"
  else
    apt_device "$verb" "$@"
  fi
}

refresh_lists() {
  mkdir -p "$APT_STATE/lists/partial" "$APT_STATE/cache/archives/partial"
  apt_machine apt-get update
  [ -z "$CROSS" ] || apt_for_arch apt-get update
  [ -z "$KERNEL_SUITE" ] || apt_suite_update_ "$KERNEL_SUITE"
}

# depends_on PACKAGE PATTERN: the first dependency of PACKAGE whose name matches.
depends_on() {
  local found
  found=$(apt_kernel apt-cache depends "$1" 2>/dev/null |
    sed -n 's/^ *|\{0,1\}Depends: //p' | grep -E -m1 "$2") ||
    die "APT knows no $1 that depends on '$2'; check the network and the machine's APT sources" \
      "(Debian 12, main)${KERNEL_SUITE:+ and the suite $KERNEL_SUITE}; what APT said is in $LOGS/device-apt-update.log"
  echo "$found"
}

# fetch APT PACKAGE FOLDER: downloads (APT checks the signature) and unpacks a package into FOLDER.
fetch() {
  local apt=$1 package=$2 into=$3 debs=$DEVICE/debs/$2
  rm -rf "$debs"
  mkdir -p "$debs" "$into"
  if ! (cd "$debs" && run_logged "device-download-$package" \
    "$apt" apt-get download "$package"); then
    die "cannot download the package $package from Debian;" \
      "check the network and /etc/apt, then run this again"
  fi
  dpkg-deb -x "$debs"/*.deb "$into"
  rm -rf "$debs"
}

# vmlinux_of IMAGE: the kernel in it. Debian's for PCs of this suite is an ELF file, XZ-compressed:
# unpacking that under emulation would be more than half of the boot. What is packed otherwise unpacks
# itself; that for arm64 is not packed.
vmlinux_of() {
  local sectors offset length magic
  sectors=$(od -An -tu1 -j497 -N1 "$1")
  offset=$(od -An -tu4 -j584 -N4 "$1")
  length=$(od -An -tu4 -j588 -N4 "$1")
  offset=$(((sectors + 1) * 512 + offset))
  magic=$(od -An -tx1 -j"$offset" -N6 "$1" 2>/dev/null) || true
  if [ "$ARCH" != amd64 ] || [ "$magic" != " fd 37 7a 58 5a 00" ]; then
    cat "$1"
    return
  fi
  # The size that follows the stream is not for xz.
  head -c $((offset + length)) "$1" | tail -c "$length" | xz -dc --single-stream
}

say "virtual device: refreshing APT's lists"
run_logged device-apt-update refresh_lists ||
  die "APT cannot refresh its lists; check the network and /etc/apt, then run this again"

image=$(depends_on "linux-image-$ARCH" "^linux-image-[0-9].*-$ARCH\$")
release=${image#linux-image-}
headers=linux-headers-$release
common=$(depends_on "$headers" '^linux-headers-.*-common$')
kbuild=$(depends_on "$headers" '^linux-kbuild-')
version=$(apt_kernel apt-cache policy "$image" | sed -n 's/^ *Candidate: //p')

kernel=$DEVICE/kernel-$version
if [ ! -f "$kernel/complete" ]; then
  rm -rf "$kernel"
  say "virtual device: downloading the kernel $version and its headers (85 MB)"
  for package in "$image" "$headers" "$common"; do
    fetch apt_kernel "$package" "$kernel"
  done
  # Its programs run here, whatever they build for.
  if [ -n "$CROSS" ]; then fetch apt_machine "$kbuild=$version" "$kernel"; else fetch apt_kernel "$kbuild" "$kernel"; fi
  # The headers' makefiles name each other by where an installation would put them.
  grep -rlI '/usr/src/linux-headers' "$kernel/usr/src/$headers" --include=Makefile |
    xargs -r sed -i "s,/usr/src/linux-headers,$kernel/usr/src/linux-headers,g"
  ln -sfn "$kernel/usr/src/$headers" "$kernel/lib/modules/$release/build"
  ln -sfn "$kernel/usr/src/$common" "$kernel/lib/modules/$release/source"
  vmlinux_of "$kernel/boot/vmlinuz-$release" >"$kernel/vmlinux" ||
    die "the kernel in $image cannot be unpacked; remove $kernel and try again"
  depmod -b "$kernel" "$release"
  touch "$kernel/complete"
fi

say "virtual device: packing its base"
new=$(mktemp -d "$DEVICE/base-new.XXXXXX")
trap 'rm -rf "$new"' EXIT
for package in wpan-tools busybox-static mandoc bash; do
  fetch apt_device "$package" "$new/packages"
done
# It is asked here for what it can do.
[ -z "$CROSS" ] || fetch apt_machine busybox-static "$new/here"

guest=$new/guest
mkdir -p "$guest"/{bin,usr/share,lib/$TRIPLET,lib64,proc,sys,dev,run,tmp,host,out,etc/velta-uwb}
mkdir -p "$guest/lib/modules/$release/extra"
# One folder for programs, under all the names that scripts know.
ln -s bin "$guest/sbin"
ln -s ../bin "$guest/usr/bin"
ln -s ../bin "$guest/usr/sbin"
ln -s ../lib "$guest/usr/lib"
ln -s "$release/extra" "$guest/lib/modules/extra"
busybox=$(find "$new/packages" -type f -perm -u+x -name busybox)
cp "$busybox" "$guest/bin/busybox"
for program in iwpan mandoc; do
  cp "$(find "$new/packages" -type f -perm -u+x -name $program)" "$new/$program"
  cp "$new/$program" "$guest/bin/$program"
done
cp "$(find "$new/packages" -type f -perm -u+x -name bash)" "$new/bash"
[ -z "$CROSS" ] || busybox=$(find "$new/here" -type f -perm -u+x -name busybox)
for applet in $("$busybox" --list); do
  [ -e "$guest/bin/$applet" ] || ln -s busybox "$guest/bin/$applet"
done

# modules_for MODULE...: the files to load, dependencies first, each once.
modules_for() {
  local module
  for module in "$@"; do
    modprobe -d "$kernel" -S "$release" --show-depends "$module" ||
      die "the kernel $version has no module $module"
  done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }'
}
modules_for "${BOOT_MODULES[@]}" >"$new/boot.files"
modules_for "${NET_MODULES[@]}" >"$new/net.files"
modules_for "${BOOT_MODULES[@]}" "${NET_MODULES[@]}" "${OTHER_MODULES[@]}" >"$new/all.files"
while read -r file; do
  name=${file##*/}
  name=${name%.xz}
  if [ "$name" != "${file##*/}" ]; then
    xz -dc "$file" >"$new/module"
    file=$new/module
  fi
  # Without their signatures: checking those would take a quarter of a second of each boot.
  "$OBJCOPY" --strip-debug "$file" "$guest/lib/modules/$release/$name"
done <"$new/all.files"
for list in boot net; do
  while read -r file; do
    # The kernel has loaded those already.
    [ $list = boot ] || ! grep -qxF -- "$file" "$new/boot.files" || continue
    file=${file##*/}
    echo "/lib/modules/$release/${file%.xz}"
  done <"$new/$list.files" >"$guest/lib/modules/$list"
done
depmod -b "$guest" "$release" 2>/dev/null || true

(cd "$guest" && find . -print0 | LC_ALL=C sort -z |
  cpio --null -o -H newc -R 0:0 --quiet) >"$new/base.cpio"
ln -s "$kernel/vmlinux" "$new/vmlinux"
ln -s "$kernel/usr/src/$headers" "$new/headers"
echo "$release" >"$new/release"
rm -rf "$new/packages" "$new/here" "$new/module" "$guest" "$new"/{boot,net,all}.files
touch "$new/complete"
chmod 755 "$new"
rm -rf "$current"
mv "$new" "$current"
trap - EXIT
echo "$current"
