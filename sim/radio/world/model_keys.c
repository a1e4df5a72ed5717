// SPDX-License-Identifier: GPL-2.0
/*
 * Error models as text.
 */
#include <linux/seq_file.h>

#include "wire/text.h"
#include "world/decimal.h"
#include "world/model.h"

#define KEY_MAX_MM (100000 * SIM_DECIMAL_ONE)
#define KEY_MAX_MM_PER_M (1000 * SIM_DECIMAL_ONE)
#define KEY_ALL_PERCENT (100 * SIM_DECIMAL_ONE)

/* uwbctl/world/model.cpp has the same limits. */
static const struct model_key {
	const char *name;
	s64 min;
	s64 max;
} model_keys[SIM_N_MODEL_KEYS] = {
	[SIM_MODEL_BIAS] = { "bias", -KEY_MAX_MM, KEY_MAX_MM },
	[SIM_MODEL_BIAS_PER_M] = { "bias_per_m", -KEY_MAX_MM_PER_M,
				   KEY_MAX_MM_PER_M },
	[SIM_MODEL_NOISE] = { "noise", 0, 10000 * SIM_DECIMAL_ONE },
	[SIM_MODEL_NOISE_PER_M] = { "noise_per_m", 0, KEY_MAX_MM_PER_M },
	[SIM_MODEL_NLOS_BIAS] = { "nlos_bias", 0, KEY_MAX_MM },
	[SIM_MODEL_NLOS_NOISE] = { "nlos_noise", 0, KEY_MAX_MM },
	[SIM_MODEL_OUTLIERS] = { "outliers", 0, KEY_ALL_PERCENT },
	[SIM_MODEL_NLOS_OUTLIERS] = { "nlos_outliers", 0, KEY_ALL_PERCENT },
	[SIM_MODEL_OUTLIER] = { "outlier", 0, KEY_MAX_MM },
	[SIM_MODEL_ANGLE_NOISE] = { "angle_noise", 0, 45 * SIM_DECIMAL_ONE },
	[SIM_MODEL_ANGLE_EDGE] = { "angle_edge", SIM_DECIMAL_ONE,
				   100 * SIM_DECIMAL_ONE },
	[SIM_MODEL_FOV] = { "fov", SIM_DECIMAL_ONE, 180 * SIM_DECIMAL_ONE },
	[SIM_MODEL_LOSS] = { "loss", 0, KEY_ALL_PERCENT },
	[SIM_MODEL_LOSS_PER_M] = { "loss_per_m", 0, KEY_ALL_PERCENT },
	[SIM_MODEL_BURST] = { "burst", 0, KEY_ALL_PERCENT },
	[SIM_MODEL_BURST_LENGTH] = { "burst_length", SIM_DECIMAL_ONE,
				     10000 * SIM_DECIMAL_ONE },
	[SIM_MODEL_DRIFT] = { "drift", 0, 1000 * SIM_DECIMAL_ONE },
};

const struct sim_model sim_model_ideal = {
	.value = {
		[SIM_MODEL_ANGLE_EDGE] = SIM_DECIMAL_ONE,
		[SIM_MODEL_FOV] = 180 * SIM_DECIMAL_ONE,
		[SIM_MODEL_BURST_LENGTH] = SIM_DECIMAL_ONE,
	},
};

int sim_model_set(struct sim_model *model, const char *key, const char *value)
{
	const struct model_key *found = SIM_NAMED(model_keys, key);
	s64 number;

	if (!found || sim_decimal_parse(value, found->max, &number) ||
	    number < found->min)
		return -EINVAL;
	model->value[found - model_keys] = number;
	return 0;
}

void sim_model_show(struct seq_file *file, const struct sim_model *model,
		    const char *who)
{
	size_t i;

	seq_printf(file, "model %s", who);
	for (i = 0; i < SIM_N_MODEL_KEYS; i++) {
		seq_printf(file, " %s", model_keys[i].name);
		sim_decimal_show_exact(file, model->value[i]);
	}
	seq_putc(file, '\n');
}
