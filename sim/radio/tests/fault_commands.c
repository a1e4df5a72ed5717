// SPDX-License-Identifier: GPL-2.0
/*
 * Faults as text: the commands that make them, and those there are.
 */
#include <linux/kernel.h>
#include <linux/seq_file.h>
#include <linux/string.h>

#include "modes/modes.h"
#include "tests/faults.h"
#include "tests/tests.h"
#include "wire/text.h"

#define FAULT_MAX_ERRNO 133
#define FAULT_MAX_MS 60000
#define FAULT_MAX_COPIES 10000
#define FAULT_MAX_RESIZE 1024
#define FAULT_MAX_ATTR 0x3fff

/* What an event is. */
#define EVENT_REQUEST BIT(0)
#define EVENT_REPLY BIT(1)
#define EVENT_NTF BIT(2)

static const struct fault_event {
	const char *name;
	enum sim_event event;
	unsigned int is;
} fault_events[] = {
	{ "hw_query", SIM_EVENT_HW_QUERY, EVENT_REQUEST | EVENT_REPLY },
	{ "hw_dump", SIM_EVENT_HW_DUMP, EVENT_REQUEST | EVENT_REPLY },
	{ "scheduler_set", SIM_EVENT_SCHEDULER_SET, EVENT_REQUEST },
	{ "scheduler_params_set", SIM_EVENT_SCHEDULER_PARAMS_SET,
	  EVENT_REQUEST },
	{ "calibration_set", SIM_EVENT_CALIBRATION_SET,
	  EVENT_REQUEST | EVENT_REPLY },
	{ "calibration_get", SIM_EVENT_CALIBRATION_GET,
	  EVENT_REQUEST | EVENT_REPLY },
	{ "ranging_requests_set", SIM_EVENT_RANGING_REQUESTS_SET,
	  EVENT_REQUEST },
	{ "region_call", SIM_EVENT_REGION_CALL, EVENT_REQUEST },
	{ "fira.init", SIM_EVENT_FIRA_INIT, EVENT_REQUEST },
	{ "fira.start", SIM_EVENT_FIRA_START, EVENT_REQUEST },
	{ "fira.stop", SIM_EVENT_FIRA_STOP, EVENT_REQUEST },
	{ "fira.deinit", SIM_EVENT_FIRA_DEINIT, EVENT_REQUEST },
	{ "fira.set_params", SIM_EVENT_FIRA_SET_PARAMS, EVENT_REQUEST },
	{ "fira.new_controlee", SIM_EVENT_FIRA_NEW_CONTROLEE, EVENT_REQUEST },
	{ "fira.del_controlee", SIM_EVENT_FIRA_DEL_CONTROLEE, EVENT_REQUEST },
	{ "ccc.start", SIM_EVENT_CCC_START, EVENT_REQUEST },
	{ "ccc.stop", SIM_EVENT_CCC_STOP, EVENT_REQUEST },
	{ "fira.report", SIM_EVENT_FIRA_REPORT, EVENT_NTF },
	{ "fira.stopped", SIM_EVENT_FIRA_STOPPED, EVENT_NTF },
	{ "ccc.stopped", SIM_EVENT_CCC_STOPPED, EVENT_NTF },
	{ "simple.report", SIM_EVENT_SIMPLE_REPORT, EVENT_NTF },
};

/* The words that follow an action: in this order, those it has. */
#define HAS_PATH BIT(0)
#define HAS_ARG BIT(1)
#define HAS_DATA BIT(2)

static const struct fault_action {
	const char *name;
	enum sim_fault_action action;
	unsigned int has;
	u32 max_arg;
} fault_actions[] = {
	{ "errno", SIM_FAULT_ERRNO, HAS_ARG, FAULT_MAX_ERRNO },
	{ "silence", SIM_FAULT_SILENCE },
	{ "noack", SIM_FAULT_NOACK },
	{ "late", SIM_FAULT_LATE, HAS_ARG, FAULT_MAX_MS },
	{ "repeat", SIM_FAULT_REPEAT, HAS_ARG, FAULT_MAX_COPIES },
	{ "cmd", SIM_FAULT_CMD, HAS_ARG, U8_MAX },
	{ "cut", SIM_FAULT_CUT, HAS_ARG, U16_MAX },
	{ "drop", SIM_FAULT_DROP, HAS_PATH },
	{ "resize", SIM_FAULT_RESIZE, HAS_PATH | HAS_ARG, FAULT_MAX_RESIZE },
	{ "set", SIM_FAULT_SET, HAS_PATH | HAS_DATA },
	{ "rename", SIM_FAULT_RENAME, HAS_PATH | HAS_ARG, FAULT_MAX_ATTR },
	{ "append", SIM_FAULT_APPEND, HAS_PATH | HAS_ARG | HAS_DATA,
	  FAULT_MAX_ATTR },
};

