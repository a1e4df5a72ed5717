// SPDX-License-Identifier: GPL-2.0
/*
 * Simple ranging: a list of peers that are measured in turn, for ever.
 *
 * A round gives each request one slot of the scheduler's slot duration, in
 * milliseconds, and lasts 100 ms or as long as its slots.
 */
#include <linux/ktime.h>
#include <linux/seq_file.h>

#include "sim.h"

#define SIMPLE_MIN_ROUND_MS 100
#define SIMPLE_DEFAULT_SLOT_MS 16
#define SIMPLE_MAX_SLOT_MS 1000
/* Phases are in units of 2^-11 rad. */
#define SIMPLE_PHASE_UNITS 2048

static const struct nla_policy
request_policy[MCPS802154_RANGING_REQUEST_ATTR_MAX + 1] = {
	[MCPS802154_RANGING_REQUEST_ATTR_ID] = { .type = NLA_U32 },
	[MCPS802154_RANGING_REQUEST_ATTR_PARAM] = { .type = NLA_U32 },
	[MCPS802154_RANGING_REQUEST_ATTR_PEER] = { .type = NLA_U64 },
};

/* ---- The list ---- */

static int request_parse(const struct nlattr *nest,
			 struct sim_simple_request *request,
			 struct netlink_ext_ack *extack)
{
	struct nlattr *tb[MCPS802154_RANGING_REQUEST_ATTR_MAX + 1];
	int err;

	if (nla_type(nest) != MCPS802154_RANGING_REQUESTS_ELEMENT)
		return sim_refuse(extack, nest, -EINVAL,
				  "not a ranging request");
	err = sim_parse_nested(tb, MCPS802154_RANGING_REQUEST_ATTR_MAX, nest,
			       request_policy, extack);
	if (err)
		return err;
	if (!tb[MCPS802154_RANGING_REQUEST_ATTR_ID] ||
	    !tb[MCPS802154_RANGING_REQUEST_ATTR_PARAM] ||
	    !tb[MCPS802154_RANGING_REQUEST_ATTR_PEER])
		return sim_refuse(extack, nest, -EINVAL,
				  "incomplete ranging request");
	request->id = nla_get_u32(tb[MCPS802154_RANGING_REQUEST_ATTR_ID]);
	request->param = nla_get_u32(tb[MCPS802154_RANGING_REQUEST_ATTR_PARAM]);
	request->peer = nla_get_u64(tb[MCPS802154_RANGING_REQUEST_ATTR_PEER]);
	return 0;
}

static int requests_parse(const struct nlattr *list, struct sim_simple *simple,
			  struct netlink_ext_ack *extack)
{
	const struct nlattr *element;
	int rem;
	int err;

	nla_for_each_nested(element, list, rem) {
		if (simple->n == SIM_MAX_SIMPLE_REQUESTS)
			return sim_refuse(extack, element, -ENOSPC,
					  "too many ranging requests");
		err = request_parse(element, &simple->requests[simple->n],
				    extack);
		if (err)
			return err;
		simple->n++;
	}
	if (rem)
		return sim_refuse(extack, list, -EINVAL,
				  "junk behind the ranging requests");
	return 0;
}

static u32 slot_ms(const struct sim_radio *radio)
{
	const struct sim_scheduler_params *params = &radio->scheduler_params;

	if (!params->has_slot_duration)
		return SIMPLE_DEFAULT_SLOT_MS;
	return min_t(u32, params->slot_duration, SIMPLE_MAX_SLOT_MS);
}

/* Replaces the list as a whole; an empty one ends the ranging. */
int sim_simple_requests_set(struct sim_radio *radio, struct genl_info *info)
{
	const struct nlattr *list = info->attrs[MCPS802154_ATTR_RANGING_REQUESTS];
	struct sim_simple simple = { .portid = info->snd_portid };
	int err;

	if (!sim_scheduler_is(radio, MCPS802154_SCHEDULER_SIMPLE_RANGING))
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "the scheduler is not simple ranging's");
	if (!radio->up)
		return sim_refuse(info->extack, NULL, -ENETDOWN,
				  "the interface is down");
	if (list) {
		err = requests_parse(list, &simple, info->extack);
		if (err)
			return err;
	}
	simple.slot_ns = slot_ms(radio) * NSEC_PER_MSEC;
	simple.round_ns = max_t(u64, SIMPLE_MIN_ROUND_MS * NSEC_PER_MSEC,
				simple.n * simple.slot_ns);
	simple.start_ns = ktime_get_ns() + SIM_WAKE_NS;
	radio->simple = simple;
	sim_radio_kick(radio);
	return 0;
}

/* ---- Reports ---- */

