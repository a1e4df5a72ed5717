// SPDX-License-Identifier: GPL-2.0
/*
 * FiRa notifications: ranging reports and session stops.
 */
#include "modes/fira.h"
#include "world/trig.h"

/* FiRa's "receive timeout": nobody answered. */
#define STATUS_OK 0x00
#define STATUS_RX_TIMEOUT 0x21

/* 32768 is half a turn. */
static s16 angle_half_turn(s32 urad)
{
	s64 value = div_s64((s64)urad * 32768, SIM_PI_URAD);

	return clamp_t(s64, value, S16_MIN, S16_MAX);
}

/* 32768 is a quarter turn. */
static s16 angle_quarter_turn(s32 urad)
{
	s64 value = div_s64((s64)urad * 65536, SIM_PI_URAD);

	return clamp_t(s64, value, S16_MIN, S16_MAX);
}

/* One angle of a measurement: what differs between azimuth and elevation. */
struct angle {
	int pair_param;
	int report_param;
	int nest;
	int attr;
	int fom_attr;
	s32 urad;
	s32 pdoa_urad;
	u8 fom;
	s16 value;
};

static int put_antenna(struct sk_buff *skb, const struct angle *angle, u8 pair,
		       bool with_fom)
{
	struct nlattr *nest = nla_nest_start(skb, angle->nest);

	if (!nest || nla_put_u8(skb, FIRA_AOA_ATTR_RX_ANTENNA_PAIR, pair) ||
	    nla_put_s16(skb, FIRA_AOA_ATTR_AOA, angle_half_turn(angle->urad)) ||
	    (with_fom && nla_put_u8(skb, FIRA_AOA_ATTR_FOM, angle->fom)) ||
	    nla_put_s16(skb, FIRA_AOA_ATTR_PDOA,
			angle_half_turn(angle->pdoa_urad)))
		return -EMSGSIZE;
	nla_nest_end(skb, nest);
	return 0;
}

/* An angle is there when it was asked for and an antenna pair measures it. */
static int put_angle(struct sk_buff *skb, const struct sim_fira_params *params,
		     const struct angle *angle)
{
	bool with_fom = sim_fira_get(params, FIRA_SESSION_PARAM_REPORT_AOA_FOM);

	if (!sim_fira_get(params, FIRA_SESSION_PARAM_AOA_RESULT_REQ) ||
	    !sim_fira_has(params, angle->pair_param))
		return 0;
	if (put_antenna(skb, angle, sim_fira_get(params, angle->pair_param),
			with_fom))
		return -EMSGSIZE;
	if (!sim_fira_get(params, angle->report_param))
		return 0;
	if (nla_put_s16(skb, angle->attr, angle->value) ||
	    (with_fom && nla_put_u8(skb, angle->fom_attr, angle->fom)))
		return -EMSGSIZE;
	return 0;
}

static int put_sight(struct sk_buff *skb, const struct sim_fira_params *params,
		     const struct sim_sight *sight)
{
	struct angle azimuth = {
		.pair_param = FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_AZIMUTH,
		.report_param = FIRA_SESSION_PARAM_REPORT_AOA_AZIMUTH,
		.nest = FIRA_MEASUREMENT_ATTR_AOA_AZIMUTH,
		.attr = FIRA_MEASUREMENT_ATTR_AZIMUTH,
		.fom_attr = FIRA_MEASUREMENT_ATTR_AZIMUTH_FOM,
		.urad = sight->azimuth_urad,
		.pdoa_urad = sight->azimuth_pdoa_urad,
		.fom = sight->azimuth_merit,
		.value = angle_half_turn(sight->azimuth_urad),
	};
	struct angle elevation = {
		.pair_param = FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_ELEVATION,
		.report_param = FIRA_SESSION_PARAM_REPORT_AOA_ELEVATION,
		.nest = FIRA_MEASUREMENT_ATTR_AOA_ELEVATION,
		.attr = FIRA_MEASUREMENT_ATTR_ELEVATION,
		.fom_attr = FIRA_MEASUREMENT_ATTR_ELEVATION_FOM,
		.urad = sight->elevation_urad,
		.pdoa_urad = sight->elevation_pdoa_urad,
		.fom = sight->elevation_merit,
		.value = angle_quarter_turn(sight->elevation_urad),
	};

	if (nla_put_flag(skb, sight->los ? FIRA_MEASUREMENT_ATTR_LOS :
					   FIRA_MEASUREMENT_ATTR_NLOS) ||
	    nla_put_s32(skb, FIRA_MEASUREMENT_ATTR_DISTANCE_MM,
			sight->distance_mm) ||
	    put_angle(skb, params, &azimuth))
		return -EMSGSIZE;
	return put_angle(skb, params, &elevation);
}

