/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Text commands: lines of words, and tables of what the words name.
 */
#ifndef SIM_TEXT_H
#define SIM_TEXT_H

#include <linux/kernel.h>
#include <linux/types.h>

/* Runs one line's words, or only checks them. */
typedef int (*sim_line_fn)(char **words, int n, bool apply);

/*
 * Runs a text line by line, after all of it was checked; blank lines and lines
 * that begin with # count for nothing. A bad line is named in the kernel log.
 */
int sim_run_lines(const char *what, const char *text, size_t len,
		  sim_line_fn run);

const void *sim_find_named(const void *table, size_t n, size_t size,
			   const char *name);

/* The entry of an array whose first member is this name, or NULL. */
#define SIM_NAMED(table, name) \
	((const typeof((table)[0]) *)sim_find_named(table, ARRAY_SIZE(table), \
						    sizeof((table)[0]), name))

#endif /* SIM_TEXT_H */
