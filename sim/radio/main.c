// SPDX-License-Identifier: GPL-2.0
/*
 * The virtual radio: UWB hardware that exists only in this module, for the
 * service and its tests. Module life: who is there is put together here.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/module.h>

#include "core/core.h"
#include "modes/modes.h"
#include "tests/tests.h"

static unsigned int radios = 2;
module_param(radios, uint, 0444);
MODULE_PARM_DESC(radios, "Number of radios, 1 to 8 (default 2)");

/* What is late goes out first; sessions end before what they send is freed. */
static const struct sim_part *const parts[] = {
	&sim_late_part,
	&sim_scheduler_part,
	&sim_fira_part,
	&sim_ccc_part,
	&sim_simple_part,
	&sim_calibration_part,
};

static int radios_create(void)
{
	unsigned int i;
	int err = 0;

	for (i = 0; i < ARRAY_SIZE(parts) && !err; i++)
		err = sim_part_add(parts[i]);
	for (i = 0; i < radios && !err; i++)
		err = sim_radio_create(i);
	if (err)
		sim_radios_destroy();
	return err;
}

/* ---- Sockets that go away ---- */

/* The chain may sleep: close() returns with the sessions stopped. */
static int port_gone(struct notifier_block *nb, unsigned long event, void *data)
{
	struct netlink_notify *notify = data;

	if (event == NETLINK_URELEASE && notify->protocol == NETLINK_GENERIC &&
	    net_eq(notify->net, &init_net))
		sim_radios_port_gone(notify->portid);
	return NOTIFY_DONE;
}

static struct notifier_block port_notifier = {
	.notifier_call = port_gone,
};

/* ---- Module ---- */

static int __init sim_init(void)
{
	int err;

	if (radios < 1 || radios > SIM_MAX_RADIOS) {
		pr_err("radios=%u: 1 to %d\n", radios, SIM_MAX_RADIOS);
		return -EINVAL;
	}
	mutex_lock(&sim_lock);
	sim_world_reset();
	mutex_unlock(&sim_lock);
	sim_tap_set(&sim_fault_tap);
	err = radios_create();
	if (err)
		return err;
	err = netlink_register_notifier(&port_notifier);
	if (err)
		goto err_radios;
	err = sim_wire_register(&sim_requests);
	if (err)
		goto err_notifier;
	sim_debugfs_init();
	return 0;

err_notifier:
	netlink_unregister_notifier(&port_notifier);
err_radios:
	sim_radios_destroy();
	return err;
}

/* The family goes after the radios, whose end is told through it. */
static void __exit sim_exit(void)
{
	sim_debugfs_exit();
	sim_radios_destroy();
	sim_wire_unregister();
	netlink_unregister_notifier(&port_notifier);
	mutex_lock(&sim_lock);
	sim_faults_clear();
	sim_world_reset();
	mutex_unlock(&sim_lock);
}

module_init(sim_init);
module_exit(sim_exit);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Virtual UWB radio for the mcps802154 service");
MODULE_SOFTDEP("pre: mac802154");
