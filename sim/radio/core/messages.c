// SPDX-License-Identifier: GPL-2.0
/*
 * What the radios send.
 */
#include "core/core.h"

const struct sim_tap *sim_tap;

void sim_tap_set(const struct sim_tap *tap)
{
	mutex_lock(&sim_lock);
	sim_tap = tap;
	mutex_unlock(&sim_lock);
}

struct sk_buff *sim_ntf_new(const struct sim_radio *radio, u8 cmd, void **hdr)
{
	return sim_message_new(radio->index, 0, 0, 0, cmd, NLMSG_DEFAULT_SIZE,
			       hdr);
}

struct sk_buff *sim_reply_new(const struct sim_radio *radio,
			      const struct genl_info *info, u8 cmd, size_t size,
			      void **hdr)
{
	return sim_message_new(radio->index, info->snd_portid, info->snd_seq, 0,
			       cmd, size, hdr);
}

/* Nobody waits for a notification: what became of it is not told. */
void sim_ntf_send(struct sim_radio *radio, struct sk_buff *skb, u32 portid)
{
	if (sim_tap)
		sim_tap->ntf(radio, skb, portid);
	else
		sim_message_send(skb, portid);
}

int sim_reply_send(struct sim_radio *radio, struct genl_info *info,
		   struct sk_buff *skb)
{
	if (sim_tap)
		return sim_tap->reply(radio, info, skb);
	return sim_message_send(skb, info->snd_portid);
}

/* ---- Region notifications ---- */

int sim_region_ntf_begin(struct sim_region_ntf *ntf,
			 const struct sim_radio *radio, const char *region,
			 u32 call)
{
	const struct sim_region *selected = sim_region_find(radio, region);
	struct sk_buff *skb;

	skb = sim_ntf_new(radio, MCPS802154_CMD_REGION_CALL, &ntf->hdr);
	ntf->skb = skb;
	if (!skb)
		return -ENOMEM;
	ntf->call = nla_nest_start(skb, MCPS802154_ATTR_SCHEDULER_REGION_CALL);
	if (!ntf->call ||
	    nla_put_u32(skb, MCPS802154_REGION_CALL_ATTR_ID,
			selected ? selected->id : 0) ||
	    nla_put_string(skb, MCPS802154_REGION_CALL_ATTR_NAME, region) ||
	    nla_put_u32(skb, MCPS802154_REGION_CALL_ATTR_CALL, call))
		goto drop;
	ntf->params = nla_nest_start(skb, MCPS802154_REGION_CALL_ATTR_PARAMS);
	if (!ntf->params)
		goto drop;
	return 0;

drop:
	sim_region_ntf_drop(ntf);
	return -EMSGSIZE;
}

void sim_region_ntf_send(struct sim_region_ntf *ntf, struct sim_radio *radio,
			 u32 portid)
{
	nla_nest_end(ntf->skb, ntf->params);
	nla_nest_end(ntf->skb, ntf->call);
	genlmsg_end(ntf->skb, ntf->hdr);
	sim_ntf_send(radio, ntf->skb, portid);
}

void sim_region_ntf_drop(struct sim_region_ntf *ntf)
{
	nlmsg_free(ntf->skb);
}
