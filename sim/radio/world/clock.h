/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The world's time: what moves, moves in it. It may go faster or slower than
 * that of the radios (world.h), or wait.
 */
#ifndef SIM_CLOCK_H
#define SIM_CLOCK_H

#include <linux/types.h>

/* How much faster the world may be, in millionths. */
#define SIM_MAX_RATE (3600 * 1000000LL)

/* All time is CLOCK_MONOTONIC's again. */
void sim_clock_reset(void);

/* The world's time at a time of the radios, and now; nanoseconds. */
u64 sim_clock_at(u64 radio_ns);
u64 sim_clock_now(void);

/*
 * Between these, now is the same time for all: a scene begins at one moment,
 * however long it takes to read. With sim_lock held.
 */
void sim_clock_hold(void);
void sim_clock_release(void);

/*
 * How many seconds of the world pass in one of ours, in millionths; with
 * blocks the radios go along with a world that is faster than life.
 */
void sim_clock_set_rate(s64 rate, bool blocks);
s64 sim_clock_rate(void);
bool sim_clock_blocks(void);

/* From now on the world stands still until something is measured. */
void sim_clock_wait(void);
bool sim_clock_waits(void);
/* Something is measured, of that time of the radios. */
void sim_clock_measured(u64 radio_ns);

#endif /* SIM_CLOCK_H */
