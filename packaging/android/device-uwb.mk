# SPDX-License-Identifier: Apache-2.0

# What a device has of the UWB service: include it from the device's product makefile.
PRODUCT_PACKAGES += \
    hardware.velta.uwb-service \
    velta_uwb_calibration.paths \
    velta_uwb_calibration.conf \
    velta_uwb_country-FR.conf \
    velta_uwb_country-JP.conf \
    velta_uwb_country-default.conf \
    velta_uwb_country-unknown.conf
