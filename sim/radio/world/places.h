/* SPDX-License-Identifier: GPL-2.0 */
/*
 * What the world is made of, for the world's own files.
 */
#ifndef SIM_PLACES_H
#define SIM_PLACES_H

#include <linux/list.h>
#include <linux/time64.h>

#include "world/world.h"

/* Far enough for any test, near enough for 64-bit squares of 1/16 mm. */
#define SIM_WORLD_MAX_UM (50000LL * USEC_PER_SEC)

struct sim_tag {
	struct list_head node;
	u64 addr;
	struct sim_body body;
};

extern struct list_head sim_tags;

/* Standard deviation of distances. */
extern s32 sim_noise_mm;
/* How far radios hear each other and tags, in micrometres. */
extern s64 sim_range_um;

/* The place of a radio, or NULL. */
struct sim_body *sim_place_of_radio(unsigned int index);

struct sim_tag *sim_tag_find(u64 addr);
/* Creates or moves a tag. */
int sim_tag_put(u64 addr, const struct sim_body *body);
void sim_tag_remove(struct sim_tag *tag);

struct sim_vec sim_position(const struct sim_body *body, u64 when_ns);

#endif /* SIM_PLACES_H */
