// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * How many devices take part in a FiRa session.
 */
@VintfStability
enum MultiNodeMode {
    /** One controller and one controlee. */
    UNICAST = 0,
    /** One controller and several controlees. */
    ONE_TO_MANY = 1,
    /** Several of both; not supported by this service. */
    MANY_TO_MANY = 2,
}
