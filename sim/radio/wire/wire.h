/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The wire: the netlink family, its messages and how requests are refused.
 *
 * Nothing here knows of radios, worlds or sessions.
 */
#ifndef SIM_WIRE_H
#define SIM_WIRE_H

#include <linux/netlink.h>
#include <linux/types.h>
#include <net/genetlink.h>
#include <net/netlink.h>

#include "net/mcps802154.h"

/* Who serves the family's commands. */
struct sim_wire_ops {
	/* A request whose top level is well formed. */
	int (*request)(struct genl_info *info);
	/* The hardware query of everything. */
	int (*dump_start)(struct netlink_callback *cb);
	int (*dump)(struct sk_buff *skb, struct netlink_callback *cb);
};

int sim_wire_register(const struct sim_wire_ops *ops);
void sim_wire_unregister(void);

/* Notes why a request is refused, for the sender and in the kernel log. */
int sim_refuse(struct netlink_ext_ack *extack, const struct nlattr *attr,
	       int err, const char *why);

int sim_parse_nested(struct nlattr **tb, int max, const struct nlattr *nest,
		     const struct nla_policy *policy,
		     struct netlink_ext_ack *extack);

typedef int (*sim_element_fn)(const struct nlattr *element, void *data,
			      struct netlink_ext_ack *extack);

/*
 * Runs the elements of a list up to the first error; what is no element at its
 * end is refused in the given words.
 */
int sim_each_element(const struct nlattr *list, sim_element_fn run, void *data,
		     struct netlink_ext_ack *extack, const char *junk);

/* A message with the hardware index in it, or NULL. */
struct sk_buff *sim_message_new(u32 hw, u32 portid, u32 seq, int flags, u8 cmd,
				size_t size, void **hdr);
/* Takes the message over. */
int sim_message_send(struct sk_buff *skb, u32 portid);

#endif /* SIM_WIRE_H */
