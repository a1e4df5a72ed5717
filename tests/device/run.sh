#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
#
# On the virtual device: all device tests with notifications by event, as the device has them, and
# once more polled what depends on how they are read.
status=0
device_tests --gtest_brief=1 || status=$?
device_tests --notifications=poll --gtest_brief=1 \
  --gtest_filter='FiraTest.*:CccTest.*:SimpleTest.*:NotificationsTest.*:ConformanceTest.*:OddClientTest.*:Commands/FaultTableTest.*/*Start:Commands/FaultTableTest.*/*Stop:FaultTest.SessionsSurvive*' || status=$?
exit $status
