-- Wireshark dissector for third-generation device frames over TCP.
--
-- A frame is an 18-byte header, a data area and a two-byte checksum (0x5555
-- plus every byte from offset 2 up to the checksum, stored low byte first).
-- All multi-byte fields are little-endian. Frames to a device start 55 AA,
-- frames from a device AA 55; a device's pushed reports start 55 AA too and
-- carry a package code 0x10 or 0x18 at byte 10, which the acknowledgement
-- (starting AA 55) echoes.
--
-- The data area of the variant family begins with an 18-byte sub-header:
-- sub valid length (bytes 18-19), packet sum (21-24), sequence number
-- (25-28) and a length extension (35) that counts extension bytes after it.
--
-- Install: copy this file to ~/.local/lib/wireshark/plugins/, or load it
-- once with tshark -X lua_script:zorvproto.lua.

local zorv = Proto("zorvproto", "Zorv Third-Generation Device Protocol")

local DEFAULT_PORT = 5020
local HEADER_SIZE = 18
local OVERHEAD = 20             -- header and checksum: the shortest frame
local VARIANT_OVERHEAD = 38     -- with the sub-header
local SUB_HEADER_SIZE = 18
local CHECKSUM_SEED = 0x5555

local VARIANT_AUTO, VARIANT_ALWAYS, VARIANT_NEVER = 1, 2, 3

local OP_READ, OP_WRITE = 0, 1
local REPORT_CODES = { [0x10] = true, [0x18] = true }

local operation_names = {
    [0x00] = "read",
    [0x01] = "write",
    [0x10] = "report",
    [0x18] = "report",
}
local checksum_statuses = { [0] = "Bad", [1] = "Good" }

local f = {
    head = ProtoField.uint16("zorvproto.head", "Head", base.HEX),
    direction = ProtoField.string("zorvproto.direction", "Direction"),
    kind = ProtoField.string("zorvproto.kind", "Kind"),
    ack = ProtoField.uint8("zorvproto.ack", "Ack", base.DEC),
    label = ProtoField.uint8("zorvproto.label", "Label", base.DEC),
    addr1 = ProtoField.uint8("zorvproto.addr1", "First address byte", base.HEX),
    addr2 = ProtoField.uint8("zorvproto.addr2", "Second address byte", base.HEX),
    device_type = ProtoField.uint8("zorvproto.device_type", "Device type", base.HEX),
    byte7 = ProtoField.uint8("zorvproto.byte7", "Byte 7", base.HEX),
    scan_board = ProtoField.uint16("zorvproto.scan_board", "Scan-board address", base.HEX),
    operation = ProtoField.uint8("zorvproto.operation", "Read/write code", base.HEX, operation_names),
    packet_type = ProtoField.uint8("zorvproto.packet_type", "Packet type", base.HEX),
    register = ProtoField.uint32("zorvproto.register", "Register address", base.HEX),
    length = ProtoField.uint16("zorvproto.length", "Valid data length", base.DEC),
    frame_length = ProtoField.uint32("zorvproto.frame_length", "Frame length", base.DEC),
    data = ProtoField.bytes("zorvproto.data", "Data"),
    sub = ProtoField.bytes("zorvproto.sub", "Variant sub-header"),
    sub_length = ProtoField.uint16("zorvproto.sub.length", "Sub valid length", base.DEC),
    sub_byte2 = ProtoField.uint8("zorvproto.sub.byte2", "Sub-header byte 2", base.HEX),
    sub_packet_sum = ProtoField.uint32("zorvproto.sub.packet_sum", "Packet sum", base.DEC),
    sub_sequence = ProtoField.uint32("zorvproto.sub.sequence", "Sequence number", base.DEC),
    sub_bytes11 = ProtoField.bytes("zorvproto.sub.bytes11", "Sub-header bytes 11-16"),
    sub_length_ext = ProtoField.uint8("zorvproto.sub.length_ext", "Length extension", base.DEC),
    sub_ext = ProtoField.bytes("zorvproto.sub.ext", "Extension bytes"),
    payload = ProtoField.bytes("zorvproto.payload", "Payload"),
    checksum = ProtoField.uint16("zorvproto.checksum", "Checksum", base.HEX),
    checksum_calculated = ProtoField.uint16("zorvproto.checksum.calculated", "Calculated checksum", base.HEX),
    checksum_status = ProtoField.uint8("zorvproto.checksum.status", "Checksum status", base.DEC, checksum_statuses),
    stray = ProtoField.bytes("zorvproto.stray", "Bytes outside a frame"),
}
zorv.fields = f

