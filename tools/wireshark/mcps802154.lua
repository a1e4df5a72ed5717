-- SPDX-License-Identifier: Apache-2.0
--
-- Wireshark dissector of the "mcps802154" generic netlink family, for captures of an nlmon device:
--     tshark -X lua_script:tools/wireshark/mcps802154.lua -r capture.pcapng -O mcps802154
--
-- The capture must hold the resolution of the family's name (the service asks for it when a client
-- opens it): without that Wireshark knows only a number. Integers are read as little-endian, the
-- order of the machines this runs on.

local proto = Proto("mcps802154", "MCPS 802.15.4 (UWB)")

-- The numbers of net/mcps802154.h, under its names.
local commands = {
    { "MCPS802154_CMD_HW_QUERY", 1 },
    { "MCPS802154_CMD_HW_REPLY", 2 },
    { "MCPS802154_CMD_SCHEDULER_SET", 3 },
    { "MCPS802154_CMD_SCHEDULER_PARAMS_SET", 4 },
    { "MCPS802154_CMD_REGION_CALL", 7 },
    { "MCPS802154_CMD_CALIBRATION_SET", 8 },
    { "MCPS802154_CMD_CALIBRATION_GET", 9 },
    { "MCPS802154_CMD_RANGING_REQUESTS_SET", 12 },
    { "MCPS802154_CMD_RANGING_REPORT", 13 },
}

-- The calls of a region, by its name.
local calls = {
    fira = {
        { "FIRA_CALL_SESSION_INIT", 1 },
        { "FIRA_CALL_SESSION_START", 2 },
        { "FIRA_CALL_SESSION_STOP", 3 },
        { "FIRA_CALL_SESSION_DEINIT", 4 },
        { "FIRA_CALL_SESSION_SET_PARAMS", 5 },
        { "FIRA_CALL_NEW_CONTROLEE", 6 },
        { "FIRA_CALL_DEL_CONTROLEE", 7 },
        { "FIRA_CALL_SESSION_NTF", 8 },
    },
    nfcc_coex = {
        { "NFCC_COEX_CALL_CCC_SESSION_START", 0 },
        { "NFCC_COEX_CALL_CCC_SESSION_STOP", 1 },
        { "NFCC_COEX_CALL_CCC_SESSION_NTF", 2 },
    },
}

