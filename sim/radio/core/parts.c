// SPDX-License-Identifier: GPL-2.0
/*
 * The parts that run on every radio.
 */
#include <linux/kernel.h>
#include <linux/slab.h>

#include "core/core.h"

static const struct sim_part *parts[SIM_MAX_PARTS];
static unsigned int n_parts;

/* Those that have the operation, in order. */
#define for_each_part_with(part, i, op) \
	for ((i) = 0; (i) < n_parts && ((part) = parts[i]); (i)++) \
		if ((part)->op)

int sim_part_add(const struct sim_part *part)
{
	if (n_parts == SIM_MAX_PARTS)
		return -ENOSPC;
	if (part->slot)
		part->slot->index = n_parts;
	parts[n_parts++] = part;
	return 0;
}

const struct sim_region_ops *sim_region_ops_find(const char *name)
{
	const struct sim_part *part;
	unsigned int i;

	for_each_part_with(part, i, region) {
		if (!strcmp(part->region->name, name))
			return part->region;
	}
	return NULL;
}

void sim_parts_show(struct seq_file *file, const struct sim_radio *radio)
{
	const struct sim_part *part;
	unsigned int i;

	for_each_part_with(part, i, show)
		part->show(file, radio);
}

/* Frees the first n; one may still look into another's slot. */
static void parts_free(struct sim_radio *radio, unsigned int n)
{
	unsigned int i;

	while (n--) {
		if (parts[n]->free)
			parts[n]->free(radio);
	}
	for (i = 0; i < n_parts; i++)
		kfree(radio->slots[i]);
}

int sim_parts_init(struct sim_radio *radio)
{
	const struct sim_part *part;
	unsigned int i;
	int err;

	for_each_part_with(part, i, slot) {
		radio->slots[i] = kzalloc(part->slot->size, GFP_KERNEL);
		if (!radio->slots[i]) {
			parts_free(radio, 0);
			return -ENOMEM;
		}
	}
	for_each_part_with(part, i, init) {
		err = part->init(radio);
		if (err) {
			parts_free(radio, i);
			return err;
		}
	}
	return 0;
}

void sim_parts_free(struct sim_radio *radio)
{
	parts_free(radio, n_parts);
}

void sim_parts_tick(struct sim_radio *radio, u64 now_ns)
{
	const struct sim_part *part;
	unsigned int i;

	for_each_part_with(part, i, tick)
		part->tick(radio, now_ns);
}

u64 sim_parts_next(const struct sim_radio *radio)
{
	const struct sim_part *part;
	u64 next_ns = SIM_NEVER;
	unsigned int i;

	for_each_part_with(part, i, next)
		next_ns = min(next_ns, part->next(radio));
	return next_ns;
}

void sim_parts_down(struct sim_radio *radio)
{
	const struct sim_part *part;
	unsigned int i;

	for_each_part_with(part, i, down)
		part->down(radio);
}

void sim_parts_port_gone(struct sim_radio *radio, u32 portid)
{
	const struct sim_part *part;
	unsigned int i;

	for_each_part_with(part, i, port_gone)
		part->port_gone(radio, portid);
}

sim_handler sim_parts_handler(u8 cmd)
{
	const struct sim_part *part;
	unsigned int i, j;

	for_each_part_with(part, i, commands) {
		for (j = 0; j < part->n_commands; j++) {
			if (part->commands[j].cmd == cmd)
				return part->commands[j].handler;
		}
	}
	return NULL;
}
