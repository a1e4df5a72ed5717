#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# What is shipped beside the programs: blueprint files, Android's packaging, documents, the dissector.
#   tests/packaging/packaging_test.sh AIDL
# AIDL is the path of the AIDL compiler.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"
# shellcheck source=platform/apt_suite.sh
. "$ROOT/platform/apt_suite.sh"

# Android's own parser of blueprint files is in the sources that platform/ builds from.
PARSER_FOLDER=development/vndk/tools/sourcedr/blueprint
tarballs=("$CACHE"/downloads/android-platform-tools-*.orig.tar.xz)
tarball=${tarballs[0]}
parser=$CACHE/blueprint-$(basename "$tarball" .orig.tar.xz)
if [ ! -f "$parser/blueprint.py" ]; then
  work=$(mktemp -d "$CACHE/blueprint.XXXXXX")
  trap 'rm -rf "$work"' EXIT
  if [ ! -f "$tarball" ]; then
    apt_suite_source trixie "$work" android-platform-tools
    tarballs=("$work"/*.orig.tar.xz)
    tarball=${tarballs[0]}
  fi
  tar -xf "$tarball" -C "$work" "./$PARSER_FOLDER/blueprint.py"
  mkdir -p "$parser"
  mv "$work/$PARSER_FOLDER/blueprint.py" "$parser/"
fi
cd "$ROOT"
PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$parser python3 tests/packaging/packaging_test.py "$1"
