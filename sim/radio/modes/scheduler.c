// SPDX-License-Identifier: GPL-2.0
/*
 * Schedulers, their parameters and their regions.
 */
#include <linux/string.h>

#include "sim.h"

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

/* Known, but without calls: simple ranging has commands of its own. */
static const struct sim_region_ops region_simple_ranging = {
	.name = MCPS802154_REGION_SIMPLE_RANGING,
};

static const struct sim_region_ops *const region_types[] = {
	&sim_region_fira,
	&sim_region_nfcc_coex,
	&region_simple_ranging,
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

static const struct sim_scheduler *scheduler_find(const char *name)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(schedulers); i++) {
		if (!strcmp(schedulers[i].name, name))
			return &schedulers[i];
	}
	return NULL;
}

static const struct sim_region_ops *region_type_find(const char *name)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(region_types); i++) {
		if (!strcmp(region_types[i]->name, name))
			return region_types[i];
	}
	return NULL;
}

const struct sim_region *sim_region_find(const struct sim_radio *radio,
					 const char *name)
{
	unsigned int i;

	for (i = 0; i < radio->n_regions; i++) {
		if (!strcmp(radio->regions[i].ops->name, name))
			return &radio->regions[i];
	}
	return NULL;
}

void sim_scheduler_reset(struct sim_radio *radio)
{
	radio->scheduler = &schedulers[0];
	radio->scheduler_params = (struct sim_scheduler_params) {};
	radio->n_regions = 0;
}

bool sim_scheduler_is(const struct sim_radio *radio, const char *name)
{
	return !strcmp(radio->scheduler->name, name);
}

void sim_regions_close(struct sim_radio *radio)
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
	*scheduler = scheduler_find(nla_data(name));
	if (!*scheduler)
		return sim_refuse(info->extack, name, -ENOENT,
				  "unknown scheduler");
	return 0;
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
	region->ops = region_type_find(nla_data(tb[MCPS802154_REGION_ATTR_NAME]));
	if (!region->ops)
		return sim_refuse(extack, tb[MCPS802154_REGION_ATTR_NAME],
				  -ENOENT, "unknown region");
	return 0;
}

/* Reads the region list; returns how many regions, or an error. */
static int regions_parse(const struct nlattr *nest,
			 const struct sim_scheduler *scheduler,
			 struct sim_region *regions,
			 struct netlink_ext_ack *extack)
{
	const struct nlattr *element;
	unsigned int n = 0;
	unsigned int i;
	int rem;
	int err;

	nla_for_each_nested(element, nest, rem) {
		if (n == scheduler->max_regions)
			return sim_refuse(extack, element, -EINVAL,
					  "more regions than the scheduler takes");
		err = region_parse(element, &regions[n], extack);
		if (err)
			return err;
		for (i = 0; i < n; i++) {
			if (regions[i].id == regions[n].id ||
			    regions[i].ops == regions[n].ops)
				return sim_refuse(extack, element, -EINVAL,
						  "region or slot named twice");
		}
		n++;
	}
	if (rem)
		return sim_refuse(extack, nest, -EINVAL,
				  "junk behind the regions");
	return n;
}

int sim_scheduler_set(struct sim_radio *radio, struct genl_info *info)
{
	const struct nlattr *list =
		info->attrs[MCPS802154_ATTR_SCHEDULER_REGIONS];
	struct sim_region regions[SIM_MAX_REGIONS];
	struct sim_scheduler_params params = {};
	const struct sim_scheduler *scheduler;
	int n_regions = 0;
	int err;

	err = scheduler_parse(info, &scheduler);
	if (!err && info->attrs[MCPS802154_ATTR_SCHEDULER_PARAMS])
		err = scheduler_params_parse(info, &params);
	if (err)
		return err;
	if (list)
		n_regions = regions_parse(list, scheduler, regions,
					  info->extack);
	if (n_regions < 0)
		return n_regions;
	if (radio->up)
		return sim_refuse(info->extack, NULL, -EBUSY,
				  "the scheduler changes only while the interface is down");

	sim_regions_close(radio);
	radio->scheduler = scheduler;
	radio->scheduler_params = params;
	radio->n_regions = n_regions;
	memcpy(radio->regions, regions, n_regions * sizeof(regions[0]));
	sim_radio_kick(radio);
	return 0;
}

int sim_scheduler_params_set(struct sim_radio *radio, struct genl_info *info)
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
	if (err)
		return err;
	if (scheduler != radio->scheduler)
		return sim_refuse(info->extack,
				  info->attrs[MCPS802154_ATTR_SCHEDULER_NAME],
				  -EINVAL, "not the selected scheduler");
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

int sim_region_call(struct sim_radio *radio, struct genl_info *info)
{
	struct nlattr *tb[MCPS802154_REGION_CALL_ATTR_MAX + 1];
	const struct sim_scheduler *scheduler;
	const struct sim_region *region;
	int err;

	err = scheduler_parse(info, &scheduler);
	if (err)
		return err;
	if (scheduler != radio->scheduler)
		return sim_refuse(info->extack,
				  info->attrs[MCPS802154_ATTR_SCHEDULER_NAME],
				  -EINVAL, "not the selected scheduler");
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