-- Attributes: name, number, type. "nest" holds attributes of the table that is named last, "list"
-- elements that do; "params" is a nest whose table the region decides.
local attributes = {
    top = {
        { "MCPS802154_ATTR_HW", 1, "u32" },
        { "MCPS802154_ATTR_PHY_NAME", 2, "string" },
        { "MCPS802154_ATTR_SCHEDULER_NAME", 3, "string" },
        { "MCPS802154_ATTR_SCHEDULER_PARAMS", 4, "nest", "scheduler_params" },
        { "MCPS802154_ATTR_SCHEDULER_REGIONS", 5, "list", "region" },
        { "MCPS802154_ATTR_SCHEDULER_REGION_CALL", 8, "nest", "region_call" },
        { "MCPS802154_ATTR_CALIBRATIONS", 10, "list", "calibration" },
        { "MCPS802154_ATTR_RANGING_REQUESTS", 11, "list", "ranging_request" },
        { "MCPS802154_ATTR_RANGING_RESULT", 12, "nest", "ranging_result" },
    },
    scheduler_params = {
        { "MCPS802154_SCHEDULER_PARAM_SLOT_DURATION", 1, "u32" },
        { "MCPS802154_SCHEDULER_PARAM_NODE_TYPE", 2, "u32" },
    },
    region = {
        { "MCPS802154_REGION_ATTR_ID", 1, "u32" },
        { "MCPS802154_REGION_ATTR_NAME", 2, "string" },
    },
    region_call = {
        { "MCPS802154_REGION_CALL_ATTR_ID", 1, "u32" },
        { "MCPS802154_REGION_CALL_ATTR_NAME", 2, "string" },
        { "MCPS802154_REGION_CALL_ATTR_CALL", 4, "u32" },
        { "MCPS802154_REGION_CALL_ATTR_PARAMS", 5, "params" },
    },
    calibration = {
        { "MCPS802154_CALIBRATION_ATTR_KEY", 1, "string" },
        { "MCPS802154_CALIBRATION_ATTR_VALUE", 2, "bytes" },
        { "MCPS802154_CALIBRATION_ATTR_STATUS", 3, "s32" },
    },
    ranging_request = {
        { "MCPS802154_RANGING_REQUEST_ATTR_ID", 1, "u32" },
        { "MCPS802154_RANGING_REQUEST_ATTR_PARAM", 2, "u32" },
        { "MCPS802154_RANGING_REQUEST_ATTR_PEER", 3, "u64" },
    },
    ranging_result = {
        { "MCPS802154_RANGING_RESULT_ATTR_ID", 1, "u32" },
        { "MCPS802154_RANGING_RESULT_ATTR_VALUE", 2, "u32" },
        { "MCPS802154_RANGING_RESULT_ATTR_PHASE_1", 3, "s32" },
        { "MCPS802154_RANGING_RESULT_ATTR_PHASE_2", 4, "s32" },
    },
    fira = {
        { "FIRA_CALL_ATTR_SESSION_ID", 1, "u32" },
        { "FIRA_CALL_ATTR_SESSION_PARAMS", 2, "nest", "fira_session" },
        { "FIRA_CALL_ATTR_CONTROLEES", 3, "list", "fira_controlee" },
        { "FIRA_CALL_ATTR_RANGING_DATA", 4, "nest", "fira_ranging_data" },
    },
    fira_session = {
        { "FIRA_SESSION_PARAM_DEVICE_TYPE", 1, "u8" },
        { "FIRA_SESSION_PARAM_DEVICE_ROLE", 2, "u8" },
        { "FIRA_SESSION_PARAM_RANGING_ROUND_USAGE", 3, "u8" },
        { "FIRA_SESSION_PARAM_MULTI_NODE_MODE", 4, "u8" },
        { "FIRA_SESSION_PARAM_SHORT_ADDR", 5, "x16" },
        { "FIRA_SESSION_PARAM_DEST_SHORT_ADDR", 6, "x16" },
        { "FIRA_SESSION_PARAM_INITIATION_TIME_MS", 7, "u32" },
        { "FIRA_SESSION_PARAM_SLOT_DURATION_RSTU", 8, "u32" },
        { "FIRA_SESSION_PARAM_BLOCK_DURATION_MS", 9, "u32" },
        { "FIRA_SESSION_PARAM_ROUND_DURATION_SLOTS", 10, "u32" },
        { "FIRA_SESSION_PARAM_BLOCK_STRIDE_LENGTH", 11, "u32" },
        { "FIRA_SESSION_PARAM_MAX_RR_RETRY", 12, "u32" },
        { "FIRA_SESSION_PARAM_ROUND_HOPPING", 13, "u8" },
        { "FIRA_SESSION_PARAM_BLOCK_STRIDING", 14, "u8" },
        { "FIRA_SESSION_PARAM_PRIORITY", 15, "u8" },
        { "FIRA_SESSION_PARAM_RESULT_REPORT_PHASE", 16, "u8" },
        { "FIRA_SESSION_PARAM_MR_AT_INITIATOR", 17, "u8" },
        { "FIRA_SESSION_PARAM_DEFERRED_MODE", 18, "u8" },
        { "FIRA_SESSION_PARAM_IN_BAND_TERMINATION_ATTEMPTS", 19, "u32" },
        { "FIRA_SESSION_PARAM_CHANNEL_NUMBER", 20, "u8" },
        { "FIRA_SESSION_PARAM_PREAMBLE_CODE_INDEX", 21, "u8" },
        { "FIRA_SESSION_PARAM_RFRAME_CONFIG", 22, "u8" },
        { "FIRA_SESSION_PARAM_PRF_MODE", 23, "u8" },
        { "FIRA_SESSION_PARAM_PREAMBLE_DURATION", 24, "u8" },
        { "FIRA_SESSION_PARAM_SFD_ID", 25, "u8" },
        { "FIRA_SESSION_PARAM_NUMBER_OF_STS_SEGMENTS", 26, "u8" },
        { "FIRA_SESSION_PARAM_PSDU_DATA_RATE", 27, "u8" },
        { "FIRA_SESSION_PARAM_BPRF_PHR_DATA_RATE", 28, "u8" },
        { "FIRA_SESSION_PARAM_MAC_FCS_TYPE", 29, "u8" },
        { "FIRA_SESSION_PARAM_TX_ADAPTIVE_PAYLOAD_POWER", 30, "u8" },
        { "FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_AZIMUTH", 32, "u8" },
        { "FIRA_SESSION_PARAM_RX_ANTENNA_PAIR_ELEVATION", 33, "u8" },
        { "FIRA_SESSION_PARAM_TX_ANTENNA_SELECTION", 34, "u8" },
        { "FIRA_SESSION_PARAM_RX_ANTENNA_SWITCH", 35, "u8" },
        { "FIRA_SESSION_PARAM_STS_CONFIG", 36, "u8" },
        { "FIRA_SESSION_PARAM_SUB_SESSION_ID", 37, "u32" },
        { "FIRA_SESSION_PARAM_STATIC_STS_IV_VENDOR_ID", 38, "bytes" },
        { "FIRA_SESSION_PARAM_KEY_ROTATION", 41, "u8" },
        { "FIRA_SESSION_PARAM_KEY_ROTATION_RATE", 42, "u8" },
        { "FIRA_SESSION_PARAM_AOA_RESULT_REQ", 43, "u8" },
        { "FIRA_SESSION_PARAM_REPORT_TOF", 44, "u8" },
        { "FIRA_SESSION_PARAM_REPORT_AOA_AZIMUTH", 45, "u8" },
        { "FIRA_SESSION_PARAM_REPORT_AOA_ELEVATION", 46, "u8" },
        { "FIRA_SESSION_PARAM_REPORT_AOA_FOM", 47, "u8" },
    },
    fira_controlee = {
        { "FIRA_CONTROLEE_ATTR_SHORT_ADDR", 1, "x16" },
        { "FIRA_CONTROLEE_ATTR_SUB_SESSION_ID", 2, "u32" },
    },
    fira_ranging_data = {
        { "FIRA_RANGING_DATA_ATTR_STOPPED", 1, "u8" },
        { "FIRA_RANGING_DATA_ATTR_TIMESTAMP_NS", 3, "u64" },
        { "FIRA_RANGING_DATA_ATTR_BLOCK_INDEX", 4, "u32" },
        { "FIRA_RANGING_DATA_ATTR_MEASUREMENTS", 5, "list", "fira_measurement" },
    },
    fira_measurement = {
        { "FIRA_MEASUREMENT_ATTR_SHORT_ADDR", 1, "x16" },
        { "FIRA_MEASUREMENT_ATTR_STOPPED", 2, "flag" },
        { "FIRA_MEASUREMENT_ATTR_STATUS", 3, "u8" },
        { "FIRA_MEASUREMENT_ATTR_SLOT_INDEX", 4, "u8" },
        { "FIRA_MEASUREMENT_ATTR_LOS", 5, "flag" },
        { "FIRA_MEASUREMENT_ATTR_NLOS", 6, "flag" },
        { "FIRA_MEASUREMENT_ATTR_DISTANCE_MM", 7, "s32" },
        { "FIRA_MEASUREMENT_ATTR_AOA", 8, "nest", "fira_aoa" },
        { "FIRA_MEASUREMENT_ATTR_AOA_AZIMUTH", 9, "nest", "fira_aoa" },
        { "FIRA_MEASUREMENT_ATTR_AOA_ELEVATION", 10, "nest", "fira_aoa" },
        { "FIRA_MEASUREMENT_ATTR_AZIMUTH", 11, "s16" },
        { "FIRA_MEASUREMENT_ATTR_ELEVATION", 12, "s16" },
        { "FIRA_MEASUREMENT_ATTR_AZIMUTH_FOM", 13, "u8" },
        { "FIRA_MEASUREMENT_ATTR_ELEVATION_FOM", 14, "u8" },
    },
    fira_aoa = {
        { "FIRA_AOA_ATTR_RX_ANTENNA_PAIR", 1, "u8" },
        { "FIRA_AOA_ATTR_AOA", 2, "s16" },
        { "FIRA_AOA_ATTR_FOM", 3, "u8" },
        { "FIRA_AOA_ATTR_PDOA", 4, "s16" },
    },
    nfcc_coex = {
        { "NFCC_COEX_CALL_ATTR_CCC_SESSION_PARAMS", 1, "nest", "ccc_session" },
        { "NFCC_COEX_CALL_ATTR_STOPPED", 2, "u8" },
        { "NFCC_COEX_CALL_ATTR_WATCHDOG", 3, "u8" },
    },
    ccc_session = {
        { "NFCC_COEX_CCC_PARAM_TIME0_NS", 1, "u64" },
        { "NFCC_COEX_CCC_PARAM_CHANNEL_NUMBER", 2, "u8" },
    },
}

