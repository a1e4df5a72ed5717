// SPDX-License-Identifier: GPL-2.0
/*
 * The world: where radios and passive tags are, and what one sees of another.
 *
 * Lengths are micrometres inside, metres outside. Every radio looks along +y
 * with its azimuth pair along x and its elevation pair along z.
 */
#include <linux/ctype.h>
#include <linux/ktime.h>
#include <linux/math64.h>
#include <linux/seq_file.h>
#include <linux/slab.h>

#include "sim.h"
#include "world/trig.h"

#define WORLD_DEFAULT_SEED 1
#define WORLD_DEFAULT_NOISE_MM 30
#define WORLD_MAX_NOISE_MM 10000
/* Far enough for any test, near enough for 64-bit squares of 1/16 mm. */
#define WORLD_MAX_UM (50000LL * USEC_PER_SEC)
#define WORLD_MAX_SPEED_UM (1000LL * USEC_PER_SEC)
#define WORLD_MAX_TAGS 64
/* Default distance between radios. */
#define WORLD_RADIO_STEP_UM (2LL * USEC_PER_SEC)

/* One degree of angle noise for 30 mm of distance noise, capped at 20. */
#define WORLD_ANGLE_NOISE_URAD_PER_MM 582
#define WORLD_MAX_ANGLE_NOISE_URAD 349066

/* 2 pi d / lambda for antennas 20.8 mm apart and a wavelength of 46.108086 mm. */
#define WORLD_PDOA_MAX_URAD 2834434

struct world_tag {
	struct list_head node;
	u64 addr;
	struct sim_body body;
};

static LIST_HEAD(world_tags);
static unsigned int world_n_tags;
static u64 world_seed;
static u64 world_random_state;
static s32 world_noise_mm;

static void world_seed_set(u64 seed)
{
	u64 mixed = seed + 0x9e3779b97f4a7c15ULL;

	mixed = (mixed ^ (mixed >> 30)) * 0xbf58476d1ce4e5b9ULL;
	mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111ebULL;
	world_seed = seed;
	/* The generator stays at 0 for ever once it is there. */
	world_random_state = mixed ? mixed : 1;
}

static u64 world_random(void)
{
	u64 state = world_random_state;

	state ^= state >> 12;
	state ^= state << 25;
	state ^= state >> 27;
	world_random_state = state;
	return state * 0x2545f4914f6cdd1dULL;
}

/* Normal noise as the sum of 12 uniform values: within 6 sigma for certain. */
static s32 world_noise(s32 sigma)
{
	s64 sum = -6 * 0xffff;
	u64 bits;
	int i, j;

	for (i = 0; i < 3; i++) {
		bits = world_random();
		for (j = 0; j < 4; j++) {
			sum += bits & 0xffff;
			bits >>= 16;
		}
	}
	return div_s64(sum * sigma + (sum < 0 ? -0x8000 : 0x8000), 0x10000);
}

static s64 world_move(s64 pos, s64 vel, s64 dt_ns)
{
	s32 rem_ns;
	s64 whole = div_s64_rem(dt_ns, NSEC_PER_SEC, &rem_ns);
	s64 now = pos + vel * whole + div_s64(vel * rem_ns, NSEC_PER_SEC);

	return clamp_t(s64, now, -WORLD_MAX_UM, WORLD_MAX_UM);
}

static struct sim_vec world_position(const struct sim_body *body, u64 when_ns)
{
	s64 dt_ns = (s64)(when_ns - body->since_ns);

	return (struct sim_vec) {
		.x = world_move(body->pos.x, body->vel.x, dt_ns),
		.y = world_move(body->pos.y, body->vel.y, dt_ns),
		.z = world_move(body->pos.z, body->vel.z, dt_ns),
	};
}

/* Micrometres to 1/16 mm: the finest unit whose squares fit. */
static s64 world_sixteenths(s64 um)
{
	return div_s64(um * 16, 1000);
}

static s32 world_angle_noise(s32 urad)
{
	s32 sigma = min(world_noise_mm * WORLD_ANGLE_NOISE_URAD_PER_MM,
			WORLD_MAX_ANGLE_NOISE_URAD);

	return clamp_t(s32, urad + world_noise(sigma), -SIM_HALF_PI_URAD,
		       SIM_HALF_PI_URAD);
}

static s32 world_pdoa(s32 urad)
{
	return ((s64)sim_sin_q30(urad) * WORLD_PDOA_MAX_URAD) / SIM_Q30;
}

void sim_world_sight(const struct sim_body *from, const struct sim_body *to,
		     u64 when_ns, struct sim_sight *sight)
{
	struct sim_vec a = world_position(from, when_ns);
	struct sim_vec b = world_position(to, when_ns);
	s64 dx = world_sixteenths(b.x - a.x);
	s64 dy = world_sixteenths(b.y - a.y);
	s64 dz = world_sixteenths(b.z - a.z);
	u64 ground = dx * dx + dy * dy;

	lockdep_assert_held(&sim_lock);
	sight->los = to->los;
	sight->distance_mm = (int_sqrt64(ground + dz * dz) + 8) / 16;
	sight->distance_mm += world_noise(world_noise_mm);
	/* Two antennas in line cannot tell front from back: both look front. */
	sight->azimuth_urad = world_angle_noise(sim_atan2_urad(dx, abs(dy)));
	sight->elevation_urad =
		world_angle_noise(sim_atan2_urad(dz, int_sqrt64(ground)));
	sight->azimuth_pdoa_urad = world_pdoa(sight->azimuth_urad);
	sight->elevation_pdoa_urad = world_pdoa(sight->elevation_urad);
}

