#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Makes the pictures of the documents anew from real runs on the virtual device:
#   docs/terminal-session.txt   what a person sees
#   docs/report.html, .png      the page of a recording, and how a browser shows it
#   docs/live*.png              the live page: with two tags, in the dark, in space, on a phone
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$ROOT"
# shellcheck source=scripts/common.sh
. scripts/common.sh

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

say "recording a terminal session on the virtual device"
sim/device/vdev run --timeout 120 --out "$work" --add scripts/docs_session.sh:/bin/docs_session \
  -- /bin/docs_session >"$work/session.txt" 2>&1 ||
  { cat "$work/session.txt" >&2; die "the session on the virtual device failed"; }
sed 's/[[:blank:]]*$//' "$work/session.txt" >docs/terminal-session.txt

say "making the page of the recording"
build/dev/bin/uwbctl report "$work/walk.jsonl" -o docs/report.html
scripts/render_page.sh docs/report.html docs/report.png 1200
say "taking pictures of the live page"
run_logged docs-live python3 scripts/live_pictures.py docs "$LOGS/live" || die "there are no pictures of the live page"
say "docs/terminal-session.txt, docs/report.* and docs/live*.png are new"
