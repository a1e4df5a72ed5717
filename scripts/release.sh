#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# scripts/release.sh PREFIX OUT [--twice]: what a release of the commit that is checked out consists of, in OUT: the
# source archive, the packages built from that archive alone, what they are made of, checksums. PREFIX is where
# Android's libraries are. With --twice all is made once more, elsewhere, and has to be the same to the byte.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
# shellcheck source=scripts/common.sh
. scripts/common.sh

# The library that has CycloneDX's schema, and what it checks with.
VALIDATOR=(@cyclonedx/cyclonedx-library@10.3.0 ajv@8.20.0 ajv-formats@3.0.1 ajv-formats-draft2019@1.6.1)

prefix=$1
out=$2
case ${3-} in
  '' | --twice) ;;
  *) die "./dev release knows --twice only, not '$3'" ;;
esac
[ -z "$(git status --porcelain)" ] || die "a release is of a commit: git status has what is not in it"
commit=$(git rev-parse HEAD)
version=$(sed -n 's/.*kVersion.*"\(.*\)".*/\1/p' version/version.h)
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH
# Nothing of the caller's: a compiler cache rewrites the paths that are to be mapped.
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER CFLAGS CXXFLAGS CPPFLAGS LDFLAGS DESTDIR
export CCACHE_DISABLE=1 LC_ALL=C TZ=UTC
umask 022
work=$(mktemp -d "$CACHE/release.XXXXXX")
trap 'rm -rf "$work"' EXIT

# make_release FOLDER WORK: all of it.
make_release() {
  local into=$1 tree=$2/velta-uwb-$version
  mkdir -p "$into" "$2"
  # gzip itself would note the time.
  git archive --format=tar --prefix="velta-uwb-$version/" HEAD | gzip -9n >"$into/velta-uwb-$version.tar.gz"
  tar -xzf "$into/velta-uwb-$version.tar.gz" -C "$2"
  (
    # Not the checkout around it: the archive says for itself what it is.
    export GIT_CEILING_DIRECTORIES=$2
    # Whoever looks at what came of it has no failure end it by itself.
    cd "$tree" &&
      run_logged release-configure cmake --preset release -DCMAKE_PREFIX_PATH="$prefix" &&
      run_logged release-build cmake --build build/release --target installed &&
      run_logged release-pack cpack --config build/release/CPackConfig.cmake -B "$tree/packages"
  ) || die "the release could not be built"
  cp "$tree"/packages/*.deb "$into/"
  scripts/sbom.py "$commit" "$SOURCE_DATE_EPOCH" "$into"/*.deb >"$into/velta-uwb-$version.cdx.json"
  (cd "$into" && sha256sum -- *.deb *.tar.gz *.json >SHA256SUMS)
}

# validate FILE: against CycloneDX's schema, where npm can bring it.
validate() {
  local folder
  folder=$CACHE/sbom-$(printf '%s\n' "${VALIDATOR[@]}" | sha256sum | cut -c1-16)
  if ! command -v npm >/dev/null; then
    say "$1 was not compared with CycloneDX's schema: there is no npm"
    return
  fi
  if [ ! -d "$folder/node_modules" ]; then
    run_logged release-npm npm install --prefix "$work/npm" --no-audit --no-fund "${VALIDATOR[@]}" ||
      die "CycloneDX's schema could not be fetched"
    rm -rf "$folder"
    mv "$work/npm" "$folder"
  fi
  (cd "$folder" && node "$ROOT/scripts/validate_sbom.mjs" "$1") || die "$1 is not as CycloneDX's schema asks"
  say "$1 is as CycloneDX's schema asks"
}

say "release: velta-uwb $version, commit ${commit:0:12}"
make_release "$work/out" "$work/build"
validate "$work/out/velta-uwb-$version.cdx.json"
if [ "${3-}" = --twice ]; then
  say "release: once more"
  make_release "$work/again" "$work/another/place"
  diff -r "$work/out" "$work/again" >&2 || die "two builds of one commit differ"
  say "release: the same to the byte"
fi
rm -rf "$out"
mkdir -p "$(dirname "$out")"
mv "$work/out" "$out"
(cd "$out" && ls -l) >&2
