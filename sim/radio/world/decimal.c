// SPDX-License-Identifier: GPL-2.0
#include <linux/ctype.h>
#include <linux/math64.h>
#include <linux/seq_file.h>

#include "world/decimal.h"

int sim_decimal_parse(const char *word, s64 limit, s64 *out)
{
	bool negative = *word == '-';
	s64 scale = SIM_DECIMAL_ONE;
	s64 value = 0;

	if (*word == '-' || *word == '+')
		word++;
	if (!isdigit(*word))
		return -EINVAL;
	for (; isdigit(*word); word++) {
		value = value * 10 + (*word - '0') * SIM_DECIMAL_ONE;
		if (value > limit)
			return -EINVAL;
	}
	if (*word == '.') {
		for (word++; isdigit(*word); word++) {
			scale /= 10;
			value += (*word - '0') * scale;
		}
	}
	if (*word || value > limit)
		return -EINVAL;
	*out = negative ? -value : value;
	return 0;
}

void sim_decimal_show(struct seq_file *file, s64 value)
{
	u64 thousandths = div_u64(abs(value) + 500, 1000);
	u32 rest;
	u64 whole = div_u64_rem(thousandths, 1000, &rest);

	seq_printf(file, " %s%llu.%03u", value < 0 && thousandths ? "-" : "",
		   whole, rest);
}

void sim_decimal_show_exact(struct seq_file *file, s64 value)
{
	u32 rest;
	u64 whole = div_u64_rem(abs(value), SIM_DECIMAL_ONE, &rest);

	seq_printf(file, " %s%llu.%06u", value < 0 ? "-" : "", whole, rest);
}
