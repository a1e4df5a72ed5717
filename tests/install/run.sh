#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# tests/install/run.sh FOLDER LOGS [--compile]: the packages in FOLDER on a Debian system with systemd that has nothing
# but them: guest.sh tells what is checked. Prints what it prints; the guest's logs are in LOGS. The virtual radio is
# compiled by DKMS on this machine, from what its package brings; with --compile on that system as well, as its owner
# would, which takes ten minutes of emulation.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"
readonly TIMEOUT=1800

packages=$(cd "$1" && pwd)
logs=$2
mapfile -t libraries < <(for file in "$packages"/*.deb; do dpkg-deb -f "$file" Depends; done |
  grep -oE '(^| )lib[a-z0-9.+-]+' | tr -d ' ' | LC_ALL=C sort -u)
image=$("$ROOT/tests/install/image.sh" "${libraries[@]}")
base=$("$ROOT/sim/device/setup.sh")
kernel=$(dirname "$(readlink -f "$base/vmlinux")")
release=$(<"$base/release")
mkdir -p "$logs"
work=$(mktemp -d "$logs/.run.XXXXXX")
qemu=
trap '[ -z "$qemu" ] || kill "$qemu" 2>/dev/null; rm -rf "$work"' EXIT
host=$work/host
mkdir -p "$host/next"
cp "$packages"/*.deb "$ROOT"/{tests/install/guest.sh,packaging/linux/README.md} "$host/"

# What would come next: the same, but for its number and for what it says in its settings.
next() {
  local tree=$work/next version
  version=$(dpkg-deb -f "$1" Version)+next
  dpkg-deb -R "$1" "$tree"
  sed -i "s/^Version: .*/Version: $version/" "$tree/DEBIAN/control"
  find "$tree/etc" -name '*.conf' -exec sh -c 'for file; do echo "; next" >>"$file"; done' sh {} + 2>/dev/null || true
  dpkg-deb --root-owner-group -b "$tree" "$host/next" >/dev/null
  rm -rf "$tree"
}
next "$host"/velta-uwb_*.deb
next "$host"/uwbctl_*.deb

# As on a system that has the kernel's headers.
compile_radio() {
  local tree=$work/dkms name version file places
  name=mcps802154-sim
  mkdir -p "$tree"/{tree,package}
  dpkg-deb -x "$host"/mcps802154-sim-dkms_*.deb "$tree/package"
  version=$(dpkg-deb -f "$host"/mcps802154-sim-dkms_*.deb Version)
  places=(--dkmstree "$tree/tree" --sourcetree "$tree/package/usr/src")
  run_logged dkms-add dkms add "${places[@]}" -m $name -v "$version"
  run_logged dkms-build dkms build "${places[@]}" -m $name -v "$version" -k "$release" \
    --kernelsourcedir "$(readlink -f "$base/headers")"
  file=$(find "$tree/tree/$name" -name 'mcps802154_sim.ko*' -print -quit)
  [ -f "$file" ] || die "DKMS has built no module"
  cp "$file" "$host/"
}
PATH=$PATH:/usr/sbin:/sbin
if [ "${3-}" != --compile ]; then
  compile_radio
fi

# The way to the disk, and to this folder; everything else is the system's own.
guest=$work/guest
mkdir -p "$guest/modules"
for module in virtio_pci virtio_blk 9pnet_virtio 9p ext4; do
  modprobe -d "$kernel" -S "$release" --show-depends "$module"
done | awk '$1 == "insmod" && !seen[$2]++ { print $2 }' | while read -r file; do
  cp "$file" "$guest/modules/"
  echo "/modules/${file##*/}"
done >"$guest/modules/list"
cat >"$guest/init" <<'END'
#!/bin/sh
export PATH=/bin
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs devtmpfs /dev
while read -r module; do insmod "$module"; done </modules/list
mkdir -p /disk
mount -t tmpfs -o mode=755 tmpfs /run
mkdir -p /run/host /run/systemd/system/multi-user.target.wants
mount -t ext4 /dev/vda /disk
mount -t 9p -o trans=virtio,version=9p2000.L,cache=none,msize=262144 host /run/host
cat >/run/systemd/system/install-test.service <<'UNIT'
[Unit]
After=multi-user.target
[Service]
Type=oneshot
ExecStart=/bin/bash -c '/bin/bash /run/host/guest.sh >/run/host/output 2>&1; sync; systemctl poweroff -ff'
UNIT
ln -s ../install-test.service /run/systemd/system/multi-user.target.wants/
for mount in dev proc sys run; do mount --move /$mount /disk/$mount; done
exec switch_root /disk /sbin/init
END
chmod 755 "$guest/init"
(cd "$guest" && find . | cpio -o -H newc -R 0:0 --quiet) | cat "$base/base.cpio" - >"$work/initramfs"

: >"$host/output"
# The disk stays as it is. Debian's own command line: no security module is asked for.
timeout -k 2 $TIMEOUT qemu-system-x86_64 -accel tcg -machine q35 -cpu "qemu64,+rdrand" -smp 2 -m 1024 \
  -nodefaults -no-user-config -display none -no-reboot -kernel "$base/vmlinux" -initrd "$work/initramfs" \
  -append "console=ttyS0 panic=-1 cryptomgr.notests no_timer_check systemd.getty_auto=no" \
  -drive "file=$image,format=raw,if=virtio,snapshot=on" -serial "file:$logs/console.log" \
  -virtfs "local,path=$host,mount_tag=host,security_model=none" </dev/null >"$work/qemu.err" 2>&1 &
qemu=$!
tail -q -c +1 -s 0.1 --pid="$qemu" -f "$host/output" &
status=0
wait "$qemu" || status=$?
qemu=
wait
cp "$host/journal.log" "$logs/" 2>/dev/null || true
[ "$status" -eq 0 ] || die "the system did not end by itself (status $status): $(head -n 1 "$work/qemu.err")" \
  "(log: $logs/console.log)"
grep -q '^\[  PASSED  \]' "$host/output" || die "the test did not reach its end; see $logs/console.log"
! grep -q '^\[  FAILED  \]' "$host/output" || die "see $logs/journal.log"
