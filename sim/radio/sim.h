/* SPDX-License-Identifier: GPL-2.0 */
/*
 * The virtual radio: shared declarations.
 *
 * One mutex, sim_lock, guards everything: radios, sessions and the world. Two
 * radios read each other's sessions and all share one noise source, so finer
 * locks would only add orders to get wrong. It nests inside the generic netlink
 * mutex, inside RTNL and inside the netlink notifier chain; nothing that takes
 * one of those runs under it.
 */
#ifndef SIM_H
#define SIM_H

#include <linux/hrtimer.h>
#include <linux/kthread.h>
#include <linux/list.h>
#include <linux/lockdep.h>
#include <linux/mutex.h>
#include <linux/netlink.h>
#include <linux/types.h>
#include <net/genetlink.h>
#include <net/mac802154.h>
#include <net/netlink.h>

#include "net/mcps802154.h"

#define SIM_MAX_RADIOS 8
#define SIM_MAX_REGIONS 4
#define SIM_MAX_FIRA_SESSIONS 16
#define SIM_MAX_CONTROLEES 16
#define SIM_MAX_SIMPLE_REQUESTS 16

#define SIM_UWB_PAGE 4
#define SIM_UWB_CHANNELS (BIT(5) | BIT(9))

/* A radio needs this long to wake; a start is acknowledged well before. */
#define SIM_WAKE_NS (20ULL * NSEC_PER_MSEC)
/* From a stop's acknowledgment to its notification. */
#define SIM_STOP_NS (5ULL * NSEC_PER_MSEC)
/* A machine that was held up this long skips blocks instead of making up. */
#define SIM_MAX_LATE_NS (2ULL * NSEC_PER_SEC)

/* Calibration keys that the radio itself heeds. */
#define SIM_CAL_AUTO_SLEEP_MARGIN "auto_sleep_margin"
#define SIM_CAL_RESTRICTED_CHANNELS "restricted_channels"

/* A deadline that never comes. */
#define SIM_NEVER U64_MAX

/*
 * Everything strict but the nested flag, which the service leaves out where
 * older drivers did not look at it.
 */
#define SIM_NL_STRICT (NL_VALIDATE_TRAILING | NL_VALIDATE_MAXTYPE | \
		       NL_VALIDATE_UNSPEC | NL_VALIDATE_STRICT_ATTRS)

struct dentry;
struct seq_file;
struct sim_radio;

extern struct mutex sim_lock;

enum sim_session_state {
	SIM_SESSION_IDLE,
	SIM_SESSION_RUNNING,
	/* The stop was acknowledged, its notification is due. */
	SIM_SESSION_STOPPING,
};

const char *sim_session_state_name(enum sim_session_state state);

/* ---- The world (world.c) ---- */

/* Micrometres, or micrometres a second. */
struct sim_vec {
	s64 x, y, z;
};

/* A thing in the world: where it was at a time, and its constant velocity. */
struct sim_body {
	struct sim_vec pos;
	struct sim_vec vel;
	u64 since_ns;
	bool los;
};

/* What a radio measures of a peer: the truth with noise. */
struct sim_sight {
	s32 distance_mm;
	s32 azimuth_urad;
	s32 elevation_urad;
	/* Phase differences between the antennas of each pair. */
	s32 azimuth_pdoa_urad;
	s32 elevation_pdoa_urad;
	bool los;
};

void sim_world_reset(void);
void sim_world_home(struct sim_radio *radio);
int sim_world_write(const char *text, size_t len);
void sim_world_show(struct seq_file *file);
const struct sim_body *sim_world_tag(u64 addr);
void sim_world_sight(const struct sim_body *from, const struct sim_body *to,
		     u64 when_ns, struct sim_sight *sight);

/* ---- FiRa sessions (region_fira.c, fira_params.c, fira_report.c) ---- */

/*
 * Why a session stopped. The first two are FiRa's own numbers, the others lie
 * in its vendor range.
 */
enum sim_fira_stop_reason {
	SIM_FIRA_STOP_ASKED = 0x00,
	SIM_FIRA_STOP_MAX_RR_RETRY = 0x01,
	SIM_FIRA_STOP_INTERFACE_DOWN = 0x80,
	SIM_FIRA_STOP_REGION_CLOSED = 0x81,
};

#define SIM_FIRA_STS_IV_VENDOR_LEN 8

/* Parameters as they arrived, by attribute number. */
struct sim_fira_params {
	u64 present;
	u32 value[FIRA_SESSION_PARAM_MAX + 1];
	u8 sts_iv_vendor[SIM_FIRA_STS_IV_VENDOR_LEN];
};

struct sim_fira_controlee {
	u16 addr;
	bool has_sub_session;
	u32 sub_session;
};

