/* SPDX-License-Identifier: GPL-2.0 */
/*
 * FiRa sessions, for the files that make them up.
 */
#ifndef SIM_FIRA_H
#define SIM_FIRA_H

#include "core/radio.h"

#define SIM_MAX_FIRA_SESSIONS 16
#define SIM_MAX_CONTROLEES 16

/*
 * Why a session stopped. The first two are FiRa's own numbers, the others lie
 * in its vendor range.
 */
enum sim_fira_stop_reason {
	SIM_FIRA_STOP_ASKED = 0x00,
	SIM_FIRA_STOP_MAX_RR_RETRY = 0x01,
	SIM_FIRA_STOP_INTERFACE_DOWN = 0x80,
	SIM_FIRA_STOP_REGION_CLOSED = 0x81,
};

#define SIM_FIRA_STS_IV_VENDOR_LEN 8

/* Parameters as they arrived, by attribute number. */
struct sim_fira_params {
	u64 present;
	u32 value[FIRA_SESSION_PARAM_MAX + 1];
	u8 sts_iv_vendor[SIM_FIRA_STS_IV_VENDOR_LEN];
};

struct sim_fira_controlee {
	u16 addr;
	bool has_sub_session;
	u32 sub_session;
};

struct sim_fira_controlees {
	unsigned int n;
	struct sim_fira_controlee items[SIM_MAX_CONTROLEES];
};

struct sim_fira_session {
	struct list_head node;
	u32 id;
	enum sim_session_state state;
	struct sim_fira_params params;
	struct sim_fira_controlees controlees;
	/* Running and stopping only: */
	u32 portid;
	u64 due_ns;
	u32 block;
	u32 failed_blocks;
};

static inline bool sim_fira_has(const struct sim_fira_params *params, int attr)
{
	return params->present & BIT_ULL(attr);
}

/* Value of a numeric parameter; 0, the driver's default, when it never came. */
static inline u32 sim_fira_get(const struct sim_fira_params *params, int attr)
{
	return sim_fira_has(params, attr) ? params->value[attr] : 0;
}

static inline bool sim_fira_is_controller(const struct sim_fira_session *session)
{
	return sim_fira_get(&session->params, FIRA_SESSION_PARAM_DEVICE_TYPE);
}

/* ---- Parameters (fira_params.c) ---- */

int sim_fira_params_parse(struct sim_fira_params *params,
			  const struct nlattr *nest,
			  struct netlink_ext_ack *extack);
int sim_fira_params_complete(const struct sim_fira_params *params,
			     struct netlink_ext_ack *extack);
/* How long a ranging round is, and its block; 0 while that is not known. */
u64 sim_fira_round_ns(const struct sim_fira_params *params);
u64 sim_fira_block_ns(const struct sim_fira_params *params);
void sim_fira_params_show(struct seq_file *file,
			  const struct sim_fira_params *params);

/* ---- Controlees (fira_controlees.c) ---- */

typedef int (*sim_fira_controlee_fn)(struct sim_fira_controlees *list,
				     const struct sim_fira_controlee *controlee,
				     struct netlink_ext_ack *extack);

bool sim_fira_controlees_have(const struct sim_fira_controlees *list, u16 addr);
int sim_fira_controlee_add(struct sim_fira_controlees *list,
			   const struct sim_fira_controlee *controlee,
			   struct netlink_ext_ack *extack);
int sim_fira_controlee_del(struct sim_fira_controlees *list,
			   const struct sim_fira_controlee *controlee,
			   struct netlink_ext_ack *extack);
/* Adds or removes all those of a nest; an error may leave some done. */
int sim_fira_controlees_apply(struct sim_fira_controlees *list,
			      const struct nlattr *nest,
			      sim_fira_controlee_fn apply,
			      struct netlink_ext_ack *extack);
void sim_fira_controlees_show(struct seq_file *file,
			      const struct sim_fira_controlees *list);

/* ---- Sessions (fira_session.c) ---- */

extern struct sim_slot sim_fira_slot;

/* What the slot holds: the list of sessions. */
static inline struct list_head *sim_fira_sessions(const struct sim_radio *radio)
{
	return sim_slot_of(radio, &sim_fira_slot);
}

struct sim_fira_session *sim_fira_find(const struct sim_radio *radio, u32 id);
/* Where the peer of this address is that answers the session, or NULL. */
struct sim_body *
sim_fira_find_peer(const struct sim_radio *radio,
		   const struct sim_fira_session *session, u16 addr);

/* ---- Notifications (fira_report.c) ---- */

/* Ranges one block and tells the starter; true when some peer answered. */
bool sim_fira_send_report(struct sim_radio *radio,
			  struct sim_fira_session *session);
void sim_fira_send_stopped(struct sim_radio *radio,
			   struct sim_fira_session *session, u8 reason);

#endif /* SIM_FIRA_H */