/* Can this be done to that? */
static bool action_applies(const struct fault_event *event,
			   const struct fault_action *action)
{
	unsigned long actions = 0;

	if (event->is & EVENT_REQUEST)
		actions |= SIM_FAULTS_OF_REQUEST;
	if (event->is & EVENT_REPLY)
		actions |= SIM_FAULTS_OF_REPLY;
	if (event->is & EVENT_NTF)
		actions |= SIM_FAULTS_OF_NTF;
	/* A dump's answers are one stream of messages. */
	if (event->event == SIM_EVENT_HW_DUMP)
		actions &= ~(BIT(SIM_FAULT_NOACK) | BIT(SIM_FAULT_REPEAT));
	return actions & BIT(action->action);
}

/* "8.5.*" to attribute types; "." is the message itself. */
static int parse_path(char *word, struct sim_fault *fault)
{
	char *part;
	u16 type;

	if (!strcmp(word, "."))
		return fault->action == SIM_FAULT_APPEND ? 0 : -EINVAL;
	while ((part = strsep(&word, "."))) {
		if (!strcmp(part, "*"))
			type = SIM_FAULT_ANY_ATTR;
		else if (kstrtou16(part, 10, &type) || type > FAULT_MAX_ATTR)
			return -EINVAL;
		if (fault->depth == SIM_FAULT_MAX_DEPTH)
			return -EINVAL;
		fault->path[fault->depth++] = type;
	}
	return 0;
}

/* Hexadecimal digits; "-" is nothing. */
static int parse_data(const char *word, struct sim_fault *fault)
{
	size_t digits = strlen(word);

	if (!strcmp(word, "-"))
		return 0;
	if (digits % 2 || digits / 2 > SIM_FAULT_MAX_DATA ||
	    hex2bin(fault->data, word, digits / 2))
		return -EINVAL;
	fault->len = digits / 2;
	return 0;
}

/* Nothing (once), "times N" or "always". */
static int parse_times(char **words, int n, struct sim_fault *fault)
{
	fault->left = 1;
	if (!n)
		return 0;
	if (n == 1 && !strcmp(words[0], "always")) {
		fault->left = 0;
		return 0;
	}
	if (n != 2 || strcmp(words[0], "times") ||
	    kstrtou32(words[1], 10, &fault->left) || !fault->left)
		return -EINVAL;
	return 0;
}

/* The words behind the action's name. */
static int parse_arguments(const struct fault_action *action, char **words,
			   int n, struct sim_fault *fault)
{
	int used = hweight32(action->has);

	if (n < used)
		return -EINVAL;
	if ((action->has & HAS_PATH) && parse_path(*words++, fault))
		return -EINVAL;
	if ((action->has & HAS_ARG) &&
	    (kstrtou32(*words++, 0, &fault->arg) ||
	     fault->arg > action->max_arg))
		return -EINVAL;
	if ((action->has & HAS_DATA) && parse_data(*words++, fault))
		return -EINVAL;
	/* This one would silence the request instead. */
	if (action->action == SIM_FAULT_ERRNO &&
	    (!fault->arg || fault->arg == EINTR))
		return -EINVAL;
	return parse_times(words, n - used, fault);
}

/* EVENT ACTION [ARGUMENT...] [times N | always] */
static int cmd_fault(int radio, char **words, int n, bool apply)
{
	const struct fault_action *action;
	const struct fault_event *event;
	struct sim_fault fault = { .radio = radio };

	if (n < 2)
		return -EINVAL;
	event = SIM_NAMED(fault_events, words[0]);
	action = SIM_NAMED(fault_actions, words[1]);
	if (!event || !action || !action_applies(event, action))
		return -EINVAL;
	fault.event = event->event;
	fault.action = action->action;
	if (parse_arguments(action, words + 2, n - 2, &fault))
		return -EINVAL;
	return apply ? sim_fault_add(&fault) : 0;
}

