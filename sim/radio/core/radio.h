/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The radio's core: its state and clock, the parts that run on it, and what
 * goes between it and the wire. The core calls the parts without knowing them.
 *
 * Everything is guarded by sim_lock, see world/world.h.
 */
#ifndef SIM_RADIO_H
#define SIM_RADIO_H

#include <linux/hrtimer.h>
#include <linux/kthread.h>
#include <linux/list.h>
#include <linux/string.h>
#include <net/mac802154.h>

#include "wire/wire.h"
#include "world/world.h"

#define SIM_MAX_PARTS 8
#define SIM_MAX_REGIONS 4

#define SIM_UWB_PAGE 4
#define SIM_UWB_CHANNELS (BIT(5) | BIT(9))

/* A radio needs this long to wake; a start is acknowledged well before. */
#define SIM_WAKE_NS (20ULL * NSEC_PER_MSEC)
/* From a stop's acknowledgment to its notification. */
#define SIM_STOP_NS (5ULL * NSEC_PER_MSEC)
/* A machine that was held up this long skips blocks instead of making up. */
#define SIM_MAX_LATE_NS (2ULL * NSEC_PER_SEC)

/* A deadline that never comes. */
#define SIM_NEVER U64_MAX

struct seq_file;
struct sim_radio;

enum sim_session_state {
	SIM_SESSION_IDLE,
	SIM_SESSION_RUNNING,
	/* The stop was acknowledged, its notification is due. */
	SIM_SESSION_STOPPING,
};

const char *sim_session_state_name(enum sim_session_state state);

/* ---- Parts: what runs on a radio ---- */

typedef int (*sim_handler)(struct sim_radio *radio, struct genl_info *info);

/* A command of the family. */
struct sim_command {
	u8 cmd;
	sim_handler handler;
};

/* A kind of region that schedulers can hold. */
struct sim_region_ops {
	const char *name;
	/* May be missing: the region has no calls. */
	int (*call)(struct sim_radio *radio, u32 call,
		    const struct nlattr *params, struct genl_info *info);
	/* Forget everything: the region is dropped by its scheduler. */
	void (*close)(struct sim_radio *radio);
};

/* What a part keeps for each radio: zeros, when the radio comes. */
struct sim_slot {
	size_t size;
	/* Set by sim_part_add(). */
	unsigned int index;
};

/* All but the commands may be missing. */
struct sim_part {
	struct sim_slot *slot;
	int (*init)(struct sim_radio *radio);
	void (*free)(struct sim_radio *radio);
	/* Runs what is due; little at once, so that the lock is let go. */
	void (*tick)(struct sim_radio *radio, u64 now_ns);
	/* The earliest deadline. */
	u64 (*next)(const struct sim_radio *radio);
	/* The interface went down. */
	void (*down)(struct sim_radio *radio);
	/* Nobody is left to be told. */
	void (*port_gone)(struct sim_radio *radio, u32 portid);
	/* Lines of the radio's state. */
	void (*show)(struct seq_file *file, const struct sim_radio *radio);
	const struct sim_region_ops *region;
	unsigned int n_commands;
	const struct sim_command *commands;
};

/*
 * Adds a part to the radios to come. Parts are called in the order in which
 * they were added, and freed in the opposite one.
 */
int sim_part_add(const struct sim_part *part);
/* The kind of region of a name, or NULL. */
const struct sim_region_ops *sim_region_ops_find(const char *name);
/* What all the parts have to say of a radio. */
void sim_parts_show(struct seq_file *file, const struct sim_radio *radio);

/* ---- Radios ---- */

struct sim_region {
	u32 id;
	const struct sim_region_ops *ops;
};

struct sim_scheduler {
	const char *name;
	unsigned int max_regions;
};

struct sim_scheduler_params {
	bool has_slot_duration;
	bool has_node_type;
	u32 slot_duration;
	u32 node_type;
};

struct sim_radio {
	unsigned int index;
	struct ieee802154_hw *hw;
	/* Being removed: answers no request, arms no timer. */
	bool gone;

	/* As the 802.15.4 layer set them. */
	bool up;
	u16 pan_id;
	u16 short_addr;
	u64 ext_addr;