static struct world_tag *world_find_tag(u64 addr)
{
	struct world_tag *tag;

	list_for_each_entry(tag, &world_tags, node) {
		if (tag->addr == addr)
			return tag;
	}
	return NULL;
}

const struct sim_body *sim_world_tag(u64 addr)
{
	struct world_tag *tag = world_find_tag(addr);

	return tag ? &tag->body : NULL;
}

static void world_remove_tag(struct world_tag *tag)
{
	list_del(&tag->node);
	kfree(tag);
	world_n_tags--;
}

void sim_world_home(struct sim_radio *radio)
{
	radio->body = (struct sim_body) {
		.pos.y = radio->index * WORLD_RADIO_STEP_UM,
		.since_ns = ktime_get_ns(),
		.los = true,
	};
}

void sim_world_reset(void)
{
	struct world_tag *tag, *next;
	struct sim_radio *radio;

	list_for_each_entry_safe(tag, next, &world_tags, node)
		world_remove_tag(tag);
	sim_for_each_radio(radio)
		sim_world_home(radio);
	world_noise_mm = WORLD_DEFAULT_NOISE_MM;
	world_seed_set(WORLD_DEFAULT_SEED);
}

/* ---- Commands ---- */

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
	if (world_parse_vec(words, WORLD_MAX_UM, &pos))
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
	struct sim_radio *radio;
	struct sim_body body;
	unsigned int index;

	if (n < 1 || kstrtouint(words[0], 10, &index))
		return -EINVAL;
	radio = sim_radio_get(index);
	if (!radio)
		return -EINVAL;
	body = radio->body;
	if (world_parse_body(words + 1, n - 1, &body))
		return -EINVAL;
	if (apply)
		radio->body = body;
	return 0;
}

static int world_cmd_tag(char **words, int n, bool apply)
{
	struct sim_body body = { .los = true };
	struct world_tag *tag;
	u64 addr;

	if (n < 1 || kstrtou64(words[0], 0, &addr))
		return -EINVAL;
	tag = world_find_tag(addr);
	if (tag)
		body = tag->body;
	if (world_parse_body(words + 1, n - 1, &body))
		return -EINVAL;
	if (!apply)
		return 0;
	if (!tag) {
		if (world_n_tags == WORLD_MAX_TAGS)
			return -ENOSPC;
		tag = kzalloc(sizeof(*tag), GFP_KERNEL);
		if (!tag)
			return -ENOMEM;
		tag->addr = addr;
		list_add_tail(&tag->node, &world_tags);
		world_n_tags++;
	}
	tag->body = body;
	return 0;
}

/*
 * The tag may come into being earlier in the same write, so that only the run
 * that applies it can miss it.
 */
static int world_cmd_los(char **words, int n, bool apply)
{
	struct world_tag *tag;
	bool los;
	u64 addr;

	if (n != 2 || kstrtou64(words[0], 0, &addr) ||
	    kstrtobool(words[1], &los))
		return -EINVAL;
	if (!apply)
		return 0;
	tag = world_find_tag(addr);
	if (!tag)
		return -EINVAL;
	tag->body.los = los;
	return 0;
}

static int world_cmd_remove(char **words, int n, bool apply)
{
	struct world_tag *tag;
	u64 addr;

	if (n != 1 || kstrtou64(words[0], 0, &addr))
		return -EINVAL;
	if (!apply)
		return 0;
	tag = world_find_tag(addr);
	if (!tag)
		return -EINVAL;
	world_remove_tag(tag);
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
		world_seed_set(seed);
	return 0;
}

static int world_cmd_noise(char **words, int n, bool apply)
{
	u32 mm;

	if (n != 1 || kstrtou32(words[0], 10, &mm) || mm > WORLD_MAX_NOISE_MM)
		return -EINVAL;
	if (apply)
		world_noise_mm = mm;
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
};

static int world_run_words(char **words, int n, bool apply)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(world_cmds); i++) {
		if (!strcmp(words[0], world_cmds[i].name))
			return world_cmds[i].run(words + 1, n - 1, apply);
	}
	return -EINVAL;
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
	struct sim_vec pos = world_position(body, when_ns);

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
	struct sim_radio *radio;
	struct world_tag *tag;

	lockdep_assert_held(&sim_lock);
	seq_printf(file, "time_ns %llu seed %llu noise_mm %d\n", now_ns,
		   world_seed, world_noise_mm);
	sim_for_each_radio(radio) {
		seq_printf(file, "radio %u", radio->index);
		world_show_body(file, &radio->body, now_ns);
		seq_putc(file, '\n');
	}
	list_for_each_entry(tag, &world_tags, node) {
		seq_printf(file, "tag 0x%04llx", tag->addr);
		world_show_body(file, &tag->body, now_ns);
		seq_printf(file, " los %d\n", tag->body.los);
	}
}
