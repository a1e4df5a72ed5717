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

/* No tags, walls, models; radios at home and at rest, default noise. */
void sim_world_reset(void);

/* A radio comes, at home, or goes. */
struct sim_body *sim_world_add_radio(unsigned int index);
void sim_world_remove_radio(unsigned int index);

/* The tag of an address, or NULL. */
struct sim_body *sim_world_tag(u64 addr);

/*
 * What a radio measures of a peer at a time of CLOCK_MONOTONIC. False when it
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
