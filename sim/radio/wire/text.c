// SPDX-License-Identifier: GPL-2.0
/*
 * Text commands of the debugfs files: lines of words.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/slab.h>
#include <linux/string.h>

#include "wire/text.h"

/* An error model with everything that it can say has as many. */
#define TEXT_MAX_WORDS 40
/* Of a refused line, for the kernel's log; a terminal may show it. */
#define TEXT_MAX_SHOWN 200

/*
 * Cuts a line into its words; returns how many, or -EINVAL for too many. A
 * comment has none, however long it is.
 */
static int text_split(char *line, char **words)
{
	char *word;
	int n = 0;

	while ((word = strsep(&line, " \t\r"))) {
		if (!*word)
			continue;
		if (!n && *word == '#')
			return 0;
		if (n == TEXT_MAX_WORDS)
			return -EINVAL;
		words[n++] = word;
	}
	return n;
}

static int text_run_line(char *line, sim_line_fn run, bool apply)
{
	char *words[TEXT_MAX_WORDS];
	int n = text_split(line, words);

	if (n <= 0)
		return n;
	return run(words, n, apply);
}

/* One pass over the text, on a copy, since words are cut in place. */
static int text_run_pass(const char *what, const char *text, size_t len,
			 sim_line_fn run, bool apply)
{
	char *copy = kmemdup_nul(text, len, GFP_KERNEL);
	char *rest = copy;
	char *line, *shown;
	int number = 0;
	int err = 0;

	if (!copy)
		return -ENOMEM;
	while (!err && (line = strsep(&rest, "\n"))) {
		number++;
		shown = kstrdup(line, GFP_KERNEL);
		err = text_run_line(line, run, apply);
		if (err)
			pr_warn("%s: line %d refused (%d): %*pE\n", what, number,
				err, shown ? (int)strnlen(shown, TEXT_MAX_SHOWN) : 0,
				shown);
		kfree(shown);
	}
	kfree(copy);
	return err;
}

int sim_run_lines(const char *what, const char *text, size_t len,
		  sim_line_fn run)
{
	int err = text_run_pass(what, text, len, run, false);

	return err ? err : text_run_pass(what, text, len, run, true);
}

const void *sim_find_named(const void *table, size_t n, size_t size,
			   const char *name)
{
	const char *const *entry = table;

	for (; n--; entry = (const void *)entry + size) {
		if (!strcmp(*entry, name))
			return entry;
	}
	return NULL;
}
