#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# scripts/lint.sh format            clang-format, without changing anything
# scripts/lint.sh tidy [UNTIL]      clang-tidy over what has not passed yet in this content, with these
#                                   headers; build/dev has to be configured, its generated headers built
#
# With UNTIL, what is not committed is checked in any case, the rest only until that file exists. Prints
# "checked N of M" at the end. Exit status: 0 everything is clean, 1 something is not, 3 clean so far.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
# shellcheck source=scripts/common.sh
. scripts/common.sh

# sources: our C++ files; the kernel's style has its own rules, the platform's files are not ours.
sources() {
  git ls-files --cached --others --exclude-standard -- '*.cpp' '*.h' ':!sim' ':!net/mcps802154.h' ':!platform' |
    while IFS= read -r file; do [ ! -f "$file" ] || printf '%s\n' "$file"; done
}

# contents: "hash path" for each source, and for what all depend on under the path "-".
contents() {
  local all
  mapfile -t all < <(sources; echo net/mcps802154.h)
  paste -d ' ' <(git hash-object -- "${all[@]}") <(printf '%s\n' "${all[@]}")
  printf '%s -\n' "$( (cat .clang-tidy aidl/hardware/velta/uwb/*.aidl aidl/include/*.h; clang-tidy --version
    # Not by going there: without a folder that would be this one, with all that changes in it.
    find "$(sed -n 's|^VeltaAndroid_DIR[^=]*=\(.*\)/lib/cmake.*|\1/include|p' build/dev/CMakeCache.txt)" -type f -print0 |
      sort -z | xargs -0 cat) | sha256sum | cut -c1-16)"
}

# keys: "key path" for each .cpp; the key is made of its content and that of every header of ours that
# it includes, however indirectly.
keys() {
  local path key
  while read -r path key; do
    printf '%s %s\n' "$(printf '%s' "$key" | sha256sum | cut -c1-16)" "$path"
  done < <(contents | awk '
    { hash[$2] = $1 }
    $2 == "-" { next }
    {
      folder = $2
      if (!sub("/[^/]*$", "/", folder)) folder = ""
      while ((getline line < $2) > 0)
        if (match(line, /^#include "[^"]*"/)) {
          name = substr(line, 11, RLENGTH - 11)
          includes[$2] = includes[$2] " " name " " folder name
        }
      close($2)
    }
    function visit(file,   i, n, names) {
      if (!(file in hash) || (file in seen)) return
      seen[file] = 1
      key = key hash[file]
      n = split(includes[file], names, " ")
      for (i = 1; i <= n; i++) visit(names[i])
    }
    END {
      for (file in hash)
        if (file ~ /\.cpp$/) { split("", seen); key = hash["-"]; visit(file); print file, key }
    }')
}

# tidy_one KEY FILE
tidy_one() {
  local key=$1 file=$2 log=$LOGS/tidy/${2//\//_}.log
  if [ -n "$UNTIL" ] && [ -e "$UNTIL" ] && ! grep -qxF -- "$file" <<<"$UNCOMMITTED"; then return; fi
  if clang-tidy --quiet -p "$DATABASE" "$file" >"$log" 2>&1; then
    touch "$CACHE/tidy/$key"
  else
    grep -v 'warnings generated' "$log" >&2 || true
    echo "error: clang-tidy: $file" >&2
    touch "$LOGS/tidy/failed"
  fi
}

tidy() {
  local total key path todo=() left=0
  UNTIL=${1:-}
  UNCOMMITTED=$(git diff --name-only HEAD; git ls-files --others --exclude-standard)
  DATABASE=$ROOT/build/dev/tidy
  mkdir -p "$CACHE/tidy" "$LOGS/tidy" "$DATABASE"
  rm -f "$LOGS/tidy/failed"
  python3 scripts/compile_database.py build/dev/compile_commands.json "$DATABASE/compile_commands.json"
  mapfile -t all < <(keys)
  total=${#all[@]}
  [ "$total" -gt 0 ] || die "clang-tidy: which sources there are cannot be found out"
  # What is being worked on comes first.
  for path in "${all[@]}"; do
    key=${path%% *}
    path=${path#* }
    [ ! -f "$CACHE/tidy/$key" ] || continue
    if grep -qxF -- "$path" <<<"$UNCOMMITTED"; then todo=("$key" "$path" "${todo[@]}"); else todo+=("$key" "$path"); fi
  done
  export -f tidy_one
  export UNTIL UNCOMMITTED DATABASE CACHE LOGS
  # shellcheck disable=SC2016
  [ ${#todo[@]} -eq 0 ] ||
    printf '%s\0' "${todo[@]}" | xargs -0 -n 2 -P "$(nproc)" bash -c 'tidy_one "$1" "$2"' tidy
  for path in "${all[@]}"; do [ -f "$CACHE/tidy/${path%% *}" ] || left=$((left + 1)); done
  echo "checked $((total - left)) of $total"
  [ ! -e "$LOGS/tidy/failed" ] || return 1
  [ "$left" -eq 0 ] || return 3
}

case ${1-} in
  format) sources | xargs -d '\n' clang-format --dry-run --Werror ;;
  fix) sources | xargs -d '\n' clang-format -i ;;
  tidy) tidy "${2-}" ;;
  *) die "usage: scripts/lint.sh format | fix | tidy [UNTIL]" ;;
esac
