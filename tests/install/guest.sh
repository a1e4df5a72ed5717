#!/bin/bash
# SPDX-License-Identifier: Apache-2.0
#
# On a Debian system with systemd, as root: the packages in /run/host are installed, used, upgraded and purged.
# The closing lines are those of the other tests.
set -u
export DEBIAN_FRONTEND=noninteractive
cd /run/host || exit
passed=0 failed=0
units=(velta-uwb velta-uwb-servicemanager)
world=/sys/kernel/debug/mcps802154_sim/world

# check NAME COMMAND...: it succeeds.
check() {
  local name=$1 output
  shift
  if output=$("$@" 2>&1); then
    passed=$((passed + 1))
    echo "$(cut -d ' ' -f 1 /proc/uptime) s  $name"
  else
    failed=$((failed + 1))
    printf '[  FAILED  ] %s: %s\n' "$name" "$output"
  fi
}

# Every file, with its mode and owner, and what is in those of /etc; but for what other packages' programs keep
# for themselves: logs, dpkg's own lists, backups of the users' files and their lock, DKMS's signing key.
state() {
  find / -xdev \( -path /var/log -o -path /var/lib/dpkg -o -path /var/cache -o -path /tmp \
    -o -path '/etc/*-' -o -path /etc/.pwd.lock -o -path '/var/lib/dkms/mok.*' -o -path /var/lib/systemd/random-seed \
    -o -path "/usr/lib/modules/*/modules.*" \) -prune -o -printf '%p %M %u:%g %l\n' | sort
  find /etc -type f ! -name '*-' ! -name .pwd.lock -exec cksum {} + | sort -k 3
}

pid_of() { systemctl show -P MainPID "$1"; }
field() { sed -n "s/^$2:[[:space:]]*\([^[:space:]]*\).*/\1/p" "/proc/$(pid_of "$1")/status"; }
# runs_as UNIT CAPABILITIES: as the user, confined, with no capabilities but these.
runs_as() {
  [ "$(field "$1" Uid)" = "$(id -u uwb)" ] && [ "$(field "$1" CapEff)" = "$2" ] && [ "$(field "$1" CapBnd)" = "$2" ] &&
    [ "$(field "$1" NoNewPrivs)" = 1 ] && [ "$(field "$1" Seccomp)" = 2 ]
}
# fails STATUS TEXT COMMAND...: with that exit status, saying that.
fails() {
  local status=0 output
  output=$("${@:3}" 2>&1) || status=$?
  echo "status $status: $output"
  [ "$status" -eq "$1" ] && [[ $output == *"$2"* ]]
}
ranges() {
  local reports
  reports=$(runuser -u uwb -- uwbctl fira range -p 0x1234 -n 5 --json | grep -c '"distance_mm"') || true
  echo "$reports distances"
  [ "$reports" -ge 5 ]
}
# comes_back UNIT: killed, it is started anew, and clients find the service again.
comes_back() {
  local old
  old=$(pid_of "$1")
  kill -KILL "$old"
  sleep 3
  runuser -u uwb -- uwbctl wait 20 && [ "$(pid_of "$1")" != "$old" ] && ranges
}
compiled() {
  dkms status mcps802154-sim | grep ': installed' || ! tail -n 30 /var/lib/dkms/mcps802154-sim/*/build/make.log
}
logged() { journalctl -b -o cat -u "$1" | grep -F -- "$2"; }
version_agrees() {
  local version
  version=$(uwbctl --version | awk '{ print $NF }' | tr '\n' ' ')
  # shellcheck disable=SC2086
  set -- $version
  [ "$1" = "$(dpkg-query -W -f '${Version}' uwbctl)" ] && logged velta-uwb "Version $1, commit $2, "
}
# exposes_as_told UNIT: 2.0 at most, and what README.md says that systemd counts.
exposes_as_told() {
  local measured told
  systemd-analyze security --threshold=20 "$1" >/tmp/security || return
  measured=$(sed -n 's/.*exposure level for .*: \([0-9.]*\) .*/\1/p' /tmp/security)
  told=$(sed -n "s/^ .*security --threshold=20 $1\.service *# //p" README.md)
  echo "measured $measured, README.md says $told"
  [ -n "$measured" ] && [ "$measured" = "$told" ]
}
documented() {
  zcat /usr/share/man/man1/uwbctl.1.gz | grep -q '^\.SH' && zcat /usr/share/man/man8/velta-uwb.8.gz |
    grep -q '^\.SH' && bash -c '. /usr/share/bash-completion/completions/uwbctl && complete -p uwbctl'
}
wrong_option_ends_the_start() {
  cp -p /etc/velta-uwb/build.prop /tmp/build.prop
  echo 'ro.vendor.uwb.hal.notifications=sometimes' >/etc/velta-uwb/build.prop
  ! systemctl restart velta-uwb && logged velta-uwb '"sometimes" is none of: poll, event'
  local status=$?
  cp -p /tmp/build.prop /etc/velta-uwb/build.prop
  systemctl reset-failed velta-uwb
  systemctl start velta-uwb && return $status
}
others_than() {
  local unit
  for unit in "${units[@]}"; do
    [[ " $1 " != *" $(pid_of "$unit") "* ]] || return
  done
}
same_as_before() { state >/tmp/after && diff /tmp/before /tmp/after; }

