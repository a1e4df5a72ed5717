#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Freezes the interface package, or checks that it is equal to what was frozen.
#   aidl/freeze.sh AIDL check     fails, naming the difference, when they are not equal
#   aidl/freeze.sh AIDL freeze    writes aidl_api/hardware.velta.uwb/1 and its .hash anew
# AIDL is the path of the AIDL compiler. A version that was released is never frozen anew: clients
# compare the hash.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
aidl=$1
action=$2
package=hardware.velta.uwb
version=1
frozen=$here/aidl_api/$package/$version
flags=(--structured --stability=vintf)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mapfile -t sources < <(cd "$here" && find hardware -name '*.aidl' | LC_ALL=C sort)
(cd "$here" && "$aidl" --dumpapi "${flags[@]}" -I . --out="$work" "${sources[@]}")

hash_of() {
  (cd "$1" && { find ./ -name '*.aidl' -print0 | LC_ALL=C sort -z | xargs -0 sha1sum
    echo "$version"; } | sha1sum | cut -d ' ' -f 1)
}

case $action in
  freeze)
    rm -rf "$frozen"
    mkdir -p "$frozen"
    cp -r "$work"/. "$frozen"
    hash_of "$frozen" >"$frozen/.hash"
    ;;
  check)
    [ -f "$frozen/.hash" ] || { echo "error: $package version $version is not frozen" >&2; exit 1; }
    [ "$(cat "$frozen/.hash")" = "$(hash_of "$frozen")" ] ||
      { echo "error: the frozen version $version of $package was edited: its .hash differs" >&2; exit 1; }
    "$aidl" --checkapi=equal "${flags[@]}" "$frozen" "$work" ||
      { echo "error: $package is not equal to its frozen version $version" >&2; exit 1; }
    # The compiler compares declarations; this catches whole types that came or went.
    diff -r --exclude=.hash "$frozen" "$work" >&2 ||
      { echo "error: $package is not equal to its frozen version $version" >&2; exit 1; }
    ;;
  *)
    echo "error: unknown action $action (check, freeze)" >&2
    exit 2
    ;;
esac
