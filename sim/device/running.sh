# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
#
# The devices that people have running from this checkout. Source it after scripts/common.sh, from vdev.

# A file for each device, named after its vdev's process: where its sockets, its /host and its /out are,
# a line each.
devices=$CACHE/running/$(printf '%s' "$ROOT" | sha256sum | cut -c1-16)

# running_devices: the files of those that run, the one that was started last first.
running_devices() {
  local device
  while read -r device; do
    if kill -0 "$device" 2>/dev/null; then echo "$devices/$device"; else rm -f "${devices:?}/$device"; fi
  done < <(ls -t "$devices" 2>/dev/null)
}

# attach: to the device that was started last.
attach() {
  local device sockets host running
  [ -t 0 ] || fail "vdev attach needs a terminal"
  mapfile -t running < <(running_devices)
  for device in "${running[@]}"; do
    if { read -r sockets && read -r host; } <"$device" && [ -S "$sockets/1" ]; then
      exec perl "$HERE/attach.pl" "$sockets" "$host"
    fi
  done
  fail "no device is running from $ROOT; ./dev device starts one"
}

# own_folder FOLDER: the folder, or one beside it when a device that runs has it.
own_folder() {
  local wanted folder number=1 device taken=
  wanted=$(realpath -m -- "$1")
  folder=$wanted
  while read -r device; do taken+=$(sed -n 3p "$device")$'\n'; done < <(running_devices)
  while grep -qxF -- "$folder" <<<"$taken"; do
    number=$((number + 1))
    folder=$wanted-$number
  done
  [ "$folder" = "$wanted" ] ||
    say "${wanted##*/} belongs to a device that runs already; this one's folder is ${folder##*/}." \
      "./dev attach opens terminals on this one for as long as it runs"
  printf '%s\n' "$folder"
}