local e = {
    bad_checksum = ProtoExpert.new("zorvproto.checksum_bad", "Bad checksum", expert.group.CHECKSUM,
        expert.severity.ERROR),
    stray = ProtoExpert.new("zorvproto.stray_bytes", "Bytes that do not start a frame", expert.group.MALFORMED,
        expert.severity.WARN),
    truncated = ProtoExpert.new("zorvproto.truncated", "Frame cut short", expert.group.MALFORMED,
        expert.severity.ERROR),
}
zorv.experts = { e.bad_checksum, e.stray, e.truncated }

zorv.prefs.port = Pref.uint("TCP port", DEFAULT_PORT, "The TCP port devices listen on (0: heuristics only)")
zorv.prefs.variant = Pref.enum("Variant sub-header", VARIANT_AUTO,
    "Whether frames carry the variant family's 18-byte sub-header: auto decides frame by frame from its lengths",
    {
        { 1, "auto", VARIANT_AUTO },
        { 2, "always", VARIANT_ALWAYS },
        { 3, "never", VARIANT_NEVER },
    }, false)

local function u8(tvb, offset)
    return tvb(offset, 1):uint()
end

local function le16(tvb, offset)
    return tvb(offset, 2):le_uint()
end

local function is_head(tvb, offset)
    if tvb:len() - offset < 2 then
        return false
    end
    local h0, h1 = u8(tvb, offset), u8(tvb, offset + 1)
    return (h0 == 0x55 and h1 == 0xAA) or (h0 == 0xAA and h1 == 0x55)
end

-- The checksum of the len-byte frame at offset: the seed plus bytes 2 .. len-3, kept to 16 bits.
local function calculated_checksum(tvb, offset, len)
    local sum = CHECKSUM_SEED
    local bytes = tvb:bytes(offset + 2, len - 4)
    for i = 0, bytes:len() - 1 do
        sum = sum + bytes:get_index(i)
    end
    return sum % 65536
end

local function checksum_good(tvb, offset, len)
    return calculated_checksum(tvb, offset, len) == le16(tvb, offset + len - 2)
end

-- The length of the frame at offset, and whether it was sized as a variant
-- frame; or nil and how many more bytes are needed to tell.
--
-- A device's frames (and the acknowledgements of its reports) are the valid
-- length plus 20 bytes. Requests differ: a read request's valid length is
-- the number of bytes asked for while the frame carries no data (20 bytes),
-- or, in the variant, only the sub-header and its extension bytes (38 plus
-- the length extension). A variant write carries the sub-header, the
-- extension and the payload: 38 plus the sub valid length, while its valid
-- length counts the extension twice (sub valid length + 18 + extension).
local function frame_length(tvb, offset)
    local avail = tvb:len() - offset
    if avail < HEADER_SIZE then
        return nil, HEADER_SIZE - avail
    end
    local device_head = u8(tvb, offset) == 0xAA
    local operation = u8(tvb, offset + 10)
    local valid = le16(tvb, offset + 16)
    if device_head or (operation ~= OP_READ and operation ~= OP_WRITE) then
        return valid + OVERHEAD, false
    end
    local mode = zorv.prefs.variant
    -- A variant request's valid length always counts the 18-byte sub-header.
    if mode == VARIANT_NEVER or (mode == VARIANT_AUTO and valid < SUB_HEADER_SIZE) then
        return operation == OP_READ and OVERHEAD or valid + OVERHEAD, false
    end
    if operation == OP_READ and mode == VARIANT_AUTO then
        -- A standard read request is 20 bytes whose checksum holds, or that
        -- another frame follows at once.
        if avail < OVERHEAD then
            return nil, OVERHEAD - avail
        end
        if checksum_good(tvb, offset, OVERHEAD) or is_head(tvb, offset + OVERHEAD) then
            return OVERHEAD, false
        end
    end
    if avail < VARIANT_OVERHEAD - 2 then
        return nil, VARIANT_OVERHEAD - 2 - avail
    end
    local sub_length = le16(tvb, offset + 18)
    local extension = u8(tvb, offset + 35)
    if operation == OP_READ then
        return VARIANT_OVERHEAD + extension, true
    end
    if mode == VARIANT_ALWAYS or sub_length + SUB_HEADER_SIZE + extension == valid then
        return VARIANT_OVERHEAD + sub_length, true
    end
    return valid + OVERHEAD, false
