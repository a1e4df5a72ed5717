// SPDX-License-Identifier: GPL-2.0
/*
 * What became of notifications since the module was loaded: what a service
 * says that it got can be compared with what it was given.
 */
#include <linux/seq_file.h>

#include "tests/faults.h"
#include "tests/tests.h"

#define FIRST SIM_EVENT_FIRA_REPORT
#define LAST SIM_EVENT_SIMPLE_REPORT

static struct count {
	/* Taken by the receiver's socket. */
	u64 delivered;
	/* Its buffer was full, or it is gone. */
	u64 refused;
} counts[LAST - FIRST + 1];

int sim_send_counted(enum sim_event event, struct sk_buff *skb, u32 portid)
{
	int err = sim_message_send(skb, portid);

	lockdep_assert_held(&sim_lock);
	if (event < FIRST)
		return err;
	if (err)
		counts[event - FIRST].refused++;
	else
		counts[event - FIRST].delivered++;
	return err;
}

void sim_counts_show(struct seq_file *file)
{
	unsigned int event;

	lockdep_assert_held(&sim_lock);
	for (event = FIRST; event <= LAST; event++)
		seq_printf(file, "%s delivered %llu refused %llu\n",
			   sim_event_name(event),
			   counts[event - FIRST].delivered,
			   counts[event - FIRST].refused);
}
