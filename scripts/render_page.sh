#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Renders a page in a headless browser, as wide and high as asked for; without a height, all of it.
# Fails when the page is no self-contained one: when its console says anything or it requests
# anything from the network (which it cannot reach from here).
#
# usage: scripts/render_page.sh PAGE.html OUT.png [WIDTH [HEIGHT]]
set -euo pipefail
ROOT=$(cd "$(dirname "$0")/.." && pwd)
# shellcheck source=scripts/common.sh
. "$ROOT/scripts/common.sh"

if [ $# -lt 2 ] || [ $# -gt 4 ]; then
  die "usage: scripts/render_page.sh PAGE.html OUT.png [WIDTH [HEIGHT]]"
fi
page=$(realpath -e -- "$1" 2>/dev/null) || die "$1: no such page"
out=$(realpath -m -- "$2")
width=${3:-1200}
height=${4:-}
command -v chromium >/dev/null || die "no chromium; install it: apt-get install chromium"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# browse NAME ARGUMENT... URL: one run of the browser with nothing left over from any other. What it
# prints is in $work/NAME.out, its log in $work/NAME.err, its requests in $work/NAME.net.
browse() {
  local name=$1
  shift
  timeout 120 chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync --hide-scrollbars \
    --host-resolver-rules='MAP * ~NOTFOUND' --user-data-dir="$work/$name.profile" \
    --enable-logging=stderr --v=0 --log-net-log="$work/$name.net" "$@" \
    >"$work/$name.out" 2>"$work/$name.err" || {
    tail -n 5 "$work/$name.err" >&2
    die "chromium failed on $page"
  }
}

# file_url FILE
file_url() { printf 'file://%s\n' "$(printf '%s' "$1" | sed 's/%/%25/g; s/ /%20/g; s/#/%23/g; s/?/%3F/g')"; }

if [ -z "$height" ]; then
  # A copy that may run a script tells how high the page is at this width.
  {
    sed 's/<meta http-equiv="Content-Security-Policy"[^>]*>//' "$page"
    echo '<script>document.title = "height=" + document.documentElement.scrollHeight</script>'
  } >"$work/measured.html"
  browse measure --window-size="$width,600" --dump-dom "$(file_url "$work/measured.html")"
  height=$(grep -o '<title>height=[0-9]*' "$work/measure.out" | grep -o '[0-9]*$') ||
    die "$page: its height is not to be had; name one"
fi

rm -f "$out"
browse render --window-size="$width,$height" --screenshot="$out" "$(file_url "$page")"

# Scripts of the page have no reason to say anything: all that the console has counts.
if grep 'CONSOLE' "$work/render.err" >&2; then
  die "$page: the browser's console is not silent (above)"
fi
# The browser's own requests are marked as of no origin; they went nowhere, either.
[ -s "$work/render.net" ] || die "chromium left no log of its requests; is this version supported?"
if grep -o '"initiator":"[^"]*".*"url":"[^"]*"' "$work/render.net" |
  grep -v '"initiator":"not an origin"' | grep -o '"url":"[^"]*"' | sort -u >&2; then
  die "$page: requests something from the network (above)"
fi
[ -s "$out" ] || die "chromium made no picture of $page"
say "$out: $page, $width x $height"
