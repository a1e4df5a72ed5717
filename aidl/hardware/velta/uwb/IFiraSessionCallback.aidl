// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.FiraRangingData;
import hardware.velta.uwb.FiraTwrMeasurement;
import hardware.velta.uwb.UwbAddress;

/**
 * Reports and events of the FiRa sessions of an interface, called by the service.
 */
@VintfStability
oneway interface IFiraSessionCallback {
    /**
     * One ranging block of a session.
     *
     * @param data session and block.
     * @param measurements one for each peer of the round.
     */
    void onTwrResult(in FiraRangingData data, in FiraTwrMeasurement[] measurements);

    /** The controlees of an addControlees() call were added. */
    void onControleesAdded(int sessionId, in UwbAddress[] controlees);

    /** The controlees of an addControlees() call were refused; reason is 0. */
    void onControleesAddFailed(int sessionId, in UwbAddress[] controlees, int reason);

    /** The controlees of a removeControlees() call were removed. */
    void onControleesRemoved(int sessionId, in UwbAddress[] controlees);

    /** The controlees of a removeControlees() call were not removed; reason is 0. */
    void onControleesRemoveFailed(int sessionId, in UwbAddress[] controlees, int reason);

    /**
     * A session has stopped ranging, asked for or not; it is still initialised.
     *
     * @param reason the driver's reason, passed through, 0 to 255; drivers use 0 for a stop that was
     *        asked for. 256: the service lost notifications of the radio, so that it could not tell
     *        any more what ran, and stopped the session; it can be started again.
     */
    void onSessionStopped(int sessionId, int reason);
}
