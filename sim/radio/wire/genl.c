// SPDX-License-Identifier: GPL-2.0
/*
 * The mcps802154 generic netlink family.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/module.h>

#include "wire/wire.h"

/*
 * Everything strict but the nested flag, which the service leaves out where
 * older drivers did not look at it.
 */
#define GENL_NL_STRICT (NL_VALIDATE_TRAILING | NL_VALIDATE_MAXTYPE | \
			NL_VALIDATE_UNSPEC | NL_VALIDATE_STRICT_ATTRS)

/* Unlisted attributes are someone else's: let through, not looked at. */
#define GENL_NL_TOP (NL_VALIDATE_TRAILING | NL_VALIDATE_MAXTYPE | \
		     NL_VALIDATE_STRICT_ATTRS)

/* What the service sends is checked here, not by the core's stricter rules. */
#define GENL_OWN_VALIDATION (GENL_DONT_VALIDATE_STRICT | \
			     GENL_DONT_VALIDATE_DUMP | \
			     GENL_DONT_VALIDATE_DUMP_STRICT)

static struct genl_family sim_family;
static const struct sim_wire_ops *wire_ops;

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
			      GENL_NL_STRICT, extack);

	if (err)
		pr_info_ratelimited("refused (%d): malformed nest %d: %s\n",
				    err, nla_type(nest),
				    extack && extack->_msg ? extack->_msg : "");
	return err;
}

int sim_each_element(const struct nlattr *list, sim_element_fn run, void *data,
		     struct netlink_ext_ack *extack, const char *junk)
{
	const struct nlattr *element;
	int rem;
	int err;

	nla_for_each_nested(element, list, rem) {
		err = run(element, data, extack);
		if (err)
			return err;
	}
	return rem ? sim_refuse(extack, list, -EINVAL, junk) : 0;
}

/* ---- Messages ---- */

struct sk_buff *sim_message_new(u32 hw, u32 portid, u32 seq, int flags, u8 cmd,
				size_t size, void **hdr)
{
	struct sk_buff *skb = genlmsg_new(size, GFP_KERNEL);

	if (!skb)
		return NULL;
	*hdr = genlmsg_put(skb, portid, seq, &sim_family, flags, cmd);
	if (*hdr && !nla_put_u32(skb, MCPS802154_ATTR_HW, hw))
		return skb;
	nlmsg_free(skb);
	return NULL;
}

int sim_message_send(struct sk_buff *skb, u32 portid)
{
	return genlmsg_unicast(&init_net, skb, portid);
}

/* ---- Requests ---- */

static int genl_doit(struct sk_buff *skb, struct genl_info *info)
{
	int err = __nla_validate(genlmsg_data(info->genlhdr),
				 genlmsg_len(info->genlhdr),
				 MCPS802154_ATTR_MAX, sim_policy, GENL_NL_TOP,
				 info->extack);

	return err ? err : wire_ops->request(info);
}

static int genl_dump_start(struct netlink_callback *cb)
{
	return wire_ops->dump_start(cb);
}

static int genl_dump(struct sk_buff *skb, struct netlink_callback *cb)
{
	return wire_ops->dump(skb, cb);
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
		.start = genl_dump_start,
		.dumpit = genl_dump,
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

int __init sim_wire_register(const struct sim_wire_ops *ops)
{
	wire_ops = ops;
	return genl_register_family(&sim_family);
}

void sim_wire_unregister(void)
{
	genl_unregister_family(&sim_family);
}