/* One measurement of the peer that answers in the given slot. */
static int put_measurement(struct sk_buff *skb, const struct sim_radio *radio,
			   const struct sim_fira_session *session, u16 addr,
			   unsigned int slot, bool *heard)
{
	struct sim_body *peer = sim_fira_find_peer(radio, session, addr);
	struct nlattr *nest = nla_nest_start(skb, slot);
	struct sim_sight sight;
	bool answers;
	int err;

	answers = peer && sim_world_sight(radio->body, peer, session->due_ns,
					  &sight);
	if (!nest || nla_put_u16(skb, FIRA_MEASUREMENT_ATTR_SHORT_ADDR, addr) ||
	    nla_put_u8(skb, FIRA_MEASUREMENT_ATTR_STATUS,
		       answers ? STATUS_OK : STATUS_RX_TIMEOUT))
		return -EMSGSIZE;
	if (answers) {
		*heard = true;
		err = put_sight(skb, &session->params, &sight);
	} else {
		err = nla_put_u8(skb, FIRA_MEASUREMENT_ATTR_SLOT_INDEX, slot);
	}
	if (err)
		return -EMSGSIZE;
	nla_nest_end(skb, nest);
	return 0;
}

static int put_measurements(struct sk_buff *skb, const struct sim_radio *radio,
			    const struct sim_fira_session *session, bool *heard)
{
	const struct sim_fira_params *params = &session->params;
	struct nlattr *nest =
		nla_nest_start(skb, FIRA_RANGING_DATA_ATTR_MEASUREMENTS);
	unsigned int i;

	if (!nest)
		return -EMSGSIZE;
	if (!sim_fira_is_controller(session)) {
		if (put_measurement(skb, radio, session,
				    sim_fira_get(params,
						 FIRA_SESSION_PARAM_DEST_SHORT_ADDR),
				    1, heard))
			return -EMSGSIZE;
	} else {
		for (i = 0; i < session->controlees.n; i++) {
			if (put_measurement(skb, radio, session,
					    session->controlees.items[i].addr, i + 1,
					    heard))
				return -EMSGSIZE;
		}
	}
	nla_nest_end(skb, nest);
	return 0;
}

/* Opens a session notification up to the inside of its ranging data. */
static struct nlattr *ntf_begin(struct sim_region_ntf *ntf,
				const struct sim_radio *radio,
				const struct sim_fira_session *session)
{
	struct nlattr *data;

	if (sim_region_ntf_begin(ntf, radio, MCPS802154_REGION_FIRA,
				 FIRA_CALL_SESSION_NTF))
		return NULL;
	if (!nla_put_u32(ntf->skb, FIRA_CALL_ATTR_SESSION_ID, session->id)) {
		data = nla_nest_start(ntf->skb, FIRA_CALL_ATTR_RANGING_DATA);
		if (data)
			return data;
	}
	sim_region_ntf_drop(ntf);
	return NULL;
}

/* A report that finds the starter's buffer full is lost, as with any driver. */
bool sim_fira_send_report(struct sim_radio *radio,
			  struct sim_fira_session *session)
{
	struct sim_region_ntf ntf;
	struct nlattr *data = ntf_begin(&ntf, radio, session);
	u64 said_ns = sim_time_said(session->due_ns);
	bool heard = false;

	if (!data)
		return false;
	if (nla_put(ntf.skb, FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS, sizeof(u64),
		    &said_ns) ||
	    nla_put_u32(ntf.skb, FIRA_RANGING_DATA_ATTR_BLOCK_INDEX,
			session->block) ||
	    put_measurements(ntf.skb, radio, session, &heard)) {
		sim_region_ntf_drop(&ntf);
		return false;
	}
	nla_nest_end(ntf.skb, data);
	sim_region_ntf_send(&ntf, radio, session->portid);
	return heard;
}

void sim_fira_send_stopped(struct sim_radio *radio,
			   struct sim_fira_session *session, u8 reason)
{
	struct sim_region_ntf ntf;
	struct nlattr *data = ntf_begin(&ntf, radio, session);

	if (!data)
		return;
	if (nla_put_u8(ntf.skb, FIRA_RANGING_DATA_ATTR_STOPPED, reason)) {
		sim_region_ntf_drop(&ntf);
		return;
	}
	nla_nest_end(ntf.skb, data);
	sim_region_ntf_send(&ntf, radio, session->portid);
}
