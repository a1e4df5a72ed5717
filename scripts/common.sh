# shellcheck shell=bash
# Shared by the project's scripts: messages, logs of long steps, the cache folder.
# Source it with the repository's root in $ROOT.

# Where everything that is downloaded or built from outside is kept, keyed by content.
CACHE=${VELTA_UWB_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/velta-uwb}
LOGS=$CACHE/logs
mkdir -p "$LOGS"

# say TEXT: one line about what is being done (standard error; standard output is for data).
say() { printf '[%s] %s\n' "$(date +%H:%M:%S)" "$*" >&2; }

# die TEXT: a one-line reason, and the end.
die() { printf 'error: %s\n' "$*" >&2; exit 1; }

# run_logged NAME COMMAND...: runs a long step with its output in $LOGS/NAME.log.
# A failure shows the log's end and names the file; the caller sees the exit status.
run_logged() {
  local name=$1 log=$LOGS/$1.log status=0
  shift
  "$@" >"$log" 2>&1 || status=$?
  if [ "$status" -ne 0 ]; then
    tail -n 25 "$log" >&2
    printf 'error: %s failed (status %d); the whole log is in %s\n' "$name" "$status" "$log" >&2
  fi
  return "$status"
}

# content_key FILE...: a short key of the files' contents.
content_key() { cat "$@" | sha256sum | cut -c1-16; }

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
