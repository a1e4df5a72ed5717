// SPDX-License-Identifier: GPL-2.0
#include <linux/ktime.h>
#include <linux/math64.h>

#include "world/clock.h"
#include "world/decimal.h"

/* The world's time was clock_world_ns at clock_real_ns. */
static u64 clock_world_ns;
static u64 clock_real_ns;
static s64 clock_rate = SIM_DECIMAL_ONE;
static bool clock_waits;
/* While what is written is taken in, all of which happens at once; else 0. */
static u64 clock_held_ns;

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

void sim_clock_reset(void)
{
	clock_world_ns = 0;
	clock_real_ns = 0;
	clock_rate = SIM_DECIMAL_ONE;
	clock_waits = false;
}

u64 sim_clock_at(u64 real_ns)
{
	s64 passed_ns = (s64)(real_ns - clock_real_ns);
	s64 ms;
	s32 rest;

	if (clock_waits)
		return clock_world_ns;
	/* So that days at the highest rate do not overflow. */
	ms = div_s64_rem(passed_ns, NSEC_PER_MSEC, &rest);
	return clock_world_ns + ms * clock_rate +
	       div_s64(rest * clock_rate, SIM_DECIMAL_ONE);
}

u64 sim_clock_now(void)
{
	return sim_clock_at(clock_real_now());
}

/* What follows begins here. */
static void clock_begin(u64 real_ns)
{
	clock_world_ns = sim_clock_at(real_ns);
	clock_real_ns = real_ns;
}

void sim_clock_set_rate(s64 rate)
{
	clock_begin(clock_real_now());
	clock_rate = rate;
}

s64 sim_clock_rate(void)
{
	return clock_rate;
}

void sim_clock_wait(void)
{
	clock_begin(clock_real_now());
	clock_waits = true;
}

bool sim_clock_waits(void)
{
	return clock_waits;
}

void sim_clock_measured(u64 real_ns)
{
	if (!clock_waits)
		return;
	clock_real_ns = real_ns;
	clock_waits = false;
}
