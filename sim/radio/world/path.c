// SPDX-License-Identifier: GPL-2.0
#include <linux/math64.h>
#include <linux/mm.h>
#include <linux/seq_file.h>
#include <linux/slab.h>
#include <linux/string.h>
#include <linux/time64.h>

#include "world/decimal.h"
#include "world/path.h"

/* Of all paths together; a point is 40 bytes. */
#define PATH_MAX_POINTS 262144
#define PATH_FIRST_ROOM 8

struct sim_path {
	bool loop;
	unsigned int n;
	unsigned int room;
	struct sim_point *points;
};

static unsigned int path_n_points;

struct sim_path *sim_path_new(bool loop)
{
	struct sim_path *path = kzalloc(sizeof(*path), GFP_KERNEL);

	if (path)
		path->loop = loop;
	return path;
}

void sim_path_free(struct sim_path *path)
{
	if (!path)
		return;
	path_n_points -= path->n;
	kvfree(path->points);
	kfree(path);
}

static int path_grow(struct sim_path *path)
{
	unsigned int room = path->room ? 2 * path->room : PATH_FIRST_ROOM;
	struct sim_point *points;

	/* Not kvrealloc(), which takes other arguments in newer kernels. */
	points = kvmalloc_array(room, sizeof(*points), GFP_KERNEL);
	if (!points)
		return -ENOMEM;
	if (path->n)
		memcpy(points, path->points, path->n * sizeof(*points));
	kvfree(path->points);
	path->points = points;
	path->room = room;
	return 0;
}

int sim_path_add(struct sim_path *path, const struct sim_point *point)
{
	int err;

	if (path->n && point->time_us <= path->points[path->n - 1].time_us)
		return -EINVAL;
	if (path_n_points == PATH_MAX_POINTS)
		return -ENOSPC;
	if (path->n == path->room) {
		err = path_grow(path);
		if (err)
			return err;
	}
	path->points[path->n++] = *point;
	path_n_points++;
	return 0;
}

/* A part of the way from one coordinate to another. */
static s64 path_between(s64 from, s64 to, u64 passed_us, u64 all_us)
{
	u64 way = mul_u64_u64_div_u64(abs(to - from), passed_us, all_us);

	return to < from ? from - (s64)way : from + (s64)way;
}

static s64 path_speed(s64 from, s64 to, s64 all_us)
{
	return div64_s64((to - from) * USEC_PER_SEC, all_us);
}

static void path_leg(const struct sim_point *a, const struct sim_point *b,
		     s64 time_us, struct sim_path_place *place)
{
	s64 passed = time_us - a->time_us;
	s64 all = b->time_us - a->time_us;

	place->pos = (struct sim_vec) {
		.x = path_between(a->at.x, b->at.x, passed, all),
		.y = path_between(a->at.y, b->at.y, passed, all),
		.z = path_between(a->at.z, b->at.z, passed, all),
	};
	place->vel = (struct sim_vec) {
		.x = path_speed(a->at.x, b->at.x, all),
		.y = path_speed(a->at.y, b->at.y, all),
		.z = path_speed(a->at.z, b->at.z, all),
	};
	place->sight = a->sight;
}

/* The last point that has been passed; there is one. */
static const struct sim_point *path_find(const struct sim_path *path,
					 s64 time_us)
{
	unsigned int low = 0;
	unsigned int high = path->n;
	unsigned int middle;

	while (high - low > 1) {
		middle = low + (high - low) / 2;
		if (path->points[middle].time_us <= time_us)
			low = middle;
		else
			high = middle;
	}
	return &path->points[low];
}

bool sim_path_at(const struct sim_path *path, s64 time_us,
		 struct sim_path_place *place)
{
	const struct sim_point *first, *last, *point;
	u64 around;

	if (!path || !path->n)
		return false;
	first = &path->points[0];
	last = &path->points[path->n - 1];
	if (path->loop && path->n > 1 && time_us >= last->time_us) {
		div64_u64_rem(time_us - first->time_us,
			      last->time_us - first->time_us, &around);
		time_us = first->time_us + around;
	}
	point = path_find(path, time_us);
	if (time_us < first->time_us || point == last)
		*place = (struct sim_path_place) {
			.pos = point->at,
			.sight = point->sight,
		};
	else
		path_leg(point, point + 1, time_us, place);
	return true;
}

void sim_path_show(struct seq_file *file, const struct sim_path *path,
		   const char *who)
{
	static const char *const sights[] = {
		[SIM_PATH_CLEAR] = "",
		[SIM_PATH_NLOS] = " nlos",
		[SIM_PATH_LOST] = " lost",
	};
	const struct sim_point *point;

	if (!path)
		return;
	seq_printf(file, "path %s %s\n", who, path->loop ? "loop" : "once");
	for (point = path->points; point < path->points + path->n; point++) {
		seq_printf(file, "point %s", who);
		sim_decimal_show_exact(file, point->time_us);
		sim_decimal_show_exact(file, point->at.x);
		sim_decimal_show_exact(file, point->at.y);
		sim_decimal_show_exact(file, point->at.z);
		seq_printf(file, "%s\n", sights[point->sight]);
	}
}
