// SPDX-License-Identifier: GPL-2.0
#include <linux/math64.h>

#include "world/noise.h"

static u64 noise_seed;
static unsigned int noise_epoch;
static struct sim_noise noise_world;

static u64 noise_mix(u64 seed)
{
	u64 mixed = seed + 0x9e3779b97f4a7c15ULL;

	mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9ULL;
	mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebULL;
	/* A generator stays at 0 for ever once it is there. */
	return mixed ? mixed : 1;
}

void sim_noise_start(u64 seed)
{
	noise_seed = seed;
	noise_epoch++;
	noise_world.state = noise_mix(seed);
}

u64 sim_noise_seed(void)
{
	return noise_seed;
}

unsigned int sim_noise_epoch(void)
{
	return noise_epoch;
}

void sim_noise_init(struct sim_noise *noise, u64 number)
{
	noise->state = noise_mix(noise_mix(noise_seed) ^ number);
}

u64 sim_noise_bits(struct sim_noise *noise)
{
	u64 state = noise->state;

	state ^= state >> 12;
	state ^= state << 25;
	state ^= state >> 27;
	noise->state = state;
	return state * 0x2545f4914f6cdd1dULL;
}

/* The sum of 12 uniform values. */
s32 sim_noise_normal(struct sim_noise *noise)
{
	s32 sum = -6 * 0xffff;
	u64 bits;
	int i, j;

	for (i = 0; i < 3; i++) {
		bits = sim_noise_bits(noise);
		for (j = 0; j < 4; j++) {
			sum += bits & 0xffff;
			bits >>= 16;
		}
	}
	return sum;
}

s64 sim_noise_scale(s32 normal, s64 sigma)
{
	return div_s64(normal * sigma + (normal < 0 ? -0x8000 : 0x8000),
		       SIM_NOISE_SIGMA);
}

s32 sim_noise(s32 sigma)
{
	return sim_noise_scale(sim_noise_normal(&noise_world), sigma);
}