# Without headers DKMS compiles nothing, and the module is one that it has compiled elsewhere.
modules=/lib/modules/$(uname -r)
radio=$(ls mcps802154_sim.ko* 2>/dev/null)
[ -z "$radio" ] || rm "$modules/build"
state >/tmp/before
check "packages are installed" dpkg -i ./*.deb
check "systemd has started the service, and will" systemctl is-active -q "${units[@]}"
check "it is enabled" systemctl is-enabled -q velta-uwb
check "the service runs with two capabilities" runs_as velta-uwb 0000000000801000
check "servicemanager runs with none" runs_as velta-uwb-servicemanager 0000000000000000
check "the version is one everywhere" version_agrees
check "no radio is no failure" runuser -u uwb -- uwbctl wait 10
if [ -z "$radio" ]; then
  check "DKMS has compiled the virtual radio" compiled
else
  check "DKMS knows the virtual radio" grep -q : <(dkms status mcps802154-sim)
  install -D -t "$modules/updates/dkms" "$radio"
  depmod
fi
check "the virtual radio is loaded" modprobe mcps802154_sim radios=2
check "a tag is in its world" sh -c "echo 'tag 0x1234 3 4 0' >$world"
check "the user uwb ranges" ranges
check "a member of the group may, too" setpriv --reuid nobody --regid nogroup --groups uwb uwbctl info
check "others may not" fails 3 /dev/binder setpriv --reuid nobody --regid nogroup --clear-groups uwbctl info
check "a country is applied" runuser -u uwb -- uwbctl country FR
check "the radio's threads may be made real-time" fails 1 '' logged velta-uwb 'Failed to'
check "manuals and completion are there" documented
for unit in "${units[@]}"; do
  check "$unit exposes no more than is told" exposes_as_told "$unit"
  check "$unit comes back when it is killed" comes_back "$unit"
done
check "a wrong option ends the start" wrong_option_ends_the_start

# What the administrator has changed stays; what the package changes besides comes.
echo 'ro.vendor.uwb.hal.log_level=DEBUG' >>/etc/velta-uwb/build.prop
echo '; mine' >>/etc/velta-uwb/country-FR.conf
old="$(pid_of velta-uwb) $(pid_of velta-uwb-servicemanager)"
check "packages are upgraded" dpkg --force-confold -i next/*.deb
check "another version is installed" grep -F next <(dpkg-query -W -f '${Version}' velta-uwb)
check "a changed setting is kept" grep -q log_level=DEBUG /etc/velta-uwb/build.prop
check "a setting that both have changed is kept" grep -q mine /etc/velta-uwb/country-FR.conf
check "the new one is beside it" grep -q next /etc/velta-uwb/country-FR.conf.dpkg-dist
check "a setting that nobody has changed is new" grep -q next /etc/velta-uwb/calibration.conf
check "other processes serve" others_than "$old"
check "the upgraded service ranges" ranges

check "packages are removed" dpkg -r velta-uwb uwbctl
check "settings stay" grep -q log_level=DEBUG /etc/velta-uwb/build.prop
check "nothing runs" fails 1 '' sh -c "ls -l /proc/[0-9]*/exe 2>/dev/null | grep velta-uwb"
check "packages come again with the settings" dpkg --force-confold -i ./velta-uwb*.deb ./uwbctl*.deb
check "which range" ranges
rmmod mcps802154_sim
[ -z "$radio" ] || rm -r "$modules/updates"
check "packages are purged" dpkg -P velta-uwb uwbctl mcps802154-sim-dkms
check "the device is as the driver made it" [ "$(stat -c '%a %U %G' /dev/binder)" = '600 root root' ]
check "no user and no unit is left" fails 1 '' sh -c 'getent passwd uwb || getent group uwb || systemctl cat velta-uwb'
check "not a file is left" same_as_before

journalctl -b --no-pager >journal.log
echo "[  PASSED  ] $passed tests."
[ "$failed" -eq 0 ] || echo "[  FAILED  ] $failed tests."
