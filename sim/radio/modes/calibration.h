/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The calibration key store of a radio, for the files that make it up.
 */
#ifndef SIM_CALIBRATION_H
#define SIM_CALIBRATION_H

#include "core/radio.h"

/* A longer key, with its NUL, would not fit where the service reads it back. */
#define SIM_CAL_NAME_SIZE 20
#define SIM_CAL_MAX_BYTES 128

struct sim_cal_spec;

struct sim_cal_key {
	char name[SIM_CAL_NAME_SIZE];
	const struct sim_cal_spec *spec;
	s32 value;
	unsigned int len;
	u8 bytes[SIM_CAL_MAX_BYTES];
	/* How often it was set. */
	unsigned int writes;
};

struct sim_cal {
	struct sim_cal_key *keys;
	unsigned int n;
	/* Accepted keys are reported as well as refused ones. */
	bool report_all;
};

extern struct sim_slot sim_cal_slot;

static inline struct sim_cal *sim_cal_of(const struct sim_radio *radio)
{
	return sim_slot_of(radio, &sim_cal_slot);
}

int sim_cal_init(struct sim_radio *radio);
void sim_cal_free(struct sim_radio *radio);

/* The key of a name, or NULL. */
struct sim_cal_key *sim_cal_find(const struct sim_radio *radio,
				 const char *name);
/* Sets a key; the result is the key's status. */
int sim_cal_set(struct sim_radio *radio, struct sim_cal_key *key,
		const struct nlattr *value);
/* Appends a key's value to a message. */
int sim_cal_put_value(struct sk_buff *skb, const struct sim_radio *radio,
		      const struct sim_cal_key *key);

#endif /* SIM_CALIBRATION_H */