	/* As calibrated. Microseconds; negative keeps the radio awake. */
	s32 auto_sleep_margin;
	/* Bit set. */
	s32 restricted_channels;

	const struct sim_scheduler *scheduler;
	struct sim_scheduler_params scheduler_params;
	unsigned int n_regions;
	struct sim_region regions[SIM_MAX_REGIONS];

	struct sim_body *body;
	void *slots[SIM_MAX_PARTS];

	/*
	 * The threads that the calibration keys name. All that a radio does in
	 * time happens on the first one, which may sleep on sim_lock: the timer
	 * only queues the work.
	 */
	struct kthread_worker *spi;
	struct kthread_worker *chip;
	struct hrtimer timer;
	struct kthread_work work;
};

static inline void *sim_slot_of(const struct sim_radio *radio,
				const struct sim_slot *slot)
{
	return radio->slots[slot->index];
}

static inline bool sim_scheduler_is(const struct sim_radio *radio,
				    const char *name)
{
	return !strcmp(radio->scheduler->name, name);
}

/* The radio of an index, or NULL. */
struct sim_radio *sim_radio_get(u32 index);

/* The first radio from an index on, or NULL. */
struct sim_radio *sim_radio_from(u32 index);

#define sim_for_each_radio(radio) \
	for ((radio) = sim_radio_from(0); (radio); \
	     (radio) = sim_radio_from((radio)->index + 1))

/* Sets the timer for the earliest deadline; call it after any change. */
void sim_radio_kick(struct sim_radio *radio);

/* Refuses channels that the radio lacks or the country forbids. */
int sim_channel_check(const struct sim_radio *radio, u32 channel,
		      struct netlink_ext_ack *extack);

/* The selected region of a name, or NULL. */
const struct sim_region *sim_region_find(const struct sim_radio *radio,
					 const char *name);

/* ---- Answers and notifications ---- */

/* A notification, and a reply, with the hardware index in it. */
struct sk_buff *sim_ntf_new(const struct sim_radio *radio, u8 cmd, void **hdr);
struct sk_buff *sim_reply_new(const struct sim_radio *radio,
			      const struct genl_info *info, u8 cmd, size_t size,
			      void **hdr);
/* Unicast a finished one; take it over. */
void sim_ntf_send(struct sim_radio *radio, struct sk_buff *skb, u32 portid);
int sim_reply_send(struct sim_radio *radio, struct genl_info *info,
		   struct sk_buff *skb);

/* A region notification that is being written. */
struct sim_region_ntf {
	struct sk_buff *skb;
	void *hdr;
	struct nlattr *call;
	struct nlattr *params;
};

int sim_region_ntf_begin(struct sim_region_ntf *ntf,
			 const struct sim_radio *radio, const char *region,
			 u32 call);
/* Unicasts it; takes the message over. */
void sim_region_ntf_send(struct sim_region_ntf *ntf, struct sim_radio *radio,
			 u32 portid);
void sim_region_ntf_drop(struct sim_region_ntf *ntf);

/* ---- Taps: who stands between the radios and the wire ---- */

/* All of these are called with sim_lock held. */
struct sim_tap {
	/* In a request's handler's place. */
	int (*request)(struct sim_radio *radio, struct genl_info *info,
		       sim_handler handler);
	/* Instead of sending a message; these take it over. */
	int (*reply)(struct sim_radio *radio, struct genl_info *info,
		     struct sk_buff *skb);
	void (*ntf)(struct sim_radio *radio, struct sk_buff *skb, u32 portid);
	/* Before the hardware query of everything; an error refuses it. */
	int (*dump)(struct netlink_callback *cb);
	/* A radio's message in it: takes it over, gives what is to be sent. */
	struct sk_buff *(*dumped)(struct sim_radio *radio, struct sk_buff *skb);
};

/* Sets the tap, or takes it away (NULL). */
void sim_tap_set(const struct sim_tap *tap);

/*
 * Appends a radio's answer to the hardware query of everything; false when it
 * has no room.
 */
bool sim_hw_dump_radio(struct sk_buff *skb, struct sim_radio *radio, u32 portid,
		       u32 seq);

#endif /* SIM_RADIO_H */
