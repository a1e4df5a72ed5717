// SPDX-License-Identifier: GPL-2.0
/*
 * The radios that there are, and their clocks.
 */
#include <linux/ktime.h>

#include "core/core.h"

static struct sim_radio *sim_radios[SIM_MAX_RADIOS];

void sim_radio_put(unsigned int index, struct sim_radio *radio)
{
	lockdep_assert_held(&sim_lock);
	sim_radios[index] = radio;
}

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

int sim_channel_check(const struct sim_radio *radio, u32 channel,
		      struct netlink_ext_ack *extack)
{
	if (channel >= BITS_PER_LONG || !(SIM_UWB_CHANNELS & BIT(channel)))
		return sim_refuse(extack, NULL, -EINVAL, "no such channel");
	if (radio->restricted_channels & BIT(channel))
		return sim_refuse(extack, NULL, -EPERM,
				  "the channel is restricted");
	return 0;
}

const char *sim_session_state_name(enum sim_session_state state)
{
	static const char *const names[] = {
		[SIM_SESSION_IDLE] = "idle",
		[SIM_SESSION_RUNNING] = "running",
		[SIM_SESSION_STOPPING] = "stopping",
	};

	return names[state];
}

const struct sim_region *sim_region_find(const struct sim_radio *radio,
					 const char *name)
{
	unsigned int i;

	for (i = 0; i < radio->n_regions; i++) {
		if (!strcmp(radio->regions[i].ops->name, name))
			return &radio->regions[i];
	}
	return NULL;
}

/* ---- Clocks ---- */

void sim_radio_kick(struct sim_radio *radio)
{
	u64 next_ns = sim_parts_next(radio);

	lockdep_assert_held(&sim_lock);
	if (radio->gone || next_ns == SIM_NEVER)
		hrtimer_try_to_cancel(&radio->timer);
	else
		hrtimer_start(&radio->timer,
			      ns_to_ktime(sim_time_real(next_ns)),
			      HRTIMER_MODE_ABS);
}

static void radio_work(struct kthread_work *work)
{
	struct sim_radio *radio = container_of(work, struct sim_radio, work);

	mutex_lock(&sim_lock);
	if (!radio->gone) {
		sim_parts_tick(radio, sim_time_now());
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

void sim_radio_clock_init(struct sim_radio *radio)
{
	hrtimer_init(&radio->timer, CLOCK_MONOTONIC, HRTIMER_MODE_ABS);
	radio->timer.function = radio_timer;
	kthread_init_work(&radio->work, radio_work);
}

void sim_radio_clock_stop(struct sim_radio *radio)
{
	/* The work arms no timer of a radio that is gone. */
	hrtimer_cancel(&radio->timer);
	kthread_cancel_work_sync(&radio->work);
}

/* ---- Ends from outside ---- */

void sim_radio_set_up(struct sim_radio *radio, bool up)
{
	mutex_lock(&sim_lock);
	radio->up = up;
	if (!up) {
		sim_parts_down(radio);
		sim_radio_kick(radio);
	}
	mutex_unlock(&sim_lock);
}

void sim_radios_port_gone(u32 portid)
{
	struct sim_radio *radio;

	mutex_lock(&sim_lock);
	sim_for_each_radio(radio) {
		sim_parts_port_gone(radio, portid);
		sim_radio_kick(radio);
	}
	mutex_unlock(&sim_lock);
}
