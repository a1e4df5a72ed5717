// SPDX-License-Identifier: GPL-2.0
/*
 * What a message is to the faults: told from what is in it.
 */
#include <linux/kernel.h>

#include "tests/faults.h"

static const enum sim_event command_events[] = {
	[MCPS802154_CMD_HW_QUERY] = SIM_EVENT_HW_QUERY,
	[MCPS802154_CMD_SCHEDULER_SET] = SIM_EVENT_SCHEDULER_SET,
	[MCPS802154_CMD_SCHEDULER_PARAMS_SET] = SIM_EVENT_SCHEDULER_PARAMS_SET,
	[MCPS802154_CMD_REGION_CALL] = SIM_EVENT_REGION_CALL,
	[MCPS802154_CMD_CALIBRATION_SET] = SIM_EVENT_CALIBRATION_SET,
	[MCPS802154_CMD_CALIBRATION_GET] = SIM_EVENT_CALIBRATION_GET,
	[MCPS802154_CMD_RANGING_REQUESTS_SET] = SIM_EVENT_RANGING_REQUESTS_SET,
};

enum sim_event sim_event_of_reply(const struct genl_info *info)
{
	return command_events[info->genlhdr->cmd];
}

/* Region calls go by their names. */
enum sim_event sim_event_of_request(const struct genl_info *info)
{
	const struct nlattr *nest =
		info->attrs[MCPS802154_ATTR_SCHEDULER_REGION_CALL];
	const struct nlattr *name, *call;
	u32 number;

	if (info->genlhdr->cmd != MCPS802154_CMD_REGION_CALL || !nest)
		return sim_event_of_reply(info);
	name = nla_find_nested(nest, MCPS802154_REGION_CALL_ATTR_NAME);
	call = nla_find_nested(nest, MCPS802154_REGION_CALL_ATTR_CALL);
	if (!name || !call || nla_len(call) != sizeof(number))
		return SIM_EVENT_REGION_CALL;
	number = nla_get_u32(call);
	if (!nla_strcmp(name, MCPS802154_REGION_FIRA) &&
	    number >= FIRA_CALL_SESSION_INIT &&
	    number <= FIRA_CALL_DEL_CONTROLEE)
		return SIM_EVENT_FIRA_INIT + number - FIRA_CALL_SESSION_INIT;
	if (!nla_strcmp(name, MCPS802154_REGION_NFCC_COEX) &&
	    number <= NFCC_COEX_CALL_CCC_SESSION_STOP)
		return SIM_EVENT_CCC_START + number;
	return SIM_EVENT_REGION_CALL;
}

enum sim_event sim_event_of_ntf(const struct sk_buff *skb)
{
	const struct genlmsghdr *hdr = nlmsg_data(nlmsg_hdr(skb));
	const struct nlattr *call, *name, *params, *data;

	if (hdr->cmd != MCPS802154_CMD_REGION_CALL)
		return SIM_EVENT_SIMPLE_REPORT;
	call = nla_find(genlmsg_data(hdr), genlmsg_len(hdr),
			MCPS802154_ATTR_SCHEDULER_REGION_CALL);
	name = nla_find_nested(call, MCPS802154_REGION_CALL_ATTR_NAME);
	if (nla_strcmp(name, MCPS802154_REGION_FIRA))
		return SIM_EVENT_CCC_STOPPED;
	params = nla_find_nested(call, MCPS802154_REGION_CALL_ATTR_PARAMS);
	data = nla_find_nested(params, FIRA_CALL_ATTR_RANGING_DATA);
	return nla_find_nested(data, FIRA_RANGING_DATA_ATTR_STOPPED) ?
	       SIM_EVENT_FIRA_STOPPED : SIM_EVENT_FIRA_REPORT;
}

bool sim_event_is_region_call(enum sim_event event)
{
	return event >= SIM_EVENT_REGION_CALL && event <= SIM_EVENT_CCC_STOP;
}
