// SPDX-License-Identifier: Apache-2.0
//
// For the target whose precompiled header all tests use.
