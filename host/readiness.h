// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace hardware::velta {

/**
 * Tells the supervisor that clients can find the service now: "READY=1" to the datagram socket that
 * NOTIFY_SOCKET names, as systemd asks of Type=notify. Without such a variable it does nothing; a
 * message that cannot be sent is logged, and left to the supervisor's own time limit.
 */
void TellSupervisorReady();

}  // namespace hardware::velta
