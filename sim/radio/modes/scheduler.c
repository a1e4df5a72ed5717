// SPDX-License-Identifier: GPL-2.0
/*
 * Schedulers, their parameters and their regions.
 */
#include <linux/seq_file.h>
#include <linux/string.h>

#include "modes/modes.h"
#include "wire/text.h"

/* No more than the service's 8 bits of region identifiers. */
#define REGION_MAX_ID 255
#define NODE_TYPE_MAX 1

static const struct sim_scheduler schedulers[] = {
	{ .name = MCPS802154_SCHEDULER_DEFAULT },
	{ .name = MCPS802154_SCHEDULER_SIMPLE_RANGING },
	{ .name = MCPS802154_SCHEDULER_ENDLESS, .max_regions = 1 },
	{ .name = MCPS802154_SCHEDULER_ON_DEMAND,
	  .max_regions = SIM_MAX_REGIONS },
};

static const struct nla_policy
scheduler_param_policy[MCPS802154_SCHEDULER_PARAM_MAX + 1] = {
	[MCPS802154_SCHEDULER_PARAM_SLOT_DURATION] =
		NLA_POLICY_MIN(NLA_U32, 1),
	[MCPS802154_SCHEDULER_PARAM_NODE_TYPE] =
		NLA_POLICY_MAX(NLA_U32, NODE_TYPE_MAX),
};

static const struct nla_policy
region_policy[MCPS802154_REGION_ATTR_MAX + 1] = {
	[MCPS802154_REGION_ATTR_ID] = NLA_POLICY_MAX(NLA_U32, REGION_MAX_ID),
	[MCPS802154_REGION_ATTR_NAME] = {
		.type = NLA_NUL_STRING, .len = MCPS802154_NAME_MAX },
};

static const struct nla_policy
region_call_policy[MCPS802154_REGION_CALL_ATTR_MAX + 1] = {
	[MCPS802154_REGION_CALL_ATTR_ID] = { .type = NLA_U32 },
	[MCPS802154_REGION_CALL_ATTR_NAME] = {
		.type = NLA_NUL_STRING, .len = MCPS802154_NAME_MAX },
	[MCPS802154_REGION_CALL_ATTR_CALL] = { .type = NLA_U32 },
	[MCPS802154_REGION_CALL_ATTR_PARAMS] = { .type = NLA_NESTED },
};

static int scheduler_init(struct sim_radio *radio)
{
	radio->scheduler = &schedulers[0];
	return 0;
}

static void regions_close(struct sim_radio *radio)
{
	unsigned int i;

	for (i = 0; i < radio->n_regions; i++) {
		if (radio->regions[i].ops->close)
			radio->regions[i].ops->close(radio);
	}
	radio->n_regions = 0;
}

/* The scheduler that the request names. */
static int scheduler_parse(struct genl_info *info,
			   const struct sim_scheduler **scheduler)
{
	const struct nlattr *name =
		info->attrs[MCPS802154_ATTR_SCHEDULER_NAME];

	if (!name)
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "no scheduler name");
	*scheduler = SIM_NAMED(schedulers, nla_data(name));
	if (!*scheduler)
		return sim_refuse(info->extack, name, -ENOENT,
				  "unknown scheduler");
	return 0;
}

/* Refuses a request for another scheduler than the selected one. */
static int scheduler_check(const struct sim_radio *radio,
			   struct genl_info *info,
			   const struct sim_scheduler *scheduler)
{
	if (scheduler == radio->scheduler)
		return 0;
	return sim_refuse(info->extack,
			  info->attrs[MCPS802154_ATTR_SCHEDULER_NAME], -EINVAL,
			  "not the selected scheduler");
}

static int scheduler_params_parse(struct genl_info *info,
				  struct sim_scheduler_params *params)
{
	struct nlattr *tb[MCPS802154_SCHEDULER_PARAM_MAX + 1];
	const struct nlattr *attr;
	int err;

	err = sim_parse_nested(tb, MCPS802154_SCHEDULER_PARAM_MAX,
			       info->attrs[MCPS802154_ATTR_SCHEDULER_PARAMS],
			       scheduler_param_policy, info->extack);
	if (err)
		return err;
	attr = tb[MCPS802154_SCHEDULER_PARAM_SLOT_DURATION];
	if (attr) {
		params->has_slot_duration = true;
		params->slot_duration = nla_get_u32(attr);
	}
	attr = tb[MCPS802154_SCHEDULER_PARAM_NODE_TYPE];
	if (attr) {
		params->has_node_type = true;
		params->node_type = nla_get_u32(attr);
	}
	return 0;
}

static int region_parse(const struct nlattr *nest, struct sim_region *region,
			struct netlink_ext_ack *extack)
{
	struct nlattr *tb[MCPS802154_REGION_ATTR_MAX + 1];
	int err;

	err = sim_parse_nested(tb, MCPS802154_REGION_ATTR_MAX, nest,
			       region_policy, extack);
	if (err)
		return err;
	if (!tb[MCPS802154_REGION_ATTR_ID] || !tb[MCPS802154_REGION_ATTR_NAME])
		return sim_refuse(extack, nest, -EINVAL,
				  "region without identifier or name");
	region->id = nla_get_u32(tb[MCPS802154_REGION_ATTR_ID]);
	region->ops = sim_region_ops_find(nla_data(tb[MCPS802154_REGION_ATTR_NAME]));
	if (!region->ops)
		return sim_refuse(extack, tb[MCPS802154_REGION_ATTR_NAME],
				  -ENOENT, "unknown region");
	return 0;
}

/* A list of regions that is being read. */
struct region_list {
	unsigned int max;
	unsigned int n;
	struct sim_region items[SIM_MAX_REGIONS];
};

