// SPDX-License-Identifier: GPL-2.0
/*
 * The FiRa region: sessions and the calls that drive them.
 */
#include <linux/ktime.h>
#include <linux/seq_file.h>
#include <linux/slab.h>

#include "sim.h"

/* One ranging slot time unit is 416 chips of 499.2 MHz: 5/6 of a microsecond. */
#define FIRA_RSTU_TO_NS(rstu) div_u64((u64)(rstu) * 2500, 3)

static const struct nla_policy fira_policy[FIRA_CALL_ATTR_MAX + 1] = {
	[FIRA_CALL_ATTR_SESSION_ID] = { .type = NLA_U32 },
	[FIRA_CALL_ATTR_SESSION_PARAMS] = { .type = NLA_NESTED },
	[FIRA_CALL_ATTR_CONTROLEES] = { .type = NLA_NESTED },
};

static const struct nla_policy
controlee_policy[FIRA_CONTROLEE_ATTR_MAX + 1] = {
	[FIRA_CONTROLEE_ATTR_SHORT_ADDR] = { .type = NLA_U16 },
	[FIRA_CONTROLEE_ATTR_SUB_SESSION_ID] = { .type = NLA_U32 },
};

static struct sim_fira_session *session_find(struct sim_radio *radio, u32 id)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, &radio->fira_sessions, node) {
		if (session->id == id)
			return session;
	}
	return NULL;
}

static void session_free(struct sim_fira_session *session)
{
	list_del(&session->node);
	kfree(session);
}

static void session_stop(struct sim_radio *radio,
			 struct sim_fira_session *session, u8 reason)
{
	sim_fira_send_stopped(radio, session, reason);
	session->state = SIM_SESSION_IDLE;
}

/* ---- Calls ---- */

static int call_init(struct sim_radio *radio, u32 id,
		     struct netlink_ext_ack *extack)
{
	struct sim_fira_session *session;
	unsigned int n = 0;

	list_for_each_entry(session, &radio->fira_sessions, node)
		n++;
	if (session_find(radio, id))
		return sim_refuse(extack, NULL, -EEXIST,
				  "the session exists already");
	if (n == SIM_MAX_FIRA_SESSIONS)
		return sim_refuse(extack, NULL, -ENOSPC, "too many sessions");
	session = kzalloc(sizeof(*session), GFP_KERNEL);
	if (!session)
		return -ENOMEM;
	session->id = id;
	list_add_tail(&session->node, &radio->fira_sessions);
	return 0;
}

static int call_deinit(struct sim_fira_session *session,
		       struct netlink_ext_ack *extack)
{
	if (session->state != SIM_SESSION_IDLE)
		return sim_refuse(extack, NULL, -EBUSY,
				  "the session is running");
	session_free(session);
	return 0;
}

static int check_controlees(const struct sim_fira_params *params,
			    unsigned int n, struct netlink_ext_ack *extack)
{
	if (!sim_fira_has(params, FIRA_SESSION_PARAM_DEVICE_TYPE))
		return 0;
	if (n && !sim_fira_get(params, FIRA_SESSION_PARAM_DEVICE_TYPE))
		return sim_refuse(extack, NULL, -EINVAL,
				  "a controlee session has no controlees");
	if (n > 1 && !sim_fira_get(params, FIRA_SESSION_PARAM_MULTI_NODE_MODE))
		return sim_refuse(extack, NULL, -EINVAL,
				  "a unicast session has one controlee");
	return 0;
}

/* Sets the time of the first report: a round is reported when it is over. */
static void session_schedule(struct sim_fira_session *session)
{
	const struct sim_fira_params *params = &session->params;
	u64 slot_ns = FIRA_RSTU_TO_NS(sim_fira_get(params,
						   FIRA_SESSION_PARAM_SLOT_DURATION_RSTU));
	u64 round_ns = slot_ns *
		sim_fira_get(params, FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS);
	u64 block_ns = (u64)NSEC_PER_MSEC *
		sim_fira_get(params, FIRA_SESSION_PARAM_BLOCK_DURATION_MS);
	u64 wait_ns = (u64)NSEC_PER_MSEC *
		sim_fira_get(params, FIRA_SESSION_PARAM_INITIATION_TIME_MS);

	wait_ns += min(round_ns, block_ns);
	session->due_ns = ktime_get_ns() + max(wait_ns, SIM_WAKE_NS);
	session->block = 0;
	session->failed_blocks = 0;
}

