// SPDX-License-Identifier: GPL-2.0
/*
 * Seeded normal noise in integers.
 */
#include <linux/math64.h>

#include "world/noise.h"

static u64 noise_seed;
static u64 noise_state;

void sim_noise_start(u64 seed)
{
	u64 mixed = seed + 0x9e3779b97f4a7c15ULL;

	mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9ULL;
	mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebULL;
	noise_seed = seed;
	/* The generator stays at 0 for ever once it is there. */
	noise_state = mixed ? mixed : 1;
}

u64 sim_noise_seed(void)
{
	return noise_seed;
}

static u64 noise_bits(void)
{
	u64 state = noise_state;

	state ^= state >> 12;
	state ^= state << 25;
	state ^= state >> 27;
	noise_state = state;
	return state * 0x2545f4914f6cdd1dULL;
}

/* The sum of 12 uniform values. */
s32 sim_noise(s32 sigma)
{
	s64 sum = -6 * 0xffff;
	u64 bits;
	int i, j;

	for (i = 0; i < 3; i++) {
		bits = noise_bits();
		for (j = 0; j < 4; j++) {
			sum += bits & 0xffff;
			bits >>= 16;
		}
	}
	return div_s64(sum * sigma + (sum < 0 ? -0x8000 : 0x8000), 0x10000);
}
