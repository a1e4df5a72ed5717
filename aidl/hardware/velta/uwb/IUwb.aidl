// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.IUwbClientCallback;
import hardware.velta.uwb.IUwbIface;

/**
 * The UWB hardware service, registered as "hardware.velta.uwb.IUwb/default".
 *
 * One client at a time opens the hardware. Who may call at all is the platform's to say; of those
 * who may, each can call everything, whoever holds the hardware: there is one, with one state. A
 * second client's close() ends the first one's sessions, its applyCountryRestriction() takes them
 * down, and the callback that was set last is the one that is told. Nobody is told of another's
 * close(): whoever held the hardware finds its objects as close() says.
 *
 * Every failure of every interface of this package is a service-specific error with a code of
 * ErrorCode and a message.
 */
@VintfStability
interface IUwb {
    /**
     * Opens the hardware for this client and discovers the UWB interfaces.
     *
     * The hardware is held until close() or until the process behind callback dies. Success does
     * not mean that an interface was found: see listIfaceNames().
     *
     * @param callback lives as long as the client wants the hardware.
     * @throws INVALID_ARGUMENT "null client callback".
     * @throws INVALID_STATE "HAL is already open" while a client lives, this one included.
     * @throws FAILED when a kernel family that is needed is not there.
     */
    void open(in @nullable IUwbClientCallback callback);

    /**
     * Gives the hardware back, whoever holds it: sessions end without a word to their callbacks,
     * interfaces go down. Not an error when nothing is open.
     *
     * Objects that the client still holds answer, but drive nothing any more. Arguments and states
     * are checked first, as ever and in the same order: sessions are gone, so that a FiRa session
     * is "Unknown session id", and a callback has to be set before a start. Only a call that would
     * then touch the radio fails with INVALID_STATE "HAL is closed"; simple ranging's setCallback
     * does, too, since the radios share one subscription. Capabilities can still be read. What is
     * OK in every case (reset() of FiRa, deinitSession() of CCC, setting other callbacks) stays
     * so and does nothing. getIface() knows no interface; the FiRa and CCC controllers of a kept
     * interface are null.
     */
    void close();

    /**
     * Lists the radios that the driver knows. Works without holding the hardware.
     *
     * @return the hardware indexes.
     * @throws FAILED "Failed to list hardware".
     */
    long[] listHardwareIndex();

    /** @return the names of the UWB network interfaces in ascending order; empty unless open. */
    String[] listIfaceNames();

    /**
     * @param name one of listIfaceNames().
     * @return the interface of that name.
     * @throws INVALID_ARGUMENT "Unknown iface <name>".
     */
    IUwbIface getIface(in String name);

    /**
     * Takes every interface down and loads its calibration for a country.
     *
     * Interfaces are treated in the order of their names; the first failure ends the walk.
     *
     * @param country ISO 3166-1 alpha-2 code, or empty when the country is not known.
     * @throws INVALID_STATE when the property that names the calibration files is not set.
     * @throws FAILED with a message that names what could not be loaded.
     */
    void applyCountryRestriction(in String country);
}
