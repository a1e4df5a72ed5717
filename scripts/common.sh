# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# Shared by the project's scripts: messages, logs of long steps, the cache folder.
# Source it with the repository's root in $ROOT.

# What takes a line of progress away, where one can be written over itself.
ERASE=
[ ! -t 2 ] || [ "${TERM:-dumb}" = dumb ] || ERASE=$'\r\e[K'

# say TEXT: one line about what is being done (standard error; standard output is for data).
saying=
say() {
  saying=$*
  printf '%s[%s] %s\n' "$ERASE" "$(date +%H:%M:%S)" "$saying" >&2
}

# die TEXT: a one-line reason, and the end.
die() { printf 'error: %s\n' "$*" >&2; exit 1; }

# is_port TEXT: whether a server can be at it; is_port_taken PORT: whether one is, on this machine.
is_port() { [[ $1 =~ ^[1-9][0-9]{0,4}$ ]] && [ "$1" -le 65535 ]; }
is_port_taken() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# content_key FILE...: a short key of the files' contents.
content_key() { cat "$@" | sha256sum | cut -c1-16; }

# cache_folder: where everything that is downloaded or built from outside is kept, keyed by content.
cache_folder() {
  local home=${HOME:-}
  if [ -n "${VELTA_UWB_CACHE:-}" ]; then
    realpath -m -- "$VELTA_UWB_CACHE"
  elif [ -n "${XDG_CACHE_HOME:-}" ]; then
    printf '%s\n' "$XDG_CACHE_HOME/velta-uwb"
  else
    [ -n "$home" ] || home=$(getent passwd "$(id -u)" | cut -d: -f6) || true
    [ -n "$home" ] || die "there is no HOME to keep downloads in; set VELTA_UWB_CACHE to a folder"
    printf '%s\n' "$home/.cache/velta-uwb"
  fi
}

# need_folder FOLDER MIB WHAT: makes it; ends with the reason when it cannot be written or its disk
# has less than so much space.
need_folder() {
  local folder=$1 mib=$2 what=$3 reason free probe
  reason=$(mkdir -p -- "$folder" 2>&1) || die "$what $folder cannot be made: ${reason##*: }"
  probe=$folder/.write-probe-$$
  # Not every file system says in its permissions that it is read-only.
  reason=$({ echo probe >"$probe"; } 2>&1) || die "$what $folder cannot be written: ${reason##*: }"
  rm -f -- "$probe"
  free=$(df --output=avail -B 1M -- "$folder" 2>/dev/null | tail -n 1) || free=
  if [ -n "$free" ] && [ "$free" -lt "$mib" ]; then
    die "the disk of $what $folder is full: ${free// /} MiB are free, $mib are needed"
  fi
}

