// SPDX-License-Identifier: GPL-2.0
/*
 * The region of CCC (digital key) sessions: one session a radio.
 *
 * The ranging itself happens between the radio and the secure element and is
 * nobody's business here; what counts is how a session starts and ends.
 */
#include <linux/seq_file.h>

#include "modes/modes.h"

struct ccc {
	enum sim_session_state state;
	u32 portid;
	u64 due_ns;
	/* Of the last start: */
	u64 time0_ns;
	u8 channel;
	unsigned int starts;
};

static struct sim_slot ccc_slot = { .size = sizeof(struct ccc) };

static struct ccc *ccc_of(const struct sim_radio *radio)
{
	return sim_slot_of(radio, &ccc_slot);
}

static const struct nla_policy
nfcc_coex_policy[NFCC_COEX_CALL_ATTR_MAX + 1] = {
	[NFCC_COEX_CALL_ATTR_CCC_SESSION_PARAMS] = { .type = NLA_NESTED },
};

static const struct nla_policy
ccc_param_policy[NFCC_COEX_CCC_PARAM_MAX + 1] = {
	[NFCC_COEX_CCC_PARAM_TIME0_NS] = { .type = NLA_U64 },
	[NFCC_COEX_CCC_PARAM_CHANNEL_NUMBER] = { .type = NLA_U8 },
};

static void ccc_end(struct sim_radio *radio, u8 stopped, u8 watchdog)
{
	struct ccc *ccc = ccc_of(radio);
	struct sim_region_ntf ntf;

	ccc->state = SIM_SESSION_IDLE;
	if (sim_region_ntf_begin(&ntf, radio, MCPS802154_REGION_NFCC_COEX,
				 NFCC_COEX_CALL_CCC_SESSION_NTF))
		return;
	if (nla_put_u8(ntf.skb, NFCC_COEX_CALL_ATTR_STOPPED, stopped) ||
	    nla_put_u8(ntf.skb, NFCC_COEX_CALL_ATTR_WATCHDOG, watchdog)) {
		sim_region_ntf_drop(&ntf);
		return;
	}
	sim_region_ntf_send(&ntf, radio, ccc->portid);
}

/* ---- Calls ---- */

static int ccc_params_parse(const struct nlattr *params, u64 *time0_ns,
			    u8 *channel, struct netlink_ext_ack *extack)
{
	struct nlattr *outer[NFCC_COEX_CALL_ATTR_MAX + 1];
	struct nlattr *tb[NFCC_COEX_CCC_PARAM_MAX + 1];
	const struct nlattr *nest;
	int err;

	if (!params)
		return sim_refuse(extack, NULL, -EINVAL, "no call parameters");
	err = sim_parse_nested(outer, NFCC_COEX_CALL_ATTR_MAX, params,
			       nfcc_coex_policy, extack);
	if (err)
		return err;
	nest = outer[NFCC_COEX_CALL_ATTR_CCC_SESSION_PARAMS];
	if (!nest)
		return sim_refuse(extack, params, -EINVAL,
				  "no CCC session parameters");
	err = sim_parse_nested(tb, NFCC_COEX_CCC_PARAM_MAX, nest,
			       ccc_param_policy, extack);
	if (err)
		return err;
	if (!tb[NFCC_COEX_CCC_PARAM_TIME0_NS] ||
	    !tb[NFCC_COEX_CCC_PARAM_CHANNEL_NUMBER])
		return sim_refuse(extack, nest, -EINVAL,
				  "CCC session without time 0 or channel");
	*time0_ns = nla_get_u64(tb[NFCC_COEX_CCC_PARAM_TIME0_NS]);
	*channel = nla_get_u8(tb[NFCC_COEX_CCC_PARAM_CHANNEL_NUMBER]);
	return 0;
}

static int ccc_start(struct sim_radio *radio, const struct nlattr *params,
		     struct genl_info *info)
{
	struct ccc *ccc = ccc_of(radio);
	u64 time0_ns;
	u8 channel;
	int err;

