// SPDX-License-Identifier: GPL-2.0
/*
 * Where FiRa sessions are kept, and which two of them are ends of the same.
 */
#include <linux/kernel.h>

#include "modes/fira.h"

struct sim_slot sim_fira_slot = { .size = sizeof(struct list_head) };

struct sim_fira_session *sim_fira_find(const struct sim_radio *radio, u32 id)
{
	struct sim_fira_session *session;

	list_for_each_entry(session, sim_fira_sessions(radio), node) {
		if (session->id == id)
			return session;
	}
	return NULL;
}

/* ---- Peers ---- */

/* Parameters that both ends of a session have to have alike. */
static const u8 must_agree[] = {
	FIRA_SESSION_PARAM_RANGING_ROUND_USAGE,
	FIRA_SESSION_PARAM_SLOT_DURATION_RSTU,
	FIRA_SESSION_PARAM_BLOCK_DURATION_MS,
	FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS,
	FIRA_SESSION_PARAM_CHANNEL_NUMBER,
	FIRA_SESSION_PARAM_PREAMBLE_CODE_INDEX,
	FIRA_SESSION_PARAM_RFRAME_CONFIG,
	FIRA_SESSION_PARAM_SFD_ID,
	FIRA_SESSION_PARAM_STS_CONFIG,
};

/* Does the session range with a peer of this address? */
static bool session_names(const struct sim_fira_session *session, u16 addr)
{
	if (sim_fira_is_controller(session))
		return sim_fira_controlees_have(&session->controlees, addr);
	return sim_fira_get(&session->params,
			    FIRA_SESSION_PARAM_DEST_SHORT_ADDR) == addr;
}

static bool params_agree(const struct sim_fira_params *a,
			 const struct sim_fira_params *b)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(must_agree); i++) {
		if (sim_fira_get(a, must_agree[i]) !=
		    sim_fira_get(b, must_agree[i]))
			return false;
	}
	if (sim_fira_get(a, FIRA_SESSION_PARAM_DEVICE_TYPE) ==
	    sim_fira_get(b, FIRA_SESSION_PARAM_DEVICE_TYPE) ||
	    sim_fira_get(a, FIRA_SESSION_PARAM_DEVICE_ROLE) ==
	    sim_fira_get(b, FIRA_SESSION_PARAM_DEVICE_ROLE))
		return false;
	return !memcmp(a->sts_iv_vendor, b->sts_iv_vendor,
		       sizeof(a->sts_iv_vendor));
}

/* Is the other session the far end, at this address, of this one? */
static bool sessions_match(const struct sim_fira_session *session,
			   const struct sim_fira_session *other, u16 addr)
{
	u32 own = sim_fira_get(&session->params, FIRA_SESSION_PARAM_SHORT_ADDR);
	u32 far = sim_fira_get(&other->params, FIRA_SESSION_PARAM_SHORT_ADDR);

	return other->state == SIM_SESSION_RUNNING && other->id == session->id &&
	       far == addr && session_names(other, own) &&
	       params_agree(&session->params, &other->params);
}

struct sim_body *
sim_fira_find_peer(const struct sim_radio *radio,
		   const struct sim_fira_session *session, u16 addr)
{
	const struct sim_fira_session *other;
	struct sim_radio *peer;

	sim_for_each_radio(peer) {
		if (peer == radio)
			continue;
		list_for_each_entry(other, sim_fira_sessions(peer), node) {
			if (sessions_match(session, other, addr))
				return peer->body;
		}
	}
	return sim_world_tag(addr);
}
