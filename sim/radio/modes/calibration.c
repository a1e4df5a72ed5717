// SPDX-License-Identifier: GPL-2.0
/*
 * Calibration requests: keys set and read.
 */
#include "modes/calibration.h"
#include "modes/modes.h"

#define CAL_MAX_NAME 63
#define CAL_MAX_VALUE 1024

static const struct nla_policy
cal_policy[MCPS802154_CALIBRATION_ATTR_MAX + 1] = {
	[MCPS802154_CALIBRATION_ATTR_KEY] = {
		.type = NLA_NUL_STRING, .len = CAL_MAX_NAME },
	[MCPS802154_CALIBRATION_ATTR_VALUE] = {
		.type = NLA_BINARY, .len = CAL_MAX_VALUE },
};

static int cal_parse(struct nlattr **tb, const struct nlattr *element,
		     struct netlink_ext_ack *extack)
{
	int err;

	if (nla_type(element) != MCPS802154_CALIBRATIONS_ELEMENT)
		return sim_refuse(extack, element, -EINVAL,
				  "not a calibration key");
	err = sim_parse_nested(tb, MCPS802154_CALIBRATION_ATTR_MAX, element,
			       cal_policy, extack);
	if (err)
		return err;
	if (!tb[MCPS802154_CALIBRATION_ATTR_KEY])
		return sim_refuse(extack, element, -EINVAL,
				  "calibration without key");
	return 0;
}

/* An element of a list that is only checked, and counted. */
static int cal_check(const struct nlattr *element, void *data,
		     struct netlink_ext_ack *extack)
{
	struct nlattr *tb[MCPS802154_CALIBRATION_ATTR_MAX + 1];
	unsigned int *n = data;

	(*n)++;
	return cal_parse(tb, element, extack);
}

/* An element of a reply; a name too long to be read back is left out. */
static int cal_put(struct sk_buff *skb, const char *name,
		   const struct sim_radio *radio,
		   const struct sim_cal_key *key, int status)
{
	struct nlattr *nest = nla_nest_start(skb,
					     MCPS802154_CALIBRATIONS_ELEMENT);

	if (!nest)
		return -EMSGSIZE;
	if (strlen(name) < SIM_CAL_NAME_SIZE &&
	    nla_put_string(skb, MCPS802154_CALIBRATION_ATTR_KEY, name))
		return -EMSGSIZE;
	if (key && sim_cal_put_value(skb, radio, key))
		return -EMSGSIZE;
	if (nla_put_s32(skb, MCPS802154_CALIBRATION_ATTR_STATUS, status))
		return -EMSGSIZE;
	nla_nest_end(skb, nest);
	return 0;
}

static size_t cal_reply_size(unsigned int n)
{
	return NLMSG_DEFAULT_SIZE +
	       n * (nla_total_size(0) + nla_total_size(SIM_CAL_NAME_SIZE) +
		    nla_total_size(SIM_CAL_MAX_BYTES) + nla_total_size(sizeof(s32)));
}

/* The answer to a checked list. */
struct cal_reply {
	struct sim_radio *radio;
	struct sk_buff *skb;
};

/*
 * Sets a key and puts its status if it was refused, or always. Who gets a name
 * back takes it for a failed key, and the last status for that of the whole
 * list: so, by default, accepted keys are not mentioned.
 */
static int cal_set_element(const struct nlattr *element, void *data,
			   struct netlink_ext_ack *extack)
{
	struct nlattr *tb[MCPS802154_CALIBRATION_ATTR_MAX + 1];
	struct cal_reply *reply = data;
	const char *name;
	int status;

	cal_parse(tb, element, NULL);
	name = nla_data(tb[MCPS802154_CALIBRATION_ATTR_KEY]);
	status = sim_cal_set(reply->radio, sim_cal_find(reply->radio, name),
			 tb[MCPS802154_CALIBRATION_ATTR_VALUE]);
	if (!status && !sim_cal_of(reply->radio)->report_all)
		return 0;
	return cal_put(reply->skb, name, reply->radio, NULL, status);
}

static int cal_get_element(const struct nlattr *element, void *data,
			   struct netlink_ext_ack *extack)
{
	struct nlattr *tb[MCPS802154_CALIBRATION_ATTR_MAX + 1];
	struct cal_reply *reply = data;
	const struct sim_cal_key *key;
	const char *name;

	cal_parse(tb, element, NULL);
	name = nla_data(tb[MCPS802154_CALIBRATION_ATTR_KEY]);
	key = sim_cal_find(reply->radio, name);
	return cal_put(reply->skb, name, reply->radio, key,
		       key ? 0 : -ENOENT);
}

static int cal_get_all(struct sim_radio *radio, struct sk_buff *skb)
{
	const struct sim_cal *cal = sim_cal_of(radio);
	unsigned int i;

	for (i = 0; i < cal->n; i++) {
		if (cal_put(skb, cal->keys[i].name, radio, &cal->keys[i], 0))
			return -EMSGSIZE;
	}
	return 0;
}

/* Runs a checked list and answers. */
static int cal_answer(struct sim_radio *radio, struct genl_info *info,
		      const struct nlattr *list, unsigned int n)
{
	struct cal_reply reply = { .radio = radio };
	u8 cmd = info->genlhdr->cmd;
	struct nlattr *nest;
	struct sk_buff *skb;
	void *hdr;
	int err;

	skb = sim_reply_new(radio, info, cmd,
			    cal_reply_size(n ? n : sim_cal_of(radio)->n), &hdr);
	if (!skb)
		return -ENOMEM;
	reply.skb = skb;
	nest = nla_nest_start(skb, MCPS802154_ATTR_CALIBRATIONS);
	if (!nest)
		err = -EMSGSIZE;
	else if (cmd == MCPS802154_CMD_CALIBRATION_SET)
		err = sim_each_element(list, cal_set_element, &reply, NULL, "");
	else if (n)
		err = sim_each_element(list, cal_get_element, &reply, NULL, "");
	else
		err = cal_get_all(radio, skb);
	if (err) {
		nlmsg_free(skb);
		return err;
	}
	nla_nest_end(skb, nest);
	genlmsg_end(skb, hdr);
	return sim_reply_send(radio, info, skb);
}

static int cal_request(struct sim_radio *radio, struct genl_info *info)
{
	const struct nlattr *list = info->attrs[MCPS802154_ATTR_CALIBRATIONS];
	unsigned int n = 0;
	int err;

	if (list) {
		err = sim_each_element(list, cal_check, &n, info->extack,
				       "junk behind the calibration keys");
		if (err)
			return err;
	}
	if (!n && info->genlhdr->cmd == MCPS802154_CMD_CALIBRATION_SET)
		return sim_refuse(info->extack, list, -EINVAL,
				  "no calibration keys");
	return cal_answer(radio, info, list, n);
}

void sim_cal_report_all(struct sim_radio *radio, bool all)
{
	sim_cal_of(radio)->report_all = all;
}

static const struct sim_command cal_commands[] = {
	{ MCPS802154_CMD_CALIBRATION_SET, cal_request },
	{ MCPS802154_CMD_CALIBRATION_GET, cal_request },
};

const struct sim_part sim_calibration_part = {
	.slot = &sim_cal_slot,
	.init = sim_cal_init,
	.free = sim_cal_free,
	.n_commands = ARRAY_SIZE(cal_commands),
	.commands = cal_commands,
};