# open_logs: a folder for the logs of this run of this checkout; the scripts it starts share it. The
# last five runs are kept.
open_logs() {
  local mine old pid
  [ -z "${VELTA_UWB_LOGS:-}" ] || [ ! -d "$VELTA_UWB_LOGS" ] || { LOGS=$VELTA_UWB_LOGS; return; }
  mine=$CACHE/logs/${ROOT##*/}-$(printf '%s' "$ROOT" | sha256sum | cut -c1-8)
  LOGS=$mine/$(date +%Y%m%d-%H%M%S)-$$
  mkdir -p "$LOGS"
  export VELTA_UWB_LOGS=$LOGS
  own_logs=$mine
  ln -sfn "$LOGS" "$mine/latest" 2>/dev/null || true
  while read -r old; do
    pid=${old##*-}
    # A long run may still be writing.
    [ -d "/proc/$pid" ] || rm -rf "${mine:?}/$old"
  done < <(find "$mine" -mindepth 1 -maxdepth 1 -type d ! -path "$LOGS" -printf '%f\n' | LC_ALL=C sort -r | tail -n +6)
}

# close_logs: takes the folder away where nothing was logged.
own_logs=
close_logs() {
  local latest
  if [ -z "$own_logs" ] || ! rmdir "$LOGS" 2>/dev/null; then return; fi
  latest=$(find "$own_logs" -mindepth 1 -maxdepth 1 -type d | LC_ALL=C sort | tail -n 1)
  if [ -n "$latest" ]; then ln -sfn "$latest" "$own_logs/latest"; else rm -f "$own_logs/latest"; fi
}

# done_of LOG: how much is done, as the last that ninja or apt (APT::Status-Fd) says of it in a log.
done_of() {
  tail -c 2000 "$1" 2>/dev/null | awk '
    match($0, /^\[[0-9]+\/[0-9]+\]/) { split(substr($0, 2, RLENGTH - 2), n, "/"); done = n[1] " of " n[2] }
    /^(dl|pm)status:[^:]*:[0-9.]+:/ { split($0, part, ":"); done = int(part[3]) " %" }
    END { if (done) print done }'
}

# follow PATTERN: until standard input ends, tells what is done of how much by the newest of the logs: on
# a terminal in a line over itself, elsewhere now and then.
follow() {
  local amount log told=$SECONDS columns status
  read -r _ columns < <(stty size <&2 2>/dev/null) || true
  [ "${columns:-0}" -gt 0 ] || columns=80
  while :; do
    status=0
    read -r -t 1 || status=$?
    [ "$status" -gt 128 ] || return 0
    [ -n "$ERASE" ] || [ $((SECONDS - told)) -ge 30 ] || continue
    told=$SECONDS
    # A pattern, in a path that may have blanks.
    # shellcheck disable=SC2012,SC2086
    log=$(IFS=; ls -t $1 2>/dev/null | head -n 1)
    amount=$(done_of "$log")
    [ -n "$amount" ] || continue
    printf -v amount '[%s] %s: %s' "$(date +%H:%M:%S)" "$amount" "$saying"
    if [ -n "$ERASE" ]; then printf '%s%s' "$ERASE" "${amount:0:columns - 1}"; else printf '%s\n' "$amount"; fi
  done >&2
}

# start_following PATTERN, stop_following: around what takes long. With VELTA_UWB_FOLLOWED somebody else
# tells what is done.
follower=
follower_job=
start_following() {
  [ -z "${VELTA_UWB_FOLLOWED:-}" ] || return 0
  # Not by a signal: it would run the traps of whoever calls this, if it came too early.
  exec {follower}> >(follow "$1")
  follower_job=$!
}
stop_following() {
  [ -n "$follower" ] || return 0
  exec {follower}>&-
  follower=
  wait "$follower_job" 2>/dev/null || true
  printf '%s' "$ERASE" >&2
}

# run_quietly NAME COMMAND...: runs a step with its output in $LOGS/NAME.log; tells what is done of it.
run_quietly() {
  local log=$LOGS/$1.log status=0
  shift
  : >"$log"
  start_following "$log"
  if [ -n "$follower" ]; then
    "$@" >"$log" 2>&1 {follower}>&- || status=$?
  else
    "$@" >"$log" 2>&1 || status=$?
  fi
  stop_following
  return "$status"
}

# run_logged NAME COMMAND...: run_quietly; a failure shows the log's end and names the file.
run_logged() {
  local log=$LOGS/$1.log status=0
  run_quietly "$@" || status=$?
  if [ "$status" -ne 0 ]; then
    grep -v '^..status:' "$log" | tail -n 25 >&2 || true
    printf 'error: %s failed (status %d); the whole log is in %s\n' "$1" "$status" "$log" >&2
    ! grep -qs 'No space left on device' "$log" ||
      printf 'error: the disk is full; ./dev clean and ./dev clean --cache make room\n' >&2
  fi
  return "$status"
}

# as_root COMMAND...: runs it as root, through sudo where needed; names the command when neither works.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null 2>&1; then
    sudo "$@"
  else
    die "this needs root and there is no sudo; run it yourself: $*"
  fi
}

CACHE=$(cache_folder) || exit 1
case $CACHE in
  *[[:space:]]*) die "the kernel's build takes no spaces in a path; set VELTA_UWB_CACHE to a folder" \
    "without (it would be: $CACHE)" ;;
esac
need_folder "$CACHE" 100 "the cache folder"
open_logs
# shellcheck source=scripts/arch.sh
. "$ROOT/scripts/arch.sh"
