// SPDX-License-Identifier: GPL-2.0
/*
 * The controlees of a FiRa session.
 */
#include <linux/seq_file.h>
#include <linux/string.h>

#include "modes/fira.h"

static const struct nla_policy
controlee_policy[FIRA_CONTROLEE_ATTR_MAX + 1] = {
	[FIRA_CONTROLEE_ATTR_SHORT_ADDR] = { .type = NLA_U16 },
	[FIRA_CONTROLEE_ATTR_SUB_SESSION_ID] = { .type = NLA_U32 },
};

static int controlee_parse(const struct nlattr *nest,
			   struct sim_fira_controlee *controlee,
			   struct netlink_ext_ack *extack)
{
	struct nlattr *tb[FIRA_CONTROLEE_ATTR_MAX + 1];
	const struct nlattr *attr;
	int err;

	err = sim_parse_nested(tb, FIRA_CONTROLEE_ATTR_MAX, nest,
			       controlee_policy, extack);
	if (err)
		return err;
	attr = tb[FIRA_CONTROLEE_ATTR_SHORT_ADDR];
	if (!attr)
		return sim_refuse(extack, nest, -EINVAL,
				  "controlee without address");
	controlee->addr = nla_get_u16(attr);
	attr = tb[FIRA_CONTROLEE_ATTR_SUB_SESSION_ID];
	controlee->has_sub_session = attr;
	controlee->sub_session = attr ? nla_get_u32(attr) : 0;
	return 0;
}

static unsigned int list_find(const struct sim_fira_controlees *list, u16 addr)
{
	unsigned int i;

	for (i = 0; i < list->n; i++) {
		if (list->items[i].addr == addr)
			break;
	}
	return i;
}

bool sim_fira_controlees_have(const struct sim_fira_controlees *list, u16 addr)
{
	return list_find(list, addr) < list->n;
}

int sim_fira_controlee_add(struct sim_fira_controlees *list,
			   const struct sim_fira_controlee *controlee,
			   struct netlink_ext_ack *extack)
{
	if (sim_fira_controlees_have(list, controlee->addr))
		return sim_refuse(extack, NULL, -EEXIST,
				  "the controlee is there already");
	if (list->n == SIM_MAX_CONTROLEES)
		return sim_refuse(extack, NULL, -ENOSPC, "too many controlees");
	list->items[list->n++] = *controlee;
	return 0;
}

int sim_fira_controlee_del(struct sim_fira_controlees *list,
			   const struct sim_fira_controlee *controlee,
			   struct netlink_ext_ack *extack)
{
	unsigned int i = list_find(list, controlee->addr);

	if (i == list->n)
		return sim_refuse(extack, NULL, -ENOENT, "unknown controlee");
	list->n--;
	memmove(&list->items[i], &list->items[i + 1],
		(list->n - i) * sizeof(list->items[0]));
	return 0;
}

/* What is done with each controlee of a nest. */
struct controlee_run {
	struct sim_fira_controlees *list;
	sim_fira_controlee_fn apply;
	unsigned int n;
};

static int controlee_run(const struct nlattr *element, void *data,
			 struct netlink_ext_ack *extack)
{
	struct sim_fira_controlee controlee;
	struct controlee_run *run = data;
	int err = controlee_parse(element, &controlee, extack);

	run->n++;
	return err ? err : run->apply(run->list, &controlee, extack);
}

int sim_fira_controlees_apply(struct sim_fira_controlees *list,
			      const struct nlattr *nest,
			      sim_fira_controlee_fn apply,
			      struct netlink_ext_ack *extack)
{
	static const char refusal[] = "no controlees, or junk behind them";
	struct controlee_run run = { .list = list, .apply = apply };
	int err = sim_each_element(nest, controlee_run, &run, extack, refusal);

	if (err || run.n)
		return err;
	return sim_refuse(extack, nest, -EINVAL, refusal);
}

void sim_fira_controlees_show(struct seq_file *file,
			      const struct sim_fira_controlees *list)
{
	const struct sim_fira_controlee *controlee;

	for (controlee = list->items; controlee < list->items + list->n;
	     controlee++) {
		seq_printf(file, "  controlee 0x%04x", controlee->addr);
		if (controlee->has_sub_session)
			seq_printf(file, " sub_session %u",
				   controlee->sub_session);
		seq_putc(file, '\n');
	}
}
