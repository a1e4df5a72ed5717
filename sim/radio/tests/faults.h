/* SPDX-License-Identifier: GPL-2.0 */
/*
 * Faults, for the files that make them up.
 */
#ifndef SIM_FAULTS_H
#define SIM_FAULTS_H

#include "core/radio.h"

/* What a fault can be tied to. The calls of a region follow their numbers. */
enum sim_event {
	SIM_EVENT_NONE,
	SIM_EVENT_HW_QUERY,
	SIM_EVENT_HW_DUMP,
	SIM_EVENT_SCHEDULER_SET,
	SIM_EVENT_SCHEDULER_PARAMS_SET,
	SIM_EVENT_CALIBRATION_SET,
	SIM_EVENT_CALIBRATION_GET,
	SIM_EVENT_RANGING_REQUESTS_SET,
	/* Any region call. */
	SIM_EVENT_REGION_CALL,
	SIM_EVENT_FIRA_INIT,
	SIM_EVENT_FIRA_START,
	SIM_EVENT_FIRA_STOP,
	SIM_EVENT_FIRA_DEINIT,
	SIM_EVENT_FIRA_SET_PARAMS,
	SIM_EVENT_FIRA_NEW_CONTROLEE,
	SIM_EVENT_FIRA_DEL_CONTROLEE,
	SIM_EVENT_CCC_START,
	SIM_EVENT_CCC_STOP,
	/* Notifications. */
	SIM_EVENT_FIRA_REPORT,
	SIM_EVENT_FIRA_STOPPED,
	SIM_EVENT_CCC_STOPPED,
	SIM_EVENT_SIMPLE_REPORT,
};

enum sim_fault_action {
	SIM_FAULT_ERRNO,
	SIM_FAULT_SILENCE,
	SIM_FAULT_NOACK,
	SIM_FAULT_LATE,
	SIM_FAULT_REPEAT,
	/* From here on: the message is written anew (rewrite.c). */
	SIM_FAULT_CMD,
	SIM_FAULT_CUT,
	SIM_FAULT_DROP,
	SIM_FAULT_RESIZE,
	SIM_FAULT_SET,
	SIM_FAULT_RENAME,
	SIM_FAULT_APPEND,
};

/* Actions on a request, before its handler runs. */
#define SIM_FAULTS_OF_REQUEST (BIT(SIM_FAULT_ERRNO) | BIT(SIM_FAULT_SILENCE) | \
			       BIT(SIM_FAULT_NOACK) | BIT(SIM_FAULT_LATE))
/* Actions on a message that is sent. */
#define SIM_FAULTS_OF_REPLY (BIT(SIM_FAULT_REPEAT) | BIT(SIM_FAULT_CMD) | \
			     BIT(SIM_FAULT_CUT) | BIT(SIM_FAULT_DROP) | \
			     BIT(SIM_FAULT_RESIZE) | BIT(SIM_FAULT_SET) | \
			     BIT(SIM_FAULT_RENAME) | BIT(SIM_FAULT_APPEND))
#define SIM_FAULTS_OF_NTF (SIM_FAULTS_OF_REPLY | BIT(SIM_FAULT_SILENCE) | \
			   BIT(SIM_FAULT_LATE))

#define SIM_FAULT_MAX_DEPTH 8
#define SIM_FAULT_MAX_DATA 64
/* Matches every attribute of a path's level. */
#define SIM_FAULT_ANY_ATTR U16_MAX

struct sim_fault {
	struct list_head node;
	/* Radio index, or -1 for all. */
	int radio;
	enum sim_event event;
	enum sim_fault_action action;
	/* Errno, milliseconds, copies, command, bytes or attribute type. */
	u32 arg;
	/* Attribute types from the top of the message. */
	unsigned int depth;
	u16 path[SIM_FAULT_MAX_DEPTH];
	unsigned int len;
	u8 data[SIM_FAULT_MAX_DATA];
	/* Messages that it is still for; 0 for ever. */
	u32 left;
};

/* ---- What messages are (events.c) ---- */

enum sim_event sim_event_of_request(const struct genl_info *info);
enum sim_event sim_event_of_reply(const struct genl_info *info);
/* Of a complete notification. */
enum sim_event sim_event_of_ntf(const struct sk_buff *skb);
/* Is it a call into a region? */
bool sim_event_is_region_call(enum sim_event event);
/* As in the file of faults. */
const char *sim_event_name(enum sim_event event);

/* ---- The faults there are (faults.c), as text (fault_commands.c) ---- */

extern struct list_head sim_faults;

/* Keeps a copy. */
int sim_fault_add(const struct sim_fault *fault);
int sim_faults_write(const char *text, size_t len);
void sim_faults_show(struct seq_file *file);

/* ---- Rewriting (rewrite.c) ---- */

/* A faulty copy of a complete message, or NULL. */
struct sk_buff *sim_rewrite(const struct sk_buff *skb,
			    const struct sim_fault *fault);

/* ---- Late messages (late.c) ---- */

/* Takes a message over and sends it after that many milliseconds. */
int sim_late_add(struct sim_radio *radio, enum sim_event event,
		 struct sk_buff *skb, u32 portid, u32 delay_ms);
/* Acknowledges a request, or refuses it, after that many milliseconds. */
int sim_late_ack(struct sim_radio *radio, const struct genl_info *info,
		 int err, u32 delay_ms);

/* ---- Counts (counts.c) ---- */

/* Takes a message over, sends it, and counts it if it is a notification. */
int sim_send_counted(enum sim_event event, struct sk_buff *skb, u32 portid);
void sim_counts_show(struct seq_file *file);

#endif /* SIM_FAULTS_H */
