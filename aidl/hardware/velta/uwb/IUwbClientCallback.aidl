// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

/**
 * Stands for the client that holds the hardware: when its process dies, the hardware is closed.
 *
 * The service never calls it.
 */
@VintfStability
oneway interface IUwbClientCallback {
}
