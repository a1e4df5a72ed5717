// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Preamble length in symbols.
 */
@VintfStability
enum PreambleDuration {
    /** 32 symbols. */
    T32_SYMBOLS = 0,
    /** 64 symbols. */
    T64_SYMBOLS = 1,
}
