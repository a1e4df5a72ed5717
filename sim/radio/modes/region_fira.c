// SPDX-License-Identifier: GPL-2.0
/*
 * The FiRa region: sessions and the calls that drive them.
 */
#include <linux/seq_file.h>
#include <linux/slab.h>

#include "modes/fira.h"
#include "modes/modes.h"

static const struct nla_policy fira_policy[FIRA_CALL_ATTR_MAX + 1] = {
	[FIRA_CALL_ATTR_SESSION_ID] = { .type = NLA_U32 },
	[FIRA_CALL_ATTR_SESSION_PARAMS] = { .type = NLA_NESTED },
	[FIRA_CALL_ATTR_CONTROLEES] = { .type = NLA_NESTED },
};

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

	list_for_each_entry(session, sim_fira_sessions(radio), node)
		n++;
	if (sim_fira_find(radio, id))
		return sim_refuse(extack, NULL, -EEXIST,
				  "the session exists already");
	if (n == SIM_MAX_FIRA_SESSIONS)
		return sim_refuse(extack, NULL, -ENOSPC, "too many sessions");
	session = kzalloc(sizeof(*session), GFP_KERNEL);
	if (!session)
		return -ENOMEM;
	session->id = id;
	list_add_tail(&session->node, sim_fira_sessions(radio));
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
	/* The first slot is the controller's, then each answers in its own. */
	if (sim_fira_has(params, FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS) &&
	    n && n >= sim_fira_get(params,
				   FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS))
		return sim_refuse(extack, NULL, -EINVAL,
				  "the ranging round has too few slots");
	return 0;
}

/* Sets the time of the first report: a round is reported when it is over. */
static void session_schedule(struct sim_fira_session *session)
{
	const struct sim_fira_params *params = &session->params;
	u64 wait_ns = (u64)NSEC_PER_MSEC *
		sim_fira_get(params, FIRA_SESSION_PARAM_INITIATION_TIME_MS);

	wait_ns += sim_fira_round_ns(params);
	session->due_ns = sim_time_now() +
			  max(wait_ns, sim_time_in(SIM_WAKE_NS));
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
		err = check_controlees(params, session->controlees.n,
				       info->extack);
	if (!err)
		err = sim_channel_check(radio,
					sim_fira_get(params,
						     FIRA_SESSION_PARAM_CHANNEL_NUMBER),
					info->extack);
	if (err)
		return err;
	if (sim_fira_is_controller(session) && !session->controlees.n)
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
	session->due_ns = sim_time_now() + sim_time_in(SIM_STOP_NS);
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

/* Adds or removes all controlees of the list, or none. */
static int call_controlees(struct sim_fira_session *session,
			   const struct nlattr *nest,
			   sim_fira_controlee_fn apply,
			   struct netlink_ext_ack *extack)
{
	struct sim_fira_controlees list = session->controlees;
	int err;

	if (!nest)
		return sim_refuse(extack, NULL, -EINVAL, "no controlees");
	err = sim_fira_controlees_apply(&list, nest, apply, extack);
	if (!err && list.n > session->controlees.n)
		err = check_controlees(&session->params, list.n, extack);
	if (err)
		return err;
	session->controlees = list;
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
				       sim_fira_controlee_add, info->extack);
	default:
		return call_controlees(session, tb[FIRA_CALL_ATTR_CONTROLEES],
				       sim_fira_controlee_del, info->extack);
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
	session = sim_fira_find(radio, id);
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
	u64 step_ns = sim_fira_block_ns(params) * stride;
	u32 retry = sim_fira_get(params, FIRA_SESSION_PARAM_MAX_RR_RETRY);
	u64 steps;

	if (sim_fira_send_report(radio, session))
		session->failed_blocks = 0;
	else if (session->controlees.n || !sim_fira_is_controller(session))
		session->failed_blocks++;
	if (retry && session->failed_blocks >= retry) {
		session_stop(radio, session, SIM_FIRA_STOP_MAX_RR_RETRY);
		return;
	}
	/* From deadline to deadline, so that a late block moves no later one. */
	steps = max(1, div64_u64(sim_time_least() + step_ns - 1, step_ns));
	if (now_ns > session->due_ns + sim_time_in(SIM_MAX_LATE_NS))
		steps += div64_u64(now_ns - session->due_ns, step_ns);
	session->due_ns += steps * step_ns;
	session->block += steps * stride;
}

