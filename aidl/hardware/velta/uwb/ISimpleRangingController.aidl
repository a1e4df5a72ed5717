// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.ISimpleRangingCallback;
import hardware.velta.uwb.RangingRequest;
import hardware.velta.uwb.SimpleRangingCapabilities;
import hardware.velta.uwb.UwbAddress;

/**
 * Ranging with a list of peers, without a session.
 *
 * Unless they say otherwise, calls fail with FAILED "Unknown error" when the kernel side does;
 * stop() and setRangings() also when no callback was ever set.
 */
@VintfStability
interface ISimpleRangingController {
    /**
     * Makes the interface an initiator and brings it up. Steps that were done before a failure
     * stay in force.
     *
     * @param panId PAN identifier, the low 16 bits.
     * @param address MAC address, at most 8 bytes, most significant first.
     * @param channel one of SimpleRangingCapabilities.supportedChannels.
     * @throws INVALID_ARGUMENT "Incorrect channel value", also when the channels cannot be read.
     */
    void startInitiatorMode(int panId, in UwbAddress address, int channel);

    /** Makes the interface a responder; otherwise as startInitiatorMode(). */
    void startResponderMode(int panId, in UwbAddress address, int channel);

    /** Ends ranging and takes the interface down. */
    void stop();

    /** @return what the radio can do. */
    SimpleRangingCapabilities getCapabilities();

    /**
     * Replaces the list of requests; an empty list ends ranging.
     *
     * @param requests at most 14.
     * @throws INVALID_STATE "Interface is not running".
     * @throws INVALID_ARGUMENT for more than 14 requests.
     */
    void setRangings(in RangingRequest[] requests);

    /**
     * Sets the callback, replacing the previous one: there is one for all interfaces.
     *
     * @throws INVALID_ARGUMENT "null client".
     */
    void setCallback(in @nullable ISimpleRangingCallback callback);
}
