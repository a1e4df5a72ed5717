// SPDX-License-Identifier: GPL-2.0
/*
 * The commands that arrange the world.
 *
 * Lengths are micrometres inside, metres outside.
 */
#include <linux/kernel.h>
#include <linux/math64.h>
#include <linux/slab.h>
#include <linux/string.h>

#include "wire/text.h"
#include "world/clock.h"
#include "world/decimal.h"
#include "world/model.h"
#include "world/noise.h"
#include "world/places.h"
#include "world/trig.h"
#include "world/walls.h"

#define WORLD_MAX_NOISE_MM 10000
/* More than any two places are apart: no limit. */
#define WORLD_MAX_RANGE_UM (4 * SIM_WORLD_MAX_UM)
#define WORLD_MAX_SPEED_UM (1000LL * USEC_PER_SEC)
#define WORLD_MAX_HEADING (180 * SIM_DECIMAL_ONE)
#define WORLD_MAX_SECONDS (1000000LL * USEC_PER_SEC)

static int world_parse_vec(char **words, s64 limit, struct sim_vec *vec)
{
	if (sim_decimal_parse(words[0], limit, &vec->x) ||
	    sim_decimal_parse(words[1], limit, &vec->y) ||
	    sim_decimal_parse(words[2], limit, &vec->z))
		return -EINVAL;
	return 0;
}

/* X Y Z [VX VY VZ]. */
static int world_parse_place(char **words, int n, struct sim_vec *pos,
			     struct sim_vec *vel)
{
	*vel = (struct sim_vec) {};
	if (n != 3 && n != 6)
		return -EINVAL;
	if (world_parse_vec(words, SIM_WORLD_MAX_UM, pos))
		return -EINVAL;
	if (n == 6 && world_parse_vec(words + 3, WORLD_MAX_SPEED_UM, vel))
		return -EINVAL;
	return 0;
}

static int world_cmd_radio(char **words, int n, bool apply)
{
	struct sim_vec pos, vel;
	struct sim_body *body;
	unsigned int index;

	if (n < 1 || kstrtouint(words[0], 10, &index))
		return -EINVAL;
	body = sim_body_of_radio(index);
	if (!body || world_parse_place(words + 1, n - 1, &pos, &vel))
		return -EINVAL;
	if (apply)
		sim_body_put(body, &pos, &vel);
	return 0;
}

static int world_cmd_tag(char **words, int n, bool apply)
{
	struct sim_vec pos, vel;
	struct sim_tag *tag;
	u64 addr;
	int err;

	if (n < 1 || kstrtou64(words[0], 0, &addr) ||
	    world_parse_place(words + 1, n - 1, &pos, &vel))
		return -EINVAL;
	if (!apply)
		return 0;
	err = sim_tag_make(addr, &tag);
	if (!err)
		sim_body_put(&tag->body, &pos, &vel);
	return err;
}

/*
 * The tag may come into being earlier in the same write, so that only the run
 * that applies it can miss it.
 */
static int world_parse_tag(const char *word, bool apply, struct sim_tag **tag)
{
	u64 addr;

	if (kstrtou64(word, 0, &addr))
		return -EINVAL;
	*tag = sim_tag_find(addr);
	return apply && !*tag ? -EINVAL : 0;
}

/* A tag by its address, or "radio0". */
static int world_parse_who(const char *word, bool apply, struct sim_body **body)
{
	static const char radio[] = "radio";
	size_t skip = strlen(radio);
	struct sim_tag *tag;
	unsigned int index;
	int err;

	if (!strncmp(word, radio, skip)) {
		if (kstrtouint(word + skip, 10, &index))
			return -EINVAL;
		*body = sim_body_of_radio(index);
		return *body ? 0 : -EINVAL;
	}
	err = world_parse_tag(word, apply, &tag);
	*body = !err && tag ? &tag->body : NULL;
	return err;
}

