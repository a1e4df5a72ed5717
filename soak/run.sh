#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Uses the service on the virtual device for a long time and judges what it held; `./dev soak` builds what it
# needs and calls this.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
# shellcheck source=scripts/common.sh
. scripts/common.sh

BUILD=build/dev
OUT=build/soak
# Longer than all of it takes, even on a busy machine.
readonly PATIENCE_S=21600

usage() {
  cat <<'TEXT'
usage: ./dev soak [MINUTES] [OPTION]...

  MINUTES        of this machine's clock; without it 1,000 cycles of open, country, sessions and close,
                 1,000 reports in each (about an hour)
  --seed N       what happens by chance: the same seed, the same run but for what sessions that are cut off
                 had reported by then, one more or less (a new one each time; it is printed)
  --from N       begin with this cycle, --cycles N: so many; to see one again
  --leak KIND    plant a fault, to see the verdict fail: memory, descriptors, reports, references
  --file FILE    where the run goes, a line of JSON a cycle (build/soak/run.jsonl)
  --figure SVG   no run: draw the one in the file
TEXT
}

minutes=
seed=$((RANDOM * 32768 + RANDOM))
from=1
cycles=1000
leak=
file=$OUT/run.jsonl
figure=
while [ $# -gt 0 ]; do
  case $1 in
    --seed | --from | --cycles | --leak | --file | --figure) [ $# -ge 2 ] || die "soak: $1 wants a value" ;;
  esac
  case $1 in
    --seed) seed=$2; shift 2 ;;
    --from) from=$2; shift 2 ;;
    --cycles) cycles=$2; shift 2 ;;
    --leak) leak=$2; shift 2 ;;
    --file) file=$2; shift 2 ;;
    --figure) figure=$2; shift 2 ;;
    -h | --help) usage; exit 0 ;;
    *)
      [[ -z $minutes && $1 =~ ^[1-9][0-9]*$ ]] || die "soak: unknown option '$1'; ./dev soak --help lists them"
      minutes=$1
      cycles=1000000
      shift
      ;;
  esac
done
for number in "$seed" "$from" "$cycles"; do
  [[ $number =~ ^[0-9]+$ ]] || die "soak: '$number' is no number"
done
case $leak in
  '' | memory | descriptors | reports | references) ;;
  *) die "soak: no fault '$leak' can be planted" ;;
esac

if [ -n "$figure" ]; then
  [ -f "$file" ] || die "soak: there is no run in $file"
  exec python3 soak/report.py "$file" --figure "$figure"
fi

mkdir -p "$OUT" "$(dirname "$file")"
out=$(mktemp -d "$OUT/out.XXXXXX")
timer=
cleanup() {
  [ -z "$timer" ] || kill "$timer" 2>/dev/null || true
  rm -rf "$out"
}
trap cleanup EXIT
if [ -n "$minutes" ]; then
  # The device's own clock skips what it would wait.
  (sleep $((minutes * 60)) && touch "$out/end") &
  timer=$!
fi

options=(--steady --timeout "$PATIENCE_S" --logs "$LOGS/soak" --out "$out" --add "$BUILD/bin/uwb_soak:/bin/uwb_soak")
command=(uwb_soak --seed "$seed" --from "$from" --cycles "$cycles" --end-file /out/end)
case $leak in
  '') ;;
  references) command+=(--keep-references) ;;
  *)
    # Nobody preloads anything into what is confined.
    options+=(--unconfined --add "$BUILD/bin/soak_leak.so:/lib/soak_leak.so")
    # shellcheck disable=SC2016 # The device expands it.
    command=(sh -c 'service-stop && SERVICE_UNDER="env LD_PRELOAD=/lib/soak_leak.so LEAK=$0" service-start && exec "$@"'
      "$leak" "${command[@]}")
    ;;
esac

say "soak: ${minutes:+$minutes minutes, }seed $seed; it goes into $file"
status=0
nice -n 5 sim/device/vdev run "${options[@]}" -- "${command[@]}" >"$file" || status=$?
python3 soak/report.py "$file" || status=$?
[ "$status" -eq 0 ] || die "soak: not as it has to be (seed $seed); logs are in $LOGS/soak"
