/* SPDX-License-Identifier: (GPL-2.0 WITH Linux-syscall-note) OR Apache-2.0 */
/*
 * Wire numbers of the "mcps802154" generic netlink family: the IEEE 802.15.4
 * MAC common part sublayer driver that owns the UWB hardware, its schedulers
 * and the schedulers' regions.
 *
 * This is the only place where these numbers are written. It is plain C so
 * that the service and a kernel driver can share it.
 *
 * All messages have generic netlink version 0 and no user header. Integers are
 * in host byte order.
 */
#ifndef MCPS802154_H
#define MCPS802154_H

#define MCPS802154_GENL_NAME "mcps802154"

/*
 * Longest name of a PHY, scheduler or region. The service takes 20 bytes with the
 * NUL; a driver may take 20 before it.
 */
#define MCPS802154_NAME_MAX 20

/* Generic netlink commands. */
enum mcps802154_commands {
    /* Request: one hardware (ATTR_HW) or all of them (dump). */
    MCPS802154_CMD_HW_QUERY = 1,
    /* Reply to HW_QUERY, one message per hardware. */
    MCPS802154_CMD_HW_REPLY = 2,
    /* Request: select a scheduler and, optionally, its regions. */
    MCPS802154_CMD_SCHEDULER_SET = 3,
    /* Request: set parameters of the scheduler. */
    MCPS802154_CMD_SCHEDULER_PARAMS_SET = 4,
    /* Request and notification: call into a region. */
    MCPS802154_CMD_REGION_CALL = 7,
    /* Request and its reply: set calibration values. */
    MCPS802154_CMD_CALIBRATION_SET = 8,
    /* Request and its reply: read calibration values. */
    MCPS802154_CMD_CALIBRATION_GET = 9,
    /* Request: the list of simple ranging requests. */
    MCPS802154_CMD_RANGING_REQUESTS_SET = 12,
    /* Notification: one simple ranging result. */
    MCPS802154_CMD_RANGING_REPORT = 13,
};

/* Top-level attributes. */
enum mcps802154_attrs {
    /* u32: hardware index. */
    MCPS802154_ATTR_HW = 1,
    /* String: "phy" and the decimal number of the hardware's WPAN PHY. */
    MCPS802154_ATTR_PHY_NAME = 2,
    /* String: scheduler name. */
    MCPS802154_ATTR_SCHEDULER_NAME = 3,
    /* Nest: enum mcps802154_scheduler_param_attrs. */
    MCPS802154_ATTR_SCHEDULER_PARAMS = 4,
    /* Nest: list of nests of enum mcps802154_region_attrs, types from 1. */
    MCPS802154_ATTR_SCHEDULER_REGIONS = 5,
    /* Nest: enum mcps802154_region_call_attrs. */
    MCPS802154_ATTR_SCHEDULER_REGION_CALL = 8,
    /* Nest: list of nests of enum mcps802154_calibration_attrs, all type 1. */
    MCPS802154_ATTR_CALIBRATIONS = 10,
    /* Nest: list of nests of enum mcps802154_ranging_request_attrs, all type 1. */
    MCPS802154_ATTR_RANGING_REQUESTS = 11,
    /* Nest: enum mcps802154_ranging_result_attrs. */
    MCPS802154_ATTR_RANGING_RESULT = 12,

    MCPS802154_ATTR_MAX = 13,
};

/* Inside MCPS802154_ATTR_SCHEDULER_PARAMS. */
enum mcps802154_scheduler_param_attrs {
    /* u32: slot duration. */
    MCPS802154_SCHEDULER_PARAM_SLOT_DURATION = 1,
    /* u32: node type, 0 initiator, 1 responder. */
    MCPS802154_SCHEDULER_PARAM_NODE_TYPE = 2,

    MCPS802154_SCHEDULER_PARAM_MAX = 2,
};

/* Inside one element of MCPS802154_ATTR_SCHEDULER_REGIONS. */
enum mcps802154_region_attrs {
    /* u32: region slot. */
    MCPS802154_REGION_ATTR_ID = 1,
    /* String: region name. */
    MCPS802154_REGION_ATTR_NAME = 2,

    MCPS802154_REGION_ATTR_MAX = 2,
};

/* Inside MCPS802154_ATTR_SCHEDULER_REGION_CALL. */
enum mcps802154_region_call_attrs {
    /* u32: region slot. */
    MCPS802154_REGION_CALL_ATTR_ID = 1,
    /* String: region name. */
    MCPS802154_REGION_CALL_ATTR_NAME = 2,
    /* u32: call number; the meaning belongs to the region. */
    MCPS802154_REGION_CALL_ATTR_CALL = 4,
    /* Nest: call parameters; the layout belongs to the region. */
    MCPS802154_REGION_CALL_ATTR_PARAMS = 5,

