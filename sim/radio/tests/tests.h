/* SPDX-License-Identifier: GPL-2.0 */
/*
 * What only tests use: it hooks into the radio from above.
 */
#ifndef SIM_TESTS_H
#define SIM_TESTS_H

#include "core/radio.h"

/* Messages held back by a fault. */
extern const struct sim_part sim_late_part;
/* Makes radios answer wrongly, late or not at all. */
extern const struct sim_tap sim_fault_tap;

void sim_faults_clear(void);

void sim_debugfs_init(void);
void sim_debugfs_exit(void);

/* A file more that tells a fuzzer which code has run (coverage.c). */
#ifdef SIM_FUZZ
void sim_coverage_init(struct dentry *dir);
#else
static inline void sim_coverage_init(struct dentry *dir)
{
}
#endif

#endif /* SIM_TESTS_H */
