/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The world: where radios and passive tags are, and what one sees of another.
 *
 * One mutex, sim_lock, guards the world and all that lives in it: radios, their
 * sessions, the tags. Two radios read each other's sessions and all share one
 * noise source, so finer locks would only add orders to get wrong. It nests
 * inside the generic netlink mutex, inside RTNL and inside the netlink notifier
 * chain; nothing that takes one of those runs under it.
 */
#ifndef SIM_WORLD_H
#define SIM_WORLD_H

#include <linux/lockdep.h>
#include <linux/mutex.h>
#include <linux/types.h>

#include "world/noise.h"

/* Radios that there is room for. */
#define SIM_MAX_RADIOS 8

struct seq_file;

extern struct mutex sim_lock;

/* Micrometres, or micrometres a second. */
struct sim_vec {
	s64 x, y, z;
};

struct sim_path;
struct sim_model;

/* What is between a radio and a peer, from one measurement to the next. */
struct sim_link {
	/* Of the noise that it was started with; 0 for never. */
	unsigned int epoch;
	struct sim_noise noise;
	bool in_burst;
	/* When it was started, of the world's clock, and where the peer's was. */
	u64 since_ns;
	u32 drift_us;
};

/*
 * A thing in the world: where it was at a time, and its constant velocity; or
 * a path that it has been on since then.
 */
struct sim_body {
	/* A tag's address, or a radio's index. */
	u64 number;
	bool is_radio;
	struct sim_vec pos;
	struct sim_vec vel;
	/* Of the world's clock. */
	u64 since_ns;
	/* Where a radio looks: from +y towards +x, within a turn. */
	s32 heading_urad;
	bool los;
	/* Owned; NULL for none. */
	struct sim_path *path;
	/* Owned; NULL for the world's. */
	struct sim_model *model;
	/* To each radio that measures it. */
	struct sim_link links[SIM_MAX_RADIOS];
};

/* What a radio measures of a peer: the truth with noise. */
struct sim_sight {
	s32 distance_mm;
	s32 azimuth_urad;
	s32 elevation_urad;
	/* Phase differences between the antennas of each pair. */
	s32 azimuth_pdoa_urad;
	s32 elevation_pdoa_urad;
	/* Figures of merit: 0 (none) to 255 (best). */
	u8 azimuth_merit;
	u8 elevation_merit;
	bool los;
};

/* ---- The radios' time ---- */

/*
 * CLOCK_MONOTONIC, until they are to go along with a world that is faster than
 * life. It never goes back, so that deadlines stay what they are; what is said
 * of it does when the world begins anew.
 */
u64 sim_time_now(void);
/* When a deadline comes, of CLOCK_MONOTONIC. */
u64 sim_time_real(u64 radio_ns);
/* How much of it passes in so much of CLOCK_MONOTONIC. */
u64 sim_time_in(u64 real_ns);
/* The least between two reports when it is faster than life: 1 ms of ours. */
u64 sim_time_least(void);
/* A time as reports and the world's text have it. */
u64 sim_time_said(u64 radio_ns);

/* ---- The world ---- */

/* No tags, walls, models; radios at home and at rest, all defaults. */
void sim_world_reset(void);

/* A radio comes, at home, or goes. */
struct sim_body *sim_world_add_radio(unsigned int index);
void sim_world_remove_radio(unsigned int index);

/* The tag of an address, or NULL. */
struct sim_body *sim_world_tag(u64 addr);

/*
 * What a radio measures of a peer at a time of the radios. False when it
 * does not answer: beyond the range of the radios, behind a wall that stops
 * all, lost by chance.
 */
bool sim_world_sight(const struct sim_body *radio, struct sim_body *peer,
		     u64 when_ns, struct sim_sight *sight);

/* The world as text: commands, and all there is. */
int sim_world_write(const char *text, size_t len);
void sim_world_show(struct seq_file *file);
/* Paths as the commands that make them anew. */
void sim_world_show_paths(struct seq_file *file);

#endif /* SIM_WORLD_H */
