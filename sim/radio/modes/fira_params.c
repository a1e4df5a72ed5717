// SPDX-License-Identifier: GPL-2.0
/*
 * FiRa session parameters: what each may be, and how they are kept.
 */
#include <linux/math64.h>
#include <linux/seq_file.h>
#include <linux/string.h>

#include "modes/fira.h"

/* A frame, and the time to turn from hearing to sending: 200 us. */
#define PARAM_MIN_SLOT_RSTU 240
#define PARAM_MAX_BLOCK_MS 3600000
#define PARAM_MAX_INITIATION_MS 60000
#define PARAM_MAX_STRIDE 65535
#define PARAM_MAX_RETRY 65535

/* Length in bytes, then either a range or the set of the values allowed. */
struct fira_param_spec {
	const char *refusal;
	u8 len;
	u32 min;
	u32 max;
	u32 set;
};

#define RANGE(_attr, _type, _min, _max, _name) \
	[FIRA_SESSION_PARAM_ ## _attr] = { \
		.refusal = "bad " _name, .len = sizeof(_type), \
		.min = (_min), .max = (_max) }
#define ONE_OF(_attr, _type, _set, _name) \
	[FIRA_SESSION_PARAM_ ## _attr] = { \
		.refusal = "bad " _name, .len = sizeof(_type), .set = (_set) }
#define FLAG(_attr, _name) RANGE(_attr, u8, 0, 1, _name)

static const struct fira_param_spec fira_specs[FIRA_SESSION_PARAM_MAX + 1] = {
	FLAG(DEVICE_TYPE, "device type"),
	FLAG(DEVICE_ROLE, "device role"),
	RANGE(RANGING_ROUND_USAGE, u8, 1, 2, "ranging round usage"),
	FLAG(MULTI_NODE_MODE, "multi-node mode"),
	RANGE(SHORT_ADDR, u16, 0, U16_MAX, "short address"),
	RANGE(DEST_SHORT_ADDR, u16, 0, U16_MAX, "destination address"),
	RANGE(INITIATION_TIME_MS, u32, 0, PARAM_MAX_INITIATION_MS,
	      "initiation time"),
	RANGE(SLOT_DURATION_RSTU, u32, PARAM_MIN_SLOT_RSTU, U16_MAX,
	      "slot duration"),
	RANGE(BLOCK_DURATION_MS, u32, 1, PARAM_MAX_BLOCK_MS, "block duration"),
	RANGE(ROUND_DURATION_SLOTS, u32, 1, U8_MAX, "round duration"),
	RANGE(BLOCK_STRIDE_LENGTH, u32, 0, PARAM_MAX_STRIDE,
	      "block stride length"),
	RANGE(MAX_RR_RETRY, u32, 0, PARAM_MAX_RETRY, "ranging round retries"),
	FLAG(ROUND_HOPPING, "round hopping"),
	FLAG(BLOCK_STRIDING, "block striding"),
	RANGE(PRIORITY, u8, 0, 100, "priority"),
	FLAG(RESULT_REPORT_PHASE, "result report phase"),
	FLAG(MR_AT_INITIATOR, "measurement report at the initiator"),
	FLAG(DEFERRED_MODE, "deferred mode"),
	RANGE(IN_BAND_TERMINATION_ATTEMPTS, u32, 1, 10,
	      "in-band termination attempts"),
	ONE_OF(CHANNEL_NUMBER, u8, SIM_UWB_CHANNELS, "channel number"),
	RANGE(PREAMBLE_CODE_INDEX, u8, 9, 32, "preamble code index"),
	ONE_OF(RFRAME_CONFIG, u8, BIT(0) | BIT(1) | BIT(3), "RFRAME config"),
	FLAG(PRF_MODE, "PRF mode"),
	FLAG(PREAMBLE_DURATION, "preamble duration"),
	RANGE(SFD_ID, u8, 0, 4, "SFD id"),
	RANGE(NUMBER_OF_STS_SEGMENTS, u8, 0, 4, "number of STS segments"),
	RANGE(PSDU_DATA_RATE, u8, 0, 3, "PSDU data rate"),
	FLAG(BPRF_PHR_DATA_RATE, "BPRF PHR data rate"),
	FLAG(MAC_FCS_TYPE, "MAC FCS type"),
	FLAG(TX_ADAPTIVE_PAYLOAD_POWER, "adaptive payload power"),
	RANGE(RX_ANTENNA_PAIR_AZIMUTH, u8, 0, 6, "azimuth antenna pair"),
	RANGE(RX_ANTENNA_PAIR_ELEVATION, u8, 0, 6, "elevation antenna pair"),
	RANGE(TX_ANTENNA_SELECTION, u8, 1, 31, "transmit antenna selection"),
	FLAG(RX_ANTENNA_SWITCH, "receive antenna switch"),
	RANGE(STS_CONFIG, u8, 0, 2, "STS config"),
	RANGE(SUB_SESSION_ID, u32, 0, U32_MAX, "sub-session id"),
	[FIRA_SESSION_PARAM_STATIC_STS_IV_VENDOR_ID] = {
		.refusal = "bad static STS IV and vendor id",
		.len = SIM_FIRA_STS_IV_VENDOR_LEN },
	FLAG(KEY_ROTATION, "key rotation"),
	RANGE(KEY_ROTATION_RATE, u8, 0, 15, "key rotation rate"),
	FLAG(AOA_RESULT_REQ, "AoA result request"),
	FLAG(REPORT_TOF, "time of flight report"),
	FLAG(REPORT_AOA_AZIMUTH, "AoA azimuth report"),
	FLAG(REPORT_AOA_ELEVATION, "AoA elevation report"),
	FLAG(REPORT_AOA_FOM, "AoA figure of merit report"),
};

