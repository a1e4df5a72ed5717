// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Which side of a two-way ranging exchange a device takes.
 *
 * The numbers are those of this interface; other conventions number them the other way round.
 */
@VintfStability
enum DeviceRole {
    /** Answers the first ranging frame. */
    RESPONDER = 0,
    /** Sends the first ranging frame. */
    INITIATOR = 1,
}
