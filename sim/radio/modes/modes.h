/* SPDX-License-Identifier: GPL-2.0 */
/*
 * What runs on a radio, as parts of it, and what may be done to them from
 * above.
 */
#ifndef SIM_MODES_H
#define SIM_MODES_H

#include "core/radio.h"

extern const struct sim_part sim_scheduler_part;
extern const struct sim_part sim_fira_part;
extern const struct sim_part sim_ccc_part;
extern const struct sim_part sim_simple_part;
extern const struct sim_part sim_calibration_part;

/* Stops one running session; -ENOENT when there is none of that number. */
int sim_fira_force_stop(struct sim_radio *radio, u32 id, u8 reason);
int sim_ccc_force_stop(struct sim_radio *radio, u8 stopped, u8 watchdog);

void sim_cal_show(struct seq_file *file, const struct sim_radio *radio);
/* Whether accepted keys are reported as well as refused ones. */
void sim_cal_report_all(struct sim_radio *radio, bool all);

#endif /* SIM_MODES_H */