    MCPS802154_REGION_CALL_ATTR_MAX = 5,
};

/* Inside one element of MCPS802154_ATTR_CALIBRATIONS. */
enum mcps802154_calibration_attrs {
    /* Each element of the list has this type. */
    MCPS802154_CALIBRATIONS_ELEMENT = 1,

    /* String: key. */
    MCPS802154_CALIBRATION_ATTR_KEY = 1,
    /* Binary: value; u32 for the process ids. */
    MCPS802154_CALIBRATION_ATTR_VALUE = 2,
    /* s32, replies only: status of the key, 0 accepted, else -errno. */
    MCPS802154_CALIBRATION_ATTR_STATUS = 3,

    MCPS802154_CALIBRATION_ATTR_MAX = 3,
};

/* Inside one element of MCPS802154_ATTR_RANGING_REQUESTS. */
enum mcps802154_ranging_request_attrs {
    /* Each element of the list has this type. */
    MCPS802154_RANGING_REQUESTS_ELEMENT = 1,

    /* u32: request identifier. */
    MCPS802154_RANGING_REQUEST_ATTR_ID = 1,
    /* u32: second request value, passed through. */
    MCPS802154_RANGING_REQUEST_ATTR_PARAM = 2,
    /* u64: the peer's extended address as a number. */
    MCPS802154_RANGING_REQUEST_ATTR_PEER = 3,

    MCPS802154_RANGING_REQUEST_ATTR_MAX = 3,
};

/* Inside MCPS802154_ATTR_RANGING_RESULT. */
enum mcps802154_ranging_result_attrs {
    /* u32: identifier of the request that this answers. */
    MCPS802154_RANGING_RESULT_ATTR_ID = 1,
    /* u32: measured value. */
    MCPS802154_RANGING_RESULT_ATTR_VALUE = 2,
    /* s32: first phase difference, in units of 2^-11 rad. */
    MCPS802154_RANGING_RESULT_ATTR_PHASE_1 = 3,
    /* s32: second phase difference, in units of 2^-11 rad. */
    MCPS802154_RANGING_RESULT_ATTR_PHASE_2 = 4,

    MCPS802154_RANGING_RESULT_ATTR_MAX = 6,
};

/* Scheduler and region names. The hyphen and the underscore differ on purpose. */
#define MCPS802154_SCHEDULER_DEFAULT "default"
#define MCPS802154_SCHEDULER_SIMPLE_RANGING "simple-ranging"
#define MCPS802154_SCHEDULER_ENDLESS "endless"
#define MCPS802154_SCHEDULER_ON_DEMAND "on_demand"
#define MCPS802154_REGION_FIRA "fira"
#define MCPS802154_REGION_NFCC_COEX "nfcc_coex"
#define MCPS802154_REGION_SIMPLE_RANGING "simple_ranging"

/* ---- Region "fira" ---- */

/* Call numbers. */
enum fira_calls {
    FIRA_CALL_SESSION_INIT = 1,
    FIRA_CALL_SESSION_START = 2,
    FIRA_CALL_SESSION_STOP = 3,
    FIRA_CALL_SESSION_DEINIT = 4,
    FIRA_CALL_SESSION_SET_PARAMS = 5,
    FIRA_CALL_NEW_CONTROLEE = 6,
    FIRA_CALL_DEL_CONTROLEE = 7,
    /* Notification: a ranging report or a session stop. */
    FIRA_CALL_SESSION_NTF = 8,
};

/* Parameters of every call and of the notification. */
enum fira_call_attrs {
    /* u32: session identifier. */
    FIRA_CALL_ATTR_SESSION_ID = 1,
    /* Nest: enum fira_session_param_attrs (SET_PARAMS). */
    FIRA_CALL_ATTR_SESSION_PARAMS = 2,
    /* Nest: list of enum fira_controlee_attrs, types from 1 (NEW, DEL). */
    FIRA_CALL_ATTR_CONTROLEES = 3,
    /* Nest: enum fira_ranging_data_attrs (NTF). */
    FIRA_CALL_ATTR_RANGING_DATA = 4,

    FIRA_CALL_ATTR_MAX = 4,
};

