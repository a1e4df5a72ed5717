/* SPDX-License-Identifier: Apache-2.0 */
#pragma once
/* libselinux keeps digests of file labels, which a host leaves out. */
#define SHA_DIGEST_LENGTH 20
