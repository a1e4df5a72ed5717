// SPDX-License-Identifier: GPL-2.0
/*
 * The mcps802154 generic netlink family.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/module.h>

#include "sim.h"

/* Unlisted attributes are someone else's: let through, not looked at. */
#define GENL_NL_TOP (NL_VALIDATE_TRAILING | NL_VALIDATE_MAXTYPE | \
		     NL_VALIDATE_STRICT_ATTRS)

/* What the service sends is checked here, not by the core's stricter rules. */
#define GENL_OWN_VALIDATION (GENL_DONT_VALIDATE_STRICT | \
			     GENL_DONT_VALIDATE_DUMP | \
			     GENL_DONT_VALIDATE_DUMP_STRICT)

static struct genl_family sim_family;

static const struct nla_policy sim_policy[MCPS802154_ATTR_MAX + 1] = {
	[MCPS802154_ATTR_HW] = { .type = NLA_U32 },
	[MCPS802154_ATTR_PHY_NAME] = {
		.type = NLA_NUL_STRING, .len = MCPS802154_NAME_MAX },
	[MCPS802154_ATTR_SCHEDULER_NAME] = {
		.type = NLA_NUL_STRING, .len = MCPS802154_NAME_MAX },
	[MCPS802154_ATTR_SCHEDULER_PARAMS] = { .type = NLA_NESTED },
	[MCPS802154_ATTR_SCHEDULER_REGIONS] = { .type = NLA_NESTED },
	[MCPS802154_ATTR_SCHEDULER_REGION_CALL] = { .type = NLA_NESTED },
	[MCPS802154_ATTR_CALIBRATIONS] = { .type = NLA_NESTED },
	[MCPS802154_ATTR_RANGING_REQUESTS] = { .type = NLA_NESTED },
	[MCPS802154_ATTR_RANGING_RESULT] = { .type = NLA_NESTED },
};

int sim_refuse(struct netlink_ext_ack *extack, const struct nlattr *attr,
	       int err, const char *why)
{
	pr_info_ratelimited("refused (%d): %s\n", err, why);
	if (extack) {
		extack->_msg = why;
		extack->bad_attr = attr;
	}
	return err;
}

int sim_parse_nested(struct nlattr **tb, int max, const struct nlattr *nest,
		     const struct nla_policy *policy,
		     struct netlink_ext_ack *extack)
{
	int err = __nla_parse(tb, max, nla_data(nest), nla_len(nest), policy,
			      SIM_NL_STRICT, extack);

	if (err)
		pr_info_ratelimited("refused (%d): malformed nest %d: %s\n",
				    err, nla_type(nest),
				    extack && extack->_msg ? extack->_msg : "");
	return err;
}

/* ---- Messages ---- */

/* A fault that holds back the answer of the request being handled. */
static const struct sim_fault *genl_request_fault;

static struct sk_buff *message_new(const struct sim_radio *radio, u32 portid,
				   u32 seq, int flags, u8 cmd, size_t size,
				   void **hdr)
{
	struct sk_buff *skb = genlmsg_new(size, GFP_KERNEL);

	if (!skb)
		return NULL;
	*hdr = genlmsg_put(skb, portid, seq, &sim_family, flags, cmd);
	if (*hdr && !nla_put_u32(skb, MCPS802154_ATTR_HW, radio->index))
		return skb;
	nlmsg_free(skb);
	return NULL;
}

struct sk_buff *sim_ntf_new(const struct sim_radio *radio, u8 cmd, void **hdr)
{
	return message_new(radio, 0, 0, 0, cmd, NLMSG_DEFAULT_SIZE, hdr);
}

struct sk_buff *sim_reply_new(const struct sim_radio *radio,
			      const struct genl_info *info, u8 cmd, size_t size,
			      void **hdr)
{
	return message_new(radio, info->snd_portid, info->snd_seq, 0, cmd, size,
			   hdr);
}

static int message_repeat(struct sk_buff *skb, u32 portid, u32 copies)
{
	struct sk_buff *copy;
	int err = 0;

	while (!err && copies--) {
		copy = skb_copy(skb, GFP_KERNEL);
		err = copy ? genlmsg_unicast(&init_net, copy, portid) : -ENOMEM;
	}
	nlmsg_free(skb);
	return err;
}

/* Sends a message the way a fault wants it. */
static int message_send_faulty(struct sim_radio *radio, struct sk_buff *skb,
			       u32 portid, const struct sim_fault *fault)
{
	struct sk_buff *faulty;

	switch (fault->action) {
	case SIM_FAULT_SILENCE:
		nlmsg_free(skb);
		return 0;
	case SIM_FAULT_LATE:
		return sim_late_add(radio, skb, portid, fault->arg);
	case SIM_FAULT_REPEAT:
		return message_repeat(skb, portid, fault->arg);
	default:
		faulty = sim_rewrite(skb, fault);
		nlmsg_free(skb);
		return faulty ? genlmsg_unicast(&init_net, faulty, portid) :
				-ENOMEM;
	}
}

