// SPDX-License-Identifier: GPL-2.0
/*
 * Where radios and tags are.
 */
#include <linux/ktime.h>
#include <linux/math64.h>
#include <linux/slab.h>

#include "world/noise.h"
#include "world/places.h"

#define WORLD_DEFAULT_SEED 1
#define WORLD_DEFAULT_NOISE_MM 30
/* Frames of short sessions, line of sight, outdoors. */
#define WORLD_DEFAULT_RANGE_UM (200LL * USEC_PER_SEC)
#define WORLD_MAX_TAGS 64
/* Default distance between radios. */
#define WORLD_RADIO_STEP_UM (2LL * USEC_PER_SEC)

DEFINE_MUTEX(sim_lock);

static struct world_radio {
	bool there;
	struct sim_body body;
} world_radios[SIM_MAX_RADIOS];

LIST_HEAD(sim_tags);
static unsigned int world_n_tags;
s32 sim_noise_mm;
s64 sim_range_um;

static s64 world_move(s64 pos, s64 vel, s64 dt_ns)
{
	s32 rem_ns;
	s64 whole = div_s64_rem(dt_ns, NSEC_PER_SEC, &rem_ns);
	s64 now = pos + vel * whole + div_s64(vel * rem_ns, NSEC_PER_SEC);

	return clamp_t(s64, now, -SIM_WORLD_MAX_UM, SIM_WORLD_MAX_UM);
}

struct sim_vec sim_position(const struct sim_body *body, u64 when_ns)
{
	s64 dt_ns = (s64)(when_ns - body->since_ns);

	return (struct sim_vec) {
		.x = world_move(body->pos.x, body->vel.x, dt_ns),
		.y = world_move(body->pos.y, body->vel.y, dt_ns),
		.z = world_move(body->pos.z, body->vel.z, dt_ns),
	};
}

/* ---- Tags ---- */

struct sim_tag *sim_tag_find(u64 addr)
{
	struct sim_tag *tag;

	list_for_each_entry(tag, &sim_tags, node) {
		if (tag->addr == addr)
			return tag;
	}
	return NULL;
}

const struct sim_body *sim_world_tag(u64 addr)
{
	struct sim_tag *tag = sim_tag_find(addr);

	return tag ? &tag->body : NULL;
}

void sim_tag_remove(struct sim_tag *tag)
{
	list_del(&tag->node);
	kfree(tag);
	world_n_tags--;
}

int sim_tag_put(u64 addr, const struct sim_body *body)
{
	struct sim_tag *tag = sim_tag_find(addr);

	if (!tag) {
		if (world_n_tags == WORLD_MAX_TAGS)
			return -ENOSPC;
		tag = kzalloc(sizeof(*tag), GFP_KERNEL);
		if (!tag)
			return -ENOMEM;
		tag->addr = addr;
		list_add_tail(&tag->node, &sim_tags);
		world_n_tags++;
	}
	tag->body = *body;
	return 0;
}

/* ---- Radios ---- */

static void radio_home(unsigned int index)
{
	world_radios[index].body = (struct sim_body) {
		.pos.y = index * WORLD_RADIO_STEP_UM,
		.since_ns = ktime_get_ns(),
		.los = true,
	};
}

const struct sim_body *sim_world_add_radio(unsigned int index)
{
	lockdep_assert_held(&sim_lock);
	world_radios[index].there = true;
	radio_home(index);
	return &world_radios[index].body;
}

void sim_world_remove_radio(unsigned int index)
{
	lockdep_assert_held(&sim_lock);
	world_radios[index].there = false;
}

struct sim_body *sim_place_of_radio(unsigned int index)
{
	if (index >= SIM_MAX_RADIOS || !world_radios[index].there)
		return NULL;
	return &world_radios[index].body;
}

void sim_world_reset(void)
{
	struct sim_tag *tag, *next;
	unsigned int i;

	lockdep_assert_held(&sim_lock);
	list_for_each_entry_safe(tag, next, &sim_tags, node)
		sim_tag_remove(tag);
	for (i = 0; i < SIM_MAX_RADIOS; i++)
		radio_home(i);
	sim_noise_mm = WORLD_DEFAULT_NOISE_MM;
	sim_range_um = WORLD_DEFAULT_RANGE_UM;
	sim_noise_start(WORLD_DEFAULT_SEED);
}
