# SPDX-License-Identifier: Apache-2.0

# Include it from the device's BoardConfig.mk.
VELTA_UWB_FOLDER := $(patsubst %/,%,$(dir $(lastword $(MAKEFILE_LIST))))

BOARD_VENDOR_SEPOLICY_DIRS += $(VELTA_UWB_FOLDER)/sepolicy
TARGET_VENDOR_PROP += $(VELTA_UWB_FOLDER)/vendor.prop
