/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Error models: what goes wrong on the way between a radio and a peer.
 */
#ifndef SIM_MODEL_H
#define SIM_MODEL_H

#include "world/world.h"

struct seq_file;

enum sim_model_key {
	SIM_MODEL_BIAS,
	SIM_MODEL_BIAS_PER_M,
	SIM_MODEL_NOISE,
	SIM_MODEL_NOISE_PER_M,
	SIM_MODEL_NLOS_BIAS,
	SIM_MODEL_NLOS_NOISE,
	SIM_MODEL_OUTLIERS,
	SIM_MODEL_NLOS_OUTLIERS,
	SIM_MODEL_OUTLIER,
	SIM_MODEL_ANGLE_NOISE,
	SIM_MODEL_ANGLE_EDGE,
	SIM_MODEL_FOV,
	SIM_MODEL_LOSS,
	SIM_MODEL_LOSS_PER_M,
	SIM_MODEL_BURST,
	SIM_MODEL_BURST_LENGTH,
	SIM_MODEL_DRIFT,
	SIM_N_MODEL_KEYS,
};

/* Values in millionths of their units. */
struct sim_model {
	s64 value[SIM_N_MODEL_KEYS];
};

/* Without any error. */
extern const struct sim_model sim_model_ideal;

/* Sets one value; -EINVAL for an unknown key and a value beyond its limits. */
int sim_model_set(struct sim_model *model, const char *key, const char *value);
/* The command that makes it anew. */
void sim_model_show(struct seq_file *file, const struct sim_model *model,
		    const char *who);

/* Where a peer truly is, as a radio would see it. */
struct sim_geometry {
	u64 distance_um;
	/* Mirrored to the front, and all around. */
	s32 azimuth_urad;
	s32 turn_urad;
	s32 elevation_urad;
	bool los;
};

/*
 * Begins a link, whose generator has begun: it is in a burst of losses as often
 * as it will be on average.
 */
void sim_model_begin(const struct sim_model *model, struct sim_link *link);

/*
 * Measures a peer: of one link, one measurement after the other. False when it
 * fails. The angles' phases are not set.
 */
bool sim_model_measure(const struct sim_model *model, struct sim_link *link,
		       const struct sim_geometry *truth, u64 world_ns,
		       struct sim_sight *sight);

#endif /* SIM_MODEL_H */