static void fira_tick(struct sim_radio *radio, u64 now_ns)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, sim_fira_sessions(radio), node) {
		if (session->state == SIM_SESSION_IDLE || session->due_ns > now_ns)
			continue;
		if (session->state == SIM_SESSION_STOPPING)
			session_stop(radio, session, SIM_FIRA_STOP_ASKED);
		else
			session_range(radio, session, now_ns);
	}
}

static u64 fira_next(const struct sim_radio *radio)
{
	const struct sim_fira_session *session;
	u64 next_ns = SIM_NEVER;

	list_for_each_entry(session, sim_fira_sessions(radio), node) {
		if (session->state != SIM_SESSION_IDLE)
			next_ns = min(next_ns, session->due_ns);
	}
	return next_ns;
}

/* ---- Ends from outside ---- */

static void fira_stop_all(struct sim_radio *radio, u8 reason)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, sim_fira_sessions(radio), node) {
		if (session->state == SIM_SESSION_STOPPING)
			session_stop(radio, session, SIM_FIRA_STOP_ASKED);
		else if (session->state == SIM_SESSION_RUNNING)
			session_stop(radio, session, reason);
	}
}

int sim_fira_force_stop(struct sim_radio *radio, u32 id, u8 reason)
{
	struct sim_fira_session *session = sim_fira_find(radio, id);

	if (!session || session->state == SIM_SESSION_IDLE)
		return -ENOENT;
	session_stop(radio, session, reason);
	return 0;
}

/* Nobody is left to be told. */
static void fira_port_gone(struct sim_radio *radio, u32 portid)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, sim_fira_sessions(radio), node) {
		if (session->portid == portid)
			session->state = SIM_SESSION_IDLE;
	}
}

static void fira_down(struct sim_radio *radio)
{
	fira_stop_all(radio, SIM_FIRA_STOP_INTERFACE_DOWN);
}

static void fira_close(struct sim_radio *radio)
{
	struct sim_fira_session *session, *next;

	fira_stop_all(radio, SIM_FIRA_STOP_REGION_CLOSED);
	list_for_each_entry_safe(session, next, sim_fira_sessions(radio), node)
		session_free(session);
}

/* ---- Text ---- */

static void fira_show(struct seq_file *file, const struct sim_radio *radio)
{
	const struct sim_fira_session *session;

	list_for_each_entry(session, sim_fira_sessions(radio), node) {
		seq_printf(file, "fira_session %u state %s", session->id,
			   sim_session_state_name(session->state));
		if (session->state != SIM_SESSION_IDLE)
			seq_printf(file, " portid %u block %u", session->portid,
				   session->block);
		seq_putc(file, '\n');
		sim_fira_params_show(file, &session->params);
		sim_fira_controlees_show(file, &session->controlees);
	}
}

static const struct sim_region_ops region_fira = {
	.name = MCPS802154_REGION_FIRA,
	.call = fira_call,
	.close = fira_close,
};

static int fira_init(struct sim_radio *radio)
{
	INIT_LIST_HEAD(sim_fira_sessions(radio));
	return 0;
}

const struct sim_part sim_fira_part = {
	.slot = &sim_fira_slot,
	.init = fira_init,
	.tick = fira_tick,
	.next = fira_next,
	.down = fira_down,
	.port_gone = fira_port_gone,
	.show = fira_show,
	.region = &region_fira,
};