static int call_start(struct sim_radio *radio, struct sim_fira_session *session,
		      struct genl_info *info)
{
	const struct sim_fira_params *params = &session->params;
	int err;

	if (session->state != SIM_SESSION_IDLE)
		return sim_refuse(info->extack, NULL, -EBUSY,
				  "the session is running");
	if (!radio->up)
		return sim_refuse(info->extack, NULL, -ENETDOWN,
				  "the interface is down");
	err = sim_fira_params_complete(params, info->extack);
	if (!err)
		err = check_controlees(params, session->n_controlees,
				       info->extack);
	if (!err)
		err = sim_channel_check(radio,
					sim_fira_get(params,
						     FIRA_SESSION_PARAM_CHANNEL_NUMBER),
					info->extack);
	if (err)
		return err;
	if (sim_fira_get(params, FIRA_SESSION_PARAM_DEVICE_TYPE) &&
	    !session->n_controlees)
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "the controller session has no controlee");
	session_schedule(session);
	session->portid = info->snd_portid;
	session->state = SIM_SESSION_RUNNING;
	return 0;
}

static int call_stop(struct sim_fira_session *session,
		     struct netlink_ext_ack *extack)
{
	if (session->state != SIM_SESSION_RUNNING)
		return sim_refuse(extack, NULL, -EINVAL,
				  "the session is not running");
	session->state = SIM_SESSION_STOPPING;
	session->due_ns = ktime_get_ns() + SIM_STOP_NS;
	return 0;
}

/* A running session takes nothing but a new stride. */
static bool only_stride(const struct nlattr *nest)
{
	const struct nlattr *attr;
	int rem;

	nla_for_each_nested(attr, nest, rem) {
		if (nla_type(attr) != FIRA_SESSION_PARAM_BLOCK_STRIDE_LENGTH)
			return false;
	}
	return true;
}

static int call_set_params(struct sim_fira_session *session,
			   const struct nlattr *nest,
			   struct netlink_ext_ack *extack)
{
	struct sim_fira_params *params;
	int err;

	if (!nest)
		return sim_refuse(extack, NULL, -EINVAL,
				  "no session parameters");
	if (session->state != SIM_SESSION_IDLE && !only_stride(nest))
		return sim_refuse(extack, nest, -EBUSY,
				  "the session is running");
	params = kmemdup(&session->params, sizeof(*params), GFP_KERNEL);
	if (!params)
		return -ENOMEM;
	err = sim_fira_params_parse(params, nest, extack);
	if (!err)
		session->params = *params;
	kfree(params);
	return err;
}

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

/* Controlees as they would be after a call that may still fail. */
struct controlee_list {
	unsigned int n;
	struct sim_fira_controlee items[SIM_MAX_CONTROLEES];
};

static unsigned int list_find(const struct controlee_list *list, u16 addr)
{
	unsigned int i;

	for (i = 0; i < list->n; i++) {
		if (list->items[i].addr == addr)
			break;
	}
	return i;
}

static int list_add_controlee(struct controlee_list *list,
			      const struct sim_fira_controlee *controlee,
			      struct netlink_ext_ack *extack)
{
	if (list_find(list, controlee->addr) < list->n)
		return sim_refuse(extack, NULL, -EEXIST,
				  "the controlee is there already");
	if (list->n == SIM_MAX_CONTROLEES)
		return sim_refuse(extack, NULL, -ENOSPC, "too many controlees");
	list->items[list->n++] = *controlee;
	return 0;
}

