// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.FiraCapabilities;
import hardware.velta.uwb.FiraTwrSession;
import hardware.velta.uwb.IFiraSessionCallback;
import hardware.velta.uwb.UwbAddress;

/**
 * FiRa two-way ranging on one interface.
 *
 * Session identifiers are taken as unsigned. Unless they say otherwise, calls that name a
 * session fail with INVALID_ARGUMENT "Unknown session id <id>" when it was not initialised, and with
 * FAILED "Unsupported operation" when the radio refuses.
 */
@VintfStability
interface IFiraController {
    /** Sets the callback of all sessions, replacing the previous one, whoever set it. */
    void setSessionCallback(in @nullable IFiraSessionCallback callback);

    /** Forgets the callback; reports are dropped until there is another one. */
    void clearSessionCallback();

    /**
     * @return what the radio can do now. Once a session has fixed the channel that is the only one,
     *         until the last running session has stopped, or reset().
     * @throws FAILED when the query fails.
     */
    FiraCapabilities getCapabilities();

    /**
     * Initialises and configures a session. The first one fixes the channel that all sessions of
     * the interface share.
     *
     * @throws INVALID_ARGUMENT when the id exists, a field is out of its range or the channel is
     *         not available.
     * @throws FAILED when the channel cannot be set or the radio refuses.
     */
    void initNewTwrSession(in FiraTwrSession session);

    /**
     * Changes the parameters of a session that does not range. The fields are not validated here.
     *
     * @throws INVALID_STATE "Running session cannot be updated".
     */
    void updateTwrSession(in FiraTwrSession session);

    /**
     * Starts ranging; reports arrive through the session callback.
     *
     * @throws INVALID_STATE without a session callback, or when the session is running.
     */
    void startRangingSession(int sessionId);

    /**
     * Changes the block striding of a session.
     *
     * @throws INVALID_ARGUMENT always: "Block striding is not supported".
     */
    void updateTwoWayRangingBlockStriding(int sessionId, int blockStridingValue);

    /**
     * Adds controlees, also while ranging. The call succeeds whatever the radio says; its answer
     * arrives as onControleesAdded() or onControleesAddFailed() when there is a session callback.
     *
     * @param controlees short addresses.
     * @param subSessionIds one for each controlee, or null.
     * @throws INVALID_ARGUMENT when the two lists differ in size.
     */
    void addControlees(int sessionId, in UwbAddress[] controlees, in @nullable int[] subSessionIds);

    /**
     * Removes controlees, also while ranging. The call succeeds whatever the radio says; its answer
     * arrives as onControleesRemoved() or onControleesRemoveFailed() when there is a session
     * callback.
     */
    void removeControlees(int sessionId, in UwbAddress[] controlees);

    /**
     * Asks the radio to stop ranging. The session has stopped once onSessionStopped() arrives.
     *
     * @throws INVALID_STATE "The session isn't started."
     */
    void stopRangingSession(int sessionId);

    /** @return the number of initialised sessions, ranging ones included. */
    int getSessionCount();

    /**
     * Removes a session that does not range.
     *
     * @throws INVALID_STATE "The session is started, call stop first."
     */
    void deinitSession(int sessionId);

    /** Forgets every session of the interface without telling the radio. */
    void reset();
}
