// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.ICccController;
import hardware.velta.uwb.IFiraController;
import hardware.velta.uwb.ISimpleRangingController;

/**
 * One UWB interface: a radio and its IEEE 802.15.4 network interface.
 */
@VintfStability
interface IUwbIface {
    /** @return the FiRa controller, always the same one; null after the hardware was closed. */
    @nullable IFiraController firaController();

    /** @return the CCC controller, always the same one; null after the hardware was closed. */
    @nullable ICccController cccController();

    /** @return the simple ranging controller, always the same one. */
    @nullable ISimpleRangingController simpleRangingController();
}
