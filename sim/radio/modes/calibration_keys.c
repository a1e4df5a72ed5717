// SPDX-License-Identifier: GPL-2.0
/*
 * The calibration key store of a radio.
 *
 * Keys come in families: one for each antenna or antenna pair and each channel.
 */
#include <linux/kthread.h>
#include <linux/seq_file.h>
#include <linux/slab.h>

#include "modes/calibration.h"
#include "modes/modes.h"

#define CAL_ANTENNAS 5
#define CAL_PAIRS 7
#define CAL_CHIP_ID 0x7100

enum cal_kind {
	CAL_INT,
	CAL_BYTES,
	CAL_READ_ONLY,
	/* Read-only, and the threads' real process ids. */
	CAL_SPI_PID,
	CAL_CHIP_PID,
};

/*
 * A format with numbers makes a family: the number of an antenna or pair below
 * units, then each channel.
 */
struct sim_cal_spec {
	const char *format;
	enum cal_kind kind;
	unsigned int units;
	s32 min;
	s32 max;
	s32 initial;
	/* Where in the radio the value is, which heeds it; 0 for nowhere. */
	size_t heeded;
};

static const struct sim_cal_spec cal_specs[] = {
	/* Microseconds before deep sleep; -1 keeps the radio awake. */
	{ "auto_sleep_margin", CAL_INT, 0, -1, 10000000, 20000,
	  offsetof(struct sim_radio, auto_sleep_margin) },
	/* Bit set of channels that the country forbids. */
	{ "restricted_channels", CAL_INT, 0, 0, 0xffff, 0,
	  offsetof(struct sim_radio, restricted_channels) },
	{ "xtal_trim", CAL_INT, 0, 0, 127, 64 },
	{ "temperature_ref", CAL_INT, 0, -40, 125, 25 },
	{ "coex_mode", CAL_INT, 0, 0, 3, 0 },
	{ "ant%u_ch%u_delay", CAL_INT, CAL_ANTENNAS, 0, 65535, 16384 },
	{ "ant%u_ch%u_power", CAL_INT, CAL_ANTENNAS, -2147483647 - 1,
	  2147483647, 0 },
	{ "pair%u_ch%u_offset", CAL_INT, CAL_PAIRS, -32768, 32767, 0 },
	{ "pair%u_ch%u_curve", CAL_BYTES, CAL_PAIRS },
	{ "chip_id", CAL_READ_ONLY, .initial = CAL_CHIP_ID },
	{ "spi_pid", CAL_SPI_PID },
	{ "kt7100_pid", CAL_CHIP_PID },
};

struct sim_slot sim_cal_slot = { .size = sizeof(struct sim_cal) };

static const u8 cal_channels[] = { 5, 9 };

static unsigned int cal_family_size(const struct sim_cal_spec *spec)
{
	return spec->units ? spec->units * ARRAY_SIZE(cal_channels) : 1;
}

static void cal_key_init(struct sim_cal_key *key, const struct sim_cal_spec *spec,
			 unsigned int number)
{
	unsigned int unit = number / ARRAY_SIZE(cal_channels);
	unsigned int channel = cal_channels[number % ARRAY_SIZE(cal_channels)];

	key->spec = spec;
	if (spec->units)
		snprintf(key->name, sizeof(key->name), spec->format, unit,
			 channel);
	else
		strscpy(key->name, spec->format, sizeof(key->name));
}

static void cal_store(struct sim_radio *radio, struct sim_cal_key *key, s32 value)
{
	key->value = value;
	if (key->spec->heeded)
		*(s32 *)((void *)radio + key->spec->heeded) = value;
}

int sim_cal_init(struct sim_radio *radio)
{
	struct sim_cal *cal = sim_cal_of(radio);
	struct sim_cal_key *key;
	unsigned int j;
	size_t i;

	for (i = 0; i < ARRAY_SIZE(cal_specs); i++)
		cal->n += cal_family_size(&cal_specs[i]);
	cal->keys = kcalloc(cal->n, sizeof(*cal->keys), GFP_KERNEL);
	if (!cal->keys)
		return -ENOMEM;
	key = cal->keys;
	for (i = 0; i < ARRAY_SIZE(cal_specs); i++) {
		for (j = 0; j < cal_family_size(&cal_specs[i]); j++, key++) {
			cal_key_init(key, &cal_specs[i], j);
			cal_store(radio, key, cal_specs[i].initial);
		}
	}
	return 0;
}

void sim_cal_free(struct sim_radio *radio)
{
	kfree(sim_cal_of(radio)->keys);
}

struct sim_cal_key *sim_cal_find(const struct sim_radio *radio,
				 const char *name)
{
	const struct sim_cal *cal = sim_cal_of(radio);
	unsigned int i;

	for (i = 0; i < cal->n; i++) {
		if (!strcmp(cal->keys[i].name, name))
			return &cal->keys[i];
	}
	return NULL;
}

static s32 cal_value(const struct sim_radio *radio,
		     const struct sim_cal_key *key)
{
	switch (key->spec->kind) {
	case CAL_SPI_PID:
		return task_pid_nr(radio->spi->task);
	case CAL_CHIP_PID:
		return task_pid_nr(radio->chip->task);
	default:
		return key->value;
	}
}

int sim_cal_set(struct sim_radio *radio, struct sim_cal_key *key,
		const struct nlattr *value)
{
	s32 number;

	if (!key)
		return -ENOENT;
	if (!value)
		return -EINVAL;
	switch (key->spec->kind) {
	case CAL_INT:
		if (nla_len(value) != sizeof(number))
			return -EINVAL;
		number = nla_get_s32(value);
		if (number < key->spec->min || number > key->spec->max)
			return -ERANGE;
		cal_store(radio, key, number);
		break;
	case CAL_BYTES:
		if (nla_len(value) < 1 || nla_len(value) > SIM_CAL_MAX_BYTES)
			return -EINVAL;
		key->len = nla_len(value);
		nla_memcpy(key->bytes, value, key->len);
		break;
	default:
		return -EPERM;
	}
	key->writes++;
	return 0;
}

int sim_cal_put_value(struct sk_buff *skb, const struct sim_radio *radio,
		      const struct sim_cal_key *key)
{
	if (key->spec->kind == CAL_BYTES)
		return nla_put(skb, MCPS802154_CALIBRATION_ATTR_VALUE, key->len,
			       key->bytes);
	return nla_put_s32(skb, MCPS802154_CALIBRATION_ATTR_VALUE,
			   cal_value(radio, key));
}

/* ---- Text ---- */

static void cal_show_bytes(struct seq_file *file, const struct sim_cal_key *key)
{
	unsigned int i;

	if (!key->len)
		seq_putc(file, '-');
	for (i = 0; i < key->len; i++)
		seq_printf(file, "%s%02x", i ? ":" : "", key->bytes[i]);
}

void sim_cal_show(struct seq_file *file, const struct sim_radio *radio)
{
	const struct sim_cal *cal = sim_cal_of(radio);
	const struct sim_cal_key *key;

	for (key = cal->keys; key < cal->keys + cal->n; key++) {
		seq_printf(file, "%s ", key->name);
		if (key->spec->kind == CAL_BYTES)
			cal_show_bytes(file, key);
		else
			seq_printf(file, "%d", cal_value(radio, key));
		seq_printf(file, " writes %u", key->writes);
		seq_puts(file, key->spec->kind >= CAL_READ_ONLY ?
			       " read-only\n" : "\n");
	}
}
