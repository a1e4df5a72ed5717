// SPDX-License-Identifier: Apache-2.0
package hardware.velta.uwb;

import hardware.velta.uwb.RangingResult;

/**
 * Results of simple ranging mode, called by the service.
 */
@VintfStability
oneway interface ISimpleRangingCallback {
    /** One measurement. */
    void onRangingResult(in RangingResult result);
}
