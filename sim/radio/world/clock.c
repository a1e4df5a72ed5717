// SPDX-License-Identifier: GPL-2.0
#include <linux/ktime.h>
#include <linux/math64.h>

#include "world/clock.h"
#include "world/decimal.h"
#include "world/world.h"

/* A clock that another one drives: at driver_ns it was own_ns. */
struct clock {
	u64 own_ns;
	u64 driver_ns;
	/* In millionths. */
	s64 rate;
};

/*
 * CLOCK_MONOTONIC drives the radios' time, and that the world's. Who is faster
 * than life is either the world alone, or the radios, which take it along.
 */
static struct clock radios_clock = { .rate = SIM_DECIMAL_ONE };
static struct clock world_clock = { .rate = SIM_DECIMAL_ONE };
/* What the radios say of their time is less by this: it never goes back. */
static u64 radios_ahead_ns;

static s64 wanted_rate = SIM_DECIMAL_ONE;
static bool wanted_blocks;
static bool clock_waits;
/* While what is written is taken in, all of which happens at once; else 0. */
static u64 clock_held_ns;

static u64 clock_at(const struct clock *clock, u64 driver_ns)
{
	s64 passed_ns = (s64)(driver_ns - clock->driver_ns);
	s32 rest;
	/* So that days at the highest rate do not overflow. */
	s64 ms = div_s64_rem(passed_ns, NSEC_PER_MSEC, &rest);

	return clock->own_ns + ms * clock->rate +
	       div_s64(rest * clock->rate, SIM_DECIMAL_ONE);
}

/* What follows goes on from there, as fast as this. */
static void clock_begin(struct clock *clock, u64 own_ns, u64 driver_ns, s64 rate)
{
	clock->own_ns = own_ns;
	clock->driver_ns = driver_ns;
	clock->rate = rate;
}

static u64 clock_real_now(void)
{
	return clock_held_ns ? clock_held_ns : ktime_get_ns();
}

void sim_clock_hold(void)
{
	clock_held_ns = ktime_get_ns();
}

void sim_clock_release(void)
{
	clock_held_ns = 0;
}

/* ---- The radios' ---- */

u64 sim_time_now(void)
{
	return clock_at(&radios_clock, clock_real_now());
}

u64 sim_time_real(u64 radio_ns)
{
	const struct clock *clock = &radios_clock;
	u64 turns, rest;

	if (radio_ns <= clock->own_ns)
		return clock->driver_ns;
	turns = div64_u64_rem(radio_ns - clock->own_ns, clock->rate, &rest);
	return clock->driver_ns + turns * SIM_DECIMAL_ONE +
	       div64_u64(rest * SIM_DECIMAL_ONE + clock->rate - 1, clock->rate);
}

u64 sim_time_in(u64 real_ns)
{
	const struct clock from_zero = { .rate = radios_clock.rate };

	return clock_at(&from_zero, real_ns);
}

u64 sim_time_least(void)
{
	return radios_clock.rate == SIM_DECIMAL_ONE ? 0 :
						      sim_time_in(NSEC_PER_MSEC);
}

u64 sim_time_said(u64 radio_ns)
{
	return radio_ns - radios_ahead_ns;
}

/* ---- The world's ---- */

void sim_clock_reset(void)
{
	u64 real_ns = clock_real_now();
	u64 radio_ns = sim_time_now();

	radios_ahead_ns = radio_ns - real_ns;
	clock_begin(&radios_clock, radio_ns, real_ns, SIM_DECIMAL_ONE);
	clock_begin(&world_clock, 0, 0, SIM_DECIMAL_ONE);
	wanted_rate = SIM_DECIMAL_ONE;
	wanted_blocks = false;
	clock_waits = false;
}

u64 sim_clock_at(u64 radio_ns)
{
	return clock_waits ? world_clock.own_ns :
			     clock_at(&world_clock, radio_ns);
}

u64 sim_clock_now(void)
{
	return sim_clock_at(sim_time_now());
}

void sim_clock_set_rate(s64 rate, bool blocks)
{
	bool is_theirs = blocks && rate > SIM_DECIMAL_ONE;
	u64 radio_ns = sim_time_now();

	clock_begin(&world_clock, sim_clock_at(radio_ns), radio_ns,
		    is_theirs ? SIM_DECIMAL_ONE : rate);
	clock_begin(&radios_clock, radio_ns, clock_real_now(),
		    is_theirs ? rate : SIM_DECIMAL_ONE);
	wanted_rate = rate;
	wanted_blocks = blocks;
}

s64 sim_clock_rate(void)
{
	return wanted_rate;
}

bool sim_clock_blocks(void)
{
	return wanted_blocks;
}

void sim_clock_wait(void)
{
	clock_begin(&world_clock, sim_clock_now(), sim_time_now(),
		    world_clock.rate);
	clock_waits = true;
}

bool sim_clock_waits(void)
{
	return clock_waits;
}

void sim_clock_measured(u64 radio_ns)
{
	if (!clock_waits)
		return;
	world_clock.driver_ns = radio_ns;
	clock_waits = false;
}
