#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Prints where axe-core's script is: what judges whether a page can be used with a screen reader. It is fetched
# once, into the cache, by npm, which holds it against its checksum.
set -euo pipefail

version=4.10.3
integrity=sha512-Xm7bpRXnDSX2YE2YFfBk2FnF0ep6tmG7xPh8iHee8MIcrgq762Nkce856dYtJYLkuIoYZvGfTs/PbZhideTcEg==
cache=${VELTA_UWB_CACHE:-$HOME/.cache/velta-uwb}
folder=$cache/axe-core-$version-$(sha256sum <<<"$integrity" | head -c 16)

if [ ! -f "$folder/axe.min.js" ]; then
  mkdir -p "$cache"
  making=$(mktemp -d "$cache/axe-core.XXXXXX")
  trap 'rm -rf "$making"' EXIT
  cat >"$making/package-lock.json" <<LOCK
{"name": "axe", "version": "1.0.0", "lockfileVersion": 3, "packages": {
  "": {"name": "axe", "version": "1.0.0", "dependencies": {"axe-core": "$version"}},
  "node_modules/axe-core": {"version": "$version", "integrity": "$integrity"}}}
LOCK
  echo '{"name": "axe", "version": "1.0.0", "dependencies": {"axe-core": "'"$version"'"}}' >"$making/package.json"
  npm ci --prefix "$making" --ignore-scripts --no-audit --no-fund >&2
  mkdir -p "$making/folder"
  cp "$making/node_modules/axe-core/axe.min.js" "$making/folder/"
  [ -d "$folder" ] || mv "$making/folder" "$folder"
fi
echo "$folder/axe.min.js"
