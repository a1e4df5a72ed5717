// SPDX-License-Identifier: GPL-2.0
/*
 * Where radios and tags are.
 */
#include <linux/math64.h>
#include <linux/slab.h>

#include "world/clock.h"
#include "world/model.h"
#include "world/noise.h"
#include "world/places.h"
#include "world/walls.h"

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
struct sim_model *sim_model;
char sim_scene_name[SIM_SCENE_NAME_LEN];

/* ---- Bodies ---- */

static s64 world_move(s64 pos, s64 vel, s64 dt_ns)
{
	s32 rem_ns;
	s64 whole = div_s64_rem(dt_ns, NSEC_PER_SEC, &rem_ns);
	s64 now = pos + vel * whole + div_s64(vel * rem_ns, NSEC_PER_SEC);

	return clamp_t(s64, now, -SIM_WORLD_MAX_UM, SIM_WORLD_MAX_UM);
}

void sim_body_at(const struct sim_body *body, u64 world_ns,
		 struct sim_path_place *place)
{
	s64 dt_ns = (s64)(world_ns - body->since_ns);

	if (sim_path_at(body->path, div_s64(dt_ns, NSEC_PER_USEC), place))
		return;
	*place = (struct sim_path_place) {
		.pos = {
			.x = world_move(body->pos.x, body->vel.x, dt_ns),
			.y = world_move(body->pos.y, body->vel.y, dt_ns),
			.z = world_move(body->pos.z, body->vel.z, dt_ns),
		},
		.vel = body->vel,
	};
}

void sim_body_put(struct sim_body *body, const struct sim_vec *pos,
		  const struct sim_vec *vel)
{
	sim_body_follow(body, NULL);
	body->pos = *pos;
	body->vel = *vel;
}

void sim_body_follow(struct sim_body *body, struct sim_path *path)
{
	sim_path_free(body->path);
	body->path = path;
	body->since_ns = sim_clock_now();
}

const char *sim_who(const struct sim_body *body, char *text)
{
	snprintf(text, SIM_WHO_LEN, body->is_radio ? "radio%llu" : "0x%04llx",
		 body->number);
	return text;
}

static void body_free(struct sim_body *body)
{
	sim_path_free(body->path);
	body->path = NULL;
	kfree(body->model);
	body->model = NULL;
}

/* ---- Tags ---- */

struct sim_tag *sim_tag_find(u64 addr)
{
	struct sim_tag *tag;

	list_for_each_entry(tag, &sim_tags, node) {
		if (tag->body.number == addr)
			return tag;
	}
	return NULL;
}

struct sim_body *sim_world_tag(u64 addr)
{
	struct sim_tag *tag = sim_tag_find(addr);

	return tag ? &tag->body : NULL;
}

void sim_tag_remove(struct sim_tag *tag)
{
	list_del(&tag->node);
	body_free(&tag->body);
	kfree(tag);
	world_n_tags--;
}

int sim_tag_make(u64 addr, struct sim_tag **tag)
{
	*tag = sim_tag_find(addr);
	if (*tag)
		return 0;
	if (world_n_tags == WORLD_MAX_TAGS)
		return -ENOSPC;
	*tag = kzalloc(sizeof(**tag), GFP_KERNEL);
	if (!*tag)
		return -ENOMEM;
	(*tag)->body.number = addr;
	(*tag)->body.los = true;
	list_add_tail(&(*tag)->node, &sim_tags);
	world_n_tags++;
	return 0;
}

/* ---- Radios ---- */

static void radio_home(unsigned int index)
{
	struct sim_body *body = &world_radios[index].body;

	body_free(body);
	*body = (struct sim_body) {
		.number = index,
		.is_radio = true,
		.pos.y = index * WORLD_RADIO_STEP_UM,
		.since_ns = sim_clock_now(),
		.los = true,
	};
}

struct sim_body *sim_world_add_radio(unsigned int index)
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
	body_free(&world_radios[index].body);
}

struct sim_body *sim_body_of_radio(u64 index)
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
	sim_clock_reset();
	sim_walls_clear();
	kfree(sim_model);
	sim_model = NULL;
	sim_scene_name[0] = '\0';
	list_for_each_entry_safe(tag, next, &sim_tags, node)
		sim_tag_remove(tag);
	for (i = 0; i < SIM_MAX_RADIOS; i++)
		radio_home(i);
	sim_noise_mm = WORLD_DEFAULT_NOISE_MM;
	sim_range_um = WORLD_DEFAULT_RANGE_UM;
	sim_noise_start(WORLD_DEFAULT_SEED);
}
