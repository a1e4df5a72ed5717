// SPDX-License-Identifier: GPL-2.0
/*
 * The 802.15.4 side of a radio: what the kernel's mac802154 layer drives.
 */
#define pr_fmt(fmt) KBUILD_MODNAME ": " fmt

#include <linux/module.h>
#include <linux/skbuff.h>

#include "core/core.h"

/* Locally administered, "UWB" and the radio's number from 1. */
#define PHY_EXT_ADDR_BASE 0x0255574200000000ULL
#define PHY_DEFAULT_CHANNEL 9

static int phy_start(struct ieee802154_hw *hw)
{
	sim_radio_set_up(hw->priv, true);
	return 0;
}

static void phy_stop(struct ieee802154_hw *hw)
{
	sim_radio_set_up(hw->priv, false);
}

/* Data frames are not simulated: they go nowhere, successfully. */
static int phy_xmit(struct ieee802154_hw *hw, struct sk_buff *skb)
{
	ieee802154_xmit_complete(hw, skb, false);
	return 0;
}

static int phy_ed(struct ieee802154_hw *hw, u8 *level)
{
	*level = 0;
	return 0;
}

static int phy_set_channel(struct ieee802154_hw *hw, u8 page, u8 channel)
{
	if (page != SIM_UWB_PAGE || channel >= BITS_PER_LONG ||
	    !(SIM_UWB_CHANNELS & BIT(channel)))
		return -EINVAL;
	return 0;
}

static int phy_set_hw_addr_filt(struct ieee802154_hw *hw,
				struct ieee802154_hw_addr_filt *filt,
				unsigned long changed)
{
	struct sim_radio *radio = hw->priv;

	mutex_lock(&sim_lock);
	if (changed & IEEE802154_AFILT_PANID_CHANGED)
		radio->pan_id = le16_to_cpu(filt->pan_id);
	if (changed & IEEE802154_AFILT_SADDR_CHANGED)
		radio->short_addr = le16_to_cpu(filt->short_addr);
	if (changed & IEEE802154_AFILT_IEEEADDR_CHANGED)
		radio->ext_addr = le64_to_cpu(filt->ieee_addr);
	mutex_unlock(&sim_lock);
	return 0;
}

static const struct ieee802154_ops phy_ops = {
	.owner = THIS_MODULE,
	.start = phy_start,
	.stop = phy_stop,
	.xmit_async = phy_xmit,
	.ed = phy_ed,
	.set_channel = phy_set_channel,
	.set_hw_addr_filt = phy_set_hw_addr_filt,
};

struct sim_radio *sim_phy_alloc(unsigned int index)
{
	struct ieee802154_hw *hw;
	struct sim_radio *radio;
	struct wpan_phy *phy;

	hw = ieee802154_alloc_hw(sizeof(*radio), &phy_ops);
	if (!hw)
		return NULL;
	radio = hw->priv;
	radio->index = index;
	radio->hw = hw;
	radio->ext_addr = PHY_EXT_ADDR_BASE + index + 1;
	radio->pan_id = IEEE802154_PANID_BROADCAST;
	radio->short_addr = IEEE802154_ADDR_BROADCAST;

	hw->flags = IEEE802154_HW_AFILT;
	phy = hw->phy;
	phy->supported.channels[SIM_UWB_PAGE] = SIM_UWB_CHANNELS;
	phy->current_page = SIM_UWB_PAGE;
	phy->current_channel = PHY_DEFAULT_CHANNEL;
	phy->perm_extended_addr = cpu_to_le64(radio->ext_addr);
	return radio;
}

int sim_phy_register(struct sim_radio *radio)
{
	int err = ieee802154_register_hw(radio->hw);

	if (err)
		pr_err("radio %u: 802.15.4 registration failed: %d\n",
		       radio->index, err);
	return err;
}
