/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Ways through points, in straight lines.
 */
#ifndef SIM_PATH_H
#define SIM_PATH_H

#include "world/world.h"

struct seq_file;
struct sim_path;

/* How a peer is seen on a path. */
enum sim_path_sight {
	SIM_PATH_CLEAR,
	/* Something is between. */
	SIM_PATH_NLOS,
	/* It does not answer. */
	SIM_PATH_LOST,
};

/* What it says of the sight holds until the next one. */
struct sim_point {
	/* Since the path began, in microseconds. */
	s64 time_us;
	struct sim_vec at;
	enum sim_path_sight sight;
};

/* Where a path has led. */
struct sim_path_place {
	struct sim_vec pos;
	struct sim_vec vel;
	enum sim_path_sight sight;
};

/* A path without points, or NULL. */
struct sim_path *sim_path_new(bool loop);
void sim_path_free(struct sim_path *path);
/* -EINVAL unless it comes later than the last, -ENOSPC for too many in all. */
int sim_path_add(struct sim_path *path, const struct sim_point *point);
/* False when it leads nowhere. */
bool sim_path_at(const struct sim_path *path, s64 time_us,
		 struct sim_path_place *place);
/* The commands that make it anew. */
void sim_path_show(struct seq_file *file, const struct sim_path *path,
		   const char *who);

#endif /* SIM_PATH_H */