-- Attribute headers: 16 bits of length, 16 of type with two flags on top; aligned to four bytes.
local header_size = 4
local type_mask = 0x3fff

-- By type: how a field is declared, and how many bytes it has at least.
local types = {
    u8 = { ProtoField.uint8, base.DEC, 1 },
    u16 = { ProtoField.uint16, base.DEC, 2 },
    x16 = { ProtoField.uint16, base.HEX, 2 },
    u32 = { ProtoField.uint32, base.DEC, 4 },
    u64 = { ProtoField.uint64, base.DEC, 8 },
    s16 = { ProtoField.int16, base.DEC, 2 },
    s32 = { ProtoField.int32, base.DEC, 4 },
    string = { ProtoField.stringz, base.ASCII, 1 },
    bytes = { ProtoField.bytes, base.NONE, 0 },
    flag = { ProtoField.none, nil, 0 },
    nest = { ProtoField.none, nil, 0 },
    list = { ProtoField.none, nil, 0 },
    params = { ProtoField.none, nil, 0 },
}

local function values(entries)
    local names = {}
    for _, entry in ipairs(entries) do names[entry[2]] = entry[1] end
    return names
end

local fields = {
    command = ProtoField.uint8("mcps802154.command", "Command", base.DEC, values(commands)),
    element = ProtoField.none("mcps802154.element", "Element"),
    unknown = ProtoField.bytes("mcps802154.unknown", "Unknown attribute"),
}
local numbered = {}
for table_name, entries in pairs(attributes) do
    numbered[table_name] = {}
    for _, entry in ipairs(entries) do
        local declare, display = types[entry[3]][1], types[entry[3]][2]
        local filter = "mcps802154." .. entry[1]:lower()
        fields[entry[1]] = display and declare(filter, entry[1], display) or declare(filter, entry[1])
        numbered[table_name][entry[2]] = entry
    end
