// SPDX-License-Identifier: GPL-2.0
/*
 * The world as text: all there is, at one moment.
 */
#include <linux/math64.h>
#include <linux/seq_file.h>

#include "world/clock.h"
#include "world/decimal.h"
#include "world/model.h"
#include "world/noise.h"
#include "world/places.h"
#include "world/trig.h"
#include "world/walls.h"

static void world_show_vec(struct seq_file *file, const struct sim_vec *vec)
{
	sim_decimal_show(file, vec->x);
	sim_decimal_show(file, vec->y);
	sim_decimal_show(file, vec->z);
}

/* Rounded to what was written: a microradian is 57 millionths of a degree. */
static s64 world_degrees(s32 urad)
{
	s64 half = urad < 0 ? -SIM_PI_URAD / 2 : SIM_PI_URAD / 2;
	s64 degrees = div_s64(urad * 180000LL + half, SIM_PI_URAD);

	return degrees * (SIM_DECIMAL_ONE / 1000);
}

static void world_show_body(struct seq_file *file, const struct sim_body *body,
			    u64 world_ns)
{
	struct sim_path_place place;

	sim_body_at(body, world_ns, &place);
	world_show_vec(file, &place.pos);
	world_show_vec(file, &place.vel);
	if (body->heading_urad) {
		seq_puts(file, " heading");
		sim_decimal_show_exact(file, world_degrees(body->heading_urad));
	}
	if (!body->is_radio || !body->los)
		seq_printf(file, " los %d", body->los);
	if (body->path)
		seq_puts(file, " path");
	if (place.sight == SIM_PATH_LOST)
		seq_puts(file, " lost");
	seq_putc(file, '\n');
}

static void world_show_model(struct seq_file *file, const struct sim_body *body)
{
	char who[SIM_WHO_LEN];

	if (body->model)
		sim_model_show(file, body->model, sim_who(body, who));
}

/* Calls it for every radio and tag there is. */
static void world_each_body(struct seq_file *file,
			    void (*show)(struct seq_file *file,
					 const struct sim_body *body))
{
	const struct sim_body *body;
	const struct sim_tag *tag;
	unsigned int i;

	for (i = 0; i < SIM_MAX_RADIOS; i++) {
		body = sim_body_of_radio(i);
		if (body)
			show(file, body);
	}
	list_for_each_entry(tag, &sim_tags, node)
		show(file, &tag->body);
}

void sim_world_show(struct seq_file *file)
{
	u64 now_ns = sim_time_now();
	u64 world_ns = sim_clock_at(now_ns);
	const struct sim_body *body;
	const struct sim_tag *tag;
	unsigned int i;

	lockdep_assert_held(&sim_lock);
	seq_printf(file, "time_ns %llu seed %llu noise_mm %d range",
		   sim_time_said(now_ns), sim_noise_seed(), sim_noise_mm);
	sim_decimal_show(file, sim_range_um);
	seq_puts(file, " rate");
	sim_decimal_show_exact(file, sim_clock_rate());
	if (sim_clock_blocks())
		seq_puts(file, " blocks 1");
	seq_printf(file, " waits %d", sim_clock_waits());
	if (sim_scene_name[0])
		seq_printf(file, " scene %s", sim_scene_name);
	seq_putc(file, '\n');
	for (i = 0; i < SIM_MAX_RADIOS; i++) {
		body = sim_body_of_radio(i);
		if (!body)
			continue;
		seq_printf(file, "radio %u", i);
		world_show_body(file, body, world_ns);
	}
	list_for_each_entry(tag, &sim_tags, node) {
		seq_printf(file, "tag 0x%04llx", tag->body.number);
		world_show_body(file, &tag->body, world_ns);
	}
	sim_walls_show(file);
	if (sim_model)
		sim_model_show(file, sim_model, "*");
	world_each_body(file, world_show_model);
}

static void world_show_path(struct seq_file *file, const struct sim_body *body)
{
	char who[SIM_WHO_LEN];

	sim_path_show(file, body->path, sim_who(body, who));
}

void sim_world_show_paths(struct seq_file *file)
{
	lockdep_assert_held(&sim_lock);
	world_each_body(file, world_show_path);
}
