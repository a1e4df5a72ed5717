// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Service-specific error codes of every failed call, each sent with a message.
 *
 * No binder exception code is used for these failures.
 */
@VintfStability
enum ErrorCode {
    /** The kernel, the radio or a query of them failed. */
    FAILED = 1,
    /** An argument of the call is invalid. */
    INVALID_ARGUMENT = 2,
    /** The call is not allowed in the current state, or a system setting is missing. */
    INVALID_STATE = 3,
}