static int list_del_controlee(struct controlee_list *list,
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

typedef int (*controlee_fn)(struct controlee_list *list,
			    const struct sim_fira_controlee *controlee,
			    struct netlink_ext_ack *extack);

static int controlees_apply(struct controlee_list *list,
			    const struct nlattr *nest, controlee_fn apply,
			    struct netlink_ext_ack *extack)
{
	struct sim_fira_controlee controlee;
	const struct nlattr *element;
	unsigned int n = 0;
	int rem;
	int err;

	nla_for_each_nested(element, nest, rem) {
		err = controlee_parse(element, &controlee, extack);
		if (!err)
			err = apply(list, &controlee, extack);
		if (err)
			return err;
		n++;
	}
	if (rem || !n)
		return sim_refuse(extack, nest, -EINVAL,
				  "no controlees, or junk behind them");
	return 0;
}

/* Adds or removes all controlees of the list, or none. */
static int call_controlees(struct sim_fira_session *session,
			   const struct nlattr *nest, controlee_fn apply,
			   struct netlink_ext_ack *extack)
{
	struct controlee_list list = { .n = session->n_controlees };
	int err;

	if (!nest)
		return sim_refuse(extack, NULL, -EINVAL, "no controlees");
	memcpy(list.items, session->controlees, sizeof(list.items));
	err = controlees_apply(&list, nest, apply, extack);
	if (!err && list.n > session->n_controlees)
		err = check_controlees(&session->params, list.n, extack);
	if (err)
		return err;
	session->n_controlees = list.n;
	memcpy(session->controlees, list.items, sizeof(list.items));
	return 0;
}

static int session_call(struct sim_radio *radio, u32 call,
			struct sim_fira_session *session, struct nlattr **tb,
			struct genl_info *info)
{
	switch (call) {
	case FIRA_CALL_SESSION_START:
		return call_start(radio, session, info);
	case FIRA_CALL_SESSION_STOP:
		return call_stop(session, info->extack);
	case FIRA_CALL_SESSION_DEINIT:
		return call_deinit(session, info->extack);
	case FIRA_CALL_SESSION_SET_PARAMS:
		return call_set_params(session,
				       tb[FIRA_CALL_ATTR_SESSION_PARAMS],
				       info->extack);
	case FIRA_CALL_NEW_CONTROLEE:
		return call_controlees(session, tb[FIRA_CALL_ATTR_CONTROLEES],
				       list_add_controlee, info->extack);
	default:
		return call_controlees(session, tb[FIRA_CALL_ATTR_CONTROLEES],
				       list_del_controlee, info->extack);
	}
}

static int fira_call(struct sim_radio *radio, u32 call,
		     const struct nlattr *params, struct genl_info *info)
{
	struct nlattr *tb[FIRA_CALL_ATTR_MAX + 1];
	struct sim_fira_session *session;
	u32 id;
	int err;

	if (call < FIRA_CALL_SESSION_INIT || call > FIRA_CALL_DEL_CONTROLEE)
		return -EOPNOTSUPP;
	if (!params)
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "no call parameters");
	err = sim_parse_nested(tb, FIRA_CALL_ATTR_MAX, params, fira_policy,
			       info->extack);
	if (err)
		return err;
	if (!tb[FIRA_CALL_ATTR_SESSION_ID])
		return sim_refuse(info->extack, params, -EINVAL,
				  "no session identifier");
	id = nla_get_u32(tb[FIRA_CALL_ATTR_SESSION_ID]);
	if (call == FIRA_CALL_SESSION_INIT)
		return call_init(radio, id, info->extack);
	session = session_find(radio, id);
	if (!session)
		return sim_refuse(info->extack, tb[FIRA_CALL_ATTR_SESSION_ID],
				  -ENOENT, "unknown session");
	return session_call(radio, call, session, tb, info);
}

/* ---- Time ---- */

static void session_range(struct sim_radio *radio,
			  struct sim_fira_session *session, u64 now_ns)
{
	const struct sim_fira_params *params = &session->params;
	u32 stride = 1 + sim_fira_get(params,
				      FIRA_SESSION_PARAM_BLOCK_STRIDE_LENGTH);
	u64 step_ns = sim_fira_get(params, FIRA_SESSION_PARAM_BLOCK_DURATION_MS) *
		      (u64)NSEC_PER_MSEC * stride;
	u32 retry = sim_fira_get(params, FIRA_SESSION_PARAM_MAX_RR_RETRY);
	u64 steps;