static bool radio_answers(const struct sim_radio *radio,
			  const struct sim_radio *peer, u64 addr)
{
	return peer != radio && peer->ext_addr == addr && peer->up &&
	       sim_scheduler_is(peer, MCPS802154_SCHEDULER_SIMPLE_RANGING) &&
	       peer->scheduler_params.node_type !=
		       radio->scheduler_params.node_type &&
	       peer->hw->phy->current_channel ==
		       radio->hw->phy->current_channel &&
	       peer->pan_id == radio->pan_id;
}

static const struct sim_body *find_peer(const struct sim_radio *radio, u64 addr)
{
	struct sim_radio *peer;

	sim_for_each_radio(peer) {
		if (radio_answers(radio, peer, addr))
			return &peer->body;
	}
	return sim_world_tag(addr);
}

static s32 phase(s32 pdoa_urad)
{
	s64 scaled = (s64)pdoa_urad * SIMPLE_PHASE_UNITS;
	s64 half = USEC_PER_SEC / 2;

	return div_s64(scaled + (scaled < 0 ? -half : half), USEC_PER_SEC);
}

/* A peer that does not answer leaves nothing but the identifier. */
static int put_result(struct sk_buff *skb, const struct sim_radio *radio,
		      const struct sim_simple_request *request, u64 when_ns)
{
	const struct sim_body *peer = find_peer(radio, request->peer);
	struct nlattr *nest = nla_nest_start(skb,
					     MCPS802154_ATTR_RANGING_RESULT);
	struct sim_sight sight;

	if (!nest || nla_put_u32(skb, MCPS802154_RANGING_RESULT_ATTR_ID,
				 request->id))
		return -EMSGSIZE;
	if (peer) {
		sim_world_sight(&radio->body, peer, when_ns, &sight);
		if (nla_put_u32(skb, MCPS802154_RANGING_RESULT_ATTR_VALUE,
				max(sight.distance_mm, 0)) ||
		    nla_put_s32(skb, MCPS802154_RANGING_RESULT_ATTR_PHASE_1,
				phase(sight.azimuth_pdoa_urad)) ||
		    nla_put_s32(skb, MCPS802154_RANGING_RESULT_ATTR_PHASE_2,
				phase(sight.elevation_pdoa_urad)))
			return -EMSGSIZE;
	}
	nla_nest_end(skb, nest);
	return 0;
}

static u64 simple_due(const struct sim_simple *simple)
{
	return simple->start_ns + simple->next * simple->slot_ns;
}

static void send_report(struct sim_radio *radio)
{
	const struct sim_simple *simple = &radio->simple;
	struct sk_buff *skb;
	void *hdr;

	skb = sim_ntf_new(radio, MCPS802154_CMD_RANGING_REPORT, &hdr);
	if (!skb)
		return;
	if (put_result(skb, radio, &simple->requests[simple->next],
		       simple_due(simple))) {
		nlmsg_free(skb);
		return;
	}
	genlmsg_end(skb, hdr);
	sim_ntf_send(radio, SIM_EVENT_SIMPLE_REPORT, skb, simple->portid);
}

void sim_simple_tick(struct sim_radio *radio, u64 now_ns)
{
	struct sim_simple *simple = &radio->simple;
	u64 rounds = 1;

	if (sim_simple_next(radio) > now_ns)
		return;
	send_report(radio);
	if (++simple->next < simple->n)
		return;
	if (now_ns > simple->start_ns + SIM_MAX_LATE_NS)
		rounds += div64_u64(now_ns - simple->start_ns,
				    simple->round_ns);
	simple->start_ns += rounds * simple->round_ns;
	simple->next = 0;
}

u64 sim_simple_next(const struct sim_radio *radio)
{
	return radio->simple.n ? simple_due(&radio->simple) : SIM_NEVER;
}

/* ---- Ends from outside ---- */

void sim_simple_end(struct sim_radio *radio)
{
	radio->simple.n = 0;
}

void sim_simple_port_gone(struct sim_radio *radio, u32 portid)
{
	if (radio->simple.portid == portid)
		sim_simple_end(radio);
}

void sim_simple_show(struct seq_file *file, const struct sim_radio *radio)
{
	const struct sim_simple *simple = &radio->simple;
	unsigned int i;

	if (!simple->n)
		return;
	seq_printf(file, "simple_ranging portid %u round_ms %llu\n",
		   simple->portid, div_u64(simple->round_ns, NSEC_PER_MSEC));
	for (i = 0; i < simple->n; i++)
		seq_printf(file, "  request %u param %u peer 0x%llx\n",
			   simple->requests[i].id, simple->requests[i].param,
			   simple->requests[i].peer);
}
