/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Seeded noise in integers. One generator is the whole world's, so that the
 * same requests in the same order see the same noise; what has a model draws
 * from one of its own for each radio, so that others do not disturb it.
 */
#ifndef SIM_NOISE_H
#define SIM_NOISE_H

#include <linux/types.h>

struct sim_noise {
	u64 state;
};

/* What sim_noise_normal() makes of 1 sigma. */
#define SIM_NOISE_SIGMA 0x10000

/* Starts the world's generator, and whichever depends on the seed, anew. */
void sim_noise_start(u64 seed);
u64 sim_noise_seed(void);
/* Another number after each start. */
unsigned int sim_noise_epoch(void);

/* Starts a generator: the same for the same seed of the world and number. */
void sim_noise_init(struct sim_noise *noise, u64 number);
u64 sim_noise_bits(struct sim_noise *noise);
/* Normal noise around 0, never beyond 6 sigma. */
s32 sim_noise_normal(struct sim_noise *noise);
/* Of that sigma, up to 10^12. */
s64 sim_noise_scale(s32 normal, s64 sigma);

/* Normal noise of the world's generator. */
s32 sim_noise(s32 sigma);

#endif /* SIM_NOISE_H */