/* Session parameters (FiRa UCI naming); 31, 39 and 40 are not used. */
enum fira_session_param_attrs {
    FIRA_SESSION_PARAM_DEVICE_TYPE = 1,                   /* u8: 0 controlee, 1 controller */
    FIRA_SESSION_PARAM_DEVICE_ROLE = 2,                   /* u8: 0 responder, 1 initiator */
    FIRA_SESSION_PARAM_RANGING_ROUND_USAGE = 3,           /* u8: 1 SS-TWR, 2 DS-TWR */
    FIRA_SESSION_PARAM_MULTI_NODE_MODE = 4,               /* u8: 0 unicast, 1 one-to-many */
    FIRA_SESSION_PARAM_SHORT_ADDR = 5,                    /* u16 */
    FIRA_SESSION_PARAM_DEST_SHORT_ADDR = 6,               /* u16: the controller, for a controlee */
    FIRA_SESSION_PARAM_INITIATION_TIME_MS = 7,            /* u32 */
    FIRA_SESSION_PARAM_SLOT_DURATION_RSTU = 8,            /* u32 */
    FIRA_SESSION_PARAM_BLOCK_DURATION_MS = 9,             /* u32 */
    FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS = 10,         /* u32 */
    FIRA_SESSION_PARAM_BLOCK_STRIDE_LENGTH = 11,          /* u32 */
    FIRA_SESSION_PARAM_MAX_RR_RETRY = 12,                 /* u32 */
    FIRA_SESSION_PARAM_ROUND_HOPPING = 13,                /* u8: bool */
    FIRA_SESSION_PARAM_BLOCK_STRIDING = 14,               /* u8: bool */
    FIRA_SESSION_PARAM_PRIORITY = 15,                     /* u8 */
    FIRA_SESSION_PARAM_RESULT_REPORT_PHASE = 16,          /* u8: bool */
    FIRA_SESSION_PARAM_MR_AT_INITIATOR = 17,              /* u8: bool */
    FIRA_SESSION_PARAM_DEFERRED_MODE = 18,                /* u8: bool */
    FIRA_SESSION_PARAM_IN_BAND_TERMINATION_ATTEMPTS = 19, /* u32 */
    FIRA_SESSION_PARAM_CHANNEL_NUMBER = 20,               /* u8 */
    FIRA_SESSION_PARAM_PREAMBLE_CODE_INDEX = 21,          /* u8 */
    FIRA_SESSION_PARAM_RFRAME_CONFIG = 22,                /* u8: 0, 1, 3 */
    FIRA_SESSION_PARAM_PRF_MODE = 23,                     /* u8: 0 BPRF */
    FIRA_SESSION_PARAM_PREAMBLE_DURATION = 24,            /* u8: 0 is 32 symbols */
    FIRA_SESSION_PARAM_SFD_ID = 25,                       /* u8: 0 to 4 */
    FIRA_SESSION_PARAM_NUMBER_OF_STS_SEGMENTS = 26,       /* u8 */
    FIRA_SESSION_PARAM_PSDU_DATA_RATE = 27,               /* u8: 0 to 3 */
    FIRA_SESSION_PARAM_BPRF_PHR_DATA_RATE = 28,           /* u8: 1 is 6.81 Mb/s */
    FIRA_SESSION_PARAM_MAC_FCS_TYPE = 29,                 /* u8: 1 is CRC-32 */
    FIRA_SESSION_PARAM_TX_ADAPTIVE_PAYLOAD_POWER = 30,    /* u8: bool */
    FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_AZIMUTH = 32,      /* u8 */
    FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_ELEVATION = 33,    /* u8 */
    FIRA_SESSION_PARAM_TX_ANTENNA_SELECTION = 34,         /* u8: bit set of antennas */
    FIRA_SESSION_PARAM_RX_ANTENNA_SWITCH = 35,       /* u8: AoA on the controlee's final message */
    FIRA_SESSION_PARAM_STS_CONFIG = 36,              /* u8: 0 static, 1 dynamic, 2 individual key */
    FIRA_SESSION_PARAM_SUB_SESSION_ID = 37,          /* u32 */
    FIRA_SESSION_PARAM_STATIC_STS_IV_VENDOR_ID = 38, /* bytes: 6 of IV, then 2 of vendor id */
    FIRA_SESSION_PARAM_KEY_ROTATION = 41,            /* u8: bool */
    FIRA_SESSION_PARAM_KEY_ROTATION_RATE = 42,       /* u8: exponent */
    FIRA_SESSION_PARAM_AOA_RESULT_REQ = 43,          /* u8: bool */
    FIRA_SESSION_PARAM_REPORT_TOF = 44,              /* u8: bool */
    FIRA_SESSION_PARAM_REPORT_AOA_AZIMUTH = 45,      /* u8: bool */
    FIRA_SESSION_PARAM_REPORT_AOA_ELEVATION = 46,    /* u8: bool */
    FIRA_SESSION_PARAM_REPORT_AOA_FOM = 47,          /* u8: bool */

    FIRA_SESSION_PARAM_MAX = 47,
};

/* One controlee of FIRA_CALL_ATTR_CONTROLEES. */
enum fira_controlee_attrs {
    FIRA_CONTROLEE_ATTR_SHORT_ADDR = 1,     /* u16 */
    FIRA_CONTROLEE_ATTR_SUB_SESSION_ID = 2, /* u32, optional */

