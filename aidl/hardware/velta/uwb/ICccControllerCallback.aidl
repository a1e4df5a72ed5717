// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Events of the CCC session of an interface, called by the service.
 */
@VintfStability
oneway interface ICccControllerCallback {
    /**
     * The CCC session has stopped.
     *
     * @param reason 1 when the stop was asked for, 0 when the radio stopped by itself, 256 when the
     *        service lost notifications of the radio and stopped the session.
     */
    void onSessionStopped(int reason);
}
