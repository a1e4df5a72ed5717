// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * How the scrambled timestamp sequence (STS) of a FiRa session is keyed.
 */
@VintfStability
enum FiraStsConfig {
    /** Key derived from vendorId and staticStsIV. */
    STATIC = 0,
    /** Key provisioned in the hardware, one for the session. */
    DYNAMIC = 1,
    /** Key provisioned in the hardware, one for each controlee. */
    DYNAMIC_FOR_CONTROLEE_INDIVIDUAL_KEY = 2,
}