	err = ccc_params_parse(params, &time0_ns, &channel, info->extack);
	if (err)
		return err;
	if (ccc->state != SIM_SESSION_IDLE)
		return sim_refuse(info->extack, NULL, -EBUSY,
				  "the CCC session is running");
	if (!radio->up)
		return sim_refuse(info->extack, NULL, -ENETDOWN,
				  "the interface is down");
	err = sim_channel_check(radio, channel, info->extack);
	if (err)
		return err;
	ccc->state = SIM_SESSION_RUNNING;
	ccc->portid = info->snd_portid;
	ccc->time0_ns = time0_ns;
	ccc->channel = channel;
	ccc->starts++;
	return 0;
}

static int ccc_stop(struct sim_radio *radio, struct netlink_ext_ack *extack)
{
	struct ccc *ccc = ccc_of(radio);

	if (ccc->state != SIM_SESSION_RUNNING)
		return sim_refuse(extack, NULL, -EINVAL,
				  "the CCC session is not running");
	ccc->state = SIM_SESSION_STOPPING;
	ccc->due_ns = sim_time_now() + sim_time_in(SIM_STOP_NS);
	return 0;
}

static int nfcc_coex_call(struct sim_radio *radio, u32 call,
			  const struct nlattr *params, struct genl_info *info)
{
	switch (call) {
	case NFCC_COEX_CALL_CCC_SESSION_START:
		return ccc_start(radio, params, info);
	case NFCC_COEX_CALL_CCC_SESSION_STOP:
		return ccc_stop(radio, info->extack);
	default:
		return -EOPNOTSUPP;
	}
}

/* ---- Time and ends from outside ---- */

static u64 ccc_next(const struct sim_radio *radio)
{
	const struct ccc *ccc = ccc_of(radio);

	return ccc->state == SIM_SESSION_STOPPING ? ccc->due_ns : SIM_NEVER;
}

static void ccc_tick(struct sim_radio *radio, u64 now_ns)
{
	if (ccc_next(radio) <= now_ns)
		ccc_end(radio, 1, 0);
}

/* The radio gives up by itself, unless it was asked already. */
static void ccc_give_up(struct sim_radio *radio)
{
	enum sim_session_state state = ccc_of(radio)->state;

	if (state == SIM_SESSION_STOPPING)
		ccc_end(radio, 1, 0);
	else if (state == SIM_SESSION_RUNNING)
		ccc_end(radio, 0, 1);
}

int sim_ccc_force_stop(struct sim_radio *radio, u8 stopped, u8 watchdog)
{
	if (ccc_of(radio)->state == SIM_SESSION_IDLE)
		return -ENOENT;
	ccc_end(radio, stopped, watchdog);
	return 0;
}

static void ccc_port_gone(struct sim_radio *radio, u32 portid)
{
	struct ccc *ccc = ccc_of(radio);

	if (ccc->portid == portid)
		ccc->state = SIM_SESSION_IDLE;
}

/* What the last start brought stays to be read when the session is over. */
static void ccc_show(struct seq_file *file, const struct sim_radio *radio)
{
	const struct ccc *ccc = ccc_of(radio);

	seq_printf(file, "ccc state %s", sim_session_state_name(ccc->state));
	if (ccc->state != SIM_SESSION_IDLE)
		seq_printf(file, " portid %u", ccc->portid);
	seq_printf(file, " starts %u", ccc->starts);
	if (ccc->starts)
		seq_printf(file, " time0_ns %llu channel %u", ccc->time0_ns,
			   ccc->channel);
	seq_putc(file, '\n');
}

static const struct sim_region_ops region_nfcc_coex = {
	.name = MCPS802154_REGION_NFCC_COEX,
	.call = nfcc_coex_call,
	.close = ccc_give_up,
};

const struct sim_part sim_ccc_part = {
	.slot = &ccc_slot,
	.tick = ccc_tick,
	.next = ccc_next,
	.down = ccc_give_up,
	.port_gone = ccc_port_gone,
	.show = ccc_show,
	.region = &region_nfcc_coex,
};