/* Nobody waits for a notification: what became of it is not told. */
void sim_ntf_send(struct sim_radio *radio, enum sim_event event,
		  struct sk_buff *skb, u32 portid)
{
	struct sim_fault fault;

	if (sim_fault_take(radio, event, SIM_FAULTS_OF_NTF, &fault))
		message_send_faulty(radio, skb, portid, &fault);
	else
		genlmsg_unicast(&init_net, skb, portid);
}

/* ---- Hardware query ---- */

static struct sk_buff *hw_message(const struct sim_radio *radio, u32 portid,
				  u32 seq, int flags)
{
	struct sk_buff *skb;
	void *hdr;

	skb = message_new(radio, portid, seq, flags, MCPS802154_CMD_HW_REPLY,
			  NLMSG_DEFAULT_SIZE, &hdr);
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

/* Appends a radio's answer to a dump; false when it has no room. */
static bool hw_dump_radio(struct sk_buff *skb, const struct sim_radio *radio,
			  u32 portid, u32 seq)
{
	struct sk_buff *one = hw_message(radio, portid, seq, NLM_F_MULTI);
	struct sim_fault fault;
	struct sk_buff *faulty;
	bool fits = true;

	if (one && sim_fault_take(radio, SIM_EVENT_HW_DUMP,
				  SIM_FAULTS_OF_REPLY, &fault)) {
		faulty = sim_rewrite(one, &fault);
		nlmsg_free(one);
		one = faulty;
	}
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
		if (radio && !hw_dump_radio(skb, radio,
					    NETLINK_CB(cb->skb).portid,
					    cb->nlh->nlmsg_seq))
			break;
	}
	mutex_unlock(&sim_lock);
	return skb->len;
}

/* The whole dump as one message to be sent later by the first radio. */
static int hw_dump_late(struct sim_radio *first, u32 portid, u32 seq,
			u32 delay_ms)
{
	struct sk_buff *skb = nlmsg_new(NLMSG_GOODSIZE, GFP_KERNEL);
	struct nlmsghdr *done;
	struct sim_radio *radio;

	if (!skb)
		return -ENOMEM;
	sim_for_each_radio(radio)
		hw_dump_radio(skb, radio, portid, seq);
	done = nlmsg_put(skb, portid, seq, NLMSG_DONE, sizeof(int),
			 NLM_F_MULTI);
	if (!done) {
		nlmsg_free(skb);
		return -EMSGSIZE;
	}
	memset(nlmsg_data(done), 0, sizeof(int));
	return sim_late_add(first, skb, portid, delay_ms);
}

/* Faults of a dump as a whole hang on the first radio. */
static int hw_dump_start(struct netlink_callback *cb)
{
	struct sim_radio *radio;
	struct sim_fault fault;
	int err = 0;

	mutex_lock(&sim_lock);
	radio = sim_radio_get(0);
	if (radio && sim_fault_take(radio, SIM_EVENT_HW_DUMP,
				    SIM_FAULTS_OF_REQUEST, &fault)) {
		err = -EINTR;
		if (fault.action == SIM_FAULT_ERRNO)
			err = -(int)fault.arg;
		else if (fault.action == SIM_FAULT_LATE)
			hw_dump_late(radio, NETLINK_CB(cb->skb).portid,
				     cb->nlh->nlmsg_seq, fault.arg);
		sim_radio_kick(radio);
	}
	mutex_unlock(&sim_lock);
	return err;
}

/* ---- Requests ---- */

typedef int (*genl_handler)(struct sim_radio *radio, struct genl_info *info);

static const struct genl_command {
	genl_handler handler;
	enum sim_event event;
} genl_commands[] = {
	[MCPS802154_CMD_HW_QUERY] = { hw_query, SIM_EVENT_HW_QUERY },
	[MCPS802154_CMD_SCHEDULER_SET] = {
		sim_scheduler_set, SIM_EVENT_SCHEDULER_SET },
	[MCPS802154_CMD_SCHEDULER_PARAMS_SET] = {
		sim_scheduler_params_set, SIM_EVENT_SCHEDULER_PARAMS_SET },
	[MCPS802154_CMD_REGION_CALL] = {
		sim_region_call, SIM_EVENT_REGION_CALL },
	[MCPS802154_CMD_CALIBRATION_SET] = {
		sim_cal_request, SIM_EVENT_CALIBRATION_SET },
	[MCPS802154_CMD_CALIBRATION_GET] = {
		sim_cal_request, SIM_EVENT_CALIBRATION_GET },
	[MCPS802154_CMD_RANGING_REQUESTS_SET] = {
		sim_simple_requests_set, SIM_EVENT_RANGING_REQUESTS_SET },
};

int sim_reply_send(struct sim_radio *radio, struct genl_info *info,
		   struct sk_buff *skb)
{
	enum sim_event event = genl_commands[info->genlhdr->cmd].event;
	struct sim_fault fault;

