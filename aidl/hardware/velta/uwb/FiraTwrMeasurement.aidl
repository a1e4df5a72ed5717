// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.FiraAntennaMeasurement;
import hardware.velta.uwb.UwbAddress;

/**
 * Result of one ranging round with one peer.
 *
 * When status is not 0 only peerAddress, timestampNs and status have a meaning; the other
 * fields hold their initial values.
 */
@VintfStability
parcelable FiraTwrMeasurement {
    /** Short address of the peer, 2 bytes, most significant first. */
    UwbAddress peerAddress;
    /** When the round took place, in nanoseconds of the driver's clock, CLOCK_MONOTONIC as a rule;
     * without the driver's word, when the report arrived by that clock. */
    long timestampNs;
    /** 0 for success, otherwise the radio's reason. */
    int status;
    /** Line of sight to the peer: 1 yes, 0 no, 255 not known. */
    int lineOfSight = 255;
    /** Distance in the driver's unit; drivers report millimetres. */
    long distance;
    /** What the antenna pairs saw; may be empty. */
    FiraAntennaMeasurement[] antennaMeasurements;
    /** Azimuth of arrival in radians, -pi to pi; 0.0 when not measured. */
    double azimuth;
    /** Figure of merit of the azimuth, 0.0 (none) to 1.0 (best). */
    double azimuthFigureOfMerit;
    /** Elevation of arrival in radians, -pi/2 to pi/2; 0.0 when not measured. */
    double elevation;
    /** Figure of merit of the elevation, 0.0 (none) to 1.0 (best). */
    double elevationFigureOfMerit;
}