end
proto.fields = fields

local too_short = ProtoExpert.new("mcps802154.too_short", "Attribute shorter than its type",
    expert.group.MALFORMED, expert.severity.ERROR)
local bad_length = ProtoExpert.new("mcps802154.bad_length", "Attribute length out of bounds",
    expert.group.MALFORMED, expert.severity.ERROR)
proto.experts = { too_short, bad_length }

local dissect_attributes

-- One attribute's payload. `call` collects what the region decides.
local function dissect_value(entry, header, payload, tree, call)
    local field, kind = fields[entry[1]], entry[3]
    if payload:len() < types[kind][3] then
        tree:add(fields.unknown, header):add_proto_expert_info(too_short, entry[1])
        return
    end
    if kind == "nest" or kind == "list" or kind == "params" or kind == "flag" then
        local item = tree:add(field, header)
        if kind == "nest" then dissect_attributes(payload, item, entry[4], call) end
        if kind == "list" then dissect_attributes(payload, item, nil, call, entry[4]) end
        if kind == "params" then dissect_attributes(payload, item, call.region, call) end
        return
    end
    local item = (kind == "string" or kind == "bytes") and tree:add(field, payload)
        or tree:add_le(field, payload:range(0, types[kind][3]))
    if entry[1] == "MCPS802154_REGION_CALL_ATTR_NAME" then call.region = payload:stringz() end
    if entry[1] == "MCPS802154_REGION_CALL_ATTR_CALL" then
        local name = values(calls[call.region] or {})[payload:range(0, 4):le_uint()]
        if name then
            item:append_text(" (" .. name .. ")")
            call.name = name
        end
    end
end

-- The attributes of a table; or, without one, the elements of a list, each with those of a table.
dissect_attributes = function(range, tree, table_name, call, element_table)
    local offset = 0
    while range:len() - offset >= header_size do
        local length = range:range(offset, 2):le_uint()
        local number = bit32.band(range:range(offset + 2, 2):le_uint(), type_mask)
        if length < header_size or length > range:len() - offset then
            tree:add_proto_expert_info(bad_length)
            return
        end
        local whole = range:range(offset, length)
        -- A range cannot be empty: that of a flag is its header, and nothing reads it.
        local payload = length > header_size and whole:range(header_size) or whole:range(0, 0)
        local entry = (numbered[table_name] or {})[number]
        if element_table then
            local item = tree:add(fields.element, whole):append_text(" " .. number)
            dissect_attributes(payload, item, element_table, call)
        elseif entry then
            dissect_value(entry, whole, payload, tree, call)
        else
            tree:add(fields.unknown, whole):append_text(" of number " .. number)
        end
        offset = offset + length + (4 - length % 4) % 4
    end
end

function proto.dissector(buffer, info, tree)
    local genl_header_size = 4
    if buffer:len() < genl_header_size then return 0 end
    info.cols.protocol = "mcps802154"
    local root = tree:add(proto, buffer())
    root:add(fields.command, buffer(0, 1))
    local call = {}
    if buffer:len() > genl_header_size then
        dissect_attributes(buffer(genl_header_size), root, "top", call)
    end
    info.cols.info = call.name or values(commands)[buffer(0, 1):uint()] or "unknown command"
    return buffer:len()
end

DissectorTable.get("genl.family"):add("mcps802154", proto)
