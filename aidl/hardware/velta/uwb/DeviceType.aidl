// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Who controls a FiRa session.
 *
 * The numbers are those of this interface; other conventions number them the other way round.
 */
@VintfStability
enum DeviceType {
    /** Sets the session parameters and schedules the ranging rounds. */
    CONTROLLER = 0,
    /** Follows the controller. */
    CONTROLEE = 1,
}
