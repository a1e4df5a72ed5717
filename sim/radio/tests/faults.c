// SPDX-License-Identifier: GPL-2.0
/*
 * Faults: what makes the radio answer wrongly, late or not at all.
 */
#include <linux/list.h>
#include <linux/slab.h>

#include "tests/faults.h"
#include "tests/tests.h"

#define FAULTS_MAX 64

LIST_HEAD(sim_faults);
static unsigned int n_faults;

/* A fault that holds back the answer of the request being handled. */
static const struct sim_fault *request_fault;

/* ---- The list ---- */

static bool fault_fits(const struct sim_fault *fault,
		       const struct sim_radio *radio, enum sim_event event)
{
	if (fault->radio >= 0 && fault->radio != radio->index)
		return false;
	return fault->event == event ||
	       (fault->event == SIM_EVENT_REGION_CALL && sim_event_is_region_call(event));
}

static void fault_remove(struct sim_fault *fault)
{
	list_del(&fault->node);
	kfree(fault);
	n_faults--;
}

/* Uses up one of the first fault that fits; false when there is none. */
static bool fault_take(const struct sim_radio *radio, enum sim_event event,
		       unsigned long actions, struct sim_fault *taken)
{
	struct sim_fault *fault;

	lockdep_assert_held(&sim_lock);
	list_for_each_entry(fault, &sim_faults, node) {
		if (!(actions & BIT(fault->action)) ||
		    !fault_fits(fault, radio, event))
			continue;
		*taken = *fault;
		if (fault->left && !--fault->left)
			fault_remove(fault);
		return true;
	}
	return false;
}

void sim_faults_clear(void)
{
	struct sim_fault *fault, *next;

	list_for_each_entry_safe(fault, next, &sim_faults, node)
		fault_remove(fault);
}

int sim_fault_add(const struct sim_fault *fault)
{
	struct sim_fault *added;

	if (n_faults == FAULTS_MAX)
		return -ENOSPC;
	added = kmemdup(fault, sizeof(*fault), GFP_KERNEL);
	if (!added)
		return -ENOMEM;
	list_add_tail(&added->node, &sim_faults);
	n_faults++;
	return 0;
}

/* ---- Messages ---- */

static int message_repeat(enum sim_event event, struct sk_buff *skb, u32 portid,
			  u32 copies)
{
	struct sk_buff *copy;
	int err = 0;

	while (!err && copies--) {
		copy = skb_copy(skb, GFP_KERNEL);
		err = copy ? sim_send_counted(event, copy, portid) : -ENOMEM;
	}
	nlmsg_free(skb);
	return err;
}

/* Sends a message the way a fault wants it. */
static int message_send_faulty(struct sim_radio *radio, struct sk_buff *skb,
			       u32 portid, const struct sim_fault *fault)
{
	/* As it was before it is changed. */
	enum sim_event event = fault->event;
	struct sk_buff *faulty;

	switch (fault->action) {
	case SIM_FAULT_SILENCE:
		nlmsg_free(skb);
		return 0;
	case SIM_FAULT_LATE:
		return sim_late_add(radio, event, skb, portid, fault->arg);
	case SIM_FAULT_REPEAT:
		return message_repeat(event, skb, portid, fault->arg);
	default:
		faulty = sim_rewrite(skb, fault);
		nlmsg_free(skb);
		return faulty ? sim_send_counted(event, faulty, portid) :
				-ENOMEM;
	}
}

static void fault_ntf(struct sim_radio *radio, struct sk_buff *skb, u32 portid)
{
	enum sim_event event = sim_event_of_ntf(skb);
	struct sim_fault fault;

	if (fault_take(radio, event, SIM_FAULTS_OF_NTF, &fault))
		message_send_faulty(radio, skb, portid, &fault);
	else
		sim_send_counted(event, skb, portid);
}

static int fault_reply(struct sim_radio *radio, struct genl_info *info,
		       struct sk_buff *skb)
{
	struct sim_fault fault;

	if (request_fault) {
		if (request_fault->action == SIM_FAULT_LATE)
			return sim_late_add(radio, SIM_EVENT_NONE, skb,
					    info->snd_portid,
					    request_fault->arg);
		nlmsg_free(skb);
		return 0;
	}
	if (fault_take(radio, sim_event_of_reply(info), SIM_FAULTS_OF_REPLY,
		       &fault))
		return message_send_faulty(radio, skb, info->snd_portid,
					   &fault);
	return sim_message_send(skb, info->snd_portid);
}

/* ---- Requests ---- */

/* EINTR is how a handler keeps the core from acknowledging its request. */
static int fault_request(struct sim_radio *radio, struct genl_info *info,
			 sim_handler handler)
{
	struct sim_fault fault;
	int err;

	if (!fault_take(radio, sim_event_of_request(info),
			SIM_FAULTS_OF_REQUEST, &fault))
		return handler(radio, info);
	if (fault.action == SIM_FAULT_ERRNO)
		return sim_refuse(info->extack, NULL, -(int)fault.arg, "fault");
	if (fault.action == SIM_FAULT_SILENCE)
		return -EINTR;
	request_fault = &fault;
	err = handler(radio, info);
	request_fault = NULL;
	if (fault.action == SIM_FAULT_LATE)
		sim_late_ack(radio, info, err, fault.arg);
	sim_radio_kick(radio);
	return -EINTR;
}

/* ---- The hardware query of everything ---- */

/* The whole dump as one message to be sent later by the first radio. */
static int dump_late(struct sim_radio *first, u32 portid, u32 seq,
		     u32 delay_ms)
{
	struct sk_buff *skb = nlmsg_new(NLMSG_GOODSIZE, GFP_KERNEL);
	struct nlmsghdr *done;
	struct sim_radio *radio;

	if (!skb)
		return -ENOMEM;
	sim_for_each_radio(radio)
		sim_hw_dump_radio(skb, radio, portid, seq);
	done = nlmsg_put(skb, portid, seq, NLMSG_DONE, sizeof(int),
			 NLM_F_MULTI);
	if (!done) {
		nlmsg_free(skb);
		return -EMSGSIZE;
	}
	memset(nlmsg_data(done), 0, sizeof(int));
	return sim_late_add(first, SIM_EVENT_NONE, skb, portid, delay_ms);
}

/* Faults of a dump as a whole hang on the first radio. */
static int fault_dump(struct netlink_callback *cb)
{
	struct sim_radio *radio = sim_radio_get(0);
	struct sim_fault fault;
	int err = -EINTR;

	if (!radio || !fault_take(radio, SIM_EVENT_HW_DUMP,
				  SIM_FAULTS_OF_REQUEST, &fault))
		return 0;
	if (fault.action == SIM_FAULT_ERRNO)
		err = -(int)fault.arg;
	else if (fault.action == SIM_FAULT_LATE)
		dump_late(radio, NETLINK_CB(cb->skb).portid,
			  cb->nlh->nlmsg_seq, fault.arg);
	sim_radio_kick(radio);
	return err;
}

static struct sk_buff *fault_dumped(struct sim_radio *radio,
				    struct sk_buff *skb)
{
	struct sim_fault fault;
	struct sk_buff *faulty;

	if (!fault_take(radio, SIM_EVENT_HW_DUMP, SIM_FAULTS_OF_REPLY, &fault))
		return skb;
	faulty = sim_rewrite(skb, &fault);
	nlmsg_free(skb);
	return faulty;
}

const struct sim_tap sim_fault_tap = {
	.request = fault_request,
	.reply = fault_reply,
	.ntf = fault_ntf,
	.dump = fault_dump,
	.dumped = fault_dumped,
};
