// SPDX-License-Identifier: GPL-2.0
/*
 * The calibration key store of a radio.
 *
 * Keys come in families: one for each antenna or antenna pair and each channel.
 */
#include <linux/kthread.h>
#include <linux/seq_file.h>
#include <linux/slab.h>

#include "sim.h"

/* A longer key, with its NUL, would not fit where the service reads it back. */
#define CAL_NAME_SIZE 20
#define CAL_MAX_NAME 63
#define CAL_MAX_BYTES 128
#define CAL_MAX_VALUE 1024

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
struct cal_spec {
	const char *format;
	enum cal_kind kind;
	unsigned int units;
	s32 min;
	s32 max;
	s32 initial;
};

static const struct cal_spec cal_specs[] = {
	/* Microseconds before deep sleep; -1 keeps the radio awake. */
	{ SIM_CAL_AUTO_SLEEP_MARGIN, CAL_INT, 0, -1, 10000000, 20000 },
	/* Bit set of channels that the country forbids. */
	{ SIM_CAL_RESTRICTED_CHANNELS, CAL_INT, 0, 0, 0xffff, 0 },
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

struct sim_cal_key {
	char name[CAL_NAME_SIZE];
	const struct cal_spec *spec;
	s32 value;
	unsigned int len;
	u8 bytes[CAL_MAX_BYTES];
	/* How often it was set. */
	unsigned int writes;
};

static const u8 cal_channels[] = { 5, 9 };

static const struct nla_policy
cal_policy[MCPS802154_CALIBRATION_ATTR_MAX + 1] = {
	[MCPS802154_CALIBRATION_ATTR_KEY] = {
		.type = NLA_NUL_STRING, .len = CAL_MAX_NAME },
	[MCPS802154_CALIBRATION_ATTR_VALUE] = {
		.type = NLA_BINARY, .len = CAL_MAX_VALUE },
};

/* ---- The store ---- */

static unsigned int cal_family_size(const struct cal_spec *spec)
{
	return spec->units ? spec->units * ARRAY_SIZE(cal_channels) : 1;
}

static void cal_key_init(struct sim_cal_key *key, const struct cal_spec *spec,
			 unsigned int number)
{
	unsigned int unit = number / ARRAY_SIZE(cal_channels);
	unsigned int channel = cal_channels[number % ARRAY_SIZE(cal_channels)];

	key->spec = spec;
	key->value = spec->initial;
	if (spec->units)
		snprintf(key->name, sizeof(key->name), spec->format, unit,
			 channel);
	else
		strscpy(key->name, spec->format, sizeof(key->name));
}

int sim_cal_init(struct sim_radio *radio)
{
	struct sim_cal_key *key;
	unsigned int n = 0;
	unsigned int j;
	size_t i;

	for (i = 0; i < ARRAY_SIZE(cal_specs); i++)
		n += cal_family_size(&cal_specs[i]);
	radio->cal_keys = kcalloc(n, sizeof(*radio->cal_keys), GFP_KERNEL);
	if (!radio->cal_keys)
		return -ENOMEM;
	radio->n_cal_keys = n;
	key = radio->cal_keys;
	for (i = 0; i < ARRAY_SIZE(cal_specs); i++) {
		for (j = 0; j < cal_family_size(&cal_specs[i]); j++)
			cal_key_init(key++, &cal_specs[i], j);
	}
	return 0;
}

void sim_cal_free(struct sim_radio *radio)
{
	kfree(radio->cal_keys);
}

static struct sim_cal_key *cal_find(const struct sim_radio *radio,
				    const char *name)
{
	unsigned int i;

	for (i = 0; i < radio->n_cal_keys; i++) {
		if (!strcmp(radio->cal_keys[i].name, name))
			return &radio->cal_keys[i];
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

s32 sim_cal_get(const struct sim_radio *radio, const char *name)
{
	const struct sim_cal_key *key = cal_find(radio, name);

	return key ? cal_value(radio, key) : 0;
}

/* Sets a key; the result is the key's status. */
static int cal_set(struct sim_cal_key *key, const struct nlattr *value)
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
		key->value = number;
		break;
	case CAL_BYTES:
		if (nla_len(value) < 1 || nla_len(value) > CAL_MAX_BYTES)
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

/* ---- Requests ---- */

static int cal_parse(struct nlattr **tb, const struct nlattr *element,
		     struct netlink_ext_ack *extack)
{
	int err;

	if (nla_type(element) != MCPS802154_CALIBRATIONS_ELEMENT)
		return sim_refuse(extack, element, -EINVAL,
				  "not a calibration key");
	err = sim_parse_nested(tb, MCPS802154_CALIBRATION_ATTR_MAX, element,
			       cal_policy, extack);
	if (err)
		return err;
	if (!tb[MCPS802154_CALIBRATION_ATTR_KEY])
		return sim_refuse(extack, element, -EINVAL,
				  "calibration without key");
	return 0;
}

/* Checks the whole list, so that a malformed one changes nothing. */
static int cal_check_list(const struct nlattr *list, unsigned int *n,
			  struct netlink_ext_ack *extack)
{
	struct nlattr *tb[MCPS802154_CALIBRATION_ATTR_MAX + 1];
	const struct nlattr *element;
	int rem;
	int err;

	*n = 0;
	nla_for_each_nested(element, list, rem) {
		err = cal_parse(tb, element, extack);
		if (err)
			return err;
		(*n)++;
	}
	if (rem)
		return sim_refuse(extack, list, -EINVAL,
				  "junk behind the calibration keys");
	return 0;
}

/* An element of a reply; a name too long to be read back is left out. */
static int cal_put(struct sk_buff *skb, const char *name,
		   const struct sim_radio *radio,
		   const struct sim_cal_key *key, int status)
{
	struct nlattr *nest = nla_nest_start(skb,
					     MCPS802154_CALIBRATIONS_ELEMENT);
	s32 number;

	if (!nest)
		return -EMSGSIZE;
	if (strlen(name) < CAL_NAME_SIZE &&
	    nla_put_string(skb, MCPS802154_CALIBRATION_ATTR_KEY, name))
		return -EMSGSIZE;
	if (key && key->spec->kind == CAL_BYTES) {
		if (nla_put(skb, MCPS802154_CALIBRATION_ATTR_VALUE, key->len,
			    key->bytes))
			return -EMSGSIZE;
	} else if (key) {
		number = cal_value(radio, key);
		if (nla_put_s32(skb, MCPS802154_CALIBRATION_ATTR_VALUE, number))
			return -EMSGSIZE;
	}
	if (nla_put_s32(skb, MCPS802154_CALIBRATION_ATTR_STATUS, status))
		return -EMSGSIZE;
	nla_nest_end(skb, nest);
	return 0;
}

static size_t cal_reply_size(unsigned int n)
{
	return NLMSG_DEFAULT_SIZE +
	       n * (nla_total_size(0) + nla_total_size(CAL_NAME_SIZE) +
		    nla_total_size(CAL_MAX_BYTES) + nla_total_size(sizeof(s32)));
}

/*
 * Sets the keys of a list and puts the status of those refused, or of all. Who
 * gets a name back takes it for a failed key, and the last status for that of
 * the whole list: so, by default, accepted keys are not mentioned.
 */
static int cal_set_list(struct sim_radio *radio, const struct nlattr *list,
			struct sk_buff *skb)
{
	struct nlattr *tb[MCPS802154_CALIBRATION_ATTR_MAX + 1];
	const struct nlattr *element;
	const char *name;
	int rem;
	int status;

	nla_for_each_nested(element, list, rem) {
		cal_parse(tb, element, NULL);
		name = nla_data(tb[MCPS802154_CALIBRATION_ATTR_KEY]);
		status = cal_set(cal_find(radio, name),
				 tb[MCPS802154_CALIBRATION_ATTR_VALUE]);
		if ((status || radio->cal_report_all) &&
		    cal_put(skb, name, radio, NULL, status))
			return -EMSGSIZE;
	}
	return 0;
}

static int cal_get_list(struct sim_radio *radio, const struct nlattr *list,
			struct sk_buff *skb)
{
	struct nlattr *tb[MCPS802154_CALIBRATION_ATTR_MAX + 1];
	const struct sim_cal_key *key;
	const struct nlattr *element;
	const char *name;
	int rem;

	nla_for_each_nested(element, list, rem) {
		cal_parse(tb, element, NULL);
		name = nla_data(tb[MCPS802154_CALIBRATION_ATTR_KEY]);
		key = cal_find(radio, name);
		if (cal_put(skb, name, radio, key, key ? 0 : -ENOENT))
			return -EMSGSIZE;
	}
	return 0;
}

static int cal_get_all(struct sim_radio *radio, struct sk_buff *skb)
{
	unsigned int i;

	for (i = 0; i < radio->n_cal_keys; i++) {
		if (cal_put(skb, radio->cal_keys[i].name, radio,
			    &radio->cal_keys[i], 0))
			return -EMSGSIZE;
	}
	return 0;
}

/* Runs a checked list and answers. */
static int cal_answer(struct sim_radio *radio, struct genl_info *info,
		      const struct nlattr *list, unsigned int n)
{
	u8 cmd = info->genlhdr->cmd;
	struct nlattr *nest;
	struct sk_buff *skb;
	void *hdr;
	int err;

	skb = sim_reply_new(radio, info, cmd,
			    cal_reply_size(n ? n : radio->n_cal_keys), &hdr);
	if (!skb)
		return -ENOMEM;
	nest = nla_nest_start(skb, MCPS802154_ATTR_CALIBRATIONS);
	if (!nest)
		err = -EMSGSIZE;
	else if (cmd == MCPS802154_CMD_CALIBRATION_SET)
		err = cal_set_list(radio, list, skb);
	else if (n)
		err = cal_get_list(radio, list, skb);
	else
		err = cal_get_all(radio, skb);
	if (err) {
		nlmsg_free(skb);
		return err;
	}
	nla_nest_end(skb, nest);
	genlmsg_end(skb, hdr);
	return sim_reply_send(radio, info, skb);
}

int sim_cal_request(struct sim_radio *radio, struct genl_info *info)
{
	const struct nlattr *list = info->attrs[MCPS802154_ATTR_CALIBRATIONS];
	unsigned int n = 0;
	int err;

	if (list) {
		err = cal_check_list(list, &n, info->extack);
		if (err)
			return err;
	}
	if (!n && info->genlhdr->cmd == MCPS802154_CMD_CALIBRATION_SET)
		return sim_refuse(info->extack, list, -EINVAL,
				  "no calibration keys");
	return cal_answer(radio, info, list, n);
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
	const struct sim_cal_key *key;
	unsigned int i;

	for (i = 0; i < radio->n_cal_keys; i++) {
		key = &radio->cal_keys[i];
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
