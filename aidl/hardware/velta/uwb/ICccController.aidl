// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.CccCapabilities;
import hardware.velta.uwb.ICccControllerCallback;

/**
 * CCC (digital key) ranging on one interface.
 */
@VintfStability
interface ICccController {
    /** Prepares the radio: switches to CCC, deep sleep off, interface up. Takes about 100 ms. */
    void initSession();

    /**
     * Starts ranging.
     *
     * @param sessionId not used.
     * @param delayMs start relative to now in milliseconds, not negative; the system's minimum
     *        offset is added.
     * @param channel UWB channel, 0 to 15.
     * @return UWB time 0: the absolute start in milliseconds since the epoch.
     * @throws INVALID_ARGUMENT for a negative delay or a channel out of range.
     * @throws FAILED "Failed to start ccc session".
     */
    long startSession(int sessionId, long delayMs, int channel);

    /**
     * Asks the radio to stop. The session has stopped once onSessionStopped() arrives.
     *
     * @param sessionId not used.
     * @throws FAILED "Failed to stop ccc session".
     */
    void stopSession(int sessionId);

    /** Switches deep sleep on again. */
    void deinitSession();

    /**
     * @return what the radio can do.
     * @throws FAILED when the query fails.
     */
    CccCapabilities getCapabilities();

    /** Sets the callback, replacing the previous one, whoever set it. */
    void setCallback(in @nullable ICccControllerCallback callback);
}