struct sim_fira_session {
	struct list_head node;
	u32 id;
	enum sim_session_state state;
	struct sim_fira_params params;
	unsigned int n_controlees;
	struct sim_fira_controlee controlees[SIM_MAX_CONTROLEES];
	/* Running and stopping only: */
	u32 portid;
	u64 due_ns;
	u32 block;
	u32 failed_blocks;
};

static inline bool sim_fira_has(const struct sim_fira_params *params, int attr)
{
	return params->present & BIT_ULL(attr);
}

/* Value of a numeric parameter; 0, the driver's default, when it never came. */
static inline u32 sim_fira_get(const struct sim_fira_params *params, int attr)
{
	return sim_fira_has(params, attr) ? params->value[attr] : 0;
}

int sim_fira_params_parse(struct sim_fira_params *params,
			  const struct nlattr *nest,
			  struct netlink_ext_ack *extack);
int sim_fira_params_complete(const struct sim_fira_params *params,
			     struct netlink_ext_ack *extack);
void sim_fira_params_show(struct seq_file *file,
			  const struct sim_fira_params *params);

bool sim_fira_send_report(struct sim_radio *radio,
			  struct sim_fira_session *session);
void sim_fira_send_stopped(struct sim_radio *radio,
			   struct sim_fira_session *session, u8 reason);

/* Runs what is due; at most one block a session, so that the lock is let go. */
void sim_fira_tick(struct sim_radio *radio, u64 now_ns);
/* The earliest deadline. */
u64 sim_fira_next(const struct sim_radio *radio);
void sim_fira_stop_all(struct sim_radio *radio, u8 reason);
/* Stops one running session; -ENOENT when there is none of that number. */
int sim_fira_force_stop(struct sim_radio *radio, u32 id, u8 reason);
void sim_fira_port_gone(struct sim_radio *radio, u32 portid);
void sim_fira_show(struct seq_file *file, const struct sim_radio *radio);

/* ---- CCC sessions (region_nfcc_coex.c) ---- */

struct sim_ccc {
	enum sim_session_state state;
	u32 portid;
	u64 due_ns;
	/* Of the last start: */
	u64 time0_ns;
	u8 channel;
	unsigned int starts;
};

void sim_ccc_tick(struct sim_radio *radio, u64 now_ns);
u64 sim_ccc_next(const struct sim_radio *radio);
void sim_ccc_give_up(struct sim_radio *radio);
int sim_ccc_force_stop(struct sim_radio *radio, u8 stopped, u8 watchdog);
void sim_ccc_port_gone(struct sim_radio *radio, u32 portid);
void sim_ccc_show(struct seq_file *file, const struct sim_radio *radio);

/* ---- Simple ranging (simple_ranging.c) ---- */

struct sim_simple_request {
	u32 id;
	u32 param;
	u64 peer;
};

/* What runs as long as there are requests. */
struct sim_simple {
	u32 portid;
	unsigned int n;
	struct sim_simple_request requests[SIM_MAX_SIMPLE_REQUESTS];
	u64 slot_ns;
	u64 round_ns;
	/* Start of the round, and whose turn it is in it. */
	u64 start_ns;
	unsigned int next;
};

int sim_simple_requests_set(struct sim_radio *radio, struct genl_info *info);
void sim_simple_tick(struct sim_radio *radio, u64 now_ns);
u64 sim_simple_next(const struct sim_radio *radio);
void sim_simple_end(struct sim_radio *radio);
void sim_simple_port_gone(struct sim_radio *radio, u32 portid);
void sim_simple_show(struct seq_file *file, const struct sim_radio *radio);

/* ---- Calibration (calibration.c) ---- */

struct sim_cal_key;

int sim_cal_init(struct sim_radio *radio);
void sim_cal_free(struct sim_radio *radio);
/* Value of a numeric key. */
s32 sim_cal_get(const struct sim_radio *radio, const char *name);
int sim_cal_request(struct sim_radio *radio, struct genl_info *info);
void sim_cal_show(struct seq_file *file, const struct sim_radio *radio);

/* ---- Schedulers and regions (scheduler.c) ---- */

struct sim_region_ops {
	const char *name;
	int (*call)(struct sim_radio *radio, u32 call,
		    const struct nlattr *params, struct genl_info *info);
	/* Forget everything: the region is dropped by its scheduler. */
	void (*close)(struct sim_radio *radio);
};

extern const struct sim_region_ops sim_region_fira;
extern const struct sim_region_ops sim_region_nfcc_coex;

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

void sim_scheduler_reset(struct sim_radio *radio);
bool sim_scheduler_is(const struct sim_radio *radio, const char *name);
int sim_scheduler_set(struct sim_radio *radio, struct genl_info *info);
int sim_scheduler_params_set(struct sim_radio *radio, struct genl_info *info);
int sim_region_call(struct sim_radio *radio, struct genl_info *info);
void sim_regions_close(struct sim_radio *radio);
const struct sim_region *sim_region_find(const struct sim_radio *radio,
					 const char *name);

