#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# What is shipped beside the programs: blueprint files, Android's packaging, documents, the dissector.
#   tests/packaging/packaging_test.sh PREFIX
# PREFIX is where Android's libraries are.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"
# shellcheck source=platform/apt_suite.sh
. "$ROOT/platform/apt_suite.sh"
cd "$ROOT"

# Android's own parser of blueprint files is in the sources that platform/ builds from.
PARSER_FOLDER=development/vndk/tools/sourcedr/blueprint
tarball=$(apt_suite_kept_source trixie android-platform-tools)
parser=$CACHE/blueprint-$(basename "$tarball" .orig.tar.xz)
if [ ! -f "$parser/blueprint.py" ]; then
  work=$(mktemp -d "$CACHE/blueprint.XXXXXX")
  trap 'rm -rf "$work"' EXIT
  tar -xf "$tarball" -C "$work" "./$PARSER_FOLDER/blueprint.py"
  mkdir -p "$parser"
  mv "$work/$PARSER_FOLDER/blueprint.py" "$parser/"
fi
# So is init's own of its scripts.
verifier=$(tools/init_verifier/build.sh "$1")
PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$parser python3 tests/packaging/packaging_test.py "$1/bin/aidl" "$verifier"