end

-- Whether the frame (a tvb of exactly one frame) shows a sub-header.
local function has_sub_header(tvb, variant_sized)
    local data_length = tvb:len() - OVERHEAD
    local mode = zorv.prefs.variant
    if data_length < SUB_HEADER_SIZE or mode == VARIANT_NEVER then
        return false
    end
    if mode == VARIANT_ALWAYS or variant_sized then
        return true
    end
    -- Pushed reports of 18 data bytes or more are variant reports, and their
    -- acknowledgements echo the sub-header.
    if REPORT_CODES[u8(tvb, 10)] and u8(tvb, 11) == 0x32 then
        return true
    end
    local sub_length = le16(tvb, 18)
    return sub_length + SUB_HEADER_SIZE == data_length or
        sub_length + SUB_HEADER_SIZE + u8(tvb, 35) == le16(tvb, 16)
end

-- What the frame is and which way it goes, from its head and package code.
local function classify(tvb)
    local to_device_head = u8(tvb, 0) == 0x55
    local operation = u8(tvb, 10)
    if REPORT_CODES[operation] then
        if to_device_head then
            return "pushed report", false
        end
        return "report acknowledgement", true
    end
    if not to_device_head then
        return "reply", false
    end
    if operation == OP_READ then
        return "read request", true
    elseif operation == OP_WRITE then
        return "write request", true
    end
    return "request", true
end

local function add_sub_header(tvb, tree)
    local data_length = tvb:len() - OVERHEAD
    local sub = tree:add(f.sub, tvb(18, SUB_HEADER_SIZE))
    sub:add_le(f.sub_length, tvb(18, 2))
    sub:add(f.sub_byte2, tvb(20, 1))
    sub:add_le(f.sub_packet_sum, tvb(21, 4))
    sub:add_le(f.sub_sequence, tvb(25, 4))
    sub:add(f.sub_bytes11, tvb(29, 6))
    sub:add(f.sub_length_ext, tvb(35, 1))
    local extension = math.min(u8(tvb, 35), data_length - SUB_HEADER_SIZE)
    if extension > 0 then
        sub:add(f.sub_ext, tvb(36, extension))
    end
    local payload = data_length - SUB_HEADER_SIZE - extension
    if payload > 0 then
        tree:add(f.payload, tvb(36 + extension, payload))
    end
end