/* ---- Radios (main.c, phy.c) ---- */

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

	const struct sim_scheduler *scheduler;
	struct sim_scheduler_params scheduler_params;
	unsigned int n_regions;
	struct sim_region regions[SIM_MAX_REGIONS];

	struct list_head fira_sessions;
	struct sim_ccc ccc;
	struct sim_simple simple;
	struct sim_body body;

	struct sim_cal_key *cal_keys;
	unsigned int n_cal_keys;
	/* Accepted keys are reported as well as refused ones. */
	bool cal_report_all;

	/* Messages held back by a fault. */
	struct list_head late;

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

/* The radio of an index, or NULL. */
struct sim_radio *sim_radio_get(u32 index);

/* The first radio from an index on, or NULL. */
struct sim_radio *sim_radio_from(u32 index);

#define sim_for_each_radio(radio) \
	for ((radio) = sim_radio_from(0); (radio); \
	     (radio) = sim_radio_from((radio)->index + 1))

/* Sets the timer for the earliest deadline; call it after any change. */
void sim_radio_kick(struct sim_radio *radio);
/* The interface went up or down. */
void sim_radio_set_up(struct sim_radio *radio, bool up);

/* Refuses channels that the radio lacks or the country forbids. */
int sim_channel_check(const struct sim_radio *radio, u32 channel,
		      struct netlink_ext_ack *extack);

int sim_phy_register(struct sim_radio *radio);
struct sim_radio *sim_phy_alloc(unsigned int index);

/* ---- Faults (faults.c) ---- */

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

/* Uses up one of the first fault that fits; false when there is none. */
bool sim_fault_take(const struct sim_radio *radio, enum sim_event event,
		    unsigned long actions, struct sim_fault *fault);
int sim_faults_write(const char *text, size_t len);
void sim_faults_show(struct seq_file *file);
void sim_faults_clear(void);

/* A faulty copy of a complete message, or NULL. */
struct sk_buff *sim_rewrite(const struct sk_buff *skb,
			    const struct sim_fault *fault);

/* ---- Late messages (late.c) ---- */

/* Takes a message over and sends it after that many milliseconds. */
int sim_late_add(struct sim_radio *radio, struct sk_buff *skb, u32 portid,
		 u32 delay_ms);
/* Acknowledges a request, or refuses it, after that many milliseconds. */
int sim_late_ack(struct sim_radio *radio, const struct genl_info *info,
		 int err, u32 delay_ms);
void sim_late_tick(struct sim_radio *radio, u64 now_ns);
u64 sim_late_next(const struct sim_radio *radio);
void sim_late_port_gone(struct sim_radio *radio, u32 portid);
void sim_late_free(struct sim_radio *radio);

/* ---- Generic netlink (genl.c) ---- */

/* A region notification that is being written. */
struct sim_region_ntf {
	struct sk_buff *skb;
	void *hdr;
	struct nlattr *call;
	struct nlattr *params;
};

int sim_genl_register(void);
void sim_genl_unregister(void);

/* Notes why a request is refused, for the sender and in the kernel log. */
int sim_refuse(struct netlink_ext_ack *extack, const struct nlattr *attr,
	       int err, const char *why);
int sim_parse_nested(struct nlattr **tb, int max, const struct nlattr *nest,
		     const struct nla_policy *policy,
		     struct netlink_ext_ack *extack);

int sim_region_ntf_begin(struct sim_region_ntf *ntf,
			 const struct sim_radio *radio, const char *region,
			 u32 call);
/* Unicasts it; takes the message over. */
void sim_region_ntf_send(struct sim_region_ntf *ntf, struct sim_radio *radio,
			 enum sim_event event, u32 portid);
void sim_region_ntf_drop(struct sim_region_ntf *ntf);

/* A notification, and a reply, with the hardware index in it. */
struct sk_buff *sim_ntf_new(const struct sim_radio *radio, u8 cmd, void **hdr);
struct sk_buff *sim_reply_new(const struct sim_radio *radio,
			      const struct genl_info *info, u8 cmd, size_t size,
			      void **hdr);
/* Unicast a finished one; take it over. */
void sim_ntf_send(struct sim_radio *radio, enum sim_event event,
		  struct sk_buff *skb, u32 portid);
int sim_reply_send(struct sim_radio *radio, struct genl_info *info,
		   struct sk_buff *skb);

/* ---- Text commands (text.c) ---- */

/* Runs one line's words, or only checks them. */
typedef int (*sim_line_fn)(char **words, int n, bool apply);

/*
 * Runs a text line by line, after all of it was checked; blank lines and lines
 * that begin with # count for nothing. A bad line is named in the kernel log.
 */
int sim_run_lines(const char *what, const char *text, size_t len,
		  sim_line_fn run);

/* ---- debugfs (debugfs.c) ---- */

void sim_debugfs_init(void);
void sim_debugfs_exit(void);

#endif /* SIM_H */
