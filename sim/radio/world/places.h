/* SPDX-License-Identifier: GPL-2.0 */
/*
 * What the world is made of, for the world's own files.
 */
#ifndef SIM_PLACES_H
#define SIM_PLACES_H

#include <linux/list.h>
#include <linux/time64.h>

#include "world/path.h"
#include "world/world.h"

/* Far enough for any test, near enough for 64-bit squares of 1/16 mm. */
#define SIM_WORLD_MAX_UM (50000LL * USEC_PER_SEC)

struct sim_tag {
	struct list_head node;
	struct sim_body body;
};

extern struct list_head sim_tags;

/* Standard deviation of distances. */
extern s32 sim_noise_mm;
/* How far radios hear each other and tags, in micrometres. */
extern s64 sim_range_um;

/* The errors of all that have no model of their own; NULL for none. */
extern struct sim_model *sim_model;

/* Room for the name of a scene. */
#define SIM_SCENE_NAME_LEN 64
/* What the world was made from; empty for nothing. */
extern char sim_scene_name[SIM_SCENE_NAME_LEN];

/* A radio's body, or NULL. */
struct sim_body *sim_body_of_radio(u64 index);

struct sim_tag *sim_tag_find(u64 addr);
/* Creates a tag, unless it is there. */
int sim_tag_make(u64 addr, struct sim_tag **tag);
void sim_tag_remove(struct sim_tag *tag);

/* Puts it there as of now, on no path. */
void sim_body_put(struct sim_body *body, const struct sim_vec *pos,
		  const struct sim_vec *vel);
/* Starts it on a path now; takes the path over. */
void sim_body_follow(struct sim_body *body, struct sim_path *path);

/* Where it is, and how it is seen, at a time of the world's clock. */
void sim_body_at(const struct sim_body *body, u64 world_ns,
		 struct sim_path_place *place);

/* "0x1234", "radio0". */
#define SIM_WHO_LEN 24
const char *sim_who(const struct sim_body *body, char *text);

#endif /* SIM_PLACES_H */
