// SPDX-License-Identifier: GPL-2.0
/*
 * The virtual radio: UWB hardware that exists only in this module, for the
 * service and its tests. Module life, radios and their clocks.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/ktime.h>
#include <linux/module.h>
#include <linux/netlink.h>

#include "sim.h"

static unsigned int radios = 2;
module_param(radios, uint, 0444);
MODULE_PARM_DESC(radios, "Number of radios, 1 to 8 (default 2)");

/* Guards everything, see sim.h. */
DEFINE_MUTEX(sim_lock);

static struct sim_radio *sim_radios[SIM_MAX_RADIOS];

struct sim_radio *sim_radio_get(u32 index)
{
	lockdep_assert_held(&sim_lock);
	if (index >= SIM_MAX_RADIOS || !sim_radios[index] ||
	    sim_radios[index]->gone)
		return NULL;
	return sim_radios[index];
}

struct sim_radio *sim_radio_from(u32 index)
{
	struct sim_radio *radio;

	for (; index < SIM_MAX_RADIOS; index++) {
		radio = sim_radio_get(index);
		if (radio)
			return radio;
	}
	return NULL;
}

/* ---- Clocks ---- */

static u64 radio_next(const struct sim_radio *radio)
{
	u64 next_ns = sim_fira_next(radio);

	next_ns = min(next_ns, sim_ccc_next(radio));
	next_ns = min(next_ns, sim_simple_next(radio));
	return min(next_ns, sim_late_next(radio));
}

void sim_radio_kick(struct sim_radio *radio)
{
	u64 next_ns = radio_next(radio);

	lockdep_assert_held(&sim_lock);
	if (radio->gone || next_ns == SIM_NEVER)
		hrtimer_try_to_cancel(&radio->timer);
	else
		hrtimer_start(&radio->timer, ns_to_ktime(next_ns),
			      HRTIMER_MODE_ABS);
}

static void radio_work(struct kthread_work *work)
{
	struct sim_radio *radio = container_of(work, struct sim_radio, work);
	u64 now_ns;

	mutex_lock(&sim_lock);
	if (!radio->gone) {
		now_ns = ktime_get_ns();
		sim_late_tick(radio, now_ns);
		sim_fira_tick(radio, now_ns);
		sim_ccc_tick(radio, now_ns);
		sim_simple_tick(radio, now_ns);
		sim_radio_kick(radio);
	}
	mutex_unlock(&sim_lock);
}

static enum hrtimer_restart radio_timer(struct hrtimer *timer)
{
	struct sim_radio *radio = container_of(timer, struct sim_radio, timer);

	kthread_queue_work(radio->spi, &radio->work);
	return HRTIMER_NORESTART;
}

/* ---- Radios ---- */

const char *sim_session_state_name(enum sim_session_state state)
{
	static const char *const names[] = {
		[SIM_SESSION_IDLE] = "idle",
		[SIM_SESSION_RUNNING] = "running",
		[SIM_SESSION_STOPPING] = "stopping",
	};

	return names[state];
}

void sim_radio_set_up(struct sim_radio *radio, bool up)
{
	mutex_lock(&sim_lock);
	radio->up = up;
	if (!up) {
		sim_fira_stop_all(radio, SIM_FIRA_STOP_INTERFACE_DOWN);
		sim_ccc_give_up(radio);
		sim_simple_end(radio);
		sim_radio_kick(radio);
	}
	mutex_unlock(&sim_lock);
}

static int radio_start_threads(struct sim_radio *radio)
{
	radio->spi = kthread_create_worker(0, "uwb-spi%u", radio->index);
	if (IS_ERR(radio->spi))
		return PTR_ERR(radio->spi);
	radio->chip = kthread_create_worker(0, "kt7100-spi%u", radio->index);
	if (IS_ERR(radio->chip)) {
		kthread_destroy_worker(radio->spi);
		return PTR_ERR(radio->chip);
	}
	return 0;
}

