/* SPDX-License-Identifier: Apache-2.0 */
#pragma once
/* libselinux includes it for what a host leaves out. */
