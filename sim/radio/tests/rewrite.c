// SPDX-License-Identifier: GPL-2.0
/*
 * Faulty copies of messages: attributes lost, resized, replaced or added.
 */
#include "tests/faults.h"

#define REWRITE_HDRLEN (NLMSG_HDRLEN + GENL_HDRLEN)

static int rewrite_attrs(struct sk_buff *out, const struct nlattr *head,
			 int len, const struct sim_fault *fault,
			 unsigned int level);

static int copy_attr(struct sk_buff *out, const struct nlattr *attr)
{
	return nla_put(out, attr->nla_type, nla_len(attr), nla_data(attr));
}

/* The same attribute with another length: cut off, or filled up with zeros. */
static int resize_attr(struct sk_buff *out, const struct nlattr *attr, u32 len)
{
	struct nlattr *copy = nla_reserve(out, attr->nla_type, len);

	if (!copy)
		return -EMSGSIZE;
	memset(nla_data(copy), 0, len);
	memcpy(nla_data(copy), nla_data(attr), min_t(u32, len, nla_len(attr)));
	return 0;
}

/* A nest whose inside is rewritten, or gets an attribute more. */
static int rewrite_nest(struct sk_buff *out, const struct nlattr *attr,
			const struct sim_fault *fault, unsigned int level)
{
	struct nlattr *nest = nla_nest_start_noflag(out, attr->nla_type);

	if (!nest || rewrite_attrs(out, nla_data(attr), nla_len(attr), fault,
				   level))
		return -EMSGSIZE;
	nla_nest_end(out, nest);
	return 0;
}

/* What the fault does to an attribute at the end of its path. */
static int rewrite_attr(struct sk_buff *out, const struct nlattr *attr,
			const struct sim_fault *fault, unsigned int level)
{
	u16 flags = attr->nla_type & ~NLA_TYPE_MASK;

	switch (fault->action) {
	case SIM_FAULT_DROP:
		return 0;
	case SIM_FAULT_RESIZE:
		return resize_attr(out, attr, fault->arg);
	case SIM_FAULT_SET:
		return nla_put(out, attr->nla_type, fault->len, fault->data);
	case SIM_FAULT_RENAME:
		return nla_put(out, fault->arg | flags, nla_len(attr),
			       nla_data(attr));
	default:
		return rewrite_nest(out, attr, fault, level + 1);
	}
}

static int rewrite_attrs(struct sk_buff *out, const struct nlattr *head,
			 int len, const struct sim_fault *fault,
			 unsigned int level)
{
	const struct nlattr *attr;
	int err = 0;
	int rem;

	nla_for_each_attr(attr, head, len, rem) {
		if (level >= fault->depth ||
		    (fault->path[level] != SIM_FAULT_ANY_ATTR &&
		     fault->path[level] != nla_type(attr)))
			err = copy_attr(out, attr);
		else if (level + 1 < fault->depth)
			err = rewrite_nest(out, attr, fault, level + 1);
		else
			err = rewrite_attr(out, attr, fault, level);
		if (err)
			return err;
	}
	if (fault->action == SIM_FAULT_APPEND && level == fault->depth)
		err = nla_put(out, fault->arg, fault->len, fault->data);
	return err;
}

/* Changes that leave the attributes alone. */
static void rewrite_whole(struct sk_buff *out, const struct sim_fault *fault)
{
	struct genlmsghdr *genlhdr = nlmsg_data(nlmsg_hdr(out));

	if (fault->action == SIM_FAULT_CMD)
		genlhdr->cmd = fault->arg;
	else if (fault->action == SIM_FAULT_CUT)
		skb_trim(out, max_t(int, REWRITE_HDRLEN,
				    (int)out->len - (int)fault->arg));
}

struct sk_buff *sim_rewrite(const struct sk_buff *skb,
			    const struct sim_fault *fault)
{
	/* Room for as many replaced or added attributes as can be there. */
	size_t room = skb->len * (1 + (SIM_FAULT_MAX_DATA + NLA_HDRLEN) /
				  NLA_HDRLEN) + fault->arg + NLMSG_GOODSIZE;
	const struct nlattr *head = (void *)skb->data + REWRITE_HDRLEN;
	struct sk_buff *out = alloc_skb(room, GFP_KERNEL);

	if (!out)
		return NULL;
	skb_put_data(out, skb->data, REWRITE_HDRLEN);
	if (rewrite_attrs(out, head, skb->len - REWRITE_HDRLEN, fault, 0)) {
		nlmsg_free(out);
		return NULL;
	}
	rewrite_whole(out, fault);
	nlmsg_hdr(out)->nlmsg_len = out->len;
	return out;
}
