#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# run.sh [steady|real]: on the virtual device, all device tests with notifications by event, as the device has
# them, and once more polled what depends on how they are read. Then: whether the service was refused anything.
#
# ./dev test shares them between two devices. real: where clients, service and radio meet, on two processors at
# once, and what wants two. steady: all the rest, with `vdev run --steady`, which skips what it would wait.
polled='FiraTest.*:CccTest.*:SimpleTest.*:NotificationsTest.*:OddClientTest.*:FaultTest.SessionsSurvive*'
real="$polled:CountryTest.*"
# Polled these wait a minute each.
patient='ConformanceTest.*:Commands/FaultTableTest.*'
case ${1-} in
  steady) event="-$real" polled=$patient ;;
  real) event=$real ;;
  *) event=${GTEST_FILTER:-*} polled=$polled:$patient ;;
esac

status=0
# One of another name would be left out without a word.
set -f
for pattern in $(echo "$real:$patient" | tr : ' '); do
  device_tests --gtest_list_tests --gtest_filter="$pattern" | grep -q '^  ' && continue
  echo "Failure: no device test is $pattern"
  status=1
done
run() {
  TEST_PREMATURE_EXIT_FILE=/tmp/unfinished device_tests --gtest_brief=1 "$@" || status=$?
  [ ! -e /tmp/unfinished ] || { echo "Failure: device_tests $* did not come to its end"; status=1; }
}
run --gtest_filter="$event"
run --gtest_filter="$polled" --notifications=poll
# shellcheck disable=SC1091
. /etc/vdev/config
[ -n "$VDEV_CONFINED" ] || exit $status
[ "$(cat /sys/fs/selinux/enforce)" = 1 ] || { echo "Failure: the policy is not enforced any more"; exit 1; }

# The kernel's log is looked through at the end of each run. That it has no denials means nothing unless
# it would have them.
if as-domain untrusted_app uwbctl ifaces 2>/dev/null || ! dmesg | grep -q 'denied  { find }.*u:r:untrusted_app:'; then
  echo "Failure: an app without the permission finds the service, or is refused without a word"
  status=1
fi
# A refusal that is not audited shows here alone. What the kernel answers on netlink is the radio's, and tests arm it.
if grep -E 'Permission denied|Operation not permitted' /host/service.log | grep -v 'Error reading message'; then
  echo "Failure: the service was refused what it needs"
  status=1
fi
exit $status