    FIRA_CONTROLEE_ATTR_MAX = 2,
};

/* Inside FIRA_CALL_ATTR_RANGING_DATA. */
enum fira_ranging_data_attrs {
    FIRA_RANGING_DATA_ATTR_STOPPED = 1,      /* u8: reason; presence means stopped */
    FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS = 3, /* u64, optional: CLOCK_MONOTONIC */
    FIRA_RANGING_DATA_ATTR_BLOCK_INDEX = 4,  /* u32 */
    FIRA_RANGING_DATA_ATTR_MEASUREMENTS = 5, /* nest: list of measurements */

    FIRA_RANGING_DATA_ATTR_MAX = 5,
};

/* One measurement of FIRA_RANGING_DATA_ATTR_MEASUREMENTS. */
enum fira_measurement_attrs {
    FIRA_MEASUREMENT_ATTR_SHORT_ADDR = 1,     /* u16: peer */
    FIRA_MEASUREMENT_ATTR_STOPPED = 2,        /* flag: peer has stopped ranging */
    FIRA_MEASUREMENT_ATTR_STATUS = 3,         /* u8: 0 success */
    FIRA_MEASUREMENT_ATTR_SLOT_INDEX = 4,     /* u8: slot of a failure */
    FIRA_MEASUREMENT_ATTR_LOS = 5,            /* flag: line of sight */
    FIRA_MEASUREMENT_ATTR_NLOS = 6,           /* flag: no line of sight */
    FIRA_MEASUREMENT_ATTR_DISTANCE_MM = 7,    /* s32 */
    FIRA_MEASUREMENT_ATTR_AOA = 8,            /* nest: AoA of an unspecified pair */
    FIRA_MEASUREMENT_ATTR_AOA_AZIMUTH = 9,    /* nest: AoA of the azimuth pair */
    FIRA_MEASUREMENT_ATTR_AOA_ELEVATION = 10, /* nest: AoA of the elevation pair */
    FIRA_MEASUREMENT_ATTR_AZIMUTH = 11,       /* s16: 32768 is pi */
    FIRA_MEASUREMENT_ATTR_ELEVATION = 12,     /* s16: 32768 is pi / 2 */
    FIRA_MEASUREMENT_ATTR_AZIMUTH_FOM = 13,   /* u8: 2 to 255, 0 and 1 are none */
    FIRA_MEASUREMENT_ATTR_ELEVATION_FOM = 14, /* u8: as AZIMUTH_FOM */

    FIRA_MEASUREMENT_ATTR_MAX = 14,
};

/* Inside one AoA nest of a measurement. */
enum fira_aoa_attrs {
    FIRA_AOA_ATTR_RX_ANTENNA_PAIR = 1, /* u8 */
    FIRA_AOA_ATTR_AOA = 2,             /* s16: 32768 is pi; angle of arrival */
    FIRA_AOA_ATTR_FOM = 3,             /* u8: as AZIMUTH_FOM */
    FIRA_AOA_ATTR_PDOA = 4,            /* s16: 32768 is pi; phase difference */

    FIRA_AOA_ATTR_MAX = 4,
};

/* ---- Region "nfcc_coex" ---- */

/* Call numbers. */
enum nfcc_coex_calls {
    NFCC_COEX_CALL_CCC_SESSION_START = 0,
    NFCC_COEX_CALL_CCC_SESSION_STOP = 1,
    /* Notification: the session has stopped. */
    NFCC_COEX_CALL_CCC_SESSION_NTF = 2,
};

/* Parameters of the calls and of the notification. */
enum nfcc_coex_call_attrs {
    /* Nest: enum nfcc_coex_ccc_param_attrs (START). */
    NFCC_COEX_CALL_ATTR_CCC_SESSION_PARAMS = 1,
    /* u8, NTF: non-zero when the stop was asked for. */
    NFCC_COEX_CALL_ATTR_STOPPED = 2,
    /* u8, NTF: non-zero when the radio gave up by itself. */
    NFCC_COEX_CALL_ATTR_WATCHDOG = 3,

    NFCC_COEX_CALL_ATTR_MAX = 3,
};

/* Inside NFCC_COEX_CALL_ATTR_CCC_SESSION_PARAMS. */
enum nfcc_coex_ccc_param_attrs {
    NFCC_COEX_CCC_PARAM_TIME0_NS = 1,       /* u64: relative start */
    NFCC_COEX_CCC_PARAM_CHANNEL_NUMBER = 2, /* u8 */

    NFCC_COEX_CCC_PARAM_MAX = 2,
};

#endif /* MCPS802154_H */
