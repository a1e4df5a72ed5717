/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Decimals as text: millionths inside.
 */
#ifndef SIM_DECIMAL_H
#define SIM_DECIMAL_H

#include <linux/types.h>

struct seq_file;

/* 1.0. */
#define SIM_DECIMAL_ONE 1000000LL

/*
 * "-1.25" to millionths, -EINVAL for anything else and beyond the limit either
 * way; at most six decimals count, further ones are cut.
 */
int sim_decimal_parse(const char *word, s64 limit, s64 *out);

/* A blank, and the number with three decimals, rounded. */
void sim_decimal_show(struct seq_file *file, s64 value);
/* A blank, and the number with all six. */
void sim_decimal_show_exact(struct seq_file *file, s64 value);

#endif /* SIM_DECIMAL_H */
