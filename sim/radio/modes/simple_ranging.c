// SPDX-License-Identifier: GPL-2.0
/*
 * Simple ranging: a list of peers that are measured in turn, for ever.
 *
 * A round gives each request one slot of the scheduler's slot duration, in
 * milliseconds, and lasts 100 ms or as long as its slots.
 */
#include <linux/seq_file.h>

#include "modes/modes.h"

#define SIMPLE_MAX_REQUESTS 16
#define SIMPLE_MIN_ROUND_MS 100
#define SIMPLE_DEFAULT_SLOT_MS 16
#define SIMPLE_MAX_SLOT_MS 1000
/* Phases are in units of 2^-11 rad. */
#define SIMPLE_PHASE_UNITS 2048

struct simple_request {
	u32 id;
	u32 param;
	u64 peer;
};

/* What runs as long as there are requests. */
struct simple {
	u32 portid;
	unsigned int n;
	struct simple_request requests[SIMPLE_MAX_REQUESTS];
	u64 slot_ns;
	u64 round_ns;
	/* Start of the round, and whose turn it is in it. */
	u64 start_ns;
	unsigned int next;
};

static struct sim_slot simple_slot = { .size = sizeof(struct simple) };

static struct simple *simple_of(const struct sim_radio *radio)
{
	return sim_slot_of(radio, &simple_slot);
}

static const struct nla_policy
request_policy[MCPS802154_RANGING_REQUEST_ATTR_MAX + 1] = {
	[MCPS802154_RANGING_REQUEST_ATTR_ID] = { .type = NLA_U32 },
	[MCPS802154_RANGING_REQUEST_ATTR_PARAM] = { .type = NLA_U32 },
	[MCPS802154_RANGING_REQUEST_ATTR_PEER] = { .type = NLA_U64 },
};

/* ---- The list ---- */

static int request_parse(const struct nlattr *nest,
			 struct simple_request *request,
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

static int request_add(const struct nlattr *element, void *data,
		       struct netlink_ext_ack *extack)
{
	struct simple *simple = data;

	if (simple->n == SIMPLE_MAX_REQUESTS)
		return sim_refuse(extack, element, -ENOSPC,
				  "too many ranging requests");
	return request_parse(element, &simple->requests[simple->n++], extack);
}

static u32 slot_ms(const struct sim_radio *radio)
{
	const struct sim_scheduler_params *params = &radio->scheduler_params;

	if (!params->has_slot_duration)
		return SIMPLE_DEFAULT_SLOT_MS;
	return min_t(u32, params->slot_duration, SIMPLE_MAX_SLOT_MS);
}

/* Replaces the list as a whole; an empty one ends the ranging. */
static int requests_set(struct sim_radio *radio, struct genl_info *info)
{
	const struct nlattr *list = info->attrs[MCPS802154_ATTR_RANGING_REQUESTS];
	struct simple simple = { .portid = info->snd_portid };
	int err;

	if (!sim_scheduler_is(radio, MCPS802154_SCHEDULER_SIMPLE_RANGING))
		return sim_refuse(info->extack, NULL, -EINVAL,
				  "the scheduler is not simple ranging's");
	if (!radio->up)
		return sim_refuse(info->extack, NULL, -ENETDOWN,
				  "the interface is down");
	if (list) {
		err = sim_each_element(list, request_add, &simple, info->extack,
				       "junk behind the ranging requests");
		if (err)
			return err;
	}
	simple.slot_ns = slot_ms(radio) * NSEC_PER_MSEC;
	simple.round_ns = max_t(u64, SIMPLE_MIN_ROUND_MS * NSEC_PER_MSEC,
				simple.n * simple.slot_ns);
	simple.start_ns = sim_time_now() + sim_time_in(SIM_WAKE_NS);
	*simple_of(radio) = simple;
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

static struct sim_body *find_peer(const struct sim_radio *radio, u64 addr)
{
	struct sim_radio *peer;

	sim_for_each_radio(peer) {
		if (radio_answers(radio, peer, addr))
			return peer->body;
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
		      const struct simple_request *request, u64 when_ns)
{
	struct sim_body *peer = find_peer(radio, request->peer);
	struct nlattr *nest = nla_nest_start(skb,
					     MCPS802154_ATTR_RANGING_RESULT);
	struct sim_sight sight;

	if (!nest || nla_put_u32(skb, MCPS802154_RANGING_RESULT_ATTR_ID,
				 request->id))
		return -EMSGSIZE;
	if (peer && sim_world_sight(radio->body, peer, when_ns, &sight)) {
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

static u64 simple_slot_ns(const struct simple *simple)
{
	return max(simple->slot_ns, sim_time_least());
}

static u64 simple_due(const struct simple *simple)
{
	return simple->start_ns + simple->next * simple_slot_ns(simple);
}

static void send_report(struct sim_radio *radio)
{
	const struct simple *simple = simple_of(radio);
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
	sim_ntf_send(radio, skb, simple->portid);
}

static u64 simple_next(const struct sim_radio *radio)
{
	const struct simple *simple = simple_of(radio);

	return simple->n ? simple_due(simple) : SIM_NEVER;
}

static void simple_tick(struct sim_radio *radio, u64 now_ns)
{
	struct simple *simple = simple_of(radio);
	u64 round_ns = max(simple->round_ns,
			   simple->n * simple_slot_ns(simple));
	u64 rounds = 1;

	if (simple_next(radio) > now_ns)
		return;
	send_report(radio);
	if (++simple->next < simple->n)
		return;
	if (now_ns > simple->start_ns + sim_time_in(SIM_MAX_LATE_NS))
		rounds += div64_u64(now_ns - simple->start_ns, round_ns);
	simple->start_ns += rounds * round_ns;
	simple->next = 0;
}

/* ---- Ends from outside ---- */

static void simple_end(struct sim_radio *radio)
{
	simple_of(radio)->n = 0;
}

static void simple_port_gone(struct sim_radio *radio, u32 portid)
{
	if (simple_of(radio)->portid == portid)
		simple_end(radio);
}

static void simple_show(struct seq_file *file, const struct sim_radio *radio)
{
	const struct simple *simple = simple_of(radio);
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

/* Known, but without calls: simple ranging has a command of its own. */
static const struct sim_region_ops region_simple_ranging = {
	.name = MCPS802154_REGION_SIMPLE_RANGING,
};

static const struct sim_command simple_commands[] = {
	{ MCPS802154_CMD_RANGING_REQUESTS_SET, requests_set },
};

const struct sim_part sim_simple_part = {
	.slot = &simple_slot,
	.tick = simple_tick,
	.next = simple_next,
	.down = simple_end,
	.port_gone = simple_port_gone,
	.show = simple_show,
	.region = &region_simple_ranging,
	.n_commands = ARRAY_SIZE(simple_commands),
	.commands = simple_commands,
};