static void radio_stop_threads(struct sim_radio *radio)
{
	kthread_destroy_worker(radio->spi);
	kthread_destroy_worker(radio->chip);
}

static int radio_create(unsigned int index)
{
	struct sim_radio *radio = sim_phy_alloc(index);
	int err;

	if (!radio)
		return -ENOMEM;
	INIT_LIST_HEAD(&radio->fira_sessions);
	INIT_LIST_HEAD(&radio->late);
	hrtimer_init(&radio->timer, CLOCK_MONOTONIC, HRTIMER_MODE_ABS);
	radio->timer.function = radio_timer;
	kthread_init_work(&radio->work, radio_work);
	sim_scheduler_reset(radio);
	sim_world_home(radio);
	err = sim_cal_init(radio);
	if (err)
		goto err_free;
	err = radio_start_threads(radio);
	if (err)
		goto err_cal;
	err = sim_phy_register(radio);
	if (err)
		goto err_threads;
	mutex_lock(&sim_lock);
	sim_radios[index] = radio;
	mutex_unlock(&sim_lock);
	return 0;

err_threads:
	radio_stop_threads(radio);
err_cal:
	sim_cal_free(radio);
err_free:
	ieee802154_free_hw(radio->hw);
	return err;
}

/*
 * Nothing reaches the radio by its index any more; taking its interface away
 * stops what runs, and tells whoever started it.
 */
static void radio_destroy(struct sim_radio *radio)
{
	mutex_lock(&sim_lock);
	radio->gone = true;
	mutex_unlock(&sim_lock);
	ieee802154_unregister_hw(radio->hw);
	/* The work arms no timer of a radio that is gone. */
	hrtimer_cancel(&radio->timer);
	kthread_cancel_work_sync(&radio->work);
	radio_stop_threads(radio);
	mutex_lock(&sim_lock);
	sim_regions_close(radio);
	sim_late_free(radio);
	sim_radios[radio->index] = NULL;
	mutex_unlock(&sim_lock);
	sim_cal_free(radio);
	ieee802154_free_hw(radio->hw);
}

static void radios_destroy(void)
{
	unsigned int i;

	for (i = 0; i < SIM_MAX_RADIOS; i++) {
		if (sim_radios[i])
			radio_destroy(sim_radios[i]);
	}
}

static int radios_create(void)
{
	unsigned int i;
	int err = 0;

	for (i = 0; i < radios && !err; i++)
		err = radio_create(i);
	if (err)
		radios_destroy();
	return err;
}

/* ---- Sockets that go away ---- */

static int port_gone(struct notifier_block *nb, unsigned long event, void *data)
{
	struct netlink_notify *notify = data;
	struct sim_radio *radio;

	if (event != NETLINK_URELEASE || notify->protocol != NETLINK_GENERIC ||
	    !net_eq(notify->net, &init_net))
		return NOTIFY_DONE;
	/* The chain may sleep: close() returns with the sessions stopped. */
	mutex_lock(&sim_lock);
	sim_for_each_radio(radio) {
		sim_fira_port_gone(radio, notify->portid);
		sim_ccc_port_gone(radio, notify->portid);
		sim_simple_port_gone(radio, notify->portid);
		sim_late_port_gone(radio, notify->portid);
		sim_radio_kick(radio);
	}
	mutex_unlock(&sim_lock);
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
	err = radios_create();
	if (err)
		return err;
	err = netlink_register_notifier(&port_notifier);
	if (err)
		goto err_radios;
	err = sim_genl_register();
	if (err)
		goto err_notifier;
	sim_debugfs_init();
	return 0;

err_notifier:
	netlink_unregister_notifier(&port_notifier);
err_radios:
	radios_destroy();
	return err;
}

/* The family goes after the radios, whose end is told through it. */
static void __exit sim_exit(void)
{
	sim_debugfs_exit();
	radios_destroy();
	sim_genl_unregister();
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