	if (genl_request_fault) {
		if (genl_request_fault->action == SIM_FAULT_LATE)
			return sim_late_add(radio, skb, info->snd_portid,
					    genl_request_fault->arg);
		nlmsg_free(skb);
		return 0;
	}
	if (sim_fault_take(radio, event, SIM_FAULTS_OF_REPLY, &fault))
		return message_send_faulty(radio, skb, info->snd_portid,
					   &fault);
	return genlmsg_reply(skb, info);
}

/* The radio that a request is for. */
static int genl_find_radio(struct genl_info *info, struct sim_radio **radio)
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

/* What a request is to the faults: region calls by their names. */
static enum sim_event genl_event(const struct genl_info *info)
{
	const struct nlattr *nest =
		info->attrs[MCPS802154_ATTR_SCHEDULER_REGION_CALL];
	const struct nlattr *name, *call;
	u32 number;

	if (info->genlhdr->cmd != MCPS802154_CMD_REGION_CALL || !nest)
		return genl_commands[info->genlhdr->cmd].event;
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

/* EINTR is how a handler keeps the core from acknowledging its request. */
static int genl_run(struct sim_radio *radio, struct genl_info *info)
{
	genl_handler handler = genl_commands[info->genlhdr->cmd].handler;
	struct sim_fault fault;
	int err;

	if (!sim_fault_take(radio, genl_event(info), SIM_FAULTS_OF_REQUEST,
			    &fault))
		return handler(radio, info);
	if (fault.action == SIM_FAULT_ERRNO)
		return sim_refuse(info->extack, NULL, -(int)fault.arg, "fault");
	if (fault.action == SIM_FAULT_SILENCE)
		return -EINTR;
	genl_request_fault = &fault;
	err = handler(radio, info);
	genl_request_fault = NULL;
	if (fault.action == SIM_FAULT_LATE)
		sim_late_ack(radio, info, err, fault.arg);
	sim_radio_kick(radio);
	return -EINTR;
}

static int genl_dispatch(struct genl_info *info)
{
	struct sim_radio *radio;
	int err;

	err = __nla_validate(genlmsg_data(info->genlhdr),
			     genlmsg_len(info->genlhdr), MCPS802154_ATTR_MAX,
			     sim_policy, GENL_NL_TOP, info->extack);
	if (err)
		return err;
	err = genl_find_radio(info, &radio);
	return err ? err : genl_run(radio, info);
}

static int genl_doit(struct sk_buff *skb, struct genl_info *info)
{
	int err;

	mutex_lock(&sim_lock);
	err = genl_dispatch(info);
	mutex_unlock(&sim_lock);
	return err;
}

#define GENL_OP(_cmd) { \
	.cmd = (_cmd), \
	.flags = GENL_ADMIN_PERM, \
	.validate = GENL_OWN_VALIDATION, \
	.doit = genl_doit, \
}

static const struct genl_ops sim_query_op[] = {
	{
		.cmd = MCPS802154_CMD_HW_QUERY,
		.validate = GENL_OWN_VALIDATION,
		.doit = genl_doit,
		.start = hw_dump_start,
		.dumpit = hw_dump,
	},
};

/* Commands without an entry get EOPNOTSUPP from the core. */
static const struct genl_small_ops sim_ops[] = {
	GENL_OP(MCPS802154_CMD_SCHEDULER_SET),
	GENL_OP(MCPS802154_CMD_SCHEDULER_PARAMS_SET),
	GENL_OP(MCPS802154_CMD_REGION_CALL),
	GENL_OP(MCPS802154_CMD_CALIBRATION_SET),
	GENL_OP(MCPS802154_CMD_CALIBRATION_GET),
	GENL_OP(MCPS802154_CMD_RANGING_REQUESTS_SET),
};

static struct genl_family sim_family __ro_after_init = {
	.name = MCPS802154_GENL_NAME,
	.version = 0,
	.maxattr = MCPS802154_ATTR_MAX,
	.policy = sim_policy,
	.ops = sim_query_op,
	.n_ops = ARRAY_SIZE(sim_query_op),
	.small_ops = sim_ops,
	.n_small_ops = ARRAY_SIZE(sim_ops),
	/* Own validation is only for commands below this one. */
	.resv_start_op = MCPS802154_CMD_RANGING_REPORT + 1,
	.module = THIS_MODULE,
};

int __init sim_genl_register(void)
{
	return genl_register_family(&sim_family);
}

void sim_genl_unregister(void)
{
	genl_unregister_family(&sim_family);
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
			 enum sim_event event, u32 portid)
{
	nla_nest_end(ntf->skb, ntf->params);
	nla_nest_end(ntf->skb, ntf->call);
	genlmsg_end(ntf->skb, ntf->hdr);
	sim_ntf_send(radio, event, ntf->skb, portid);
}

void sim_region_ntf_drop(struct sim_region_ntf *ntf)
{
	nlmsg_free(ntf->skb);
}
