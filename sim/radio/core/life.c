// SPDX-License-Identifier: GPL-2.0
/*
 * Radios come and go.
 */
#include <linux/kernel.h>

#include "core/core.h"

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

int sim_radio_create(unsigned int index)
{
	struct sim_radio *radio = sim_phy_alloc(index);
	int err;

	if (!radio)
		return -ENOMEM;
	sim_radio_clock_init(radio);
	err = sim_parts_init(radio);
	if (err)
		goto err_free;
	err = radio_start_threads(radio);
	if (err)
		goto err_parts;
	mutex_lock(&sim_lock);
	radio->body = sim_world_add_radio(index);
	mutex_unlock(&sim_lock);
	err = sim_phy_register(radio);
	if (err)
		goto err_threads;
	mutex_lock(&sim_lock);
	sim_radio_put(index, radio);
	mutex_unlock(&sim_lock);
	return 0;

err_threads:
	mutex_lock(&sim_lock);
	sim_world_remove_radio(index);
	mutex_unlock(&sim_lock);
	radio_stop_threads(radio);
err_parts:
	sim_parts_free(radio);
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
	sim_radio_clock_stop(radio);
	radio_stop_threads(radio);
	mutex_lock(&sim_lock);
	sim_parts_free(radio);
	sim_world_remove_radio(radio->index);
	sim_radio_put(radio->index, NULL);
	mutex_unlock(&sim_lock);
	ieee802154_free_hw(radio->hw);
}

void sim_radios_destroy(void)
{
	struct sim_radio *radio;

	for (;;) {
		mutex_lock(&sim_lock);
		radio = sim_radio_from(0);
		mutex_unlock(&sim_lock);
		if (!radio)
			return;
		radio_destroy(radio);
	}
}
