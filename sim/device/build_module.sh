#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# build_module.sh OUT_DIR [--fuzz]: builds the virtual radio, OUT_DIR/mcps802154_sim.ko, for the virtual
# device's kernel; --fuzz: one that a fuzzer can find its way in. The products stay in OUT_DIR; only
# what changed is built again.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

[ $# -eq 1 ] || [ "$# ${2-}" = "2 --fuzz" ] || die "usage: build_module.sh OUT_DIR [--fuzz]"
fuzz=${2:+SIM_FUZZ=1}
mkdir -p "$1"
out=$(cd "$1" && pwd)
source=$ROOT/sim/radio
[ -f "$source/Kbuild" ] || die "there is no virtual radio to build in $source"

base=$("$ROOT/sim/device/setup.sh")
headers=$(readlink -f "$base/headers")
cross=
[ -z "$CROSS" ] || cross=$GNU_TARGET-
compiler=$cross$(grep -o -m1 'gcc-[0-9]*' "$headers/.kernelvariables")
for tool in make "$compiler"; do
  command -v "$tool" >/dev/null || die "$tool is missing; ./dev setup installs it"
done

# Kbuild would find that nothing is to do as well, in half a second.
if [ "$(cat "$out/headers" 2>/dev/null)" = "$headers" ] && [ -f "$out/mcps802154_sim.ko" ] &&
  [ -z "$(find "$source" "$ROOT/net" "${BASH_SOURCE[0]}" -newer "$out/mcps802154_sim.ko")" ]; then
  exit 0
fi

# Kbuild writes beside the sources: it is given links to them, in the same folders, because the
# module includes from the root. make takes no spaces in a path; the cache has none.
tree=$out/tree
case $tree in
  *[[:space:]]*) tree=$CACHE/radio-$(printf '%s' "$out" | sha256sum | cut -c1-16) ;;
esac
mkdir -p "$tree/sim/radio" "$tree/net"
find "$tree" -type l -delete
(cd "$source" && find . -name '*.[ch]' -o -name Kbuild) | while read -r file; do
  mkdir -p "$(dirname "$tree/sim/radio/$file")"
  ln -s "$source/$file" "$tree/sim/radio/$file"
done
ln -s "$ROOT"/net/*.h "$tree/net/"

# Another kernel's objects are of no use.
if [ "$(cat "$out/headers" 2>/dev/null)" != "$headers" ]; then
  find "$tree" -type f -delete
  echo "$headers" >"$out/headers"
fi

build() {
  # Types for BPF, which some kernels' modules have, would want one more tool.
  make -j "$(nproc)" -C "$headers" M="$tree/sim/radio" CROSS_COMPILE="$cross" CC="$compiler" W=1 KCFLAGS=-Werror \
    CONFIG_DEBUG_INFO_BTF_MODULES= ${fuzz:+"$fuzz"} modules
}
say "building the virtual radio"
run_logged device-module build || exit 1
cp "$tree/sim/radio/mcps802154_sim.ko" "$out/mcps802154_sim.ko"