-- Shows one whole frame; returns the line for the Info column.
local function dissect_frame(tvb, pinfo, tree, variant_sized)
    local len = tvb:len()
    local kind, to_device = classify(tvb)
    local label = u8(tvb, 3)
    local item = tree:add(zorv, tvb(), string.format("Zorv %s, label %d, %d bytes", kind, label, len))
    item:add(f.head, tvb(0, 2))
    item:add(f.direction, to_device and "to device" or "from device"):set_generated()
    item:add(f.kind, kind):set_generated()
    item:add(f.ack, tvb(2, 1))
    item:add(f.label, tvb(3, 1))
    item:add(f.addr1, tvb(4, 1))
    item:add(f.addr2, tvb(5, 1))
    item:add(f.device_type, tvb(6, 1))
    item:add(f.byte7, tvb(7, 1))
    item:add_le(f.scan_board, tvb(8, 2))
    item:add(f.operation, tvb(10, 1))
    item:add(f.packet_type, tvb(11, 1))
    item:add_le(f.register, tvb(12, 4))
    local length_item = item:add_le(f.length, tvb(16, 2))
    if kind == "read request" then
        length_item:append_text(" (bytes asked for)")
    end
    item:add(f.frame_length, len):set_generated()

    local data_length = len - OVERHEAD
    if data_length > 0 then
        item:add(f.data, tvb(HEADER_SIZE, data_length))
        if has_sub_header(tvb, variant_sized) then
            add_sub_header(tvb, item)
        end
    end

    -- The checksum is stored low byte first.
    local stored = le16(tvb, len - 2)
    local calculated = calculated_checksum(tvb, 0, len)
    local good = stored == calculated
    local checksum = item:add_le(f.checksum, tvb(len - 2, 2))
    checksum:append_text(good and " [good]" or " [bad]")
    checksum:add(f.checksum_calculated, calculated):set_generated()
    checksum:add(f.checksum_status, good and 1 or 0):set_generated()
    if not good then
        checksum:add_proto_expert_info(e.bad_checksum,
            string.format("Bad checksum: stored 0x%04x, calculated 0x%04x", stored, calculated))
    end

    local line = string.format("%s label %d reg 0x%08x len %d", kind, label, tvb(12, 4):le_uint(), le16(tvb, 16))
    if not good then
        line = line .. " [bad checksum]"
    end
    return line
end

local function find_head(tvb, from)
    for offset = from, tvb:len() - 2 do
        if is_head(tvb, offset) then
            return offset
        end
    end
    return nil
end

-- Dissects every frame in a TCP payload; asks TCP for more bytes when the
-- last frame continues in a later segment.
function zorv.dissector(tvb, pinfo, tree)
    local total = tvb:len()
    local offset = 0
    local lines = {}
    while offset < total do
        if not is_head(tvb, offset) then
            local stop = find_head(tvb, offset + 1) or total
            local stray = tree:add(f.stray, tvb(offset, stop - offset))
            stray:add_proto_expert_info(e.stray)
            offset = stop
        else
            -- Either the length and how the frame was sized, or nil and the
            -- number of bytes still missing.
            local len, variant_or_missing = frame_length(tvb, offset)
            local missing = len == nil and variant_or_missing or math.max(offset + len - total, 0)
            if missing > 0 then
                if pinfo.can_desegment > 0 then
                    pinfo.desegment_offset = offset
                    pinfo.desegment_len = missing
                    break
                end
                local cut = tree:add(zorv, tvb(offset), "Zorv frame cut short")
                cut:add_proto_expert_info(e.truncated)
                offset = total
            else
                lines[#lines + 1] = dissect_frame(tvb(offset, len):tvb(), pinfo, tree, variant_or_missing)
                offset = offset + len
            end
        end
    end
    if #lines > 0 then
        pinfo.cols.protocol:set("ZORV")
        pinfo.cols.info:set(table.concat(lines, "; "))
    end
    return total
end

-- Heuristic: a TCP payload that starts with a head, an operation code of
-- the protocol and a frame length that fits a frame. Once accepted, the
-- whole conversation goes to this dissector.
local MAX_FRAME = 65535 + OVERHEAD

local function heuristic(tvb, pinfo, tree)
    if tvb:len() < HEADER_SIZE or not is_head(tvb, 0) then
        return false
    end
    local operation = u8(tvb, 10)
    if operation ~= OP_READ and operation ~= OP_WRITE and not REPORT_CODES[operation] then
        return false
    end
    local len = frame_length(tvb, 0)
    if len ~= nil and (len < OVERHEAD or len > MAX_FRAME) then
        return false
    end
    pinfo.conversation = zorv
    zorv.dissector(tvb, pinfo, tree)
    return true
end

local tcp_ports = DissectorTable.get("tcp.port")
local registered_port = 0

local function register_port()
    if registered_port ~= 0 then
        tcp_ports:remove(registered_port, zorv)
    end
    registered_port = zorv.prefs.port
    if registered_port ~= 0 then
        tcp_ports:add(registered_port, zorv)
    end
end

function zorv.prefs_changed()
    if registered_port ~= zorv.prefs.port then
        register_port()
    end
end

register_port()
zorv:register_heuristic("tcp", heuristic)
