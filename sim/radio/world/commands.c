// SPDX-License-Identifier: GPL-2.0
/*
 * The world as text: the commands that arrange it, and what it is like.
 *
 * Lengths are micrometres inside, metres outside.
 */
#include <linux/ctype.h>
#include <linux/ktime.h>
#include <linux/math64.h>
#include <linux/seq_file.h>

#include "wire/text.h"
#include "world/noise.h"
#include "world/places.h"

#define WORLD_MAX_NOISE_MM 10000
/* More than any two places are apart: no limit. */
#define WORLD_MAX_RANGE_UM (4 * SIM_WORLD_MAX_UM)
#define WORLD_MAX_SPEED_UM (1000LL * USEC_PER_SEC)

/* "-1.25" to millionths; at most six decimals count, further ones are cut. */
static int world_parse_decimal(const char *word, s64 limit, s64 *out)
{
	bool negative = *word == '-';
	s64 scale = USEC_PER_SEC;
	s64 value = 0;

	if (*word == '-' || *word == '+')
		word++;
	if (!isdigit(*word))
		return -EINVAL;
	for (; isdigit(*word); word++) {
		value = value * 10 + (*word - '0') * USEC_PER_SEC;
		if (value > limit)
			return -EINVAL;
	}
	if (*word == '.') {
		for (word++; isdigit(*word); word++) {
			scale /= 10;
			value += (*word - '0') * scale;
		}
	}
	if (*word || value > limit)
		return -EINVAL;
	*out = negative ? -value : value;
	return 0;
}

static int world_parse_vec(char **words, s64 limit, struct sim_vec *vec)
{
	if (world_parse_decimal(words[0], limit, &vec->x) ||
	    world_parse_decimal(words[1], limit, &vec->y) ||
	    world_parse_decimal(words[2], limit, &vec->z))
		return -EINVAL;
	return 0;
}

/* X Y Z [VX VY VZ], as of now. */
static int world_parse_body(char **words, int n, struct sim_body *body)
{
	struct sim_vec vel = {};
	struct sim_vec pos;

	if (n != 3 && n != 6)
		return -EINVAL;
	if (world_parse_vec(words, SIM_WORLD_MAX_UM, &pos))
		return -EINVAL;
	if (n == 6 && world_parse_vec(words + 3, WORLD_MAX_SPEED_UM, &vel))
		return -EINVAL;
	body->pos = pos;
	body->vel = vel;
	body->since_ns = ktime_get_ns();
	return 0;
}

static int world_cmd_radio(char **words, int n, bool apply)
{
	struct sim_body *place;
	struct sim_body body;
	unsigned int index;

	if (n < 1 || kstrtouint(words[0], 10, &index))
		return -EINVAL;
	place = sim_place_of_radio(index);
	if (!place)
		return -EINVAL;
	body = *place;
	if (world_parse_body(words + 1, n - 1, &body))
		return -EINVAL;
	if (apply)
		*place = body;
	return 0;
}

static int world_cmd_tag(char **words, int n, bool apply)
{
	struct sim_body body = { .los = true };
	struct sim_tag *tag;
	u64 addr;

	if (n < 1 || kstrtou64(words[0], 0, &addr))
		return -EINVAL;
	tag = sim_tag_find(addr);
	if (tag)
		body = tag->body;
	if (world_parse_body(words + 1, n - 1, &body))
		return -EINVAL;
	return apply ? sim_tag_put(addr, &body) : 0;
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

static int world_cmd_los(char **words, int n, bool apply)
{
	struct sim_tag *tag;
	bool los;

	if (n != 2 || kstrtobool(words[1], &los) ||
	    world_parse_tag(words[0], apply, &tag))
		return -EINVAL;
	if (apply)
		tag->body.los = los;
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

	if (n != 1 || world_parse_decimal(words[0], WORLD_MAX_RANGE_UM, &um) ||
	    um < 0)
		return -EINVAL;
	if (apply)
		sim_range_um = um;
	return 0;
}

static const struct world_cmd {
	const char *name;
	int (*run)(char **words, int n, bool apply);
} world_cmds[] = {
	{ "radio", world_cmd_radio },
	{ "tag", world_cmd_tag },
	{ "los", world_cmd_los },
	{ "remove", world_cmd_remove },
	{ "clear", world_cmd_clear },
	{ "seed", world_cmd_seed },
	{ "noise", world_cmd_noise },
	{ "range", world_cmd_range },
};

static int world_run_words(char **words, int n, bool apply)
{
	const struct world_cmd *cmd = SIM_NAMED(world_cmds, words[0]);

	return cmd ? cmd->run(words + 1, n - 1, apply) : -EINVAL;
}

int sim_world_write(const char *text, size_t len)
{
	lockdep_assert_held(&sim_lock);
	return sim_run_lines("world", text, len, world_run_words);
}

/* ---- Text ---- */

/* Micrometres as metres with three decimals. */
static void world_show_metres(struct seq_file *file, s64 um)
{
	u64 mm = div_u64(abs(um) + 500, 1000);
	u32 rest;
	u64 metres = div_u64_rem(mm, 1000, &rest);

	seq_printf(file, " %s%llu.%03u", um < 0 && mm ? "-" : "", metres, rest);
}

static void world_show_body(struct seq_file *file, const struct sim_body *body,
			    u64 when_ns)
{
	struct sim_vec pos = sim_position(body, when_ns);

	world_show_metres(file, pos.x);
	world_show_metres(file, pos.y);
	world_show_metres(file, pos.z);
	world_show_metres(file, body->vel.x);
	world_show_metres(file, body->vel.y);
	world_show_metres(file, body->vel.z);
}

void sim_world_show(struct seq_file *file)
{
	u64 now_ns = ktime_get_ns();
	const struct sim_body *place;
	const struct sim_tag *tag;
	unsigned int i;

	lockdep_assert_held(&sim_lock);
	seq_printf(file, "time_ns %llu seed %llu noise_mm %d range", now_ns,
		   sim_noise_seed(), sim_noise_mm);
	world_show_metres(file, sim_range_um);
	seq_putc(file, '\n');
	for (i = 0; i < SIM_MAX_RADIOS; i++) {
		place = sim_place_of_radio(i);
		if (!place)
			continue;
		seq_printf(file, "radio %u", i);
		world_show_body(file, place, now_ns);
		seq_putc(file, '\n');
	}
	list_for_each_entry(tag, &sim_tags, node) {
		seq_printf(file, "tag 0x%04llx", tag->addr);
		world_show_body(file, &tag->body, now_ns);
		seq_printf(file, " los %d\n", tag->body.los);
	}
}