/* Where a radio looks, in degrees from +y towards +x. */
static int world_cmd_heading(char **words, int n, bool apply)
{
	struct sim_body *body;
	s64 degrees;

	if (n != 2 || world_parse_who(words[0], apply, &body) || !body ||
	    !body->is_radio ||
	    sim_decimal_parse(words[1], WORLD_MAX_HEADING, &degrees))
		return -EINVAL;
	if (apply)
		body->heading_urad = div_s64(degrees * SIM_PI_URAD,
					     WORLD_MAX_HEADING);
	return 0;
}

static int world_cmd_los(char **words, int n, bool apply)
{
	struct sim_body *body;
	bool los;

	if (n != 2 || kstrtobool(words[1], &los) ||
	    world_parse_who(words[0], apply, &body))
		return -EINVAL;
	if (apply)
		body->los = los;
	return 0;
}

static int world_cmd_remove(char **words, int n, bool apply)
{
	struct sim_tag *tag;

	if (n != 1 || world_parse_tag(words[0], apply, &tag))
		return -EINVAL;
	if (apply)
		sim_tag_remove(tag);
	return 0;
}

static int world_cmd_clear(char **words, int n, bool apply)
{
	if (n)
		return -EINVAL;
	if (apply)
		sim_world_reset();
	return 0;
}

static int world_cmd_seed(char **words, int n, bool apply)
{
	u64 seed;

	if (n != 1 || kstrtou64(words[0], 0, &seed))
		return -EINVAL;
	if (apply)
		sim_noise_start(seed);
	return 0;
}

static int world_cmd_noise(char **words, int n, bool apply)
{
	u32 mm;

	if (n != 1 || kstrtou32(words[0], 10, &mm) || mm > WORLD_MAX_NOISE_MM)
		return -EINVAL;
	if (apply)
		sim_noise_mm = mm;
	return 0;
}

static int world_cmd_range(char **words, int n, bool apply)
{
	s64 um;

	if (n != 1 || sim_decimal_parse(words[0], WORLD_MAX_RANGE_UM, &um) ||
	    um < 0)
		return -EINVAL;
	if (apply)
		sim_range_um = um;
	return 0;
}

/* ---- Paths ---- */

static int world_cmd_path(char **words, int n, bool apply)
{
	struct sim_body *body;
	struct sim_path *path;
	bool loop;

	if (n != 2 || world_parse_who(words[0], apply, &body))
		return -EINVAL;
	loop = !strcmp(words[1], "loop");
	if (!loop && strcmp(words[1], "once"))
		return -EINVAL;
	if (!apply)
		return 0;
	path = sim_path_new(loop);
	if (!path)
		return -ENOMEM;
	sim_body_follow(body, path);
	return 0;
}

static int world_parse_sight(char **words, int n, enum sim_path_sight *sight)
{
	*sight = SIM_PATH_CLEAR;
	if (!n)
		return 0;
	if (!strcmp(words[0], "nlos"))
		*sight = SIM_PATH_NLOS;
	else if (!strcmp(words[0], "lost"))
		*sight = SIM_PATH_LOST;
	else
		return -EINVAL;
	return n > 1 ? -EINVAL : 0;
}

static int world_cmd_point(char **words, int n, bool apply)
{
	struct sim_body *body;
	struct sim_point point;

	if (n < 5 || world_parse_who(words[0], apply, &body) ||
	    sim_decimal_parse(words[1], WORLD_MAX_SECONDS, &point.time_us) ||
	    point.time_us < 0 ||
	    world_parse_vec(words + 2, SIM_WORLD_MAX_UM, &point.at) ||
	    world_parse_sight(words + 5, n - 5, &point.sight))
		return -EINVAL;
	if (!apply)
		return 0;
	return body->path ? sim_path_add(body->path, &point) : -EINVAL;
}

/* ---- What goes wrong ---- */

static int world_set_model(char **words, int n, struct sim_model *model)
{
	int i;

	if (!n || n % 2)
		return -EINVAL;
	for (i = 0; i < n; i += 2) {
		if (sim_model_set(model, words[i], words[i + 1]))
			return -EINVAL;
	}
	return 0;
}

