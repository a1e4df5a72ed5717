/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Walls from floor to ceiling, seen from above.
 */
#ifndef SIM_WALLS_H
#define SIM_WALLS_H

#include "world/world.h"

struct seq_file;

/* What is between two places, the worst of it. */
enum sim_obstacle {
	SIM_OBSTACLE_NONE,
	/* Out of sight, but heard. */
	SIM_OBSTACLE_BLOCKS,
	/* Not heard. */
	SIM_OBSTACLE_STOPS,
};

/* In micrometres; only x and y count. */
struct sim_wall {
	struct sim_vec from;
	struct sim_vec to;
	enum sim_obstacle obstacle;
};

/* -ENOSPC for too many. */
int sim_wall_add(const struct sim_wall *wall);
void sim_walls_clear(void);
/* To touch a wall's end, or to stand in it, is not to pass it. */
enum sim_obstacle sim_walls_between(const struct sim_vec *a,
				    const struct sim_vec *b);
void sim_walls_show(struct seq_file *file);

#endif /* SIM_WALLS_H */