static int region_add(const struct nlattr *element, void *data,
		      struct netlink_ext_ack *extack)
{
	struct region_list *list = data;
	struct sim_region *region = &list->items[list->n];
	unsigned int i;
	int err;

	if (list->n == list->max)
		return sim_refuse(extack, element, -EINVAL,
				  "more regions than the scheduler takes");
	err = region_parse(element, region, extack);
	if (err)
		return err;
	for (i = 0; i < list->n; i++) {
		if (list->items[i].id == region->id ||
		    list->items[i].ops == region->ops)
			return sim_refuse(extack, element, -EINVAL,
					  "region or slot named twice");
	}
	list->n++;
	return 0;
}

static int scheduler_set(struct sim_radio *radio, struct genl_info *info)
{
	const struct nlattr *list =
		info->attrs[MCPS802154_ATTR_SCHEDULER_REGIONS];
	struct sim_scheduler_params params = {};
	const struct sim_scheduler *scheduler;
	struct region_list regions = {};
	int err;

	err = scheduler_parse(info, &scheduler);
	if (!err && info->attrs[MCPS802154_ATTR_SCHEDULER_PARAMS])
		err = scheduler_params_parse(info, &params);
	if (!err && list) {
		regions.max = scheduler->max_regions;
		err = sim_each_element(list, region_add, &regions, info->extack,
				       "junk behind the regions");
	}
	if (err)
		return err;
	if (radio->up)
		return sim_refuse(info->extack, NULL, -EBUSY,
				  "the scheduler changes only while the interface is down");

	regions_close(radio);
	radio->scheduler = scheduler;
	radio->scheduler_params = params;
	radio->n_regions = regions.n;
	memcpy(radio->regions, regions.items, sizeof(radio->regions));
	sim_radio_kick(radio);
	return 0;
}

static int scheduler_params_set(struct sim_radio *radio, struct genl_info *info)
{
	struct sim_scheduler_params params = radio->scheduler_params;
	const struct sim_scheduler *scheduler;
	int err;

	err = scheduler_parse(info, &scheduler);
	if (err)
		return err;
	if (!info->attrs[MCPS802154_ATTR_SCHEDULER_PARAMS])
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "no scheduler parameters");
	err = scheduler_params_parse(info, &params);
	if (!err)
		err = scheduler_check(radio, info, scheduler);
	if (err)
		return err;
	if (radio->up)
		return sim_refuse(info->extack, NULL, -EBUSY,
				  "scheduler parameters change only while the interface is down");
	radio->scheduler_params = params;
	return 0;
}

/*
 * The region is found by its name: callers always give 0 for its slot, wherever
 * it was put.
 */
static int region_call_parse(struct sim_radio *radio, struct genl_info *info,
			     struct nlattr **tb,
			     const struct sim_region **region)
{
	const struct nlattr *nest =
		info->attrs[MCPS802154_ATTR_SCHEDULER_REGION_CALL];
	int err;

	if (!nest)
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "no region call");
	err = sim_parse_nested(tb, MCPS802154_REGION_CALL_ATTR_MAX, nest,
			       region_call_policy, info->extack);
	if (err)
		return err;
	if (!tb[MCPS802154_REGION_CALL_ATTR_NAME] ||
	    !tb[MCPS802154_REGION_CALL_ATTR_CALL])
		return sim_refuse(info->extack, nest, -EINVAL,
				  "region call without name or number");
	*region = sim_region_find(radio,
				  nla_data(tb[MCPS802154_REGION_CALL_ATTR_NAME]));
	if (!*region)
		return sim_refuse(info->extack,
				  tb[MCPS802154_REGION_CALL_ATTR_NAME],
				  -ENOENT, "the region is not selected");
	return 0;
}

static int region_call(struct sim_radio *radio, struct genl_info *info)
{
	struct nlattr *tb[MCPS802154_REGION_CALL_ATTR_MAX + 1];
	const struct sim_scheduler *scheduler;
	const struct sim_region *region;
	int err;

	err = scheduler_parse(info, &scheduler);
	if (!err)
		err = scheduler_check(radio, info, scheduler);
	if (!err)
		err = region_call_parse(radio, info, tb, &region);
	if (err)
		return err;
	if (!region->ops->call)
		return -EOPNOTSUPP;
	err = region->ops->call(radio,
				nla_get_u32(tb[MCPS802154_REGION_CALL_ATTR_CALL]),
				tb[MCPS802154_REGION_CALL_ATTR_PARAMS], info);
	sim_radio_kick(radio);
	return err;
}

/* ---- Text ---- */

static void scheduler_show(struct seq_file *file,
			   const struct sim_radio *radio)
{
	unsigned int i;

	seq_printf(file, "scheduler %s\n", radio->scheduler->name);
	if (radio->scheduler_params.has_slot_duration)
		seq_printf(file, "scheduler_param slot_duration %u\n",
			   radio->scheduler_params.slot_duration);
	if (radio->scheduler_params.has_node_type)
		seq_printf(file, "scheduler_param node_type %u\n",
			   radio->scheduler_params.node_type);
	for (i = 0; i < radio->n_regions; i++)
		seq_printf(file, "region %u %s\n", radio->regions[i].id,
			   radio->regions[i].ops->name);
}

static const struct sim_command scheduler_commands[] = {
	{ MCPS802154_CMD_SCHEDULER_SET, scheduler_set },
	{ MCPS802154_CMD_SCHEDULER_PARAMS_SET, scheduler_params_set },
	{ MCPS802154_CMD_REGION_CALL, region_call },
};

const struct sim_part sim_scheduler_part = {
	.init = scheduler_init,
	.free = regions_close,
	.show = scheduler_show,
	.n_commands = ARRAY_SIZE(scheduler_commands),
	.commands = scheduler_commands,
};