/* A model begins as the world's. */
static int world_change_model(char **words, int n, struct sim_model **place)
{
	struct sim_model model = sim_model_ideal;

	if (sim_model)
		model = *sim_model;
	if (*place)
		model = **place;
	if (world_set_model(words, n, &model))
		return -EINVAL;
	if (!*place)
		*place = kmalloc(sizeof(model), GFP_KERNEL);
	if (!*place)
		return -ENOMEM;
	**place = model;
	return 0;
}

/* WHO none, or WHO KEY VALUE ...; * is for all that have none of their own. */
static int world_cmd_model(char **words, int n, bool apply)
{
	struct sim_model checked = sim_model_ideal;
	struct sim_model **place = &sim_model;
	struct sim_body *body;

	if (n < 2)
		return -EINVAL;
	if (strcmp(words[0], "*")) {
		if (world_parse_who(words[0], apply, &body))
			return -EINVAL;
		place = apply ? &body->model : NULL;
	}
	if (n == 2 && !strcmp(words[1], "none")) {
		if (apply) {
			kfree(*place);
			*place = NULL;
		}
		return 0;
	}
	if (!apply)
		return world_set_model(words + 1, n - 1, &checked);
	return world_change_model(words + 1, n - 1, place);
}

static int world_cmd_wall(char **words, int n, bool apply)
{
	struct sim_wall wall = { .obstacle = SIM_OBSTACLE_BLOCKS };

	if (n == 5 && !strcmp(words[4], "stops"))
		wall.obstacle = SIM_OBSTACLE_STOPS;
	else if (n != 4)
		return -EINVAL;
	if (sim_decimal_parse(words[0], SIM_WORLD_MAX_UM, &wall.from.x) ||
	    sim_decimal_parse(words[1], SIM_WORLD_MAX_UM, &wall.from.y) ||
	    sim_decimal_parse(words[2], SIM_WORLD_MAX_UM, &wall.to.x) ||
	    sim_decimal_parse(words[3], SIM_WORLD_MAX_UM, &wall.to.y))
		return -EINVAL;
	return apply ? sim_wall_add(&wall) : 0;
}

/* ---- Time, and a name ---- */

static int world_cmd_rate(char **words, int n, bool apply)
{
	bool blocks = n == 2 && !strcmp(words[1], "blocks");
	s64 rate;

	if (n != 1 + blocks ||
	    sim_decimal_parse(words[0], SIM_MAX_RATE, &rate) || rate < 0)
		return -EINVAL;
	if (apply)
		sim_clock_set_rate(rate, blocks);
	return 0;
}

static int world_cmd_wait(char **words, int n, bool apply)
{
	if (n)
		return -EINVAL;
	if (apply)
		sim_clock_wait();
	return 0;
}

static int world_cmd_scene(char **words, int n, bool apply)
{
	if (n != 1 || strlen(words[0]) >= sizeof(sim_scene_name))
		return -EINVAL;
	if (apply)
		strscpy(sim_scene_name, words[0], sizeof(sim_scene_name));
	return 0;
}

static const struct world_cmd {
	const char *name;
	int (*run)(char **words, int n, bool apply);
} world_cmds[] = {
	{ "radio", world_cmd_radio },
	{ "tag", world_cmd_tag },
	{ "heading", world_cmd_heading },
	{ "los", world_cmd_los },
	{ "remove", world_cmd_remove },
	{ "clear", world_cmd_clear },
	{ "seed", world_cmd_seed },
	{ "noise", world_cmd_noise },
	{ "range", world_cmd_range },
	{ "path", world_cmd_path },
	{ "point", world_cmd_point },
	{ "model", world_cmd_model },
	{ "wall", world_cmd_wall },
	{ "rate", world_cmd_rate },
	{ "wait", world_cmd_wait },
	{ "scene", world_cmd_scene },
};

static int world_run_words(char **words, int n, bool apply)
{
	const struct world_cmd *cmd = SIM_NAMED(world_cmds, words[0]);

	return cmd ? cmd->run(words + 1, n - 1, apply) : -EINVAL;
}

int sim_world_write(const char *text, size_t len)
{
	int err;

	lockdep_assert_held(&sim_lock);
	sim_clock_hold();
	err = sim_run_lines("world", text, len, world_run_words);
	sim_clock_release();
	return err;
}
