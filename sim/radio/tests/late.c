// SPDX-License-Identifier: GPL-2.0
/*
 * Messages that a fault holds back for a while.
 */
#include <linux/slab.h>

#include "tests/faults.h"
#include "tests/tests.h"

/* Those of a radio. */
static struct sim_slot late_slot = { .size = sizeof(struct list_head) };

static struct list_head *late_list(const struct sim_radio *radio)
{
	return sim_slot_of(radio, &late_slot);
}

struct late {
	struct list_head node;
	u64 due_ns;
	enum sim_event event;
	u32 portid;
	struct sk_buff *skb;
};

int sim_late_add(struct sim_radio *radio, enum sim_event event,
		 struct sk_buff *skb, u32 portid, u32 delay_ms)
{
	struct late *late = kzalloc(sizeof(*late), GFP_KERNEL);

	if (!late) {
		nlmsg_free(skb);
		return -ENOMEM;
	}
	late->due_ns = sim_time_now() +
		       sim_time_in(delay_ms * (u64)NSEC_PER_MSEC);
	late->event = event;
	late->portid = portid;
	late->skb = skb;
	list_add_tail(&late->node, late_list(radio));
	return 0;
}

/* The acknowledgment that the netlink core would have sent at once. */
int sim_late_ack(struct sim_radio *radio, const struct genl_info *info,
		 int err, u32 delay_ms)
{
	struct nlmsgerr *ack;
	struct nlmsghdr *nlh;
	struct sk_buff *skb;

	if (!err && !(info->nlhdr->nlmsg_flags & NLM_F_ACK))
		return 0;
	skb = nlmsg_new(sizeof(*ack), GFP_KERNEL);
	if (!skb)
		return -ENOMEM;
	nlh = nlmsg_put(skb, info->snd_portid, info->snd_seq, NLMSG_ERROR,
			sizeof(*ack), NLM_F_CAPPED);
	if (!nlh) {
		nlmsg_free(skb);
		return -EMSGSIZE;
	}
	ack = nlmsg_data(nlh);
	ack->error = err;
	ack->msg = *info->nlhdr;
	return sim_late_add(radio, SIM_EVENT_NONE, skb, info->snd_portid,
			    delay_ms);
}

static void late_forget(struct late *late)
{
	list_del(&late->node);
	kfree(late);
}

static void late_tick(struct sim_radio *radio, u64 now_ns)
{
	struct late *late, *next;

	list_for_each_entry_safe(late, next, late_list(radio), node) {
		if (late->due_ns > now_ns)
			continue;
		sim_send_counted(late->event, late->skb, late->portid);
		late_forget(late);
	}
}

static u64 late_next(const struct sim_radio *radio)
{
	const struct late *late;
	u64 next_ns = SIM_NEVER;

	list_for_each_entry(late, late_list(radio), node)
		next_ns = min(next_ns, late->due_ns);
	return next_ns;
}

static void late_drop(struct late *late)
{
	nlmsg_free(late->skb);
	late_forget(late);
}

/* The number may belong to another socket soon, which must not be answered. */
static void late_port_gone(struct sim_radio *radio, u32 portid)
{
	struct late *late, *next;

	list_for_each_entry_safe(late, next, late_list(radio), node) {
		if (late->portid == portid)
			late_drop(late);
	}
}

static void late_free(struct sim_radio *radio)
{
	struct late *late, *next;

	list_for_each_entry_safe(late, next, late_list(radio), node)
		late_drop(late);
}

static int late_init(struct sim_radio *radio)
{
	INIT_LIST_HEAD(late_list(radio));
	return 0;
}

const struct sim_part sim_late_part = {
	.slot = &late_slot,
	.init = late_init,
	.free = late_free,
	.tick = late_tick,
	.next = late_next,
	.port_gone = late_port_gone,
};