	if (sim_fira_send_report(radio, session))
		session->failed_blocks = 0;
	else if (session->n_controlees ||
		 !sim_fira_get(params, FIRA_SESSION_PARAM_DEVICE_TYPE))
		session->failed_blocks++;
	if (retry && session->failed_blocks >= retry) {
		session_stop(radio, session, SIM_FIRA_STOP_MAX_RR_RETRY);
		return;
	}
	/* From deadline to deadline, so that a late block moves no later one. */
	steps = 1;
	if (now_ns > session->due_ns + SIM_MAX_LATE_NS)
		steps += div64_u64(now_ns - session->due_ns, step_ns);
	session->due_ns += steps * step_ns;
	session->block += steps * stride;
}

void sim_fira_tick(struct sim_radio *radio, u64 now_ns)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, &radio->fira_sessions, node) {
		if (session->state == SIM_SESSION_IDLE || session->due_ns > now_ns)
			continue;
		if (session->state == SIM_SESSION_STOPPING)
			session_stop(radio, session, SIM_FIRA_STOP_ASKED);
		else
			session_range(radio, session, now_ns);
	}
}

u64 sim_fira_next(const struct sim_radio *radio)
{
	const struct sim_fira_session *session;
	u64 next_ns = SIM_NEVER;

	list_for_each_entry(session, &radio->fira_sessions, node) {
		if (session->state != SIM_SESSION_IDLE)
			next_ns = min(next_ns, session->due_ns);
	}
	return next_ns;
}

/* ---- Ends from outside ---- */

void sim_fira_stop_all(struct sim_radio *radio, u8 reason)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, &radio->fira_sessions, node) {
		if (session->state == SIM_SESSION_STOPPING)
			session_stop(radio, session, SIM_FIRA_STOP_ASKED);
		else if (session->state == SIM_SESSION_RUNNING)
			session_stop(radio, session, reason);
	}
}

int sim_fira_force_stop(struct sim_radio *radio, u32 id, u8 reason)
{
	struct sim_fira_session *session = session_find(radio, id);

	if (!session || session->state == SIM_SESSION_IDLE)
		return -ENOENT;
	session_stop(radio, session, reason);
	return 0;
}

/* Nobody is left to be told. */
void sim_fira_port_gone(struct sim_radio *radio, u32 portid)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, &radio->fira_sessions, node) {
		if (session->portid == portid)
			session->state = SIM_SESSION_IDLE;
	}
}

static void fira_close(struct sim_radio *radio)
{
	struct sim_fira_session *session, *next;

	sim_fira_stop_all(radio, SIM_FIRA_STOP_REGION_CLOSED);
	list_for_each_entry_safe(session, next, &radio->fira_sessions, node)
		session_free(session);
}

const struct sim_region_ops sim_region_fira = {
	.name = MCPS802154_REGION_FIRA,
	.call = fira_call,
	.close = fira_close,
};

/* ---- Text ---- */

void sim_fira_show(struct seq_file *file, const struct sim_radio *radio)
{
	const struct sim_fira_session *session;
	unsigned int i;

	list_for_each_entry(session, &radio->fira_sessions, node) {
		seq_printf(file, "fira_session %u state %s", session->id,
			   sim_session_state_name(session->state));
		if (session->state != SIM_SESSION_IDLE)
			seq_printf(file, " portid %u block %u", session->portid,
				   session->block);
		seq_putc(file, '\n');
		sim_fira_params_show(file, &session->params);
		for (i = 0; i < session->n_controlees; i++) {
			seq_printf(file, "  controlee 0x%04x",
				   session->controlees[i].addr);
			if (session->controlees[i].has_sub_session)
				seq_printf(file, " sub_session %u",
					   session->controlees[i].sub_session);
			seq_putc(file, '\n');
		}
	}
}