/* Without these a session cannot range. */
static const u8 fira_required[] = {
	FIRA_SESSION_PARAM_DEVICE_TYPE,
	FIRA_SESSION_PARAM_DEVICE_ROLE,
	FIRA_SESSION_PARAM_RANGING_ROUND_USAGE,
	FIRA_SESSION_PARAM_MULTI_NODE_MODE,
	FIRA_SESSION_PARAM_SHORT_ADDR,
	FIRA_SESSION_PARAM_SLOT_DURATION_RSTU,
	FIRA_SESSION_PARAM_BLOCK_DURATION_MS,
	FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS,
	FIRA_SESSION_PARAM_CHANNEL_NUMBER,
};

static u32 param_read(const struct nlattr *attr, u8 len)
{
	switch (len) {
	case sizeof(u8):
		return nla_get_u8(attr);
	case sizeof(u16):
		return nla_get_u16(attr);
	default:
		return nla_get_u32(attr);
	}
}

static bool param_allowed(const struct fira_param_spec *spec, u32 value)
{
	if (spec->set)
		return value < 32 && (spec->set & BIT(value));
	return value >= spec->min && value <= spec->max;
}

static int param_parse(struct sim_fira_params *params,
		       const struct nlattr *attr,
		       struct netlink_ext_ack *extack)
{
	const struct fira_param_spec *spec;
	int type = nla_type(attr);
	u32 value;

	if (type > FIRA_SESSION_PARAM_MAX || !fira_specs[type].len)
		return sim_refuse(extack, attr, -EINVAL,
				  "unknown session parameter");
	spec = &fira_specs[type];
	if (nla_len(attr) != spec->len)
		return sim_refuse(extack, attr, -EINVAL, spec->refusal);
	if (type == FIRA_SESSION_PARAM_STATIC_STS_IV_VENDOR_ID) {
		nla_memcpy(params->sts_iv_vendor, attr, spec->len);
	} else {
		value = param_read(attr, spec->len);
		if (!param_allowed(spec, value))
			return sim_refuse(extack, attr, -EINVAL, spec->refusal);
		params->value[type] = value;
	}
	params->present |= BIT_ULL(type);
	return 0;
}

u64 sim_fira_round_ns(const struct sim_fira_params *params)
{
	u64 rstu = (u64)sim_fira_get(params,
				     FIRA_SESSION_PARAM_SLOT_DURATION_RSTU) *
		   sim_fira_get(params, FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS);

	/* A time unit is 416 chips of 499.2 MHz: 5/6 of a microsecond. */
	return div_u64(rstu * 2500, 3);
}

u64 sim_fira_block_ns(const struct sim_fira_params *params)
{
	return (u64)NSEC_PER_MSEC *
	       sim_fira_get(params, FIRA_SESSION_PARAM_BLOCK_DURATION_MS);
}

/* A block has room for a round, once both are known. */
static int params_check_time(const struct sim_fira_params *params,
			     struct netlink_ext_ack *extack)
{
	if (sim_fira_has(params, FIRA_SESSION_PARAM_BLOCK_DURATION_MS) &&
	    sim_fira_round_ns(params) > sim_fira_block_ns(params))
		return sim_refuse(extack, NULL, -EINVAL,
				  "the ranging round is longer than its block");
	return 0;
}

/*
 * Reads a parameter nest over the ones there are. A nest that names the device
 * type describes the session anew: what it leaves out is back at its default.
 */
int sim_fira_params_parse(struct sim_fira_params *params,
			  const struct nlattr *nest,
			  struct netlink_ext_ack *extack)
{
	const struct nlattr *attr;
	int rem;
	int err;

	if (nla_find_nested(nest, FIRA_SESSION_PARAM_DEVICE_TYPE))
		memset(params, 0, sizeof(*params));
	nla_for_each_nested(attr, nest, rem) {
		err = param_parse(params, attr, extack);
		if (err)
			return err;
	}
	if (rem)
		return sim_refuse(extack, nest, -EINVAL,
				  "junk behind the session parameters");
	return params_check_time(params, extack);
}

int sim_fira_params_complete(const struct sim_fira_params *params,
			     struct netlink_ext_ack *extack)
{
	size_t i;

	for (i = 0; i < ARRAY_SIZE(fira_required); i++) {
		if (!sim_fira_has(params, fira_required[i]))
			return sim_refuse(extack, NULL, -EINVAL,
					  "the session is not configured");
	}
	if (!sim_fira_get(params, FIRA_SESSION_PARAM_DEVICE_TYPE) &&
	    !sim_fira_has(params, FIRA_SESSION_PARAM_DEST_SHORT_ADDR))
		return sim_refuse(extack, NULL, -EINVAL,
				  "the controlee session names no controller");
	return 0;
}

void sim_fira_params_show(struct seq_file *file,
			  const struct sim_fira_params *params)
{
	int attr;

	for (attr = 1; attr <= FIRA_SESSION_PARAM_MAX; attr++) {
		if (!sim_fira_has(params, attr))
			continue;
		if (attr == FIRA_SESSION_PARAM_STATIC_STS_IV_VENDOR_ID)
			seq_printf(file, "  param %d %*phN\n", attr,
				   SIM_FIRA_STS_IV_VENDOR_LEN,
				   params->sts_iv_vendor);
		else
			seq_printf(file, "  param %d %u\n", attr,
				   params->value[attr]);
	}
}
