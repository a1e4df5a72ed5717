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

/* Radios that there is room for. */
#define SIM_MAX_RADIOS 8

struct seq_file;

extern struct mutex sim_lock;

/* Micrometres, or micrometres a second. */
struct sim_vec {
	s64 x, y, z;
};

/* A thing in the world: where it was at a time, and its constant velocity. */
struct sim_body {
	struct sim_vec pos;
	struct sim_vec vel;
	u64 since_ns;
	bool los;
};

/* What a radio measures of a peer: the truth with noise. */
struct sim_sight {
	s32 distance_mm;
	s32 azimuth_urad;
	s32 elevation_urad;
	/* Phase differences between the antennas of each pair. */
	s32 azimuth_pdoa_urad;
	s32 elevation_pdoa_urad;
	bool los;
};

/* No tags, radios at home and at rest, default noise. */
void sim_world_reset(void);

/* A radio comes, at home, or goes. */
const struct sim_body *sim_world_add_radio(unsigned int index);
void sim_world_remove_radio(unsigned int index);

/* The tag of an address, or NULL. */
const struct sim_body *sim_world_tag(u64 addr);

/* False beyond the range of the radios: nothing is seen. */
bool sim_world_sight(const struct sim_body *from, const struct sim_body *to,
		     u64 when_ns, struct sim_sight *sight);

/* The world as text: commands, and all there is. */
int sim_world_write(const char *text, size_t len);
void sim_world_show(struct seq_file *file);

#endif /* SIM_WORLD_H */
