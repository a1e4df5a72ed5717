#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# generate.sh [FOLDER]: writes system_calls in the forms that Android's minijail and systemd take.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
to=${1:-.}
head=$'# SPDX-License-Identifier: Apache-2.0\n# Made from system_calls by generate.sh.'
mapfile -t calls < <(grep -E "^[a-z]" system_calls)
{
  echo "$head"
  printf '%s: 1\n' "${calls[@]}"
} >"$to/hardware.velta.uwb-service.policy"
{
  printf '%s\n\n[Service]\nSystemCallArchitectures=native\n' "$head"
  printf '%s\n' "${calls[@]}" | paste -sd ' ' | fold -s -w 100 | sed -e 's/ *$//' -e 's/^/SystemCallFilter=/'
} >"$to/system_calls.conf"
