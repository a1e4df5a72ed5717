// SPDX-License-Identifier: GPL-2.0
#include <linux/math64.h>
#include <linux/seq_file.h>

#include "world/decimal.h"
#include "world/walls.h"

#define WALLS_MAX 64

static struct sim_wall walls[WALLS_MAX];
static unsigned int n_walls;

int sim_wall_add(const struct sim_wall *wall)
{
	if (n_walls == WALLS_MAX)
		return -ENOSPC;
	walls[n_walls++] = *wall;
	return 0;
}

void sim_walls_clear(void)
{
	n_walls = 0;
}

/*
 * On which side of the line from a to b is c? 1, -1, or 0 on it. Products of
 * micrometres do not fit; those of 1/16 mm do.
 */
static int wall_side(const struct sim_vec *a, const struct sim_vec *b,
		     const struct sim_vec *c)
{
	s64 left = div_s64((b->x - a->x) * 16, 1000) *
		   div_s64((c->y - a->y) * 16, 1000);
	s64 right = div_s64((b->y - a->y) * 16, 1000) *
		    div_s64((c->x - a->x) * 16, 1000);

	return (left > right) - (left < right);
}

static bool wall_passed(const struct sim_wall *wall, const struct sim_vec *a,
			const struct sim_vec *b)
{
	return wall_side(&wall->from, &wall->to, a) *
	       wall_side(&wall->from, &wall->to, b) < 0 &&
	       wall_side(a, b, &wall->from) * wall_side(a, b, &wall->to) < 0;
}

enum sim_obstacle sim_walls_between(const struct sim_vec *a,
				    const struct sim_vec *b)
{
	enum sim_obstacle worst = SIM_OBSTACLE_NONE;
	unsigned int i;

	for (i = 0; i < n_walls; i++) {
		if (walls[i].obstacle > worst && wall_passed(&walls[i], a, b))
			worst = walls[i].obstacle;
	}
	return worst;
}

void sim_walls_show(struct seq_file *file)
{
	const struct sim_wall *wall;

	for (wall = walls; wall < walls + n_walls; wall++) {
		seq_puts(file, "wall");
		sim_decimal_show(file, wall->from.x);
		sim_decimal_show(file, wall->from.y);
		sim_decimal_show(file, wall->to.x);
		sim_decimal_show(file, wall->to.y);
		seq_puts(file, wall->obstacle == SIM_OBSTACLE_STOPS ?
					" stops\n" : "\n");
	}
}
