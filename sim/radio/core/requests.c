// SPDX-License-Identifier: GPL-2.0
/*
 * Requests: found the radio that they are for, and run; the hardware query.
 */
#include "core/core.h"

/* ---- Hardware query ---- */

static struct sk_buff *hw_message(const struct sim_radio *radio, u32 portid,
				  u32 seq, int flags)
{
	struct sk_buff *skb;
	void *hdr;

	skb = sim_message_new(radio->index, portid, seq, flags,
			      MCPS802154_CMD_HW_REPLY, NLMSG_DEFAULT_SIZE,
			      &hdr);
	if (!skb)
		return NULL;
	if (nla_put_string(skb, MCPS802154_ATTR_PHY_NAME,
			   wpan_phy_name(radio->hw->phy)) ||
	    nla_put_string(skb, MCPS802154_ATTR_SCHEDULER_NAME,
			   radio->scheduler->name)) {
		nlmsg_free(skb);
		return NULL;
	}
	genlmsg_end(skb, hdr);
	return skb;
}

static int hw_query(struct sim_radio *radio, struct genl_info *info)
{
	struct sk_buff *skb = hw_message(radio, info->snd_portid,
					 info->snd_seq, 0);

	return skb ? sim_reply_send(radio, info, skb) : -ENOMEM;
}

bool sim_hw_dump_radio(struct sk_buff *skb, struct sim_radio *radio, u32 portid,
		       u32 seq)
{
	struct sk_buff *one = hw_message(radio, portid, seq, NLM_F_MULTI);
	bool fits = true;

	if (one && sim_tap)
		one = sim_tap->dumped(radio, one);
	if (!one)
		return true;
	if (skb_tailroom(skb) < NLMSG_ALIGN(one->len)) {
		fits = false;
	} else {
		skb_put_data(skb, one->data, one->len);
		skb_put_zero(skb, NLMSG_ALIGN(one->len) - one->len);
	}
	nlmsg_free(one);
	return fits;
}

static int hw_dump(struct sk_buff *skb, struct netlink_callback *cb)
{
	struct sim_radio *radio;

	mutex_lock(&sim_lock);
	for (; cb->args[0] < SIM_MAX_RADIOS; cb->args[0]++) {
		radio = sim_radio_get(cb->args[0]);
		if (radio && !sim_hw_dump_radio(skb, radio,
						NETLINK_CB(cb->skb).portid,
						cb->nlh->nlmsg_seq))
			break;
	}
	mutex_unlock(&sim_lock);
	return skb->len;
}

static int hw_dump_start(struct netlink_callback *cb)
{
	int err = 0;

	mutex_lock(&sim_lock);
	if (sim_tap)
		err = sim_tap->dump(cb);
	mutex_unlock(&sim_lock);
	return err;
}

/* ---- Requests ---- */

/* The radio that a request is for. */
static int request_radio(struct genl_info *info, struct sim_radio **radio)
{
	const struct nlattr *attr = info->attrs[MCPS802154_ATTR_HW];

	if (!attr)
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "no hardware index");
	*radio = sim_radio_get(nla_get_u32(attr));
	if (!*radio)
		return sim_refuse(info->extack, attr, -ENODEV,
				  "unknown hardware index");
	return 0;
}

static int request_run(struct sim_radio *radio, struct genl_info *info)
{
	u8 cmd = info->genlhdr->cmd;
	sim_handler handler = cmd == MCPS802154_CMD_HW_QUERY ?
			      hw_query : sim_parts_handler(cmd);

	if (!handler)
		return -EOPNOTSUPP;
	if (sim_tap)
		return sim_tap->request(radio, info, handler);
	return handler(radio, info);
}

static int request(struct genl_info *info)
{
	struct sim_radio *radio;
	int err;

	mutex_lock(&sim_lock);
	err = request_radio(info, &radio);
	if (!err)
		err = request_run(radio, info);
	mutex_unlock(&sim_lock);
	return err;
}

const struct sim_wire_ops sim_requests = {
	.request = request,
	.dump_start = hw_dump_start,
	.dump = hw_dump,
};