/* fira SESSION REASON, or ccc STOPPED WATCHDOG */
static int cmd_stop(struct sim_radio *radio, char **words, int n, bool apply)
{
	u8 reason, stopped;
	int err = -EINVAL;
	u32 id;

	if (n != 3)
		return -EINVAL;
	if (!strcmp(words[0], "fira")) {
		if (kstrtou32(words[1], 0, &id) ||
		    kstrtou8(words[2], 0, &reason))
			return -EINVAL;
		err = apply ? sim_fira_force_stop(radio, id, reason) : 0;
	} else if (!strcmp(words[0], "ccc")) {
		if (kstrtou8(words[1], 0, &stopped) ||
		    kstrtou8(words[2], 0, &reason))
			return -EINVAL;
		err = apply ? sim_ccc_force_stop(radio, stopped, reason) : 0;
	}
	if (apply)
		sim_radio_kick(radio);
	return err;
}

static int cmd_report_keys(struct sim_radio *radio, char **words, int n,
			   bool apply)
{
	bool all;

	if (n != 1)
		return -EINVAL;
	all = !strcmp(words[0], "all");
	if (!all && strcmp(words[0], "refused"))
		return -EINVAL;
	if (apply)
		sim_cal_report_all(radio, all);
	return 0;
}

/* RADIO COMMAND..., where * is every radio, or "clear". */
static int faults_run_words(char **words, int n, bool apply)
{
	struct sim_radio *radio;
	u32 index;

	if (n == 1 && !strcmp(words[0], "clear")) {
		if (apply)
			sim_faults_clear();
		return 0;
	}
	if (n < 2)
		return -EINVAL;
	if (!strcmp(words[0], "*"))
		return cmd_fault(-1, words + 1, n - 1, apply);
	if (kstrtou32(words[0], 10, &index))
		return -EINVAL;
	radio = sim_radio_get(index);
	if (!radio)
		return -ENODEV;
	if (!strcmp(words[1], "stop"))
		return cmd_stop(radio, words + 2, n - 2, apply);
	if (!strcmp(words[1], "report_keys"))
		return cmd_report_keys(radio, words + 2, n - 2, apply);
	return cmd_fault(index, words + 1, n - 1, apply);
}

int sim_faults_write(const char *text, size_t len)
{
	lockdep_assert_held(&sim_lock);
	return sim_run_lines("faults", text, len, faults_run_words);
}

/* ---- Text ---- */

const char *sim_event_name(enum sim_event event)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(fault_events); i++) {
		if (fault_events[i].event == event)
			return fault_events[i].name;
	}
	return "?";
}

static void show_path(struct seq_file *file, const struct sim_fault *fault)
{
	unsigned int i;

	seq_putc(file, ' ');
	if (!fault->depth)
		seq_putc(file, '.');
	for (i = 0; i < fault->depth; i++) {
		if (i)
			seq_putc(file, '.');
		if (fault->path[i] == SIM_FAULT_ANY_ATTR)
			seq_putc(file, '*');
		else
			seq_printf(file, "%u", fault->path[i]);
	}
}

/* A line that could be written back. */
static void show_fault(struct seq_file *file, const struct sim_fault *fault)
{
	const struct fault_action *action = &fault_actions[fault->action];

	if (fault->radio < 0)
		seq_putc(file, '*');
	else
		seq_printf(file, "%d", fault->radio);
	seq_printf(file, " %s %s", sim_event_name(fault->event), action->name);
	if (action->has & HAS_PATH)
		show_path(file, fault);
	if (action->has & HAS_ARG)
		seq_printf(file, " %u", fault->arg);
	if ((action->has & HAS_DATA) && fault->len)
		seq_printf(file, " %*phN", (int)fault->len, fault->data);
	else if (action->has & HAS_DATA)
		seq_puts(file, " -");
	if (fault->left)
		seq_printf(file, " times %u\n", fault->left);
	else
		seq_puts(file, " always\n");
}

void sim_faults_show(struct seq_file *file)
{
	const struct sim_fault *fault;

	lockdep_assert_held(&sim_lock);
	list_for_each_entry(fault, &sim_faults, node)
		show_fault(file, fault);
}
