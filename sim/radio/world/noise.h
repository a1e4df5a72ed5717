/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The noise of all measurements: one generator, so that the same requests in
 * the same order see the same noise.
 */
#ifndef SIM_NOISE_H
#define SIM_NOISE_H

#include <linux/types.h>

void sim_noise_start(u64 seed);
u64 sim_noise_seed(void);

/* Normal noise around 0, never beyond 6 sigma. */
s32 sim_noise(s32 sigma);

#endif /* SIM_NOISE_H */
